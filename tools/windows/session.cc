#include "session.h"

#include "entry/library.h"

namespace devprep::tool {

std::string CheckTimeLimit(const std::string& /*text*/) { return {}; }

// The registry and the devices are the machine's own: there is nothing to choose, and each registry
// call stands for itself.
void InSession(const Options& options, Needs /*needs*/, const std::function<void()>& work) {
  if (!options.registry.empty()) {
    throw Failure("--registry is not for Windows, where the registry is the machine's own");
  }
  if (!options.hardware.empty()) {
    throw Failure("--hardware is not for Windows, where the devices are the machine's own");
  }
  if (!options.timeout.empty()) {
    throw Failure(
        "--timeout is not for Windows, where the devices' driver has time limits of its own");
  }
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  work();
}

}  // namespace devprep::tool
