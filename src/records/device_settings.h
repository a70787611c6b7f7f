// The settings of a device: numbers that are the tape engine's own, carried and stored with its
// record.
#ifndef DEVPREP_RECORDS_DEVICE_SETTINGS_H_
#define DEVPREP_RECORDS_DEVICE_SETTINGS_H_

#include <cstdint>

#include "records/device_record.h"

namespace devprep {

// Stored as a 32-bit number, of which the low 16 bits count.
struct DeviceSetting {
  const char* value_name;
  std::uint16_t DeviceRecord::*field;
  std::uint16_t not_set;  // the field of a device without the value; never stored
  bool changers_only;
};

// In the order in which they are stored.
inline constexpr DeviceSetting kDeviceSettings[] = {
    {"BarCodeInstall", &DeviceRecord::BarCodeInstall, 0, true},
    {"SetBarCodeTapeToBlank", &DeviceRecord::SetBarCodeTapeToBlank, 0, true},
    {"SetAutoCleaningTime", &DeviceRecord::SetAutoCleaningTime, 0, true},
    {"ReadShots", &DeviceRecord::ReadShots, 0, false},
    {"WriteShots", &DeviceRecord::WriteShots, 0, false},
    {"CleaningTapeSlot", &DeviceRecord::CleaningTapeSlot, kNotSet, false},
    {"DefaultBlockFactor", &DeviceRecord::DefaultBlockFactor, kNotSet, false},
};

// Stores one setting of a device alone, in a key that is there; one that is not set is deleted.
// Returns 0, 212 no such key, 65535 not written.
std::uint16_t WriteDeviceSetting(std::uint16_t number, const DeviceSetting& setting,
                                 std::uint16_t value);

}  // namespace devprep

#endif  // DEVPREP_RECORDS_DEVICE_SETTINGS_H_
