// Names of numbered keys, such as the records' "DEVICE%d", "GROUP%d" and "RAID%d".
#ifndef DEVPREP_STORE_NUMBERED_KEY_H_
#define DEVPREP_STORE_NUMBERED_KEY_H_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "platform/registry/configuration_keys.h"

namespace devprep {

struct NumberedKey {
  char name[32];

  // prefix: at most 20 characters.
  NumberedKey(const char* prefix, std::uint32_t number) {
    const std::size_t length = std::strlen(prefix);
    std::memcpy(name, prefix, length);
    *std::to_chars(name + length, std::end(name) - 1, number).ptr = '\0';
  }
};

}  // namespace devprep

#endif  // DEVPREP_STORE_NUMBERED_KEY_H_
