// A machine recorded in a file, in the place of this one's devices.
#ifndef DEVPREP_TOOLS_WINDOWS_CAPTURED_MACHINE_H_
#define DEVPREP_TOOLS_WINDOWS_CAPTURED_MACHINE_H_

#include <string>

#include "platform/hardware/hardware_source.h"
#include "platform/result.h"

namespace devprep::tool {

// Has the tool ask a capture from now on, and puts its device map in the place of the machine's.
// Within a trial. The library's own calls still go to the machine's devices.
Result<> UseCapture(const std::string& file_name);

// What is asked. Null: the machine's devices.
HardwareSource* CapturedMachine();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_WINDOWS_CAPTURED_MACHINE_H_
