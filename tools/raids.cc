// devprep raids and devprep raid: listing and editing tape RAIDs.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "device_view.h"
#include "guarded_edit.h"
#include "listing.h"
#include "output.h"
#include "records/address_list.h"
#include "records/raid_records.h"
#include "refusal.h"
#include "report.h"
#include "setup/raid_setup.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::uint16_t kMaxLevel = 6;  // of the levels that arrays have

Value NumberList(const std::uint16_t* numbers, std::uint16_t count) {
  std::vector<Value> values;
  for (std::uint16_t i = 0; i < count; ++i) values.push_back(Value::Number(numbers[i]));
  return Value::List(values);
}

Error NoRaid(std::uint16_t number) {
  return Refusal({"no_raid", "there is no " + Named("RAID", number)});
}

const Listing<RaidInfo>& RaidListing() {
  using enum Importance;
  static const Listing<RaidInfo> listing({
      {NumberColumn("number", "RAID", "RAID number", kKey),
       [](const RaidInfo& r) { return Value::Number(r.RaidNumber); }},
      {NumberColumn("level", "Level", "RAID level"),
       [](const RaidInfo& r) { return Value::Number(r.Level); }},
      {NumberColumn("stripe_size", "Stripe size", "stripe size"),
       [](const RaidInfo& r) { return Value::Number(r.StripeSize); }},
      {NumberColumn("link_position", "Link position", "link position"),
       [](const RaidInfo& r) { return Value::Number(r.LinkPosition); }},
      {WrappingColumn("tapes", "Tapes", "drives in the RAID", kKey),
       [](const RaidInfo& r) { return NumberList(r.TapeDevices, r.TapeCount); }},
      {WrappingColumn("changers", "Changers", "changers of these drives", kKey),
       [](const RaidInfo& r) { return NumberList(r.ChangerDevices, r.ChangerCount); }},
      {TextColumn("status", "Status", "whether all drives of the changers are in the RAID", kKey),
       [](const RaidInfo& r) { return Value::Name(ChangerStatusName(r.Flags)); }},
  });
  return listing;
}

std::vector<DeviceView> MembersOf(const RaidInfo& raid, const DeviceViews& views) {
  std::vector<DeviceView> members;
  for (const DeviceView& device : views.devices) {
    const auto& raids = device.raids;
    if (std::find(raids.begin(), raids.end(), raid.RaidNumber) != raids.end()) {
      members.push_back(device);
    }
  }
  return members;
}

void ShowRaid(const RaidInfo& raid, const DeviceViews& views, const ListingOptions& listing) {
  ListingOptions members;
  members.columns = "number,address,type,description,serial_number";
  if (listing.json) {
    PrintJson({{"raid", RaidListing().AsJson(raid, listing)},
               {"members", DeviceListing().AsJson(MembersOf(raid, views), members)}});
    return;
  }
  RaidListing().PrintInFull(raid, listing);
  if (!listing.columns.empty()) return;
  members.wide = listing.wide;
  std::cout << '\n';
  DeviceListing().Print(MembersOf(raid, views), members);
}

Result<ExitStatus> ListRaids(const Options& options, std::optional<std::uint16_t> number,
                             const ListingOptions& listing) {
  DeviceViews views;
  const Result<> viewed = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    views = ViewDevices();
    return {};
  });
  if (!viewed) return viewed.Failure();
  if (number) {
    for (const RaidInfo& raid : views.raids) {
      if (raid.RaidNumber != *number) continue;
      ShowRaid(raid, views, listing);
      return ExitStatus::kDone;
    }
    return NoRaid(*number);
  }
  if (listing.json) {
    PrintJson({{"raids", RaidListing().AsJson(views.raids, listing)}});
  } else if (views.raids.empty()) {
    std::cout << "There are no tape RAIDs. 'devprep raid create' makes one.\n";
  } else {
    RaidListing().Print(views.raids, listing);
  }
  return ExitStatus::kDone;
}

