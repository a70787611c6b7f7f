#include "platform/hardware/asked_source.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"

namespace devprep {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLongestTimeLimit = 600;
// A unit that takes longer than this is named to a person who waits, who hears this often.
constexpr std::chrono::milliseconds kSlow{1000};
constexpr std::chrono::milliseconds kProgressStep{250};
// Unit attentions of one unit queue up: for power on, for a changed medium, for a changed set of
// units.
constexpr int kMostAttempts = 8;

constexpr std::array<Question, kQuestionCount> kAllQuestions = {
    Question::kStandardInquiry, Question::kSerialNumber, Question::kWorldWideId};

ProgressListener& Listener() {
  static ProgressListener listener;
  return listener;
}

InquiryCommand CommandFor(Question question) {
  switch (question) {
    case Question::kSerialNumber:
      return VitalProductDataCommand(kUnitSerialNumberPage);
    case Question::kWorldWideId:
      return VitalProductDataCommand(kDeviceIdentificationPage);
    case Question::kStandardInquiry:
      break;
  }
  return StandardInquiryCommand();
}

CheckedAnswer Check(Question question, std::string_view received) {
  if (question == Question::kStandardInquiry) return CheckStandardInquiry(received);
  if (question == Question::kSerialNumber) {
    return CheckVitalProductData(received, kUnitSerialNumberPage);
  }
  CheckedAnswer page = CheckVitalProductData(received, kDeviceIdentificationPage);
  return page.bytes ? WorldWideIdIn(*page.bytes) : page;
}

std::string SecondsText(std::chrono::milliseconds time) {
  std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text + " s";
}

std::size_t IndexOf(Question question) { return static_cast<std::size_t>(question); }

}  // namespace

void SetProgressListener(ProgressListener listener) { Listener() = std::move(listener); }

std::optional<std::chrono::milliseconds> ParseTimeLimit(const std::string& seconds) {
  char* end = nullptr;
  const double number = std::strtod(seconds.c_str(), &end);
  if (seconds.empty() || *end != '\0' || !(number > 0 && number <= kLongestTimeLimit)) {
    return std::nullopt;
  }
  return std::chrono::milliseconds(std::llround(std::ceil(number * 1000)));
}

std::chrono::milliseconds TimeLimit() {
  const char* text = std::getenv(kTimeLimitVariable);
  if (text == nullptr || *text == '\0') return kDefaultTimeLimit;
  const auto limit = ParseTimeLimit(text);
  static bool reported = false;
  if (!limit && !std::exchange(reported, true)) {
    ReportMessage(Severity::kWarning, std::string(kTimeLimitVariable) + ": '" + text +
                                          "' is no number of seconds above 0, up to 600; " +
                                          SecondsText(kDefaultTimeLimit) + " are used");
  }
  return limit.value_or(kDefaultTimeLimit);
}

// One asking of several units.
struct AskedSource::Round {
  struct Command {
    ScsiAddress unit;
    Question question;
    int attempts;
  };
  std::map<std::uint64_t, Command> under_way;      // by ticket
  std::map<ScsiAddress, std::size_t> outstanding;  // commands of each unit
  std::vector<std::string> problems;
  Clock::time_point start = Clock::now();
};

bool AskedSource::Renew() {
  units_.clear();
  return machine_->Renew();
}

// Reported once the asking is over, when a line that shows its progress is gone.
void AskedSource::Silence(Round& round, const ScsiAddress& address, const std::string& problem) {
  Unit& unit = units_[address];
  if (unit.silent) return;
  unit.silent = true;
  unit.problem = problem;
  const std::string name = machine_->NameOf(address);
  round.problems.push_back(AddressText(address) + (name.empty() ? "" : " " + name) + ": " +
                           problem);
}

void AskedSource::Start(Round& round, const ScsiAddress& address,
                        std::span<const Question> questions) {
  if (std::string problem = machine_->Open(address); !problem.empty()) {
    Silence(round, address, problem);
    return;
  }
  for (const Question question : questions) {
    const std::uint64_t ticket = ++last_ticket_;
    if (std::string problem = machine_->Send(address, CommandFor(question), ticket);
        !problem.empty()) {
      Silence(round, address, problem);
      break;
    }
    round.under_way[ticket] = {address, question, 1};
    ++round.outstanding[address];
  }
  if (!round.outstanding.contains(address)) machine_->Close(address);
}

