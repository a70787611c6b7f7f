#include "platform/hardware/inquiry_source.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "platform/hardware/element_requests.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"

namespace devprep {
namespace {

using Clock = ScsiTransport::Clock;
using std::chrono::milliseconds;

constexpr double kMaxTimeLimit = 600;
// A unit that takes longer than this is named to a person who waits, who hears this often.
constexpr milliseconds kSlow{1000};
constexpr milliseconds kProgressStep{250};
// Before a command is sent again: at once for the first time, then after pauses that double.
constexpr milliseconds kFirstPause{10};
constexpr milliseconds kMaxPause{1000};
constexpr int kMaxDoublings = 7;
// Every adapter takes answers of this size.
constexpr std::size_t kSafeAllocation = 65536;

ProgressListener& Listener() {
  static ProgressListener listener;
  return listener;
}

std::string SecondsText(milliseconds time) {
  std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text + " s";
}

milliseconds PauseBefore(int attempt) {
  if (attempt < 2) return milliseconds{0};
  return std::min(kFirstPause * (1 << std::min(attempt - 2, kMaxDoublings)), kMaxPause);
}

}  // namespace

void SetProgressListener(ProgressListener listener) { Listener() = std::move(listener); }

Result<milliseconds> ParseTimeLimit(const std::string& seconds) {
  char* end = nullptr;
  const double number = std::strtod(seconds.c_str(), &end);
  if (seconds.empty() || *end != '\0' || !(number > 0 && number <= kMaxTimeLimit)) {
    return Error{"'" + seconds + "' is not a number of seconds above 0 and up to 600"};
  }
  return milliseconds(std::llround(std::ceil(number * 1000)));
}

milliseconds TimeLimit() {
  const char* text = secure_getenv(kTimeLimitVariable);
  if (text == nullptr || *text == '\0') return kDefaultTimeLimit;
  const Result<milliseconds> limit = ParseTimeLimit(text);
  if (limit) return *limit;
  static bool reported = false;
  if (!std::exchange(reported, true)) {
    ReportMessage(Severity::kWarning, std::string(kTimeLimitVariable) + ": " +
                                          limit.Failure().message + "; using " +
                                          SecondsText(kDefaultTimeLimit));
  }
  return kDefaultTimeLimit;
}

// A request of one unit and where it stands.
struct InquirySource::Exchange {
  ScsiAddress unit;
  Question question;
  std::unique_ptr<ScsiRequest> request;
  Clock::time_point deadline;  // of the command that is sent now
  int attempts = 0;            // to send it again
  std::string reason;          // why it was to be sent again
};

// One asking of several units.
struct InquirySource::Round {
  struct Delayed {
    Clock::time_point due;
    Exchange exchange;
  };
  std::map<std::uint64_t, Exchange> under_way;  // by ticket
  std::vector<Delayed> delayed;
  std::map<ScsiAddress, std::size_t> outstanding;  // requests of each unit
  std::vector<std::string> problems;
  milliseconds limit = TimeLimit();
  Clock::time_point start;
};

std::unique_ptr<ScsiRequest> InquirySource::MakeRequest(Question question) {
  switch (question) {
    case Question::kSerialNumber:
      return std::make_unique<PageRequest>(
          VitalProductDataCommand(kUnitSerialNumberPage), [](std::string_view received) {
            return CheckVitalProductData(received, kUnitSerialNumberPage);
          });
    case Question::kWorldWideId:
      return std::make_unique<PageRequest>(
          VitalProductDataCommand(kDeviceIdentificationPage), [](std::string_view received) {
            Result<std::string> page = CheckVitalProductData(received, kDeviceIdentificationPage);
            return page ? WorldWideIdIn(*page) : page;
          });
    case Question::kElementAddresses:
      return std::make_unique<ElementAddressRequest>();
    case Question::kElementStatus:
      return std::make_unique<ElementStatusRequest>();
    case Question::kDriveElement:
      return std::make_unique<PageRequest>(
          VitalProductDataCommand(kElementAddressPage), [](std::string_view received) {
            return CheckVitalProductData(received, kElementAddressPage);
          });
    case Question::kStandardInquiry:
      break;
  }
  return std::make_unique<PageRequest>(StandardInquiryCommand(), CheckStandardInquiry);
}

bool InquirySource::Renew() {
  // A unit that the map does not list for want of an answer may give it now.
  const std::vector<SilentUnit> silent = SilentUnits();
  units_.clear();
  return transport_->Renew() &&
         std::all_of(silent.begin(), silent.end(), [](const auto& unit) { return unit.listed; });
}

std::string InquirySource::Label(const ScsiAddress& address) {
  const std::string name = transport_->NameOf(address);
  return PrintableText(AddressText(address) + (name.empty() ? "" : " " + name));
}

// Reported once the asking is over, when a line that shows its progress is gone.
void InquirySource::MarkUnresponsive(Round& round, const ScsiAddress& address,
                                     const std::string& problem) {
  Unit& unit = units_[address];
  if (unit.unresponsive) return;
  unit.unresponsive = true;
  unit.problem = PrintableText(problem);
  round.problems.push_back(Label(address) + ": " + problem);
}

void InquirySource::Start(Round& round, const UnitQuestions& asked) {
  if (!transport_->IsAttached(asked.unit)) {
    MarkUnresponsive(round, asked.unit, "is not attached");
    return;
  }
  if (const Result<> opened = transport_->Open(asked.unit); !opened) {
    MarkUnresponsive(round, asked.unit, opened.Failure().message);
    return;
  }
  round.outstanding[asked.unit] = asked.questions.size();
  for (const Question question : asked.questions) {
    if (!round.outstanding.contains(asked.unit)) break;
    Exchange exchange = {asked.unit, question, nullptr, transport_->Now() + round.limit, 0, {}};
    exchange.request = MakeRequest(question);
    Send(round, std::move(exchange));
  }
}

void InquirySource::Send(Round& round, Exchange exchange) {
  const std::uint64_t ticket = ++last_ticket_;
  const ScsiAddress unit = exchange.unit;
  const Result<> sent = transport_->Send(unit, exchange.request->Command(), ticket);
  if (sent) {
    round.under_way.emplace(ticket, std::move(exchange));
    return;
  }
  if (exchange.request->Command().allocation > kSafeAllocation) {
    // More than the adapter takes at once: the request may have a smaller command.
    if (exchange.request->Take(
            {ticket, {CommandStatus::kRefused, sent.Failure().message}, {}, {}})) {
      Send(round, std::move(exchange));
    } else {
      FinishRequest(round, exchange);
    }
    return;
  }
  MarkUnresponsive(round, unit, sent.Failure().message);
  std::erase_if(round.under_way, [&unit](const auto& at) { return at.second.unit == unit; });
  std::erase_if(round.delayed, [&unit](const auto& at) { return at.exchange.unit == unit; });
  round.outstanding.erase(unit);
  transport_->Close(unit);
}

void InquirySource::SendDelayed(Round& round) {
  for (std::size_t i = 0; i < round.delayed.size();) {
    if (round.delayed[i].due > transport_->Now()) {
      ++i;
      continue;
    }
    Exchange exchange = std::move(round.delayed[i].exchange);
    round.delayed.erase(round.delayed.begin() + static_cast<std::ptrdiff_t>(i));
    Send(round, std::move(exchange));
  }
}

void InquirySource::FinishRequest(Round& round, Exchange& exchange) {
  Unit& unit = units_[exchange.unit];
  const auto index = static_cast<std::size_t>(exchange.question);
  unit.answered[index] = true;
  unit.time_to_answer =
      std::chrono::duration_cast<std::chrono::microseconds>(transport_->Now() - round.start);
  Result<std::string> answer = exchange.request->Answer();
  if (answer && exchange.question == Question::kElementAddresses) {
    if (const auto addresses = ParseElementAddressPage(*answer)) {
      for (auto& [ticket, other] : round.under_way) {
        if (other.unit == exchange.unit) other.request->Learn(*addresses);
      }
    }
  }
  if (!answer && exchange.question == Question::kElementStatus) {
    unit.no_elements = PrintableText(answer.Failure().message);
  }
  if (!answer && exchange.question == Question::kStandardInquiry) {
    unit.no_inquiry = true;
    unit.problem = "cannot be identified: " + answer.Failure().message;
    if (!unit.disconnected) round.problems.push_back(Label(exchange.unit) + ": " + unit.problem);
  }
  if (answer) unit.answers[index] = *std::move(answer);
  if (--round.outstanding[exchange.unit] == 0) {
    round.outstanding.erase(exchange.unit);
    transport_->Close(exchange.unit);
  }
}

void InquirySource::Finish(Round& round, const FinishedCommand& finished) {
  const auto at = round.under_way.find(finished.ticket);
  if (at == round.under_way.end()) return;
  Exchange exchange = std::move(at->second);
  round.under_way.erase(at);
  if (finished.outcome.status == CommandStatus::kTryAgain) {
    exchange.reason = finished.outcome.reason;
    const Clock::time_point due = transport_->Now() + PauseBefore(++exchange.attempts);
    round.delayed.push_back({due, std::move(exchange)});
    return;
  }
  if (finished.outcome.status == CommandStatus::kUnreachable) {
    MarkUnresponsive(round, exchange.unit, finished.outcome.reason);
    if (--round.outstanding[exchange.unit] == 0) {
      round.outstanding.erase(exchange.unit);
      transport_->Close(exchange.unit);
    }
    return;
  }
  if (exchange.question == Question::kStandardInquiry &&
      finished.outcome.status == CommandStatus::kGood && IsDisconnected(finished.data)) {
    units_[exchange.unit].disconnected = true;
  }
  if (exchange.request->Take(finished)) {
    exchange.deadline = transport_->Now() + round.limit;
    exchange.attempts = 0;
    exchange.reason.clear();
    Send(round, std::move(exchange));
    return;
  }
  FinishRequest(round, exchange);
}

// A unit one of whose commands has reached its time limit is not waited for any more.
void InquirySource::GiveUpLate(Round& round) {
  const Clock::time_point now = transport_->Now();
  std::map<ScsiAddress, std::string> late;  // with the reason
  for (const auto& [ticket, exchange] : round.under_way) {
    if (exchange.deadline <= now) late.emplace(exchange.unit, exchange.reason);
  }
  for (const auto& [due, exchange] : round.delayed) {
    if (exchange.deadline <= now) late.emplace(exchange.unit, exchange.reason);
  }
  for (const auto& [unit, reason] : late) {
    transport_->Close(unit);
    round.outstanding.erase(unit);
    MarkUnresponsive(round, unit,
                     "did not answer within " + SecondsText(round.limit) +
                         (reason.empty() ? "" : ": " + reason));
  }
  if (late.empty()) return;
  std::erase_if(round.under_way, [&](const auto& at) { return late.contains(at.second.unit); });
  std::erase_if(round.delayed, [&](const auto& at) { return late.contains(at.exchange.unit); });
}

void InquirySource::Tell(const Round& round, std::size_t units) {
  if (units < 2 || !Listener()) return;
  AskingProgress progress;
  progress.units = units;
  progress.finished = units - round.outstanding.size();
  progress.elapsed = std::chrono::floor<milliseconds>(transport_->Now() - round.start);
  if (progress.elapsed >= kSlow) {
    for (const auto& [address, count] : round.outstanding) {
      progress.slow.push_back(Label(address));
    }
  }
  Listener()(progress);
}

void InquirySource::Ask(std::span<const UnitQuestions> asked) {
  Round round;
  round.start = transport_->Now();
  for (const UnitQuestions& unit : asked) {
    if (units_[unit.unit].unresponsive || round.outstanding.contains(unit.unit)) continue;
    UnitQuestions open = unit;
    std::erase_if(open.questions, [this, &unit](Question question) {
      return units_[unit.unit].answered[static_cast<std::size_t>(question)];
    });
    if (!open.questions.empty()) Start(round, open);
  }
  Tell(round, asked.size());
  while (!round.outstanding.empty()) {
    Clock::time_point until = transport_->Now() + kProgressStep;
    for (const auto& [ticket, exchange] : round.under_way) {
      until = std::min(until, exchange.deadline);
    }
    for (const auto& [due, exchange] : round.delayed) {
      until = std::min({until, due, exchange.deadline});
    }
    const auto left = std::chrono::ceil<milliseconds>(until - transport_->Now());
    for (const FinishedCommand& finished : transport_->Wait(std::max(left, milliseconds{0}))) {
      Finish(round, finished);
    }
    GiveUpLate(round);
    SendDelayed(round);
    if (!round.outstanding.empty()) Tell(round, asked.size());
  }
  Tell(round, asked.size());
  if (!transport_->ConnectionError().empty()) return;  // says more than what became of each unit
  for (const std::string& problem : round.problems) ReportMessage(Severity::kError, problem);
}

void InquirySource::Prefetch(std::span<const ScsiAddress> units) {
  std::vector<UnitQuestions> asked;
  for (const ScsiAddress& unit : units) {
    asked.push_back(
        {unit, {Question::kStandardInquiry, Question::kSerialNumber, Question::kWorldWideId}});
  }
  Ask(asked);
}

void InquirySource::PrefetchLibrary(std::span<const ScsiAddress> units) {
  std::vector<UnitQuestions> asked;
  for (const ScsiAddress& unit : units) {
    UnitQuestions questions = {
        unit, {Question::kStandardInquiry, Question::kSerialNumber, Question::kWorldWideId}};
    const std::string type = UnitTypeName(transport_->DeviceMap(), unit);
    if (type == kChangerWord) {
      questions.questions.insert(questions.questions.end(),
                                 {Question::kElementAddresses, Question::kElementStatus});
    } else if (type == kTapeWord) {
      questions.questions.push_back(Question::kDriveElement);
    }
    asked.push_back(std::move(questions));
  }
  Ask(asked);
}

std::vector<std::optional<std::string>> InquirySource::PrefetchInquiries(
    std::span<const ScsiAddress> units) {
  std::vector<UnitQuestions> asked;
  for (const ScsiAddress& unit : units) asked.push_back({unit, {Question::kStandardInquiry}});
  Ask(asked);
  std::vector<std::optional<std::string>> answers;
  for (const ScsiAddress& unit : units) {
    answers.push_back(units_[unit].answers[static_cast<std::size_t>(Question::kStandardInquiry)]);
  }
  return answers;
}

std::vector<SilentUnit> InquirySource::SilentUnits() {
  std::vector<SilentUnit> silent;
  for (const auto& [address, unit] : units_) {
    if ((!unit.unresponsive && !unit.no_inquiry) || !transport_->IsAttached(address)) continue;
    const bool listed = FindUnit(transport_->DeviceMap(), address) != nullptr;
    if (unit.disconnected && !listed) continue;
    silent.push_back({address, PrintableText(transport_->NameOf(address)), unit.problem, listed});
  }
  return silent;
}

std::optional<std::string> InquirySource::Answer(const ScsiAddress& address, Question question) {
  const auto index = static_cast<std::size_t>(question);
  Unit& unit = units_[address];
  if (!unit.answered[index]) {
    const UnitQuestions asked = {address, {question}};
    Ask({&asked, 1});
  }
  return unit.answers[index];
}

std::optional<std::string> InquirySource::StandardInquiry(const ScsiAddress& address) {
  return Answer(address, Question::kStandardInquiry);
}

std::optional<std::string> InquirySource::VitalProductData(const ScsiAddress& address,
                                                           std::uint32_t page) {
  if (page != kUnitSerialNumberPage) return std::nullopt;
  return Answer(address, Question::kSerialNumber);
}

std::optional<std::string> InquirySource::WorldWideId(const ScsiAddress& address) {
  return Answer(address, Question::kWorldWideId);
}

std::optional<std::string> InquirySource::ElementAddressPage(const ScsiAddress& changer) {
  return Answer(changer, Question::kElementAddresses);
}

std::optional<std::string> InquirySource::ElementStatusData(const ScsiAddress& changer) {
  return Answer(changer, Question::kElementStatus);
}

std::optional<std::string> InquirySource::DriveElementPage(const ScsiAddress& drive) {
  return Answer(drive, Question::kDriveElement);
}

UnitCondition InquirySource::Condition(const ScsiAddress& address) const {
  const auto at = units_.find(address);
  if (at == units_.end()) return {};
  return {at->second.time_to_answer, at->second.problem, at->second.no_elements};
}

}  // namespace devprep
