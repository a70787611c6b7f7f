// Which drives a changer itself names as those in its drive elements, and whether the list of
// drives that is reserved to it agrees with that.
#ifndef DEVPREP_RECONFIG_CHANGER_DRIVES_H_
#define DEVPREP_RECONFIG_CHANGER_DRIVES_H_

#include <cstdint>

#include "discovery/scsi_probe.h"
#include "records/device_record.h"

namespace devprep {

// What one changer says, by device numbers.
struct ChangerDrives {
  std::uint16_t Changer;  // device number, or kDeviceGone: of a changer that has none
  bool Whole;             // each of its drive elements is told apart: no other drive is in it
  std::uint16_t DriveCount;
  std::uint16_t Drives[kMaxFoundDevices];  // those recognised, in the order of their elements
};

enum class ReservationVerdict : std::uint8_t {
  kUnknown,      // the changer names no drive
  kAgrees,       // the same drives in the same order
  kIncomplete,   // in the same order, but the changer has more
  kOtherOrder,   // drives that the changer has, in another order than that of its elements
  kOtherDrives,  // a drive that the changer does not have
};

struct ReservationCheck {
  ReservationVerdict Verdict;
  std::uint16_t Count;     // entries that stand wrong
  std::uint16_t Place;     // in the list: of the first of them
  std::uint16_t Expected;  // what the changer has there instead, or kDeviceGone
};

// What the changers among the found devices say, by the numbers of those. Empty until somebody who
// can ask them fills it in (PassOptions::AfterProbe).
struct FoundChangerDrives {
  std::uint16_t Count;
  ChangerDrives Items[kMaxFoundDevices];
};
extern FoundChangerDrives FoundChangers;

// What found device number says as a changer. Null when it says nothing.
const ChangerDrives* DrivesOfFoundChanger(std::uint16_t number);

// Forgets what the changers said, as a fresh load finds it.
void ResetFoundChangers();

// Holds a list of reserved drives, by device numbers, against what changers say. own: the place in
// changers of the one whose list it is. A drive that no changer names counts as another one only if
// its own changer tells all of its drives apart.
ReservationCheck CheckReservedDrives(const std::uint16_t* list, std::uint16_t count,
                                     const ChangerDrives* changers, std::uint16_t changer_count,
                                     std::uint16_t own);

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_CHANGER_DRIVES_H_
