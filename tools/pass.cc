#include "pass.h"

#include <string>

#include "danger_text.h"
#include "discovery/scsi_map.h"
#include "entry/library.h"
#include "library_survey.h"
#include "machine.h"
#include "platform/messages.h"
#include "words.h"

namespace devprep::tool {

Result<OutcomeReport> RunPass(bool follow_identity) {
  if (SimKeyExists()) {
    return Error{
        "the key Sim under the tape engine key blocks the rebuild; devices and groups stay as they "
        "are"};
  }
  RunConfigurationPass({.FollowIdentity = follow_identity, .AfterProbe = SurveyFoundChangers});
  if (ScsiMap.LeftOut != 0) {
    ReportMessage(Severity::kNote, Count(static_cast<std::size_t>(ScsiMap.LeftOut), "unit") +
                                       " beyond the first " + std::to_string(kMaxScsiMapEntries) +
                                       " of the device map left out");
  }
  OutcomeReport report = ReadOutcome();
  for (const SilentUnit& unit : TakeUnidentifiedUnits()) {
    report.dangers.push_back(ReportUnidentifiedUnit(unit));
  }
  return report;
}

}  // namespace devprep::tool
