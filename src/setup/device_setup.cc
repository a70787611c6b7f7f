#include "setup/device_setup.h"

#include <algorithm>
#include <cstring>

#include "records/address_list.h"
#include "records/device_cache.h"
#include "records/raid_records.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

// A changer's drives, each with its mark.
struct DriveList {
  std::uint16_t Drives[kMaxDriveListEntries];
  bool Disabled[kMaxDriveListEntries];
  std::uint16_t Count;
};

DeviceEdit ReadConfigured(std::uint16_t number, DeviceRecord* record) {
  *record = {};
  record->Number = number;
  const std::uint16_t status = ReadConfiguredDevice(record);
  if (status == kStatusOk) return {};
  return {.refusal = status == kDeviceNotConfigured ? DeviceRefusal::kNoDevice
                                                    : DeviceRefusal::kDeviceNotReadable,
          .device = number};
}

DeviceEdit ReadChanger(std::uint16_t number, DeviceRecord* changer) {
  const DeviceEdit read = ReadConfigured(number, changer);
  if (read.refusal != DeviceRefusal::kNone || changer->Type == kTypeChanger) return read;
  return {.refusal = DeviceRefusal::kNotAChanger, .device = number};
}

bool IsDrive(std::uint16_t type) {
  return type == kTypeTape || type == kTypeTapeEngine || type == kTypeOpticalMemory ||
         type == kTypeWriteOnce || type == kTypeCdRom;
}

bool IsReserved(const DeviceRecord& changer, std::uint16_t drive) {
  return HoldsDevice(changer.ReservedDrives, changer.ReservedDriveCount, drive);
}

// Calls use on each configured changer, until it returns true. Whether it did.
template <typename Use>
bool ForEachChanger(Use use) {
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    DeviceRecord device = {};
    device.Number = n;
    if (ReadDeviceRecord(&device) == kStatusOk && device.Type == kTypeChanger && use(device)) {
      return true;
    }
  }
  return false;
}

// Whether a drive can be reserved to a changer.
DeviceEdit CheckDrive(std::uint16_t changer, std::uint16_t drive, bool force) {
  DeviceRecord record;
  const DeviceEdit read = ReadConfigured(drive, &record);
  if (read.refusal != DeviceRefusal::kNone || force) return read;
  if (!IsDrive(record.Type)) return {.refusal = DeviceRefusal::kNotADrive, .device = drive};
  DeviceEdit edit = {};
  ForEachChanger([&](const DeviceRecord& other) {
    if (other.Number == changer || !IsReserved(other, drive)) return false;
    edit = {.refusal = DeviceRefusal::kReservedToOther, .device = drive, .other = other.Number};
    return true;
  });
  return edit;
}

// Whether a drive can be taken away from a changer.
DeviceEdit CheckRelease(const DeviceRecord& changer, std::uint16_t drive, bool force) {
  DeviceRecord record;
  // What is not configured any more is in no RAID.
  if (force || ReadConfigured(drive, &record).refusal != DeviceRefusal::kNone) return {};
  char tape[kAddressElementSize];
  char backing[kAddressElementSize];
  FormatAddress(record.Address, tape);
  FormatAddress(changer.Address, backing);
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    if (RaidListHolds(n, kRaidInfoValue, tape) && RaidListHolds(n, kRaidChangersValue, backing)) {
      return {
          .refusal = DeviceRefusal::kInRaid, .device = drive, .other = changer.Number, .raid = n};
    }
  }
  return {};
}

DriveList ListOf(const DeviceRecord& changer) {
  DriveList list = {};
  for (; list.Count < changer.ReservedDriveCount; ++list.Count) {
    list.Drives[list.Count] = changer.ReservedDrives[list.Count];
    list.Disabled[list.Count] = IsDriveDisabled(changer.DisabledDrives, list.Count);
  }
  return list;
}

// Marks of places that the list does not have go: they would disable the next drive that comes.
DeviceEdit StoreList(DeviceRecord* changer, const DriveList& list) {
  if (!DriveListFits(list.Drives, list.Count)) {
    return {.refusal = DeviceRefusal::kDriveListLong, .device = changer->Number};
  }
  changer->ReservedDriveCount = list.Count;
  std::copy(list.Drives, list.Drives + list.Count, changer->ReservedDrives);
  changer->DisabledDrives = 0;
  for (std::uint16_t i = 0; i < list.Count; ++i) {
    if (list.Disabled[i]) changer->DisabledDrives |= 1U << i;
  }
  const std::uint16_t status = WriteReservedDrives(*changer);
  ResetDeviceCache();
  if (status == kStatusOk) return {};
  return {.refusal = DeviceRefusal::kDeviceNotStored, .device = changer->Number};
}

