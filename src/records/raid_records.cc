#include "records/raid_records.h"

#include <cstdio>
#include <cstring>

#include "records/device_cache.h"
#include "records/raid_member_total.h"
#include "store/numbered_key.h"
#include "store/product_paths.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::size_t kChangerListSize = 300;

std::uint8_t ReadNumber(const KeyHandle& key, const char* value_name, std::uint32_t default_value) {
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
std::uint16_t RemoveElement(const KeyHandle& raid, const char* value_name, const char* element,
                            bool delete_when_empty) {
  char list[kRaidListSize];
  if (!ReadRaidList(raid, value_name, list)) return DEVPREP_RAID_STORE_FAILED;
  if (delete_when_empty && list[0] == '\0') {
    RegDeleteValueA(raid.Get(), value_name);
    return DEVPREP_OK;
  }
  if (std::strstr(list, element) == nullptr) return DEVPREP_NOT_A_MEMBER;
  AddressListText rebuilt;
  const char* rest = list;
  ListPiece piece;
  while (NextAddressElement(&rest, &piece)) {
    if (std::strcmp(piece.text, element) != 0) AppendElement(&rebuilt, piece.text);
  }
  return StoreSetString(raid, value_name, rebuilt.text) == kStatusOk ? DEVPREP_OK
                                                                     : DEVPREP_RAID_STORE_FAILED;
}

std::uint16_t OpenAndRemoveElement(std::uint16_t number, const char* value_name,
                                   const char* element, bool delete_when_empty) {
  const KeyHandle raid = OpenRaidKey(number);
  return raid ? RemoveElement(raid, value_name, element, delete_when_empty)
              : std::uint16_t{DEVPREP_RAID_NOT_OPEN};
}

}  // namespace

KeyHandle OpenRaidKey(std::uint16_t number) {
  char path[sizeof kTapeEngineKeyPath.text + sizeof(NumberedKey::name)];
  std::snprintf(path, sizeof path, "%s\\%s", kTapeEngineKeyPath.text,
                NumberedKey(kRaidKeyPrefix, number).name);
  KeyHandle raid;
  raid.Open(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS);
  return raid;
}

bool RaidExists(std::uint16_t number) {
  return StoreSubkeyExists(NumberedKey(kRaidKeyPrefix, number).name);
}

bool ReadRaidList(const KeyHandle& raid, const char* value_name, char* list) {
  std::memset(list, 0, kRaidListSize);
  DWORD size = kRaidListSize;
  if (RegQueryValueExA(raid.Get(), value_name, nullptr, nullptr, reinterpret_cast<BYTE*>(list),
                       &size) != ERROR_SUCCESS) {
    list[0] = '\0';
    return false;
  }
  list[kRaidListSize - 1] = '\0';
  return true;
}

bool RaidListHolds(std::uint16_t number, const char* value_name, const char* element) {
  char list[kRaidListSize];
  return ReadRaidList(OpenRaidKey(number), value_name, list) &&
         std::strstr(list, element) != nullptr;
}

std::uint16_t RaidSetUpGetNoOfRaids(std::uint16_t* count) {
  *count = 0;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    if (OpenRaidKey(n)) ++*count;
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
  const KeyHandle raid = OpenRaidKey(number);
  char list[kRaidListSize];
  if (!raid || !ReadRaidList(raid, kRaidInfoValue, list)) return DEVPREP_FAILED;
  ListPiece unresolved;
  if (ResolveList(list, info->TapeDevices, &info->TapeCount, &unresolved) != kStatusOk) {
    RemoveTapeElement(number, unresolved.text);
  }
  info->RaidNumber = number;
  info->Level = ReadNumber(raid, kRaidLevelValue, kDefaultRaidLevel);
  info->StripeSize = ReadNumber(raid, kRaidStripeSizeValue, kDefaultStripeSize);
  info->LinkPosition = ReadNumber(raid, kRaidLinkPositionValue, kDefaultLinkPosition);
  char changers[kChangerListSize];
  StoreGetString(raid, kRaidChangersValue, "", changers, sizeof changers);
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
  if (status == DEVPREP_OK) LowerRaidMemberTotal();
  return status;
}

std::uint16_t RemoveChangerElement(std::uint16_t number, const char* element) {
  return OpenAndRemoveElement(number, kRaidChangersValue, element, true);
}

std::uint16_t CountRaidMembers() {
  SetRaidMemberTotal(0);
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    RaidInfo info = {};
    if (devprep::RaidSetUpGetRaidInfo(n, &info) != DEVPREP_OK) return DEVPREP_FAILED;
    RaiseRaidMemberTotal(info.TapeCount);
  }
  return DEVPREP_OK;
}

}  // namespace devprep
