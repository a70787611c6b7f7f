// The key and value operations on which every configuration record rests. Each opens the tape
// engine key afresh, does one thing and closes what it opened.
#ifndef DEVPREP_STORE_REGISTRY_STORE_H_
#define DEVPREP_STORE_REGISTRY_STORE_H_

#include <cstddef>
#include <cstdint>

#include "platform/registry.h"

namespace devprep {

// Statuses of the store. 0 is success; kStatusFailed the general failure of the whole system.
inline constexpr std::uint16_t kStatusOk = 0;
inline constexpr std::uint16_t kStatusFailed = 65535;
inline constexpr std::uint16_t kStoreRootNotOpened = 209;
inline constexpr std::uint16_t kStoreNoKeyInformation = 210;
inline constexpr std::uint16_t kStoreValueFailed = 211;
inline constexpr std::uint16_t kStoreSubkeyNotOpened = 212;
inline constexpr std::uint16_t kStoreNoSubkey = 213;
inline constexpr std::uint16_t kStoreWrongType = 215;
inline constexpr std::uint16_t kStoreSubkeyNotMade = 216;
inline constexpr std::uint16_t kStoreDeleteFailed = 217;
inline constexpr std::uint16_t kStoreStringNotWritten = 218;
inline constexpr std::uint16_t kStoreFirstValueFailed = 220;

// Results of StoreGetBinary.
inline constexpr std::uint32_t kBinaryOk = 0;
inline constexpr std::uint32_t kBinaryRootNotOpened = 1;
inline constexpr std::uint32_t kBinaryNoSubkey = 3;
inline constexpr std::uint32_t kBinaryValueFailed = 4;
inline constexpr std::uint32_t kBinaryEmptyName = 5;
inline constexpr std::uint32_t kBinaryNoName = 6;

// Handles of the five keys SOFTWARE, maker, product, Base and TapeEngine; null: not open.
inline constexpr std::size_t kRootLevels = 5;
struct TapeEngineKeyChain {
  HKEY levels[kRootLevels];
};

// Opens the tape engine key with full access in one step. Never creates anything. Returns the key,
// or null.
HKEY StoreOpenRoot(TapeEngineKeyChain* chain);

// Opens the five levels one below the other, creating what is missing. Returns the tape engine key,
// or null with nothing left open.
HKEY StoreCreateRoot(TapeEngineKeyChain* chain);

// Closes what is open in the chain, from the last level to the first. Returns 0.
int StoreCloseRoot(TapeEngineKeyChain* chain);

// Reads a value of the sub-key (null: of parent itself) into data. *size: bytes of room, then bytes
// read. Returns 0; 212 the sub-key does not open; 211 absent or larger than the room; 215 another
// type than wanted, data is then filled all the same.
std::uint16_t StoreQueryValue(HKEY parent, const char* subkey, const char* value_name, void* data,
                              DWORD* size, DWORD type);

// Writes a value of the sub-key, which is created when missing. Returns 0; 216 neither opened nor
// created; 211 not written.
std::uint16_t StoreSetValue(HKEY parent, const char* subkey, const char* value_name,
                            const void* data, DWORD size, DWORD type);

// The operations below name a direct child of the tape engine key. Only those that write a value or
// create a sub-key create the tape engine key.

// Reads a text into buffer (size bytes, always NUL-terminated). The bytes of a value that fits, of
// any type, are laid over default_text: one without bytes leaves it. Returns the length of the
// text.
std::size_t StoreGetString(const char* subkey, const char* value_name, const char* default_text,
                           char* buffer, std::size_t size);

// Reads a 32-bit number; subkey null: of the tape engine key itself. Returns default_value when it
// is missing or of another type.
std::uint32_t StoreGetDword(const char* subkey, const char* value_name,
                            std::uint32_t default_value);

// Write a value. Return 0 or 65535. StoreSetStringSized writes exactly size bytes of text.
std::uint16_t StoreSetDword(const char* subkey, const char* value_name, std::uint32_t value);
std::uint16_t StoreSetStringSized(const char* subkey, const char* value_name, const char* text,
                                  std::size_t size);
std::uint16_t StoreSetBinary(const char* subkey, const char* value_name, const void* data,
                             std::size_t size);

// Writes a text with its NUL. Returns 0; 209 no tape engine key; 216 no sub-key; 218 not written.
std::uint16_t StoreSetString(const char* subkey, const char* value_name, const char* text);

// Reads bytes into data. *size: room, then bytes read. Returns a kBinary result; with
// kBinaryValueFailed the bytes of a value of another type have been read.
std::uint32_t StoreGetBinary(const char* subkey, const char* value_name, void* data, DWORD* size);

// Stores the number of values of the sub-key in *count. Returns 0, 209, 210, 212 or 213.
std::uint16_t StoreCountValues(const char* subkey, std::uint16_t* count);

// Creates a sub-key, or leaves the one that exists. Returns 0, 209 or 216.
std::uint16_t StoreCreateSubkey(const char* name);

// Deletes a sub-key that has none of its own. Returns 0, 209 or 217.
std::uint16_t StoreDeleteSubkey(const char* name);

// Reads the value at enumeration index 0: its name, type and data. Sizes in bytes, in and out; the
// name's counts the NUL on the way in only. Returns 0; 209 a key does not open; 220 no value, or
// one that does not fit.
std::uint16_t StoreGetFirstValue(const char* subkey, char* name, DWORD* name_size, DWORD* type,
                                 void* data, DWORD* size);

// Deletes a value. Returns 0, 209, 212 or 217.
std::uint16_t StoreDeleteValue(const char* subkey, const char* value_name);

}  // namespace devprep

#endif  // DEVPREP_STORE_REGISTRY_STORE_H_
