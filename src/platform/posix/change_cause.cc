#include "platform/posix/change_cause.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

struct Given {
  std::string program;
  std::string command;
};

Given& TheGiven() {
  static Given given;
  return given;
}

std::string ProcessName() {
  Result<std::string> name = ReadFile("/proc/self/comm");
  if (!name) return "unknown";
  if (name->ends_with('\n')) name->pop_back();
  return *std::move(name);
}

// From the local file alone: a directory service may be slow or absent, and would be loaded into a
// process that is not ours.
std::string UserName(uid_t uid) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> users(std::fopen("/etc/passwd", "re"),
                                                              std::fclose);
  if (users == nullptr) return {};
  passwd entry = {};
  passwd* found = nullptr;
  std::array<char, 4096> buffer{};
  while (::fgetpwent_r(users.get(), &entry, buffer.data(), buffer.size(), &found) == 0) {
    if (entry.pw_uid == uid) return entry.pw_name;
  }
  return {};
}

}  // namespace

void SetChangeCause(std::string program, std::string command) {
  TheGiven() = {std::move(program), std::move(command)};
}

ChangeCause CurrentCause() {
  // Looked up once: neither changes in the life of a process, but for set-user-id programs.
  static std::optional<std::pair<uid_t, std::string>> user;
  static const std::string process = ProcessName();
  const uid_t uid = ::getuid();
  if (!user || user->first != uid) user = {uid, UserName(uid)};
  const Given& given = TheGiven();
  return {given.program.empty() ? process : given.program, given.command, uid, user->second};
}

}  // namespace devprep
