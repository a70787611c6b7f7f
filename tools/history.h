// The history of the registry as the tool reads it, and the way back: each platform keeps it in its
// own way.
#ifndef DEVPREP_TOOLS_HISTORY_H_
#define DEVPREP_TOOLS_HISTORY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/registry/history_entry.h"
#include "platform/result.h"

namespace devprep::tool {

// All within a session.

// The changes of which the history keeps what they replaced, ascending. None when there is none.
Result<std::vector<HistoryEntry>> ListChanges();

// The registry as it was before and after a change that ListChanges has given.
Result<HistoryText> TextBeforeChange(std::uint64_t number);
Result<HistoryText> TextAfterChange(std::uint64_t number);

// Puts what a text holds in the place of all that the registry holds. A text that cannot be read
// changes nothing.
Result<> ReplaceRegistry(const std::string& text);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_HISTORY_H_
