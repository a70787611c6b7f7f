// The configuration as the registry holds it: devices, groups and tape RAIDs, read without what the
// exports do to it on the way.
#ifndef DEVPREP_TOOLS_STORED_CONFIGURATION_H_
#define DEVPREP_TOOLS_STORED_CONFIGURATION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plan_file.h"
#include "records/device_record.h"
#include "records/group_record.h"

namespace devprep::tool {

struct StoredDevice {
  DeviceRecord record = {};  // of one that is not readable little more than its number
  std::string description;   // blanks included
  bool readable = false;
};

// A member of a RAID: an address, and the device that is configured there.
struct StoredMember {
  DeviceAddress address = {};
  std::optional<std::uint16_t> device;
};

struct StoredRaid {
  std::uint16_t number = 0;
  std::uint32_t level = 0;
  std::uint32_t stripe_size = 0;
  std::uint32_t link_position = 0;
  std::vector<StoredMember> tapes;
  std::vector<StoredMember> changers;
};

// Each list in the order of the numbers, in which there may be gaps.
struct StoredConfiguration {
  std::vector<StoredDevice> devices;
  std::vector<GroupRecord> groups;
  std::vector<StoredRaid> raids;
  Digests keys;  // of the whole registry
};

// Reads the process's registry. Within a session; it changes nothing.
StoredConfiguration ReadStoredConfiguration();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_STORED_CONFIGURATION_H_