void AskedSource::Finish(Round& round, const FinishedCommand& finished) {
  const auto at = round.under_way.find(finished.ticket);
  if (at == round.under_way.end()) return;
  Round::Command command = at->second;
  round.under_way.erase(at);
  Unit& unit = units_[command.unit];
  if (finished.status == CommandStatus::kUnitAttention && command.attempts < kMostAttempts) {
    const std::uint64_t ticket = ++last_ticket_;
    const std::string problem = machine_->Send(command.unit, CommandFor(command.question), ticket);
    if (problem.empty()) {
      ++command.attempts;
      round.under_way[ticket] = command;
      return;
    }
    Silence(round, command.unit, problem);
  } else if (finished.status == CommandStatus::kUnreachable) {
    Silence(round, command.unit, finished.reason);
  } else {
    unit.answered[IndexOf(command.question)] = true;
    unit.time_to_answer =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - round.start);
    if (finished.status == CommandStatus::kGood) {
      CheckedAnswer checked = Check(command.question, finished.data);
      if (!checked.bytes) unit.problem = checked.problem;
      unit.answers[IndexOf(command.question)] = std::move(checked.bytes);
    } else if (command.question == Question::kStandardInquiry) {
      unit.problem = "refuses an inquiry";
    }
  }
  if (--round.outstanding[command.unit] == 0) {
    round.outstanding.erase(command.unit);
    machine_->Close(command.unit);
  }
}

void AskedSource::Ask(std::span<const ScsiAddress> units, std::span<const Question> questions) {
  const std::chrono::milliseconds limit = TimeLimit();
  Round round;
  for (const ScsiAddress& address : units) {
    Unit& unit = units_[address];
    if (unit.silent) continue;
    std::vector<Question> open;
    std::copy_if(questions.begin(), questions.end(), std::back_inserter(open),
                 [&unit](Question question) { return !unit.answered[IndexOf(question)]; });
    if (!open.empty()) Start(round, address, open);
  }
  const Clock::time_point deadline = round.start + limit;
  const auto tell = [&] {
    if (units.size() < 2 || !Listener()) return;
    AskingProgress progress;
    progress.units = units.size();
    progress.finished = units.size() - round.outstanding.size();
    progress.elapsed = std::chrono::floor<std::chrono::milliseconds>(Clock::now() - round.start);
    if (progress.elapsed >= kSlow) {
      for (const auto& [address, count] : round.outstanding) {
        progress.slow.push_back(AddressText(address) + " " + machine_->NameOf(address));
      }
    }
    Listener()(progress);
  };
  tell();
  for (Clock::time_point now = round.start; !round.under_way.empty() && now < deadline;
       now = Clock::now()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
    for (const FinishedCommand& finished : machine_->Wait(std::min(left, kProgressStep))) {
      Finish(round, finished);
    }
    if (!round.under_way.empty()) tell();
  }
  for (const auto& [address, count] : std::exchange(round.outstanding, {})) {
    machine_->Close(address);
    Silence(round, address, "did not answer within " + SecondsText(limit));
  }
  tell();
  if (!machine_->Loss().empty()) return;  // says more than what became of each unit
  for (const std::string& problem : round.problems) ReportMessage(Severity::kError, problem);
}

void AskedSource::Announce(std::span<const ScsiAddress> units) { Ask(units, kAllQuestions); }

std::vector<std::optional<std::string>> AskedSource::LookAhead(std::span<const ScsiAddress> units) {
  const Question question = Question::kStandardInquiry;
  Ask(units, {&question, 1});
  std::vector<std::optional<std::string>> answers;
  for (const ScsiAddress& unit : units) answers.push_back(units_[unit].answers[IndexOf(question)]);
  return answers;
}

std::optional<std::string> AskedSource::Answer(const ScsiAddress& address, Question question) {
  Unit& unit = units_[address];
  if (!unit.answered[IndexOf(question)]) Ask({&address, 1}, {&question, 1});
  unit.answered[IndexOf(question)] = false;
  return std::exchange(unit.answers[IndexOf(question)], std::nullopt);
}

std::optional<std::string> AskedSource::StandardInquiry(const ScsiAddress& address) {
  return Answer(address, Question::kStandardInquiry);
}

std::optional<std::string> AskedSource::VitalProductData(const ScsiAddress& address,
                                                         std::uint32_t page) {
  if (page != kUnitSerialNumberPage) return std::nullopt;
  return Answer(address, Question::kSerialNumber);
}

std::optional<std::string> AskedSource::WorldWideId(const ScsiAddress& address) {
  return Answer(address, Question::kWorldWideId);
}

UnitCondition AskedSource::Condition(const ScsiAddress& address) const {
  const auto at = units_.find(address);
  if (at == units_.end()) return {};
  return {at->second.time_to_answer, at->second.problem};
}

}  // namespace devprep
