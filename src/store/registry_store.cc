#include "store/registry_store.h"

#include <algorithm>
#include <cstring>

#include "store/product_paths.h"

namespace devprep {
namespace {

constexpr const char* kRootPath[kRootLevels] = {"SOFTWARE", "Tamberline", "Vaultkeep", "Base",
                                                "TapeEngine"};
constexpr DWORD kDwordBufferSize = 40;

// Opens a key with full access, or creates it. Null when both fail.
HKEY OpenOrCreate(HKEY parent, const char* name) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, name, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) return key;
  char no_class[] = "";
  if (RegCreateKeyExA(parent, name, 0, no_class, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr) == ERROR_SUCCESS) {
    return key;
  }
  return nullptr;
}

HKEY OpenOrCreateRoot(TapeEngineKeyChain* chain) {
  HKEY root = StoreOpenRoot(chain);
  return root != nullptr ? root : StoreCreateRoot(chain);
}

// Whether the tape engine key has a child of that name. Names are unique without regard to case, so
// asking for the one by name finds what a walk over all children would find.
bool HasSubkey(HKEY root, const char* subkey) {
  HKEY key = nullptr;
  const LONG status = RegOpenKeyExA(root, subkey, 0, KEY_QUERY_VALUE, &key);
  if (status == ERROR_SUCCESS) RegCloseKey(key);
  return status != ERROR_FILE_NOT_FOUND;
}

std::uint16_t WriteValue(const char* subkey, const char* value_name, const void* data,
                         std::size_t size, DWORD type) {
  TapeEngineKeyChain chain;
  HKEY root = OpenOrCreateRoot(&chain);
  if (root == nullptr) return kStatusFailed;
  const std::uint16_t status =
      StoreSetValue(root, subkey, value_name, data, static_cast<DWORD>(size), type);
  StoreCloseRoot(&chain);
  return status == kStatusOk ? kStatusOk : kStatusFailed;
}

}  // namespace

HKEY StoreOpenRoot(TapeEngineKeyChain* chain) {
  std::memset(chain, 0, sizeof *chain);
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, TapeEngineKeyPath, 0, KEY_ALL_ACCESS, &key) ==
      ERROR_SUCCESS) {
    chain->levels[kRootLevels - 1] = key;
  }
  return chain->levels[kRootLevels - 1];
}

HKEY StoreCreateRoot(TapeEngineKeyChain* chain) {
  HKEY parent = HKEY_LOCAL_MACHINE;
  for (std::size_t i = 0; i < kRootLevels; ++i) {
    chain->levels[i] = OpenOrCreate(parent, kRootPath[i]);
    if (chain->levels[i] == nullptr) {
      StoreCloseRoot(chain);
      return nullptr;
    }
    parent = chain->levels[i];
  }
  return parent;
}

int StoreCloseRoot(TapeEngineKeyChain* chain) {
  for (std::size_t i = kRootLevels; i-- > 0;) {
    if (chain->levels[i] == nullptr) continue;
    RegCloseKey(chain->levels[i]);
    chain->levels[i] = nullptr;
  }
  return 0;
}

std::uint16_t StoreQueryValue(HKEY parent, const char* subkey, const char* value_name, void* data,
                              DWORD* size, DWORD type) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, subkey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
    return kStoreSubkeyNotOpened;
  }
  DWORD found_type = REG_NONE;
  const LONG status =
      RegQueryValueExA(key, value_name, nullptr, &found_type, static_cast<BYTE*>(data), size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return kStoreValueFailed;
  return found_type == type ? kStatusOk : kStoreWrongType;
}

std::uint16_t StoreSetValue(HKEY parent, const char* subkey, const char* value_name,
                            const void* data, DWORD size, DWORD type) {
  HKEY key = OpenOrCreate(parent, subkey);
  if (key == nullptr) return kStoreSubkeyNotMade;
  const LONG status =
      RegSetValueExA(key, value_name, 0, type, static_cast<const BYTE*>(data), size);
  RegCloseKey(key);
  return status == ERROR_SUCCESS ? kStatusOk : kStoreValueFailed;
}

std::size_t StoreGetString(const char* subkey, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size) {
  std::memset(buffer, 0, size);
  std::memcpy(buffer, default_text, std::min(std::strlen(default_text), size - 1));
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root != nullptr) {
    // The value's bytes are laid over the default. Without the sub-key the query fails by itself:
    // no search is needed before it.
    auto room = static_cast<DWORD>(size);
    StoreQueryValue(root, subkey, value_name, buffer, &room, REG_SZ);
  }
  StoreCloseRoot(&chain);
  buffer[size - 1] = '\0';
  return std::strlen(buffer);
}

