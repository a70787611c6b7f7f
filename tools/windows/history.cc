#include "history.h"

#include <algorithm>

#include "windows/branch_history.h"

namespace devprep::tool {

Result<std::vector<HistoryEntry>> ListChanges() { return ListBranchHistory(); }

Result<HistoryText> TextBeforeChange(std::uint64_t number) { return BranchTextBefore(number); }

Result<HistoryText> TextAfterChange(std::uint64_t number) {
  const auto changes = ListBranchHistory();
  if (!changes) return changes.Failure();
  const auto next = std::find_if(changes->begin(), changes->end(),
                                 [number](const HistoryEntry& e) { return e.number > number; });
  if (next != changes->end()) return BranchTextBefore(next->number);
  Result<std::string> text = BranchText();
  if (!text) return text.Failure();
  return HistoryText{*std::move(text), ""};
}

Result<> ReplaceRegistry(const std::string& text) { return ReplaceBranch(text); }

}  // namespace devprep::tool
