#include "discovery/scsi_map.h"

#include <cstring>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "store/ascii_case.h"
#include "store/key_handle.h"
#include "store/numbered_key.h"

namespace devprep {

constinit ScsiMapTable ScsiMap = {};

namespace {

constexpr REGSAM kMapAccess = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;
constexpr const char* kMapKeys[] = {kHardwareKey, kDeviceMapKey, kScsiMapKey};

// A level of the map: keys named by a prefix and a number below limit. Ports are counted instead:
// they are taken to run densely from 0.
struct MapLevel {
  const char* prefix;
  std::uint32_t limit;
};
constexpr MapLevel kUnitLevels[] = {
    {kBusKeyPrefix, kBusLimit}, {kTargetKeyPrefix, kTargetLimit}, {kUnitKeyPrefix, kUnitLimit}};
constexpr std::size_t kUnitLevelCount = 3;

struct PeripheralWord {
  const char* word;
  std::uint8_t type;
};
constexpr PeripheralWord kPeripheralWords[] = {
    {kDiskWord, kPeripheralDisk},
    {kTapeWord, kPeripheralTape},
    {kOtherWord, kPeripheralProcessor},
    {kCdRomWord, kPeripheralCdRom},
    {kOpticalMemoryWord, kPeripheralOpticalMemory},
    {kChangerWord, kPeripheralChanger},
};

// Opens the key "Scsi" of the map. Returns 0, 209 or 212.
std::uint16_t OpenMap(KeyHandle* scsi) {
  for (const char* name : kMapKeys) {
    KeyHandle key;
    if (key.Open(*scsi ? scsi->Get() : HKEY_LOCAL_MACHINE, name, kMapAccess) != ERROR_SUCCESS) {
      return *scsi ? kMapNotOpened : kMapHardwareNotOpened;
    }
    *scsi = std::move(key);
  }
  return 0;
}

bool CountSubkeys(const KeyHandle& key, DWORD* count) {
  return RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, count, nullptr, nullptr, nullptr,
                          nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

KeyHandle OpenNumbered(const KeyHandle& parent, const char* prefix, std::uint32_t number) {
  KeyHandle key;
  key.Open(parent.Get(), NumberedKey(prefix, number).name, kMapAccess);
  return key;
}

// Reads a text value that must fit, with its NUL, into size bytes.
bool ReadText(const KeyHandle& key, const char* value_name, char* text, std::size_t size) {
  std::memset(text, 0, size);
  auto read = static_cast<DWORD>(size);
  return RegQueryValueExA(key.Get(), value_name, nullptr, nullptr, reinterpret_cast<BYTE*>(text),
                          &read) == ERROR_SUCCESS;
}

std::uint8_t PeripheralTypeOf(const char* word) {
  for (const PeripheralWord& known : kPeripheralWords) {
    if (EqualIgnoringCase(word, known.word)) return known.type;
  }
  return kPeripheralDisk;
}

void ReadUnit(const KeyHandle& unit, const std::uint32_t* address, ScsiMapTable* table) {
  ScsiMapEntry entry = {address[0], address[1], address[2], address[3], {}, 0};
  char type[kMapTypeSize + 1] = {};
  if (!ReadText(unit, kIdentifierValue, entry.Identifier, sizeof entry.Identifier) ||
      std::memchr(entry.Identifier, '\0', sizeof entry.Identifier) == nullptr ||
      !ReadText(unit, kTypeValue, type, kMapTypeSize)) {
    return;
  }
  entry.PeripheralType = PeripheralTypeOf(type);
  if (static_cast<std::size_t>(table->Count) == kMaxScsiMapEntries) {
    ++table->LeftOut;
    return;
  }
  table->Entries[table->Count++] = entry;
}

// Visits the keys of one level in ascending order. Once as many were found as parent has sub-keys,
// no further number needs to be tried.
void ScanLevel(const KeyHandle& parent, std::size_t level, std::uint32_t* address,
               ScsiMapTable* table) {
  DWORD subkeys = 0;
  const bool counted = CountSubkeys(parent, &subkeys);
  DWORD found = 0;
  for (std::uint32_t n = 0; n < kUnitLevels[level].limit && !(counted && found == subkeys); ++n) {
    const KeyHandle key = OpenNumbered(parent, kUnitLevels[level].prefix, n);
    if (!key) continue;
    ++found;
    address[level + 1] = n;
    if (level + 1 == kUnitLevelCount) {
      ReadUnit(key, address, table);
    } else {
      ScanLevel(key, level + 1, address, table);
    }
  }
}

}  // namespace

std::uint16_t CountScsiPorts(std::uint16_t* count) {
  KeyHandle scsi;
  const std::uint16_t status = OpenMap(&scsi);
  if (status != 0) return status;
  DWORD ports = 0;
  const bool counted = CountSubkeys(scsi, &ports);
  *count = counted ? static_cast<std::uint16_t>(ports) : 0;
  return counted ? 0 : kMapNoKeyInformation;
}

std::uint16_t ScanScsiDeviceMap(ScsiMapTable* table) {
  KeyHandle scsi;
  const std::uint16_t status = OpenMap(&scsi);
  if (status != 0) return status;
  table->Count = 0;
  table->LeftOut = 0;
  DWORD ports = 0;
  if (!CountSubkeys(scsi, &ports)) ports = 0;
  for (DWORD port = 0; port < ports; ++port) {
    const KeyHandle key = OpenNumbered(scsi, kPortKeyPrefix, port);
    if (!key) continue;
    std::uint32_t address[kUnitLevelCount + 1] = {port, 0, 0, 0};
    ScanLevel(key, 0, address, table);
  }
  return 0;
}

std::int32_t CountScsiMapEntries() {
  if (!ScsiMap.Scanned) {
    ScanScsiDeviceMap(&ScsiMap);
    ScsiMap.Scanned = true;
  }
  return ScsiMap.Count;
}

void ResetScsiMap() { ScsiMap = {}; }

}  // namespace devprep
