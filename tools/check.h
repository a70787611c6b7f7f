// What is not as it is configured.
#ifndef DEVPREP_TOOLS_CHECK_H_
#define DEVPREP_TOOLS_CHECK_H_

#include <string>
#include <vector>

#include "danger_text.h"
#include "exit_status.h"
#include "output.h"
#include "platform/result.h"
#include "session.h"

namespace devprep::tool {

struct Deviation {
  std::string code;    // stable
  std::string number;  // "device 3", "RAID 0"
  std::string text;
};

struct CheckReport {
  std::vector<Deviation> deviations;
  std::vector<DangerReport> dangers;

  // kDone, kWouldChange or kDangers.
  ExitStatus Status() const;
};

// Compares the configuration with what is attached, in a session of its own.
Result<CheckReport> RunCheck(const Options& options);

// A line each.
void PrintCheck(const CheckReport& report);

Json CheckJson(const CheckReport& report);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_CHECK_H_
