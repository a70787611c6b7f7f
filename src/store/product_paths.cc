#include "store/product_paths.h"

#include <cstring>

#include "store/key_handle.h"

namespace devprep {

constinit char HomePath[kHomePathSize] = {};

bool ReadHomeValue(HKEY home_key, char* home) {
  std::memset(home, 0, kHomePathSize);
  DWORD size = kHomePathSize;
  return RegQueryValueExA(home_key, kHomeValue, nullptr, nullptr, reinterpret_cast<BYTE*>(home),
                          &size) == ERROR_SUCCESS &&
         std::memchr(home, '\0', kHomePathSize) != nullptr;
}

void ReadHomePath() {
  KeyHandle key;
  if (key.Open(HKEY_LOCAL_MACHINE, kHomeKeyPath.text, MAXIMUM_ALLOWED) != ERROR_SUCCESS) return;
  char home[kHomePathSize];
  if (ReadHomeValue(key.Get(), home)) std::memcpy(HomePath, home, sizeof HomePath);
}

void ResetHomePath() { HomePath[0] = '\0'; }

}  // namespace devprep
