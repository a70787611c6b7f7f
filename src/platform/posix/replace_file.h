// Replacing a file so that a crash at any moment leaves the old one or the new one, whole.
#ifndef DEVPREP_PLATFORM_POSIX_REPLACE_FILE_H_
#define DEVPREP_PLATFORM_POSIX_REPLACE_FILE_H_

#include <string>
#include <string_view>
#include <utility>

#include "platform/posix/file_ops.h"
#include "platform/result.h"

namespace devprep {

// The folder that holds the file at path, and the file's name in it.
std::string FolderOf(const std::string& path);
std::string NameOf(const std::string& path);

// The file that path leads to: links are followed, also one to a file that is yet to be made, so
// that a replacement replaces the target and not the link.
std::string FollowLinks(std::string path);

// Makes a folder and what is missing above it, each durable in its parent.
Result<> MakeFolders(const std::string& folder);

// Syncs a folder: what was made, renamed or removed in it survives a power cut.
Result<> SyncFolder(const std::string& folder);

// Gives a file an owner and a group, each where this user may do so. Only root can give a file
// away; a group can be any of this user's own.
Result<> GiveTo(const FileHandle& file, uid_t owner, gid_t group);

// An error as one of something that was tried: "cannot ACTION: REASON".
Error Cannot(const std::string& action, const Error& error);

// One replacement, in the order of its functions. An error leaves the old file as it was; so does
// letting the replacement go before Rename. The caller keeps others away from path and temporary.
class FileReplacement {
 public:
  // temporary: the new file until it takes its place, in the same folder. What lies there was left
  // by a run that died, and goes. model: the file whose rights it gets.
  FileReplacement(std::string path, std::string temporary, std::string model)
      : path_(std::move(path)), temporary_(std::move(temporary)), model_(std::move(model)) {}
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  ~FileReplacement();

  // Writes the new file. It gets the model's owner and group, each where this user may give it,
  // extended attributes, access lists and mode. Without a model: mode 0644 under the umask.
  Result<> Write(std::string_view text);
  // Gives it the times of another file.
  Result<> SetTimes(const struct stat& other);
  // Syncs it and reads it back.
  Result<> Sync(std::string_view text);
  // Puts it in the old one's place. SyncFolder makes that durable.
  Result<> Rename();

 private:
  std::string path_;
  std::string temporary_;
  std::string model_;
  FileHandle file_;
  bool made_ = false;  // the file at temporary_
};

// All of that for a file that belongs to the person at the machine. The error says when the new
// file is in its place all the same.
Result<> ReplaceFile(const std::string& path, std::string_view text);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REPLACE_FILE_H_
