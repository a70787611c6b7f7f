#include "records/device_record.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "records/device_settings.h"
#include "store/list_text.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::size_t kSerialNumberProof = 10;  // leading bytes that may not all be 0

constexpr const char* kBoardField = "board-";
constexpr const char* kBusField = ",bus-";
constexpr const char* kScsiIdField = ",scsiid-";
constexpr const char* kLunField = ",lun-";
constexpr const char* kTypeField = ",type-";
constexpr char kDescriptionMark = ',';
constexpr const char* kNoInfo = "!@!#$";
constexpr std::size_t kDescriptionInfoSize = 200;
constexpr int kCommasBeforeDescription = 5;
constexpr std::size_t kBinaryBufferSize = 300;

NumberedKey DeviceKey(std::uint16_t number) { return {kDeviceKeyPrefix, number}; }

void ReadSettings(const KeyHandle& key, DeviceRecord* record) {
  for (const DeviceSetting& setting : kDeviceSettings) {
    if (setting.changers_only && record->Type != kTypeChanger) continue;
    record->*setting.field =
        static_cast<std::uint16_t>(StoreGetDword(key, setting.value_name, setting.not_set));
  }
}

void WriteSettings(const KeyHandle& key, const DeviceRecord* record) {
  for (const DeviceSetting& setting : kDeviceSettings) {
    const std::uint16_t value = record->*setting.field;
    if (setting.changers_only && record->Type != kTypeChanger) continue;
    if (value != setting.not_set) StoreSetDword(key, setting.value_name, value);
  }
}

// The first size bytes of a value, whatever its type; zeros where it has none.
void ReadBytes(const KeyHandle& key, const char* value_name, std::uint8_t* bytes,
               std::size_t size) {
  std::uint8_t data[kBinaryBufferSize] = {};
  StoreGetBytes(key, value_name, data, sizeof data);
  std::memcpy(bytes, data, size);
}

// Loads a list of a changer's drives: up to kMaxDriveListEntries entries. An item without a number
// counts, its entry stays as it was.
void ReadDriveList(const KeyHandle& key, const char* value_name, std::uint16_t* entries,
                   std::uint16_t* count) {
  char list[kDriveListSize];
  StoreGetString(key, value_name, "", list, sizeof list);
  ParseDriveList(list, entries, count);
}

// Forms the text of a drive list, kDriveListSize bytes. What does not fit into the 99 characters
// that can be read back is left out, entries whole; whether nothing was.
bool FormatDriveList(const std::uint16_t* entries, std::uint16_t count, char* list) {
  std::size_t length = 0;
  list[0] = '\0';
  for (std::uint16_t i = 0; i < count; ++i) {
    if (i == kMaxDriveListEntries ||
        !AppendNumber(list, kDriveListSize, &length, i == 0 ? "" : ",", entries[i])) {
      return false;
    }
  }
  return true;
}

// Stores the first count entries, if any. Returns 0 or 65535.
std::uint16_t WriteDriveList(const KeyHandle& key, const char* value_name,
                             const std::uint16_t* entries, std::uint16_t count) {
  if (count == 0) return kStatusOk;
  char list[kDriveListSize];
  FormatDriveList(entries, count, list);
  return StoreSetString(key, value_name, list);
}

// What is at its default is not stored: that it is missing already is no failure.
std::uint16_t DeleteValue(const KeyHandle& key, const char* value_name) {
  const LONG status = RegDeleteValueA(key.Get(), value_name);
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? kStatusOk : kStatusFailed;
}

// Writes the text of the value "Info", kDeviceInfoSize bytes.
void FormatDeviceInfo(const DeviceRecord& record, char* info) {
  std::size_t length = 0;
  AppendNumber(info, kDeviceInfoSize, &length, kBoardField, record.Address.Board);
  AppendNumber(info, kDeviceInfoSize, &length, kBusField, record.Address.Bus);
  AppendNumber(info, kDeviceInfoSize, &length, kScsiIdField, record.Address.ScsiId);
  AppendNumber(info, kDeviceInfoSize, &length, kLunField, record.Address.Lun);
  AppendNumber(info, kDeviceInfoSize, &length, kTypeField, record.Type);
  info[length++] = kDescriptionMark;
  const char* const description = record.Description;
  const char* const end = std::find(description, description + kDescriptionSize - 1, '\0');
  *std::copy(description, end, info + length) = '\0';
}

