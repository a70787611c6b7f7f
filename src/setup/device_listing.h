// The configured devices as callers see them.
#ifndef DEVPREP_SETUP_DEVICE_LISTING_H_
#define DEVPREP_SETUP_DEVICE_LISTING_H_

#include <cstdint>

#include "devprep/devprep.h"

namespace devprep {

// Stores the number of configured devices in *count. Returns 0.
std::uint16_t SetUpGetNoOfDevices(std::uint16_t* count);

// Describes a device, fibre-attached ones masked where the product wants it. The inquiry text is
// asked from the device anew. Returns 0; 3 or 219 as ReadDeviceRecord, info is then untouched.
std::uint16_t SetUpGetDeviceInfo(std::uint16_t number, DeviceInfo* info);

// The same; with keep_types real types are reported and nothing is masked.
std::uint16_t QueryDeviceInfo(std::uint16_t number, DeviceInfo* info, bool keep_types);

}  // namespace devprep

#endif  // DEVPREP_SETUP_DEVICE_LISTING_H_
