#include "platform/posix/registry_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "platform/messages.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr mode_t kAllWriteBits = 0222;
constexpr int kMaxLinks = 40;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The file that path leads to: links are followed, also one to a file that is yet to be made, so
// that a replacement replaces the target and not the link.
std::string FollowLinks(std::string path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    std::array<char, 4096> target{};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size() - 1);
    if (length <= 0) break;
    path = target[0] == '/' ? std::string(target.data())
                            : FolderOf(path) + "/" + std::string(target.data());
  }
  return path;
}

// Someone who takes all write bits from a file wants it left alone, whoever runs this; and root may
// pass the check of rights alone.
bool MayWrite(const std::string& path, mode_t mode) {
  return (mode & kAllWriteBits) != 0 && ::access(path.c_str(), W_OK) == 0;
}

Result<> MakeFolders(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return {};
    return Error{std::generic_category().message(ENOTDIR), folder, 0, ENOTDIR};
  }
  const std::string parent = FolderOf(folder);
  if (parent != folder) {
    if (Result<> made = MakeFolders(parent); !made) return made;
  }
  return MakeFolder(folder);
}

// An error as one of something that was tried: "cannot ACTION: REASON".
Error Cannot(const std::string& action, const Error& error) {
  return {"cannot " + action + ": " + error.message, {}, 0, error.system_error};
}

// Writes the new file, and reads it back.
Result<> WriteChecked(const std::string& path, const std::string& text,
                      const struct stat* old_status) {
  Result<FileHandle> file = OpenFile(path, O_RDWR | O_CREAT | O_EXCL, kNewFileMode);
  if (!file) return Cannot("create " + path, file.Failure());
  if (old_status != nullptr) {
    // Only root can give a file away; another user who may write here becomes its owner.
    if (::fchown(file->Get(), old_status->st_uid, old_status->st_gid) != 0) errno = 0;
    if (Result<> set = SetMode(*file, old_status->st_mode & 07777); !set) {
      return Cannot("set the mode of " + path, set.Failure());
    }
  }
  Result<> done = WriteAll(*file, text);
  if (done) done = SyncFile(*file);
  if (!done) return Cannot("write " + path, done.Failure());
  ::lseek(file->Get(), 0, SEEK_SET);
  const Result<std::string> stored = ReadAll(*file);
  if (!stored) return Cannot("read back " + path, stored.Failure());
  if (*stored != text) return Error{"what was written to " + path + " reads back differently"};
  done = CloseFile(*std::move(file));
  if (!done) return Cannot("write " + path, done.Failure());
  return {};
}

}  // namespace

std::string RegistryFilePath() {
  const char* named = std::getenv(kRegistryVariable);
  return named != nullptr && *named != '\0' ? named : kDefaultRegistry;
}

Result<> ReplaceFile(const std::string& path, const std::string& text) {
  const std::string folder = FolderOf(path);
  // One name for all runs: writers are kept out, so what is there was left by one that died.
  const std::string new_path = folder + "/." + path.substr(path.rfind('/') + 1) + ".devprep-new";
  ::unlink(new_path.c_str());
  struct stat old_status {};
  const bool exists = ::stat(path.c_str(), &old_status) == 0;
  Result<> done = WriteChecked(new_path, text, exists ? &old_status : nullptr);
  if (done) {
    done = RenameFile(new_path, path);
    if (!done) done = Cannot("rename " + new_path + " to " + path, done.Failure());
  }
  if (!done) {
    ::unlink(new_path.c_str());
    return done;
  }
  const Result<FileHandle> directory = OpenFile(folder, O_RDONLY | O_DIRECTORY);
  const Result<> synced = directory ? SyncFile(*directory) : directory.Failure();
  if (!synced) {
    // The new file is in its place; only a power cut right now could still bring the old one back.
    ReportMessage(Severity::kWarning, folder + " could not be synced: " + synced.Failure().message);
  }
  return {};
}

int RegistryFile::Begin() {
  changed_ = false;
  trial_ = false;
  writable_.reset();
  const std::string path = FollowLinks(RegistryFilePath());
  if (path != path_) {
    path_ = path;
    folder_ = FolderOf(path);
    stale_ = true;
  }
  if (const Result<> locked = LockFolder(); !locked) {
    const int error = locked.Failure().system_error;
    if (error != ENOENT && error != ENOTDIR) {
      stale_ = true;
      return Refuse({"cannot be locked: " + locked.Failure().message, folder_},
                    ERROR_ACCESS_DENIED);
    }
  }
  return Load();
}

Result<> RegistryFile::LockFolder() {
  Result<FileHandle> folder = OpenFile(folder_, O_RDONLY | O_DIRECTORY);
  if (!folder) return folder.Failure();
  lock_ = *std::move(folder);
  return LockExclusively(lock_);
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
  if (error.Text() != refusal_) ReportMessage(Severity::kError, error.Text());
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

bool RegistryFile::Writable() {
  if (trial_) return true;
  if (!writable_) writable_ = LookWhetherWritable();
  return *writable_;
}

bool RegistryFile::LookWhetherWritable() const {
  struct stat folder {};
  if (::stat(folder_.c_str(), &folder) != 0) return true;  // PrepareChange tells
  return MayWrite(folder_, folder.st_mode) && (!exists_ || MayWrite(path_, file_.Status().st_mode));
}

bool RegistryFile::PrepareChange() {
  if (trial_ || lock_.IsOpen()) return true;
  Result<> locked = MakeFolders(folder_);
  if (locked) locked = LockFolder();
  if (!locked) {
    ReportMessage(Severity::kError, Cannot("create folder " + folder_, locked.Failure()).Text());
    return false;
  }
  // Another process may have made the folder and its registry since the transaction began.
  writable_.reset();
  return Load() == ERROR_SUCCESS;
}

Result<> RegistryFile::Store() {
  std::string text = WriteRegistryText(*root_);
  if (exists_ && text == file_.Text()) return {};
  RegistryKey check("");
  if (const Result<> read = ReadRegistryText(text, check); !read) {
    return Error{"line " + std::to_string(read.Failure().line) +
                 " of the new text would not read back: " + read.Failure().message};
  }
  if (Result<> replaced = ReplaceFile(path_, text); !replaced) return replaced;
  file_.Adopt(std::move(text));
  exists_ = true;
  return {};
}

bool RegistryFile::Commit() {
  if (changed_) {
    if (const Result<> stored = Store(); !stored) {
      ReportMessage(Severity::kError, path_ + ": not stored: " + stored.Failure().Text());
      Abandon();
      return false;
    }
  }
  changed_ = false;
  lock_ = FileHandle();
  return true;
}

void RegistryFile::Abandon() {
  if (changed_) stale_ = true;
  changed_ = false;
  lock_ = FileHandle();
}

}  // namespace devprep
