#include "setup/raid_setup.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "records/address_list.h"
#include "records/device_cache.h"
#include "records/raid_records.h"
#include "setup/device_listing.h"
#include "store/numbered_key.h"
#include "store/product_paths.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::uint16_t kNoRaid = 65535;
constexpr std::uint32_t kNewStripeSize = 4;
constexpr std::uint32_t kNewLinkPosition = 1;
constexpr std::uint16_t kMirrorLevel = 1;
constexpr std::uint16_t kMirrorTapes = 2;
// The last characters of a description, its revision, do not make another model.
constexpr std::size_t kRevisionLength = 4;
constexpr std::uint32_t kDisabledDrivesBits = 32;

NumberedKey RaidKey(std::uint16_t number) { return {kRaidKeyPrefix, number}; }

HKEY OpenTapeEngineKey() {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, TapeEngineKeyPath, 0, KEY_ALL_ACCESS, &key) !=
      ERROR_SUCCESS) {
    return nullptr;
  }
  return key;
}

bool RaidExists(std::uint16_t number) {
  std::uint16_t values = 0;
  return StoreCountValues(RaidKey(number).name, &values) == kStatusOk;
}

bool CreateRaidKey(std::uint16_t number) {
  HKEY engine = OpenTapeEngineKey();
  if (engine == nullptr) return false;
  HKEY raid = nullptr;
  const LONG status =
      RegCreateKeyExA(engine, RaidKey(number).name, 0, nullptr, REG_OPTION_NON_VOLATILE,
                      KEY_ALL_ACCESS, nullptr, &raid, nullptr);
  if (status == ERROR_SUCCESS) RegCloseKey(raid);
  RegCloseKey(engine);
  return status == ERROR_SUCCESS;
}

bool IsDisabled(const DeviceRecord& changer, std::uint16_t position) {
  return position < kDisabledDrivesBits && (changer.DisabledDrives >> position & 1U) != 0;
}

bool Holds(const std::uint16_t* numbers, std::uint16_t count, std::uint16_t wanted) {
  return std::find(numbers, numbers + count, wanted) != numbers + count;
}

// Whether the device is of the model of the list's first member, so far as it has one. Returns 0;
// 203 another model; 65535 the first member or a record cannot be read.
std::uint16_t CheckModel(const char* list, const DeviceRecord& device) {
  const char* end = std::strchr(list, ')');
  if (end == nullptr) return DEVPREP_OK;
  // Unlike a walk, this does not pass over brackets in front: a list that begins with one was not
  // written here, and has no first member.
  ListPiece first = {};
  std::memcpy(first.text, list, static_cast<std::size_t>(end - list) + 1);
  DeviceRecord member = {};
  if (FindDeviceByAddress(first.text, &member.Number) != kStatusOk ||
      GetDeviceRecord(&member) != kStatusOk) {
    return DEVPREP_FAILED;
  }
  return IsSameModel(member, device) ? DEVPREP_OK : DEVPREP_DEVICE_REFUSED;
}

// Adds a changer's free, enabled reserved drives to the RAID's record. *added: their number.
std::uint16_t AddChangerDrives(const DeviceRecord& device, RaidInfo* raid, std::uint16_t* added) {
  if (raid->TapeCount != 0) {
    // A changer without reserved drives divides nothing.
    const bool whole_share =
        device.ReservedDriveCount != 0 && raid->TapeCount % device.ReservedDriveCount == 0;
    if (!whole_share && !IsChangerInRaid(*raid, device.Number)) return DEVPREP_DEVICE_REFUSED;
    if ((raid->Flags & DEVPREP_RAID_HAS_CHANGER) == 0) return DEVPREP_DEVICE_REFUSED;
  }
  DeviceRecord changer = device;
  DropAssignedDrives(&changer);
  for (std::uint16_t i = 0; i < changer.ReservedDriveCount; ++i) {
    if (IsDisabled(changer, i)) continue;
    // A stored list may hold more than the members that were counted.
    if (RaidMemberTotal + *added >= kMaxRaidMembers || raid->TapeCount >= kMaxRaidListEntries) {
      return DEVPREP_MEMBER_LIMIT;
    }
    raid->TapeDevices[raid->TapeCount++] = changer.ReservedDrives[i];
    ++*added;
  }
  return DEVPREP_OK;
}

