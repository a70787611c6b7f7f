#include "platform/posix/registry_lock.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/messages.h"
#include "platform/posix/change_cause.h"
#include "platform/posix/replace_file.h"
#include "platform/setting.h"

namespace devprep {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kSilentWait{1};
constexpr std::chrono::microseconds kFirstPause{100};
constexpr std::chrono::microseconds kLongestPause{5000};
constexpr mode_t kOwnerOnly = 0600;
constexpr std::size_t kMaxHolderLine = 256;

// A POSIX access list as an extended attribute (linux/posix_acl_xattr.h): a 4-byte version, then
// entries of 2 bytes tag, 2 bytes permissions (4 read, 2 write, 1 execute), 4 bytes id, all little
// endian.
constexpr const char* kAccessList = "system.posix_acl_access";
constexpr std::size_t kAclHeaderSize = 4;
constexpr std::size_t kAclEntrySize = 8;
constexpr std::size_t kAclPermissionsAt = 2;
constexpr unsigned kAclWrite = 2;
constexpr char kAclReadWrite = 6;

std::string LockPath(const std::string& path) {
  return FolderOf(path) + "/." + NameOf(path) + ".lock";
}

Result<FileHandle> OpenLockFile(const std::string& lock_path) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
  // Opened first, then made: in a folder that many may write, the kernel refuses to open a file of
  // another user as one that may have to be made.
  Result<FileHandle> file = OpenFile(lock_path, kFlags);
  if (!file && file.Failure().system_error == ENOENT) {
    file = OpenFile(lock_path, kFlags | O_CREAT | O_EXCL, kOwnerOnly);
    if (!file && file.Failure().system_error == EEXIST) file = OpenFile(lock_path, kFlags);
  }
  return file;
}

// The class of users (owner, group, others) that may write may read and write, no other may either.
mode_t WritersOf(mode_t mode) {
  const mode_t write = mode & 0222;
  return write | write << 1;
}

std::string WritersOf(std::string access_list) {
  for (std::size_t at = kAclHeaderSize; at + kAclEntrySize <= access_list.size();
       at += kAclEntrySize) {
    char& permissions = access_list[at + kAclPermissionsAt];
    permissions = (static_cast<unsigned char>(permissions) & kAclWrite) != 0 ? kAclReadWrite : '\0';
  }
  return access_list;
}

// Lets those lock who may write the registry. The rights of another user's lock file stay as they
// are.
Result<> SetRights(const std::string& path, const FileHandle& lock) {
  struct stat registry {};
  struct stat now {};
  if (::stat(path.c_str(), &registry) != 0) return {};  // who makes it, locks it
  if (::fstat(lock.Get(), &now) != 0) return SystemError();
  if (now.st_uid != ::geteuid() && ::geteuid() != 0) return {};
  if (Result<> given = GiveTo(lock, registry.st_uid, registry.st_gid); !given) return given;
  const Result<std::string> list = GetAttribute(path, kAccessList);
  const int no_list = list ? 0 : list.Failure().system_error;
  if (list) return SetAttribute(lock, kAccessList, WritersOf(*list));
  if (no_list != ENODATA && no_list != ENOTSUP) return list.Failure();
  const mode_t wanted = WritersOf(registry.st_mode);
  if ((now.st_mode & 0777) == wanted) return {};
  return SetMode(lock, wanted);
}

// Whether the file that was locked is still the one at its path.
bool IsAt(const std::string& path, const FileHandle& file) {
  struct stat named {};
  struct stat open {};
  return ::stat(path.c_str(), &named) == 0 && ::fstat(file.Get(), &open) == 0 &&
         named.st_ino == open.st_ino && named.st_dev == open.st_dev;
}

std::string HolderLine(const FileHandle& file) {
  std::array<char, kMaxHolderLine> line{};
  const ssize_t size = ::pread(file.Get(), line.data(), line.size(), 0);
  return {line.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

// "devprep (process 123, user root)" from a holder's line.
std::string HolderOf(const FileHandle& file) {
  const std::string line = HolderLine(file);
  const std::size_t program = line.find(' ');
  const std::size_t user = line.rfind(' ');
  if (program == std::string::npos || user == program || !line.ends_with('\n')) {
    return "another process";
  }
  return line.substr(program + 1, user - program - 1) + " (process " + line.substr(0, program) +
         ", user " + line.substr(user + 1, line.size() - user - 2) + ")";
}

// Locks the file as soon as nobody else has it, or gives up.
Result<> Wait(const std::string& path, const FileHandle& file) {
  const unsigned seconds = NumberSetting(kWaitVariable, kDefaultWaitSeconds, kMaxWaitSeconds);
  const Clock::time_point start = Clock::now();
  std::chrono::microseconds pause = kFirstPause;
  bool said = false;
  while (true) {
    Result<> locked = TryLock(file);
    if (locked) return locked;
    if (locked.Failure().system_error != EWOULDBLOCK) return locked.Failure().In(LockPath(path));
    const auto waited = Clock::now() - start;
    if (waited >= std::chrono::seconds(seconds)) {
      return Error{"in use by " + HolderOf(file) + "; waited " + std::to_string(seconds) + " s (" +
                       kWaitVariable + ")",
                   path, 0, EWOULDBLOCK, "registry_locked"};
    }
    if (waited >= kSilentWait && !said) {
      ReportMessage(Severity::kNote, path + ": waiting for " + HolderOf(file));
      said = true;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, kLongestPause);
  }
}

}  // namespace

Result<> RegistryLock::Take(const std::string& path) {
  const std::string lock_path = LockPath(path);
  while (true) {
    Result<FileHandle> file = OpenLockFile(lock_path);
    if (!file) return file.Failure();
    if (Result<> locked = Wait(path, *file); !locked) return locked;
    // Somebody may have removed the file while it was waited for.
    if (!IsAt(lock_path, *file)) continue;
    file_ = *std::move(file);
    NameHolder();
    if (const Result<> set = SetRights(path, file_); !set) {
      Release();
      return set.Failure().In(lock_path);
    }
    return {};
  }
}

void RegistryLock::NameHolder() {
  const ChangeCause cause = CurrentCause();
  std::string line = std::to_string(::getpid()) + ' ' + PrintableText(cause.program) + ' ' +
                     (cause.user.empty() ? std::to_string(cause.uid) : cause.user) + '\n';
  line.resize(std::min(line.size(), kMaxHolderLine - 1));
  held_by_other_ = HolderLine(file_) != line;
  if (!held_by_other_) return;
  // For information alone: a disk that is full must not keep anybody from reading.
  if (::pwrite(file_.Get(), line.data(), line.size(), 0) < 0 ||
      ::ftruncate(file_.Get(), static_cast<off_t>(line.size())) != 0) {
    errno = 0;
  }
}

}  // namespace devprep
