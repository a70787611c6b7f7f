// Keeping what a replacement of the registry file replaces. registry_history.h reads it.
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_WRITER_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_WRITER_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/registry/history_layout.h"
#include "platform/registry/record_counts.h"
#include "platform/result.h"

namespace devprep {

// Where the history of the registry file at path lies, links followed, and an entry's two files.
std::string HistoryFolder(const std::string& path);
std::string HistoryTextPath(const std::string& folder, std::uint64_t number);
std::string HistoryCausePath(const std::string& folder, std::uint64_t number);

// The numbers of the entries in a history folder, ascending. None when there is no such folder.
Result<std::vector<std::uint64_t>> HistoryNumbers(const std::string& folder);

// Whether the entry was made for a replacement of the file at path that then did not happen: the
// file is still the one that the entry keeps.
bool IsUnused(const std::string& folder, std::uint64_t number, const std::string& path);

// The entry for one replacement, in the order of its functions. An error leaves no entry; so does
// letting it go before Keep. The caller holds the registry's lock.
//
// Nothing of it is synced by itself, which would cost half as much again as the replacement: it is
// made before the new registry is synced and renamed, and a file system with a journal brings
// entries back in the order in which they were made.
class NewHistoryEntry {
 public:
  explicit NewHistoryEntry(const std::string& path) : path_(path), folder_(HistoryFolder(path)) {}
  NewHistoryEntry(const NewHistoryEntry&) = delete;
  NewHistoryEntry& operator=(const NewHistoryEntry&) = delete;
  ~NewHistoryEntry();

  // Links the file into the history, or copies it where that cannot be done, and writes who changes
  // it. Does nothing, nor do the others, when no history is kept.
  Result<> Make(const RecordCounts& before, const RecordCounts& after);
  // The replacement has happened: the entry stays, and the oldest beyond the number kept go. What
  // cannot be removed has been reported, and goes later.
  void Keep();

 private:
  Result<> MakeFolderLike(const struct stat& registry) const;
  Result<> Link(const struct stat& registry) const;
  Result<> Copy(const struct stat& registry) const;
  void Remove(std::uint64_t number) const;
  Result<> RemoveOldest() const;

  std::string path_;
  std::string folder_;
  unsigned kept_ = 0;
  std::vector<std::uint64_t> numbers_;  // of the entries before
  std::uint64_t number_ = 0;            // 0: no entry was made
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_WRITER_H_
