// The history on Windows: each change of the product's branch by this tool keeps the branch as it
// was, as a text, in %ProgramData%\devprep\history. What the library changes for other programs is
// not in it.
#ifndef DEVPREP_TOOLS_WINDOWS_BRANCH_HISTORY_H_
#define DEVPREP_TOOLS_WINDOWS_BRANCH_HISTORY_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/registry/history_entry.h"
#include "platform/result.h"

namespace devprep::tool {

// The product's branch as a text in the registry editor's format.
Result<std::string> BranchText();

// Puts what a text holds in the place of the product's branch. Only what differs, or is in another
// order, is written: a text with characters that single bytes cannot hold stays as it is where
// nothing else stood there. A text that cannot be read changes nothing; an error in between leaves
// what was written so far.
Result<> ReplaceBranch(const std::string& text);

// One change. It is begun before anything is stored, so that what it replaces is kept even when the
// process is ended half-way.
class BranchChange {
 public:
  explicit BranchChange(std::string command) : command_(std::move(command)) {}
  BranchChange(const BranchChange&) = delete;
  BranchChange& operator=(const BranchChange&) = delete;
  ~BranchChange() { End(); }

  // Waits for another process's change and makes the entry. The error says why there is none;
  // nothing may be changed then.
  Result<> Begin();

  // Ends it: an entry of a change that changed nothing goes, and so do the oldest beyond the number
  // kept. Problems are reported. Returns whether there is an entry of it now.
  bool End();

 private:
  std::string command_;
  std::shared_ptr<void> lock_;
  std::string before_;
  HistoryEntry entry_;  // number 0: no history is kept
};

// The entries, ascending by number, without that of a change that has begun and not ended.
Result<std::vector<HistoryEntry>> ListBranchHistory();

// The branch as it was before change number.
Result<HistoryText> BranchTextBefore(std::uint64_t number);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_WINDOWS_BRANCH_HISTORY_H_
