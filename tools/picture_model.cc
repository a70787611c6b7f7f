#include "picture_model.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "danger_text.h"
#include "device_view.h"
#include "discovery/scsi_probe.h"
#include "library_survey.h"
#include "machine.h"
#include "outcome_report.h"
#include "pass.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"
#include "reconfig/identity.h"
#include "reconfig/outcome.h"
#include "records/group_record.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Group {
  std::uint16_t number = 0;
  std::uint16_t kind = kGroupNone;
  std::string name;
  std::vector<std::uint16_t> members;
};

// What is stored of a machine.
struct Configuration {
  std::vector<DeviceView> devices;
  std::vector<UnreadableDevice> unreadable;
  std::vector<RaidInfo> raids;
  std::vector<Group> groups;
};

// What is attached, where that is to be drawn.
struct Hardware {
  LibraryMap map;
  std::vector<SilentUnit> unidentified;
};

std::vector<Group> ReadGroups() {
  std::vector<Group> groups;
  std::uint16_t count = 0;
  CountGroups(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    GroupRecord record = {};
    record.Number = n;
    if (ReadGroupRecord(&record) != kStatusOk) continue;
    Group group = {n, record.Kind, CleanText(record.Name, sizeof record.Name), {}};
    if (record.Kind == kGroupChanger) {
      group.members = {record.Changer};
    } else {
      group.members.assign(record.Members, record.Members + record.MemberCount);
    }
    groups.push_back(std::move(group));
  }
  return groups;
}

Configuration ReadConfiguration() {
  DeviceViews views = ViewDevices();
  return {std::move(views.devices), std::move(views.unreadable), std::move(views.raids),
          ReadGroups()};
}

Hardware AskHardware() { return {SurveyLibraries(), TakeUnidentifiedUnits()}; }

// A device of which there is a record alone.
DeviceView ViewOf(const DeviceRecord& record) {
  DeviceView view;
  DeviceInfo& info = view.info;
  view.record = record;
  view.serial_number = SerialNumberText(record.SerialNumber);
  info.Number = record.Number;
  info.Board = record.Address.Board;
  info.Bus = record.Address.Bus;
  info.ScsiId = record.Address.ScsiId;
  info.Lun = record.Address.Lun;
  info.Type = record.Type;
  std::memcpy(info.Description, record.Description, sizeof info.Description);
  info.ReservedDriveCount = record.ReservedDriveCount;
  std::copy_n(record.ReservedDrives, record.ReservedDriveCount, info.ReservedDrives);
  info.DisabledDrives = record.DisabledDrives;
  return view;
}

std::vector<std::uint16_t> OldNumbers(const MemberOutcome* members, std::uint16_t count) {
  std::vector<std::uint16_t> numbers;
  for (std::uint16_t i = 0; i < count; ++i) numbers.push_back(members[i].OldNumber);
  return numbers;
}

// What was stored before the last pass.
Configuration OldConfiguration() {
  Configuration old;
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& outcome = LastPass.OldDeviceMap[k];
    DeviceView view = ViewOf(outcome.Old);
    // A record that was read holds no blanks.
    if (outcome.NewNumber != kDeviceGone) {
      std::memcpy(view.info.Description, FoundDevices[outcome.NewNumber].Description,
                  sizeof view.info.Description);
    } else if (outcome.ReadStatus == kStatusOk) {
      std::memcpy(view.info.Description, outcome.StoredDescription, sizeof view.info.Description);
    }
    old.devices.push_back(std::move(view));
  }
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const RaidOutcome& raid = LastPass.Raids[n];
    if (!raid.Read) continue;
    old.raids.push_back(raid.Old);
    for (DeviceView& view : old.devices) {
      const std::uint16_t number = view.info.Number;
      if (HoldsDevice(raid.Old.TapeDevices, raid.Old.TapeCount, number) ||
          HoldsDevice(raid.Old.ChangerDevices, raid.Old.ChangerCount, number)) {
        view.raids.push_back(n);
      }
    }
  }
  for (std::uint16_t n = 0; n < LastPass.OldGroupCount; ++n) {
    const GroupOutcome& group = LastPass.Groups[n];
    old.groups.push_back({n, group.OldKind, CleanText(group.Name, sizeof group.Name),
                          OldNumbers(group.Members, group.MemberCount)});
  }
  return old;
}

