// Dangers in words.
#ifndef DEVPREP_TOOLS_DANGER_TEXT_H_
#define DEVPREP_TOOLS_DANGER_TEXT_H_

#include <optional>
#include <string>

#include "output.h"
#include "platform/hardware/hardware_source.h"
#include "reconfig/danger.h"

namespace devprep::tool {

// "mass-loss" and so on: stable.
std::string DangerName(DangerCode code);

// The code of that name. Nothing when there is none.
std::optional<DangerCode> DangerNamed(const std::string& name);

// Where a list of members stands, for programs: "raid_tapes" and so on; empty for none.
const char* DangerPlaceName(DangerPlace place);

// All names, separated by commas.
std::string AllDangerNames();

// A danger as it is told.
struct DangerReport {
  DangerCode code;
  bool refused;
  Json json;  // with its sentence, which says what the danger is and what to look at
};

// Within the session of the pass.
DangerReport ReportDanger(const Danger& danger);

// The danger that an attached unit without a place in the device map is: what is configured for it
// counts as gone.
DangerReport ReportUnidentifiedUnit(const SilentUnit& unit);

// "danger NAME: TEXT"; of one that is only told "note NAME: TEXT".
std::string DangerLine(const DangerReport& danger);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_DANGER_TEXT_H_
