#include "session.h"

#include "discovery/library_hooks.h"
#include "entry/library.h"
#include "platform/registry.h"
#include "report.h"
#include "windows/branch_history.h"
#include "windows/captured_machine.h"

namespace devprep::tool {
namespace {

bool stored_something = false;

}  // namespace

std::string CheckTimeLimit(const std::string& /*text*/) { return {}; }

// The registry and the devices are the machine's own: there is nothing to choose, and each registry
// call stands for itself.
Result<> InSession(const Options& options, Needs needs, const std::function<Result<>()>& work) {
  if (!options.registry.empty()) {
    return Error{"--registry is not for Windows, where the registry is the machine's own"};
  }
  // The library's own calls go to the machine's devices, a pass's among them.
  const bool no_pass = needs == Needs::kHardware || needs == Needs::kLibraryMap;
  if (!options.hardware.empty() && !no_pass) {
    return Error{
        "--hardware is not for Windows, where the devices are the machine's own: only 'hardware' "
        "and 'library' read a capture"};
  }
  if (!options.timeout.empty()) {
    return Error{
        "--timeout is not for Windows, where the devices' driver has time limits of its own"};
  }
  LeaveModulesOut(options.no_modules);
  const LogRedirection redirection;
  const bool on_trial = needs == Needs::kConfiguration || needs == Needs::kRegistry ||
                        needs == Needs::kLibraryMap || !options.hardware.empty();
  const bool to_change =
      needs == Needs::kConfigurationToChange || needs == Needs::kRegistryToChange;
  if (on_trial && !RegistryBeginTrial()) {
    return TakeReportedError("registry_not_readable", "the registry cannot be copied");
  }
  BranchChange change(options.command);
  if (to_change) {
    if (Result<> begun = change.Begin(); !begun) {
      Error error = begun.Failure();
      error.message += "; nothing was changed";
      return error;
    }
  }
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  Result<> done = options.hardware.empty() ? Result<>() : UseCapture(options.hardware);
  if (done) done = work();
  if (on_trial) RegistryEndTrial();
  const bool kept = change.End();
  if (!done) {
    if (!kept) return done;
    Error error = done.Failure();
    error.message += "; a part was stored before that, and 'devprep undo' takes it back";
    return error;
  }
  stored_something = stored_something || to_change;
  return {};
}

bool StoredSomething() { return stored_something; }

}  // namespace devprep::tool
