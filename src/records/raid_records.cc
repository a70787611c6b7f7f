#include "records/raid_records.h"

#include <cstdio>
#include <cstring>

#include "records/device_cache.h"
#include "store/numbered_key.h"
#include "store/product_paths.h"
#include "store/registry_store.h"

namespace devprep {

constinit std::uint16_t RaidMemberTotal = 0;

namespace {

constexpr std::size_t kRaidKeyPathSize = 256;
constexpr std::size_t kChangerListSize = 300;
constexpr std::uint32_t kDefaultLevel = 5;
constexpr std::uint32_t kDefaultStripeSize = 4;
constexpr std::uint32_t kDefaultLinkPosition = 0;

std::uint8_t ReadNumber(const char* key, const char* value_name, std::uint32_t default_value) {
  const std::uint32_t value = StoreGetDword(key, value_name, kNoRaidNumber);
  return static_cast<std::uint8_t>(value == kNoRaidNumber ? default_value : value);
}

// Resolves the elements of a list into device numbers. Stops at the first that does not resolve;
// unresolved then holds it, and its status is returned.
std::uint16_t ResolveList(const char* list, std::uint16_t* devices, std::uint16_t* count,
                          ListPiece* unresolved) {
  while (*count < kMaxRaidListEntries && NextAddressElement(&list, unresolved)) {
    const std::uint16_t status = FindDeviceByAddress(unresolved->text, &devices[*count]);
    if (status != kStatusOk) return status;
    ++*count;
  }
  return kStatusOk;
}

std::uint16_t ReservedDriveCountOf(std::uint16_t changer) {
  DeviceRecord record = {};
  record.Number = changer;
  return GetDeviceRecord(&record) == kStatusOk ? record.ReservedDriveCount : std::uint16_t{0};
}

// Whether another RAID lists this RAID's only changer first.
bool SharesItsChanger(std::uint16_t number, const RaidInfo& info) {
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  for (std::uint16_t i = 0; i < count; ++i) {
    RaidInfo other = {};
    if (i != number && ReadRaidRecord(i, &other) == kStatusOk && other.ChangerCount != 0 &&
        other.ChangerDevices[0] == info.ChangerDevices[0]) {
      return true;
    }
  }
  return false;
}

// Removes an element from the list under value_name of an open RAID key.
std::uint16_t RemoveElement(HKEY raid, const char* value_name, const char* element,
                            bool delete_when_empty) {
  char list[kRaidListSize];
  if (!ReadRaidList(raid, value_name, list)) return DEVPREP_RAID_STORE_FAILED;
  if (delete_when_empty && list[0] == '\0') {
    RegDeleteValueA(raid, value_name);
    return DEVPREP_OK;
  }
  if (std::strstr(list, element) == nullptr) return DEVPREP_NOT_A_MEMBER;
  AddressListText rebuilt;
  const char* rest = list;
  ListPiece piece;
  while (NextAddressElement(&rest, &piece)) {
    if (std::strcmp(piece.text, element) != 0) AppendElement(&rebuilt, piece.text);
  }
  return WriteRaidList(raid, value_name, rebuilt.text) ? DEVPREP_OK : DEVPREP_RAID_STORE_FAILED;
}

std::uint16_t OpenAndRemoveElement(std::uint16_t number, const char* value_name,
                                   const char* element, bool delete_when_empty) {
  HKEY raid = OpenRaidKey(number);
  if (raid == nullptr) return DEVPREP_RAID_NOT_OPEN;
  const std::uint16_t status = RemoveElement(raid, value_name, element, delete_when_empty);
  RegCloseKey(raid);
  return status;
}

}  // namespace

HKEY OpenRaidKey(std::uint16_t number) {
  char path[kRaidKeyPathSize];
  std::snprintf(path, sizeof path, "%s\\TapeEngine\\%s", BaseKeyPath,
                NumberedKey(kRaidKeyPrefix, number).name);
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) {
    return nullptr;
  }
  return key;
}

bool ReadRaidList(HKEY raid, const char* value_name, char* list) {
  std::memset(list, 0, kRaidListSize);
  DWORD size = kRaidListSize;
  if (RegQueryValueExA(raid, value_name, nullptr, nullptr, reinterpret_cast<BYTE*>(list), &size) !=
      ERROR_SUCCESS) {
    list[0] = '\0';
    return false;
  }
  list[kRaidListSize - 1] = '\0';
  return true;
}