// Accepts the literal text and the number behind it.
bool ScanField(const char** at, const char* literal, std::uint16_t* number) {
  const std::size_t length = std::strlen(literal);
  if (std::strncmp(*at, literal, length) != 0) return false;
  *at += length;
  return ScanNumber(at, number);
}

}  // namespace

bool HoldsDevice(const std::uint16_t* devices, std::uint16_t count, std::uint16_t number) {
  return std::find(devices, devices + count, number) != devices + count;
}

bool IsDriveDisabled(std::uint32_t disabled_drives, std::uint16_t position) {
  return position < kDisabledDrivesBits && (disabled_drives >> position & 1U) != 0;
}

bool IsProbedType(std::uint16_t type) {
  return type == kTypeTape || type == kTypeChanger || type == kTypeTapeEngine;
}

bool HasSerialNumber(const DeviceRecord& record) {
  return std::any_of(record.SerialNumber, record.SerialNumber + kSerialNumberProof,
                     [](std::uint8_t byte) { return byte != 0; });
}

bool HasWorldWideId(const DeviceRecord& record) {
  return std::any_of(std::begin(record.WorldWideID), std::end(record.WorldWideID),
                     [](std::uint8_t byte) { return byte != 0; });
}

std::uint16_t ParseDeviceInfo(char* info, DeviceRecord* record) {
  RemoveBlanks(info);
  const char* at = info;
  if (!ScanField(&at, kBoardField, &record->Address.Board) ||
      !ScanField(&at, kBusField, &record->Address.Bus) ||
      !ScanField(&at, kScsiIdField, &record->Address.ScsiId) ||
      !ScanField(&at, kLunField, &record->Address.Lun) ||
      !ScanField(&at, kTypeField, &record->Type) || *at != kDescriptionMark) {
    return kDeviceInfoMalformed;
  }
  const char* description = SkipWhiteSpace(at + 1);
  const std::size_t length =
      std::min(std::strcspn(description, " \t\n\v\f\r"), kDescriptionSize - 1);
  if (length == 0) return kDeviceInfoMalformed;
  std::memcpy(record->Description, description, length);
  record->Description[length] = '\0';
  return kStatusOk;
}

std::uint16_t ReadDeviceRecord(DeviceRecord* record) {
  const KeyHandle key = StoreOpenSubkey(DeviceKey(record->Number).name, KEY_QUERY_VALUE);
  char info[kDeviceInfoSize];
  StoreGetString(key, kDeviceInfoValue, kNoInfo, info, sizeof info);
  if (std::strcmp(info, kNoInfo) == 0) return kDeviceNotConfigured;
  const std::uint16_t status = ParseDeviceInfo(info, record);
  if (status != kStatusOk) return status;
  if (record->Type == kTypeChanger) {
    ReadDriveList(key, kReservedDrivesValue, record->ReservedDrives, &record->ReservedDriveCount);
    ReadDriveList(key, kUnReservedDrivesValue, record->UnReservedDrives,
                  &record->UnReservedDriveCount);
    record->DisabledDrives = StoreGetDword(key, kDisabledDrivesValue, 0);
  }
  ReadSettings(key, record);
  ReadBytes(key, kDeviceSerialNumberValue, record->SerialNumber, sizeof record->SerialNumber);
  ReadBytes(key, kDeviceWorldWideIdValue, record->WorldWideID, sizeof record->WorldWideID);
  return kStatusOk;
}

std::uint16_t ReadConfiguredDevice(DeviceRecord* record) {
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  return record->Number < count ? ReadDeviceRecord(record) : kDeviceNotConfigured;
}

