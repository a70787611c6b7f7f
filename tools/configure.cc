// devprep configure: runs the configuration pass and tells what became of everything.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "entry/library.h"
#include "listing.h"
#include "output.h"
#include "platform/messages.h"
#include "reconfig/outcome.h"
#include "records/group_record.h"
#include "records/raid_records.h"
#include "report.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct DeviceLine {
  std::optional<std::uint16_t> old_number;
  std::optional<std::uint16_t> new_number;
  std::string old_address;
  std::string new_address;
  std::uint16_t type = 0;
  std::string description;
  std::string outcome;
  MatchCriterion recognised_by = MatchCriterion::kNone;
};

using Members = std::vector<MemberOutcome>;

struct GroupLine {
  std::uint16_t number = 0;
  std::string name;
  std::uint16_t kind = kGroupNone;
  std::string outcome;
  Members members;  // of a changer group the changer
};

struct RaidLine {
  std::uint16_t number = 0;
  std::string outcome;
  Members tapes;
  Members changers;
};

// The drives reserved to a changer that is still there.
struct ReservationLine {
  MemberOutcome changer;
  std::string outcome;
  Members drives;
};

struct Report {
  std::vector<DeviceLine> devices;
  std::vector<ReservationLine> reservations;
  std::vector<GroupLine> groups;
  std::vector<RaidLine> raids;
};

const char* ChangeName(Change change) {
  switch (change) {
    case Change::kKept:
      return "kept";
    case Change::kMoved:
      return "moved";
    case Change::kMerged:
      return "merged";
    case Change::kGone:
      break;
  }
  return "gone";
}

DeviceLine Describe(const DeviceRecord& found) {
  DeviceLine line;
  line.new_number = found.Number;
  line.new_address = AddressText(found.Address);
  line.type = found.Type;
  line.description = CleanText(found.Description, sizeof found.Description);
  line.outcome = "new";
  return line;
}

// In the order of the new numbers; devices that are gone come last.
std::vector<DeviceLine> DeviceLines() {
  std::vector<DeviceLine> lines;
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    bool known = false;
    for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
      const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
      if (device.NewNumber != n) continue;
      known = true;
      DeviceLine line = Describe(FoundDevices[n]);
      line.old_number = k;
      line.old_address = AddressText(device.Old.Address);
      line.recognised_by = device.RecognisedBy;
      line.outcome = ChangeName(device.Became);
      lines.push_back(std::move(line));
    }
    if (!known) lines.push_back(Describe(FoundDevices[n]));
  }
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.NewNumber != kDeviceGone) continue;
    const bool readable = device.ReadStatus == kStatusOk;
    lines.push_back({k, std::nullopt, AddressText(device.Old.Address), "", device.Old.Type,
                     readable ? CleanText(device.StoredDescription, sizeof device.StoredDescription)
                              : "(record could not be read)",
                     ChangeName(device.Became), MatchCriterion::kNone});
  }
  return lines;
}

// What became of a whole list of members.
std::string ListOutcome(const Members& members) {
  const auto became = [&members](Change change) {
    return std::count_if(members.begin(), members.end(),
                         [change](const MemberOutcome& member) { return member.Became == change; });
  };
  if (became(Change::kGone) != 0) return "members_lost";
  return became(Change::kMoved) == 0 ? "kept" : "renumbered";
}

std::vector<ReservationLine> ReservationLines() {
  std::vector<ReservationLine> lines;
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.Old.ReservedDriveCount == 0 || !device.ReservationsCarried) continue;
    ReservationLine line;
    line.changer = {k, device.NewNumber, device.RecognisedBy, device.Became};
    line.drives = {device.ReservedDrives, device.ReservedDrives + device.Old.ReservedDriveCount};
    line.outcome = ListOutcome(line.drives);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<GroupLine> GroupLines() {
  std::vector<GroupLine> lines;
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    const GroupOutcome& group = LastPass.Groups[i];
    GroupLine line;
    line.number = i;
    line.name = CleanText(group.Name, sizeof group.Name);
    line.kind = group.OldKind;
    line.members = {group.Members, group.Members + group.MemberCount};
    line.outcome = group.NewKind != group.OldKind ? "emptied" : ListOutcome(line.members);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<RaidLine> RaidLines() {
  std::vector<RaidLine> lines;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const RaidOutcome& raid = LastPass.Raids[n];
    if (!raid.Read) continue;
    RaidLine line;
    line.number = n;
    line.tapes = {raid.Tapes, raid.Tapes + raid.Old.TapeCount};
    line.changers = {raid.Changers, raid.Changers + raid.Old.ChangerCount};
    Members all = line.tapes;
    all.insert(all.end(), line.changers.begin(), line.changers.end());
    line.outcome = ListOutcome(all);
    lines.push_back(std::move(line));
  }
  return lines;
}

