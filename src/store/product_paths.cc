#include "store/product_paths.h"

#include <cstdio>
#include <cstring>

namespace devprep {

constinit char BaseKeyPath[kKeyPathSize] = {};
constinit char TapeEngineKeyPath[kKeyPathSize] = {};
constinit char HomePath[kHomePathSize] = {};

namespace {

constexpr const char* kBaseKey = "SOFTWARE\\Tamberline\\Vaultkeep\\Base";
constexpr std::size_t kHomeKeyPathSize = 256;

}  // namespace

int SetBasePaths() {
  std::snprintf(BaseKeyPath, sizeof BaseKeyPath, "%s", kBaseKey);
  std::snprintf(TapeEngineKeyPath, sizeof TapeEngineKeyPath, "%s\\TapeEngine", kBaseKey);
  return 1;
}

bool ReadHomeValue(HKEY home_key, char* home) {
  std::memset(home, 0, kHomeValueSize);
  DWORD size = kHomeValueSize;
  return RegQueryValueExA(home_key, kHomeValueName, nullptr, nullptr, reinterpret_cast<BYTE*>(home),
                          &size) == ERROR_SUCCESS &&
         std::memchr(home, '\0', kHomeValueSize) != nullptr;
}

void ReadHomePath() {
  char path[kHomeKeyPathSize];
  std::snprintf(path, sizeof path, kHomeKeyFormat, BaseKeyPath);
  HKEY key = nullptr;
  if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &key) != ERROR_SUCCESS) return;
  char home[kHomeValueSize];
  if (ReadHomeValue(key, home)) std::snprintf(HomePath, sizeof HomePath, "%s", home);
  RegCloseKey(key);
}

void ResetProductPaths() {
  std::memset(BaseKeyPath, 0, sizeof BaseKeyPath);
  std::memset(TapeEngineKeyPath, 0, sizeof TapeEngineKeyPath);
  std::memset(HomePath, 0, sizeof HomePath);
}

}  // namespace devprep