// One blank where there are several.
std::string Condensed(const std::string& text) {
  std::string condensed;
  for (const char c : text) {
    if (c == ' ' && (condensed.empty() || condensed.back() == ' ')) continue;
    condensed += c;
  }
  return condensed;
}

DeviceShape ShapeOf(std::uint16_t type) {
  if (type == kTypeTape) return DeviceShape::kDrive;
  return type == kTypeChanger || type == kTypeOpticalLibrary ? DeviceShape::kChanger
                                                             : DeviceShape::kOther;
}

// All that the listing tells of a device, but for the parts of its address and what is not so.
void AddListedFacts(const DeviceView& view, PictureDevice& device) {
  static const std::set<std::string> kLeftOut = {"port",      "bus",    "target", "lun",
                                                 "type_code", "masked", "raids"};
  const auto& columns = DeviceListing().Infos();
  const std::vector<Value> values = DeviceListing().ValuesOf(view);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Json& json = values[i].AsJson();
    const bool number = columns[i].name == "number";
    if (json.is_null() || (json.is_array() && json.empty()) || kLeftOut.contains(columns[i].name) ||
        (number && !device.number)) {
      continue;
    }
    device.facts.push_back({columns[i].label, values[i].AsText()});
  }
}

void AddFact(PictureDevice& device, const char* label, const std::string& value) {
  if (!value.empty()) device.facts.push_back({label, value});
}

PictureDevice Depict(const DeviceView& view) {
  PictureDevice device;
  device.address = view.Address();
  device.place = AddressText(device.address);
  device.shape = ShapeOf(view.Type());
  device.type = TypeName(view.Type()).text;
  device.name = Condensed(view.Description());
  device.serial_number = view.serial_number;
  return device;
}

// Builds one side of a picture.
class SideBuilder {
 public:
  SideBuilder(const Configuration& configuration, const Hardware* hardware)
      : configuration_(configuration), hardware_(hardware) {}

  PictureSide Build(const std::string& title) {
    side_.title = title;
    AddConfigured();
    if (hardware_ != nullptr) AddAttached();
    if (hardware_ != nullptr) PlaceByLibraries();
    PlaceByReservations();
    AddSets();
    SortByPlaces();
    return std::move(side_);
  }

 private:
  PictureDevice& At(std::size_t index) { return side_.devices[index]; }

  std::optional<std::size_t> IndexOf(std::uint16_t number) const {
    const auto at = index_of_.find(number);
    if (at == index_of_.end()) return std::nullopt;
    return at->second;
  }

  void AddConfigured() {
    for (const DeviceView& view : configuration_.devices) {
      PictureDevice device = Depict(view);
      device.number = view.info.Number;
      AddListedFacts(view, device);
      if (view.masked) device.states.emplace_back("masked");
      index_of_[view.info.Number] = side_.devices.size();
      side_.devices.push_back(std::move(device));
    }
  }

  static void AddUnit(const AttachedUnit& unit, PictureDevice& device) {
    device.nodes = unit.answers.nodes;
    AddFact(device, "Nodes", PrintableText(JoinNodeNames(device.nodes)));
    AddFact(device, "Driver", unit.driver);
    if (IsProbedType(unit.record.Type) && !unit.answers.inquiry_data) {
      device.states.emplace_back("silent");
      AddFact(device, "Does not answer", PrintableText(unit.answers.problem));
    }
  }

