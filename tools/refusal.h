// Why something is not done, for people and for programs.
#ifndef DEVPREP_TOOLS_REFUSAL_H_
#define DEVPREP_TOOLS_REFUSAL_H_

#include "listing.h"
#include "platform/result.h"

namespace devprep::tool {

inline constexpr const char* kForceHelp = "Do it where the tape engine may not be able to use it";

// The error that says why: the reason's identifier is its code for programs.
Error Refusal(const Term& reason);

// The same for what can be stored, but may not be what the tape engine can use: --force has it
// done.
Error RefusalUnlessForced(const Term& reason);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_REFUSAL_H_
