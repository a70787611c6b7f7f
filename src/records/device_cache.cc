#include "records/device_cache.h"

#include <cstring>

#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::size_t kDeviceNumbers = 65536;
constexpr std::size_t kAddressSlots = 2 * kMaxCachedRecords;
constexpr std::uint16_t kEmpty = 0;  // in both indexes; otherwise an entry's place plus 1

struct Cache {
  std::int32_t entry_count;
  DeviceRecord entries[kMaxCachedRecords];
  bool count_known;
  std::uint16_t device_count;
  // Where the entry of a device number is.
  std::uint16_t by_number[kDeviceNumbers];
  // Where the entry of an address is: a hash table of the devices 0 to indexed_count - 1, of those
  // at one address the lowest.
  std::uint16_t by_address[kAddressSlots];
  std::uint16_t indexed_count;
};

constinit Cache DeviceInfoCache = {};

std::size_t HashOf(const DeviceAddress& address) {
  const std::uint64_t packed = static_cast<std::uint64_t>(address.Board) << 48 |
                               static_cast<std::uint64_t>(address.Bus) << 32 |
                               static_cast<std::uint64_t>(address.ScsiId) << 16 | address.Lun;
  return static_cast<std::size_t>((packed * 0x9E3779B97F4A7C15U) >> 32) % kAddressSlots;
}

// The slot of the address: its own, or the empty one where it belongs. The table is never more than
// half full.
std::uint16_t* AddressSlot(const DeviceAddress& address) {
  std::size_t at = HashOf(address);
  while (DeviceInfoCache.by_address[at] != kEmpty &&
         DeviceInfoCache.entries[DeviceInfoCache.by_address[at] - 1].Address != address) {
    at = (at + 1) % kAddressSlots;
  }
  return &DeviceInfoCache.by_address[at];
}

// The cached record of a device, read now if need be. *status tells why it is null; null with
// status 0: it was read into uncached, but there is no room to keep it.
const DeviceRecord* CachedRecord(std::uint16_t number, DeviceRecord* uncached,
                                 std::uint16_t* status) {
  *status = kStatusOk;
  std::uint16_t* place = &DeviceInfoCache.by_number[number];
  if (*place == kEmpty) {
    *status = ReadDeviceRecord(uncached);
    if (*status != kStatusOk) return nullptr;
    if (DeviceInfoCache.entry_count == static_cast<std::int32_t>(kMaxCachedRecords)) {
      return nullptr;
    }
    DeviceInfoCache.entries[DeviceInfoCache.entry_count] = *uncached;
    *place = static_cast<std::uint16_t>(++DeviceInfoCache.entry_count);
  }
  return &DeviceInfoCache.entries[*place - 1];
}

}  // namespace

std::uint16_t GetDeviceCount() {
  if (!DeviceInfoCache.count_known) {
    CountDeviceRecords(&DeviceInfoCache.device_count);
    DeviceInfoCache.count_known = true;
  }
  return DeviceInfoCache.device_count;
}

std::uint16_t GetDeviceRecord(DeviceRecord* record) {
  std::uint16_t status = kStatusOk;
  const DeviceRecord* cached = CachedRecord(record->Number, record, &status);
  if (cached != nullptr) *record = *cached;
  return status;
}

std::uint16_t FindDeviceAt(const DeviceAddress& address, std::uint16_t* number) {
  const std::uint16_t indexed = *AddressSlot(address);
  if (indexed != kEmpty) {
    *number = DeviceInfoCache.entries[indexed - 1].Number;
    return kStatusOk;
  }
  const std::uint16_t count = GetDeviceCount();
  for (std::uint16_t n = DeviceInfoCache.indexed_count; n < count; ++n) {
    DeviceRecord read = {};
    read.Number = n;
    std::uint16_t status = kStatusOk;
    const DeviceRecord* cached = CachedRecord(n, &read, &status);
    if (status != kStatusOk) return status;
    const DeviceRecord& record = cached != nullptr ? *cached : read;
    if (cached != nullptr && n == DeviceInfoCache.indexed_count) {
      std::uint16_t* slot = AddressSlot(record.Address);
      if (*slot == kEmpty) *slot = DeviceInfoCache.by_number[n];
      ++DeviceInfoCache.indexed_count;
    }
    if (record.Address == address) {
      *number = n;
      return kStatusOk;
    }
  }
  return kStatusFailed;
}

void ResetDeviceCache() {
  for (std::int32_t i = 0; i < DeviceInfoCache.entry_count; ++i) {
    DeviceInfoCache.by_number[DeviceInfoCache.entries[i].Number] = kEmpty;
  }
  std::memset(DeviceInfoCache.by_address, 0, sizeof DeviceInfoCache.by_address);
  DeviceInfoCache.entry_count = 0;
  DeviceInfoCache.count_known = false;
  DeviceInfoCache.device_count = 0;
  DeviceInfoCache.indexed_count = 0;
}

}  // namespace devprep
