// A hardware source whose devices are asked over a transport: all requests that are prefetched are
// in flight at once, each command has a time limit, and no answer is believed unchecked.
#ifndef DEVPREP_PLATFORM_HARDWARE_INQUIRY_SOURCE_H_
#define DEVPREP_PLATFORM_HARDWARE_INQUIRY_SOURCE_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/hardware/hardware_source.h"
#include "platform/hardware/scsi_request.h"
#include "platform/hardware/scsi_transport.h"
#include "platform/result.h"

namespace devprep {

// How far the asking has come, for a person who waits.
struct AskingProgress {
  std::size_t units = 0;          // asked
  std::size_t finished = 0;       // of these: have answered, or will not
  std::vector<std::string> slow;  // of these: those that take longer than usual, by name, printable
  std::chrono::milliseconds elapsed{0};
};
using ProgressListener = std::function<void(const AskingProgress&)>;

// Calls a listener while several devices are asked, last when all have finished. Null: nobody.
void SetProgressListener(ProgressListener listener);

// The environment variable with the time limit of one command in seconds, and the limit without it.
inline constexpr const char* kTimeLimitVariable = "DEVPREP_TIMEOUT";
inline constexpr std::chrono::milliseconds kDefaultTimeLimit{10'000};

// A time limit in seconds as text: a number above 0, at most 600.
Result<std::chrono::milliseconds> ParseTimeLimit(const std::string& seconds);

// The time limit in force.
std::chrono::milliseconds TimeLimit();

class InquirySource : public HardwareSource {
 public:
  explicit InquirySource(std::unique_ptr<ScsiTransport> transport)
      : transport_(std::move(transport)) {}

  bool Renew() override;
  std::string ConnectionError() const override { return transport_->ConnectionError(); }
  std::vector<SilentUnit> SilentUnits() override;
  std::shared_ptr<RegistryKey> DeviceMap() override { return transport_->DeviceMap(); }
  void Prefetch(std::span<const ScsiAddress> units) override;
  std::optional<std::string> StandardInquiry(const ScsiAddress& address) override;
  std::optional<std::string> VitalProductData(const ScsiAddress& address,
                                              std::uint32_t page) override;
  std::optional<std::string> WorldWideId(const ScsiAddress& address) override;
  void PrefetchLibrary(std::span<const ScsiAddress> units) override;
  std::optional<std::string> ElementAddressPage(const ScsiAddress& changer) override;
  std::optional<std::string> ElementStatusData(const ScsiAddress& changer) override;
  std::optional<std::string> DriveElementPage(const ScsiAddress& drive) override;
  std::vector<std::string> NodeNames(const ScsiAddress& address) override {
    return transport_->NodeNames(address);
  }
  UnitCondition Condition(const ScsiAddress& address) const override;

  // Asks units for their standard inquiry data. For a transport that has no other way to learn what
  // its units are.
  std::vector<std::optional<std::string>> PrefetchInquiries(std::span<const ScsiAddress> units);

 private:
  enum class Question : std::size_t {
    kStandardInquiry,
    kSerialNumber,
    kWorldWideId,
    kElementAddresses,
    kElementStatus,
    kDriveElement
  };
  static constexpr std::size_t kQuestionCount = 6;

  // What this transaction knows of a unit.
  struct Unit {
    std::array<std::optional<std::string>, kQuestionCount> answers;
    std::array<bool, kQuestionCount> answered{};  // or refused: is not asked again
    std::optional<std::chrono::microseconds> time_to_answer;
    std::string problem;
    std::string no_elements;    // of a changer: why it does not report them
    bool unresponsive = false;  // is not asked again
    bool no_inquiry = false;    // answers an inquiry with nothing that can be used
    bool disconnected = false;  // says that no device is connected
  };
  struct UnitQuestions {
    ScsiAddress unit;
    std::vector<Question> questions;
  };
  struct Exchange;
  struct Round;

  static std::unique_ptr<ScsiRequest> MakeRequest(Question question);
  std::optional<std::string> Answer(const ScsiAddress& address, Question question);
  std::string Label(const ScsiAddress& address);
  void Ask(std::span<const UnitQuestions> asked);
  void Start(Round& round, const UnitQuestions& asked);
  void Send(Round& round, Exchange exchange);
  void SendDelayed(Round& round);
  void Finish(Round& round, const FinishedCommand& finished);
  void FinishRequest(Round& round, Exchange& exchange);
  void GiveUpLate(Round& round);
  void MarkUnresponsive(Round& round, const ScsiAddress& address, const std::string& problem);
  void Tell(const Round& round, std::size_t units);

  std::unique_ptr<ScsiTransport> transport_;
  std::map<ScsiAddress, Unit> units_;
  std::uint64_t last_ticket_ = 0;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_INQUIRY_SOURCE_H_
