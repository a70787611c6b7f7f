// A hardware source whose devices are asked: all requests of an announced pass are in flight at
// once, each has a time limit, and no answer is believed unchecked.
#ifndef DEVPREP_PLATFORM_HARDWARE_ASKED_SOURCE_H_
#define DEVPREP_PLATFORM_HARDWARE_ASKED_SOURCE_H_

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
#include <vector>

#include "platform/hardware/hardware_source.h"
#include "platform/hardware/scsi_machine.h"

namespace devprep {

// How far the asking has come, for a person who waits.
struct AskingProgress {
  std::size_t units = 0;          // asked
  std::size_t finished = 0;       // of these: have answered, or will not
  std::vector<std::string> slow;  // of these: those that take longer than usual, by name
  std::chrono::milliseconds elapsed{0};
};
using ProgressListener = std::function<void(const AskingProgress&)>;

// Calls a listener while several devices are asked, last when all have finished. Null: nobody.
void SetProgressListener(ProgressListener listener);

// The environment variable with the time limit of one request in seconds, and the limit without it.
inline constexpr const char* kTimeLimitVariable = "DEVPREP_TIMEOUT";
inline constexpr std::chrono::milliseconds kDefaultTimeLimit{10'000};

// A time limit in seconds as text: a number above 0, at most 600. Nothing for any other text.
std::optional<std::chrono::milliseconds> ParseTimeLimit(const std::string& seconds);

// The time limit in force.
std::chrono::milliseconds TimeLimit();

enum class Question : std::size_t { kStandardInquiry, kSerialNumber, kWorldWideId };
inline constexpr std::size_t kQuestionCount = 3;

class AskedSource : public HardwareSource {
 public:
  explicit AskedSource(std::unique_ptr<ScsiMachine> machine) : machine_(std::move(machine)) {}

  bool Renew() override;
  std::string Loss() const override { return machine_->Loss(); }
  std::shared_ptr<RegistryKey> Branch() override { return machine_->Branch(); }
  void Announce(std::span<const ScsiAddress> units) override;
  std::optional<std::string> StandardInquiry(const ScsiAddress& address) override;
  std::optional<std::string> VitalProductData(const ScsiAddress& address,
                                              std::uint32_t page) override;
  std::optional<std::string> WorldWideId(const ScsiAddress& address) override;
  UnitCondition Condition(const ScsiAddress& address) const override;

  // Asks units for their standard inquiry data, which the first request for it still gets. For a
  // machine that has no other way to learn what its units are.
  std::vector<std::optional<std::string>> LookAhead(std::span<const ScsiAddress> units);

 private:
  // What this transaction knows of a unit.
  struct Unit {
    std::array<std::optional<std::string>, kQuestionCount> answers;
    std::array<bool, kQuestionCount> answered{};  // or refused: and not yet asked for
    std::optional<std::chrono::microseconds> time_to_answer;
    std::string problem;
    bool silent = false;  // is not asked again
  };
  struct Round;

  std::optional<std::string> Answer(const ScsiAddress& address, Question question);
  void Ask(std::span<const ScsiAddress> units, std::span<const Question> questions);
  void Start(Round& round, const ScsiAddress& address, std::span<const Question> questions);
  void Finish(Round& round, const FinishedCommand& finished);
  void Silence(Round& round, const ScsiAddress& address, const std::string& problem);

  std::unique_ptr<ScsiMachine> machine_;
  std::map<ScsiAddress, Unit> units_;
  std::uint64_t last_ticket_ = 0;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_ASKED_SOURCE_H_
