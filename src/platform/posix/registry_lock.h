// The lock that keeps writers of one registry file apart, also across processes.
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_LOCK_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_LOCK_H_

#include <string>

#include "platform/posix/file_ops.h"
#include "platform/result.h"

namespace devprep {

// A locked file ".NAME.lock" beside the registry. Who may write the registry may read and write the
// lock file, and nobody else: who can open a file can lock it. It stays there; while it is locked
// its line names the holder: process id, program, user.
class RegistryLock {
 public:
  // Takes the lock for the registry file at path, whose folder exists. Waits while another process
  // has it, and says so after a second. The error's number is EWOULDBLOCK when the wait is over;
  // otherwise the lock file cannot be opened or locked.
  Result<> Take(const std::string& path);
  void Release() { file_ = FileHandle(); }
  bool Held() const { return file_.IsOpen(); }
  // Whether another process had the lock since this one had it last.
  bool HeldByOther() const { return held_by_other_; }

 private:
  void NameHolder();

  FileHandle file_;
  bool held_by_other_ = true;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_LOCK_H_
