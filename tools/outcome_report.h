// What the last configuration pass made of the configuration, as listings.
#ifndef DEVPREP_TOOLS_OUTCOME_REPORT_H_
#define DEVPREP_TOOLS_OUTCOME_REPORT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "danger_text.h"
#include "listing.h"
#include "output.h"
#include "reconfig/outcome.h"

namespace devprep::tool {

// What became of a device, or of a list of members.
enum class Outcome : std::uint8_t {
  kKept,
  kNew,
  kMoved,
  kMerged,
  kGone,
  kRenumbered,   // of a list: the same members under other numbers
  kMembersLost,  // of a list
  kEmptied       // of a group: it has no kind any more
};
Term OutcomeName(Outcome outcome);

struct DeviceLine {
  std::optional<std::uint16_t> old_number;
  std::optional<std::uint16_t> new_number;
  std::string old_address;
  std::string new_address;
  std::uint16_t type = 0;
  std::string description;
  bool readable = true;  // the record of one that is gone
  Outcome outcome = Outcome::kKept;
  MatchCriterion recognised_by = MatchCriterion::kNone;
  std::string old_serial_number;
  std::string new_serial_number;
  std::string old_world_wide_id;
  std::string new_world_wide_id;
};

using Members = std::vector<MemberOutcome>;

struct GroupLine {
  std::uint16_t number = 0;
  std::string name;
  std::uint16_t kind = kGroupNone;
  Outcome outcome = Outcome::kKept;
  Members members;  // of a changer group the changer
};

struct RaidLine {
  std::uint16_t number = 0;
  Outcome outcome = Outcome::kKept;
  Members tapes;
  Members changers;
};

// The drives reserved to a changer that is still there.
struct ReservationLine {
  MemberOutcome changer;
  Outcome outcome = Outcome::kKept;
  Members drives;
};

// A stored setting that the pass leaves at no device.
struct LostSetting {
  const char* of = "device";  // or "group"
  std::uint16_t number = 0;
  Term name;
  Value value = Value::Absent();
};

struct OutcomeReport {
  std::vector<DeviceLine> devices;
  std::vector<ReservationLine> reservations;
  std::vector<GroupLine> groups;
  std::vector<RaidLine> raids;
  std::vector<LostSetting> lost_settings;
  std::vector<DangerReport> dangers;
  std::size_t dangers_left_out = 0;
};

// Copies what the pass has recorded, with its dangers. Within the session of the pass.
OutcomeReport ReadOutcome();

// How many devices became that.
std::size_t CountOutcome(const OutcomeReport& report, Outcome outcome);

// Whether the configuration is as it was before the pass.
bool NothingChanged(const OutcomeReport& report);

// Of the table of the devices, which listing options choose from.
const std::vector<ColumnInfo>& DeviceOutcomeColumns();

// Prints the dangers, the tables and what is lost.
void PrintOutcome(const OutcomeReport& report, const ListingOptions& options);

// Prints the table of the devices alone.
void PrintDevices(const OutcomeReport& report, const ListingOptions& options);

// The members of the JSON of a report.
Json OutcomeJson(const OutcomeReport& report, const ListingOptions& options);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_OUTCOME_REPORT_H_
