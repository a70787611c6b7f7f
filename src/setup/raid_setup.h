// Creating, editing and removing tape RAIDs.
#ifndef DEVPREP_SETUP_RAID_SETUP_H_
#define DEVPREP_SETUP_RAID_SETUP_H_

#include <cstdint>

#include "setup/raid_rules.h"

namespace devprep {

inline constexpr std::uint8_t kStrictMatch = 1;

// What the exports of devprep.h do, which describes arguments and statuses.
RaidEdit CreateRaid(std::uint16_t level, std::uint16_t* number);
RaidEdit RemoveRaid(std::uint16_t number);
RaidEdit AssignDeviceToRaid(std::uint16_t number, std::uint16_t device, std::uint8_t strict_match);
RaidEdit RemoveDeviceFromRaid(std::uint16_t number, std::uint16_t device);
void SetRaidLevel(std::uint16_t number, std::uint16_t level);
void SetRaidLinkPosition(std::uint16_t number, std::uint16_t position);

}  // namespace devprep

#endif  // DEVPREP_SETUP_RAID_SETUP_H_
