#include "records/device_record.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "store/list_text.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::size_t kSerialNumberProof = 10;  // leading bytes that may not all be 0

constexpr const char* kInfoValue = "Info";
constexpr const char* kInfoFormat = "board-%hu,bus-%hu,scsiid-%hu,lun-%hu,type-%hu,%.*s";
constexpr const char* kNoInfo = "!@!#$";
constexpr std::size_t kInfoSize = 300;
constexpr std::size_t kDescriptionInfoSize = 200;
constexpr int kCommasBeforeDescription = 5;
constexpr std::size_t kDriveListSize = 100;
constexpr std::size_t kBinaryBufferSize = 300;
constexpr const char* kSerialNumberValue = "SerialNumber";
constexpr const char* kWorldWideIdValue = "WorldWideID";

// A setting stored as a 32-bit number.
struct Setting {
  const char* name;
  std::uint16_t DeviceRecord::*field;
  std::uint16_t default_value;  // not stored
};

constexpr Setting kChangerSettings[] = {
    {"BarCodeInstall", &DeviceRecord::BarCodeInstall, 0},
    {"SetBarCodeTapeToBlank", &DeviceRecord::SetBarCodeTapeToBlank, 0},
    {"SetAutoCleaningTime", &DeviceRecord::SetAutoCleaningTime, 0},
};
constexpr Setting kDeviceSettings[] = {
    {"ReadShots", &DeviceRecord::ReadShots, 0},
    {"WriteShots", &DeviceRecord::WriteShots, 0},
    {"CleaningTapeSlot", &DeviceRecord::CleaningTapeSlot, kNotSet},
    {"DefaultBlockFactor", &DeviceRecord::DefaultBlockFactor, kNotSet},
};
constexpr const char* kDisabledDrivesValue = "DisabledDrives";

NumberedKey DeviceKey(std::uint16_t number) { return {kDeviceKeyPrefix, number}; }

const char* DriveListValue(bool reserved) {
  return reserved ? "ReservedDrives" : "UnReservedDrives";
}

template <std::size_t N>
void ReadSettings(const char* key, const Setting (&settings)[N], DeviceRecord* record) {
  for (const Setting& setting : settings) {
    record->*setting.field =
        static_cast<std::uint16_t>(StoreGetDword(key, setting.name, setting.default_value));
  }
}

template <std::size_t N>
void WriteSettings(const char* key, const Setting (&settings)[N], const DeviceRecord* record) {
  for (const Setting& setting : settings) {
    const std::uint16_t value = record->*setting.field;
    if (value != setting.default_value) StoreSetDword(key, setting.name, value);
  }
}

// The first size bytes of a value, whatever its type; zeros where it has none.
void ReadBytes(const char* key, const char* value_name, std::uint8_t* bytes, std::size_t size) {
  std::uint8_t data[kBinaryBufferSize] = {};
  DWORD read = sizeof data;
  StoreGetBinary(key, value_name, data, &read);
  std::memcpy(bytes, data, size);
}

// Accepts the literal text and the number behind it.
bool ScanField(const char** at, const char* literal, std::uint16_t* number) {
  const std::size_t length = std::strlen(literal);
  if (std::strncmp(*at, literal, length) != 0) return false;
  *at += length;
  return ScanNumber(at, number);
}

}  // namespace

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
  if (!ScanField(&at, "board-", &record->Address.Board) ||
      !ScanField(&at, ",bus-", &record->Address.Bus) ||
      !ScanField(&at, ",scsiid-", &record->Address.ScsiId) ||
      !ScanField(&at, ",lun-", &record->Address.Lun) || !ScanField(&at, ",type-", &record->Type) ||
      *at != ',') {
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
  const NumberedKey key = DeviceKey(record->Number);
  char info[kInfoSize];
  StoreGetString(key.name, kInfoValue, kNoInfo, info, sizeof info);
  if (std::strcmp(info, kNoInfo) == 0) return kDeviceNotConfigured;
  const std::uint16_t status = ParseDeviceInfo(info, record);
  if (status != kStatusOk) return status;
  if (record->Type == kTypeChanger) {
    ReadDriveList(record->Number, record->ReservedDrives, &record->ReservedDriveCount, true);
    ReadDriveList(record->Number, record->UnReservedDrives, &record->UnReservedDriveCount, false);
    record->DisabledDrives = StoreGetDword(key.name, kDisabledDrivesValue, 0);
    ReadSettings(key.name, kChangerSettings, record);
  }
  ReadSettings(key.name, kDeviceSettings, record);
  ReadBytes(key.name, kSerialNumberValue, record->SerialNumber, sizeof record->SerialNumber);
  ReadBytes(key.name, kWorldWideIdValue, record->WorldWideID, sizeof record->WorldWideID);
  return kStatusOk;
}