std::uint32_t StoreGetDword(const char* subkey, const char* value_name,
                            std::uint32_t default_value) {
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return default_value;
  BYTE data[kDwordBufferSize] = {};
  DWORD size = sizeof data;
  const std::uint16_t status = StoreQueryValue(root, subkey, value_name, data, &size, REG_DWORD);
  StoreCloseRoot(&chain);
  if (status != kStatusOk) return default_value;
  std::uint32_t value = 0;
  std::memcpy(&value, data, sizeof value);
  return value;
}

std::uint16_t StoreSetDword(const char* subkey, const char* value_name, std::uint32_t value) {
  return WriteValue(subkey, value_name, &value, sizeof value, REG_DWORD);
}

std::uint16_t StoreSetStringSized(const char* subkey, const char* value_name, const char* text,
                                  std::size_t size) {
  return WriteValue(subkey, value_name, text, size, REG_SZ);
}

std::uint16_t StoreSetBinary(const char* subkey, const char* value_name, const void* data,
                             std::size_t size) {
  return WriteValue(subkey, value_name, data, size, REG_BINARY);
}

std::uint16_t StoreSetString(const char* subkey, const char* value_name, const char* text) {
  TapeEngineKeyChain chain;
  HKEY root = OpenOrCreateRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  const std::uint16_t status = StoreSetValue(root, subkey, value_name, text,
                                             static_cast<DWORD>(std::strlen(text) + 1), REG_SZ);
  StoreCloseRoot(&chain);
  return status == kStoreValueFailed ? kStoreStringNotWritten : status;
}

std::uint32_t StoreGetBinary(const char* subkey, const char* value_name, void* data, DWORD* size) {
  if (value_name == nullptr) return kBinaryNoName;
  if (*value_name == '\0') return kBinaryEmptyName;
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return kBinaryRootNotOpened;
  std::uint32_t result = kBinaryOk;
  const std::uint16_t status = StoreQueryValue(root, subkey, value_name, data, size, REG_BINARY);
  if (status == kStoreSubkeyNotOpened && !HasSubkey(root, subkey)) {
    result = kBinaryNoSubkey;
  } else if (status != kStatusOk) {
    result = kBinaryValueFailed;
  }
  StoreCloseRoot(&chain);
  return result;
}

std::uint16_t StoreCountValues(const char* subkey, std::uint16_t* count) {
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  HKEY key = nullptr;
  std::uint16_t status = kStatusOk;
  if (RegOpenKeyExA(root, subkey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
    status = HasSubkey(root, subkey) ? kStoreSubkeyNotOpened : kStoreNoSubkey;
  } else {
    DWORD values = 0;
    if (RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                         nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
      *count = static_cast<std::uint16_t>(values);
    } else {
      status = kStoreNoKeyInformation;
    }
    RegCloseKey(key);
  }
  StoreCloseRoot(&chain);
  return status;
}

std::uint16_t StoreCreateSubkey(const char* name) {
  TapeEngineKeyChain chain;
  HKEY root = OpenOrCreateRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  HKEY key = OpenOrCreate(root, name);
  if (key != nullptr) RegCloseKey(key);
  StoreCloseRoot(&chain);
  return key != nullptr ? kStatusOk : kStoreSubkeyNotMade;
}

std::uint16_t StoreDeleteSubkey(const char* name) {
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  const LONG status = RegDeleteKeyA(root, name);
  StoreCloseRoot(&chain);
  return status == ERROR_SUCCESS ? kStatusOk : kStoreDeleteFailed;
}

std::uint16_t StoreGetFirstValue(const char* subkey, char* name, DWORD* name_size, DWORD* type,
                                 void* data, DWORD* size) {
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  HKEY key = nullptr;
  std::uint16_t status = kStoreRootNotOpened;
  if (RegOpenKeyExA(root, subkey, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
    status = RegEnumValueA(key, 0, name, name_size, nullptr, type, static_cast<BYTE*>(data),
                           size) == ERROR_SUCCESS
                 ? kStatusOk
                 : kStoreFirstValueFailed;
    RegCloseKey(key);
  }
  StoreCloseRoot(&chain);
  return status;
}

std::uint16_t StoreDeleteValue(const char* subkey, const char* value_name) {
  TapeEngineKeyChain chain;
  HKEY root = StoreOpenRoot(&chain);
  if (root == nullptr) return kStoreRootNotOpened;
  HKEY key = nullptr;
  std::uint16_t status = kStoreSubkeyNotOpened;
  if (RegOpenKeyExA(root, subkey, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
    status = RegDeleteValueA(key, value_name) == ERROR_SUCCESS ? kStatusOk : kStoreDeleteFailed;
    RegCloseKey(key);
  }
  StoreCloseRoot(&chain);
  return status;
}

}  // namespace devprep
