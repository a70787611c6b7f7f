// The registry of this process: the tree of its file, the keys that are open, and the transaction.
#ifndef DEVPREP_PLATFORM_POSIX_PROCESS_REGISTRY_H_
#define DEVPREP_PLATFORM_POSIX_PROCESS_REGISTRY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/registry_file.h"
#include "platform/registry.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// Within a transaction: the root of the registry file's tree, to be read as a whole. Null when the
// file cannot be read.
std::shared_ptr<RegistryKey> RegistryRoot();

// Within a transaction: the same, about to be changed. Null also when it may not be written.
std::shared_ptr<RegistryKey> RegistryRootForChange();

// Ends a transaction as RegistryCommit does, but forgets what was changed.
void RegistryAbandon();

// Within a transaction: whether something would be stored at its end.
bool RegistryChanged();

// Within a transaction: whether the file could be read, may be written, and whether the machine's
// hardware could be had when it was asked for. What fails has been reported.
bool RegistryReadable();
bool RegistryWritable();

// What a handle stands for.
struct OpenKey {
  std::shared_ptr<RegistryKey> key;
  REGSAM access = 0;
  bool hardware = false;      // in the branch of the hardware source
  std::uintptr_t handle = 0;  // 0: the slot is free
};

// Owner of all that the calls of platform/registry.h share. One for the process: TheRegistry().
class ProcessRegistry {
 public:
  ProcessRegistry() : file_([this](const auto& from, const auto& to) { MoveHandles(from, to); }) {}

  // A transaction, as RegistryBegin, RegistryCommit, RegistryAbandon and RegistryFail describe it.
  void Begin(bool on_copy = false);
  bool Commit();
  void Abandon();
  void Fail(const char* reason);
  // A trial, as RegistryBeginTrial and RegistryEndTrial describe it.
  bool BeginTrial();
  void EndTrial();

  // Within a transaction: what every open gives, ERROR_SUCCESS when the registry can be used.
  LONG Status() const { return status_; }
  RegistryFile& File() { return file_; }

  // The open key behind a handle. Null for a handle that is not open.
  OpenKey* Find(HKEY handle);

  // A new handle. Null when there are too many.
  HKEY Add(std::shared_ptr<RegistryKey> key, REGSAM access, bool hardware);

  // False for a handle that is not open.
  bool Close(HKEY handle);

  // The key at path below an open key. status tells why it is null. hardware: whether it lies in
  // the branch of the hardware source.
  std::shared_ptr<RegistryKey> Walk(const OpenKey& from, std::string_view path, bool& hardware,
                                    LONG& status);

 private:
  void MoveHandles(const std::shared_ptr<RegistryKey>& from,
                   const std::shared_ptr<RegistryKey>& to);

  RegistryFile file_;
  int depth_ = 0;
  bool trial_ = false;
  LONG status_ = ERROR_SUCCESS;
  bool no_hardware_ = false;  // it was asked for, and could not be had
  bool failed_ = false;       // nothing of this transaction is to be stored
  OpenKey local_machine_{nullptr, KEY_ALL_ACCESS, false, 0};
  std::vector<OpenKey> open_;
  std::vector<std::size_t> free_;  // slots of open_
  std::uintptr_t serial_ = 0;
  // The last key that was reached over several levels from the top, but for those below the one
  // before: nearly every operation starts at the tape engine key.
  std::string memo_path_;
  std::shared_ptr<RegistryKey> memo_key_;
};

ProcessRegistry& TheRegistry();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_PROCESS_REGISTRY_H_
