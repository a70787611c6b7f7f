// The process-wide paths of the product: its registry keys and its home directory.
#ifndef DEVPREP_STORE_PRODUCT_PATHS_H_
#define DEVPREP_STORE_PRODUCT_PATHS_H_

#include <cstddef>

#include "platform/registry.h"

namespace devprep {

inline constexpr std::size_t kKeyPathSize = 128;
inline constexpr std::size_t kHomePathSize = 512;
inline constexpr std::size_t kHomeValueSize = 256;
inline constexpr const char* kHomeKeyFormat = "%s\\Path";
inline constexpr const char* kHomeValueName = "HOME";

// Set at the first process attach and never changed afterwards. Registry paths are relative to
// HKEY_LOCAL_MACHINE.
extern char BaseKeyPath[kKeyPathSize];
extern char TapeEngineKeyPath[kKeyPathSize];
// The home directory, at most 255 characters; empty when it cannot be read.
extern char HomePath[kHomePathSize];

// Fills BaseKeyPath and TapeEngineKeyPath. Returns 1.
int SetBasePaths();

// Fills HomePath from the value "HOME" of the key "%s\Path".
void ReadHomePath();

// Reads "HOME" below an open key into home, a buffer of kHomeValueSize bytes. False when the value
// is absent or longer than 255 characters.
bool ReadHomeValue(HKEY home_key, char* home);

// Puts the paths back to how a fresh load finds them.
void ResetProductPaths();

}  // namespace devprep

#endif  // DEVPREP_STORE_PRODUCT_PATHS_H_
