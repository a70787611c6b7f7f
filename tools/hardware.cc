// devprep hardware: what is attached now, before any configuration.
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "attached.h"
#include "commands.h"
#include "listing.h"
#include "output.h"
#include "records/device_record.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Warning {
  const char* code;                // for programs
  std::vector<std::string> units;  // addresses
  std::string text;
};

// Units of one identity, by that identity.
using Bearers = std::map<std::string, std::vector<std::string>>;

void WarnOfShared(const Bearers& bearers, const char* code, const std::string& what,
                  std::vector<Warning>& warnings) {
  for (const auto& [identity, units] : bearers) {
    if (units.size() < 2) continue;
    warnings.push_back({code, units, "share one " + what + " and may be mistaken for each other"});
  }
}

// A record keeps the beginning of a serial number, and that is what devices are recognised by.
void WarnOfSharedSerialNumbers(const std::map<std::string, std::vector<const AttachedUnit*>>& kept,
                               std::vector<Warning>& warnings) {
  for (const auto& [beginning, units] : kept) {
    if (units.size() < 2) continue;
    std::vector<std::string> addresses;
    bool one = true;
    for (const AttachedUnit* unit : units) {
      addresses.push_back(AddressText(unit->record.Address));
      one = one && unit->SerialNumber() == units.front()->SerialNumber();
    }
    warnings.push_back(
        {one ? "shared_serial_number" : "cut_serial_number", addresses,
         one ? "share one serial number and may be mistaken for each other"
             : "have serial numbers that differ behind the 32nd byte only, where their records "
               "end, and may be mistaken for each other"});
  }
}

// Identities that the pass may not rely on, of the devices that it recognises by them.
std::vector<Warning> DoubtfulIdentities(const std::vector<AttachedUnit>& units) {
  std::vector<Warning> warnings;
  std::map<std::string, std::vector<const AttachedUnit*>> serial_numbers;
  Bearers world_wide_ids;
  for (const AttachedUnit& unit : units) {
    const DeviceRecord& record = unit.record;
    if (!IsProbedType(record.Type)) continue;
    const std::string address = AddressText(record.Address);
    if (unit.answers.serial_number_page) {
      if (HasSerialNumber(record)) {
        serial_numbers[{record.SerialNumber, record.SerialNumber + kSerialNumberSize}].push_back(
            &unit);
      } else {
        warnings.push_back({"empty_serial_number",
                            {address},
                            "has a serial number that starts with ten zero bytes and is ignored"});
      }
    }
    if (!unit.answers.world_wide_id) continue;
    if (HasWorldWideId(record)) {
      world_wide_ids[WorldWideIdText(record)].push_back(address);
    } else {
      warnings.push_back(
          {"zero_world_wide_id", {address}, "has a World Wide ID of zeros, which is ignored"});
    }
  }
  WarnOfSharedSerialNumbers(serial_numbers, warnings);
  WarnOfShared(world_wide_ids, "shared_world_wide_id", "World Wide ID", warnings);
  return warnings;
}

// The answers of a capture took no time.
Value TimeToAnswer(const AttachedUnit& unit) {
  const auto& time = unit.answers.time_to_answer;
  return time ? Value::Quantity(time->count(), MillisecondsText(*time)) : Value::Absent();
}

