// The units behind an iSCSI portal, reached in user space.
#ifndef DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_
#define DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_

#include <string>
#include <string_view>

#include "platform/hardware/hardware_source.h"

namespace devprep {

inline constexpr std::string_view kIscsiScheme = "iscsi://";

// The environment variables with the user and password that CHAP asks for, or else with the name of
// a file that holds the user on its first line and the password on its second.
inline constexpr const char* kIscsiUserVariable = "DEVPREP_ISCSI_USER";
inline constexpr const char* kIscsiPasswordVariable = "DEVPREP_ISCSI_PASSWORD";
inline constexpr const char* kIscsiCredentialsVariable = "DEVPREP_ISCSI_CREDENTIALS";

// Where "iscsi://HOST[:PORT][/TARGET]" leads.
struct IscsiPlace {
  std::string portal;  // HOST:PORT
  std::string target;  // empty: every target of the portal
};

// Takes a place apart. An empty text when done, else what is wrong with it.
std::string ParseIscsiPlace(std::string_view url, IscsiPlace& place);

// All units are on port 0, bus 0; target ids are given in ascending order of target name, LUNs are
// as the target reports them. A target that cannot be had makes the whole source fail: to go on
// without its units would take them out of the configuration.
OpenedSource OpenIscsi(const std::string& url);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_ISCSI_SOURCE_H_
