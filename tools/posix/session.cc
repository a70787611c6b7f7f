#include "session.h"

#include <cstdlib>
#include <utility>

#include "discovery/library_hooks.h"
#include "entry/library.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/posix/change_cause.h"
#include "platform/posix/hardware.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_file.h"
#include "platform/registry.h"
#include "posix/progress.h"
#include "refusal.h"
#include "report.h"

namespace devprep::tool {
namespace {

bool stored_something = false;

// A transaction that is stored at its end, or one that is only tried. What fails half-way changes
// nothing.
class Transaction {
 public:
  explicit Transaction(bool to_change) : to_change_(to_change) {
    if (to_change) RegistryBegin();
    open_ = to_change || RegistryBeginTrial();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (!open_) return;
    if (to_change_)
      RegistryAbandon();
    else
      RegistryEndTrial();
  }
  bool Open() const { return open_ && RegistryReadable(); }
  Result<> Commit() {
    if (!to_change_) return {};
    open_ = false;
    const bool changed = RegistryChanged();
    const bool done = RegistryCommit();
    stored_something = stored_something || (changed && RegistryInPlace());
    if (!done) return TakeReportedError("registry_not_stored", "nothing was changed");
    return {};
  }

 private:
  bool to_change_;
  bool open_ = false;
};

Result<> Choose(const char* variable, const std::string& value) {
  if (!value.empty() && setenv(variable, value.c_str(), 1) != 0) {
    return Error{std::string("cannot set ") + variable};
  }
  return {};
}

}  // namespace

std::string CheckTimeLimit(const std::string& text) {
  const auto limit = ParseTimeLimit(text);
  return limit ? "" : limit.Failure().message;
}

Result<> InSession(const Options& options, Needs needs, const std::function<Result<>()>& work) {
  for (const auto& [variable, value] : {std::pair{kRegistryVariable, options.registry},
                                        std::pair{kHardwareVariable, options.hardware},
                                        std::pair{kTimeLimitVariable, options.timeout}}) {
    if (Result<> chosen = Choose(variable, value); !chosen) return chosen;
  }
  const bool to_change =
      needs == Needs::kRegistryToChange || needs == Needs::kConfigurationToChange;
  const bool wants_engine = needs == Needs::kConfiguration ||
                            needs == Needs::kConfigurationToChange || needs == Needs::kLibraryMap;
  const bool wants_hardware = wants_engine || needs == Needs::kHardware;
  SetChangeCause("devprep", options.command);
  ShowProgress();
  LeaveModulesOut(options.no_modules);
  const LogRedirection redirection;
  Transaction transaction(to_change);
  if (!transaction.Open())
    return TakeReportedError("registry_not_readable", "the registry cannot be read");
  if (to_change && !RegistryWritable()) {
    return Refusal({"registry_not_writable", "may not be written"}).In(RegistryFilePath());
  }
  if (wants_hardware && CurrentHardware() == nullptr) {
    return TakeReportedError("hardware_not_reached", "the hardware cannot be reached");
  }
  if (wants_engine) DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  if (Result<> done = work(); !done) return done;
  // Half a machine is no answer to what the command is for, even where nothing is to be stored.
  if (wants_hardware && HardwareLost()) {
    return TakeReportedError("hardware_lost", "the hardware was lost; nothing was changed");
  }
  return transaction.Commit();
}

bool StoredSomething() { return stored_something; }

}  // namespace devprep::tool
