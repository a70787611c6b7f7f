// devprep raids and devprep raid: listing and editing tape RAIDs.
#include <cstdint>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "device_view.h"
#include "output.h"
#include "records/device_cache.h"
#include "records/raid_records.h"
#include "setup/raid_setup.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::uint16_t kDefaultRaidLevel = 5;

std::string Named(const char* noun, std::uint16_t number) {
  return std::string(noun) + " " + std::to_string(number);
}

std::string Numbers(const std::uint16_t* numbers, std::uint16_t count) {
  std::string text;
  for (std::uint16_t i = 0; i < count; ++i) {
    if (i != 0) text += ", ";
    text += std::to_string(numbers[i]);
  }
  return text;
}

Json RaidJson(const RaidInfo& raid) {
  Json json = {{"number", raid.RaidNumber},
               {"level", raid.Level},
               {"stripe_size", raid.StripeSize},
               {"link_position", raid.LinkPosition}};
  json["tapes"] = std::vector<std::uint16_t>(raid.TapeDevices, raid.TapeDevices + raid.TapeCount);
  json["changers"] =
      std::vector<std::uint16_t>(raid.ChangerDevices, raid.ChangerDevices + raid.ChangerCount);
  json["changer_status"] = raid.Flags == 0 ? Json(nullptr) : Json(ChangerStatusWord(raid.Flags));
  return json;
}

void PrintMembers(const char* title, const std::uint16_t* numbers, std::uint16_t count,
                  const DeviceViews& views) {
  std::cout << title << ": " << (count == 0 ? "none" : "") << '\n';
  for (std::uint16_t i = 0; i < count; ++i) {
    std::cout << "  " << numbers[i];
    for (const DeviceView& device : views.devices) {
      if (device.info.Number == numbers[i]) {
        std::cout << "  " << AddressWord(device.Address()) << "  " << device.Description();
      }
    }
    std::cout << '\n';
  }
}

void PrintInFull(const RaidInfo& raid, const DeviceViews& views) {
  std::cout << "RAID " << raid.RaidNumber << ": level " << int{raid.Level} << ", stripe size "
            << int{raid.StripeSize} << ", link position " << int{raid.LinkPosition} << '\n';
  PrintMembers("Tapes", raid.TapeDevices, raid.TapeCount, views);
  PrintMembers("Changers", raid.ChangerDevices, raid.ChangerCount, views);
  if (raid.Flags != 0) {
    std::cout << "The changers' drives in this RAID are " << ChangerStatusWord(raid.Flags) << ".\n";
  }
}

void PrintTable(const std::vector<RaidInfo>& raids) {
  if (raids.empty()) {
    std::cout << "There are no tape RAIDs. 'devprep raid create' makes one.\n";
    return;
  }
  Table table({"RAID", "LEVEL", "STRIPE", "LINK", "TAPES", "CHANGERS", "STATUS"});
  for (const RaidInfo& raid : raids) {
    table.Add({std::to_string(raid.RaidNumber), std::to_string(raid.Level),
               std::to_string(raid.StripeSize), std::to_string(raid.LinkPosition),
               Numbers(raid.TapeDevices, raid.TapeCount),
               Numbers(raid.ChangerDevices, raid.ChangerCount), ChangerStatusWord(raid.Flags)});
  }
  table.Print();
}

void ListRaids(const Options& options, std::optional<std::uint16_t> number, bool json) {
  DeviceViews views;
  InSession(options, Needs::kEngineAndHardware, [&] { views = ViewDevices(); });
  if (number) {
    for (const RaidInfo& raid : views.raids) {
      if (raid.RaidNumber != *number) continue;
      json ? PrintJson({{"raid", RaidJson(raid)}}) : PrintInFull(raid, views);
      return;
    }
    throw Failure("there is no RAID " + std::to_string(*number));
  }
  if (!json) {
    PrintTable(views.raids);
    return;
  }
  Json raids = Json::array();
  for (const RaidInfo& raid : views.raids) raids.push_back(RaidJson(raid));
  PrintJson({{"raids", raids}});
}

