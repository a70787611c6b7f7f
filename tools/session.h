// One run of the tool on the registry and the hardware that the command line chose.
#ifndef DEVPREP_TOOLS_SESSION_H_
#define DEVPREP_TOOLS_SESSION_H_

#include <functional>
#include <stdexcept>
#include <string>

namespace devprep::tool {

// A command that cannot be done. The text is for the person at the machine; empty when the reason
// has gone to standard error already.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Choices that hold for every command.
struct Options {
  std::string registry;  // empty: from the environment
  std::string hardware;  // empty: from the environment
  std::string timeout;   // in seconds; empty: from the environment
};

// What is wrong with a time limit. Empty: nothing, or no time limit is taken here.
std::string CheckTimeLimit(const std::string& text);

// What a command needs of the machine before it starts.
enum class Needs {
  kRegistry,          // to read the registry file as such
  kRegistryToChange,  // to change the registry file as such
  kHardware,          // the hardware, and the registry only to read
  kEngine,  // the library's operations, which open the tape engine's keys with full access
  kEngineAndHardware  // these, and the hardware
};

// Runs work as one transaction: all that it reads belongs together, and what it changes is stored
// once at its end. Throws Failure when the registry or the hardware cannot be had, or when what
// was changed cannot be stored.
void InSession(const Options& options, Needs needs, const std::function<void()>& work);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_SESSION_H_
