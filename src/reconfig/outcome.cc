#include "reconfig/outcome.h"

#include <cstring>

#include "discovery/scsi_probe.h"

namespace devprep {

constinit PassOutcome LastPass = {};

Change DeviceChange(const DeviceRecord& old_record, std::uint16_t new_number) {
  if (new_number == kDeviceGone) return Change::kGone;
  return old_record.Number == new_number && old_record.Address == FoundDevices[new_number].Address
             ? Change::kKept
             : Change::kMoved;
}

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
