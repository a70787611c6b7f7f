// The key and value operations on which every configuration record rests.
#ifndef DEVPREP_STORE_REGISTRY_STORE_H_
#define DEVPREP_STORE_REGISTRY_STORE_H_

#include <cstddef>
#include <cstdint>

#include "platform/registry.h"
#include "store/key_handle.h"

namespace devprep {

// Statuses of the store. 0 is success; kStatusFailed the general failure of the whole system.
inline constexpr std::uint16_t kStatusOk = 0;
inline constexpr std::uint16_t kStatusFailed = 65535;
inline constexpr std::uint16_t kStoreRootNotOpened = 209;
inline constexpr std::uint16_t kStoreSubkeyNotOpened = 212;
inline constexpr std::uint16_t kStoreSubkeyNotMade = 216;
inline constexpr std::uint16_t kStoreDeleteFailed = 217;
inline constexpr std::uint16_t kStoreFirstValueFailed = 220;

// The tape engine key, opened with full access. Empty when it does not open.
KeyHandle StoreOpenRoot();

// The same; what is missing of its path is created level by level.
KeyHandle StoreCreateRoot();

// A sub-key is named as a direct child of the tape engine key, which has to open with full access
// for it. Only StoreCreateSubkey, and the writers that name a sub-key, create both.

// Opens a sub-key. Empty when it does not open.
KeyHandle StoreOpenSubkey(const char* name, REGSAM access);

// Opens a sub-key with full access, or creates it. Unless null, *key gets it. Returns 0; 209 no
// tape engine key; 216 no sub-key.
std::uint16_t StoreCreateSubkey(const char* name, KeyHandle* key = nullptr);

bool StoreSubkeyExists(const char* name);

// The number of consecutive sub-keys with a prefix and a number, from 0, at most limit.
std::uint16_t StoreCountNumbered(const char* prefix, std::uint16_t limit);

// Deletes a sub-key that has none of its own. Returns 0, 209 or 217.
std::uint16_t StoreDeleteSubkey(const char* name);

// Reads a text into buffer (size bytes, always NUL-terminated). A text that fits takes the place of
// default_text, also one that was stored without NUL; the bytes of another type are laid over it; a
// value without bytes leaves it. An empty handle has no values. Returns the length of the text.
std::size_t StoreGetString(const KeyHandle& key, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size);
std::size_t StoreGetString(const char* subkey, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size);

// Reads a 32-bit number. Returns default_value when it is missing, too long or of another type.
std::uint32_t StoreGetDword(const KeyHandle& key, const char* value_name,
                            std::uint32_t default_value);
std::uint32_t StoreGetDword(const char* subkey, const char* value_name,
                            std::uint32_t default_value);

// Reads the bytes of a value that fits, of any type, into data (size bytes), which it leaves as it
// was otherwise.
void StoreGetBytes(const KeyHandle& key, const char* value_name, void* data, std::size_t size);

// Reads the value at enumeration index 0: its name and its data, of any type. Sizes in bytes, in
// and out; the name's counts the NUL on the way in only. Returns 0; 220 no value, or one that does
// not fit.
std::uint16_t StoreGetFirstValue(const KeyHandle& key, char* name, DWORD* name_size, void* data,
                                 DWORD* size);

// Write a value. Return 0 or 65535. A text is written with its NUL, StoreSetStringSized writes
// exactly size bytes of it.
std::uint16_t StoreSetString(const KeyHandle& key, const char* value_name, const char* text);
std::uint16_t StoreSetStringSized(const char* subkey, const char* value_name, const char* text,
                                  std::size_t size);
std::uint16_t StoreSetDword(const KeyHandle& key, const char* value_name, std::uint32_t value);
std::uint16_t StoreSetDword(const char* subkey, const char* value_name, std::uint32_t value);
std::uint16_t StoreSetBinary(const KeyHandle& key, const char* value_name, const void* data,
                             std::size_t size);

// Deletes a value. Returns 0, 209, 212 or 217.
std::uint16_t StoreDeleteValue(const char* subkey, const char* value_name);

}  // namespace devprep

#endif  // DEVPREP_STORE_REGISTRY_STORE_H_
