// Keys, values and words of the operating system's device map, HARDWARE\DEVICEMAP\Scsi in the
// registry.
#ifndef DEVPREP_PLATFORM_HARDWARE_DEVICE_MAP_NAMES_H_
#define DEVPREP_PLATFORM_HARDWARE_DEVICE_MAP_NAMES_H_

#include <cstdint>

namespace devprep {

inline constexpr const char* kHardwareKey = "HARDWARE";
inline constexpr const char* kDeviceMapKey = "DEVICEMAP";  // below HARDWARE
inline constexpr const char* kScsiMapKey = "Scsi";         // below DEVICEMAP

// Each level of the map: keys of this name and a number. Ports run densely from 0; the others are
// below a limit.
inline constexpr const char* kPortKeyPrefix = "Scsi Port ";
inline constexpr const char* kBusKeyPrefix = "Scsi Bus ";
inline constexpr const char* kTargetKeyPrefix = "Target Id ";
inline constexpr const char* kUnitKeyPrefix = "Logical Unit Id ";
inline constexpr std::uint32_t kBusLimit = 8;
inline constexpr std::uint32_t kTargetLimit = 128;
inline constexpr std::uint32_t kUnitLimit = 64;

inline constexpr const char* kDriverValue = "Driver";          // of a port
inline constexpr const char* kIdentifierValue = "Identifier";  // of a unit
inline constexpr const char* kTypeValue = "Type";              // of a unit: one of these

inline constexpr const char* kDiskWord = "DiskPeripheral";
inline constexpr const char* kTapeWord = "TapePeripheral";
inline constexpr const char* kCdRomWord = "CdRomPeripheral";
inline constexpr const char* kOpticalMemoryWord = "OpticalDiskPeripheral";
inline constexpr const char* kChangerWord = "MediumChangerPeripheral";
inline constexpr const char* kOtherWord = "OtherPeripheral";

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_DEVICE_MAP_NAMES_H_
