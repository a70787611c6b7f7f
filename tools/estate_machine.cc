// What a registry text tells of one machine: its tape drives and changers, as they are attached and
// as they are configured.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <string_view>

#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "estate.h"
#include "output.h"
#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/messages.h"
#include "platform/registry.h"
#include "platform/registry/configuration_keys.h"
#include "reconfig/identity.h"
#include "records/address_list.h"
#include "records/raid_records.h"
#include "store/ascii_case.h"
#include "store/list_text.h"
#include "store/numbered_key.h"
#include "words.h"

namespace devprep::tool {
namespace {

// The text of a value that fits into size bytes with its NUL, as the store reads it.
bool ReadText(const RegistryValue* value, char* text, std::size_t size) {
  std::memset(text, 0, size);
  if (value == nullptr || value->data.size() > size) return false;
  std::memcpy(text, value->data.data(), value->data.size());
  text[size - 1] = '\0';
  return true;
}

// What a device is recognised by.
void SetIdentity(const DeviceRecord& record, std::string_view whole_serial_number,
                 EstateDevice& device) {
  if (HasSerialNumber(record)) {
    device.serial_number = SerialNumberText(whole_serial_number);
    std::string kept = SerialNumberText(whole_serial_number.substr(0, kSerialNumberSize));
    if (kept != device.serial_number) device.kept_serial_number = std::move(kept);
  }
  std::copy(std::begin(record.WorldWideID), std::end(record.WorldWideID),
            device.world_wide_id.begin());
}

// A tape drive or changer that is attached, with what it is paired by.
struct Unit {
  DeviceRecord record = {};
  EstateDevice device;
};

// The keys of a level of the device map, by number.
std::vector<std::pair<std::uint16_t, const RegistryKey*>> Numbered(const RegistryKey& parent,
                                                                   std::string_view prefix,
                                                                   std::size_t limit) {
  std::vector<std::pair<std::uint16_t, const RegistryKey*>> keys;
  for (const auto& child : parent.Children()) {
    const std::string_view name = child->Name();
    if (CompareNames(name.substr(0, prefix.size()), prefix) != 0) continue;
    std::uint16_t number = 0;
    const char* const end = name.data() + name.size();
    const auto read =
        std::from_chars(name.data() + std::min(prefix.size(), name.size()), end, number);
    // "Target Id 07" is no key of the map.
    const bool plain = read.ec == std::errc() && read.ptr == end &&
                       name.size() - prefix.size() == std::to_string(number).size();
    if (plain && number < limit) keys.emplace_back(number, child.get());
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

struct ListedUnit {
  DeviceAddress address;
  const RegistryKey* key;
};

// Whether the library takes a unit of the map: its texts fit.
bool IsListed(const RegistryKey& unit) {
  const RegistryValue* identifier = unit.FindValue(kIdentifierValue);
  const RegistryValue* type = unit.FindValue(kTypeValue);
  if (identifier == nullptr || identifier->data.size() > kIdentifierSize) return false;
  // One that fills its room has no NUL.
  if (identifier->data.size() == kIdentifierSize &&
      identifier->data.find('\0') == std::string::npos) {
    return false;
  }
  return type != nullptr && type->data.size() <= kMapTypeSize;
}

// The units that the device map lists, in ascending order.
std::vector<ListedUnit> ListUnits(const RegistryKey& map) {
  std::vector<ListedUnit> units;
  for (const auto& [port, port_key] : Numbered(map, kPortKeyPrefix, map.Children().size())) {
    for (const auto& [bus, bus_key] : Numbered(*port_key, kBusKeyPrefix, kBusLimit)) {
      for (const auto& [target, target_key] : Numbered(*bus_key, kTargetKeyPrefix, kTargetLimit)) {
        for (const auto& [lun, key] : Numbered(*target_key, kUnitKeyPrefix, kUnitLimit)) {
          if (!IsListed(*key)) continue;
          units.push_back({{port, bus, target, lun}, key});
        }
      }
    }
  }
  return units;
}

// 0 for what is neither a tape drive nor a changer.
std::uint16_t TypeOf(const RegistryKey& unit) {
  char word[kMapTypeSize + 1];
  if (!ReadText(unit.FindValue(kTypeValue), word, sizeof word)) return 0;
  if (EqualIgnoringCase(word, kTapeWord)) return kTypeTape;
  return EqualIgnoringCase(word, kChangerWord) ? kTypeChanger : std::uint16_t{0};
}

Unit ReadUnit(const ListedUnit& listed, std::uint16_t type, TextPool& texts) {
  Unit unit;
  DeviceRecord& record = unit.record;
  record.Type = type;
  record.Address = listed.address;
  ReadText(listed.key->FindValue(kIdentifierValue), record.Description, sizeof record.Description);
  if (const RegistryValue* inquiry = listed.key->FindValue(kInquiryDataValue)) {
    std::uint8_t data[kInquiryLength];
    CopyBytes(inquiry->data, 0, data, sizeof data);
    std::memset(record.Description, 0, sizeof record.Description);
    CopyInquiryText(data, record.Description);
  }
  std::string_view serial_number;
  if (const RegistryValue* page = listed.key->FindValue(kSerialNumberPageValue)) {
    CopyBytes(page->data, kPageHeaderSize, record.SerialNumber, kSerialNumberSize);
    serial_number = page->data;
    serial_number.remove_prefix(std::min(kPageHeaderSize, serial_number.size()));
  }
  if (const RegistryValue* id = listed.key->FindValue(kWorldWideIdValue)) {
    CopyBytes(id->data, 0, record.WorldWideID, kWorldWideIdSize);
  }
  EstateDevice& device = unit.device;
  device.type = type;
  device.address = listed.address;
  device.attached = true;
  device.description = texts.Keep(CleanText(record.Description, sizeof record.Description));
  if (const RegistryValue* names = listed.key->FindValue(kNodeNamesValue)) {
    device.nodes = SplitNodeNames(names->data);
    // The names of the links tell no more than the identity.
    std::erase_if(device.nodes, IsNodeLink);
  }
  SetIdentity(record, serial_number, device);
  return unit;
}

// A stored record, and the place of its device in the machine.
struct Record {
  DeviceRecord record = {};
  std::string description;
  std::optional<std::uint16_t> place;  // none: neither a tape drive nor a changer
};

// False for a record that cannot be read.
bool ReadRecord(const RegistryKey& key, std::uint16_t number, Record& stored) {
  char info[kDeviceInfoSize];
  if (!ReadText(key.FindValue(kDeviceInfoValue), info, sizeof info)) return false;
  const char* const description = FindDescription(info);
  if (description != nullptr) stored.description = CleanText(description, kDescriptionSize - 1);
  DeviceRecord& record = stored.record;
  record.Number = number;
  if (ParseDeviceInfo(info, &record) != 0) return false;
  if (const RegistryValue* serial = key.FindValue(kDeviceSerialNumberValue)) {
    CopyBytes(serial->data, 0, record.SerialNumber, kSerialNumberSize);
  }
  if (const RegistryValue* id = key.FindValue(kDeviceWorldWideIdValue)) {
    CopyBytes(id->data, 0, record.WorldWideID, kWorldWideIdSize);
  }
  if (record.Type != kTypeChanger) return true;
  char list[kDriveListSize];
  ReadText(key.FindValue(kReservedDrivesValue), list, sizeof list);
  ParseDriveList(list, record.ReservedDrives, &record.ReservedDriveCount);
  const RegistryValue* disabled = key.FindValue(kDisabledDrivesValue);
  if (disabled != nullptr && disabled->type == REG_DWORD) {
    // As the store reads a number: low byte first, what is missing as zeros.
    std::uint8_t bytes[sizeof record.DisabledDrives];
    CopyBytes(disabled->data, 0, bytes, sizeof bytes);
    for (std::size_t i = sizeof bytes; i-- > 0;) {
      record.DisabledDrives = record.DisabledDrives << 8U | bytes[i];
    }
  }
  return true;
}

std::vector<Record> ReadRecords(const RegistryKey& engine) {
  std::vector<Record> records;
  for (std::uint16_t n = 0; n < kMaxDeviceRecords; ++n) {
    const auto key = engine.FindChild(NumberedKey(kDeviceKeyPrefix, n).name);
    if (key == nullptr) break;  // what is behind a gap is not configured
    Record record;
    if (ReadRecord(*key, n, record)) records.push_back(std::move(record));
  }
  return records;
}

// Which units the records of a machine describe.
class Pairing {
 public:
  Pairing(std::vector<Record>& records, const std::vector<Unit>& units)
      : records_(records), units_(units), taken_(units.size()) {}

  void Run() {
    InPlace(IdentityVerdict::kSame);
    ByIdentity([](const DeviceRecord& record) {
      return HasSerialNumber(record) ? BytesOf(record.SerialNumber, kSerialNumberSize)
                                     : std::string_view();
    });
    ByIdentity([](const DeviceRecord& record) {
      return HasWorldWideId(record) ? BytesOf(record.WorldWideID, kWorldWideIdSize)
                                    : std::string_view();
    });
    InPlace(IdentityVerdict::kUnknown);
  }

 private:
  static constexpr std::uint16_t kSeveral = kDeviceGone;

  void Pair(Record& record, std::uint16_t unit) {
    record.place = unit;
    taken_[unit] = true;
  }

  void InPlace(IdentityVerdict verdict) {
    for (Record& stored : records_) {
      if (stored.place) continue;
      const auto at =
          std::lower_bound(units_.begin(), units_.end(), stored.record.Address,
                           [](const Unit& unit, const DeviceAddress& a) {
                             return ScsiAddressOf(unit.record.Address) < ScsiAddressOf(a);
                           });
      if (at == units_.end() || at->record.Address != stored.record.Address) continue;
      const auto unit = static_cast<std::uint16_t>(at - units_.begin());
      if (taken_[unit] || at->record.Type != stored.record.Type ||
          CompareIdentities(stored.record, at->record) != verdict) {
        continue;
      }
      Pair(stored, unit);
    }
  }

  // Pairs what one record and one unit alone have.
  template <typename IdentityOf>
  void ByIdentity(IdentityOf identity_of) {
    using Key = std::pair<std::uint16_t, std::string_view>;
    std::map<Key, std::uint16_t> bearers;
    const auto count = static_cast<std::uint16_t>(units_.size());
    for (std::uint16_t i = 0; i < count; ++i) {
      const DeviceRecord& unit = units_[i].record;
      const std::string_view identity = identity_of(unit);
      if (taken_[i] || identity.empty()) continue;
      const auto [at, added] = bearers.emplace(Key{unit.Type, identity}, i);
      if (!added) at->second = kSeveral;
    }
    std::map<Key, std::size_t> claims;
    for (const Record& stored : records_) {
      const std::string_view identity = identity_of(stored.record);
      if (!stored.place && !identity.empty()) ++claims[{stored.record.Type, identity}];
    }
    for (Record& stored : records_) {
      const std::string_view identity = identity_of(stored.record);
      if (stored.place || identity.empty()) continue;
      const Key key{stored.record.Type, identity};
      const auto at = bearers.find(key);
      if (at == bearers.end() || at->second == kSeveral || claims[key] != 1 || taken_[at->second] ||
          CompareIdentities(stored.record, units_[at->second].record) != IdentityVerdict::kSame) {
        continue;
      }
      Pair(stored, at->second);
    }
  }

  std::vector<Record>& records_;
  const std::vector<Unit>& units_;
  std::vector<bool> taken_;
};

class MachineReader {
 public:
  MachineReader(TextPool& texts, EstateMachine& machine) : texts_(texts), machine_(machine) {}

  void ReadHardware(const RegistryKey& map) {
    machine_.has_hardware = true;
    std::vector<ListedUnit> listed = ListUnits(map);
    if (listed.size() > kMaxScsiMapEntries) {
      machine_.left_out = listed.size() - kMaxScsiMapEntries;
      listed.resize(kMaxScsiMapEntries);
    }
    for (const ListedUnit& unit : listed) {
      const std::uint16_t type = TypeOf(*unit.key);
      if (type != 0) units_.push_back(ReadUnit(unit, type, texts_));
    }
  }

  void ReadConfiguration(const RegistryKey& engine) {
    machine_.has_configuration = true;
    records_ = ReadRecords(engine);
    Pairing(records_, units_).Run();
    for (Unit& unit : units_) machine_.devices.push_back(std::move(unit.device));
    for (Record& stored : records_) AddRecord(stored);
    for (const Record& stored : records_) AddReservedDrives(stored);
    AddGroups(engine);
    AddRaids(engine);
  }

  // What is attached alone.
  void Finish() {
    if (machine_.has_configuration) return;
    for (Unit& unit : units_) machine_.devices.push_back(std::move(unit.device));
  }

 private:
  void AddRecord(Record& stored) {
    const DeviceRecord& record = stored.record;
    if (record.Type != kTypeTape && record.Type != kTypeChanger) return;
    if (!stored.place) {
      EstateDevice device;
      device.type = record.Type;
      device.address = record.Address;
      device.description = texts_.Keep(stored.description);
      SetIdentity(record, BytesOf(record.SerialNumber, kSerialNumberSize), device);
      device.cut = record.SerialNumber[kSerialNumberSize - 1] != 0;
      stored.place = static_cast<std::uint16_t>(machine_.devices.size());
      machine_.devices.push_back(std::move(device));
    }
    machine_.devices[*stored.place].number = record.Number;
  }

  // Null for a number that is no tape drive's and no changer's.
  EstateDevice* Numbered(std::uint16_t number) {
    const auto place = PlaceOf(number);
    return place ? &machine_.devices[*place] : nullptr;
  }

  std::optional<std::uint16_t> PlaceOf(std::uint16_t number) const {
    const auto at = std::lower_bound(
        records_.begin(), records_.end(), number,
        [](const Record& stored, std::uint16_t n) { return stored.record.Number < n; });
    if (at == records_.end() || at->record.Number != number) return std::nullopt;
    return at->place;
  }

  void AddReservedDrives(const Record& stored) {
    const DeviceRecord& record = stored.record;
    if (record.Type != kTypeChanger || !stored.place) return;
    for (std::uint16_t i = 0; i < record.ReservedDriveCount; ++i) {
      const auto drive = PlaceOf(record.ReservedDrives[i]);
      const bool is_drive = drive && machine_.devices[*drive].type == kTypeTape;
      machine_.devices[*stored.place].drives.push_back(is_drive ? *drive : kDeviceGone);
      if (!is_drive) continue;
      machine_.devices[*drive].reservations.push_back(
          {*stored.place, i, IsDriveDisabled(record.DisabledDrives, i)});
    }
  }

  void AddGroups(const RegistryKey& engine) {
    for (std::uint16_t n = 0; n < kMaxGroups; ++n) {
      const auto key = engine.FindChild(NumberedKey(kGroupKeyPrefix, n).name);
      if (key == nullptr || key->Values().empty()) continue;
      const RegistryValue& first = key->Values().front();
      char text[kGroupTextSize];
      if (first.name.size() >= kGroupValueNameSize || !ReadText(&first, text, sizeof text))
        continue;
      GroupRecord group = {};
      RemoveBlanks(text);
      ParseGroupText(text, &group);
      const auto add = [this, n](std::uint16_t number) {
        if (EstateDevice* member = Numbered(number)) member->groups.set(n);
      };
      if (group.Kind == kGroupChanger) add(group.Changer);
      for (std::size_t i = 0; i < group.MemberCount; ++i) add(group.Members[i]);
    }
  }

  void AddRaids(const RegistryKey& engine) {
    for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
      const auto key = engine.FindChild(NumberedKey(kRaidKeyPrefix, n).name);
      if (key == nullptr) continue;
      for (const char* value_name : {kRaidInfoValue, kRaidChangersValue}) {
        char list[kRaidListSize];
        if (!ReadText(key->FindValue(value_name), list, sizeof list)) continue;
        const char* rest = list;
        for (ListPiece piece; NextAddressElement(&rest, &piece);) {
          const DeviceAddress address = ParseAddress(piece.text);
          const auto at = std::find_if(
              records_.begin(), records_.end(),
              [&address](const Record& stored) { return stored.record.Address == address; });
          if (at != records_.end() && at->place) machine_.devices[*at->place].raids.set(n);
        }
      }
    }
  }

  TextPool& texts_;
  EstateMachine& machine_;
  std::vector<Unit> units_;
  std::vector<Record> records_;  // by number
};

}  // namespace

EstateMachine ReadMachine(const std::string& name, const RegistryKey* device_map,
                          const RegistryKey* engine, TextPool& texts) {
  EstateMachine machine;
  machine.name = name;
  MachineReader reader(texts, machine);
  if (device_map != nullptr) reader.ReadHardware(*device_map);
  if (engine != nullptr) reader.ReadConfiguration(*engine);
  reader.Finish();
  return machine;
}

}  // namespace devprep::tool