  void AddAttached() {
    const auto& units = hardware_->map.units;
    index_of_unit_.resize(units.size());
    std::vector<bool> attached(configuration_.devices.size(), false);
    for (std::size_t u = 0; u < units.size(); ++u) {
      const DeviceRecord& record = units[u].record;
      bool known = false;
      for (std::size_t i = 0; i < configuration_.devices.size(); ++i) {
        const DeviceView& view = configuration_.devices[i];
        if (view.Address() != record.Address) continue;
        known = attached[i] = true;
        index_of_unit_[u] = i;
        if (CompareIdentities(view.record, record) == IdentityVerdict::kOther) {
          At(i).states.emplace_back("replaced");
          AddFact(At(i), "Serial number found", SerialNumberText(record.SerialNumber));
          AddFact(At(i), "World Wide ID found", WorldWideIdText(record));
        }
        AddUnit(units[u], At(i));
      }
      if (known) continue;
      DeviceView view = ViewOf(record);
      view.record.CleaningTapeSlot = view.record.DefaultBlockFactor = kNotSet;
      PictureDevice device = Depict(view);
      AddListedFacts(view, device);
      device.states.emplace_back("not configured");
      AddUnit(units[u], device);
      index_of_unit_[u] = side_.devices.size();
      side_.devices.push_back(std::move(device));
    }
    for (const SilentUnit& unit : hardware_->unidentified) AddUnidentified(unit, attached);
    for (std::size_t i = 0; i < attached.size(); ++i) {
      if (!attached[i]) At(i).states.emplace_back("not attached");
    }
  }

  // What is configured at its address counts as attached.
  void AddUnidentified(const SilentUnit& unit, std::vector<bool>& attached) {
    bool known = false;
    for (std::size_t i = 0; i < configuration_.devices.size(); ++i) {
      if (ScsiAddressOf(configuration_.devices[i].Address()) != unit.address) continue;
      known = attached[i] = true;
      At(i).states.emplace_back("silent");
      AddFact(At(i), "Does not answer", unit.reason);
    }
    if (known) return;
    PictureDevice device;
    device.address = {static_cast<std::uint16_t>(unit.address.port),
                      static_cast<std::uint16_t>(unit.address.bus),
                      static_cast<std::uint16_t>(unit.address.target),
                      static_cast<std::uint16_t>(unit.address.lun)};
    device.place = AddressText(device.address);
    device.name = unit.name.empty() ? "does not say what it is" : Condensed(unit.name);
    device.states.emplace_back("silent");
    AddFact(device, "Address", device.place);
    AddFact(device, "Does not answer", unit.reason);
    side_.devices.push_back(std::move(device));
  }

  bool CanHold(std::size_t holder, std::size_t drive) {
    return holder != drive && !At(holder).changer && !At(drive).changer &&
           !holders_.contains(drive);
  }

  void Hold(std::size_t holder, std::size_t drive) {
    At(drive).changer = holder;
    holders_.insert(holder);
    order_[drive] = next_++;
  }

  static void AddSlots(const LibraryChanger& changer, PictureDevice& device) {
    const ElementCounts slots = CountElements(changer.slots);
    const ElementCounts import_export = CountElements(changer.import_export);
    const auto text = [](const ElementCounts& counts) {
      return std::to_string(counts.full) + " of " + std::to_string(counts.total) + " full";
    };
    if (slots.total != 0) {
      device.slots = SlotCounts{slots.full, slots.total};
      AddFact(device, "Slots", text(slots));
    }
    if (import_export.total != 0) AddFact(device, "Import and export", text(import_export));
  }

  // An element whose drive is none of those that are attached.
  std::size_t AddElement(const LibraryDrive& drive, std::size_t holder) {
    PictureDevice device;
    device.address = At(holder).address;
    device.place = "element " + std::to_string(drive.element.address);
    device.shape = DeviceShape::kDrive;
    device.type = TypeName(kTypeTape).text;
    const std::string name = Condensed(drive.element.vendor + " " + drive.element.product);
    device.name = name.empty() ? "drive of the library" : name;
    device.serial_number = drive.element.serial_number;
    device.states.emplace_back("not recognised");
    AddFact(device, "Serial number", device.serial_number);
    side_.devices.push_back(std::move(device));
    return side_.devices.size() - 1;
  }