// Adds drives to a list. One that stood in old_list keeps the mark that it had there.
DeviceEdit AddDrives(const DeviceRecord& changer, const std::uint16_t* drives, std::uint16_t count,
                     bool force, DriveList* list) {
  const DriveList old_list = ListOf(changer);
  for (std::uint16_t i = 0; i < count; ++i) {
    if (HoldsDevice(drives, i, drives[i])) {
      return {.refusal = DeviceRefusal::kGivenTwice, .device = drives[i]};
    }
    if (HoldsDevice(list->Drives, list->Count, drives[i])) {
      return {
          .refusal = DeviceRefusal::kAlreadyReserved, .device = drives[i], .other = changer.Number};
    }
    const DeviceEdit check = CheckDrive(changer.Number, drives[i], force);
    if (check.refusal != DeviceRefusal::kNone) return check;
    if (list->Count == kMaxDriveListEntries) {
      return {.refusal = DeviceRefusal::kDriveListFull, .device = changer.Number};
    }
    const auto* const old_end = old_list.Drives + old_list.Count;
    const auto* const at = std::find(old_list.Drives, old_end, drives[i]);
    list->Drives[list->Count] = drives[i];
    list->Disabled[list->Count++] = at != old_end && old_list.Disabled[at - old_list.Drives];
  }
  return {};
}

}  // namespace

bool CanBeForced(DeviceRefusal refusal) {
  return refusal == DeviceRefusal::kNotADrive || refusal == DeviceRefusal::kReservedToOther ||
         refusal == DeviceRefusal::kInRaid;
}

DeviceEdit CheckChanger(std::uint16_t number) {
  DeviceRecord record;
  return ReadChanger(number, &record);
}

DeviceEdit ReserveDrives(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                         bool force) {
  DeviceRecord record;
  DeviceEdit edit = ReadChanger(changer, &record);
  if (edit.refusal != DeviceRefusal::kNone) return edit;
  DriveList list = ListOf(record);
  edit = AddDrives(record, drives, count, force, &list);
  return edit.refusal == DeviceRefusal::kNone ? StoreList(&record, list) : edit;
}

DeviceEdit ReserveExactly(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                          bool force) {
  DeviceRecord record;
  DeviceEdit edit = ReadChanger(changer, &record);
  if (edit.refusal != DeviceRefusal::kNone) return edit;
  for (std::uint16_t i = 0; i < record.ReservedDriveCount; ++i) {
    if (HoldsDevice(drives, count, record.ReservedDrives[i])) continue;
    edit = CheckRelease(record, record.ReservedDrives[i], force);
    if (edit.refusal != DeviceRefusal::kNone) return edit;
  }
  DriveList list = {};
  edit = AddDrives(record, drives, count, force, &list);
  return edit.refusal == DeviceRefusal::kNone ? StoreList(&record, list) : edit;
}

DeviceEdit ReleaseDrives(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                         bool force) {
  DeviceRecord record;
  DeviceEdit edit = ReadChanger(changer, &record);
  if (edit.refusal != DeviceRefusal::kNone) return edit;
  if (count == 0 && record.ReservedDriveCount == 0) {
    return {.refusal = DeviceRefusal::kNothingReserved, .device = changer};
  }
  for (std::uint16_t i = 0; i < count; ++i) {
    if (!IsReserved(record, drives[i])) {
      return {.refusal = DeviceRefusal::kNotReserved, .device = drives[i], .other = changer};
    }
  }
  const DriveList old_list = ListOf(record);
  DriveList list = {};
  for (std::uint16_t i = 0; i < old_list.Count; ++i) {
    if (count == 0 || HoldsDevice(drives, count, old_list.Drives[i])) {
      edit = CheckRelease(record, old_list.Drives[i], force);
      if (edit.refusal != DeviceRefusal::kNone) return edit;
      continue;
    }
    list.Drives[list.Count] = old_list.Drives[i];
    list.Disabled[list.Count++] = old_list.Disabled[i];
  }
  return StoreList(&record, list);
}

DeviceEdit SetDriveDisabled(std::uint16_t drive, bool disabled) {
  DeviceRecord record;
  const DeviceEdit read = ReadConfigured(drive, &record);
  if (read.refusal != DeviceRefusal::kNone) return read;
  DeviceEdit edit = {.refusal = DeviceRefusal::kNoChangersDrive, .device = drive};
  ForEachChanger([&](DeviceRecord& changer) {
    if (!IsReserved(changer, drive)) return false;
    DriveList list = ListOf(changer);
    for (std::uint16_t i = 0; i < list.Count; ++i) {
      if (list.Drives[i] == drive) list.Disabled[i] = disabled;
    }
    edit = StoreList(&changer, list);
    return edit.refusal != DeviceRefusal::kNone;
  });
  return edit;
}

DeviceEdit SetDeviceSetting(std::uint16_t device, const DeviceSetting& setting,
                            std::uint16_t value) {
  DeviceRecord record;
  const DeviceEdit read = ReadConfigured(device, &record);
  if (read.refusal != DeviceRefusal::kNone) return read;
  if (setting.changers_only && record.Type != kTypeChanger) {
    return {.refusal = DeviceRefusal::kSettingOfChangers, .device = device};
  }
  const std::uint16_t status = WriteDeviceSetting(device, setting, value);
  ResetDeviceCache();
  if (status == kStatusOk) return {};
  return {.refusal = DeviceRefusal::kDeviceNotStored, .device = device};
}

}  // namespace devprep
