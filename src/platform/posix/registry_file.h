// The registry in its file: read when it changed, replaced whole, guarded against other processes.
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/posix/file_ops.h"
#include "platform/posix/watched_file.h"
#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep {

// The environment variable that names the registry file, and the file without it.
inline constexpr const char* kRegistryVariable = "DEVPREP_REGISTRY";
inline constexpr const char* kDefaultRegistry = "/var/lib/devprep/registry.reg";

// The path of the registry file in use.
std::string RegistryFilePath();

// Replaces the file at path: a new file in the same folder, written, synced, read back and renamed
// over the old one, whose mode and owner it gets. After an error the old file is still there. The
// caller keeps other writers out.
Result<> ReplaceFile(const std::string& path, const std::string& text);

class RegistryFile {
 public:
  // Called with the old root and the new one before the old one is dropped.
  using ReloadListener = std::function<void(const std::shared_ptr<RegistryKey>& from,
                                            const std::shared_ptr<RegistryKey>& to)>;

  explicit RegistryFile(ReloadListener on_reload) : on_reload_(std::move(on_reload)) {}

  // Locks the file against other processes and brings the tree up to date. Returns ERROR_SUCCESS;
  // ERROR_BADDB when the file cannot be parsed; ERROR_ACCESS_DENIED when it cannot be read. The
  // reason has then gone to standard error, once for each state of the file.
  int Begin();

  // Whether the file and its folder may be written, as far as their modes and rights tell. Looked
  // up once in a transaction.
  bool Writable();

  // Within a transaction that will be abandoned: from now on it may change the tree whatever the
  // file and its folder allow.
  void TryChangesOnly() { trial_ = true; }

  // To be called before the tree is changed. Makes the folder where it is missing. False when that
  // fails.
  bool PrepareChange();

  // To be called when the tree was changed: Commit has something to store.
  void MarkChanged() { changed_ = true; }
  bool Changed() const { return changed_; }

  // Stores what changed and unlocks. False when it cannot be stored: the reason has gone to
  // standard error, and the next Begin reads the old file again.
  bool Commit();

  // Forgets what changed and unlocks.
  void Abandon();

  // The key HKEY_LOCAL_MACHINE, and the root above it, of which it is one child.
  const std::shared_ptr<RegistryKey>& LocalMachine() const { return local_machine_; }
  const std::shared_ptr<RegistryKey>& Root() const { return root_; }

 private:
  int Load();
  int Refuse(const Error& error, int status);
  Result<> LockFolder();
  Result<> Store();
  bool LookWhetherWritable() const;
  void UseTree(std::shared_ptr<RegistryKey> root);

  ReloadListener on_reload_;
  std::string path_;    // links followed
  std::string folder_;  // of path_
  FileHandle lock_;     // the folder, locked; not open while the folder is missing
  WatchedFile file_;
  std::string refusal_;  // the last one reported
  int load_status_ = 0;
  bool stale_ = true;     // the tree must be read again even from an unchanged file
  bool exists_ = false;   // the file, at the last look
  bool changed_ = false;  // the tree, since Begin
  bool trial_ = false;
  std::optional<bool> writable_;  // since Begin; nothing: not looked up yet
  std::shared_ptr<RegistryKey> root_;
  std::shared_ptr<RegistryKey> local_machine_;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_