  // A drive stands in the changer that has it.
  void PlaceByLibraries() {
    for (const LibraryChanger& changer : hardware_->map.changers) {
      const std::optional<std::size_t> holder = index_of_unit_[changer.unit];
      if (!holder) continue;
      AddSlots(changer, At(*holder));
      for (const LibraryDrive& drive : changer.drives) {
        std::optional<std::size_t> index;
        if (drive.unit) index = index_of_unit_[*drive.unit];
        // A changer that tells nothing of its drives tells of none that is missing.
        if (!index && drive.IsIdentified()) index = AddElement(drive, *holder);
        if (!index || !CanHold(*holder, *index)) continue;
        Hold(*holder, *index);
        PictureDevice& device = At(*index);
        AddFact(device, "Drive element",
                std::to_string(drive.element.address) + (drive.element.full ? ", loaded" : ""));
        AddFact(device, "Volume tag", drive.element.volume_tag);
      }
    }
  }

  void PlaceByReservations() {
    std::set<std::size_t> reserved;
    for (const DeviceView& changer : configuration_.devices) {
      const DeviceInfo& info = changer.info;
      const std::size_t holder = *IndexOf(info.Number);
      for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
        const std::optional<std::size_t> drive = IndexOf(info.ReservedDrives[i]);
        if (!drive || *drive == holder) continue;
        reserved.insert(*drive);
        AddFact(At(*drive), "Reserved to",
                "device " + std::to_string(info.Number) + ", drive " + std::to_string(i));
        if (IsDriveDisabled(info.DisabledDrives, i)) At(*drive).states.emplace_back("disabled");
        if (CanHold(holder, *drive)) Hold(holder, *drive);
      }
    }
    for (std::size_t i = 0; i < side_.devices.size(); ++i) {
      PictureDevice& device = At(i);
      if (!device.number || device.shape != DeviceShape::kDrive || reserved.contains(i)) continue;
      device.states.emplace_back(device.changer ? "not reserved" : "loose");
    }
  }

  void AddSets() {
    for (const Group& group : configuration_.groups) {
      for (const std::uint16_t member : group.members) {
        const std::optional<std::size_t> index = IndexOf(member);
        if (!index) continue;
        auto& groups = At(*index).groups;
        if (std::find(groups.begin(), groups.end(), group.number) != groups.end()) continue;
        groups.push_back(group.number);
      }
    }
    for (const DeviceView& view : configuration_.devices) {
      PictureDevice& device = At(*IndexOf(view.info.Number));
      for (const int raid : view.raids) device.raids.push_back(static_cast<std::uint16_t>(raid));
      AddFact(device, "Groups", Numbers(device.groups));
      AddFact(device, "RAIDs", Numbers(device.raids));
    }
    for (PictureDevice& device : side_.devices) {
      std::string states;
      for (const std::string& state : device.states) states += (states.empty() ? "" : ", ") + state;
      AddFact(device, "State", states);
    }
  }

  // Where each device stands depends on what it is, not on where it was found.
  void SortByPlaces() {
    std::vector<std::size_t> by_place(side_.devices.size());
    for (std::size_t i = 0; i < by_place.size(); ++i) by_place[i] = i;
    std::stable_sort(by_place.begin(), by_place.end(), [this](std::size_t a, std::size_t b) {
      const std::size_t rank_a = order_.contains(a) ? order_[a] : 0;
      const std::size_t rank_b = order_.contains(b) ? order_[b] : 0;
      return std::tuple(rank_a, ScsiAddressOf(At(a).address)) <
             std::tuple(rank_b, ScsiAddressOf(At(b).address));
    });
    std::vector<std::size_t> new_index(by_place.size());
    for (std::size_t i = 0; i < by_place.size(); ++i) new_index[by_place[i]] = i;
    std::vector<PictureDevice> sorted;
    for (const std::size_t old : by_place) {
      sorted.push_back(std::move(At(old)));
      if (auto& changer = sorted.back().changer) changer = new_index[*changer];
    }
    side_.devices = std::move(sorted);
    std::map<std::string, int> uses;
    for (PictureDevice& device : side_.devices) {
      std::string id = AddressText(device.address);
      if (device.place != id) id += "-" + device.place;
      std::replace(id.begin(), id.end(), ' ', '-');
      const int others = uses[id]++;
      device.id = others == 0 ? id : id + "-" + std::to_string(others);
    }
  }

  const Configuration& configuration_;
  const Hardware* hardware_;
  PictureSide side_;
  std::map<std::uint16_t, std::size_t> index_of_;  // by device number
  std::vector<std::optional<std::size_t>> index_of_unit_;
  std::set<std::size_t> holders_;
  std::map<std::size_t, std::size_t> order_;  // of drives in changers, from 1
  std::size_t next_ = 1;
};

