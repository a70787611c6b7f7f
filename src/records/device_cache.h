// The device records and the device count that were read once, kept until they are emptied as a
// whole.
#ifndef DEVPREP_RECORDS_DEVICE_CACHE_H_
#define DEVPREP_RECORDS_DEVICE_CACHE_H_

#include <cstddef>
#include <cstdint>

#include "records/device_record.h"

namespace devprep {

inline constexpr std::size_t kMaxCachedRecords = 256;

// The number of configured devices, as the registry had it at the first call.
std::uint16_t GetDeviceCount();

// Fills a zero-filled record with its Number set, as the registry had it when that device was first
// asked for. Beyond kMaxCachedRecords devices the registry is read each time. Returns 0; 3 or 219
// as ReadDeviceRecord, nothing is then kept.
std::uint16_t GetDeviceRecord(DeviceRecord* record);

// The lowest configured device at an address. Returns 0; 65535 when there is none; the status of
// the first device record below it that cannot be read.
std::uint16_t FindDeviceAt(const DeviceAddress& address, std::uint16_t* number);

// Empties the cache.
void ResetDeviceCache();

}  // namespace devprep

#endif  // DEVPREP_RECORDS_DEVICE_CACHE_H_
