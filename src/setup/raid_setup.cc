#include "setup/raid_setup.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "records/address_list.h"
#include "records/device_cache.h"
#include "records/raid_limits.h"
#include "records/raid_member_total.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::uint16_t kNoRaid = 65535;

NumberedKey RaidKey(std::uint16_t number) { return {kRaidKeyPrefix, number}; }

// For a RAID whose key does not open or lacks what is needed.
RaidEdit NotReadable(std::uint16_t number, std::uint16_t status) {
  return {.status = status,
          .refusal = RaidExists(number) ? RaidRefusal::kRaidNotReadable : RaidRefusal::kNoRaid};
}

RaidEdit NotStored() {
  return {.status = DEVPREP_RAID_STORE_FAILED, .refusal = RaidRefusal::kRaidNotStored};
}

// For a device whose record cannot be read, by that status; status: what the edit gives for it.
RaidEdit NoRecord(std::uint16_t device, std::uint16_t record_status, std::uint16_t status) {
  return {.status = status,
          .refusal = record_status == kDeviceNotConfigured ? RaidRefusal::kNoDevice
                                                           : RaidRefusal::kDeviceNotReadable,
          .device = device};
}

// Forms the list of the record's tape members, in ascending order. Every member has to have an
// address, one behind the end of what fits too.
RaidEdit FormTapeList(RaidInfo* raid, AddressListText* list) {
  std::sort(raid->TapeDevices, raid->TapeDevices + raid->TapeCount);
  bool full = false;
  for (std::uint16_t i = 0; i < raid->TapeCount; ++i) {
    char element[kAddressElementSize];
    const std::uint16_t status = FormatAddressElement(raid->TapeDevices[i], element);
    if (status != kStatusOk) {
      return NoRecord(raid->TapeDevices[i], status, DEVPREP_RAID_STORE_FAILED);
    }
    full = full || !AppendElement(list, element);
  }
  return {};
}

// Adds a changer to the RAID's list, unless it is there.
RaidEdit StoreChanger(const KeyHandle& key, std::uint16_t changer) {
  char element[kAddressElementSize];
  const std::uint16_t status = FormatAddressElement(changer, element);
  if (status != kStatusOk) return NoRecord(changer, status, DEVPREP_RAID_STORE_FAILED);
  AddressListText list;
  ReadRaidList(key, kRaidChangersValue, list.text);
  if (std::strstr(list.text, element) != nullptr) return {};
  list.length = std::strlen(list.text);
  AppendElement(&list, element);
  return StoreSetString(key, kRaidChangersValue, list.text) == kStatusOk ? RaidEdit{} : NotStored();
}

RaidEdit RemoveTape(std::uint16_t number, std::uint16_t drive, const char* element) {
  const std::uint16_t status = RemoveTapeElement(number, element);
  if (status == DEVPREP_OK) return {.tapes = 1};
  if (status != DEVPREP_NOT_A_MEMBER) return NotReadable(number, status);
  return {.status = status, .refusal = RaidRefusal::kNotAMember, .device = drive};
}

RaidEdit RemoveDrive(std::uint16_t number, std::uint16_t drive, const char* element) {
  const RaidEdit edit = RemoveTape(number, drive, element);
  std::uint16_t changer = 0;
  if (FindChangerOfDrive(drive, &changer)) {
    char tapes[kRaidListSize];
    if (StoreGetString(RaidKey(number).name, kRaidInfoValue, "", tapes, sizeof tapes) == 0) {
      StoreDeleteValue(RaidKey(number).name, kRaidChangersValue);
    }
  }
  return edit;
}

