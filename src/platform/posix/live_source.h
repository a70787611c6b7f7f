// The SCSI devices of this Linux machine: listed by sysfs, asked through the SCSI generic driver.
#ifndef DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_
#define DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_

#include <memory>
#include <string>

#include "platform/hardware/hardware_source.h"
#include "platform/result.h"

namespace devprep {

// Hosts are ports, numbered densely in ascending host order; a host's channels are buses. Units
// beyond what the device map can list are left out, each with a note.
Result<std::unique_ptr<HardwareSource>> OpenLive(const std::string& sysfs = "/sys",
                                                 const std::string& devices = "/dev");

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_
