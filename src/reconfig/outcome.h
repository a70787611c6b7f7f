// What the last configuration pass made of the old configuration: recorded where it is decided.
#ifndef DEVPREP_RECONFIG_OUTCOME_H_
#define DEVPREP_RECONFIG_OUTCOME_H_

#include <cstdint>

#include "devprep/devprep.h"
#include "reconfig/device_match.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "records/raid_records.h"

namespace devprep {

// What became of a device of the old configuration, or of a member of one of its lists.
enum class Change : std::uint8_t {
  kKept,    // a device: number and address are the same; a member: its number is
  kMoved,   // another number, or another address
  kMerged,  // a device: another old device became the same device
  kGone,
};

// One member of a list: a reserved drive, a group's or a RAID's member. A member may end at another
// device than the record of its old number does, since each list is paired by rules of its own.
struct MemberOutcome {
  std::uint16_t OldNumber;
  std::uint16_t NewNumber;  // or kDeviceGone: it is no member any more
  MatchCriterion RecognisedBy;
  Change Became;
};

// One device of the old configuration. Entry k of the list has old number k.
struct OldDeviceOutcome {
  DeviceRecord Old;  // as it was stored; of one that cannot be read little more than its number
  std::uint16_t ReadStatus;                  // of ReadDeviceRecord
  char StoredDescription[kDescriptionSize];  // of one that is gone: as stored, blanks included
  std::uint16_t NewNumber;                   // or kDeviceGone
  MatchCriterion RecognisedBy;
  Change Became;
  // Of a changer that was paired with a changer: what became of each entry of Old.ReservedDrives.
  bool ReservationsCarried;
  MemberOutcome ReservedDrives[kMaxDriveListEntries];
  std::uint32_t NewDisabledDrives;
  bool Followed;  // its identity or place decided before the pass, whose rules only carried it out
};

struct GroupOutcome {
  std::uint16_t ReadStatus;  // of ReadGroupRecord
  std::uint16_t OldKind;     // kGroup...
  std::uint16_t NewKind;     // kGroupNone: the group was emptied
  char Name[kGroupNameSize];
  std::uint32_t OldAttribute;  // the new one is 0
  std::uint16_t MemberCount;
  MemberOutcome Members[kMaxGroupMembers];  // of a changer group its changer alone
};

struct RaidOutcome {
  bool Read;     // false: there was no such RAID, or it could not be read and was left as it is
  RaidInfo Old;  // as the pass read it, so far as it could
  MemberOutcome Tapes[kMaxRaidListEntries];
  MemberOutcome Changers[kMaxRaidListEntries];
  // Elements that were stored: more than Old's members where one names no configured device. Those
  // are dropped, and with a rewritten list all that follow them.
  std::uint16_t StoredTapes;
  std::uint16_t StoredChangers;
};

struct PassOutcome {
  bool Ran;  // false: there was no pass since the library was loaded
  std::uint16_t OldDeviceCount;
  OldDeviceOutcome OldDeviceMap[kMaxDeviceRecords];
  std::uint16_t OldGroupCount;
  GroupOutcome Groups[kMaxGroups];
  RaidOutcome Raids[kMaxRaids];
};
extern PassOutcome LastPass;

// What an old device that was paired with found device new_number became, but for merging, which
// shows when all have been paired.
Change DeviceChange(const DeviceRecord& old_record, std::uint16_t new_number);

// What a member with these numbers became.
Change MemberChange(std::uint16_t old_number, std::uint16_t new_number);

// What the matcher makes of old device k and found device n, as it was when the pass paired k.
MatchWitness WitnessOldDevice(std::uint16_t k, std::uint16_t n);

// Forgets the last pass, as a fresh load finds it.
void ResetPassOutcome();

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_OUTCOME_H_
