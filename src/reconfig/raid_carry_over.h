// Brings the tape RAIDs of the old configuration over to the devices found now.
#ifndef DEVPREP_RECONFIG_RAID_CARRY_OVER_H_
#define DEVPREP_RECONFIG_RAID_CARRY_OVER_H_

#include <cstdint>

#include "devprep/devprep.h"

namespace devprep {

// Pairs the members of every RAID with the devices found now, while the old device records are
// still stored, rewrites the lists in which a member got another number, and records in LastPass
// what became of each member. UsedDeviceFlags is clear on return. Returns 0.
std::uint16_t CarryOverRaids();

// The same for one RAID, whose device numbers in info become the new ones, or kDeviceGone. Returns
// 0.
std::uint16_t CarryOverRaid(RaidInfo* info);

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_RAID_CARRY_OVER_H_
