#include "platform/posix/registry_history_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/messages.h"
#include "platform/posix/change_cause.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/replace_file.h"
#include "platform/setting.h"

namespace devprep {
namespace {

constexpr mode_t kCauseMode = 0644;

// Who may read the registry may list its history, who may write it may add to that.
mode_t FolderModeFor(mode_t registry) {
  const mode_t read = registry & 0444;
  return (registry & 0666) | read >> 2;
}

std::string CauseText(std::uint64_t number, const RecordCounts& before, const RecordCounts& after) {
  const ChangeCause cause = CurrentCause();
  return HistoryCauseText(
      {number, std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()),
       cause.uid, cause.user, cause.program, cause.command, before, after});
}

}  // namespace

std::string HistoryFolder(const std::string& path) {
  const std::string file = FollowLinks(path);
  return FolderOf(file) + "/." + NameOf(file) + ".history";
}

std::string HistoryTextPath(const std::string& folder, std::uint64_t number) {
  return folder + '/' + HistoryTextName(number);
}

std::string HistoryCausePath(const std::string& folder, std::uint64_t number) {
  return folder + '/' + HistoryCauseName(number);
}

Result<std::vector<std::uint64_t>> HistoryNumbers(const std::string& folder) {
  const Result<std::vector<std::string>> names = ListFolder(folder);
  if (!names) {
    if (names.Failure().system_error == ENOENT) return std::vector<std::uint64_t>{};
    return names.Failure();
  }
  std::vector<std::uint64_t> numbers;
  for (const std::string& name : *names) {
    if (const std::uint64_t number = HistoryNumber(name); number != 0) numbers.push_back(number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

bool IsUnused(const std::string& folder, std::uint64_t number, const std::string& path) {
  const std::string text_path = HistoryTextPath(folder, number);
  struct stat entry {};
  struct stat registry {};
  if (::stat(text_path.c_str(), &entry) != 0 || ::stat(path.c_str(), &registry) != 0) return false;
  if (entry.st_ino == registry.st_ino && entry.st_dev == registry.st_dev) return true;
  // A copy has the times of what was copied. They do not tell apart what changed within one tick.
  if (entry.st_size != registry.st_size || entry.st_mtim.tv_sec != registry.st_mtim.tv_sec ||
      entry.st_mtim.tv_nsec != registry.st_mtim.tv_nsec) {
    return false;
  }
  const Result<std::string> kept = ReadFile(text_path);
  const Result<std::string> stored = ReadFile(path);
  return kept && stored && *kept == *stored;
}

NewHistoryEntry::~NewHistoryEntry() {
  if (number_ != 0) Remove(number_);
}

void NewHistoryEntry::Remove(std::uint64_t number) const {
  ::unlink(HistoryCausePath(folder_, number).c_str());
  ::unlink(HistoryTextPath(folder_, number).c_str());
}

Result<> NewHistoryEntry::Make(const RecordCounts& before, const RecordCounts& after) {
  kept_ = NumberSetting(kHistoryVariable, kDefaultHistory, kMaxHistory);
  if (kept_ == 0) return {};
  const Result<struct stat> registry = StatusOf(path_);
  if (!registry) return Cannot("read the rights of " + path_, registry.Failure());
  if (Result<> made = MakeFolderLike(*registry); !made) return made;
  Result<std::vector<std::uint64_t>> numbers = HistoryNumbers(folder_);
  if (!numbers) return Cannot("read " + folder_, numbers.Failure());
  numbers_ = *std::move(numbers);
  while (!numbers_.empty() && IsUnused(folder_, numbers_.back(), path_)) {
    Remove(numbers_.back());
    numbers_.pop_back();
  }
  number_ = numbers_.empty() ? 1 : numbers_.back() + 1;
  if (Result<> linked = Link(*registry); !linked) return linked;
  const std::string cause_path = HistoryCausePath(folder_, number_);
  ::unlink(cause_path.c_str());
  const Result<FileHandle> cause = OpenFile(cause_path, O_WRONLY | O_CREAT | O_EXCL, kCauseMode);
  Result<> done = cause ? WriteAll(*cause, CauseText(number_, before, after)) : cause.Failure();
  if (!done) return Cannot("write " + cause_path, done.Failure());
  return {};
}

Result<> NewHistoryEntry::MakeFolderLike(const struct stat& registry) const {
  struct stat status {};
  if (::stat(folder_.c_str(), &status) == 0) return {};
  Result<> done = MakeFolder(folder_);
  Result<FileHandle> folder = done ? OpenFile(folder_, O_RDONLY | O_DIRECTORY) : done.Failure();
  if (!folder) return Cannot("create folder " + folder_, folder.Failure());
  done = GiveTo(*folder, registry.st_uid, registry.st_gid);
  if (done) done = SetMode(*folder, FolderModeFor(registry.st_mode));
  if (done) done = SyncFolder(FolderOf(folder_));
  if (!done) return Cannot("create folder " + folder_, done.Failure());
  return {};
}

Result<> NewHistoryEntry::Link(const struct stat& registry) const {
  const std::string text_path = HistoryTextPath(folder_, number_);
  ::unlink(text_path.c_str());
  const Result<> linked = LinkFile(path_, text_path);
  if (linked) return {};
  switch (linked.Failure().system_error) {
    case EPERM:       // a file system without links, or another user's file
    case EOPNOTSUPP:  // the same
    case EXDEV:       // the history is on a disk of its own
    case EMLINK:
      return Copy(registry);
    default:
      return Cannot("write " + text_path, linked.Failure());
  }
}

Result<> NewHistoryEntry::Copy(const struct stat& registry) const {
  const std::string text_path = HistoryTextPath(folder_, number_);
  const Result<std::string> text = ReadFile(path_);
  if (!text) return Cannot("read " + path_, text.Failure());
  // Below its name it is there whole or not at all.
  FileReplacement copy(text_path, text_path + kUnfinishedHistoryEnding, path_);
  Result<> done = copy.Write(*text);
  if (done) done = copy.SetTimes(registry);
  if (done) done = copy.Sync(*text);
  if (done) done = copy.Rename();
  return done;
}

void NewHistoryEntry::Keep() {
  if (number_ == 0) return;
  number_ = 0;
  try {
    const Result<> done = RemoveOldest();
    if (done) return;
    ReportMessage(Severity::kWarning,
                  "cannot remove the oldest entry of " + folder_ + ": " + done.Failure().message);
  } catch (const std::bad_alloc&) {
    // The next change removes one more.
  }
}

Result<> NewHistoryEntry::RemoveOldest() const {
  const std::size_t entries = numbers_.size() + 1;
  for (std::size_t i = 0; i + kept_ < entries; ++i) {
    Result<> done = RemoveFile(HistoryCausePath(folder_, numbers_[i]));
    if (!done && done.Failure().system_error == ENOENT) done = {};
    if (done) done = RemoveFile(HistoryTextPath(folder_, numbers_[i]));
    if (!done) return done;
  }
  return {};
}

}  // namespace devprep
