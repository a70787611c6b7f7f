// The settings of a device as people name, read and set them.
#ifndef DEVPREP_TOOLS_DEVICE_SETTINGS_H_
#define DEVPREP_TOOLS_DEVICE_SETTINGS_H_

#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "listing.h"
#include "records/device_settings.h"

namespace devprep::tool {

struct SettingInfo {
  const char* name;   // in JSON and on the command line
  const char* label;  // for people
  const char* about;  // one line of help
  std::uint16_t DeviceRecord::*field;
  std::uint16_t max;  // 0 to this can be set, but for the number that stands for not set

  // How it is stored, and for which devices.
  const DeviceSetting& Stored() const;
  // Its name within a line.
  Term Named() const;
  // Absent where it is not set.
  Value Of(const DeviceRecord& record) const;
  bool IsSet(const DeviceRecord& record) const { return record.*field != Stored().not_set; }
};

// All of them, in the order in which they are shown.
const std::array<SettingInfo, std::size(kDeviceSettings)>& DeviceSettings();

// The setting of that name. Null when there is none.
const SettingInfo* FindSetting(std::string_view name);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DEVICE_SETTINGS_H_
