#include "platform/posix/hardware.h"

#include <cstdlib>
#include <utility>

#include "platform/hardware/capture_source.h"
#include "platform/messages.h"
#include "platform/posix/iscsi_source.h"
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
        Check();
      }
    }
    checked_ = true;
    return InUse();
  }

  bool Lost() {
    if (!checked_ || InUse() == nullptr) return false;
    const std::string loss = InUse()->Loss();
    if (!loss.empty()) ReportMessage(Severity::kError, loss);
    return !loss.empty();
  }

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

  void CheckCapture(bool same_name) {
    const Result<WatchedFile::State> state = capture_.Refresh(name_);
    if (!state) {
      Use({nullptr, state.Failure().Text()});
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
        Use({nullptr, name_ + ": there is no such hardware capture"});
        break;
    }
  }

  void Use(OpenedSource opened) {
    source_ = std::move(opened.source);
    if (source_ == nullptr && opened.problem != reported_)
      ReportMessage(Severity::kError, opened.problem);
    reported_ = opened.problem;
  }

  bool checked_ = false;
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
  const char* named = std::getenv(kHardwareVariable);
  return named != nullptr && *named != '\0' ? named : kLiveHardware;
}

void HardwareMayHaveChanged() { Choice().MayHaveChanged(); }

HardwareSource* CurrentHardware() { return Choice().Current(); }

bool HardwareLost() { return Choice().Lost(); }

void UseHardware(std::unique_ptr<HardwareSource> source) { Choice().Give(std::move(source)); }

}  // namespace devprep
