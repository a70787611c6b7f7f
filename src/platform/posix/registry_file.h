// The registry in its file: read when it changed, replaced whole, guarded against other processes.
//
// What holds at every moment:
//  1. The file is the old text or the new one, whole, and never a text that cannot be read back.
//  2. A file that cannot be read or parsed is never written over.
//  3. Who changes the tree holds the lock, and has read the file while holding it. So a change is
//     made to what the change before it left.
//  4. A transaction sees one text: the file is read at its beginning and not again.
//  5. Before a new text takes its place, the old one is in the history (where one is kept).
//  6. Between transactions there is no lock and no change, and the tree is what the file held at
//     the last look, unless the tree is stale: then the next transaction reads the file whatever
//     its times say.
//
// States, and how they follow each other:
//   idle     -> reading   Begin, when this user may not write the registry
//   idle     -> writing   Begin, when it may be written: the lock is taken
//   idle     -> unmade    Begin, when its folder is still missing: there is nothing to lock
//   idle     -> copy      Begin on a copy: changes are made in memory and never stored
//   idle     -> refused   Begin, when the file cannot be read, or the wait for the lock is over
//   unmade   -> writing   PrepareChange: the folder is made and the lock taken
//   unmade   -> failed    PrepareChange, when that cannot be done: nothing of this transaction is
//                         stored, which has been said once
//   any of these -> idle  Commit, Abandon
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/registry_lock.h"
#include "platform/posix/watched_file.h"
#include "platform/registry/record_counts.h"
#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep {

// The environment variable that names the registry file, and the file without it.
inline constexpr const char* kRegistryVariable = "DEVPREP_REGISTRY";
inline constexpr const char* kDefaultRegistry = "/var/lib/devprep/registry.reg";

// The path of the registry file in use.
std::string RegistryFilePath();

class RegistryFile {
 public:
  // Called with the old root and the new one before the old one is dropped.
  using ReloadListener = std::function<void(const std::shared_ptr<RegistryKey>& from,
                                            const std::shared_ptr<RegistryKey>& to)>;

  explicit RegistryFile(ReloadListener on_reload) : on_reload_(std::move(on_reload)) {}

  // Starts a transaction: takes the lock where the registry may be written, and brings the tree up
  // to date. on_copy: changes are made to a copy that is never stored, by anybody who can read the
  // file. Returns ERROR_SUCCESS; ERROR_BADDB when the file cannot be parsed; ERROR_ACCESS_DENIED
  // when it cannot be read, or when another process keeps the lock. The reason has then been
  // reported, once for each state of the file.
  int Begin(bool on_copy);

  // Whether the tree may be changed: as far as the modes and rights of the file and its folder
  // tell. Looked up once in a transaction.
  bool Writable() const { return writable_; }

  // To be called before the tree is changed. Makes the folder where it is missing. False when that
  // fails: the transaction has failed then.
  bool PrepareChange();

  // To be called when the tree was changed: Commit has something to store.
  void MarkChanged() { changed_ = true; }
  bool Changed() const { return changed_; }

  // Stores what changed and unlocks. False when that could not be done, which has been reported:
  // the old file is then in place and the next Begin reads it. Or the new one is, but its folder
  // could not be synced, so that it may not survive a power cut.
  bool Commit();

  // Whether the last transaction's changes, if any, are in the file.
  bool InPlace() const { return in_place_; }

  // Forgets what changed and unlocks.
  void Abandon();

  // The key HKEY_LOCAL_MACHINE, and the root above it, of which it is one child.
  const std::shared_ptr<RegistryKey>& LocalMachine() const { return local_machine_; }
  const std::shared_ptr<RegistryKey>& Root() const { return root_; }

 private:
  int Load();
  int Refuse(const Error& error, int status);
  bool LookWhetherWritable() const;
  void UseTree(std::shared_ptr<RegistryKey> root);
  Result<> Lock();
  void Fail(const Error& error);
  Result<> Store();

  ReloadListener on_reload_;
  std::string path_;    // links followed
  std::string folder_;  // of path_
  RegistryLock lock_;
  WatchedFile file_;
  std::string refusal_;       // the last one reported
  std::string lock_refusal_;  // the same of the lock
  int load_status_ = 0;
  bool stale_ = true;    // the tree must be read again even from an unchanged file
  bool exists_ = false;  // the file, at the last look
  // Of the transaction.
  bool on_copy_ = false;
  bool writable_ = false;
  bool failed_ = false;
  bool changed_ = false;
  bool in_place_ = false;
  std::optional<RecordCounts> before_;  // the first change; set once the tree may have changed
  std::shared_ptr<RegistryKey> root_;
  std::shared_ptr<RegistryKey> local_machine_;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_FILE_H_
