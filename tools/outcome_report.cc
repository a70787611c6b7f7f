#include "outcome_report.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "danger_text.h"
#include "device_settings.h"
#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "listing.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "records/raid_records.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

Outcome OutcomeOf(Change change) {
  switch (change) {
    case Change::kKept:
      return Outcome::kKept;
    case Change::kMoved:
      return Outcome::kMoved;
    case Change::kMerged:
      return Outcome::kMerged;
    case Change::kGone:
      break;
  }
  return Outcome::kGone;
}

void AddOldIdentity(const DeviceRecord& record, DeviceLine& line) {
  line.old_serial_number = SerialNumberText(record.SerialNumber);
  // A record may keep no more than the beginning of the same one.
  if (line.new_number &&
      line.old_serial_number == SerialNumberText(FoundDevices[*line.new_number].SerialNumber)) {
    line.old_serial_number = line.new_serial_number;
  }
  line.old_world_wide_id = WorldWideIdText(record);
}

DeviceLine Describe(const DeviceRecord& found) {
  DeviceLine line;
  line.new_number = found.Number;
  line.new_address = AddressText(found.Address);
  line.type = found.Type;
  line.description = CleanText(found.Description, sizeof found.Description);
  line.new_serial_number = FoundSerialNumberText(found.Number);
  line.new_world_wide_id = WorldWideIdText(found);
  line.outcome = Outcome::kNew;
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
      AddOldIdentity(device.Old, line);
      line.outcome = OutcomeOf(device.Became);
      lines.push_back(std::move(line));
    }
    if (!known) lines.push_back(Describe(FoundDevices[n]));
  }
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.NewNumber != kDeviceGone) continue;
    const bool readable = device.ReadStatus == kStatusOk;
    DeviceLine line;
    line.old_number = k;
    line.old_address = AddressText(device.Old.Address);
    line.type = device.Old.Type;
    if (readable) {
      line.description = CleanText(device.StoredDescription, sizeof device.StoredDescription);
    }
    line.readable = readable;
    line.outcome = OutcomeOf(device.Became);
    AddOldIdentity(device.Old, line);
    lines.push_back(std::move(line));
  }
  return lines;
}

// What became of a whole list of members.
Outcome ListOutcome(const Members& members) {
  const auto became = [&members](Change change) {
    return std::count_if(members.begin(), members.end(),
                         [change](const MemberOutcome& member) { return member.Became == change; });
  };
  if (became(Change::kGone) != 0) return Outcome::kMembersLost;
  return became(Change::kMoved) == 0 ? Outcome::kKept : Outcome::kRenumbered;
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
    line.outcome = group.NewKind != group.OldKind ? Outcome::kEmptied : ListOutcome(line.members);
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

Colour ColourOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kKept:
      return Colour::kPlain;
    case Outcome::kNew:
      return Colour::kGood;
    case Outcome::kMoved:
    case Outcome::kRenumbered:
      return Colour::kChanged;
    default:
      return Colour::kBad;
  }
}

template <typename Item>
Colour OutcomeColour(const Item& item) {
  return ColourOf(item.outcome);
}

// An identity before and after, where they differ both.
Value IdentityValue(const std::string& before, const std::string& now) {
  if (before.empty() && now.empty()) return Value::Absent();
  const auto or_null = [](const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
  };
  const bool differ = !before.empty() && !now.empty() && before != now;
  return Value::Record({{"old", or_null(before)}, {"new", or_null(now)}},
                       differ           ? before + " -> " + now
                       : before.empty() ? now
                                        : before);
}

Value OldOrNewNumber(const std::optional<std::uint16_t>& number) {
  return number ? Value::Number(*number) : Value::Absent();
}

template <typename Item>
Column<Item> OutcomeColumn() {
  return {TextColumn("outcome", "Outcome", "what became of it", Importance::kKey),
          [](const Item& item) { return Value::Name(OutcomeName(item.outcome)); }};
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
        [](const DeviceLine& d) {
          return d.readable ? Value::Text(d.description)
                            : Value::Record(nullptr, "(record could not be read)");
        }},
       {TextColumn("recognised_by", "Recognised by", "what the device was recognised by"),
        [](const DeviceLine& d) { return Value::Name(CriterionName(d.recognised_by)); }},
       {WrappingColumn("serial_number", "Serial number", "serial number, before and now", kExtra),
        [](const DeviceLine& d) {
          return IdentityValue(d.old_serial_number, d.new_serial_number);
        }},
       {WrappingColumn("world_wide_id", "World Wide ID", "World Wide ID, before and now", kExtra),
        [](const DeviceLine& d) {
          return IdentityValue(d.old_world_wide_id, d.new_world_wide_id);
        }}},
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

// What was set before and is not at the device that the old one became.
std::vector<LostSetting> LostSettings() {
  std::vector<LostSetting> lost;
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    DeviceRecord now = {};
    now.Number = device.NewNumber;
    now.CleaningTapeSlot = now.DefaultBlockFactor = kNotSet;
    if (device.NewNumber != kDeviceGone) ReadDeviceRecord(&now);
    for (const SettingInfo& setting : DeviceSettings()) {
      if (setting.IsSet(device.Old) && now.*setting.field != device.Old.*setting.field) {
        lost.push_back({"device", k, setting.Named(), setting.Of(device.Old)});
      }
    }
    if (device.Old.UnReservedDriveCount != 0) {
      const std::uint16_t count = device.Old.UnReservedDriveCount;
      lost.push_back({"device",
                      k,
                      {"unreserved_drives", "unreserved drives"},
                      Value::Quantity(count, Count(count, "drive"))});
    }
  }
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    if (LastPass.Groups[i].OldAttribute == 0) continue;
    lost.push_back(
        {"group", i, {"attribute", "attribute"}, Value::Number(LastPass.Groups[i].OldAttribute)});
  }
  return lost;
}

