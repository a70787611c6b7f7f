// The registry keys in which the product keeps its configuration.
#ifndef DEVPREP_PLATFORM_REGISTRY_CONFIGURATION_KEYS_H_
#define DEVPREP_PLATFORM_REGISTRY_CONFIGURATION_KEYS_H_

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

// Names of the records below the tape engine key, each with its number behind it.
inline constexpr const char* kDeviceKeyPrefix = "DEVICE";
inline constexpr const char* kGroupKeyPrefix = "GROUP";
inline constexpr const char* kRaidKeyPrefix = "RAID";

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_CONFIGURATION_KEYS_H_
