#include "platform/posix/file_ops.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace devprep {
namespace {

constinit FileFault current_fault = nullptr;

bool Fails(const char* call) {
  const int error = current_fault == nullptr ? 0 : current_fault(call);
  if (error != 0) errno = error;
  return error != 0;
}

// Makes a call again while a signal interrupts it.
template <typename Call>
auto Insist(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
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

FileHandle OpenFile(const std::string& path, int flags, mode_t mode) {
  if (Fails("open")) return {};
  return FileHandle(Insist([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

bool ReadAll(const FileHandle& file, std::string& out) {
  out.clear();
  if (Fails("read")) return false;
  struct stat status {};
  if (::fstat(file.Get(), &status) == 0 && status.st_size > 0) {
    out.reserve(static_cast<std::size_t>(status.st_size) + 1);
  }
  std::array<char, 65536> block{};
  off_t at = 0;
  while (true) {
    const ssize_t got = Insist([&] { return ::pread(file.Get(), block.data(), block.size(), at); });
    if (got < 0) return false;
    if (got == 0) return true;
    out.append(block.data(), static_cast<std::size_t>(got));
    at += got;
  }
}

bool WriteAll(const FileHandle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    if (Fails("write")) return false;
    const ssize_t done = Insist([&] { return ::write(file.Get(), bytes.data(), bytes.size()); });
    if (done < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(done));
  }
  return true;
}

bool SyncFile(const FileHandle& file) { return !Fails("fsync") && ::fsync(file.Get()) == 0; }

bool CloseFile(FileHandle file) {
  if (Fails("close")) return false;
  return ::close(file.Release()) == 0;
}

bool RenameFile(const std::string& from, const std::string& to) {
  return !Fails("rename") && std::rename(from.c_str(), to.c_str()) == 0;
}

bool LockExclusively(const FileHandle& file) {
  return !Fails("flock") && Insist([&] { return ::flock(file.Get(), LOCK_EX); }) == 0;
}

bool MakeFolder(const std::string& path) {
  if (Fails("mkdir")) return false;
  return ::mkdir(path.c_str(), 0755) == 0 || errno == EEXIST;
}

bool SetMode(const FileHandle& file, mode_t mode) {
  return !Fails("fchmod") && ::fchmod(file.Get(), mode) == 0;
}

std::string LastErrorText() { return std::generic_category().message(errno); }

}  // namespace devprep
