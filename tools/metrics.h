// What a check found, for Prometheus: the text that its node exporter takes from a folder.
#ifndef DEVPREP_TOOLS_METRICS_H_
#define DEVPREP_TOOLS_METRICS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "check.h"
#include "platform/result.h"

namespace devprep::tool {

// When a check ran. Times are in seconds since 1970.
struct CheckRun {
  std::int64_t ended = 0;
  std::int64_t last_good = 0;  // the last one, this or an earlier, that ended with kDone; 0: none
  std::chrono::steady_clock::duration duration = {};
};

// A check in Prometheus's text format, version 0.0.4. Of one that failed only when it ran and how
// it ended: nothing that it did not see is told as if it were so.
std::string MetricsText(const Result<CheckReport>& check, const CheckRun& run);

// Whether a file that begins like this holds such a text.
bool IsMetrics(const std::string& head);

// Puts the metrics of a check that has just ended in the place of those in the file. The time of
// the last good check is taken over from there unless this one is good. Fails when the file holds
// something else, and when it cannot be written; the old one is then still there.
Result<> WriteMetrics(const std::string& file_name, const Result<CheckReport>& check,
                      std::chrono::steady_clock::duration duration);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_METRICS_H_
