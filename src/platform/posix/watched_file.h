// The text of a file that other programs may replace, read again only when it may have changed.
#ifndef DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_
#define DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_

#include <sys/stat.h>

#include <string>

namespace devprep {

class WatchedFile {
 public:
  enum class State { kUnchanged, kChanged, kMissing, kUnreadable };

  // Looks at the file at path. kChanged: Text() is new, or the file has just appeared. kUnreadable:
  // Problem() says why.
  State Refresh(const std::string& path);

  const std::string& Text() const { return text_; }
  const std::string& Problem() const { return problem_; }
  // What the last Refresh saw; meaningless after kMissing.
  const struct stat& Status() const { return status_; }

  // Takes note of what this process itself has just put into the file.
  void Adopt(std::string text);

 private:
  bool known_ = false;    // text_ is what the file held at the last look
  bool settled_ = false;  // the file was old enough then that a change must show in its times
  std::string path_;
  std::string text_;
  std::string problem_;
  struct stat status_ {};
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_WATCHED_FILE_H_
