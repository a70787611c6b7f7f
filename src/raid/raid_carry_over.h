// Brings the tape RAIDs of the old configuration over to the devices found now.
#ifndef DEVPREP_RAID_RAID_CARRY_OVER_H_
#define DEVPREP_RAID_RAID_CARRY_OVER_H_

#include <cstdint>

#include "devprep/devprep.h"

namespace devprep {

// Pairs the members of every RAID with the devices found now, while the old device records are
// still stored, and rewrites the lists in which a member got another number. UsedDeviceFlags is
// clear on return. Returns 0.
std::uint16_t CarryOverRaids();

// The same for one RAID, whose device numbers in info become the new ones. Returns 0.
std::uint16_t CarryOverRaid(RaidInfo* info);

}  // namespace devprep

#endif  // DEVPREP_RAID_RAID_CARRY_OVER_H_