const Listing<LostSetting>& LostSettingListing() {
  static const Listing<LostSetting> listing(
      {{TextColumn("of", "Setting of", "device or group before", Importance::kKey),
        [](const LostSetting& s) {
          return Value::Record({{"kind", s.of}, {"number", s.number}}, Named(s.of, s.number));
        }},
       {TextColumn("name", "Lost", "setting that no device has any more", Importance::kKey),
        [](const LostSetting& s) { return Value::Name(s.name); }},
       {TextColumn("value", "Was", "its value", Importance::kKey),
        [](const LostSetting& s) { return s.value; }}},
      [](const LostSetting&) { return Colour::kBad; });
  return listing;
}

template <typename Line>
bool AllKept(const std::vector<Line>& lines) {
  return std::all_of(lines.begin(), lines.end(),
                     [](const Line& line) { return line.outcome == Outcome::kKept; });
}

Json DangersJson(const OutcomeReport& report) {
  Json list = Json::array();
  for (const DangerReport& danger : report.dangers) list.push_back(danger.json);
  return list;
}

}  // namespace

Term OutcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::kKept:
      return {"kept", "kept"};
    case Outcome::kNew:
      return {"new", "new"};
    case Outcome::kMoved:
      return {"moved", "moved"};
    case Outcome::kMerged:
      return {"merged", "merged"};
    case Outcome::kRenumbered:
      return {"renumbered", "renumbered"};
    case Outcome::kMembersLost:
      return {"members_lost", "members lost"};
    case Outcome::kEmptied:
      return {"emptied", "emptied"};
    case Outcome::kGone:
      break;
  }
  return {"gone", "gone"};
}

std::size_t CountOutcome(const OutcomeReport& report, Outcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(report.devices.begin(), report.devices.end(),
                    [outcome](const DeviceLine& device) { return device.outcome == outcome; }));
}

OutcomeReport ReadOutcome() {
  OutcomeReport report;
  report.devices = DeviceLines();
  report.reservations = ReservationLines();
  report.groups = GroupLines();
  report.raids = RaidLines();
  report.lost_settings = LostSettings();
  const auto dangers = std::make_unique<DangerList>();
  JudgeLastPass(dangers.get());
  std::transform(dangers->Items, dangers->Items + dangers->Count,
                 std::back_inserter(report.dangers), ReportDanger);
  report.dangers_left_out = dangers->LeftOut;
  return report;
}

bool NothingChanged(const OutcomeReport& report) {
  return AllKept(report.devices) && AllKept(report.reservations) && AllKept(report.groups) &&
         AllKept(report.raids) && report.lost_settings.empty();
}

const std::vector<ColumnInfo>& DeviceOutcomeColumns() { return DeviceOutcomeListing().Infos(); }

void PrintOutcome(const OutcomeReport& report, const ListingOptions& options) {
  for (const DangerReport& danger : report.dangers) {
    std::cout << Paint(DangerLine(danger), danger.refused ? Colour::kBad : Colour::kChanged)
              << '\n';
  }
  if (report.dangers_left_out != 0) {
    std::cout << "and " << Count(report.dangers_left_out, "danger") << " more\n";
  }
  if (!report.dangers.empty()) std::cout << '\n';
  std::cout << Count(FoundDeviceCount, "device") << " found, "
            << CountOutcome(report, Outcome::kNew) << " new. Of "
            << Count(LastPass.OldDeviceCount, "old device") << ", "
            << CountOutcome(report, Outcome::kKept) << " kept, "
            << CountOutcome(report, Outcome::kMoved) << " moved, ";
  if (const std::size_t merged = CountOutcome(report, Outcome::kMerged); merged != 0) {
    std::cout << merged << " merged, ";
  }
  std::cout << CountOutcome(report, Outcome::kGone) << " gone.\n";
  DeviceOutcomeListing().PrintBelow(report.devices, options);
  const ListingOptions usual = WithUsualColumns(options);
  ReservationListing().PrintBelow(report.reservations, usual);
  GroupListing().PrintBelow(report.groups, usual);
  RaidOutcomeListing().PrintBelow(report.raids, usual);
  LostSettingListing().PrintBelow(report.lost_settings, usual);
}

void PrintDevices(const OutcomeReport& report, const ListingOptions& options) {
  DeviceOutcomeListing().Print(report.devices, options);
}

Json OutcomeJson(const OutcomeReport& report, const ListingOptions& options) {
  const ListingOptions all;
  return {{"dangers", DangersJson(report)},
          {"dangers_left_out", report.dangers_left_out},
          {"devices", DeviceOutcomeListing().AsJson(report.devices, options)},
          {"reserved_drives", ReservationListing().AsJson(report.reservations, all)},
          {"groups", GroupListing().AsJson(report.groups, all)},
          {"raids", RaidOutcomeListing().AsJson(report.raids, all)},
          {"lost_settings", LostSettingListing().AsJson(report.lost_settings, all)},
          {"units_left_out", ScsiMap.LeftOut}};
}

}  // namespace devprep::tool