std::uint16_t WriteDeviceRecord(const DeviceRecord* record) {
  KeyHandle key;
  if (StoreCreateSubkey(DeviceKey(record->Number).name, &key) != kStatusOk) {
    return kRecordNotWritten;
  }
  // Written anew, "Info" stands behind the values that stay.
  RegDeleteValueA(key.Get(), kDeviceInfoValue);
  char info[kDeviceInfoSize];
  FormatDeviceInfo(*record, info);
  if (StoreSetString(key, kDeviceInfoValue, info) != kStatusOk) return kRecordNotWritten;
  if (record->Type == kTypeChanger) {
    WriteDriveList(key, kReservedDrivesValue, record->ReservedDrives, record->ReservedDriveCount);
    WriteDriveList(key, kUnReservedDrivesValue, record->UnReservedDrives,
                   record->UnReservedDriveCount);
    if (record->DisabledDrives != 0) {
      StoreSetDword(key, kDisabledDrivesValue, record->DisabledDrives);
    }
  }
  WriteSettings(key, record);
  StoreSetBinary(key, kDeviceSerialNumberValue, record->SerialNumber, sizeof record->SerialNumber);
  StoreSetBinary(key, kDeviceWorldWideIdValue, record->WorldWideID, sizeof record->WorldWideID);
  return kStatusOk;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the walk changes the list.
void ParseDriveList(char* list, std::uint16_t* entries, std::uint16_t* count) {
  *count = 0;
  ListWalk walk{list};
  std::uint16_t last = 0;
  while (*count < kMaxDriveListEntries) {
    const char* item = NextItem(&walk, &last);
    if (item == nullptr) return;
    ScanNumber(&item, &entries[*count]);
    ++*count;
  }
}

std::uint16_t WriteReservedDrives(const DeviceRecord& record) {
  const KeyHandle key = StoreOpenSubkey(DeviceKey(record.Number).name, KEY_ALL_ACCESS);
  if (!key) return kStoreSubkeyNotOpened;
  const std::uint16_t list = record.ReservedDriveCount == 0
                                 ? DeleteValue(key, kReservedDrivesValue)
                                 : WriteDriveList(key, kReservedDrivesValue, record.ReservedDrives,
                                                  record.ReservedDriveCount);
  if (list != kStatusOk) return list;
  return record.DisabledDrives == 0
             ? DeleteValue(key, kDisabledDrivesValue)
             : StoreSetDword(key, kDisabledDrivesValue, record.DisabledDrives);
}

bool DriveListFits(const std::uint16_t* entries, std::uint16_t count) {
  char list[kDriveListSize];
  return FormatDriveList(entries, count, list);
}

std::uint16_t WriteDeviceSetting(std::uint16_t number, const DeviceSetting& setting,
                                 std::uint16_t value) {
  const KeyHandle key = StoreOpenSubkey(DeviceKey(number).name, KEY_ALL_ACCESS);
  if (!key) return kStoreSubkeyNotOpened;
  return value == setting.not_set ? DeleteValue(key, setting.value_name)
                                  : StoreSetDword(key, setting.value_name, value);
}

std::uint16_t DeleteDeviceRecord(std::uint16_t number) {
  return StoreDeleteSubkey(DeviceKey(number).name);
}

std::uint16_t CountDeviceRecords(std::uint16_t* count) {
  *count = StoreCountNumbered(kDeviceKeyPrefix, kMaxDeviceRecords);
  return kStatusOk;
}

const char* FindDescription(const char* info) {
  const char* at = info;
  for (int i = 0; i < kCommasBeforeDescription; ++i) {
    at = std::strchr(at, ',');
    if (at == nullptr) return nullptr;
    ++at;
  }
  return at;
}

std::uint16_t ReadDeviceDescription(std::uint16_t number, char* text) {
  char info[kDescriptionInfoSize];
  StoreGetString(DeviceKey(number).name, kDeviceInfoValue, "", info, sizeof info);
  const char* const at = FindDescription(info);
  if (at == nullptr) return kStatusFailed;
  const std::size_t length = std::min(std::strlen(at), kDescriptionSize - 1);
  std::memcpy(text, at, length);
  text[length] = '\0';
  return kStatusOk;
}

}  // namespace devprep