std::uint16_t AddDrive(std::uint16_t drive, RaidInfo* raid, std::uint16_t* added) {
  if (!CheckDriveForRaid(*raid, drive)) return DEVPREP_DEVICE_REFUSED;
  if (raid->TapeCount >= kMaxRaidListEntries) return DEVPREP_MEMBER_LIMIT;
  raid->TapeDevices[raid->TapeCount++] = drive;
  *added = 1;
  return DEVPREP_OK;
}

// Stores the tape members of a record, in ascending order, as the RAID's list.
std::uint16_t StoreTapes(HKEY key, RaidInfo* raid) {
  SortDeviceNumbers(raid->TapeDevices, raid->TapeCount);
  AddressListText list;
  for (std::uint16_t i = 0; i < raid->TapeCount; ++i) {
    char element[kAddressElementSize];
    if (FormatAddressElement(raid->TapeDevices[i], element) != kStatusOk) {
      return DEVPREP_RAID_STORE_FAILED;
    }
    if (!AppendElement(&list, element)) break;
  }
  return WriteRaidList(key, kRaidInfoValue, list.text) ? DEVPREP_OK : DEVPREP_RAID_STORE_FAILED;
}

// Adds a changer to the RAID's list, unless it is there.
std::uint16_t StoreChanger(HKEY key, std::uint16_t changer) {
  char element[kAddressElementSize];
  if (FormatAddressElement(changer, element) != kStatusOk) return DEVPREP_RAID_STORE_FAILED;
  AddressListText list;
  ReadRaidList(key, kRaidChangersValue, list.text);
  if (std::strstr(list.text, element) != nullptr) return DEVPREP_OK;
  list.length = std::strlen(list.text);
  AppendElement(&list, element);
  return WriteRaidList(key, kRaidChangersValue, list.text) ? DEVPREP_OK : DEVPREP_RAID_STORE_FAILED;
}

std::uint16_t Assign(HKEY key, std::uint16_t number, std::uint16_t device,
                     std::uint8_t strict_match) {
  char tapes[kRaidListSize];
  if (!ReadRaidList(key, kRaidInfoValue, tapes)) return DEVPREP_RAID_STORE_FAILED;
  DeviceRecord record = {};
  record.Number = device;
  if (GetDeviceRecord(&record) != kStatusOk) return DEVPREP_FAILED;
  char element[kAddressElementSize];
  std::uint16_t status = FormatAddressElement(device, element);
  if (status != kStatusOk) return status;
  const bool is_changer = record.Type == kTypeChanger;
  if (std::strstr(tapes, element) != nullptr) return DEVPREP_ALREADY_MEMBER;
  if (strict_match == kStrictMatch) {
    char changers[kRaidListSize];
    ReadRaidList(key, kRaidChangersValue, changers);
    status = CheckModel(is_changer ? changers : tapes, record);
    if (status != DEVPREP_OK) return status;
  }
  RaidInfo raid = {};
  if (devprep::RaidSetUpGetRaidInfo(number, &raid) != DEVPREP_OK) return DEVPREP_RAID_STORE_FAILED;
  if (raid.Level == kMirrorLevel && raid.TapeCount >= kMirrorTapes) return DEVPREP_MEMBER_LIMIT;
  std::uint16_t added = 0;
  status = is_changer ? AddChangerDrives(record, &raid, &added) : AddDrive(device, &raid, &added);
  if (status != DEVPREP_OK) return status;
  status = StoreTapes(key, &raid);
  if (status != DEVPREP_OK) return status;
  std::uint16_t changer = device;
  if (is_changer || FindChangerOfDrive(device, &changer)) {
    status = StoreChanger(key, changer);
    if (status != DEVPREP_OK) return status;
  }
  RaidMemberTotal = static_cast<std::uint16_t>(RaidMemberTotal + added);
  return DEVPREP_OK;
}

