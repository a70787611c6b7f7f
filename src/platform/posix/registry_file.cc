#include "platform/posix/registry_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "platform/messages.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr mode_t kAllWriteBits = 0222;
constexpr int kMostLinks = 40;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The file that path leads to: links are followed, also one to a file that is yet to be made, so
// that a replacement replaces the target and not the link.
std::string FollowLinks(std::string path) {
  for (int i = 0; i < kMostLinks; ++i) {
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

bool MakeFolders(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) == 0) return S_ISDIR(status.st_mode);
  const std::string parent = FolderOf(folder);
  return (parent == folder || MakeFolders(parent)) && MakeFolder(folder);
}

// Writes and checks the new file. An empty text when done, else the reason.
std::string WriteChecked(const std::string& path, const std::string& text,
                         const struct stat* old_status) {
  FileHandle file = OpenFile(path, O_RDWR | O_CREAT | O_EXCL, kNewFileMode);
  if (!file.IsOpen()) return "cannot make " + path + ": " + LastErrorText();
  if (old_status != nullptr) {
    // Only root can give a file away; another user who may write here becomes its owner.
    if (::fchown(file.Get(), old_status->st_uid, old_status->st_gid) != 0) errno = 0;
    if (!SetMode(file, old_status->st_mode & 07777)) {
      return "cannot set the mode of " + path + ": " + LastErrorText();
    }
  }
  std::string stored;
  if (!WriteAll(file, text) || !SyncFile(file) || !ReadAll(file, stored) ||
      !CloseFile(std::move(file))) {
    return "cannot write " + path + ": " + LastErrorText();
  }
  if (stored != text) return "what was written to " + path + " reads back differently";
  return {};
}

}  // namespace

std::string RegistryFilePath() {
  const char* named = std::getenv(kRegistryVariable);
  return named != nullptr && *named != '\0' ? named : kDefaultRegistry;
}

std::string ReplaceFile(const std::string& path, const std::string& text) {
  const std::string folder = FolderOf(path);
  // One name for all runs: writers are kept out, so what is there was left by one that died.
  const std::string new_path = folder + "/." + path.substr(path.rfind('/') + 1) + ".devprep-new";
  ::unlink(new_path.c_str());
  struct stat old_status {};
  const bool exists = ::stat(path.c_str(), &old_status) == 0;
  std::string problem = WriteChecked(new_path, text, exists ? &old_status : nullptr);
  if (problem.empty() && !RenameFile(new_path, path)) {
    problem = "cannot rename " + new_path + " to " + path + ": " + LastErrorText();
  }
  if (!problem.empty()) {
    ::unlink(new_path.c_str());
    return problem;
  }
  const FileHandle directory = OpenFile(folder, O_RDONLY | O_DIRECTORY);
  if (!directory.IsOpen() || !SyncFile(directory)) {
    // The new file is in its place; only a power cut right now could still bring the old one back.
    ReportMessage(Severity::kWarning, folder + " could not be synced: " + LastErrorText());
  }
  return {};
}

int RegistryFile::Begin() {
  changed_ = false;
  writable_.reset();
  const std::string path = FollowLinks(RegistryFilePath());
  if (path != path_) {
    path_ = path;
    folder_ = FolderOf(path);
    stale_ = true;
  }
  if (!LockFolder() && errno != ENOENT && errno != ENOTDIR) {
    stale_ = true;
    return Refuse(folder_ + ": cannot be locked: " + LastErrorText(), ERROR_ACCESS_DENIED);
  }
  return Load();
}

bool RegistryFile::LockFolder() {
  lock_ = OpenFile(folder_, O_RDONLY | O_DIRECTORY);
  return lock_.IsOpen() && LockExclusively(lock_);
}

int RegistryFile::Load() {
  const WatchedFile::State state = file_.Refresh(path_);
  const bool existed = exists_;
  exists_ = state != WatchedFile::State::kMissing;
  const bool same = state == WatchedFile::State::kUnchanged || (!exists_ && !existed);
  if (same && !stale_) return load_status_;
  stale_ = false;
  load_status_ = ERROR_SUCCESS;
  if (state == WatchedFile::State::kUnreadable) {
    return Refuse(path_ + ": " + file_.Problem(), ERROR_ACCESS_DENIED);
  }
  auto root = std::make_shared<RegistryKey>("");
  if (exists_) {
    if (const auto problem = ReadRegistryText(file_.Text(), *root)) {
      return Refuse(path_ + ":" + std::to_string(problem->line) + ": " + problem->reason,
                    ERROR_BADDB);
    }
  }
  refusal_.clear();
  UseTree(std::move(root));
  return load_status_;
}

int RegistryFile::Refuse(const std::string& problem, int status) {
  if (problem != refusal_) ReportMessage(Severity::kError, problem);
  refusal_ = problem;
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
  if (!writable_) writable_ = LookWhetherWritable();
  return *writable_;
}

bool RegistryFile::LookWhetherWritable() const {
  struct stat folder {};
  if (::stat(folder_.c_str(), &folder) != 0) return true;  // PrepareChange tells
  return MayWrite(folder_, folder.st_mode) && (!exists_ || MayWrite(path_, file_.Status().st_mode));
}

bool RegistryFile::PrepareChange() {
  if (!lock_.IsOpen()) {
    if (!MakeFolders(folder_) || !LockFolder()) {
      ReportMessage(Severity::kError, folder_ + ": cannot be made: " + LastErrorText());
      return false;
    }
    // Another process may have made the folder and its registry since the transaction began.
    writable_.reset();
    return Load() == ERROR_SUCCESS;
  }
  return true;
}

bool RegistryFile::Commit() {
  std::string problem;
  if (changed_) {
    std::string text = WriteRegistryText(*root_);
    if (!exists_ || text != file_.Text()) {
      RegistryKey check("");
      const auto misread = ReadRegistryText(text, check);
      problem = misread ? "line " + std::to_string(misread->line) +
                              " of the new text would not read back: " + misread->reason
                        : ReplaceFile(path_, text);
      if (problem.empty()) file_.Adopt(std::move(text));
    }
  }
  if (!problem.empty()) {
    ReportMessage(Severity::kError, path_ + ": not stored: " + problem);
    Abandon();
    return false;
  }
  if (changed_) exists_ = true;
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