bool RaidExists(std::uint16_t number) {
  HKEY key = OpenRaidKey(number);
  if (key == nullptr) return false;
  RegCloseKey(key);
  return true;
}

// The device, or why its record cannot be had.
std::string ReadDevice(std::uint16_t number, DeviceRecord& record) {
  record.Number = number;
  const std::uint16_t status = GetDeviceRecord(&record);
  if (status == kStatusOk) return {};
  return Named("device", number) +
         (status == DEVPREP_NO_DEVICE ? " is not configured" : " has a malformed stored record");
}

std::string ExplainModel(const RaidInfo& raid, const DeviceRecord& device) {
  const bool changer = device.Type == kTypeChanger;
  if ((changer ? raid.ChangerCount : raid.TapeCount) == 0) return {};
  DeviceRecord first = {};
  first.Number = changer ? raid.ChangerDevices[0] : raid.TapeDevices[0];
  if (GetDeviceRecord(&first) != kStatusOk || IsSameModel(first, device)) return {};
  return Named("device", device.Number) + " is not of the model of " +
         Named("device", first.Number) + ", the first member of its kind";
}

std::string ExplainRefusedChanger(const RaidInfo& raid, const DeviceRecord& changer) {
  const std::string name = Named("changer", changer.Number);
  const std::string tapes =
      Named("RAID", raid.RaidNumber) + " has " + Count(raid.TapeCount, "tape");
  if (changer.ReservedDriveCount == 0) {
    return tapes + ", but " + name + " has no reserved drives to share them with";
  }
  if (raid.TapeCount % changer.ReservedDriveCount != 0 && !IsChangerInRaid(raid, changer.Number)) {
    return tapes + ", which is no multiple of the " + Count(changer.ReservedDriveCount, "drive") +
           " reserved to " + name;
  }
  return tapes + " that belong to no changer; a changer can only join it while it is empty";
}

std::string ExplainRefusedDrive(const RaidInfo& raid, std::uint16_t drive) {
  const std::string name = Named("drive", drive);
  std::uint16_t own = 0;
  if (!FindChangerOfDrive(drive, &own)) {
    return name + " is reserved to no changer, but this RAID is backed by changers";
  }
  std::uint16_t incomplete = 0;
  if (!FindIncompleteChanger(raid, &incomplete)) {
    return "every changer of this RAID has all its drives in it already";
  }
  return name + " belongs to " + Named("changer", own) + ", but " + Named("changer", incomplete) +
         " of this RAID still has free drives";
}

std::string ExplainRefusal(const RaidInfo& raid, const DeviceRecord& device, bool strict) {
  std::string reason = strict ? ExplainModel(raid, device) : "";
  if (!reason.empty()) return reason;
  return device.Type == kTypeChanger ? ExplainRefusedChanger(raid, device)
                                     : ExplainRefusedDrive(raid, device.Number);
}

std::string ExplainLimit(const RaidInfo& raid, const DeviceRecord& device) {
  const std::string limit = Count(kMaxRaidMembers, "tape drive") + " over all RAIDs";
  if (RaidMemberTotal >= kMaxRaidMembers) return "there are " + limit + ", and no more are allowed";
  if (raid.Level == 1 && raid.TapeCount >= 2) {
    return "a RAID of level 1 takes two tapes, and " + Named("RAID", raid.RaidNumber) + " has them";
  }
  if (raid.TapeCount >= kMaxRaidListEntries) return "the RAID's list is full";
  return "with the free drives of " + Named("changer", device.Number) +
         " there would be more than " + limit;
}

