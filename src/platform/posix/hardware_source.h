// What stands behind the SCSI pass-through calls and the registry branch HARDWARE: one machine's
// devices, wherever they come from.
#ifndef DEVPREP_PLATFORM_POSIX_HARDWARE_SOURCE_H_
#define DEVPREP_PLATFORM_POSIX_HARDWARE_SOURCE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/posix/registry_key.h"

namespace devprep {

struct ScsiAddress {
  std::uint16_t port = 0;
  std::uint16_t bus = 0;
  std::uint16_t target = 0;
  std::uint16_t lun = 0;

  bool operator==(const ScsiAddress&) const = default;
};

class HardwareSource {
 public:
  HardwareSource() = default;
  HardwareSource(const HardwareSource&) = delete;
  HardwareSource& operator=(const HardwareSource&) = delete;
  virtual ~HardwareSource() = default;

  // The key HARDWARE with "DEVICEMAP\Scsi" below it, as the operating system's device map has it.
  // Null when this machine has no such key.
  virtual std::shared_ptr<RegistryKey> Branch() = 0;

  // The device's answer in bytes, or nothing when it does not answer.
  virtual std::optional<std::string> StandardInquiry(const ScsiAddress& address) = 0;
  virtual std::optional<std::string> VitalProductData(const ScsiAddress& address,
                                                      std::uint32_t page) = 0;
  virtual std::optional<std::string> WorldWideId(const ScsiAddress& address) = 0;
};

// A source, or the reason why there is none.
struct OpenedSource {
  std::unique_ptr<HardwareSource> source;
  std::string problem;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_HARDWARE_SOURCE_H_