// Those of after; of before what is no more.
void AddSet(std::vector<PictureSet>& sets, PictureSet set) {
  const auto at = std::find_if(sets.begin(), sets.end(), [&set](const PictureSet& other) {
    return other.number == set.number;
  });
  if (at == sets.end())
    sets.push_back(std::move(set));
  else
    *at = std::move(set);
}

void AddLegend(const Configuration& configuration, PictureModel& model) {
  for (const Group& group : configuration.groups) {
    AddSet(model.groups, {group.number, group.name + ", " + GroupKindName(group.kind).text, false});
  }
  for (const RaidInfo& raid : configuration.raids) {
    const Term status = ChangerStatusName(raid.Flags);
    AddSet(model.raids,
           {raid.RaidNumber,
            "level " + std::to_string(raid.Level) + (status.text.empty() ? "" : ", " + status.text),
            false});
  }
}

void AddPorts(const Hardware& hardware, PictureModel& model) {
  for (const AttachedUnit& unit : hardware.map.units) {
    model.ports[unit.record.Address.Board] = unit.driver;
  }
}

void AddNotes(const Configuration& configuration, PictureModel& model) {
  for (const UnreadableDevice& device : configuration.unreadable) {
    model.notes.push_back(ExplainUnreadable(device));
  }
}

std::string CountShapes(const PictureSide& side) {
  const auto count = [&side](DeviceShape shape) {
    return static_cast<std::size_t>(
        std::count_if(side.devices.begin(), side.devices.end(),
                      [shape](const PictureDevice& device) { return device.shape == shape; }));
  };
  std::string text = Count(count(DeviceShape::kChanger), "changer") + ", " +
                     Count(count(DeviceShape::kDrive), "tape drive");
  const std::size_t others = count(DeviceShape::kOther);
  return others == 0 ? text : text + ", " + Count(others, "other device");
}

std::uint16_t NumberIn(const Json& json, const char* name) {
  return json[name].is_null() ? kDeviceGone : json[name].get<std::uint16_t>();
}

// Before and after, with what became of each device and what is in danger.
class PlanBuilder {
 public:
  PlanBuilder(PictureModel& model, const OutcomeReport& report) : model_(model), report_(report) {
    for (std::size_t side = 0; side < 2; ++side) {
      const auto& devices = model.sides[side].devices;
      for (std::size_t i = 0; i < devices.size(); ++i) {
        if (devices[i].number) index_of_[side][*devices[i].number] = i;
      }
    }
  }

  void Build() {
    for (const DeviceLine& line : report_.devices) AddFate(line);
    for (const DangerReport& danger : report_.dangers) AddDanger(danger);
    Summarise();
  }

 private:
  PictureDevice* Find(std::size_t side, std::uint16_t number) {
    const auto at = index_of_[side].find(number);
    return at == index_of_[side].end() ? nullptr : &model_.sides[side].devices[at->second];
  }

  void AddFate(const DeviceLine& line) {
    PictureDevice* before = line.old_number ? Find(0, *line.old_number) : nullptr;
    PictureDevice* after = line.new_number ? Find(1, *line.new_number) : nullptr;
    const Fate both = line.outcome == Outcome::kKept ? Fate::kStays : Fate::kMoves;
    const std::string by = CriterionName(line.recognised_by).text;
    if (before != nullptr) {
      before->fate = after == nullptr ? Fate::kGoes : both;
      if (after != nullptr) before->other = index_of_[1][*line.new_number];
      AddFact(*before, "Outcome", OutcomeName(line.outcome).text);
      if (after != nullptr) AddFact(*before, "Becomes", Place(*after));
    }
    if (after != nullptr) {
      after->fate = before == nullptr ? Fate::kComes : both;
      if (before != nullptr) after->other = index_of_[0][*line.old_number];
      AddFact(*after, "Outcome", OutcomeName(line.outcome).text);
      if (before != nullptr) AddFact(*after, "Was", Place(*before));
      AddFact(*after, "Recognised by", by);
    }
  }

