#include "platform/posix/registry_history.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/posix/file_ops.h"
#include "platform/posix/registry_history_writer.h"
#include "platform/posix/replace_file.h"
#include "platform/registry/history_cause.h"

namespace devprep {
namespace {

// What stands beside the text. A power cut may have taken it: then the times of the text tell when
// the change was, since being replaced was the last that happened to it.
void Describe(const std::string& folder, HistoryEntry& entry) {
  const std::string text_path = HistoryTextPath(folder, entry.number);
  struct stat status {};
  if (::stat(text_path.c_str(), &status) == 0) {
    entry.time = std::chrono::sys_seconds(std::chrono::seconds(status.st_ctim.tv_sec));
  }
  const Result<std::string> text =
      ReadFile(HistoryCausePath(folder, entry.number), kMaxHistoryCause);
  if (text) ReadHistoryCause(*text, entry);
}

Result<std::vector<std::uint64_t>> UsedNumbers(const std::string& registry_path) {
  const std::string folder = HistoryFolder(registry_path);
  Result<std::vector<std::uint64_t>> numbers = HistoryNumbers(folder);
  if (!numbers) return numbers;
  while (!numbers->empty() && IsUnused(folder, numbers->back(), registry_path)) {
    numbers->pop_back();
  }
  return numbers;
}

Result<HistoryText> ReadHistoryText(const std::string& path) {
  Result<std::string> text = ReadFile(path);
  if (!text) return text.Failure();
  return HistoryText{*std::move(text), path};
}

}  // namespace

Result<std::vector<HistoryEntry>> ListHistory(const std::string& registry_path) {
  const Result<std::vector<std::uint64_t>> numbers = UsedNumbers(registry_path);
  if (!numbers) return numbers.Failure();
  std::vector<HistoryEntry> entries;
  for (const std::uint64_t number : *numbers) {
    HistoryEntry entry;
    entry.number = number;
    Describe(HistoryFolder(registry_path), entry);
    entries.push_back(std::move(entry));
  }
  return entries;
}

Result<HistoryText> HistoryTextBefore(const std::string& registry_path, std::uint64_t number) {
  return ReadHistoryText(HistoryTextPath(HistoryFolder(registry_path), number));
}

Result<HistoryText> HistoryTextAfter(const std::string& registry_path, std::uint64_t number) {
  const Result<std::vector<std::uint64_t>> numbers = UsedNumbers(registry_path);
  if (!numbers) return numbers.Failure();
  const auto next = std::upper_bound(numbers->begin(), numbers->end(), number);
  return next == numbers->end() ? ReadHistoryText(registry_path)
                                : HistoryTextBefore(registry_path, *next);
}

}  // namespace devprep