// Why an edit of a RAID was refused, in a sentence.
Term ExplainRefusal(const RaidEdit& edit, std::uint16_t number) {
  const std::string raid = Named("RAID", number);
  const std::string device = Named("device", edit.device);
  const std::string drive = Named("drive", edit.device);
  const std::string changer = Named("changer", edit.device);
  const std::string tapes = raid + " has " + Count(edit.tapes, "tape");
  const std::string limit = Count(kMaxRaidMembers, "tape drive") + " over all RAIDs";
  switch (edit.refusal) {
    case RaidRefusal::kNone:
      break;
    case RaidRefusal::kNoRaid:
      return {"no_raid", "there is no " + raid};
    case RaidRefusal::kRaidNotReadable:
      return {"raid_not_readable", raid + " cannot be read"};
    case RaidRefusal::kRaidNotStored:
      return {"raid_not_stored", raid + " cannot be stored"};
    case RaidRefusal::kRaidLimit:
      return {"raid_limit",
              "there are " + std::to_string(kMaxRaids) + " RAIDs, and no more are allowed"};
    case RaidRefusal::kNoTapeEngineKey:
      return {"no_tape_engine_key", "there must be a configuration first (devprep configure)"};
    case RaidRefusal::kNoDevice:
      return {"no_device", device + " is not configured"};
    case RaidRefusal::kDeviceNotReadable:
      return {"device_not_readable", device + " has a malformed stored record"};
    case RaidRefusal::kAlreadyMember:
      return {"already_member", device + " is in " + raid + " already"};
    case RaidRefusal::kNotAMember:
      return {"not_a_member", device + " is not in " + raid};
    case RaidRefusal::kLastDriveNotAMember:
      return {"last_drive_not_a_member", "the last of the enabled drives of " + changer +
                                             " is not in " + raid +
                                             "; --force takes the others out"};
    case RaidRefusal::kFirstNotReadable:
      return {"first_not_readable", "the first member, whose model is asked for, cannot be read"};
    case RaidRefusal::kOtherModel:
      return {"other_model", device + " is not of the model of " + Named("device", edit.other) +
                                 ", the first member of its kind"};
    case RaidRefusal::kMemberLimit:
      return {"member_limit", "there are " + limit + ", and no more are allowed"};
    case RaidRefusal::kDrivesAboveLimit:
      return {"drives_above_limit",
              "with the free drives of " + changer + " there would be more than " + limit};
    case RaidRefusal::kMirrorFull:
      return {"mirror_full", "a RAID of level " + std::to_string(kMirrorLevel) + " takes " +
                                 Count(kMaxMirrorTapes, "tape") + ", and " + raid + " has them"};
    case RaidRefusal::kListFull:
      return {"list_full", "the list of " + raid + " is full"};
    case RaidRefusal::kNothingToShare:
      return {"nothing_to_share",
              tapes + ", but " + changer + " has no reserved drives to share them with"};
    case RaidRefusal::kUnevenShare:
      return {"uneven_share", tapes + ", which is no multiple of the " +
                                  Count(edit.drives, "drive") + " reserved to " + changer};
    case RaidRefusal::kTapesWithoutChanger:
      return {"tapes_without_changer",
              tapes + " that belong to no changer; a changer can only join it while it is empty"};
    case RaidRefusal::kDriveWithoutChanger:
      return {"drive_without_changer",
              drive + " is reserved to no changer, but " + raid + " is backed by changers"};
    case RaidRefusal::kChangersComplete:
      return {"changers_complete",
              "every changer of " + raid + " has all its drives in it already"};
    case RaidRefusal::kOtherChangersTurn:
      return {"other_changers_turn", drive + " belongs to " + Named("changer", edit.other) +
                                         ", but " + Named("changer", edit.next) +
                                         " of this RAID still has free drives"};
  }
  return {};
}

// text: what was done. fits: what the exports do not ask, with force all the same.
Result<std::string> Done(const RaidEdit& edit, std::uint16_t number, const std::string& text,
                         const Result<>& fits = {}, bool force = false) {
  if (edit.status != DEVPREP_OK) {
    const Term reason = ExplainRefusal(edit, number);
    return Refusal(
        {reason.identifier, "refused (" + std::to_string(edit.status) + "): " + reason.text});
  }
  if (!fits && !force) return fits.Failure();
  return text;
}

// What a RAID's list names although no configured device is there.
struct StaleMember {
  std::uint16_t raid = 0;
  const char* value_name = nullptr;  // of the list
  std::string element;
};

