#include "platform/posix/replace_file.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace devprep {
namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr mode_t kUnfinishedMode = 0600;
constexpr mode_t kModeBits = 07777;
constexpr int kMaxLinks = 40;

// Signatures of the old file's bytes: the kernel makes new ones.
constexpr std::array<std::string_view, 2> kAttributesOfContent = {"security.ima", "security.evm"};

bool IsRefusal(int error) { return error == EPERM || error == EACCES || error == ENOTSUP; }

// Copies extended attributes, which access lists are, too. What this user or this file system
// cannot have is left out.
Result<> CopyAttributes(const std::string& from, const FileHandle& to) {
  const Result<std::string> names = ListAttributes(from);
  if (!names) {
    if (IsRefusal(names.Failure().system_error)) return {};
    return names.Failure();
  }
  for (std::size_t at = 0; at < names->size();) {
    const std::string name = names->c_str() + at;
    at += name.size() + 1;
    if (name == kAttributesOfContent[0] || name == kAttributesOfContent[1]) continue;
    const Result<std::string> value = GetAttribute(from, name);
    Result<> done = value ? SetAttribute(to, name, *value) : value.Failure();
    if (!done && !IsRefusal(done.Failure().system_error)) return done;
  }
  return {};
}

// Gives the new file what the old one has.
Result<> TakeOverRights(const std::string& path, const struct stat& old, const FileHandle& file) {
  if (Result<> given = GiveTo(file, old.st_uid, old.st_gid); !given) return given;
  struct stat now {};
  if (::fstat(file.Get(), &now) != 0) return SystemError();
  mode_t mode = old.st_mode & kModeBits;
  // What the old group may is not for the group of whoever writes.
  if (now.st_gid != old.st_gid) mode = (mode & ~mode_t{070}) | (mode & 07) << 3;
  if (Result<> copied = CopyAttributes(path, file); !copied) return copied;
  return SetMode(file, mode);
}

}  // namespace

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

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

Result<> MakeFolders(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return {};
    return Error{std::generic_category().message(ENOTDIR), folder, 0, ENOTDIR};
  }
  const std::string parent = FolderOf(folder);
  if (parent == folder) return SystemError(folder);
  if (Result<> made = MakeFolders(parent); !made) return made;
  if (Result<> made = MakeFolder(folder); !made) return made;
  return SyncFolder(parent);
}

Result<> SyncFolder(const std::string& folder) {
  const Result<FileHandle> directory = OpenFile(folder, O_RDONLY | O_DIRECTORY);
  const Result<> synced = directory ? SyncFile(*directory) : directory.Failure();
  if (!synced) return Cannot("sync folder " + folder, synced.Failure());
  return {};
}

Result<> GiveTo(const FileHandle& file, uid_t owner, gid_t group) {
  constexpr auto kSame = static_cast<uid_t>(-1);
  struct stat now {};
  if (::fstat(file.Get(), &now) != 0) return SystemError();
  if (now.st_uid != owner) {
    Result<> set = SetOwner(file, owner, kSame);
    if (!set && !IsRefusal(set.Failure().system_error)) return set;
  }
  if (now.st_gid != group) {
    Result<> set = SetOwner(file, kSame, group);
    if (!set && !IsRefusal(set.Failure().system_error)) return set;
  }
  return {};
}

Error Cannot(const std::string& action, const Error& error) {
  return {"cannot " + action + ": " + error.message, {}, 0, error.system_error};
}

FileReplacement::~FileReplacement() {
  if (made_) ::unlink(temporary_.c_str());
}

Result<> FileReplacement::Write(std::string_view text) {
  ::unlink(temporary_.c_str());
  const Result<struct stat> old = StatusOf(model_);
  const bool is_new = !old && old.Failure().system_error == ENOENT;
  if (!old && !is_new) return Cannot("read the rights of " + model_, old.Failure());
  Result<FileHandle> file =
      OpenFile(temporary_, O_RDWR | O_CREAT | O_EXCL, is_new ? kNewFileMode : kUnfinishedMode);
  if (!file) return Cannot("write " + path_, file.Failure());
  file_ = *std::move(file);
  made_ = true;
  if (!is_new) {
    const Result<> taken = TakeOverRights(model_, *old, file_);
    if (!taken) return Cannot("set the rights of " + temporary_, taken.Failure());
  }
  const Result<> written = WriteAll(file_, text);
  if (!written) return Cannot("write " + temporary_, written.Failure());
  return {};
}

Result<> FileReplacement::SetTimes(const struct stat& other) {
  const std::array<timespec, 2> times = {other.st_atim, other.st_mtim};
  if (::futimens(file_.Get(), times.data()) != 0) return Cannot("write " + path_, SystemError());
  return {};
}

Result<> FileReplacement::Sync(std::string_view text) {
  Result<> done = SyncFile(file_);
  if (!done) return Cannot("write " + temporary_, done.Failure());
  ::lseek(file_.Get(), 0, SEEK_SET);
  const Result<std::string> stored = ReadAll(file_);
  if (!stored) return Cannot("read back " + temporary_, stored.Failure());
  if (*stored != text) {
    return Error{"what was written to " + temporary_ + " reads back differently"};
  }
  done = CloseFile(std::move(file_));
  if (!done) return Cannot("write " + temporary_, done.Failure());
  return {};
}

Result<> FileReplacement::Rename() {
  const Result<> renamed = RenameFile(temporary_, path_);
  if (!renamed) return Cannot("rename " + temporary_ + " to " + path_, renamed.Failure());
  made_ = false;
  return {};
}

Result<> ReplaceFile(const std::string& path, std::string_view text) {
  // Two runs at once each have a name of their own.
  const std::string folder = FolderOf(path);
  const std::string temporary =
      folder + "/." + NameOf(path) + ".devprep-new." + std::to_string(::getpid());
  FileReplacement replacement(path, temporary, path);
  Result<> done = replacement.Write(text);
  if (done) done = replacement.Sync(text);
  if (done) done = replacement.Rename();
  if (!done) return done;
  const Result<> synced = SyncFolder(folder);
  if (!synced) {
    return Error{path + " is written, but may not survive a power cut: " + synced.Failure().Text()};
  }
  return {};
}

}  // namespace devprep
