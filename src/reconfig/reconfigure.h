// The pass that carries the old device records and groups over onto the devices found now.
#ifndef DEVPREP_RECONFIG_RECONFIGURE_H_
#define DEVPREP_RECONFIG_RECONFIGURE_H_

#include <cstdint>

namespace devprep {

inline constexpr std::uint32_t kNoWorkingStorage = 63570;
inline constexpr std::uint16_t kNumberNotMapped = 65535;

// Rewrites device and group records so that device number N is entry N of FoundDevices, and records
// in LastPass what became of them. Returns 0; 63570 when there is no memory for the working
// storage, nothing is then changed.
std::uint32_t ReconfigureDevices();

// The new number of an old device in *number. Returns 0; 65535 when the old number is unknown or
// its device gone.
std::uint16_t FindNewDeviceNumber(std::uint16_t old_number, std::uint16_t* number);

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_RECONFIGURE_H_
