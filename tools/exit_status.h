// What the tool tells scripts.
#ifndef DEVPREP_TOOLS_EXIT_STATUS_H_
#define DEVPREP_TOOLS_EXIT_STATUS_H_

namespace devprep::tool {

enum class ExitStatus : int {
  kDone = 0,
  kFailed = 1,       // with the reason on standard error, or as JSON
  kWrongUse = 2,     // of the command line
  kWouldChange = 4,  // something would change, or differs
  kDangers = 5       // something would be lost or end in the wrong place
};

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_EXIT_STATUS_H_