std::vector<StaleMember> StaleMembers() {
  std::vector<StaleMember> stale;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    for (const char* const value_name : {kRaidInfoValue, kRaidChangersValue}) {
      char list[kRaidListSize];
      if (!ReadRaidList(OpenRaidKey(n), value_name, list)) continue;
      const char* rest = list;
      for (ListPiece piece; NextAddressElement(&rest, &piece);) {
        std::uint16_t device = 0;
        if (FindDeviceByAddress(piece.text, &device) == DEVPREP_OK) continue;
        stale.push_back({n, value_name, piece.text});
      }
    }
  }
  return stale;
}

// Reading a RAID's record drops what is stale from its lists, and every edit reads those of all
// RAIDs: whoever lost a drive hears of it. The RAIDs' numbers are those before the edit.
std::string DroppedText(const std::vector<StaleMember>& stale) {
  std::string text;
  for (const StaleMember& member : stale) {
    bool kept = false;
    for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
      kept = kept || RaidListHolds(n, member.value_name, member.element.c_str());
    }
    if (kept) continue;
    text += "\nDropped from " + Named("RAID", member.raid) + ": the " +
            (member.value_name == kRaidInfoValue ? "drive" : "changer") + " at " +
            AddressText(ParseAddress(member.element.c_str())) + ", where no device is configured.";
  }
  return text;
}

// Makes an edit with the members counted, as they are after a configuration pass.
Result<ExitStatus> EditRaids(const Options& options, const GuardOptions& guard, const Edit& edit) {
  const auto whole = [&]() -> Result<std::string> {
    const std::vector<StaleMember> stale = StaleMembers();
    CountRaidMembers();
    Result<std::string> edited = edit();
    if (!edited) return edited;
    return *edited + DroppedText(stale);
  };
  return RunGuardedEdit(options, guard, kStoreQuestion, whole, Json::object(), nullptr,
                        EditNeeds::kConfiguration);
}

Result<> CheckNumber(const char* what, const char* code, std::uint16_t value, std::uint16_t max) {
  if (value <= max) return {};
  return RefusalUnlessForced({code, std::string("there is no ") + what + ' ' +
                                        std::to_string(value) + ": 0 to " + std::to_string(max)});
}

Result<> CheckLevelExists(std::uint16_t level) {
  return CheckNumber("RAID level", "no_such_level", level, kMaxLevel);
}

// The exports take any device, and one that another RAID has.
Result<> CheckDevice(std::uint16_t number, std::uint16_t device) {
  DeviceRecord record = {};
  record.Number = device;
  if (ReadDeviceRecord(&record) != DEVPREP_OK) return {};  // the edit says why
  if (record.Type != kTypeTape && record.Type != kTypeChanger) {
    return RefusalUnlessForced(
        {"not_a_drive_or_changer",
         Named("device", device) +
             " is neither a tape drive nor a changer: " + TypeName(record.Type).text});
  }
  char element[kAddressElementSize];
  FormatAddress(record.Address, element);
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    // Reading the RAID's record would drop members from its lists.
    if (n != number && RaidListHolds(n, kRaidInfoValue, element)) {
      return RefusalUnlessForced(
          {"in_another_raid", Named("drive", device) + " is in " + Named("RAID", n) + " already"});
    }
  }
  return {};
}

Result<std::string> Create(std::uint16_t level, bool force) {
  std::uint16_t number = 0;
  const RaidEdit edit = CreateRaid(level, &number);
  return Done(edit, number,
              Named("RAID", number) + " created with level " + std::to_string(level) + ".",
              CheckLevelExists(level), force);
}

Result<std::string> Remove(std::uint16_t number) {
  return Done(
      RemoveRaid(number), number,
      Named("RAID", number) + " removed. RAIDs with higher numbers have moved down by one.");
}

Result<std::string> Assign(std::uint16_t number, std::uint16_t device, bool strict, bool force) {
  const RaidEdit edit = AssignDeviceToRaid(number, device, strict ? kStrictMatch : 0);
  return Done(edit, number,
              Named("Device", device) + " assigned to " + Named("RAID", number) + ": " +
                  Count(edit.tapes, "tape") + " added.",
              CheckDevice(number, device), force);
}

Result<std::string> Release(std::uint16_t number, std::uint16_t device, bool force) {
  RaidEdit edit = RemoveDeviceFromRaid(number, device);
  if (force && edit.refusal == RaidRefusal::kLastDriveNotAMember) edit.status = DEVPREP_OK;
  return Done(edit, number,
              Named("Device", device) + " released from " + Named("RAID", number) + ": " +
                  Count(edit.tapes, "tape") + " taken out.");
}

