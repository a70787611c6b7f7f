// The text of a file that other programs may replace, read again only when it may have changed.
#ifndef DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_
#define DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_

#include <sys/stat.h>

#include <string>

#include "platform/result.h"

namespace devprep {

class WatchedFile {
 public:
  enum class State { kUnchanged, kChanged, kMissing };

  // Looks at the file at path. kChanged: Text() is new, or the file has just appeared. The error,
  // when the file cannot be read, names it.
  Result<State> Refresh(const std::string& path);

  const std::string& Text() const { return text_; }
  // What the last Refresh saw; meaningless after kMissing.
  const struct stat& Status() const { return status_; }

  // Takes note of what this process itself has just put into the file.
  void Adopt(std::string text);

 private:
  bool known_ = false;    // text_ is what the file held at the last look
  bool settled_ = false;  // the file was old enough then that a change must show in its times
  std::string path_;
  std::string text_;
  struct stat status_ {};
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_
