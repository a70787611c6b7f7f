// Edits of device records in words.
#ifndef DEVPREP_TOOLS_DEVICE_EDIT_TEXT_H_
#define DEVPREP_TOOLS_DEVICE_EDIT_TEXT_H_

#include <string>

#include "platform/result.h"
#include "setup/device_setup.h"

namespace devprep::tool {

// "device 4 (tape drive)". Within a session.
std::string TypedDevice(std::uint16_t number);

// Why a device with that number does not exist. Within a session.
std::string NotConfiguredText(std::uint16_t number);

// done, or why the edit was refused. Within the session of the edit.
Result<std::string> EditResult(const DeviceEdit& edit, const std::string& done);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DEVICE_EDIT_TEXT_H_
