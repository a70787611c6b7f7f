// A machine of tape drives that answer when they are told to, or never.
#ifndef DEVPREP_TESTS_SUPPORT_SIMULATED_MACHINE_H_
#define DEVPREP_TESTS_SUPPORT_SIMULATED_MACHINE_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_machine.h"

namespace devprep {

struct SimulatedUnit {
  std::chrono::milliseconds delay{0};
  bool silent = false;      // never answers
  int unit_attentions = 0;  // before each answer
  bool unopenable = false;
  bool lost = false;  // its commands fail on the way
};

class SimulatedMachine : public ScsiMachine {
 public:
  using Clock = std::chrono::steady_clock;

  // Unit n is target n of port 0; its serial number is "SERIAL" and n.
  explicit SimulatedMachine(std::vector<SimulatedUnit> units) : units_(std::move(units)) {
    AddPort(*branch_, 0, "simulated");
    for (std::size_t n = 0; n < units_.size(); ++n) AddUnit(*branch_, At(n), kText, kTapeType);
  }

  static ScsiAddress At(std::size_t n) { return {0, 0, static_cast<std::uint16_t>(n), 0}; }

  std::string Loss() const override { return loss; }
  std::shared_ptr<RegistryKey> Branch() override { return branch_; }
  std::string NameOf(const ScsiAddress& /*unit*/) override { return "ACME SIMULATED"; }
  std::string Open(const ScsiAddress& unit) override {
    if (unit.target >= units_.size()) return "is not attached";
    return units_[unit.target].unopenable ? "may not be opened" : "";
  }

  std::string Send(const ScsiAddress& unit, const InquiryCommand& command,
                   std::uint64_t ticket) override {
    ++sent;
    Command made{unit, command, Clock::time_point::max(), units_[unit.target].unit_attentions};
    if (!units_[unit.target].silent) made.due = Clock::now() + units_[unit.target].delay;
    const auto left = left_.find({unit.target, command[2]});
    if (left != left_.end()) made.attentions_left = left->second;
    under_way_[ticket] = made;
    most_under_way = std::max(most_under_way, under_way_.size());
    return {};
  }

  std::vector<FinishedCommand> Wait(std::chrono::milliseconds most) override {
    Clock::time_point until = Clock::now() + most;
    for (const auto& [ticket, command] : under_way_) until = std::min(until, command.due);
    std::this_thread::sleep_until(until);
    std::vector<FinishedCommand> finished;
    for (auto at = under_way_.begin(); at != under_way_.end();) {
      if (at->second.due > Clock::now()) {
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

  std::string loss;
  std::size_t sent = 0;
  std::size_t most_under_way = 0;

 private:
  static constexpr std::uint8_t kTapeType = 1;
  static constexpr const char* kText = "ACME    SIMULATED       0001";

  struct Command {
    ScsiAddress unit;
    InquiryCommand bytes;
    Clock::time_point due;
    int attentions_left;
  };

  FinishedCommand Finish(std::uint64_t ticket, const Command& command) {
    FinishedCommand finished{ticket, CommandStatus::kGood, {}, {}};
    const bool page = command.bytes[1] != 0;
    if (units_[command.unit.target].lost) {
      finished.status = CommandStatus::kUnreachable;
      finished.reason = "has gone";
    } else if (command.attentions_left > 0) {
      finished.status = CommandStatus::kUnitAttention;
      left_[{command.unit.target, command.bytes[2]}] = command.attentions_left - 1;
    } else if (!page) {
      finished.data = std::string("\x01\x80\x06\x02\x1f\0\0\0", 8) + kText;
    } else if (command.bytes[2] == kUnitSerialNumberPage) {
      const std::string serial = "SERIAL" + std::to_string(command.unit.target);
      finished.data = std::string("\x01\x80\0", 3) + static_cast<char>(serial.size()) + serial;
    } else {
      finished.status = CommandStatus::kRefused;
    }
    return finished;
  }

  std::vector<SimulatedUnit> units_;
  std::shared_ptr<RegistryKey> branch_ = MakeHardwareBranch();
  std::map<std::uint64_t, Command> under_way_;
  std::map<std::pair<std::uint16_t, std::uint8_t>, int> left_;  // unit attentions, by page
};

}  // namespace devprep

#endif  // DEVPREP_TESTS_SUPPORT_SIMULATED_MACHINE_H_
