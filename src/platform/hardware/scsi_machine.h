// A machine whose units can be sent commands without waiting for each answer.
#ifndef DEVPREP_PLATFORM_HARDWARE_SCSI_MACHINE_H_
#define DEVPREP_PLATFORM_HARDWARE_SCSI_MACHINE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hardware/scsi_pages.h"
#include "platform/raw_scsi.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// What became of a command.
enum class CommandStatus {
  kGood,
  kUnitAttention,  // not done: the unit wanted to tell of a change first; try again
  kRefused,        // the unit does not know the page, or is not able to answer
  kUnreachable     // the way to the unit failed
};

struct FinishedCommand {
  std::uint64_t ticket = 0;
  CommandStatus status = CommandStatus::kGood;
  std::string data;    // received, when status is kGood
  std::string reason;  // in words, when status is kUnreachable
};

class ScsiMachine {
 public:
  ScsiMachine() = default;
  ScsiMachine(const ScsiMachine&) = delete;
  ScsiMachine& operator=(const ScsiMachine&) = delete;
  virtual ~ScsiMachine() = default;

  // A transaction begins. False when the machine must be opened anew.
  virtual bool Renew() { return true; }

  // See HardwareSource.
  virtual std::string Loss() const { return {}; }
  virtual std::shared_ptr<RegistryKey> Branch() = 0;

  // The name of a unit for messages: its vendor and product, or empty.
  virtual std::string NameOf(const ScsiAddress& unit) = 0;

  // Makes ready to send to a unit. Returns why that cannot be done; empty when it can.
  virtual std::string Open(const ScsiAddress& unit) = 0;

  // Starts a command to an opened unit, which finishes under that ticket. Returns why it cannot be
  // started; empty when it was.
  virtual std::string Send(const ScsiAddress& unit, const InquiryCommand& command,
                           std::uint64_t ticket) = 0;

  // Waits until a command finishes or the time has passed. Returns what has finished.
  virtual std::vector<FinishedCommand> Wait(std::chrono::milliseconds most) = 0;

  // Gives up what is still under way to a unit; nothing of it is returned later. The counterpart of
  // Open.
  virtual void Close(const ScsiAddress& unit) = 0;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_SCSI_MACHINE_H_
