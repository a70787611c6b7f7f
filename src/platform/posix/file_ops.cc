#include "platform/posix/file_ops.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
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

// What a call stores that tells the size when it is given no room. Most often there is nothing.
template <typename Call>
Result<std::string> ReadGrowing(const char* name, Call call) {
  while (true) {
    const ssize_t size = RetryOnInterrupt(name, [&] { return call(nullptr, 0); });
    if (size < 0) return SystemError();
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (size == 0) return bytes;
    const ssize_t got = call(bytes.data(), bytes.size());
    if (got >= 0) {
      bytes.resize(static_cast<std::size_t>(got));
      return bytes;
    }
    if (errno != ERANGE) return SystemError();  // else it has grown since
  }
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

Result<> TryLock(const FileHandle& file) {
  return Do("flock", [&] { return ::flock(file.Get(), LOCK_EX | LOCK_NB); });
}

Result<> LinkFile(const std::string& from, const std::string& to) {
  return Do("link", [&] { return ::link(from.c_str(), to.c_str()); });
}

Result<> RemoveFile(const std::string& path) {
  return Do("unlink", [&] { return ::unlink(path.c_str()); });
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

Result<> SetOwner(const FileHandle& file, uid_t owner, gid_t group) {
  return Do("fchown", [&] { return ::fchown(file.Get(), owner, group); });
}

Result<struct stat> StatusOf(const std::string& path) {
  struct stat status {};
  if (RetryOnInterrupt("stat", [&] { return ::stat(path.c_str(), &status); }) < 0) {
    return SystemError(path);
  }
  return status;
}

Result<std::string> ListAttributes(const std::string& path) {
  return ReadGrowing("listxattr", [&](char* buffer, std::size_t size) {
    return ::listxattr(path.c_str(), buffer, size);
  });
}

Result<std::string> GetAttribute(const std::string& path, const std::string& name) {
  return ReadGrowing("getxattr", [&](char* buffer, std::size_t size) {
    return ::getxattr(path.c_str(), name.c_str(), buffer, size);
  });
}

Result<> SetAttribute(const FileHandle& file, const std::string& name, std::string_view value) {
  return Do("fsetxattr",
            [&] { return ::fsetxattr(file.Get(), name.c_str(), value.data(), value.size(), 0); });
}

Result<std::vector<std::string>> ListFolder(const std::string& path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(
      RetryOnInterrupt("opendir", [] { return 0; }) < 0 ? nullptr : ::opendir(path.c_str()),
      ::closedir);
  if (folder == nullptr) return SystemError(path);
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return SystemError(path);
  return names;
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
