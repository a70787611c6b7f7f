#include "platform/posix/hardware.h"

#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/hardware/capture_source.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"
#include "platform/posix/iscsi_source.h"
#include "platform/posix/iscsi_url.h"
#include "platform/posix/live_source.h"
#include "platform/posix/watched_file.h"

namespace devprep {
namespace {

// Owner of the source in use.
class HardwareChoice {
 public:
  void MayHaveChanged() { checked_ = false; }

  HardwareSource* Current() {
    if (!checked_) {
      if (given_ != nullptr) {
        given_->Renew();
      } else {
        try {
          Check();
        } catch (...) {  // out of memory: what is in use is not what was chosen
          name_.clear();
          throw;
        }
      }
    }
    checked_ = true;
    return InUse();
  }

  bool Lost() {
    if (!checked_ || InUse() == nullptr) return false;
    std::string error = InUse()->ConnectionError();
    if (error.empty() && !silent_units_accepted_) error = MissingUnits(InUse()->SilentUnits());
    if (!error.empty()) ReportMessage(Severity::kError, error);
    return !error.empty();
  }

  void AcceptSilentUnits(bool accepted) { silent_units_accepted_ = accepted; }

  void Give(std::unique_ptr<HardwareSource> source) {
    given_ = std::move(source);
    checked_ = false;
  }

 private:
  HardwareSource* InUse() const { return given_ != nullptr ? given_.get() : source_.get(); }

  void Check() {
    std::string name = HardwareName();
    const bool same_name = name == name_;
    name_ = std::move(name);
    const bool usable = same_name && source_ != nullptr && source_->Renew();
    if (name_ == kLiveHardware) {
      if (!usable) Use(OpenLive());
    } else if (name_.starts_with(kIscsiScheme)) {
      if (!usable) Use(OpenIscsi(name_));
    } else {
      CheckCapture(same_name);
    }
  }

  // What is to be said of units that are attached but not in the device map. Empty: there are none.
  static std::string MissingUnits(const std::vector<SilentUnit>& silent) {
    std::string text;
    for (const SilentUnit& unit : silent) {
      if (unit.listed) continue;
      text += (text.empty() ? "" : ", ") + AddressText(unit.address);
    }
    return text.empty() ? text : "attached but not identified: " + text;
  }

  void CheckCapture(bool same_name) {
    const Result<WatchedFile::State> state = capture_.Refresh(name_);
    if (!state) {
      Use(state.Failure());
      return;
    }
    switch (*state) {
      case WatchedFile::State::kUnchanged:
        if (!same_name) Use(OpenCapture(name_, capture_.Text()));
        break;
      case WatchedFile::State::kChanged:
        Use(OpenCapture(name_, capture_.Text()));
        break;
      case WatchedFile::State::kMissing:
        Use(Error{"there is no such hardware capture", name_});
        break;
    }
  }

  void Use(Result<std::unique_ptr<HardwareSource>> opened) {
    const Error failure = opened ? Error() : opened.Failure();
    const std::string problem = failure.Text();
    source_ = opened ? *std::move(opened) : nullptr;
    if (problem != reported_ && !problem.empty()) ReportMessage(Severity::kError, failure);
    reported_ = problem;
  }

  bool checked_ = false;
  bool silent_units_accepted_ = false;
  std::unique_ptr<HardwareSource> given_;  // in the place of the chosen one
  std::string name_;
  std::string reported_;
  WatchedFile capture_;
  std::unique_ptr<HardwareSource> source_;
};

HardwareChoice& Choice() {
  static HardwareChoice choice;
  return choice;
}

}  // namespace

std::string HardwareName() {
  const char* named = secure_getenv(kHardwareVariable);
  return named != nullptr && *named != '\0' ? named : kLiveHardware;
}

void HardwareMayHaveChanged() { Choice().MayHaveChanged(); }

HardwareSource* CurrentHardware() { return Choice().Current(); }

bool HardwareLost() { return Choice().Lost(); }

void SetSilentUnitsAccepted(bool accepted) { Choice().AcceptSilentUnits(accepted); }

void UseHardware(std::unique_ptr<HardwareSource> source) { Choice().Give(std::move(source)); }

}  // namespace devprep
