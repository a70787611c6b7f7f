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
  std::string became;
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
  std::string became;
  Members members;  // of a changer group the changer
};

struct RaidOutcome {
  std::uint16_t number = 0;
  std::string became;
  Members tapes;
  Members changers;
};

// The drives reserved to a changer that is still there.
struct ReservationOutcome {
  MemberOutcome changer;
  std::string became;
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
  outcome.new_address = AddressWord(found.Address);
  outcome.type = found.Type;
  outcome.description = CleanText(found.Description, sizeof found.Description);
  outcome.became = "new";
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
      outcome.old_address = AddressWord(was);
      outcome.recognised_by = OldDeviceMap[k].RecognisedBy;
      outcome.became = k == n && was == FoundDevices[n].Address ? "kept" : "moved";
      outcomes.push_back(std::move(outcome));
    }
    if (!known) outcomes.push_back(Describe(FoundDevices[n]));
  }
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
    if (OldDeviceMap[k].NewNumber != kDeviceGone) continue;
    const OldDevice& device = before.devices[k];
    outcomes.push_back({k, std::nullopt, AddressWord(device.record.Address), "", device.record.Type,
                        device.description, "gone", MatchCriterion::kNone});
  }
  return outcomes;
}

// What became of a whole list of members.
std::string ListWord(const Members& members) {
  const auto gone = std::count_if(members.begin(), members.end(), [](const MemberOutcome& member) {
    return member.new_number == kDeviceGone;
  });
  if (gone != 0) return "lost " + Count(static_cast<std::size_t>(gone), "member");
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
    outcome.became = ListWord(outcome.drives);
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
    outcome.became = emptied ? "emptied: its changer is gone" : ListWord(outcome.members);
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
    outcome.became = ListWord(all);
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

std::string MembersText(const Members& members) {
  if (members.empty()) return "none";
  std::string text;
  for (const MemberOutcome& member : members) {
    if (!text.empty()) text += ", ";
    text += std::to_string(member.old_number);
    if (member.new_number == kDeviceGone) {
      text += " gone";
    } else if (member.new_number != member.old_number) {
      text.append(" -> ").append(std::to_string(member.new_number));
    }
  }
  return text;
}

Colour ColourOf(const std::string& became) {
  if (became == "kept") return Colour::kPlain;
  if (became == "new") return Colour::kGood;
  return became == "moved" || became == "renumbered" ? Colour::kChanged : Colour::kBad;
}

void PrintDevices(const std::vector<DeviceOutcome>& devices) {
  Table table({"OLD", "NEW", "BECAME", "ADDRESS", "TYPE", "DESCRIPTION", "RECOGNISED BY"});
  for (const DeviceOutcome& device : devices) {
    std::string address = device.new_address.empty() ? device.old_address : device.new_address;
    if (!device.new_address.empty() && !device.old_address.empty() &&
        device.new_address != device.old_address) {
      address += " (was " + device.old_address + ")";
    }
    table.Add({NumberWord(device.old_number.value_or(kDeviceGone)),
               NumberWord(device.new_number.value_or(kDeviceGone)), device.became, address,
               TypeWord(device.type), device.description, CriterionWord(device.recognised_by)},
              ColourOf(device.became));
  }
  table.Print();
}

void PrintReservations(const std::vector<ReservationOutcome>& reservations) {
  Table table({"CHANGER", "BECAME", "RESERVED DRIVES"});
  for (const ReservationOutcome& reservation : reservations) {
    table.Add(
        {MembersText({reservation.changer}), reservation.became, MembersText(reservation.drives)},
        ColourOf(reservation.became));
  }
  std::cout << '\n';
  table.Print();
}

void PrintGroups(const std::vector<GroupOutcome>& groups) {
  Table table({"GROUP", "NAME", "KIND", "BECAME", "MEMBERS"});
  for (const GroupOutcome& group : groups) {
    table.Add({std::to_string(group.number), group.name, GroupKindWord(group.kind), group.became,
               MembersText(group.members)},
              ColourOf(group.became));
  }
  std::cout << '\n';
  table.Print();
}

void PrintRaids(const std::vector<RaidOutcome>& raids) {
  Table table({"RAID", "BECAME", "TAPES", "CHANGERS"});
  for (const RaidOutcome& raid : raids) {
    table.Add({std::to_string(raid.number), raid.became, MembersText(raid.tapes),
               MembersText(raid.changers)},
              ColourOf(raid.became));
  }
  std::cout << '\n';
  table.Print();
}

std::size_t CountBecame(const Report& report, const char* became) {
  return static_cast<std::size_t>(
      std::count_if(report.devices.begin(), report.devices.end(),
                    [became](const DeviceOutcome& device) { return device.became == became; }));
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

void PrintText(const Report& report) {
  std::cout << Count(FoundDeviceCount, "device") << " found, " << CountBecame(report, "new")
            << " new. Of " << Count(OldDeviceCount, "old device") << ", "
            << CountBecame(report, "kept") << " kept, " << CountBecame(report, "moved")
            << " moved, " << CountBecame(report, "gone") << " gone.\n\n";
  PrintDevices(report.devices);
  if (!report.reservations.empty()) PrintReservations(report.reservations);
  if (!report.groups.empty()) PrintGroups(report.groups);
  if (!report.raids.empty()) PrintRaids(report.raids);
  PrintDoubts(report.devices);
}

template <typename T>
Json OrNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json MembersJson(const Members& members) {
  Json list = Json::array();
  for (const MemberOutcome& member : members) {
    list.push_back({{"old_number", member.old_number},
                    {"new_number",
                     member.new_number == kDeviceGone ? Json(nullptr) : Json(member.new_number)}});
  }
  return list;
}

void PrintReportJson(const Report& report) {
  Json devices = Json::array();
  for (const DeviceOutcome& device : report.devices) {
    devices.push_back({{"old_number", OrNull(device.old_number)},
                       {"new_number", OrNull(device.new_number)},
                       {"became", device.became},
                       {"old_address", TextOrNull(device.old_address)},
                       {"new_address", TextOrNull(device.new_address)},
                       {"type", device.type},
                       {"type_name", TypeWord(device.type)},
                       {"description", device.description},
                       {"recognised_by", TextOrNull(CriterionWord(device.recognised_by))}});
  }
  Json reservations = Json::array();
  for (const ReservationOutcome& reservation : report.reservations) {
    reservations.push_back({{"old_number", reservation.changer.old_number},
                            {"new_number", reservation.changer.new_number},
                            {"became", reservation.became},
                            {"drives", MembersJson(reservation.drives)}});
  }
  Json groups = Json::array();
  for (const GroupOutcome& group : report.groups) {
    groups.push_back({{"number", group.number},
                      {"name", group.name},
                      {"kind", GroupKindWord(group.kind)},
                      {"became", group.became},
                      {"members", MembersJson(group.members)}});
  }
  Json raids = Json::array();
  for (const RaidOutcome& raid : report.raids) {
    raids.push_back({{"number", raid.number},
                     {"became", raid.became},
                     {"tapes", MembersJson(raid.tapes)},
                     {"changers", MembersJson(raid.changers)}});
  }
  PrintJson({{"devices", devices},
             {"reserved_drives", reservations},
             {"groups", groups},
             {"raids", raids},
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
  json ? PrintReportJson(report) : PrintText(report);
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
