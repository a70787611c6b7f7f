#include "history.h"

#include <algorithm>

#include "windows/branch_history.h"

namespace devprep::tool {

Result<std::vector<HistoryEntry>> ListChanges() { return ListBranchHistory(); }

Result<std::string> TextBeforeChange(std::uint64_t number) { return BranchTextBefore(number); }

Result<std::string> TextAfterChange(std::uint64_t number) {
  const auto changes = ListBranchHistory();
  if (!changes) return changes.Failure();
  const auto next = std::find_if(changes->begin(), changes->end(),
                                 [number](const HistoryEntry& e) { return e.number > number; });
  return next == changes->end() ? BranchText() : BranchTextBefore(next->number);
}

Result<> ReplaceRegistry(const std::string& text) { return ReplaceBranch(text); }

}  // namespace devprep::tool
