#include "platform/posix/file_ops.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace devprep {
namespace {

constexpr std::size_t kReadStep = 65536;

constinit FileFault current_fault = nullptr;

// Makes a call, and again while a signal interrupts it. A negative result is an error.
template <typename Call>
auto RetryOnInterrupt(const char* name, Call call) -> decltype(call()) {
  const int error = current_fault == nullptr ? 0 : current_fault(name);
  if (error != 0) {
    errno = error;
    return -1;
  }
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

template <typename Call>
Result<> Do(const char* name, Call call) {
  if (RetryOnInterrupt(name, call) < 0) return SystemError();
  return {};
}

}  // namespace

void SetFileFault(FileFault fault) { current_fault = fault; }

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

FileHandle::~FileHandle() {
  if (fd_ >= 0) ::close(fd_);
}

int FileHandle::Release() { return std::exchange(fd_, -1); }

Result<FileHandle> OpenFile(const std::string& path, int flags, mode_t mode) {
  FileHandle file(
      RetryOnInterrupt("open", [&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
  if (!file.IsOpen()) return SystemError(path);
  return file;
}

Result<std::string> ReadAll(const FileHandle& file, std::size_t max_size) {
  struct stat status {};
  std::size_t size = 0;
  if (::fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode)) {
    size = static_cast<std::size_t>(status.st_size);
  }
  std::string bytes;
  std::size_t done = 0;
  while (done <= max_size) {
    // One byte beyond the file's size shows its end without a second buffer.
    if (done == bytes.size()) {
      const std::size_t room = done == 0 && size != 0 ? size + 1 : done + std::max(done, kReadStep);
      bytes.resize(std::min(room, max_size + 1));
    }
    const ssize_t got = RetryOnInterrupt(
        "read", [&] { return ::read(file.Get(), bytes.data() + done, bytes.size() - done); });
    if (got < 0) return SystemError();
    if (got == 0) {
      bytes.resize(done);
      return bytes;
    }
    done += static_cast<std::size_t>(got);
  }
  errno = EFBIG;
  return SystemError();
}

Result<> WriteAll(const FileHandle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t done =
        RetryOnInterrupt("write", [&] { return ::write(file.Get(), bytes.data(), bytes.size()); });
    if (done < 0) return SystemError();
    bytes.remove_prefix(static_cast<std::size_t>(done));
  }
  return {};
}

Result<> SyncFile(const FileHandle& file) {
  return Do("fsync", [&] { return ::fsync(file.Get()); });
}

Result<> CloseFile(FileHandle file) {
  // Linux closes the descriptor even where the call is interrupted: it is not made again.
  return Do("close", [&] {
    const int closed = ::close(file.Release());
    return closed < 0 && errno == EINTR ? 0 : closed;
  });
}

Result<> RenameFile(const std::string& from, const std::string& to) {
  return Do("rename", [&] { return std::rename(from.c_str(), to.c_str()); });
}

Result<> LockExclusively(const FileHandle& file) {
  return Do("flock", [&] { return ::flock(file.Get(), LOCK_EX); });
}

Result<> MakeFolder(const std::string& path) {
  return Do("mkdir", [&] {
    const int made = ::mkdir(path.c_str(), 0755);
    return made < 0 && errno == EEXIST ? 0 : made;
  });
}

Result<> SetMode(const FileHandle& file, mode_t mode) {
  return Do("fchmod", [&] { return ::fchmod(file.Get(), mode); });
}

Result<std::string> ReadFile(const std::string& path, std::size_t max_size) {
  const Result<FileHandle> file = OpenFile(path, O_RDONLY);
  if (!file) return file.Failure();
  Result<std::string> bytes = ReadAll(*file, max_size);
  if (!bytes) return bytes.Failure().In(path);
  return bytes;
}

Error SystemError(std::string file) {
  const int error = errno;
  return {std::generic_category().message(error), std::move(file), 0, error};
}

}  // namespace devprep
