// A machine of tape drives that answer when they are told to, or never, in a time of its own or in
// real time.
#ifndef DEVPREP_TESTS_SUPPORT_SIMULATED_TRANSPORT_H_
#define DEVPREP_TESTS_SUPPORT_SIMULATED_TRANSPORT_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_transport.h"
#include "support/simulated_changer.h"

namespace devprep {

struct SimulatedUnit {
  std::chrono::milliseconds delay{0};
  bool silent = false;      // never answers
  int unit_attentions = 0;  // before each answer
  std::uint8_t status = 0;  // of each command, if not good
  bool unopenable = false;
  bool lost = false;  // its commands fail on the way
  std::string serial_number = {};
  std::optional<std::uint16_t> element = {};  // of a drive: its own word
  std::optional<SimulatedChanger> changer = {};
};

class SimulatedTransport : public ScsiTransport {
 public:
  // Unit n is target n of port 0; its serial number is "SERIAL" and n unless it has one.
  explicit SimulatedTransport(std::vector<SimulatedUnit> units, bool real_time = false)
      : units_(std::move(units)), real_time_(real_time) {
    AddPort(*branch_, 0, "simulated");
    for (std::size_t n = 0; n < units_.size(); ++n) {
      AddUnit(*branch_, At(n), kText, units_[n].changer ? kChangerType : kTapeType);
    }
  }

  static ScsiAddress At(std::size_t n) { return {0, 0, static_cast<std::uint16_t>(n), 0}; }

  std::string ConnectionError() const override { return connection_error; }
  std::shared_ptr<RegistryKey> DeviceMap() override { return branch_; }
  std::string NameOf(const ScsiAddress& /*unit*/) override { return "ACME SIMULATED"; }
  bool IsAttached(const ScsiAddress& unit) override {
    return unit.port == 0 && unit.target < units_.size();
  }
  Result<> Open(const ScsiAddress& unit) override {
    if (units_[unit.target].unopenable) return Error{"cannot be opened"};
    return {};
  }

  Result<> Send(const ScsiAddress& unit, const ScsiCommand& command,
                std::uint64_t ticket) override {
    ++sent;
    longest_chain =
        std::max(longest_chain, ++chains_[{unit.target, command.cdb[0], command.cdb[2]}]);
    Command made{unit, command, Clock::time_point::max(), units_[unit.target].unit_attentions};
    if (!units_[unit.target].silent) made.due = Now() + units_[unit.target].delay;
    const auto left = left_.find({unit.target, command.cdb[2]});
    if (left != left_.end()) made.attentions_left = left->second;
    under_way_[ticket] = made;
    max_under_way = std::max(max_under_way, under_way_.size());
    return {};
  }

  Clock::time_point Now() const override { return real_time_ ? Clock::now() : now_; }

  std::vector<FinishedCommand> Wait(std::chrono::milliseconds max) override {
    Clock::time_point until = Now() + max;
    for (const auto& [ticket, command] : under_way_) until = std::min(until, command.due);
    if (real_time_) std::this_thread::sleep_until(until);
    now_ = std::max(now_, until);
    std::vector<FinishedCommand> finished;
    for (auto at = under_way_.begin(); at != under_way_.end();) {
      if (at->second.due > Now()) {
        ++at;
        continue;
      }
      finished.push_back(Finish(at->first, at->second));
      at = under_way_.erase(at);
    }
    return finished;
  }

  void Close(const ScsiAddress& unit) override {
    std::erase_if(under_way_, [&unit](const auto& entry) { return entry.second.unit == unit; });
  }

  std::size_t UnderWay() const { return under_way_.size(); }

  std::string connection_error;
  std::size_t sent = 0;
  std::size_t max_under_way = 0;
  std::size_t longest_chain = 0;  // commands of one request

 private:
  static constexpr std::uint8_t kTapeType = 1;
  static constexpr std::uint8_t kChangerType = 8;
  static constexpr const char* kText = "ACME    SIMULATED       0001";

  struct Command {
    ScsiAddress unit;
    ScsiCommand bytes;
    Clock::time_point due;
    int attentions_left;
  };

  FinishedCommand Finish(std::uint64_t ticket, const Command& command) {
    FinishedCommand finished;
    finished.ticket = ticket;
    const auto& cdb = command.bytes.cdb;
    const SimulatedUnit& unit = units_[command.unit.target];
    const bool page = cdb[1] != 0;
    if (units_[command.unit.target].lost) {
      finished.outcome = {CommandStatus::kUnreachable, "has gone"};
    } else if (command.attentions_left > 0) {
      finished.outcome = JudgeStatus(kStatusCheckCondition, {kSenseUnitAttention, 0, 0});
      left_[{command.unit.target, cdb[2]}] = command.attentions_left - 1;
    } else if (units_[command.unit.target].status != kStatusGood) {
      finished.outcome = JudgeStatus(units_[command.unit.target].status, {});
    } else if (cdb[0] != 0x12) {
      finished = unit.changer ? unit.changer->Answer(command.bytes)
                              : SimulatedChanger{}.Answer(command.bytes);
      finished.ticket = ticket;
    } else if (page && cdb[2] == kElementAddressPage && unit.element) {
      finished.data = std::string("\x01\xb4\0\2", 4) + SimulatedChanger::Number(*unit.element, 2);
    } else if (!page) {
      finished.data = std::string("\x01\x80\x06\x02\x1f\0\0\0", 8) + kText;
      if (unit.changer) finished.data.front() = kChangerType;
    } else if (cdb[2] == kUnitSerialNumberPage) {
      const std::string serial =
          unit.serial_number.empty()
              ? std::string("SERIAL").append(std::to_string(command.unit.target))
              : unit.serial_number;
      finished.data = std::string("\x01\x80\0", 3) + static_cast<char>(serial.size()) + serial;
    } else {
      finished.outcome = JudgeStatus(kStatusCheckCondition, {5, 0x24, 0});
    }
    return finished;
  }

  std::vector<SimulatedUnit> units_;
  bool real_time_;
  Clock::time_point now_;
  std::shared_ptr<RegistryKey> branch_ = MakeHardwareBranch();
  std::map<std::uint64_t, Command> under_way_;
  std::map<std::pair<std::uint16_t, std::uint8_t>, int> left_;  // unit attentions, by page
  std::map<std::tuple<std::uint16_t, std::uint8_t, std::uint8_t>, std::size_t> chains_;
};

}  // namespace devprep

#endif  // DEVPREP_TESTS_SUPPORT_SIMULATED_TRANSPORT_H_
