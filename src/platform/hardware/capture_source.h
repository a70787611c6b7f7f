// A machine recorded in a file: the device map and the devices' answers, replayed.
#ifndef DEVPREP_PLATFORM_HARDWARE_CAPTURE_SOURCE_H_
#define DEVPREP_PLATFORM_HARDWARE_CAPTURE_SOURCE_H_

#include <memory>
#include <string>

#include "platform/hardware/hardware_source.h"
#include "platform/result.h"

namespace devprep {

// The source for a capture's text (docs/formats.md). path: named in errors.
Result<std::unique_ptr<HardwareSource>> OpenCapture(const std::string& path,
                                                    const std::string& text);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_CAPTURE_SOURCE_H_
