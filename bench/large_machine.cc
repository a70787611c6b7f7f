#include "large_machine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/hardware/hardware_map.h"
#include "platform/posix/process_registry.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "records/address_list.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::uint16_t kUnitsPerPort = 64;
constexpr std::uint16_t kPorts = kMaxUnits / kUnitsPerPort;
constexpr std::uint16_t kMovedFraction = 4;
// The drives that a list of 32 can name within the length that can be read back.
constexpr std::uint16_t kListedUnits = 100;

bool IsChanger(std::uint16_t unit) { return unit % kUnitsPerChanger == kUnitsPerChanger - 1; }

// The drive numbers of a list of up to 32 that begins with the nth drive, in ascending order.
std::uint16_t ListDrives(std::uint16_t nth, std::uint16_t units, std::uint16_t* drives) {
  std::uint16_t listed[kListedUnits];
  std::uint16_t count = 0;
  for (std::uint16_t unit = 0; unit < std::min(units, kListedUnits); ++unit) {
    if (!IsChanger(unit)) listed[count++] = unit;
  }
  const auto entries =
      static_cast<std::uint16_t>(std::min<std::size_t>(count, kMaxDriveListEntries));
  for (std::uint16_t i = 0; i < entries; ++i) drives[i] = listed[(nth + i) % count];
  std::sort(drives, drives + entries);
  return entries;
}

DeviceAddress AddressOf(std::uint16_t unit) {
  return {static_cast<std::uint16_t>(unit / kUnitsPerPort), 0,
          static_cast<std::uint16_t>(unit % kUnitsPerPort), 0};
}

const char* NameOf(std::uint16_t unit) {
  return IsChanger(unit) ? "ADIC    Scalar 1000     1.00" : "QUANTUM DLT8000         0119";
}

std::string SerialNumberOf(std::uint16_t unit) {
  char serial[kSerialNumberSize];
  std::snprintf(serial, sizeof serial, "CXB%07dP%05d", unit * 7919, unit);
  return serial;
}

// Eight bytes in the manner of an IEEE registered name.
std::string WorldWideIdOf(std::uint16_t unit) {
  return {'\x50',
          '\x01',
          '\x04',
          '\xF0',
          '\x00',
          '\x4A',
          static_cast<char>(unit >> 8),
          static_cast<char>(unit & 0xFF)};
}

DeviceRecord OldDevice(std::uint16_t unit, std::uint16_t units, Cabling cabling) {
  DeviceRecord record = {};
  record.Number = unit;
  record.Address = AddressOf(unit);
  if (cabling == Cabling::kMoved && unit % kMovedFraction == 0) {
    record.Address.Board = static_cast<std::uint16_t>((record.Address.Board + 1) % kPorts);
  }
  record.Type = IsChanger(unit) ? kTypeChanger : kTypeTape;
  std::snprintf(record.Description, sizeof record.Description, "%s", NameOf(unit));
  record.ReadShots = 3;
  record.WriteShots = 5;
  record.CleaningTapeSlot = 14;
  record.DefaultBlockFactor = 128;
  record.DisabledDrives = 0x80000000;
  record.BarCodeInstall = 1;
  record.SetBarCodeTapeToBlank = 1;
  record.SetAutoCleaningTime = 60;
  const std::string serial = SerialNumberOf(unit);
  std::memcpy(record.SerialNumber, serial.data(), serial.size());
  const std::string id = WorldWideIdOf(unit);
  std::memcpy(record.WorldWideID, id.data(), id.size());
  if (IsChanger(unit)) {
    const auto nth = static_cast<std::uint16_t>(unit / kUnitsPerChanger * kMaxDriveListEntries);
    record.ReservedDriveCount = ListDrives(nth, units, record.ReservedDrives);
    record.UnReservedDriveCount = ListDrives(nth + 1, units, record.UnReservedDrives);
  }
  return record;
}

// Tape groups and RAID changer groups by turns.
GroupRecord OldGroup(std::uint16_t number, std::uint16_t devices) {
  GroupRecord group = {};
  group.Number = number;
  std::snprintf(group.Name, sizeof group.Name, "Pool %d", number % 1000);
  group.Attribute = 1;
  group.Kind = number % 2 == 0 ? kGroupTape : kGroupRaidChanger;
  const auto members = std::min<std::size_t>(kMaxGroupMembers, devices);
  for (std::size_t i = 0; i < members; ++i) {
    group.Members[i] = static_cast<std::uint16_t>((number * kMaxGroupMembers / 2 + i) % devices);
    group.PairFirsts[i] = static_cast<std::uint16_t>(i % 10);
    group.PairSeconds[i] = static_cast<std::uint16_t>((i + 1) % 10);
  }
  group.MemberCount = static_cast<std::uint8_t>(members);
  return group;
}