bool WriteRaidList(HKEY raid, const char* value_name, const char* list) {
  return RegSetValueExA(raid, value_name, 0, REG_SZ, reinterpret_cast<const BYTE*>(list),
                        static_cast<DWORD>(std::strlen(list) + 1)) == ERROR_SUCCESS;
}

std::uint16_t RaidSetUpGetNoOfRaids(std::uint16_t* count) {
  *count = 0;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    HKEY raid = OpenRaidKey(n);
    if (raid == nullptr) continue;
    RegCloseKey(raid);
    ++*count;
  }
  return DEVPREP_OK;
}

std::uint16_t FormatAddressElement(std::uint16_t device, char* element) {
  DeviceRecord record = {};
  record.Number = device;
  const std::uint16_t status = GetDeviceRecord(&record);
  if (status == kStatusOk) FormatAddress(record.Address, element);
  return status;
}

std::uint16_t FindDeviceByAddress(const char* element, std::uint16_t* device) {
  return FindDeviceAt(ParseAddress(element), device);
}

std::uint16_t ReadRaidRecord(std::uint16_t number, RaidInfo* info) {
  if (number >= kMaxRaids) return DEVPREP_FAILED;
  std::memset(info, 0, sizeof *info);
  HKEY raid = OpenRaidKey(number);
  if (raid == nullptr) return DEVPREP_FAILED;
  char list[kRaidListSize];
  if (!ReadRaidList(raid, kRaidInfoValue, list)) {
    RegCloseKey(raid);
    return DEVPREP_FAILED;
  }
  ListPiece unresolved;
  if (ResolveList(list, info->TapeDevices, &info->TapeCount, &unresolved) != kStatusOk) {
    RemoveTapeElement(number, unresolved.text);
  }
  info->RaidNumber = number;
  RegCloseKey(raid);
  const NumberedKey key(kRaidKeyPrefix, number);
  info->Level = ReadNumber(key.name, kRaidLevelValue, kDefaultLevel);
  info->StripeSize = ReadNumber(key.name, kRaidStripeSizeValue, kDefaultStripeSize);
  info->LinkPosition = ReadNumber(key.name, kRaidLinkPositionValue, kDefaultLinkPosition);
  char changers[kChangerListSize];
  StoreGetString(key.name, kRaidChangersValue, "", changers, sizeof changers);
  const std::uint16_t status =
      ResolveList(changers, info->ChangerDevices, &info->ChangerCount, &unresolved);
  if (status != kStatusOk) RemoveChangerElement(number, unresolved.text);
  return status;
}

std::uint16_t RaidSetUpGetRaidInfo(std::uint16_t number, RaidInfo* info) {
  if (number == kEmptyCacheCommand) {
    ResetDeviceCache();
    return DEVPREP_FAILED;
  }
  const std::uint16_t status = ReadRaidRecord(number, info);
  if (status != DEVPREP_OK || info->ChangerCount == 0) return status;
  info->Flags = DEVPREP_RAID_HAS_CHANGER;
  // Several changers are taken to be alike: the first one's reserved drives count for each.
  const bool complete =
      !(info->ChangerCount == 1 && SharesItsChanger(number, *info)) &&
      info->TapeCount >= ReservedDriveCountOf(info->ChangerDevices[0]) * info->ChangerCount;
  info->Flags |= complete ? DEVPREP_RAID_CHANGER_COMPLETE : DEVPREP_RAID_CHANGER_INCOMPLETE;
  return DEVPREP_OK;
}

std::uint16_t RemoveTapeElement(std::uint16_t number, const char* element) {
  const std::uint16_t status = OpenAndRemoveElement(number, kRaidInfoValue, element, false);
  if (status == DEVPREP_OK && RaidMemberTotal != 0) --RaidMemberTotal;
  return status;
}

std::uint16_t RemoveChangerElement(std::uint16_t number, const char* element) {
  return OpenAndRemoveElement(number, kRaidChangersValue, element, true);
}

std::uint16_t CountRaidMembers(std::uint16_t* total) {
  *total = 0;
  std::uint16_t count = 0;
  if (RaidSetUpGetNoOfRaids(&count) != DEVPREP_OK) return DEVPREP_FAILED;
  for (std::uint16_t n = 0; n < count; ++n) {
    RaidInfo info = {};
    if (devprep::RaidSetUpGetRaidInfo(n, &info) != DEVPREP_OK) return DEVPREP_FAILED;
    *total = static_cast<std::uint16_t>(*total + info.TapeCount);
  }
  return DEVPREP_OK;
}

void ResetRaidRecords() { RaidMemberTotal = 0; }

}  // namespace devprep
