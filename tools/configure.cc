// devprep configure: runs the configuration pass and tells what became of everything.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
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
#include "reconfig/raid_carry_over.h"
#include "reconfig/reconfigure.h"
#include "records/address_list.h"
#include "records/group_record.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

// A device of the old configuration, as it was stored before the pass.
struct OldDevice {
  DeviceRecord record = {};
  std::string description;
};

struct Before {
  std::vector<OldDevice> devices;
  std::vector<GroupRecord> groups;
};

struct DeviceOutcome {
  std::optional<std::uint16_t> old_number;
  std::optional<std::uint16_t> new_number;
  std::string old_address;
  std::string new_address;
  std::uint16_t type = 0;
  std::string description;
  std::string outcome;
  MatchCriterion recognised_by = MatchCriterion::kNone;
};

struct MemberOutcome {
  std::uint16_t old_number = 0;
  std::uint16_t new_number = kDeviceGone;
};
using Members = std::vector<MemberOutcome>;

struct GroupOutcome {
  std::uint16_t number = 0;
  std::string name;
  std::uint16_t kind = kGroupNone;
  std::string outcome;
  Members members;  // of a changer group the changer
};

struct RaidOutcome {
  std::uint16_t number = 0;
  std::string outcome;
  Members tapes;
  Members changers;
};

// The drives reserved to a changer that is still there.
struct ReservationOutcome {
  MemberOutcome changer;
  std::string outcome;
  Members drives;
};

struct Report {
  std::vector<DeviceOutcome> devices;
  std::vector<ReservationOutcome> reservations;
  std::vector<GroupOutcome> groups;
  std::vector<RaidOutcome> raids;
};

Before ReadBefore() {
  Before before;
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  for (std::uint16_t k = 0; k < count; ++k) {
    OldDevice device;
    device.record.Number = k;
    const bool readable = ReadDeviceRecord(&device.record) == kStatusOk;
    char text[kDescriptionSize] = "";
    ReadDeviceDescription(k, text);
    device.description = readable ? CleanText(text, sizeof text) : "(record could not be read)";
    before.devices.push_back(std::move(device));
  }
  CountGroups(&count);
  for (std::uint16_t i = 0; i < count; ++i) {
    GroupRecord group = {};
    group.Number = i;
    ReadGroupRecord(&group);
    before.groups.push_back(group);
  }
  return before;
}

DeviceOutcome Describe(const DeviceRecord& found) {
  DeviceOutcome outcome;
  outcome.new_number = found.Number;
  outcome.new_address = AddressText(found.Address);
  outcome.type = found.Type;
  outcome.description = CleanText(found.Description, sizeof found.Description);
  outcome.outcome = "new";
  return outcome;
}

// In the order of the new numbers; devices that are gone come last.
std::vector<DeviceOutcome> DeviceOutcomes(const Before& before) {
  std::vector<DeviceOutcome> outcomes;
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    bool known = false;
    for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
      if (OldDeviceMap[k].NewNumber != n) continue;
      known = true;
      DeviceOutcome outcome = Describe(FoundDevices[n]);
      const DeviceAddress& was = before.devices[k].record.Address;
      outcome.old_number = k;
      outcome.old_address = AddressText(was);
      outcome.recognised_by = OldDeviceMap[k].RecognisedBy;
      outcome.outcome = k == n && was == FoundDevices[n].Address ? "kept" : "moved";
      outcomes.push_back(std::move(outcome));
    }
    if (!known) outcomes.push_back(Describe(FoundDevices[n]));
  }
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
    if (OldDeviceMap[k].NewNumber != kDeviceGone) continue;
    const OldDevice& device = before.devices[k];
    outcomes.push_back({k, std::nullopt, AddressText(device.record.Address), "", device.record.Type,
                        device.description, "gone", MatchCriterion::kNone});
  }
  return outcomes;
}

// What became of a whole list of members.
std::string ListOutcome(const Members& members) {
  const auto gone = std::count_if(members.begin(), members.end(), [](const MemberOutcome& member) {
    return member.new_number == kDeviceGone;
  });
  if (gone != 0) return "members_lost";
  const bool same = std::all_of(members.begin(), members.end(), [](const MemberOutcome& member) {
    return member.new_number == member.old_number;
  });
  return same ? "kept" : "renumbered";
}

