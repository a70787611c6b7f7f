// What stands behind the SCSI pass-through calls and the registry branch HARDWARE: one machine's
// devices, wherever they come from.
#ifndef DEVPREP_PLATFORM_HARDWARE_HARDWARE_SOURCE_H_
#define DEVPREP_PLATFORM_HARDWARE_HARDWARE_SOURCE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/raw_scsi.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// How a unit fared when it was last asked.
struct UnitCondition {
  std::optional<std::chrono::microseconds> time_to_answer;  // of the slowest of its answers
  std::string problem;      // why it gave no answer, or one that cannot be used; empty: none
  std::string no_elements;  // why a changer does not report its elements; empty: not known
};

// A unit that is attached, but does not tell what it is.
struct SilentUnit {
  ScsiAddress address;
  std::string name;     // vendor and product or the like, printable; may be empty
  std::string reason;   // printable
  bool listed = false;  // in the device map, which then knows it from elsewhere
};

class HardwareSource {
 public:
  HardwareSource() = default;
  HardwareSource(const HardwareSource&) = delete;
  HardwareSource& operator=(const HardwareSource&) = delete;
  virtual ~HardwareSource() = default;

  // A transaction begins: what was remembered for the last one is forgotten. False when the source
  // is of no use any more and must be opened again.
  virtual bool Renew() { return true; }

  // Why the whole source was lost while it was in use. Empty while it was not.
  virtual std::string ConnectionError() const { return {}; }

  // The units that did not answer in this transaction, or while the source was opened for it.
  virtual std::vector<SilentUnit> SilentUnits() { return {}; }

  // The key HARDWARE with "DEVICEMAP\Scsi" below it, as the operating system's device map has it.
  // Null when this machine has no such key.
  virtual std::shared_ptr<RegistryKey> DeviceMap() = 0;

  // Asks these units at once for what the calls below return. An answer holds until the transaction
  // ends: what is read in it belongs together, and a library is not asked twice for one picture.
  virtual void Prefetch(std::span<const ScsiAddress> /*units*/) {}

  // The device's answer in bytes, or nothing when it does not answer.
  virtual std::optional<std::string> StandardInquiry(const ScsiAddress& address) = 0;
  virtual std::optional<std::string> VitalProductData(const ScsiAddress& address,
                                                      std::uint32_t page) = 0;
  virtual std::optional<std::string> WorldWideId(const ScsiAddress& address) = 0;

  // Asks these units at once for all of the above, and by their type in the device map for what the
  // calls below return.
  virtual void PrefetchLibrary(std::span<const ScsiAddress> units) { Prefetch(units); }

  // Of a changer: mode page 1Dh, and the answer to READ ELEMENT STATUS; of a tape drive: vital
  // product data page B4h with its header (element_pages.h). Nothing when it does not answer.
  virtual std::optional<std::string> ElementAddressPage(const ScsiAddress& /*changer*/) {
    return std::nullopt;
  }
  virtual std::optional<std::string> ElementStatusData(const ScsiAddress& /*changer*/) {
    return std::nullopt;
  }
  virtual std::optional<std::string> DriveElementPage(const ScsiAddress& /*drive*/) {
    return std::nullopt;
  }

  // The names that this machine has for a unit, as paths such as /dev/nst0.
  virtual std::vector<std::string> NodeNames(const ScsiAddress& /*address*/) { return {}; }

  // How a unit fared in this transaction.
  virtual UnitCondition Condition(const ScsiAddress& /*address*/) const { return {}; }
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_HARDWARE_SOURCE_H_
