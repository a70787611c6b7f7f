// Registry handles that close themselves.
#ifndef DEVPREP_STORE_KEY_HANDLE_H_
#define DEVPREP_STORE_KEY_HANDLE_H_

#include <utility>

#include "platform/registry.h"

namespace devprep {

// Owns an open registry key, or none, and closes it.
class KeyHandle {
 public:
  KeyHandle() = default;
  KeyHandle(KeyHandle&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  KeyHandle& operator=(KeyHandle&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  KeyHandle(const KeyHandle&) = delete;
  KeyHandle& operator=(const KeyHandle&) = delete;
  ~KeyHandle() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  // Opens the key at path below parent in an empty handle. Returns the registry's status; the
  // handle stays empty unless that is 0.
  LONG Open(HKEY parent, const char* path, REGSAM access) {
    HKEY opened = nullptr;
    const LONG status = RegOpenKeyExA(parent, path, 0, access, &opened);
    return Take(status, opened);
  }

  // The same; a key that is missing is created, with all above it.
  LONG Create(HKEY parent, const char* path, REGSAM access) {
    HKEY opened = nullptr;
    const LONG status = RegCreateKeyExA(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                        nullptr, &opened, nullptr);
    return Take(status, opened);
  }

  explicit operator bool() const { return key_ != nullptr; }
  HKEY Get() const { return key_; }

 private:
  LONG Take(LONG status, HKEY opened) {
    if (status == ERROR_SUCCESS) key_ = opened;
    return status;
  }

  HKEY key_ = nullptr;
};

}  // namespace devprep

#endif  // DEVPREP_STORE_KEY_HANDLE_H_
