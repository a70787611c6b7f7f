// Settings of the registry from the environment.
#ifndef DEVPREP_PLATFORM_SETTING_H_
#define DEVPREP_PLATFORM_SETTING_H_

#include <string>

namespace devprep {

// The environment variable that says how many seconds to wait for another process, the number
// without it, and the largest.
inline constexpr const char* kWaitVariable = "DEVPREP_WAIT";
inline constexpr unsigned kDefaultWaitSeconds = 30;
inline constexpr unsigned kMaxWaitSeconds = 86400;

// The value of an environment variable; empty when it is not set, or when this process runs with
// another user's rights and must not trust its environment.
std::string Setting(const char* variable);

// The same as a number from 0 to max. Without it, or when it is none, the default; the latter is
// reported, once for each value.
unsigned NumberSetting(const char* variable, unsigned default_number, unsigned max);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_SETTING_H_
