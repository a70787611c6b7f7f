// The configuration pass as the tool runs it.
#ifndef DEVPREP_TOOLS_PASS_H_
#define DEVPREP_TOOLS_PASS_H_

#include "outcome_report.h"
#include "platform/result.h"

namespace devprep::tool {

// Runs the pass within a session and judges its outcome. Attached units that do not say what they
// are do not fail the session: each is a danger, and whoever stores the outcome has to refuse it.
// Fails when the key Sim blocks the pass.
Result<OutcomeReport> RunPass(bool follow_identity);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_PASS_H_