// The status is that of the last step.
RaidEdit RemoveChanger(std::uint16_t number, const DeviceRecord& changer, const char* element) {
  RaidEdit edit = {.status = RemoveChangerElement(number, element), .device = changer.Number};
  if (edit.status == DEVPREP_NOT_A_MEMBER) {
    edit.refusal = RaidRefusal::kNotAMember;
  } else if (edit.status != DEVPREP_OK) {
    edit = NotReadable(number, edit.status);
  }
  std::uint16_t tapes = 0;
  for (std::uint16_t i = 0; i < changer.ReservedDriveCount; ++i) {
    if (IsDriveDisabled(changer.DisabledDrives, i)) continue;
    const std::uint16_t drive = changer.ReservedDrives[i];
    char drive_element[kAddressElementSize];
    const std::uint16_t status = FormatAddressElement(drive, drive_element);
    if (status != kStatusOk) {
      edit = NoRecord(drive, status, status);
      break;
    }
    edit = RemoveTape(number, drive, drive_element);
    if (edit.refusal == RaidRefusal::kNotAMember) {
      edit.refusal = RaidRefusal::kLastDriveNotAMember;
      edit.device = changer.Number;
    }
    tapes = static_cast<std::uint16_t>(tapes + edit.tapes);
  }
  const KeyHandle key = OpenRaidKey(number);
  if (!key) return NotReadable(number, DEVPREP_RAID_NOT_OPEN);
  char changers[kRaidListSize];
  if (!ReadRaidList(key, kRaidChangersValue, changers)) {
    edit = NotReadable(number, DEVPREP_RAID_STORE_FAILED);
  } else if (changers[0] == '\0') {
    RegDeleteValueA(key.Get(), kRaidChangersValue);
  }
  edit.tapes = tapes;
  return edit;
}

// Closes the gap that a removed RAID left: the RAIDs from number on move down by one.
void ShiftRaidRecords(std::uint16_t number) {
  // No RAID follows the highest number there is.
  for (std::uint16_t from = number; from != 0 && RaidExists(from); ++from) {
    const NumberedKey old_key = RaidKey(from);
    const NumberedKey new_key = RaidKey(static_cast<std::uint16_t>(from - 1));
    char tapes[kRaidListSize];
    char changers[kRaidListSize];
    const std::size_t tapes_length =
        StoreGetString(old_key.name, kRaidInfoValue, "", tapes, sizeof tapes);
    const std::size_t changers_length =
        StoreGetString(old_key.name, kRaidChangersValue, "", changers, sizeof changers);
    const std::uint32_t level = StoreGetDword(old_key.name, kRaidLevelValue, kNoRaidNumber);
    const std::uint32_t stripe_size =
        StoreGetDword(old_key.name, kRaidStripeSizeValue, kNoRaidNumber);
    const std::uint32_t link_position =
        StoreGetDword(old_key.name, kRaidLinkPositionValue, kNoRaidNumber);
    StoreDeleteSubkey(new_key.name);
    StoreCreateSubkey(new_key.name);
    StoreSetDword(new_key.name, kRaidLevelValue, level);
    StoreSetDword(new_key.name, kRaidStripeSizeValue, stripe_size);
    StoreSetStringSized(new_key.name, kRaidInfoValue, tapes, tapes_length + 1);
    if (changers_length != 0) {
      StoreSetStringSized(new_key.name, kRaidChangersValue, changers, changers_length + 1);
    }
    StoreSetDword(new_key.name, kRaidLinkPositionValue, link_position);
    StoreDeleteSubkey(old_key.name);
  }
}

}  // namespace

RaidEdit CreateRaid(std::uint16_t level, std::uint16_t* number) {
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  if (count >= kMaxRaids) {
    return {.status = DEVPREP_RAID_LIMIT, .refusal = RaidRefusal::kRaidLimit};
  }
  *number = kNoRaid;
  const KeyHandle engine = StoreOpenRoot();
  if (!engine) {
    return {.status = DEVPREP_RAID_STORE_FAILED, .refusal = RaidRefusal::kNoTapeEngineKey};
  }
  std::uint16_t free = 0;
  while (OpenRaidKey(free)) ++free;
  const NumberedKey name = RaidKey(free);
  KeyHandle key;
  if (key.Create(engine.Get(), name.name, KEY_ALL_ACCESS) != ERROR_SUCCESS) return NotStored();
  *number = free;
  if (StoreSetString(key, kRaidInfoValue, "") != kStatusOk) return NotStored();
  StoreSetDword(key, kRaidLevelValue, level);
  StoreSetDword(key, kRaidStripeSizeValue, kNewRaidStripeSize);
  StoreSetDword(key, kRaidLinkPositionValue, kNewRaidLinkPosition);
  return {};
}