void WriteRaid(std::uint16_t number, std::uint16_t units, Cabling cabling) {
  AddressListText tapes;
  AddressListText changers;
  char element[kAddressElementSize];
  for (std::uint16_t i = 0; i < kTapesOfRaid; ++i) {
    FormatAddress(OldDevice(RaidTape(number, i), units, cabling).Address, element);
    AppendElement(&tapes, element);
  }
  const auto machine_changers = static_cast<std::uint16_t>(units / kUnitsPerChanger);
  for (std::uint16_t i = 0; i < kChangersOfRaid; ++i) {
    const int others = number * (kChangersOfRaid - 1) + i - 1;
    const int nth = i == 0 ? 0 : 1 + others % (machine_changers - 1);
    const std::uint16_t changer = ChangerNumber(static_cast<std::uint16_t>(nth));
    FormatAddress(OldDevice(changer, units, cabling).Address, element);
    AppendElement(&changers, element);
  }
  KeyHandle key;
  StoreCreateSubkey(NumberedKey(kRaidKeyPrefix, number).name, &key);
  StoreSetString(key, kRaidInfoValue, tapes.text);
  StoreSetDword(key, kRaidLevelValue, 5);
  StoreSetDword(key, kRaidStripeSizeValue, 4);
  StoreSetDword(key, kRaidLinkPositionValue, 1);
  StoreSetString(key, kRaidChangersValue, changers.text);
}

void SetText(RegistryKey* key, std::string_view name, std::string_view text) {
  key->SetValue(name, REG_SZ, std::string(text) + '\0');
}

std::string BuildCapture(std::uint16_t units) {
  RegistryKey root("");
  const auto map = root.FindOrAddChild(kLocalMachineName)
                       ->FindOrAddChild("HARDWARE")
                       ->FindOrAddChild("DEVICEMAP")
                       ->FindOrAddChild("Scsi");
  for (std::uint16_t unit = 0; unit < units; ++unit) {
    const DeviceAddress at = AddressOf(unit);
    const auto port = map->FindOrAddChild("Scsi Port " + std::to_string(at.Board));
    SetText(port.get(), "Driver", "aic78xx");
    const auto key = port->FindOrAddChild("Scsi Bus " + std::to_string(at.Bus))
                         ->FindOrAddChild("Target Id " + std::to_string(at.ScsiId))
                         ->FindOrAddChild("Logical Unit Id " + std::to_string(at.Lun));
    SetText(key.get(), "Identifier", NameOf(unit));
    SetText(key.get(), "Type", IsChanger(unit) ? "MediumChangerPeripheral" : "TapePeripheral");
    std::string inquiry{IsChanger(unit) ? '\x08' : '\x01', '\x80', '\x03', '\x02', '\x1F', 0, 0, 0};
    inquiry.append(NameOf(unit)).resize(36);
    key->SetValue(kInquiryDataValue, REG_BINARY, inquiry);
    const std::string serial = SerialNumberOf(unit);
    std::string page{inquiry[0], '\x80', 0, static_cast<char>(serial.size())};
    key->SetValue(kSerialNumberPageValue, REG_BINARY, page.append(serial));
    key->SetValue(kWorldWideIdValue, REG_BINARY, WorldWideIdOf(unit));
  }
  return WriteRegistryText(root);
}

}  // namespace

std::uint16_t ChangerNumber(std::uint16_t i) {
  return static_cast<std::uint16_t>((i + 1) * kUnitsPerChanger - 1);
}

std::uint16_t RaidTape(std::uint16_t raid, std::uint16_t i) {
  std::uint16_t drives[kMaxDriveListEntries];
  ListDrives(0, kMaxUnits, drives);
  return drives[raid * kTapesOfRaid + i];
}

Machine BuildMachine(std::uint16_t units, std::uint16_t raids, Cabling cabling) {
  const std::uint16_t devices = std::min(units, kMaxDeviceRecords);
  Machine machine;
  machine.hardware = BuildCapture(units);
  RegistryBegin();
  for (std::uint16_t n = 0; n < devices; ++n) {
    const DeviceRecord record = OldDevice(n, devices, cabling);
    WriteDeviceRecord(&record);
  }
  for (std::uint16_t n = 0; n < kMaxGroups; ++n) {
    const GroupRecord group = OldGroup(n, devices);
    WriteGroupRecord(&group);
  }
  for (std::uint16_t n = 0; n < raids; ++n) WriteRaid(n, devices, cabling);
  machine.registry = WriteRegistryText(*RegistryRoot());
  RegistryAbandon();
  return machine;
}

}  // namespace devprep
