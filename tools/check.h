// What is not as it is configured.
#ifndef DEVPREP_TOOLS_CHECK_H_
#define DEVPREP_TOOLS_CHECK_H_

#include <array>
#include <chrono>
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
#include "reconfig/danger.h"
#include "records/device_record.h"
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

// A configured device, or an attached one that is not configured.
struct CheckedDevice {
  std::optional<std::uint16_t> number;  // as configured; none: not configured
  bool up = false;                      // attached, and answers where it is asked
  // As it is attached now; of one that is gone, as it is configured.
  DeviceAddress address = {};
  std::uint16_t type = 0;
  std::string description;  // vendor, product and revision, at their places of inquiry data
  std::string serial_number;
  std::string world_wide_id;
  std::optional<std::chrono::microseconds> time_to_answer;  // where it is known
};

struct CheckedRaid {
  std::uint16_t number = 0;
  bool complete = false;
};

struct CheckReport {
  std::vector<Deviation> deviations;
  std::vector<DangerReport> dangers;   // but for those that a deviation tells already
  std::vector<CheckedDevice> devices;  // the configured ones by number, then the others
  std::vector<CheckedRaid> raids;
  std::size_t devices_configured = 0;
  std::size_t devices_found = 0;
  std::array<std::size_t, kDangerCodeCount> dangers_by_code = {};  // all of them

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