std::string ExplainAssignment(std::uint16_t status, std::uint16_t number, std::uint16_t device,
                              bool strict) {
  DeviceRecord record = {};
  std::string no_device = ReadDevice(device, record);
  RaidInfo raid = {};
  const bool readable = devprep::RaidSetUpGetRaidInfo(number, &raid) == DEVPREP_OK;
  if (!readable && status != DEVPREP_MEMBER_LIMIT) {
    return RaidExists(number) ? Named("RAID", number) + " cannot be read"
                              : "there is no " + Named("RAID", number);
  }
  if (!no_device.empty()) return no_device;
  switch (status) {
    case DEVPREP_DEVICE_REFUSED:
      return ExplainRefusal(raid, record, strict);
    case DEVPREP_ALREADY_MEMBER:
      return Named("device", device) + " is in " + Named("RAID", number) + " already";
    case DEVPREP_MEMBER_LIMIT:
      return ExplainLimit(raid, record);
    case DEVPREP_RAID_STORE_FAILED:
      return "the lists of " + Named("RAID", number) + " cannot be stored";
    default:
      return strict ? "the first member, whose model is asked for, cannot be read"
                    : "a device record cannot be read";
  }
}

std::string ExplainRelease(std::uint16_t status, std::uint16_t number, std::uint16_t device) {
  DeviceRecord record = {};
  std::string no_device = ReadDevice(device, record);
  if (!no_device.empty()) return no_device;
  if (!RaidExists(number)) return "there is no " + Named("RAID", number);
  if (status == DEVPREP_NOT_A_MEMBER) {
    return record.Type == kTypeChanger
               ? "the last of the enabled drives of " + Named("changer", device) + " was not in " +
                     Named("RAID", number) + "; what was, has been taken out"
               : Named("device", device) + " is not in " + Named("RAID", number);
  }
  return "the lists of " + Named("RAID", number) + " cannot be read or stored";
}

// Runs an edit in a session with the members counted, as they are after a configuration pass. The
// edit returns why it was refused, or an empty text and then prints what it did.
void Edit(const Options& options, const std::function<std::string()>& edit) {
  std::string refusal;
  InSession(options, Needs::kEngineAndHardware, [&] {
    CountRaidMembers(&RaidMemberTotal);
    refusal = edit();
  });
  if (!refusal.empty()) throw Failure(refusal);
}

std::string Refused(std::uint16_t status, const std::string& reason) {
  return "refused (" + std::to_string(status) + "): " + reason;
}

std::string Create(std::uint16_t level) {
  std::uint16_t number = 0;
  const std::uint16_t status = ::RaidSetUpCreateRaid(level, 0, &number);
  if (status == DEVPREP_RAID_LIMIT)
    return Refused(status, "there are 8 RAIDs, and no more are allowed");
  if (status != DEVPREP_OK) {
    return Refused(status,
                   "the RAID's key cannot be made; there must be a configuration first (devprep "
                   "configure)");
  }
  std::cout << "RAID " << number << " created with level " << level << ".\n";
  return {};
}

std::string Remove(std::uint16_t number) {
  const bool exists = RaidExists(number);
  const std::uint16_t status = ::RaidSetUpRemoveRaid(number);
  if (status != DEVPREP_OK) {
    return Refused(status, exists ? Named("RAID", number) + " cannot be deleted"
                                  : "there is no " + Named("RAID", number));
  }
  std::cout << "RAID " << number << " removed. RAIDs with higher numbers have moved down by one.\n";
  return {};
}

std::string Assign(std::uint16_t number, std::uint16_t device, bool strict) {
  const std::uint16_t before = RaidMemberTotal;
  const std::uint16_t status =
      ::RaidSetUpAssignDeviceToRaid(number, device, strict ? kStrictMatch : 0);
  if (status != DEVPREP_OK) {
    return Refused(status, ExplainAssignment(status, number, device, strict));
  }
  std::cout << "Device " << device << " assigned to RAID " << number << ": "
            << Count(static_cast<std::size_t>(RaidMemberTotal - before), "tape") << " added.\n";
  return {};
}

std::string Release(std::uint16_t number, std::uint16_t device) {
  const std::uint16_t before = RaidMemberTotal;
  const std::uint16_t status = ::RaidSetUpRemoveDeviceFromRaid(number, device);
  if (status != DEVPREP_OK) return Refused(status, ExplainRelease(status, number, device));
  std::cout << "Device " << device << " released from RAID " << number << ": "
            << Count(static_cast<std::size_t>(before - RaidMemberTotal), "tape") << " taken out.\n";
  return {};
}

