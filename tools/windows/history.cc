#include "history.h"

namespace devprep::tool {
namespace {

Error NotHere() {
  Error error{
      "no history is kept on Windows: \"reg export\" of the key "
      "HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline before a change keeps what it replaces"};
  error.code = "no_history";
  return error;
}

}  // namespace

Result<std::vector<HistoryEntry>> ListChanges() { return NotHere(); }

Result<std::string> TextBeforeChange(std::uint64_t /*number*/) { return NotHere(); }

Result<std::string> TextAfterChange(std::uint64_t /*number*/) { return NotHere(); }

Result<> ReplaceRegistry(const std::string& /*text*/) { return NotHere(); }

}  // namespace devprep::tool
