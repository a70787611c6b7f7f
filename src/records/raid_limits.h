// What a tape RAID may be: limits, levels and the numbers that stand for missing ones.
#ifndef DEVPREP_RECORDS_RAID_LIMITS_H_
#define DEVPREP_RECORDS_RAID_LIMITS_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

inline constexpr std::uint16_t kMaxRaids = 8;
inline constexpr std::uint16_t kMaxRaidMembers = 16;      // tape members over all RAIDs
inline constexpr std::size_t kMaxRaidListEntries = 32;    // of a RAID's record: tapes, changers
inline constexpr std::uint16_t kMirrorLevel = 1;          // the level with a limit of its own
inline constexpr std::uint16_t kMaxMirrorTapes = 2;       // tape members of a RAID of that level
inline constexpr std::size_t kModelRevisionLength = 4;    // last characters of a description
inline constexpr std::uint16_t kNewRaidStripeSize = 4;    // of a RAID that is created
inline constexpr std::uint16_t kNewRaidLinkPosition = 1;  // of a RAID that is created
inline constexpr std::uint16_t kDefaultRaidLevel = 5;     // of a RAID whose level is not stored
inline constexpr std::uint16_t kDefaultStripeSize = 4;    // of one whose stripe size is not
inline constexpr std::uint16_t kDefaultLinkPosition = 0;  // of one whose link position is not

}  // namespace devprep

#endif  // DEVPREP_RECORDS_RAID_LIMITS_H_
