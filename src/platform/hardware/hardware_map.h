// The branch HARDWARE, as the operating system's device map has it: its keys and words.
#ifndef DEVPREP_PLATFORM_HARDWARE_HARDWARE_MAP_H_
#define DEVPREP_PLATFORM_HARDWARE_HARDWARE_MAP_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/hardware/device_map_names.h"
#include "platform/raw_scsi.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// Of a unit in a capture: the device's answers, beside what a device map holds.
inline constexpr const char* kInquiryDataValue = "InquiryData";
inline constexpr const char* kSerialNumberPageValue = "UnitSerialNumberPage";
inline constexpr const char* kWorldWideIdValue = "WorldWideId";
// Of a changer and of a drive (element_pages.h).
inline constexpr const char* kElementAddressValue = "ElementAddressAssignment";
inline constexpr const char* kElementStatusValue = "ElementStatus";
inline constexpr const char* kDriveElementValue = "DataTransferElementAddress";
// The machine's names for a unit, a blank between any two.
inline constexpr const char* kNodeNamesValue = "NodeNames";

// The names in such a value, and such a value's text of names, without its NUL.
std::vector<std::string> SplitNodeNames(const std::string& value);
std::string JoinNodeNames(const std::vector<std::string>& names);

// "port:bus:target:lun", for messages.
std::string AddressText(const ScsiAddress& address);

// The path of the device map below HARDWARE.
const std::string& DeviceMapPath();

// The path of a unit's key below the device map.
std::string UnitKeyPath(const ScsiAddress& address);

// A branch with a device map that lists nothing.
std::shared_ptr<RegistryKey> MakeHardwareBranch();

// Adds a port with its host adapter's driver.
void AddPort(RegistryKey& branch, std::uint16_t port, std::string_view driver);

// Adds a unit. identifier: its inquiry text. peripheral_type: by SPC-4.
void AddUnit(RegistryKey& branch, const ScsiAddress& address, std::string_view identifier,
             std::uint8_t peripheral_type);

// The key of a port. Null when the map does not have it.
std::shared_ptr<RegistryKey> FindPort(const std::shared_ptr<RegistryKey>& branch,
                                      std::uint16_t port);

// The key of a unit. Null when the map does not have it.
std::shared_ptr<RegistryKey> FindUnit(const std::shared_ptr<RegistryKey>& branch,
                                      const ScsiAddress& address);

// The word for a unit's type in the map (device_map_names.h). Empty when the map does not have it.
std::string UnitTypeName(const std::shared_ptr<RegistryKey>& branch, const ScsiAddress& address);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_HARDWARE_MAP_H_