std::uint16_t RemoveDrive(std::uint16_t number, std::uint16_t drive, const char* element) {
  const std::uint16_t status = RemoveTapeElement(number, element);
  std::uint16_t changer = 0;
  if (FindChangerOfDrive(drive, &changer)) {
    char tapes[kRaidListSize];
    if (StoreGetString(RaidKey(number).name, kRaidInfoValue, "", tapes, sizeof tapes) == 0) {
      StoreDeleteValue(RaidKey(number).name, kRaidChangersValue);
    }
  }
  return status;
}

std::uint16_t RemoveChanger(std::uint16_t number, const DeviceRecord& changer,
                            const char* element) {
  std::uint16_t status = RemoveChangerElement(number, element);
  for (std::uint16_t i = 0; i < changer.ReservedDriveCount; ++i) {
    if (IsDisabled(changer, i)) continue;
    char drive_element[kAddressElementSize];
    status = FormatAddressElement(changer.ReservedDrives[i], drive_element);
    if (status != kStatusOk) break;
    status = RemoveTapeElement(number, drive_element);
  }
  HKEY key = OpenRaidKey(number);
  if (key == nullptr) return DEVPREP_RAID_NOT_OPEN;
  char changers[kRaidListSize];
  if (!ReadRaidList(key, kRaidChangersValue, changers)) {
    status = DEVPREP_RAID_STORE_FAILED;
  } else if (changers[0] == '\0') {
    RegDeleteValueA(key, kRaidChangersValue);
  }
  RegCloseKey(key);
  return status;
}

}  // namespace

std::uint16_t RaidSetUpCreateRaid(std::uint16_t level, std::uint32_t /*unused*/,
                                  std::uint16_t* number) {
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  if (count >= kMaxRaids) return DEVPREP_RAID_LIMIT;
  *number = kNoRaid;
  std::uint16_t free = 0;
  for (HKEY key = OpenRaidKey(free); key != nullptr; key = OpenRaidKey(free)) {
    RegCloseKey(key);
    ++free;
  }
  if (!CreateRaidKey(free)) return DEVPREP_RAID_STORE_FAILED;
  *number = free;
  HKEY key = OpenRaidKey(free);
  if (key == nullptr) return DEVPREP_RAID_STORE_FAILED;
  const bool written = WriteRaidList(key, kRaidInfoValue, "");
  RegCloseKey(key);
  if (!written) return DEVPREP_RAID_STORE_FAILED;
  StoreSetDword(RaidKey(free).name, kRaidLevelValue, level);
  StoreSetDword(RaidKey(free).name, kRaidStripeSizeValue, kNewStripeSize);
  StoreSetDword(RaidKey(free).name, kRaidLinkPositionValue, kNewLinkPosition);
  return DEVPREP_OK;
}

std::uint16_t RaidSetUpRemoveRaid(std::uint16_t number) {
  HKEY engine = OpenTapeEngineKey();
  if (engine == nullptr) return DEVPREP_RAID_STORE_FAILED;
  const LONG status = RegDeleteKeyA(engine, RaidKey(number).name);
  RegCloseKey(engine);
  if (status != ERROR_SUCCESS) return DEVPREP_RAID_STORE_FAILED;
  const auto next = static_cast<std::uint16_t>(number + 1);
  // No RAID follows the highest number there is.
  if (next != 0 && RaidExists(next)) ShiftRaidRecords(next);
  CountRaidMembers(&RaidMemberTotal);
  return DEVPREP_OK;
}

void ShiftRaidRecords(std::uint16_t number) {
  bool more = true;
  for (std::uint16_t from = number; more; ++from) {
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
    const auto next = static_cast<std::uint16_t>(from + 1);
    more = next != 0 && RaidExists(next);
  }
}

std::uint16_t RaidSetUpSetRaidLevel(std::uint16_t number, std::uint16_t level) {
  StoreSetDword(RaidKey(number).name, kRaidLevelValue, level);
  return DEVPREP_OK;
}

std::uint16_t RaidSetUpSetLinkPosition(std::uint16_t number, std::uint16_t position) {
  StoreSetDword(RaidKey(number).name, kRaidLinkPositionValue, position);
  return DEVPREP_OK;
}

std::uint16_t RaidSetUpAssignDeviceToRaid(std::uint16_t number, std::uint16_t device,
                                          std::uint8_t strict_match) {
  if (RaidMemberTotal >= kMaxRaidMembers) return DEVPREP_MEMBER_LIMIT;
  HKEY key = OpenRaidKey(number);
  if (key == nullptr) return DEVPREP_RAID_STORE_FAILED;
  const std::uint16_t status = Assign(key, number, device, strict_match);
  RegCloseKey(key);
  return status;
}

