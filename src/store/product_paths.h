// Where the product keeps itself: its registry keys, and its home directory.
#ifndef DEVPREP_STORE_PRODUCT_PATHS_H_
#define DEVPREP_STORE_PRODUCT_PATHS_H_

#include <cstddef>

#include "platform/registry.h"

namespace devprep {

// The path of a key below HKEY_LOCAL_MACHINE, put together at compile time.
template <std::size_t N>
struct KeyPath {
  char text[N];  // NUL-terminated
};

template <std::size_t N>
consteval KeyPath<N> MakeKeyPath(const char (&path)[N]) {
  KeyPath<N> made = {};
  for (std::size_t i = 0; i < N; ++i) made.text[i] = path[i];
  return made;
}

template <std::size_t N, std::size_t M>
consteval KeyPath<N + M> Below(const KeyPath<N>& parent, const char (&name)[M]) {
  KeyPath<N + M> made = {};
  for (std::size_t i = 0; i + 1 < N; ++i) made.text[i] = parent.text[i];
  made.text[N - 1] = '\\';
  for (std::size_t i = 0; i < M; ++i) made.text[N + i] = name[i];
  return made;
}

inline constexpr auto kProductKeyPath = Below(MakeKeyPath(kProductBranch), "Vaultkeep");
inline constexpr auto kProductsKeyPath = Below(kProductKeyPath, "Products");
inline constexpr auto kProductsConfigKeyPath = Below(kProductKeyPath, "ProductsConfigInfo");
inline constexpr auto kBaseKeyPath = Below(kProductKeyPath, "Base");
inline constexpr auto kHomeKeyPath = Below(kBaseKeyPath, "Path");
inline constexpr auto kTapeEngineKeyPath = Below(kBaseKeyPath, "TapeEngine");
inline constexpr auto kSimKeyPath = Below(kTapeEngineKeyPath, "Sim");

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
