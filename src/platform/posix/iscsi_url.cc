#include "platform/posix/iscsi_url.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>

#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

constexpr const char* kDefaultPort = "3260";
constexpr std::size_t kMaxCredentials = 4096;  // bytes of a file
constexpr mode_t kOpenToOthers = S_IRWXG | S_IRWXO;

std::string Environment(const char* variable) {
  const char* value = secure_getenv(variable);
  return value == nullptr ? "" : value;
}

std::string NextLine(std::string_view& text) {
  std::string line(text.substr(0, text.find('\n')));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

Result<std::string> ReadSecret(const std::string& file_name) {
  const Result<FileHandle> file = OpenFile(file_name, O_RDONLY | O_NOCTTY);
  if (!file) return file.Failure();
  struct stat status {};
  if (fstat(file->Get(), &status) != 0) return SystemError(file_name);
  if (S_ISREG(status.st_mode) && (status.st_mode & kOpenToOthers) != 0) {
    return Error{"others than its owner may open this file of passwords: run chmod 600 on it",
                 file_name};
  }
  const Result<std::string> text = ReadAll(*file, kMaxCredentials);
  return text ? text : text.Failure().In(file_name);
}

}  // namespace

Result<IscsiUrl> ParseIscsiUrl(std::string_view url) {
  const Error wrong{std::string(url) + " is not of the form iscsi://HOST[:PORT][/TARGET]"};
  url.remove_prefix(std::min(kIscsiScheme.size(), url.size()));
  const std::string_view portal = url.substr(0, url.find('/'));
  if (portal.find('@') != std::string_view::npos) {
    // The text itself may be a password, and is not repeated.
    return Error{std::string("an iSCSI URL takes no user and password: set ") + kIscsiUserVariable +
                 " and " + kIscsiPasswordVariable + ", or " + kIscsiCredentialsVariable};
  }
  const std::size_t host_end =
      portal.starts_with('[') ? portal.find(']') + 1 : std::min(portal.find(':'), portal.size());
  if (host_end == 0) return wrong;
  const std::string_view port = portal.substr(host_end);
  std::uint16_t number = 0;
  const auto [end, error] =
      std::from_chars(port.data() + !port.empty(), port.data() + port.size(), number);
  if (!port.empty() && (port.front() != ':' || error != std::errc() ||
                        end != port.data() + port.size() || number == 0)) {
    return wrong;
  }
  IscsiUrl parsed;
  parsed.portal = port.empty() ? std::string(portal) + ':' + kDefaultPort : std::string(portal);
  parsed.target = portal.size() == url.size() ? "" : url.substr(portal.size() + 1);
  if (parsed.target.find('/') != std::string::npos) return wrong;
  return parsed;
}

Result<IscsiCredentials> ReadIscsiCredentials() {
  IscsiCredentials credentials = {
      {Environment(kIscsiUserVariable), Environment(kIscsiPasswordVariable)},
      {Environment(kIscsiTargetUserVariable), Environment(kIscsiTargetPasswordVariable)}};
  const std::string file_name = Environment(kIscsiCredentialsVariable);
  if (credentials.initiator.user.empty() && !file_name.empty()) {
    const Result<std::string> text = ReadSecret(file_name);
    if (!text) return text.Failure();
    std::string_view rest = *text;
    for (IscsiLogin* login : {&credentials.initiator, &credentials.target}) {
      login->user = NextLine(rest);
      login->password = NextLine(rest);
    }
    if (credentials.initiator.user.empty()) {
      return Error{"the first line must hold the user's name", file_name};
    }
  }
  if (credentials.initiator.user.empty() && !credentials.target.user.empty()) {
    return Error{std::string(kIscsiTargetUserVariable) + " needs " + kIscsiUserVariable +
                 " as well: a target proves itself only to those who log in"};
  }
  return credentials;
}

}  // namespace devprep
