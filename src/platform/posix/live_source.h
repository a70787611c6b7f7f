// The SCSI devices of this machine.
#ifndef DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_
#define DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_

#include "platform/posix/hardware_source.h"

namespace devprep {

OpenedSource OpenLive();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_LIVE_SOURCE_H_
