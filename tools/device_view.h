// The configured devices with what a person wants to know beside what the exports tell.
#ifndef DEVPREP_TOOLS_DEVICE_VIEW_H_
#define DEVPREP_TOOLS_DEVICE_VIEW_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "records/device_record.h"

namespace devprep::tool {

struct DeviceView {
  DeviceInfo info = {};      // as SetUpGetDeviceInfo reports it
  DeviceRecord record = {};  // as it is stored
  bool masked = false;       // reported as unknown because it is fibre-attached
  std::vector<int> raids;    // RAIDs that it is a member of

  DeviceAddress Address() const { return record.Address; }
  // The type in words; of a masked device its real type, marked.
  std::string TypeText() const;
  std::string Description() const;
  // "0" or "0, 1", for a changer with its status.
  std::string RaidText() const;
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

// Why a device is not in the view.
std::string ExplainNoDevice(std::uint16_t number, const DeviceViews& views);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DEVICE_VIEW_H_
