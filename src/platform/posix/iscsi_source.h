// The units behind an iSCSI portal, reached in user space.
#ifndef DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_
#define DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_

#include <memory>
#include <string>

#include "platform/hardware/hardware_source.h"
#include "platform/result.h"

namespace devprep {

// url: see iscsi_url.h. All units are on port 0, bus 0; target ids are given in ascending order of
// target name, LUNs are as the target reports them. Fails when one of the targets cannot be
// reached: to go on without its units would take them out of the configuration. A unit that its
// target reports but that does not answer is not in the device map; SilentUnits names it.
Result<std::unique_ptr<HardwareSource>> OpenIscsi(const std::string& url);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_
