// devprep hardware: what is attached now, before any configuration.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "attached.h"
#include "commands.h"
#include "output.h"
#include "records/device_record.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Warning {
  std::vector<std::string> units;  // addresses
  std::string text;
};

// Units of one identity, by that identity.
using Bearers = std::map<std::string, std::vector<std::string>>;

void WarnOfShared(const Bearers& bearers, const std::string& what, std::vector<Warning>& warnings) {
  for (const auto& [identity, units] : bearers) {
    if (units.size() < 2) continue;
    warnings.push_back({units, "have one " + what + ": a re-cabling may exchange them"});
  }
}

// Identities that the pass may not rely on, of the devices that it recognises by them.
std::vector<Warning> DoubtfulIdentities(const std::vector<AttachedUnit>& units) {
  std::vector<Warning> warnings;
  Bearers serial_numbers;
  Bearers world_wide_ids;
  for (const AttachedUnit& unit : units) {
    const DeviceRecord& record = unit.record;
    if (!IsProbedType(record.Type)) continue;
    const std::string address = AddressWord(record.Address);
    if (unit.answers.serial_number_page) {
      if (HasSerialNumber(record)) {
        serial_numbers[{record.SerialNumber, record.SerialNumber + kSerialNumberSize}].push_back(
            address);
      } else {
        warnings.push_back({{address},
                            "has a serial number that starts with ten zero bytes, and is not "
                            "recognised by it"});
      }
    }
    if (!unit.answers.world_wide_id) continue;
    if (HasWorldWideId(record)) {
      world_wide_ids[WorldWideIdWord(record)].push_back(address);
    } else {
      warnings.push_back({{address}, "has a World Wide ID of zeros, and is not recognised by it"});
    }
  }
  WarnOfShared(serial_numbers, "serial number", warnings);
  WarnOfShared(world_wide_ids, "World Wide ID", warnings);
  return warnings;
}

// The answers of a capture took no time.
std::string TimeText(const AttachedUnit& unit) {
  const auto& time = unit.answers.time_to_answer;
  return time ? MillisecondsWord(*time) : "yes";
}

std::string DescriptionOf(const AttachedUnit& unit) {
  return CleanText(unit.record.Description, sizeof unit.record.Description);
}

void PrintTable(const std::vector<AttachedUnit>& units) {
  Table table(
      {"UNIT", "TYPE", "DESCRIPTION", "SERIAL NUMBER", "WORLD WIDE ID", "DRIVER", "ANSWERED"});
  const auto or_none = [](const std::string& text) { return text.empty() ? "-" : text; };
  for (const AttachedUnit& unit : units) {
    table.Add({AddressWord(unit.record.Address), TypeWord(unit.record.Type), DescriptionOf(unit),
               or_none(SerialWord(unit.record.SerialNumber)), or_none(WorldWideIdWord(unit.record)),
               or_none(unit.driver), unit.answers.inquiry_data ? TimeText(unit) : "no"},
              unit.answers.inquiry_data ? Colour::kPlain : Colour::kBad);
  }
  table.Print();
}

void PrintAsTree(const std::vector<AttachedUnit>& units) {
  std::map<std::uint16_t, std::vector<const AttachedUnit*>> ports;
  for (const AttachedUnit& unit : units) ports[unit.record.Address.Board].push_back(&unit);
  for (const auto& [port, members] : ports) {
    const std::string& driver = members.front()->driver;
    std::cout << "port " << port << (driver.empty() ? "" : " (" + driver + ")") << '\n';
    std::vector<TreeNode> lines;
    for (const AttachedUnit* unit : members) {
      std::string text = Paint(AddressWord(unit->record.Address), Colour::kHead);
      text.append(" ")
          .append(TypeWord(unit->record.Type))
          .append("  ")
          .append(DescriptionOf(*unit));
      const std::string serial = SerialWord(unit->record.SerialNumber);
      if (!serial.empty()) text.append("  serial number ").append(serial);
      const std::string id = WorldWideIdWord(unit->record);
      if (!id.empty()) text.append("  World Wide ID ").append(id);
      if (!unit->answers.inquiry_data) text.append("  (does not answer)");
      lines.push_back({text, {}});
    }
    PrintTrees(lines);
  }
}

Json UnitJson(const AttachedUnit& unit) {
  const DeviceRecord& record = unit.record;
  const auto text_or_null = [](bool present, const std::string& text) {
    return present ? Json(text) : Json(nullptr);
  };
  const auto& time = unit.answers.time_to_answer;
  return {{"address", AddressWord(record.Address)},
          {"port", record.Address.Board},
          {"bus", record.Address.Bus},
          {"target", record.Address.ScsiId},
          {"lun", record.Address.Lun},
          {"type", record.Type},
          {"type_name", TypeWord(record.Type)},
          {"description", DescriptionOf(unit)},
          {"answers", unit.answers.inquiry_data.has_value()},
          {"serial_number", text_or_null(unit.answers.serial_number_page.has_value(),
                                         SerialWord(record.SerialNumber))},
          {"world_wide_id",
           text_or_null(unit.answers.world_wide_id.has_value(), WorldWideIdWord(record))},
          {"driver", text_or_null(!unit.driver.empty(), unit.driver)},
          {"time_to_answer_us", time ? Json(time->count()) : Json(nullptr)},
          {"problem", text_or_null(!unit.answers.problem.empty(), unit.answers.problem)}};
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (!joined.empty()) joined += ", ";
    joined += text;
  }
  return joined;
}

void ShowHardware(const Options& options, bool tree, bool json) {
  std::vector<AttachedUnit> units;
  InSession(options, Needs::kHardware, [&] { units = AskAttachedUnits(); });
  const std::vector<Warning> warnings = DoubtfulIdentities(units);
  if (json) {
    Json list = Json::array();
    for (const AttachedUnit& unit : units) list.push_back(UnitJson(unit));
    Json doubts = Json::array();
    for (const Warning& warning : warnings) {
      doubts.push_back({{"units", warning.units}, {"text", warning.text}});
    }
    PrintJson({{"units", list}, {"warnings", doubts}});
    return;
  }
  if (units.empty()) {
    std::cout << "No SCSI devices are attached.\n";
  } else if (tree) {
    PrintAsTree(units);
  } else {
    PrintTable(units);
  }
  if (!warnings.empty()) std::cout << '\n';
  for (const Warning& warning : warnings) {
    std::cout << Paint("Doubtful: " + Joined(warning.units) + ' ' + warning.text + '.',
                       Colour::kChanged)
              << '\n';
  }
}

}  // namespace

void AddHardwareCommand(CLI::App& app, const Options& options) {
  CLI::App* command =
      app.add_subcommand("hardware", "Show what is attached now, before any configuration");
  const auto tree = std::make_shared<bool>(false);
  const auto json = std::make_shared<bool>(false);
  auto* tree_flag = command->add_flag("--tree", *tree, "Show a tree of ports and units");
  command->add_flag("--json", *json, "Print JSON")->excludes(tree_flag);
  command->callback([&options, tree, json] { ShowHardware(options, *tree, *json); });
}

}  // namespace devprep::tool