std::uint16_t RaidSetUpRemoveDeviceFromRaid(std::uint16_t number, std::uint16_t device) {
  char element[kAddressElementSize];
  const std::uint16_t status = FormatAddressElement(device, element);
  if (status != kStatusOk) return status;
  DeviceRecord record = {};
  record.Number = device;
  if (GetDeviceRecord(&record) != kStatusOk) return DEVPREP_FAILED;
  return record.Type == kTypeChanger ? RemoveChanger(number, record, element)
                                     : RemoveDrive(number, device, element);
}

void SortDeviceNumbers(std::uint16_t* numbers, std::uint16_t count) {
  std::sort(numbers, numbers + count);
}

bool IsChangerInRaid(const RaidInfo& raid, std::uint16_t device) {
  return Holds(raid.ChangerDevices, raid.ChangerCount, device);
}

bool FindChangerOfDrive(std::uint16_t drive, std::uint16_t* changer) {
  std::uint16_t count = 0;
  SetUpGetNoOfDevices(&count);
  for (std::uint16_t i = 0; i < count; ++i) {
    DeviceRecord record = {};
    record.Number = i;
    // Only a changer can be reported as one: the others need not be asked for their inquiry text.
    if (GetDeviceRecord(&record) != kStatusOk || record.Type != kTypeChanger) continue;
    DeviceInfo info = {};
    if (QueryDeviceInfo(i, &info, true) == DEVPREP_OK && info.Type == kTypeChanger &&
        Holds(info.ReservedDrives, info.ReservedDriveCount, drive)) {
      *changer = i;
      return true;
    }
  }
  return false;
}

void DropAssignedDrives(DeviceRecord* changer) {
  bool assigned[kMaxDriveListEntries] = {};
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    RaidInfo raid = {};
    if (ReadRaidRecord(n, &raid) != DEVPREP_OK) continue;
    for (std::uint16_t i = 0; i < changer->ReservedDriveCount; ++i) {
      assigned[i] =
          assigned[i] || Holds(raid.TapeDevices, raid.TapeCount, changer->ReservedDrives[i]);
    }
  }
  std::uint16_t kept = 0;
  for (std::uint16_t i = 0; i < changer->ReservedDriveCount; ++i) {
    if (!assigned[i]) changer->ReservedDrives[kept++] = changer->ReservedDrives[i];
  }
  changer->ReservedDriveCount = kept;
}

bool IsSameModel(const DeviceRecord& member, const DeviceRecord& device) {
  const std::size_t length = std::strlen(member.Description);
  const std::size_t model_length = length > kRevisionLength ? length - kRevisionLength : 0;
  return std::strlen(device.Description) == length &&
         std::memcmp(member.Description, device.Description, model_length) == 0;
}

bool FindIncompleteChanger(const RaidInfo& raid, std::uint16_t* changer) {
  for (std::uint16_t i = 0; i < raid.ChangerCount; ++i) {
    DeviceRecord record = {};
    record.Number = raid.ChangerDevices[i];
    if (GetDeviceRecord(&record) != kStatusOk) continue;
    const std::uint16_t* const drives = record.ReservedDrives;
    if (std::any_of(drives, drives + record.ReservedDriveCount, [&raid](std::uint16_t reserved) {
          return !Holds(raid.TapeDevices, raid.TapeCount, reserved);
        })) {
      *changer = raid.ChangerDevices[i];
      return true;
    }
  }
  return false;
}

bool CheckDriveForRaid(const RaidInfo& raid, std::uint16_t drive) {
  if ((raid.Flags & DEVPREP_RAID_HAS_CHANGER) == 0) return true;
  std::uint16_t own_changer = 0;
  std::uint16_t incomplete_changer = 0;
  // Where all changers are complete, the drive would belong to none of their shares.
  return FindChangerOfDrive(drive, &own_changer) &&
         FindIncompleteChanger(raid, &incomplete_changer) && own_changer == incomplete_changer;
}

}  // namespace devprep