Value MemberValue(const MemberOutcome& member) {
  const bool gone = member.NewNumber == kDeviceGone;
  std::string text = std::to_string(member.OldNumber);
  if (gone) {
    text += " gone";
  } else if (member.NewNumber != member.OldNumber) {
    text.append(" -> ").append(std::to_string(member.NewNumber));
  }
  return Value::Record({{"old_number", member.OldNumber},
                        {"new_number", gone ? Json(nullptr) : Json(member.NewNumber)}},
                       text);
}

Value MembersValue(const Members& members) {
  std::vector<Value> values;
  for (const MemberOutcome& member : members) values.push_back(MemberValue(member));
  return Value::List(values);
}

std::uint16_t CountLost(const Members& members) {
  return static_cast<std::uint16_t>(
      std::count_if(members.begin(), members.end(),
                    [](const MemberOutcome& member) { return member.NewNumber == kDeviceGone; }));
}

Value OutcomeValue(const std::string& outcome) {
  return Value::Name({outcome, outcome == "members_lost" ? "members lost" : outcome});
}

Colour ColourOf(const std::string& outcome) {
  if (outcome == "kept") return Colour::kPlain;
  if (outcome == "new") return Colour::kGood;
  return outcome == "moved" || outcome == "renumbered" ? Colour::kChanged : Colour::kBad;
}

template <typename Item>
Colour OutcomeColour(const Item& item) {
  return ColourOf(item.outcome);
}

Value OldOrNewNumber(const std::optional<std::uint16_t>& number) {
  return number ? Value::Number(*number) : Value::Absent();
}

template <typename Item>
Column<Item> OutcomeColumn() {
  return {TextColumn("outcome", "Outcome", "what became of it", Importance::kKey),
          [](const Item& item) { return OutcomeValue(item.outcome); }};
}

const Listing<DeviceLine>& DeviceOutcomeListing() {
  using enum Importance;
  static const Listing<DeviceLine> listing(
      {{NumberColumn("old_number", "Old", "device number before", kKey),
        [](const DeviceLine& d) { return OldOrNewNumber(d.old_number); }},
       {NumberColumn("new_number", "New", "device number now", kKey),
        [](const DeviceLine& d) { return OldOrNewNumber(d.new_number); }},
       OutcomeColumn<DeviceLine>(),
       {TextColumn("old_address", "Old address", "port:bus:target:lun before"),
        [](const DeviceLine& d) { return Value::Text(d.old_address); }},
       {TextColumn("new_address", "New address", "port:bus:target:lun now", kKey),
        [](const DeviceLine& d) { return Value::Text(d.new_address); }},
       {TextColumn("type", "Type", "device type"),
        [](const DeviceLine& d) { return Value::Name(TypeName(d.type)); }},
       {WrappingColumn("description", "Description", "vendor, product and revision"),
        [](const DeviceLine& d) { return Value::Text(d.description); }},
       {TextColumn("recognised_by", "Recognised by", "what the device was recognised by"),
        [](const DeviceLine& d) { return Value::Name(CriterionName(d.recognised_by)); }}},
      OutcomeColour<DeviceLine>);
  return listing;
}

const Listing<ReservationLine>& ReservationListing() {
  static const Listing<ReservationLine> listing(
      {{TextColumn("changer", "Changer", "device number before and now", Importance::kKey),
        [](const ReservationLine& r) { return MemberValue(r.changer); }},
       OutcomeColumn<ReservationLine>(),
       {NumberColumn("lost", "Lost", "how many drives are gone"),
        [](const ReservationLine& r) { return Value::Number(CountLost(r.drives)); }},
       {WrappingColumn("drives", "Reserved drives", "its drives"),
        [](const ReservationLine& r) { return MembersValue(r.drives); }}},
      OutcomeColour<ReservationLine>);
  return listing;
}

const Listing<GroupLine>& GroupListing() {
  static const Listing<GroupLine> listing(
      {{NumberColumn("number", "Group", "group number", Importance::kKey),
        [](const GroupLine& g) { return Value::Number(g.number); }},
       {TextColumn("name", "Name", "name of the group"),
        [](const GroupLine& g) { return Value::Text(g.name); }},
       {TextColumn("kind", "Kind", "kind of the group"),
        [](const GroupLine& g) { return Value::Name(GroupKindName(g.kind)); }},
       OutcomeColumn<GroupLine>(),
       {NumberColumn("lost", "Lost", "how many members are gone"),
        [](const GroupLine& g) { return Value::Number(CountLost(g.members)); }},
       {WrappingColumn("members", "Members", "its members"),
        [](const GroupLine& g) { return MembersValue(g.members); }}},
      OutcomeColour<GroupLine>);
  return listing;
}

