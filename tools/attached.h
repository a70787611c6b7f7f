// What is attached now: every unit of the device map with its answers.
#ifndef DEVPREP_TOOLS_ATTACHED_H_
#define DEVPREP_TOOLS_ATTACHED_H_

#include <optional>
#include <string>
#include <vector>

#include "platform/posix/hardware_source.h"
#include "records/device_record.h"

namespace devprep::tool {

struct AttachedUnit {
  DeviceRecord record = {};  // address, type, description, serial number and World Wide ID
  std::string driver;        // of its port
  std::optional<std::string> inquiry_data;
  std::optional<std::string> serial_number_page;
  std::optional<std::string> world_wide_id;
  UnitCondition condition;

  ScsiAddress Address() const;
};

// Asks every unit. Within a session that has hardware.
std::vector<AttachedUnit> AskAttachedUnits();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ATTACHED_H_
