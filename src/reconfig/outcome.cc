#include "reconfig/outcome.h"

#include <cstring>

namespace devprep {

constinit PassOutcome LastPass = {};

Change MemberChange(std::uint16_t old_number, std::uint16_t new_number) {
  if (new_number == kDeviceGone) return Change::kGone;
  return new_number == old_number ? Change::kKept : Change::kMoved;
}

MatchWitness WitnessOldDevice(std::uint16_t k, std::uint16_t n) {
  std::uint16_t used[kMaxFoundDevices] = {};
  for (std::uint16_t earlier = 0; earlier < k; ++earlier) {
    const std::uint16_t number = LastPass.OldDeviceMap[earlier].NewNumber;
    if (number != kDeviceGone) used[number] = 1;
  }
  return WitnessDevice(&LastPass.OldDeviceMap[k].Old, n, used);
}

void ResetPassOutcome() { std::memset(static_cast<void*>(&LastPass), 0, sizeof LastPass); }

}  // namespace devprep
