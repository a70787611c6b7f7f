// The operating system's file calls, each behind one point where a test can make it fail.
#ifndef DEVPREP_PLATFORM_POSIX_FILE_OPS_H_
#define DEVPREP_PLATFORM_POSIX_FILE_OPS_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>

namespace devprep {

// Asked before every call below, by its name. Returns 0 to let it happen, or the errno that it
// fails with. Null outside tests.
using FileFault = int (*)(const char* call);
void SetFileFault(FileFault fault);

// A file descriptor that closes with its owner.
class FileHandle {
 public:
  FileHandle() = default;
  explicit FileHandle(int fd) : fd_(fd) {}
  FileHandle(FileHandle&& other) noexcept : fd_(other.Release()) {}
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle();

  bool IsOpen() const { return fd_ >= 0; }
  int Get() const { return fd_; }
  int Release();

 private:
  int fd_ = -1;
};

// Each sets errno and returns false, or a handle that is not open, when the call fails. Interrupted
// calls are made again.
FileHandle OpenFile(const std::string& path, int flags, mode_t mode = 0);
bool ReadAll(const FileHandle& file, std::string& out);
bool WriteAll(const FileHandle& file, std::string_view bytes);
bool SyncFile(const FileHandle& file);
bool CloseFile(FileHandle file);
bool RenameFile(const std::string& from, const std::string& to);
bool LockExclusively(const FileHandle& file);
bool MakeFolder(const std::string& path);
bool SetMode(const FileHandle& file, mode_t mode);

// The last error as text, such as "No space left on device".
std::string LastErrorText();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_FILE_OPS_H_