std::uint16_t WriteDeviceRecord(const DeviceRecord* record) {
  const NumberedKey key = DeviceKey(record->Number);
  StoreDeleteValue(key.name, kInfoValue);
  char info[kInfoSize];
  const DeviceAddress& address = record->Address;
  std::snprintf(info, sizeof info, kInfoFormat, address.Board, address.Bus, address.ScsiId,
                address.Lun, record->Type, static_cast<int>(kDescriptionSize - 1),
                record->Description);
  if (StoreSetString(key.name, kInfoValue, info) != kStatusOk) return kRecordNotWritten;
  if (record->Type == kTypeChanger) {
    if (record->ReservedDriveCount != 0) {
      WriteDriveList(record->Number, record->ReservedDrives, record->ReservedDriveCount, true);
    }
    if (record->UnReservedDriveCount != 0) {
      WriteDriveList(record->Number, record->UnReservedDrives, record->UnReservedDriveCount, false);
    }
    if (record->DisabledDrives != 0) {
      StoreSetDword(key.name, kDisabledDrivesValue, record->DisabledDrives);
    }
    WriteSettings(key.name, kChangerSettings, record);
  }
  WriteSettings(key.name, kDeviceSettings, record);
  StoreSetBinary(key.name, kSerialNumberValue, record->SerialNumber, sizeof record->SerialNumber);
  StoreSetBinary(key.name, kWorldWideIdValue, record->WorldWideID, sizeof record->WorldWideID);
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

std::uint16_t ReadDriveList(std::uint16_t number, std::uint16_t* entries, std::uint16_t* count,
                            bool reserved) {
  char list[kDriveListSize];
  StoreGetString(DeviceKey(number).name, DriveListValue(reserved), "", list, sizeof list);
  ParseDriveList(list, entries, count);
  return kStatusOk;
}

std::uint16_t WriteDriveList(std::uint16_t number, const std::uint16_t* entries,
                             std::uint16_t count, bool reserved) {
  char list[kDriveListSize] = "";
  std::size_t length = 0;
  for (std::uint16_t i = 0; i < std::min<std::size_t>(count, kMaxDriveListEntries); ++i) {
    char entry[8];
    std::snprintf(entry, sizeof entry, i == 0 ? "%d" : ",%d", entries[i]);
    if (!AppendText(list, sizeof list, &length, entry)) break;
  }
  StoreSetString(DeviceKey(number).name, DriveListValue(reserved), list);
  return kStatusOk;
}

std::uint16_t DeleteDeviceRecord(std::uint16_t number) {
  return StoreDeleteSubkey(DeviceKey(number).name);
}

std::uint16_t CountDeviceRecords(std::uint16_t* count) {
  std::uint16_t values = 0;
  *count = 0;
  while (*count < kMaxDeviceRecords &&
         StoreCountValues(DeviceKey(*count).name, &values) == kStatusOk) {
    ++*count;
  }
  return kStatusOk;
}

std::uint16_t ReadDeviceDescription(std::uint16_t number, char* text) {
  char info[kDescriptionInfoSize];
  StoreGetString(DeviceKey(number).name, kInfoValue, "", info, sizeof info);
  const char* at = info;
  for (int i = 0; i < kCommasBeforeDescription; ++i) {
    at = std::strchr(at, ',');
    if (at == nullptr) return kStatusFailed;
    ++at;
  }
  const std::size_t length = std::min(std::strlen(at), kDescriptionSize - 1);
  std::memcpy(text, at, length);
  text[length] = '\0';
  return kStatusOk;
}

}  // namespace devprep
