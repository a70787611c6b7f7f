// The pass that carries the old device records and groups over onto the devices found now.
#ifndef DEVPREP_RECONFIG_RECONFIGURE_H_
#define DEVPREP_RECONFIG_RECONFIGURE_H_

#include <cstdint>

#include "reconfig/device_match.h"
#include "records/group_record.h"

namespace devprep {

inline constexpr std::uint32_t kNoWorkingStorage = 63570;
inline constexpr std::uint16_t kNumberNotMapped = 65535;

// What became of one device of the old configuration.
struct OldDeviceEntry {
  std::uint16_t OldNumber;
  std::uint16_t NewNumber;  // kDeviceGone: no found device was paired with it
  MatchCriterion RecognisedBy;
};

// The old configuration as the last pass found it. Entry k of OldDeviceMap holds old number k.
extern OldDeviceEntry OldDeviceMap[kMaxDeviceRecords + 1];
extern std::uint16_t OldDeviceCount;
extern std::uint16_t OldGroupCount;

// What became of member j of old group i in the last pass: its new number or kDeviceGone. Of a
// changer group entry 0 is the changer.
extern std::uint16_t OldGroupMemberMap[kMaxGroups][kMaxGroupMembers];

// What became of entry j of the ReservedDrives of old changer k in the last pass: its new number or
// kDeviceGone. Set for old devices that were paired with a changer.
extern std::uint16_t OldReservedDriveMap[kMaxDeviceRecords][kMaxDriveListEntries];

// Rewrites device and group records so that device number N is entry N of FoundDevices. Returns 0;
// 63570 when there is no memory for the working storage, nothing is then changed.
std::uint32_t ReconfigureDevices();

// The new number of an old device in *number. Returns 0; 65535 when the old number is unknown or
// its device gone.
std::uint16_t FindNewDeviceNumber(std::uint16_t old_number, std::uint16_t* number);

// Forgets the last pass, as a fresh load finds it.
void ResetReconfigure();

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_RECONFIGURE_H_
