// What the next configuration pass would make of an edit.
#ifndef DEVPREP_TOOLS_NEXT_PASS_H_
#define DEVPREP_TOOLS_NEXT_PASS_H_

#include <vector>

#include "guarded_edit.h"
#include "listing.h"

namespace devprep::tool {

// Adds remarks to the JSON, or prints them.
void ReportRemarks(const std::vector<Term>& remarks);

// A guarded edit of memberships, with a remark for each reserved drive and group member that the
// next configuration pass would make another device, or none, and would not without the edit: the
// pass's rules are tried on the configured devices as if these, where they are, were what is
// attached. That needs no hardware.
Result<ExitStatus> RunMembershipEdit(const Options& options, const GuardOptions& guard,
                                     const Edit& edit);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_NEXT_PASS_H_
