#include "platform/posix/watched_file.h"

#include <fcntl.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

// A file changed twice within one tick of the clock shows the same times; beyond this age that
// cannot happen unseen.
constexpr std::time_t kSettledSeconds = 2;

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         SameTime(a.st_mtim, b.st_mtim) && SameTime(a.st_ctim, b.st_ctim);
}

}  // namespace

Result<WatchedFile::State> WatchedFile::Refresh(const std::string& path) {
  if (path != path_) {
    path_ = path;
    known_ = false;
  }
  struct stat now {};
  if (::stat(path.c_str(), &now) == 0) {
    if (known_ && settled_ && SameFile(now, status_)) return State::kUnchanged;
    if (!S_ISREG(now.st_mode)) {
      known_ = false;
      return Error{"not a regular file", path};
    }
  }
  const bool was_known = std::exchange(known_, false);
  const Result<FileHandle> file = OpenFile(path, O_RDONLY);
  if (!file) {
    if (file.Failure().system_error == ENOENT) return State::kMissing;
    return file.Failure();
  }
  if (::fstat(file->Get(), &now) != 0) return SystemError(path);
  Result<std::string> text = ReadAll(*file);
  if (!text) return text.Failure().In(path);
  known_ = true;
  settled_ = std::time(nullptr) - now.st_ctim.tv_sec > kSettledSeconds;
  status_ = now;
  if (was_known && *text == text_) return State::kUnchanged;
  text_ = *std::move(text);
  return State::kChanged;
}

void WatchedFile::Adopt(std::string text) {
  known_ = true;
  settled_ = false;
  text_ = std::move(text);
}

}  // namespace devprep
