#include "store/product_config.h"

#include <cstdio>
#include <cstring>

#include "platform/registry.h"
#include "store/key_handle.h"
#include "store/product_paths.h"
#include "store/registry_store.h"

namespace devprep {

constinit std::uint32_t MatchByWorldWideId = 0;
constinit std::uint32_t MaskFibreDevices = 0;

namespace {

constexpr const char* kSizeValue = "Size";
constexpr const char* kSlotFormat = "%s_%d";
constexpr const char* kSlotName = "Slot";
constexpr int kConfigSlot = 1;
constexpr std::uint32_t kFibreProduct = 65;
constexpr std::size_t kProductNameSize = 20;
// The record of product 65: only the mode, a 32-bit number at this offset, is used.
constexpr std::size_t kConfigRecordSize = 76;
constexpr std::size_t kModeOffset = 24;
constexpr std::int32_t kWrongArgument = -1;

std::int32_t ReadSlot(HKEY key, void* record, std::uint32_t* size) {
  std::uint32_t stored_size = 0;
  DWORD read = sizeof stored_size;
  LONG status = RegQueryValueExA(key, kSizeValue, nullptr, nullptr,
                                 reinterpret_cast<BYTE*>(&stored_size), &read);
  if (status != ERROR_SUCCESS) return status;
  if (stored_size > *size) {
    *size = stored_size;
    return ERROR_MORE_DATA;
  }
  char slot_name[16];
  std::snprintf(slot_name, sizeof slot_name, kSlotFormat, kSlotName, kConfigSlot);
  read = *size;
  status = RegQueryValueExA(key, slot_name, nullptr, nullptr, static_cast<BYTE*>(record), &read);
  if (status == ERROR_SUCCESS) *size = read;
  return status;
}

}  // namespace

std::int32_t FindInstalledProduct(std::uint32_t code, void* data) {
  if (data == nullptr) return kWrongArgument;
  KeyHandle key;
  LONG status = key.Open(HKEY_LOCAL_MACHINE, kProductsKeyPath.text, KEY_READ);
  if (status != ERROR_SUCCESS) return status;
  bool found = false;
  for (DWORD index = 0; !found; ++index) {
    char name[kProductNameSize];
    DWORD name_size = sizeof name;
    DWORD size = kProductDataSize;
    status = RegEnumValueA(key.Get(), index, name, &name_size, nullptr, nullptr,
                           static_cast<BYTE*>(data), &size);
    if (status != ERROR_SUCCESS) break;
    // A value too short for a code names no product.
    found = size >= sizeof code && std::memcmp(data, &code, sizeof code) == 0;
  }
  return status;
}

std::int32_t ReadProductConfigSlot(std::uint32_t reserved, std::uint32_t code, void* record,
                                   std::uint32_t* size) {
  if (reserved != 0) return kWrongArgument;
  KeyHandle config_key;
  LONG status = config_key.Open(HKEY_LOCAL_MACHINE, kProductsConfigKeyPath.text, KEY_ALL_ACCESS);
  if (status != ERROR_SUCCESS) return status;
  char code_name[16];
  std::snprintf(code_name, sizeof code_name, "%u", static_cast<unsigned>(code));
  KeyHandle product_key;
  status = product_key.Open(config_key.Get(), code_name, KEY_ALL_ACCESS);
  return status == ERROR_SUCCESS ? ReadSlot(product_key.Get(), record, size) : status;
}

std::uint16_t ReadProductConfig() {
  ResetProductConfig();
  std::uint8_t data[kProductDataSize];
  if (FindInstalledProduct(kFibreProduct, data) != ERROR_SUCCESS) return kStatusFailed;
  std::uint8_t record[kConfigRecordSize] = {};
  std::uint32_t size = sizeof record;
  if (ReadProductConfigSlot(0, kFibreProduct, record, &size) != ERROR_SUCCESS) {
    return kStatusFailed;
  }
  std::uint32_t mode = 0;
  std::memcpy(&mode, record + kModeOffset, sizeof mode);
  (mode == 0 ? MatchByWorldWideId : MaskFibreDevices) = 1;
  return kStatusOk;
}

void ResetProductConfig() {
  MatchByWorldWideId = 0;
  MaskFibreDevices = 0;
}

}  // namespace devprep
