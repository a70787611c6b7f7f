// Brings the tape RAIDs of the old configuration over to the devices found now.
#ifndef DEVPREP_RECONFIG_RAID_CARRY_OVER_H_
#define DEVPREP_RECONFIG_RAID_CARRY_OVER_H_

#include <cstdint>

#include "devprep/devprep.h"
#include "records/raid_records.h"

namespace devprep {

// What became of one RAID's members in the last carry-over: entry i of a New list is the found
// device that entry i of the Old list was paired with, or kDeviceGone.
struct CarriedRaid {
  bool Read;  // false: there was no such RAID, or it could not be read
  RaidInfo Old;
  RaidInfo New;
};
extern CarriedRaid CarriedRaids[kMaxRaids];

// Pairs the members of every RAID with the devices found now, while the old device records are
// still stored, and rewrites the lists in which a member got another number. UsedDeviceFlags is
// clear on return. Returns 0.
std::uint16_t CarryOverRaids();

// The same for one RAID, whose device numbers in info become the new ones, or kDeviceGone. Returns
// 0.
std::uint16_t CarryOverRaid(RaidInfo* info);

// Forgets the last carry-over, as a fresh load finds it.
void ResetRaidCarryOver();

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_RAID_CARRY_OVER_H_