  static std::string Place(const PictureDevice& device) {
    return "device " + std::to_string(*device.number) + " at " + device.place;
  }

  void AddTo(std::size_t side, std::uint16_t number, const PictureDanger& danger, bool& placed) {
    PictureDevice* device = number == kDeviceGone ? nullptr : Find(side, number);
    if (device == nullptr) return;
    placed = true;
    device->dangers.push_back(danger);
  }

  void AddDanger(const DangerReport& report) {
    const Json& json = report.json;
    const PictureDanger danger = {DangerName(report.code), report.refused,
                                  json["message"].get<std::string>()};
    const std::uint16_t other = NumberIn(json, "other_number");
    bool placed = false;
    AddTo(0, NumberIn(json, "old_number"), danger, placed);
    AddTo(1, NumberIn(json, "new_number"), danger, placed);
    AddTo(report.code == DangerCode::kMerged ? 0 : 1, other, danger, placed);
    MarkSet(json, "group", model_.groups, placed);
    MarkSet(json, "raid_", model_.raids, placed);
    if (!placed) model_.dangers.push_back(danger);
  }

  static void MarkSet(const Json& json, std::string_view place, std::vector<PictureSet>& sets,
                      bool& placed) {
    if (json["place"].is_null() || !json["place"].get<std::string>().starts_with(place)) return;
    for (PictureSet& set : sets) {
      if (set.number != NumberIn(json, "place_number")) continue;
      placed = set.in_danger = true;
    }
  }

  void Summarise() {
    std::string counts;
    for (const Outcome outcome :
         {Outcome::kKept, Outcome::kMoved, Outcome::kMerged, Outcome::kNew, Outcome::kGone}) {
      const std::size_t count = CountOutcome(report_, outcome);
      if (count == 0) continue;
      counts +=
          (counts.empty() ? "" : ", ") + std::to_string(count) + " " + OutcomeName(outcome).text;
    }
    std::size_t refused = report_.dangers_left_out;
    for (const DangerReport& danger : report_.dangers) refused += danger.refused ? 1 : 0;
    model_.summary = Count(report_.devices.size(), "device") +
                     (counts.empty() ? "" : ": " + counts) + ". " +
                     (refused == 0 ? "No dangers." : Count(refused, "danger") + ".");
  }

  PictureModel& model_;
  const OutcomeReport& report_;
  std::map<std::uint16_t, std::size_t> index_of_[2];  // by device number
};

}  // namespace

PictureModel ModelMachine() {
  const Configuration configuration = ReadConfiguration();
  const Hardware hardware = AskHardware();
  PictureModel model;
  model.title = "Tape devices of this machine";
  AddPorts(hardware, model);
  AddLegend(configuration, model);
  AddNotes(configuration, model);
  model.sides.push_back(SideBuilder(configuration, &hardware).Build("Now"));
  model.summary = CountShapes(model.sides[0]) +
                  (configuration.devices.empty() ? ". Nothing is configured yet." : ".");
  return model;
}

Result<PictureModel> ModelPlan(bool follow_identity) {
  const Result<OutcomeReport> report = RunPass(follow_identity);
  if (!report) return report.Failure();
  const Configuration before = OldConfiguration();
  const Configuration after = ReadConfiguration();
  const Hardware hardware = AskHardware();
  PictureModel model;
  model.title = "What the configuration would become";
  AddPorts(hardware, model);
  AddLegend(before, model);
  AddLegend(after, model);
  AddNotes(after, model);
  model.sides.push_back(SideBuilder(before, nullptr).Build("Before"));
  model.sides.push_back(SideBuilder(after, &hardware).Build("After"));
  PlanBuilder(model, *report).Build();
  return model;
}

}  // namespace devprep::tool
