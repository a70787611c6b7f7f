#include "platform/posix/registry_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "platform/messages.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/registry_history_writer.h"
#include "platform/posix/replace_file.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "platform/setting.h"

namespace devprep {
namespace {

constexpr mode_t kAllWriteBits = 0222;

// Someone who takes all write bits from a file wants it left alone, whoever runs this; and root may
// pass the check of rights alone.
bool MayWrite(const std::string& path, mode_t mode) {
  return (mode & kAllWriteBits) != 0 && ::access(path.c_str(), W_OK) == 0;
}

bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// Where the new text lies until it takes its place. One name for all runs: the lock keeps others
// out, so what is there was left by one that died.
std::string TemporaryPath(const std::string& path) {
  return FolderOf(path) + "/." + NameOf(path) + ".devprep-new";
}

}  // namespace

std::string RegistryFilePath() {
  std::string named = Setting(kRegistryVariable);
  return named.empty() ? kDefaultRegistry : named;
}

int RegistryFile::Begin(bool on_copy) {
  on_copy_ = on_copy;
  changed_ = false;
  failed_ = false;
  in_place_ = false;
  before_.reset();
  std::string path = FollowLinks(RegistryFilePath());
  if (path != path_) {
    path_ = std::move(path);
    folder_ = FolderOf(path_);
    stale_ = true;
  }
  writable_ = on_copy || LookWhetherWritable();
  if (!on_copy && writable_ && Exists(folder_)) {
    if (const Result<> locked = Lock(); !locked) {
      if (locked.Failure().system_error == EWOULDBLOCK) {
        ReportMessage(Severity::kError, locked.Failure());
        return ERROR_ACCESS_DENIED;
      }
      // What is there can still be read.
      writable_ = false;
      std::string refusal = path_ + ": can only be read: cannot lock " + locked.Failure().Text();
      if (refusal != lock_refusal_) ReportMessage(Severity::kWarning, refusal);
      lock_refusal_ = std::move(refusal);
    }
  }
  return Load();
}

Result<> RegistryFile::Lock() {
  Result<> locked = lock_.Take(path_);
  if (!locked) return locked;
  lock_refusal_.clear();
  if (lock_.HeldByOther()) ::unlink(TemporaryPath(path_).c_str());
  return {};
}

int RegistryFile::Load() {
  const Result<WatchedFile::State> state = file_.Refresh(path_);
  const bool existed = exists_;
  exists_ = !state || *state != WatchedFile::State::kMissing;
  const bool same = state && (*state == WatchedFile::State::kUnchanged || (!exists_ && !existed));
  if (same && !stale_) return load_status_;
  stale_ = false;
  load_status_ = ERROR_SUCCESS;
  if (!state) return Refuse(state.Failure(), ERROR_ACCESS_DENIED);
  auto root = std::make_shared<RegistryKey>("");
  if (exists_) {
    const Result<> read = ReadRegistryText(file_.Text(), *root);
    if (!read) return Refuse(read.Failure().In(path_), ERROR_BADDB);
  }
  refusal_.clear();
  UseTree(std::move(root));
  return load_status_;
}

int RegistryFile::Refuse(const Error& error, int status) {
  if (error.Text() != refusal_) ReportMessage(Severity::kError, error);
  refusal_ = error.Text();
  load_status_ = status;
  return status;
}

void RegistryFile::UseTree(std::shared_ptr<RegistryKey> root) {
  local_machine_ = root->FindOrAddChild(kLocalMachineName);
  local_machine_->RemoveChild(kHardwareKey);  // the hardware source provides that branch
  if (root_ != nullptr) on_reload_(root_, root);
  root_ = std::move(root);
}

// A folder that is missing may be made where the one above it may be written.
bool RegistryFile::LookWhetherWritable() const {
  struct stat status {};
  std::string folder = folder_;
  while (::stat(folder.c_str(), &status) != 0) {
    const std::string above = FolderOf(folder);
    if (errno != ENOENT || above == folder) return false;
    folder = above;
  }
  if (!MayWrite(folder, status.st_mode)) return false;
  if (::stat(path_.c_str(), &status) != 0) return errno == ENOENT;
  return MayWrite(path_, status.st_mode);
}

bool RegistryFile::PrepareChange() {
  if (failed_ || !writable_) return false;
  if (!on_copy_ && !lock_.Held()) {
    Result<> locked = MakeFolders(folder_);
    if (locked) locked = Lock();
    if (!locked) {
      Fail(Cannot("create folder " + folder_, locked.Failure()));
      return false;
    }
    if (Exists(path_)) {
      Fail({"another process has just made it; try again", path_});
      return false;
    }
  }
  if (!before_) before_ = CountRecords(local_machine_);
  return true;
}

// Whatever else this transaction does, nothing of it is stored.
void RegistryFile::Fail(const Error& error) {
  failed_ = true;
  ReportMessage(Severity::kError, error);
}

// Stores what changed, if it makes a difference.
Result<> RegistryFile::Store() {
  std::string text = WriteRegistryText(*root_);
  if (exists_ && text == file_.Text()) return {};
  const auto not_stored = [this](const Error& error) {
    return Error{"not stored: " + error.Text(), path_};
  };
  if (text.size() > kMaxFileSize) return not_stored({"the registry would be too large"});
  if (const Result<> fit = CheckStorable(*root_); !fit) return not_stored(fit.Failure());
  const Result<FileHandle> folder = OpenFile(folder_, O_RDONLY | O_DIRECTORY);
  if (!folder) return not_stored(Cannot("open folder " + folder_, folder.Failure()));
  FileReplacement replacement(path_, TemporaryPath(path_), path_);
  NewHistoryEntry entry(path_);
  Result<> done = replacement.Write(text);
  if (done && Exists(path_)) {
    done = entry.Make(before_.value_or(RecordCounts{}), CountRecords(local_machine_));
  }
  if (done) done = replacement.Sync(text);
  if (done) done = replacement.Rename();
  if (!done) return not_stored(done.Failure());
  // From here on the new text is in place, whatever happens: nothing more needs memory.
  file_.Adopt(std::move(text));
  exists_ = true;
  in_place_ = true;
  before_.reset();
  changed_ = false;
  const Result<> synced = SyncFile(*folder);
  entry.Keep();
  if (!synced) {
    return Error{"stored, but may not survive a power cut: cannot sync folder " + folder_ + ": " +
                     synced.Failure().message,
                 path_};
  }
  return {};
}

bool RegistryFile::Commit() {
  const bool wanted = changed_ && !failed_ && !on_copy_;
  if (wanted) {
    if (const Result<> stored = Store(); !stored) Fail(stored.Failure());
  }
  const bool done = !failed_;
  in_place_ = in_place_ || done;
  if (done && !on_copy_) {
    before_.reset();
    changed_ = false;
  }
  Abandon();
  return done;
}

void RegistryFile::Abandon() {
  if (changed_ || before_) stale_ = true;
  before_.reset();
  changed_ = false;
  lock_.Release();
}

}  // namespace devprep
