// The number of tape members over all RAIDs, as last counted (CountRaidMembers, raid_records.h) and
// as assignments and removals have moved it since. 0 until it is counted.
#ifndef DEVPREP_RECORDS_RAID_MEMBER_TOTAL_H_
#define DEVPREP_RECORDS_RAID_MEMBER_TOTAL_H_

#include <cstdint>

namespace devprep {

std::uint16_t RaidMemberTotal();

// Sets it: to 0 where a count begins and as a fresh load finds it, or back to what it was.
void SetRaidMemberTotal(std::uint16_t total);

void RaiseRaidMemberTotal(std::uint16_t members);

// Lowers it by one, never below 0.
void LowerRaidMemberTotal();

}  // namespace devprep

#endif  // DEVPREP_RECORDS_RAID_MEMBER_TOTAL_H_
