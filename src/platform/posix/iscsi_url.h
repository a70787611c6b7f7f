// Where an iSCSI portal is, and the login to its targets.
#ifndef DEVPREP_PLATFORM_POSIX_ISCSI_URL_H_
#define DEVPREP_PLATFORM_POSIX_ISCSI_URL_H_

#include <string>
#include <string_view>

#include "platform/result.h"

namespace devprep {

inline constexpr std::string_view kIscsiScheme = "iscsi://";

// The environment variables with the user and password that CHAP asks for, and with those by which
// the target is to prove itself (mutual CHAP); or else with the name of a file that holds these,
// one a line, in this order.
inline constexpr const char* kIscsiUserVariable = "DEVPREP_ISCSI_USER";
inline constexpr const char* kIscsiPasswordVariable = "DEVPREP_ISCSI_PASSWORD";
inline constexpr const char* kIscsiTargetUserVariable = "DEVPREP_ISCSI_TARGET_USER";
inline constexpr const char* kIscsiTargetPasswordVariable = "DEVPREP_ISCSI_TARGET_PASSWORD";
inline constexpr const char* kIscsiCredentialsVariable = "DEVPREP_ISCSI_CREDENTIALS";

// Where "iscsi://HOST[:PORT][/TARGET]" leads.
struct IscsiUrl {
  std::string portal;  // HOST:PORT
  std::string target;  // empty: every target of the portal
};

Result<IscsiUrl> ParseIscsiUrl(std::string_view url);

struct IscsiLogin {
  std::string user;  // empty: no login
  std::string password;
};

struct IscsiCredentials {
  IscsiLogin initiator;
  IscsiLogin target;  // that the target proves itself with; no user: it need not
};

// The credentials that the environment gives. A file of credentials must be readable by its owner
// alone; it may be a pipe.
Result<IscsiCredentials> ReadIscsiCredentials();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_ISCSI_URL_H_