std::vector<ReservationOutcome> ReservationOutcomes(const Before& before) {
  std::vector<ReservationOutcome> outcomes;
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
    const DeviceRecord& record = before.devices[k].record;
    const std::uint16_t number = OldDeviceMap[k].NewNumber;
    if (record.ReservedDriveCount == 0 || number == kDeviceGone ||
        FoundDevices[number].Type != kTypeChanger) {
      continue;
    }
    ReservationOutcome outcome;
    outcome.changer = {k, number};
    for (std::uint16_t j = 0; j < record.ReservedDriveCount; ++j) {
      outcome.drives.push_back({record.ReservedDrives[j], OldReservedDriveMap[k][j]});
    }
    outcome.outcome = ListOutcome(outcome.drives);
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

std::vector<GroupOutcome> GroupOutcomes(const Before& before) {
  std::vector<GroupOutcome> outcomes;
  for (std::size_t i = 0; i < before.groups.size(); ++i) {
    const GroupRecord& group = before.groups[i];
    GroupOutcome outcome;
    outcome.number = group.Number;
    outcome.name = CleanText(group.Name, sizeof group.Name);
    outcome.kind = group.Kind;
    if (group.Kind == kGroupChanger) {
      outcome.members.push_back({group.Changer, OldGroupMemberMap[i][0]});
    }
    for (std::size_t j = 0; group.Kind != kGroupChanger && j < group.MemberCount; ++j) {
      outcome.members.push_back({group.Members[j], OldGroupMemberMap[i][j]});
    }
    const bool emptied = group.Kind == kGroupChanger && OldGroupMemberMap[i][0] == kDeviceGone;
    outcome.outcome = emptied ? "emptied" : ListOutcome(outcome.members);
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

// The members of one of a RAID's lists. One whose new address is not in the list as it is stored
// now has left the RAID.
Members RaidMembers(std::uint16_t raid, const char* value_name, const std::uint16_t* old_devices,
                    const std::uint16_t* new_devices, std::uint16_t count) {
  char list[kRaidListSize];
  StoreGetString(NumberedKey(kRaidKeyPrefix, raid).name, value_name, "", list, sizeof list);
  Members members;
  for (std::uint16_t i = 0; i < count; ++i) {
    std::uint16_t became = new_devices[i];
    if (became != kDeviceGone) {
      char element[kAddressElementSize];
      FormatAddress(FoundDevices[became].Address, element);
      if (std::strstr(list, element) == nullptr) became = kDeviceGone;
    }
    members.push_back({old_devices[i], became});
  }
  return members;
}

std::vector<RaidOutcome> RaidOutcomes() {
  std::vector<RaidOutcome> outcomes;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const CarriedRaid& raid = CarriedRaids[n];
    if (!raid.Read) continue;
    RaidOutcome outcome;
    outcome.number = n;
    outcome.tapes = RaidMembers(n, kRaidInfoValue, raid.Old.TapeDevices, raid.New.TapeDevices,
                                raid.Old.TapeCount);
    outcome.changers = RaidMembers(n, kRaidChangersValue, raid.Old.ChangerDevices,
                                   raid.New.ChangerDevices, raid.Old.ChangerCount);
    Members all = outcome.tapes;
    all.insert(all.end(), outcome.changers.begin(), outcome.changers.end());
    outcome.outcome = ListOutcome(all);
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

Value MemberValue(const MemberOutcome& member) {
  const bool gone = member.new_number == kDeviceGone;
  std::string text = std::to_string(member.old_number);
  if (gone) {
    text += " gone";
  } else if (member.new_number != member.old_number) {
    text.append(" -> ").append(std::to_string(member.new_number));
  }
  return Value::Record({{"old_number", member.old_number},
                        {"new_number", gone ? Json(nullptr) : Json(member.new_number)}},
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
                    [](const MemberOutcome& member) { return member.new_number == kDeviceGone; }));
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

const Listing<DeviceOutcome>& DeviceOutcomeListing() {
  using enum Importance;
  static const Listing<DeviceOutcome> listing(
      {{NumberColumn("old_number", "Old", "device number before", kKey),
        [](const DeviceOutcome& d) { return OldOrNewNumber(d.old_number); }},
       {NumberColumn("new_number", "New", "device number now", kKey),
        [](const DeviceOutcome& d) { return OldOrNewNumber(d.new_number); }},
       OutcomeColumn<DeviceOutcome>(),
       {TextColumn("old_address", "Old address", "port:bus:target:lun before"),
        [](const DeviceOutcome& d) { return Value::Text(d.old_address); }},
       {TextColumn("new_address", "New address", "port:bus:target:lun now", kKey),
        [](const DeviceOutcome& d) { return Value::Text(d.new_address); }},
       {TextColumn("type", "Type", "device type"),
        [](const DeviceOutcome& d) { return Value::Name(TypeName(d.type)); }},
       {WrappingColumn("description", "Description", "vendor, product and revision"),
        [](const DeviceOutcome& d) { return Value::Text(d.description); }},
       {TextColumn("recognised_by", "Recognised by", "what the device was recognised by"),
        [](const DeviceOutcome& d) { return Value::Name(CriterionName(d.recognised_by)); }}},
      OutcomeColour<DeviceOutcome>);
  return listing;
}

const Listing<ReservationOutcome>& ReservationListing() {
  static const Listing<ReservationOutcome> listing(
      {{TextColumn("changer", "Changer", "device number before and now", Importance::kKey),
        [](const ReservationOutcome& r) { return MemberValue(r.changer); }},
       OutcomeColumn<ReservationOutcome>(),
       {NumberColumn("lost", "Lost", "how many drives are gone"),
        [](const ReservationOutcome& r) { return Value::Number(CountLost(r.drives)); }},
       {WrappingColumn("drives", "Reserved drives", "its drives"),
        [](const ReservationOutcome& r) { return MembersValue(r.drives); }}},
      OutcomeColour<ReservationOutcome>);
  return listing;
}

const Listing<GroupOutcome>& GroupListing() {
  static const Listing<GroupOutcome> listing(
      {{NumberColumn("number", "Group", "group number", Importance::kKey),
        [](const GroupOutcome& g) { return Value::Number(g.number); }},
       {TextColumn("name", "Name", "name of the group"),
        [](const GroupOutcome& g) { return Value::Text(g.name); }},
       {TextColumn("kind", "Kind", "kind of the group"),
        [](const GroupOutcome& g) { return Value::Name(GroupKindName(g.kind)); }},
       OutcomeColumn<GroupOutcome>(),
       {NumberColumn("lost", "Lost", "how many members are gone"),
        [](const GroupOutcome& g) { return Value::Number(CountLost(g.members)); }},
       {WrappingColumn("members", "Members", "its members"),
        [](const GroupOutcome& g) { return MembersValue(g.members); }}},
      OutcomeColour<GroupOutcome>);
  return listing;
}

const Listing<RaidOutcome>& RaidOutcomeListing() {
  static const Listing<RaidOutcome> listing(
      {{NumberColumn("number", "RAID", "RAID number", Importance::kKey),
        [](const RaidOutcome& r) { return Value::Number(r.number); }},
       OutcomeColumn<RaidOutcome>(),
       {NumberColumn("lost", "Lost", "how many members are gone"),
        [](const RaidOutcome& r) {
          return Value::Number(CountLost(r.tapes) + CountLost(r.changers));
        }},
       {WrappingColumn("tapes", "Tapes", "its drives"),
        [](const RaidOutcome& r) { return MembersValue(r.tapes); }},
       {WrappingColumn("changers", "Changers", "its changers"),
        [](const RaidOutcome& r) { return MembersValue(r.changers); }}},
      OutcomeColour<RaidOutcome>);
  return listing;
}

std::size_t CountOutcome(const Report& report, const char* outcome) {
  return static_cast<std::size_t>(
      std::count_if(report.devices.begin(), report.devices.end(),
                    [outcome](const DeviceOutcome& device) { return device.outcome == outcome; }));
}

// What deserves a look: the pass keeps to its rules, but cannot know what was meant.
void PrintDoubts(const std::vector<DeviceOutcome>& devices) {
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
            << " new. Of " << Count(OldDeviceCount, "old device") << ", "
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

void Configure(const Options& options, bool json) {
  Report report;
  bool blocked = false;
  InSession(options, Needs::kEngineAndHardware, [&] {
    const Before before = ReadBefore();
    blocked = SimKeyExists();
    ::SetUpInitTapesvrConfig();
    if (!blocked) {
      report = {DeviceOutcomes(before), ReservationOutcomes(before), GroupOutcomes(before),
                RaidOutcomes()};
    }
  });
  if (blocked) {
    throw Failure(
        "the key Sim under the tape engine key blocks the rebuild; devices and groups stay as they "
        "are");
  }
  json ? PrintReportJson(report, {}) : PrintText(report);
  if (ScsiMap.LeftOut != 0) {
    std::cerr << "devprep: note: " << Count(static_cast<std::size_t>(ScsiMap.LeftOut), "unit")
              << " beyond the first " << kMaxScsiMapEntries << " of the device map left out\n";
  }
}

}  // namespace

void AddConfigureCommand(CLI::App& app, const Options& options) {
  CLI::App* command = app.add_subcommand(
      "configure",
      "Rebuild the configuration from the devices attached now, and tell what became of each old "
      "device, group and tape RAID");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "Print JSON");
  command->callback([&options, json] { Configure(options, *json); });
}

}  // namespace devprep::tool
