// Names of the numbered record keys: "DEVICE%d", "GROUP%d" and "RAID%d".
#ifndef DEVPREP_STORE_NUMBERED_KEY_H_
#define DEVPREP_STORE_NUMBERED_KEY_H_

#include <cstdint>
#include <cstdio>

namespace devprep {

inline constexpr const char* kDeviceKeyPrefix = "DEVICE";
inline constexpr const char* kGroupKeyPrefix = "GROUP";
inline constexpr const char* kRaidKeyPrefix = "RAID";

struct NumberedKey {
  char name[16];

  NumberedKey(const char* prefix, std::uint16_t number) {
    std::snprintf(name, sizeof name, "%s%d", prefix, number);
  }
};

}  // namespace devprep

#endif  // DEVPREP_STORE_NUMBERED_KEY_H_
