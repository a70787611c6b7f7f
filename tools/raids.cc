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
#include "listing.h"
#include "output.h"
#include "records/raid_records.h"
#include "setup/raid_setup.h"
#include "words.h"

namespace devprep::tool {
namespace {

std::string Named(const char* noun, std::uint16_t number) {
  return std::string(noun) + " " + std::to_string(number);
}

Value Numbers(const std::uint16_t* numbers, std::uint16_t count) {
  std::vector<Value> values;
  for (std::uint16_t i = 0; i < count; ++i) values.push_back(Value::Number(numbers[i]));
  return Value::List(values);
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
       [](const RaidInfo& r) { return Numbers(r.TapeDevices, r.TapeCount); }},
      {WrappingColumn("changers", "Changers", "changers of these drives", kKey),
       [](const RaidInfo& r) { return Numbers(r.ChangerDevices, r.ChangerCount); }},
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

void ListRaids(const Options& options, std::optional<std::uint16_t> number,
               const ListingOptions& listing) {
  DeviceViews views;
  InSession(options, Needs::kEngineAndHardware, [&] { views = ViewDevices(); });
  if (number) {
    for (const RaidInfo& raid : views.raids) {
      if (raid.RaidNumber == *number) return ShowRaid(raid, views, listing);
    }
    throw Failure("there is no RAID " + std::to_string(*number));
  }
  if (listing.json) {
    PrintJson({{"raids", RaidListing().AsJson(views.raids, listing)}});
  } else if (views.raids.empty()) {
    std::cout << "There are no tape RAIDs. 'devprep raid create' makes one.\n";
  } else {
    RaidListing().Print(views.raids, listing);
  }
}

// Why an edit of a RAID was refused, in a sentence.
std::string ExplainRefusal(const RaidEdit& edit, std::uint16_t number) {
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
      return "there is no " + raid;
    case RaidRefusal::kRaidNotReadable:
      return raid + " cannot be read";
    case RaidRefusal::kRaidNotStored:
      return raid + " cannot be stored";
    case RaidRefusal::kRaidLimit:
      return "there are " + std::to_string(kMaxRaids) + " RAIDs, and no more are allowed";
    case RaidRefusal::kNoTapeEngineKey:
      return "there must be a configuration first (devprep configure)";
    case RaidRefusal::kNoDevice:
      return device + " is not configured";
    case RaidRefusal::kDeviceNotReadable:
      return device + " has a malformed stored record";
    case RaidRefusal::kAlreadyMember:
      return device + " is in " + raid + " already";
    case RaidRefusal::kNotAMember:
      return device + " is not in " + raid;
    case RaidRefusal::kLastDriveNotAMember:
      return "the last of the enabled drives of " + changer + " was not in " + raid +
             "; what was, has been taken out";
    case RaidRefusal::kFirstNotReadable:
      return "the first member, whose model is asked for, cannot be read";
    case RaidRefusal::kOtherModel:
      return device + " is not of the model of " + Named("device", edit.other) +
             ", the first member of its kind";
    case RaidRefusal::kMemberLimit:
      return "there are " + limit + ", and no more are allowed";
    case RaidRefusal::kDrivesAboveLimit:
      return "with the free drives of " + changer + " there would be more than " + limit;
    case RaidRefusal::kMirrorFull:
      return "a RAID of level " + std::to_string(kMirrorLevel) + " takes " +
             Count(kMaxMirrorTapes, "tape") + ", and " + raid + " has them";
    case RaidRefusal::kListFull:
      return "the list of " + raid + " is full";
    case RaidRefusal::kNothingToShare:
      return tapes + ", but " + changer + " has no reserved drives to share them with";
    case RaidRefusal::kUnevenShare:
      return tapes + ", which is no multiple of the " + Count(edit.drives, "drive") +
             " reserved to " + changer;
    case RaidRefusal::kTapesWithoutChanger:
      return tapes + " that belong to no changer; a changer can only join it while it is empty";
    case RaidRefusal::kDriveWithoutChanger:
      return drive + " is reserved to no changer, but " + raid + " is backed by changers";
    case RaidRefusal::kChangersComplete:
      return "every changer of " + raid + " has all its drives in it already";
    case RaidRefusal::kOtherChangersTurn:
      return drive + " belongs to " + Named("changer", edit.other) + ", but " +
             Named("changer", edit.next) + " of this RAID still has free drives";
  }
  return {};
}

// Runs an edit in a session with the members counted, as they are after a configuration pass. The
// edit returns why it was refused, or an empty text and then prints what it did.
void Edit(const Options& options, const std::function<std::string()>& edit) {
  std::string refusal;
  InSession(options, Needs::kEngineAndHardware, [&] {
    CountRaidMembers();
    refusal = edit();
  });
  if (!refusal.empty()) throw Failure(refusal);
}

std::string Refused(const RaidEdit& edit, std::uint16_t number) {
  return "refused (" + std::to_string(edit.status) + "): " + ExplainRefusal(edit, number);
}

std::string Create(std::uint16_t level) {
  std::uint16_t number = 0;
  const RaidEdit edit = CreateRaid(level, &number);
  if (edit.status != DEVPREP_OK) return Refused(edit, number);
  std::cout << "RAID " << number << " created with level " << level << ".\n";
  return {};
}

std::string Remove(std::uint16_t number) {
  const RaidEdit edit = RemoveRaid(number);
  if (edit.status != DEVPREP_OK) return Refused(edit, number);
  std::cout << "RAID " << number << " removed. RAIDs with higher numbers have moved down by one.\n";
  return {};
}

std::string Assign(std::uint16_t number, std::uint16_t device, bool strict) {
  const RaidEdit edit = AssignDeviceToRaid(number, device, strict ? kStrictMatch : 0);
  if (edit.status != DEVPREP_OK) return Refused(edit, number);
  std::cout << "Device " << device << " assigned to RAID " << number << ": "
            << Count(edit.tapes, "tape") << " added.\n";
  return {};
}

std::string Release(std::uint16_t number, std::uint16_t device) {
  const RaidEdit edit = RemoveDeviceFromRaid(number, device);
  if (edit.status != DEVPREP_OK) return Refused(edit, number);
  std::cout << "Device " << device << " released from RAID " << number << ": "
            << Count(edit.tapes, "tape") << " taken out.\n";
  return {};
}

// The library would make a RAID's key that is not there, with this one value in it.
std::string SetNumber(std::uint16_t number, const char* what, std::uint16_t value,
                      void (*set)(std::uint16_t, std::uint16_t)) {
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
  ListingOptions listing;
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
  AddListingOptions(*list, a->listing, RaidListing().Infos());
  list->callback(
      [&options, arguments] { ListRaids(options, arguments->listed, arguments->listing); });

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
    Edit(options,
         [&] { return SetNumber(arguments->number, "level", arguments->value, SetRaidLevel); });
  });
  CLI::App* link = AddRaidCommand(raid, "link", "Set a RAID's link position", &a->number);
  link->add_option("position", a->value, "Link position")->required()->option_text("P");
  link->callback([&options, arguments] {
    Edit(options, [&] {
      return SetNumber(arguments->number, "link position", arguments->value, SetRaidLinkPosition);
    });
  });
}

}  // namespace devprep::tool
