// The way to a machine's units: commands are sent without waiting for each answer.
#ifndef DEVPREP_PLATFORM_HARDWARE_SCSI_TRANSPORT_H_
#define DEVPREP_PLATFORM_HARDWARE_SCSI_TRANSPORT_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hardware/scsi_pages.h"
#include "platform/raw_scsi.h"
#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep {

struct FinishedCommand {
  std::uint64_t ticket = 0;
  CommandOutcome outcome;
  std::string data;  // received, when the outcome is good
  Sense sense;       // of a refusal
};

class ScsiTransport {
 public:
  using Clock = std::chrono::steady_clock;

  ScsiTransport() = default;
  ScsiTransport(const ScsiTransport&) = delete;
  ScsiTransport& operator=(const ScsiTransport&) = delete;
  virtual ~ScsiTransport() = default;

  // A transaction begins. False when the transport must be opened anew.
  virtual bool Renew() { return true; }

  // See HardwareSource.
  virtual std::string ConnectionError() const { return {}; }
  virtual std::shared_ptr<RegistryKey> DeviceMap() = 0;

  // Whether there is such a unit, as far as the transport knows without asking it.
  virtual bool IsAttached(const ScsiAddress& unit) = 0;

  // The name of a unit for messages: its vendor and product, or empty.
  virtual std::string NameOf(const ScsiAddress& unit) = 0;

  // See HardwareSource.
  virtual std::vector<std::string> NodeNames(const ScsiAddress& /*unit*/) { return {}; }

  // Makes ready to send to an attached unit.
  virtual Result<> Open(const ScsiAddress& unit) = 0;

  // Starts a command to an opened unit, which finishes under that ticket.
  virtual Result<> Send(const ScsiAddress& unit, const ScsiCommand& command,
                        std::uint64_t ticket) = 0;

  // The time that limits are held against. A simulation has its own.
  virtual Clock::time_point Now() const { return Clock::now(); }

  // Waits until a command finishes or the time has passed. Returns what has finished.
  virtual std::vector<FinishedCommand> Wait(std::chrono::milliseconds max) = 0;

  // Gives up what is still under way to a unit; nothing of it is returned later. The counterpart of
  // Open.
  virtual void Close(const ScsiAddress& unit) = 0;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_SCSI_TRANSPORT_H_
