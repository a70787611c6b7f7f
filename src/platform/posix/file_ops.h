// The operating system's file calls, each behind one point where a test can make it fail.
#ifndef DEVPREP_PLATFORM_POSIX_FILE_OPS_H_
#define DEVPREP_PLATFORM_POSIX_FILE_OPS_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/registry_text.h"
#include "platform/result.h"

namespace devprep {

// The largest file that is read.
inline constexpr std::size_t kMaxFileSize = kMaxRegistryText;

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

// Errors of the calls below are SystemError(). They name the file where the call takes a path.
// Interrupted calls are made again.
Result<FileHandle> OpenFile(const std::string& path, int flags, mode_t mode = 0);
// All that is left to read, of a pipe, too. More than max_size bytes are an error (EFBIG).
Result<std::string> ReadAll(const FileHandle& file, std::size_t max_size = kMaxFileSize);
Result<> WriteAll(const FileHandle& file, std::string_view bytes);
Result<> SyncFile(const FileHandle& file);
Result<> CloseFile(FileHandle file);
Result<> RenameFile(const std::string& from, const std::string& to);
// Locks a file against all others that do so. EWOULDBLOCK when one of them has it.
Result<> TryLock(const FileHandle& file);
Result<> LinkFile(const std::string& from, const std::string& to);
Result<> RemoveFile(const std::string& path);
// A folder that is there already is as good.
Result<> MakeFolder(const std::string& path);
Result<> SetMode(const FileHandle& file, mode_t mode);
Result<> SetOwner(const FileHandle& file, uid_t owner, gid_t group);
Result<struct stat> StatusOf(const std::string& path);
// The names of extended attributes, each with a NUL behind it; the value of one; and setting one.
Result<std::string> ListAttributes(const std::string& path);
Result<std::string> GetAttribute(const std::string& path, const std::string& name);
Result<> SetAttribute(const FileHandle& file, const std::string& name, std::string_view value);
// The names in a folder, in no order, without "." and "..".
Result<std::vector<std::string>> ListFolder(const std::string& path);

// What is in the file at path.
Result<std::string> ReadFile(const std::string& path, std::size_t max_size = kMaxFileSize);

// The last error of the operating system, such as "No space left on device", with its number.
Error SystemError(std::string file = {});

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_FILE_OPS_H_
