// What is not as it is configured.
#ifndef DEVPREP_TOOLS_CHECK_H_
#define DEVPREP_TOOLS_CHECK_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "danger_text.h"
#include "exit_status.h"
#include "listing.h"
#include "output.h"
#include "platform/result.h"
#include "session.h"

namespace devprep::tool {

enum class DeviationCode : std::uint8_t {
  kGone,                  // a device
  kMoved,                 // a device
  kReplaced,              // a device
  kSilent,                // a device
  kNew,                   // a unit
  kReservedDriveMissing,  // of a changer
  kRaidIncomplete
};
inline constexpr std::size_t kDeviationCodeCount = 7;

// "gone" and so on: stable.
const char* DeviationName(DeviationCode code);

struct Deviation {
  DeviationCode code;
  Term kind;  // of what differs: "device", "changer", "raid" by number, "unit" by address
  std::optional<std::uint16_t> number;
  std::string address;
  std::string text;

  // "device 3", "unit 0:0:4:0".
  std::string Subject() const;
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
