#include "platform/posix/trusted_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

Result<> CheckOne(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return SystemError(path);
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
    return Error{"belongs to another user", path};
  }
  const bool sticky_folder = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !sticky_folder) {
    return Error{"may be written by other users", path};
  }
  return {};
}

}  // namespace

Result<std::string> TrustedPath(const std::string& path) {
  char resolved[PATH_MAX];
  if (::realpath(path.c_str(), resolved) == nullptr) return SystemError(path);
  std::string file(resolved);
  if (const Result<> checked = CheckOne("/"); !checked) return checked.Failure();
  for (std::size_t end = 0; end != std::string::npos;) {
    end = file.find('/', end + 1);
    if (const Result<> checked = CheckOne(file.substr(0, end)); !checked) return checked.Failure();
  }
  return file;
}

}  // namespace devprep
