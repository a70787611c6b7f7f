#include "session.h"

#include <cstdlib>

#include "entry/library.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/posix/hardware.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_file.h"
#include "platform/registry.h"
#include "posix/progress.h"

namespace devprep::tool {
namespace {

// Ends the transaction, whatever happens in it. What fails half-way changes nothing.
class Transaction {
 public:
  Transaction() { RegistryBegin(); }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (open_) RegistryAbandon();
  }
  void Commit() {
    open_ = false;
    if (!RegistryCommit()) throw Failure("");  // it has said why
  }

 private:
  bool open_ = true;
};

void Choose(const char* variable, const std::string& value) {
  if (!value.empty() && setenv(variable, value.c_str(), 1) != 0) {
    throw Failure(std::string("cannot set ") + variable);
  }
}

}  // namespace

std::string CheckTimeLimit(const std::string& text) {
  const auto limit = ParseTimeLimit(text);
  return limit ? "" : limit.Failure().message;
}

void InSession(const Options& options, Needs needs, const std::function<void()>& work) {
  Choose(kRegistryVariable, options.registry);
  Choose(kHardwareVariable, options.hardware);
  Choose(kTimeLimitVariable, options.timeout);
  ShowProgress();
  Transaction transaction;
  if (!RegistryReadable()) throw Failure("");
  if (needs != Needs::kRegistry && needs != Needs::kHardware && !RegistryWritable()) {
    throw Failure(RegistryFilePath() +
                  ": may not be written, and the tape engine's keys open only with full access");
  }
  const bool wants_hardware = needs == Needs::kHardware || needs == Needs::kEngineAndHardware;
  if (wants_hardware && CurrentHardware() == nullptr) throw Failure("");
  if (needs == Needs::kEngine || needs == Needs::kEngineAndHardware) {
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  }
  work();
  // Half a machine is no answer to what the command is for, even where nothing is to be stored.
  if (wants_hardware && HardwareLost()) throw Failure("nothing was changed");
  transaction.Commit();
}

}  // namespace devprep::tool