const Listing<RaidLine>& RaidOutcomeListing() {
  static const Listing<RaidLine> listing(
      {{NumberColumn("number", "RAID", "RAID number", Importance::kKey),
        [](const RaidLine& r) { return Value::Number(r.number); }},
       OutcomeColumn<RaidLine>(),
       {NumberColumn("lost", "Lost", "how many members are gone"),
        [](const RaidLine& r) {
          return Value::Number(CountLost(r.tapes) + CountLost(r.changers));
        }},
       {WrappingColumn("tapes", "Tapes", "its drives"),
        [](const RaidLine& r) { return MembersValue(r.tapes); }},
       {WrappingColumn("changers", "Changers", "its changers"),
        [](const RaidLine& r) { return MembersValue(r.changers); }}},
      OutcomeColour<RaidLine>);
  return listing;
}

std::size_t CountOutcome(const Report& report, const char* outcome) {
  return static_cast<std::size_t>(
      std::count_if(report.devices.begin(), report.devices.end(),
                    [outcome](const DeviceLine& device) { return device.outcome == outcome; }));
}

// What deserves a look: the pass keeps to its rules, but cannot know what was meant.
void PrintDoubts(const std::vector<DeviceLine>& devices) {
  std::size_t by_name = 0;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    if (devices[i].recognised_by == MatchCriterion::kName) ++by_name;
    if (i == 0 || !devices[i].new_number || devices[i].new_number != devices[i - 1].new_number) {
      continue;
    }
    std::cout << "\nOld devices " << *devices[i - 1].old_number << " and " << *devices[i].old_number
              << " were both recognised in device " << *devices[i].new_number
              << ", which has the settings of both. Check it.\n";
  }
  if (by_name != 0) {
    std::cout << "\nRecognised by name alone: " << Count(by_name, "device")
              << ". Where several alike are attached, check that each number is the drive you "
                 "expect.\n";
  }
}

template <typename Item>
void PrintBelow(const Listing<Item>& listing, const std::vector<Item>& items,
                const ListingOptions& options) {
  if (items.empty()) return;
  std::cout << '\n';
  listing.Print(items, options);
}

void PrintText(const Report& report) {
  const ListingOptions listing;
  std::cout << Count(FoundDeviceCount, "device") << " found, " << CountOutcome(report, "new")
            << " new. Of " << Count(LastPass.OldDeviceCount, "old device") << ", "
            << CountOutcome(report, "kept") << " kept, " << CountOutcome(report, "moved")
            << " moved, " << CountOutcome(report, "gone") << " gone.\n\n";
  DeviceOutcomeListing().Print(report.devices, listing);
  PrintBelow(ReservationListing(), report.reservations, listing);
  PrintBelow(GroupListing(), report.groups, listing);
  PrintBelow(RaidOutcomeListing(), report.raids, listing);
  PrintDoubts(report.devices);
}

void PrintReportJson(const Report& report, const ListingOptions& listing) {
  PrintJson({{"devices", DeviceOutcomeListing().AsJson(report.devices, listing)},
             {"reserved_drives", ReservationListing().AsJson(report.reservations, listing)},
             {"groups", GroupListing().AsJson(report.groups, listing)},
             {"raids", RaidOutcomeListing().AsJson(report.raids, listing)},
             {"units_left_out", ScsiMap.LeftOut}});
}

Result<ExitStatus> Configure(const Options& options, bool json) {
  Report report;
  const Result<> done = InSession(options, Needs::kConfigurationToChange, [&]() -> Result<> {
    if (SimKeyExists()) {
      return Error{
          "the key Sim under the tape engine key blocks the rebuild; devices and groups stay as "
          "they are"};
    }
    ::SetUpInitTapesvrConfig();
    report = {DeviceLines(), ReservationLines(), GroupLines(), RaidLines()};
    return {};
  });
  if (!done) return done.Failure();
  if (ScsiMap.LeftOut != 0) {
    ReportMessage(Severity::kNote, Count(static_cast<std::size_t>(ScsiMap.LeftOut), "unit") +
                                       " beyond the first " + std::to_string(kMaxScsiMapEntries) +
                                       " of the device map left out");
  }
  if (json)
    PrintReportJson(report, {});
  else
    PrintText(report);
  return ExitStatus::kDone;
}

}  // namespace

void AddConfigureCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "configure",
      "Rebuild the configuration from the devices attached now, and tell what became of each old "
      "device, group and tape RAID");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "Print JSON");
  OnCommand(command, invocation,
            [&invocation, json] { return Configure(invocation.options, *json); });
}

}  // namespace devprep::tool
