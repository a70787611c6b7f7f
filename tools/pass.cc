#include "pass.h"

#include "attached.h"
#include "danger_text.h"
#include "entry/library.h"
#include "library_survey.h"
#include "machine.h"
#include "refusal.h"

namespace devprep::tool {

Result<OutcomeReport> RunPass(bool follow_identity) {
  if (SimKeyExists()) {
    return Refusal({"rebuild_blocked",
                    "the key Sim under the tape engine key blocks the rebuild; devices and groups "
                    "stay as they are"});
  }
  RunConfigurationPass({.FollowIdentity = follow_identity, .AfterProbe = SurveyFoundChangers});
  NoteUnitsLeftOut();
  OutcomeReport report = ReadOutcome();
  for (const SilentUnit& unit : TakeUnidentifiedUnits()) {
    report.dangers.push_back(ReportUnidentifiedUnit(unit));
  }
  return report;
}

}  // namespace devprep::tool
