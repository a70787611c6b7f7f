// The configured devices with what a person wants to know beside what the exports tell.
#ifndef DEVPREP_TOOLS_DEVICE_VIEW_H_
#define DEVPREP_TOOLS_DEVICE_VIEW_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "listing.h"
#include "records/device_record.h"

namespace devprep::tool {

struct DeviceView {
  DeviceInfo info = {};            // as SetUpGetDeviceInfo reports it
  DeviceRecord record = {};        // as it is stored
  bool masked = false;             // reported as unknown because it is fibre-attached
  std::vector<int> raids;          // RAIDs that it is a member of
  std::string serial_number;       // as stored; whole where the attached device's begins with that
  std::vector<std::string> nodes;  // of what is at its address, as paths

  DeviceAddress Address() const { return record.Address; }
  // Of a masked device its real type.
  std::uint16_t Type() const { return masked ? record.Type : info.Type; }
  std::string Description() const;
};

// A device key whose record cannot be read, and the status that says why.
struct UnreadableDevice {
  std::uint16_t number = 0;
  std::uint16_t status = 0;
};

struct DeviceViews {
  std::uint16_t count = 0;  // configured devices
  std::vector<DeviceView> devices;
  std::vector<UnreadableDevice> unreadable;
  std::vector<RaidInfo> raids;
};

// All configured devices, or only the one of that number, with all RAIDs. Within a session.
DeviceViews ViewDevices(std::optional<std::uint16_t> only = std::nullopt);

// How devices are listed and shown in full.
const Listing<DeviceView>& DeviceListing();

// What to say where no device is configured.
inline constexpr const char* kNoDevicesText =
    "No devices are configured. 'devprep configure' looks for what is attached.";

// The devices that cannot be read: below a listing a line for each, and in JSON.
void PrintUnreadable(const DeviceViews& views);
Json UnreadableJson(const DeviceViews& views);

// "device 3 cannot be read", and why.
std::string ExplainUnreadable(const UnreadableDevice& device);

// Why a device is not in the view.
std::string ExplainNoDevice(std::uint16_t number, const DeviceViews& views);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DEVICE_VIEW_H_