// The numbers and flags of one command line.
struct Arguments {
  std::optional<std::uint16_t> listed;
  std::uint16_t number = 0;
  std::uint16_t device = 0;
  std::uint16_t value = 0;
  std::uint16_t level = kDefaultRaidLevel;
  bool strict = false;
  bool force = false;
  GuardOptions guard;
  ListingOptions listing;
};

// The library would make a RAID's key that is not there, with this one value in it.
Result<std::string> SetNumber(const Arguments& given, const char* what, const Result<>& exists,
                              void (*set)(std::uint16_t, std::uint16_t)) {
  if (!RaidExists(given.number)) return NoRaid(given.number);
  if (!exists && !given.force) return exists.Failure();
  set(given.number, given.value);
  return Named("RAID", given.number) + " has " + what + ' ' + std::to_string(given.value) + " now.";
}

CLI::App* AddRaidCommand(CLI::App* raid, const char* name, const char* about,
                         std::uint16_t* number) {
  CLI::App* command = raid->add_subcommand(name, about);
  command->add_option("raid", *number, "RAID number")->required()->option_text("N");
  return command;
}

}  // namespace

void AddRaidCommands(CLI::App& app, Invocation& invocation) {
  const auto arguments = std::make_shared<Arguments>();
  Arguments* const a = arguments.get();
  CLI::App* list = app.add_subcommand("raids", "List the tape RAIDs, or show one in full");
  list->add_option("number", a->listed, "Show this RAID in full")->option_text("N");
  AddListingOptions(*list, a->listing, RaidListing().Infos());
  OnCommand(list, invocation, [&invocation, arguments] {
    return ListRaids(invocation.options, arguments->listed, arguments->listing);
  });

  CLI::App* raid = app.add_subcommand("raid", "Create, edit and remove tape RAIDs");
  raid->require_subcommand(1);
  const auto on_edit = [&invocation, arguments](CLI::App* command, auto edit) {
    AddGuardOptions(*command, arguments->guard);
    OnCommand(command, invocation, [&invocation, arguments, edit] {
      return EditRaids(invocation.options, arguments->guard, [&] { return edit(*arguments); });
    });
  };
  const auto add_force = [a](CLI::App* command) {
    command->add_flag("--force", a->force, kForceHelp);
  };
  CLI::App* create =
      raid->add_subcommand("create", "Create an empty RAID under the lowest free number");
  create->add_option("--level", a->level, "RAID level (5)")->option_text("N");
  add_force(create);
  on_edit(create, [](const Arguments& given) { return Create(given.level, given.force); });
  on_edit(AddRaidCommand(raid, "remove", "Remove a RAID; the RAIDs above it move down one number",
                         &a->number),
          [](const Arguments& given) { return Remove(given.number); });
  CLI::App* assign = AddRaidCommand(
      raid, "assign", "Add a drive, or a changer with its free reserved drives", &a->number);
  assign->add_option("device", a->device, "Device number")->required()->option_text("DEVICE");
  assign->add_flag("--strict", a->strict, "Only if it is of the model of the RAID's first member");
  add_force(assign);
  on_edit(assign, [](const Arguments& given) {
    return Assign(given.number, given.device, given.strict, given.force);
  });
  CLI::App* release = AddRaidCommand(
      raid, "release", "Take a drive, or a changer with its reserved drives, out of a RAID",
      &a->number);
  release->add_option("device", a->device, "Device number")->required()->option_text("DEVICE");
  add_force(release);
  on_edit(release,
          [](const Arguments& given) { return Release(given.number, given.device, given.force); });
  CLI::App* level = AddRaidCommand(raid, "level", "Set a RAID's level", &a->number);
  level->add_option("level", a->value, "Level")->required()->option_text("L");
  add_force(level);
  on_edit(level, [](const Arguments& given) {
    return SetNumber(given, "level", CheckLevelExists(given.value), SetRaidLevel);
  });
  CLI::App* link = AddRaidCommand(raid, "link", "Set a RAID's link position", &a->number);
  link->add_option("position", a->value, "Link position")->required()->option_text("P");
  add_force(link);
  on_edit(link, [](const Arguments& given) {
    const Result<> exists =
        CheckNumber("link position", "no_such_link_position", given.value, kMaxRaidMembers);
    return SetNumber(given, "link position", exists, SetRaidLinkPosition);
  });
}

}  // namespace devprep::tool