std::vector<Column<AttachedUnit>> UnitColumns() {
  using enum Importance;
  return {
      {TextColumn("address", "Unit", "port:bus:target:lun", kKey),
       [](const AttachedUnit& u) { return Value::Text(AddressText(u.record.Address)); }},
      {NumberColumn("port", "Port", "SCSI port", kOnRequest),
       [](const AttachedUnit& u) { return Value::Number(u.record.Address.Board); }},
      {NumberColumn("bus", "Bus", "bus of the port", kOnRequest),
       [](const AttachedUnit& u) { return Value::Number(u.record.Address.Bus); }},
      {NumberColumn("target", "Target", "target on the bus", kOnRequest),
       [](const AttachedUnit& u) { return Value::Number(u.record.Address.ScsiId); }},
      {NumberColumn("lun", "Logical unit", "logical unit of the target", kOnRequest),
       [](const AttachedUnit& u) { return Value::Number(u.record.Address.Lun); }},
      {TextColumn("type", "Type", "device type", kKey),
       [](const AttachedUnit& u) { return Value::Name(TypeName(u.record.Type)); }},
      {NumberColumn("type_code", "Type code", "number of the type", kOnRequest),
       [](const AttachedUnit& u) { return Value::Number(u.record.Type); }},
      {WrappingColumn("description", "Description", "vendor, product and revision"),
       [](const AttachedUnit& u) { return Value::Text(u.Description()); }},
      {TextColumn("serial_number", "Serial number", "unit serial number", kExtra),
       [](const AttachedUnit& u) { return Value::Text(u.SerialNumber()); }},
      {TextColumn("world_wide_id", "World Wide ID", "World Wide ID (NAA)", kExtra),
       [](const AttachedUnit& u) { return Value::Text(WorldWideIdText(u.record)); }},
      {TextColumn("driver", "Driver", "driver of the port", kExtra),
       [](const AttachedUnit& u) { return Value::Text(u.driver); }},
      {TextColumn("answers", "Answers", "whether the unit answers an inquiry"),
       [](const AttachedUnit& u) { return Value::YesNo(u.answers.inquiry_data.has_value()); }},
      {NumberColumn("time_to_answer_us", "Time", "time of its slowest answer", kExtra),
       TimeToAnswer},
      {NodesColumn(kExtra), [](const AttachedUnit& u) { return NodesValue(u.answers.nodes); }},
      {LinksColumn(), [](const AttachedUnit& u) { return LinksValue(u.answers.nodes); }},
      {WrappingColumn("problem", "Problem", "why it does not answer", kOnRequest),
       [](const AttachedUnit& u) { return Value::Text(u.answers.problem); }},
  };
}

const Listing<AttachedUnit>& UnitListing() {
  static const Listing<AttachedUnit> listing(UnitColumns(), [](const AttachedUnit& unit) {
    return unit.answers.inquiry_data ? Colour::kPlain : Colour::kBad;
  });
  return listing;
}

std::vector<TreeNode<AttachedUnit>> TreeOf(const std::vector<AttachedUnit>& units) {
  std::map<std::uint16_t, TreeNode<AttachedUnit>> ports;
  for (const AttachedUnit& unit : units) {
    const std::uint16_t number = unit.record.Address.Board;
    TreeNode<AttachedUnit>& port = ports[number];
    port.text = "port " + std::to_string(number);
    if (!unit.driver.empty()) port.text.append(" (").append(unit.driver).append(")");
    port.children.push_back({&unit, "", {}});
  }
  std::vector<TreeNode<AttachedUnit>> roots;
  roots.reserve(ports.size());
  for (auto& [number, port] : ports) roots.push_back(std::move(port));
  return roots;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (!joined.empty()) joined += ", ";
    joined += text;
  }
  return joined;
}

Result<ExitStatus> ShowHardware(const Options& options, bool tree, const ListingOptions& listing) {
  std::vector<AttachedUnit> units;
  const Result<> asked = InSession(options, Needs::kHardware, [&]() -> Result<> {
    units = AskAttachedUnits();
    return {};
  });
  if (!asked) return asked.Failure();
  const std::vector<Warning> warnings = DoubtfulIdentities(units);
  if (listing.json) {
    for (const Warning& warning : warnings) {
      AddJsonWarning(warning.code, Joined(warning.units) + ' ' + warning.text, warning.units);
    }
    PrintJson({{"units", UnitListing().AsJson(units, listing)}});
    return ExitStatus::kDone;
  }
  if (units.empty()) {
    std::cout << "No SCSI devices are attached.\n";
  } else if (tree) {
    UnitListing().PrintTree(TreeOf(units), listing);
  } else {
    UnitListing().Print(units, listing);
  }
  if (!warnings.empty()) std::cout << '\n';
  for (const Warning& warning : warnings) {
    std::cout << Paint("Warning: " + Joined(warning.units) + ' ' + warning.text + '.',
                       Colour::kChanged)
              << '\n';
  }
  return ExitStatus::kDone;
}

}  // namespace

void AddHardwareCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      app.add_subcommand("hardware", "Show what is attached now, before any configuration");
  const auto tree = std::make_shared<bool>(false);
  const auto listing = std::make_shared<ListingOptions>();
  auto* tree_flag = command->add_flag("--tree", *tree, "Show a tree of ports and units");
  AddListingOptions(*command, *listing, UnitListing().Infos());
  tree_flag->excludes("--json");
  OnCommand(command, invocation, [&invocation, tree, listing] {
    return ShowHardware(invocation.options, *tree, *listing);
  });
}

}  // namespace devprep::tool
