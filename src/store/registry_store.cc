#include "store/registry_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/numbered_key.h"
#include "store/product_paths.h"

namespace devprep {
namespace {

constexpr DWORD kDwordBufferSize = 40;

std::uint16_t SetValue(const KeyHandle& key, const char* value_name, const void* data,
                       std::size_t size, DWORD type) {
  return key && RegSetValueExA(key.Get(), value_name, 0, type, static_cast<const BYTE*>(data),
                               static_cast<DWORD>(size)) == ERROR_SUCCESS
             ? kStatusOk
             : kStatusFailed;
}

KeyHandle OpenOrCreateRoot() {
  KeyHandle root = StoreOpenRoot();
  return root ? std::move(root) : StoreCreateRoot();
}

}  // namespace

KeyHandle StoreOpenRoot() {
  KeyHandle root;
  root.Open(HKEY_LOCAL_MACHINE, kTapeEngineKeyPath.text, KEY_ALL_ACCESS);
  return root;
}

KeyHandle StoreCreateRoot() {
  auto names = kTapeEngineKeyPath;
  KeyHandle parent;
  for (char* name = names.text; name != nullptr;) {
    char* const end = std::strchr(name, '\\');
    if (end != nullptr) *end = '\0';
    KeyHandle key;
    if (key.Create(parent ? parent.Get() : HKEY_LOCAL_MACHINE, name, KEY_ALL_ACCESS) !=
        ERROR_SUCCESS) {
      return {};
    }
    parent = std::move(key);
    name = end != nullptr ? end + 1 : nullptr;
  }
  return parent;
}

KeyHandle StoreOpenSubkey(const char* name, REGSAM access) {
  KeyHandle key;
  const KeyHandle root = StoreOpenRoot();
  if (root) key.Open(root.Get(), name, access);
  return key;
}

std::uint16_t StoreCreateSubkey(const char* name, KeyHandle* key) {
  const KeyHandle root = OpenOrCreateRoot();
  if (!root) return kStoreRootNotOpened;
  KeyHandle made;
  if (made.Create(root.Get(), name, KEY_ALL_ACCESS) != ERROR_SUCCESS) return kStoreSubkeyNotMade;
  if (key != nullptr) *key = std::move(made);
  return kStatusOk;
}

bool StoreSubkeyExists(const char* name) {
  return static_cast<bool>(StoreOpenSubkey(name, KEY_QUERY_VALUE));
}

std::uint16_t StoreCountNumbered(const char* prefix, std::uint16_t limit) {
  const KeyHandle root = StoreOpenRoot();
  std::uint16_t count = 0;
  for (; root && count < limit; ++count) {
    KeyHandle key;
    if (key.Open(root.Get(), NumberedKey(prefix, count).name, KEY_QUERY_VALUE) != ERROR_SUCCESS) {
      break;
    }
  }
  return count;
}

std::uint16_t StoreDeleteSubkey(const char* name) {
  const KeyHandle root = StoreOpenRoot();
  if (!root) return kStoreRootNotOpened;
  return RegDeleteKeyA(root.Get(), name) == ERROR_SUCCESS ? kStatusOk : kStoreDeleteFailed;
}

std::size_t StoreGetString(const KeyHandle& key, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size) {
  std::memset(buffer, 0, size);
  std::memcpy(buffer, default_text, std::min(std::strlen(default_text), size - 1));
  StoreGetBytes(key, value_name, buffer, size);
  buffer[size - 1] = '\0';
  return std::strlen(buffer);
}

std::size_t StoreGetString(const char* subkey, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size) {
  return StoreGetString(StoreOpenSubkey(subkey, KEY_QUERY_VALUE), value_name, default_text, buffer,
                        size);
}

std::uint32_t StoreGetDword(const KeyHandle& key, const char* value_name,
                            std::uint32_t default_value) {
  BYTE data[kDwordBufferSize] = {};
  DWORD size = sizeof data;
  DWORD type = REG_NONE;
  if (!key ||
      RegQueryValueExA(key.Get(), value_name, nullptr, &type, data, &size) != ERROR_SUCCESS ||
      type != REG_DWORD) {
    return default_value;
  }
  std::uint32_t value = 0;
  std::memcpy(&value, data, sizeof value);
  return value;
}

std::uint32_t StoreGetDword(const char* subkey, const char* value_name,
                            std::uint32_t default_value) {
  return StoreGetDword(StoreOpenSubkey(subkey, KEY_QUERY_VALUE), value_name, default_value);
}

void StoreGetBytes(const KeyHandle& key, const char* value_name, void* data, std::size_t size) {
  if (!key) return;
  auto room = static_cast<DWORD>(size);
  RegQueryValueExA(key.Get(), value_name, nullptr, nullptr, static_cast<BYTE*>(data), &room);
}

std::uint16_t StoreGetFirstValue(const KeyHandle& key, char* name, DWORD* name_size, void* data,
                                 DWORD* size) {
  return key && RegEnumValueA(key.Get(), 0, name, name_size, nullptr, nullptr,
                              static_cast<BYTE*>(data), size) == ERROR_SUCCESS
             ? kStatusOk
             : kStoreFirstValueFailed;
}

std::uint16_t StoreSetString(const KeyHandle& key, const char* value_name, const char* text) {
  return SetValue(key, value_name, text, std::strlen(text) + 1, REG_SZ);
}

std::uint16_t StoreSetStringSized(const char* subkey, const char* value_name, const char* text,
                                  std::size_t size) {
  KeyHandle key;
  StoreCreateSubkey(subkey, &key);
  return SetValue(key, value_name, text, size, REG_SZ);
}

std::uint16_t StoreSetDword(const KeyHandle& key, const char* value_name, std::uint32_t value) {
  return SetValue(key, value_name, &value, sizeof value, REG_DWORD);
}

std::uint16_t StoreSetDword(const char* subkey, const char* value_name, std::uint32_t value) {
  KeyHandle key;
  StoreCreateSubkey(subkey, &key);
  return StoreSetDword(key, value_name, value);
}

std::uint16_t StoreSetBinary(const KeyHandle& key, const char* value_name, const void* data,
                             std::size_t size) {
  return SetValue(key, value_name, data, size, REG_BINARY);
}

std::uint16_t StoreDeleteValue(const char* subkey, const char* value_name) {
  const KeyHandle root = StoreOpenRoot();
  if (!root) return kStoreRootNotOpened;
  KeyHandle key;
  if (key.Open(root.Get(), subkey, KEY_ALL_ACCESS) != ERROR_SUCCESS) return kStoreSubkeyNotOpened;
  return RegDeleteValueA(key.Get(), value_name) == ERROR_SUCCESS ? kStatusOk : kStoreDeleteFailed;
}

}  // namespace devprep