RaidEdit RemoveRaid(std::uint16_t number) {
  if (StoreDeleteSubkey(RaidKey(number).name) != kStatusOk) {
    return {.status = DEVPREP_RAID_STORE_FAILED,
            .refusal = RaidExists(number) ? RaidRefusal::kRaidNotStored : RaidRefusal::kNoRaid};
  }
  ShiftRaidRecords(static_cast<std::uint16_t>(number + 1));
  CountRaidMembers();
  return {};
}

void SetRaidLevel(std::uint16_t number, std::uint16_t level) {
  StoreSetDword(RaidKey(number).name, kRaidLevelValue, level);
}

void SetRaidLinkPosition(std::uint16_t number, std::uint16_t position) {
  StoreSetDword(RaidKey(number).name, kRaidLinkPositionValue, position);
}

RaidEdit AssignDeviceToRaid(std::uint16_t number, std::uint16_t device, std::uint8_t strict_match) {
  if (RaidMemberTotal() >= kMaxRaidMembers) {
    return {.status = DEVPREP_MEMBER_LIMIT, .refusal = RaidRefusal::kMemberLimit};
  }
  const KeyHandle key = OpenRaidKey(number);
  char tapes[kRaidListSize];
  if (!key || !ReadRaidList(key, kRaidInfoValue, tapes)) {
    return NotReadable(number, DEVPREP_RAID_STORE_FAILED);
  }
  DeviceRecord record = {};
  record.Number = device;
  const std::uint16_t record_status = GetDeviceRecord(&record);
  if (record_status != kStatusOk) return NoRecord(device, record_status, DEVPREP_FAILED);
  const bool is_changer = record.Type == kTypeChanger;
  char element[kAddressElementSize];
  FormatAddress(record.Address, element);
  if (std::strstr(tapes, element) != nullptr) {
    return {
        .status = DEVPREP_ALREADY_MEMBER, .refusal = RaidRefusal::kAlreadyMember, .device = device};
  }
  if (strict_match == kStrictMatch) {
    char changers[kRaidListSize];
    ReadRaidList(key, kRaidChangersValue, changers);
    const RaidEdit model = CheckModel(is_changer ? changers : tapes, record);
    if (model.status != DEVPREP_OK) return model;
  }
  RaidInfo raid = {};
  if (devprep::RaidSetUpGetRaidInfo(number, &raid) != DEVPREP_OK) {
    return NotReadable(number, DEVPREP_RAID_STORE_FAILED);
  }
  const RaidEdit level = CheckLevel(raid);
  if (level.status != DEVPREP_OK) return level;
  const RaidEdit edit = is_changer ? AddChangerDrives(record, &raid) : AddDrive(device, &raid);
  if (edit.status != DEVPREP_OK) return edit;
  AddressListText list;
  const RaidEdit formed = FormTapeList(&raid, &list);
  if (formed.status != DEVPREP_OK) return formed;
  if (StoreSetString(key, kRaidInfoValue, list.text) != kStatusOk) return NotStored();
  std::uint16_t changer = device;
  if (is_changer || FindChangerOfDrive(device, &changer)) {
    const RaidEdit stored = StoreChanger(key, changer);
    if (stored.status != DEVPREP_OK) return stored;
  }
  RaiseRaidMemberTotal(edit.tapes);
  return edit;
}

RaidEdit RemoveDeviceFromRaid(std::uint16_t number, std::uint16_t device) {
  DeviceRecord record = {};
  record.Number = device;
  const std::uint16_t status = GetDeviceRecord(&record);
  if (status != kStatusOk) return NoRecord(device, status, status);
  char element[kAddressElementSize];
  FormatAddress(record.Address, element);
  return record.Type == kTypeChanger ? RemoveChanger(number, record, element)
                                     : RemoveDrive(number, device, element);
}

}  // namespace devprep
