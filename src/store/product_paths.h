// The product's home directory. Its registry keys are in platform/registry/configuration_keys.h.
#ifndef DEVPREP_STORE_PRODUCT_PATHS_H_
#define DEVPREP_STORE_PRODUCT_PATHS_H_

#include <cstddef>

#include "platform/registry.h"
#include "platform/registry/configuration_keys.h"

namespace devprep {

inline constexpr const char* kHomeValue = "HOME";
inline constexpr std::size_t kHomePathSize = 256;

// The home directory, at most 255 characters; empty when it could not be read. Set at the first
// process attach and never changed afterwards.
extern char HomePath[kHomePathSize];

// Fills HomePath from the value kHomeValue of the home key.
void ReadHomePath();

// Reads kHomeValue of an open key into home, a buffer of kHomePathSize bytes. False when the value
// is absent or longer than 255 characters; home is then no path.
bool ReadHomeValue(HKEY home_key, char* home);

// Puts HomePath back to how a fresh load finds it.
void ResetHomePath();

}  // namespace devprep

#endif  // DEVPREP_STORE_PRODUCT_PATHS_H_
