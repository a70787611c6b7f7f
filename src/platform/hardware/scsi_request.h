// One thing that a unit is asked, in as many commands as it takes.
#ifndef DEVPREP_PLATFORM_HARDWARE_SCSI_REQUEST_H_
#define DEVPREP_PLATFORM_HARDWARE_SCSI_REQUEST_H_

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/hardware/scsi_pages.h"
#include "platform/hardware/scsi_transport.h"
#include "platform/result.h"

namespace devprep {

struct ElementAddressAssignment;

class ScsiRequest {
 public:
  ScsiRequest() = default;
  ScsiRequest(const ScsiRequest&) = delete;
  ScsiRequest& operator=(const ScsiRequest&) = delete;
  virtual ~ScsiRequest() = default;

  // The command to send next.
  virtual ScsiCommand Command() const = 0;
  // Takes what became of that command, which is good or refused. Whether another one is to be sent.
  virtual bool Take(const FinishedCommand& finished) = 0;
  // Takes note of what another request of the same unit has found out.
  virtual void Learn(const ElementAddressAssignment& /*addresses*/) {}
  // The answer, when no other command is to be sent.
  virtual Result<std::string> Answer() = 0;
};

// One command, whose answer is checked.
class PageRequest : public ScsiRequest {
 public:
  using Check = std::function<Result<std::string>(std::string_view received)>;
  PageRequest(const ScsiCommand& command, Check check)
      : command_(command), check_(std::move(check)) {}

  ScsiCommand Command() const override { return command_; }
  bool Take(const FinishedCommand& finished) override {
    answer_ = finished.outcome.status == CommandStatus::kGood
                  ? check_(finished.data)
                  : Result<std::string>(Error{finished.outcome.reason});
    return false;
  }
  Result<std::string> Answer() override { return answer_; }

 private:
  ScsiCommand command_;
  Check check_;
  Result<std::string> answer_ = Error{};
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_SCSI_REQUEST_H_