// The library would make a RAID's key that is not there, with this one value in it.
std::string SetNumber(std::uint16_t number, const char* what, std::uint16_t value,
                      std::uint16_t (*set)(std::uint16_t, std::uint16_t)) {
  if (!RaidExists(number)) return "there is no " + Named("RAID", number);
  set(number, value);
  std::cout << "RAID " << number << " has " << what << ' ' << value << " now.\n";
  return {};
}

// The numbers and flags of one command line.
struct Arguments {
  std::optional<std::uint16_t> listed;
  std::uint16_t number = 0;
  std::uint16_t device = 0;
  std::uint16_t value = 0;
  std::uint16_t level = kDefaultRaidLevel;
  bool strict = false;
  bool json = false;
};

CLI::App* AddRaidCommand(CLI::App* raid, const char* name, const char* about,
                         std::uint16_t* number) {
  CLI::App* command = raid->add_subcommand(name, about);
  command->add_option("raid", *number, "RAID number")->required()->option_text("N");
  return command;
}

}  // namespace

void AddRaidCommands(CLI::App& app, const Options& options) {
  const auto arguments = std::make_shared<Arguments>();
  Arguments* const a = arguments.get();
  CLI::App* list = app.add_subcommand("raids", "List the tape RAIDs, or show one in full");
  list->add_option("number", a->listed, "Show this RAID in full")->option_text("N");
  list->add_flag("--json", a->json, "Print JSON");
  list->callback([&options, arguments] { ListRaids(options, arguments->listed, arguments->json); });

  CLI::App* raid = app.add_subcommand("raid", "Create, edit and remove tape RAIDs");
  raid->require_subcommand(1);
  CLI::App* create =
      raid->add_subcommand("create", "Create an empty RAID under the lowest free number");
  create->add_option("--level", a->level, "RAID level (5)")->option_text("N");
  create->callback(
      [&options, arguments] { Edit(options, [&] { return Create(arguments->level); }); });
  AddRaidCommand(raid, "remove", "Remove a RAID; the RAIDs above it move down one number",
                 &a->number)
      ->callback(
          [&options, arguments] { Edit(options, [&] { return Remove(arguments->number); }); });
  CLI::App* assign = AddRaidCommand(
      raid, "assign", "Add a drive, or a changer with its free reserved drives", &a->number);
  assign->add_option("device", a->device, "Device number")->required()->option_text("DEVICE");
  assign->add_flag("--strict", a->strict, "Only if it is of the model of the RAID's first member");
  assign->callback([&options, arguments] {
    Edit(options, [&] { return Assign(arguments->number, arguments->device, arguments->strict); });
  });
  CLI::App* release = AddRaidCommand(
      raid, "release", "Take a drive, or a changer with its reserved drives, out of a RAID",
      &a->number);
  release->add_option("device", a->device, "Device number")->required()->option_text("DEVICE");
  release->callback([&options, arguments] {
    Edit(options, [&] { return Release(arguments->number, arguments->device); });
  });
  CLI::App* level = AddRaidCommand(raid, "level", "Set a RAID's level", &a->number);
  level->add_option("level", a->value, "Level")->required()->option_text("L");
  level->callback([&options, arguments] {
    Edit(options, [&] {
      return SetNumber(arguments->number, "level", arguments->value, ::RaidSetUpSetRaidLevel);
    });
  });
  CLI::App* link = AddRaidCommand(raid, "link", "Set a RAID's link position", &a->number);
  link->add_option("position", a->value, "Link position")->required()->option_text("P");
  link->callback([&options, arguments] {
    Edit(options, [&] {
      return SetNumber(arguments->number, "link position", arguments->value,
                       ::RaidSetUpSetLinkPosition);
    });
  });
}

}  // namespace devprep::tool
