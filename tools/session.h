// One run of the tool on the registry and the hardware that the command line chose.
#ifndef DEVPREP_TOOLS_SESSION_H_
#define DEVPREP_TOOLS_SESSION_H_

#include <functional>
#include <string>

#include "platform/result.h"

namespace devprep::tool {

// Choices that hold for every command.
struct Options {
  std::string registry;     // empty: from the environment
  std::string hardware;     // empty: from the environment
  std::string timeout;      // in seconds; empty: from the environment
  bool no_modules = false;  // library manager modules are left out
  std::string command;      // the command line, for the history
};

// What is wrong with a time limit. Empty: nothing, or no time limit is taken here.
std::string CheckTimeLimit(const std::string& text);

// What a command needs of the machine before it starts.
enum class Needs {
  kRegistry,              // to read the registry as such: what is changed is forgotten
  kRegistryToChange,      // to change the registry as such
  kHardware,              // what is attached, and nothing of the registry
  kLibraryMap,            // what is attached and the configuration, both to read, and no pass
  kConfiguration,         // the library's operations, to read: what they would store is forgotten
  kConfigurationToChange  // the same, and what they change is stored
};

// Whether a session that fails leaves the registry as it was. Where it does not, each change is
// stored as it is made.
#if defined(_WIN32)
inline constexpr bool kSessionsAreWhole = false;
#else
inline constexpr bool kSessionsAreWhole = true;
#endif

// Runs work as one transaction: all that it reads belongs together, and what it changes is stored
// once at its end. Nothing is stored when work fails. Fails when the registry or the hardware
// cannot be opened, when work fails, and when what was changed cannot be stored.
Result<> InSession(const Options& options, Needs needs, const std::function<Result<>()>& work);

// Whether a session of this process has stored something.
bool StoredSomething();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_SESSION_H_
