// Creating, editing and removing tape RAIDs.
#ifndef DEVPREP_SETUP_RAID_SETUP_H_
#define DEVPREP_SETUP_RAID_SETUP_H_

#include <cstdint>

#include "devprep/devprep.h"
#include "records/device_record.h"

namespace devprep {

inline constexpr std::uint8_t kStrictMatch = 1;

// The exports of the same names (devprep.h) describe arguments and statuses.
std::uint16_t RaidSetUpCreateRaid(std::uint16_t level, std::uint32_t unused, std::uint16_t* number);
std::uint16_t RaidSetUpRemoveRaid(std::uint16_t number);
std::uint16_t RaidSetUpSetRaidLevel(std::uint16_t number, std::uint16_t level);
std::uint16_t RaidSetUpSetLinkPosition(std::uint16_t number, std::uint16_t position);
std::uint16_t RaidSetUpAssignDeviceToRaid(std::uint16_t number, std::uint16_t device,
                                          std::uint8_t strict_match);
std::uint16_t RaidSetUpRemoveDeviceFromRaid(std::uint16_t number, std::uint16_t device);

// Closes the gap that a removed RAID left: the RAIDs from number on move down by one.
void ShiftRaidRecords(std::uint16_t number);

// Sorts device numbers in place, ascending.
void SortDeviceNumbers(std::uint16_t* numbers, std::uint16_t count);

// Whether a device is among the RAID's changers.
bool IsChangerInRaid(const RaidInfo& raid, std::uint16_t device);

// Finds the changer, by its real type, whose reserved drives hold the drive. False when there is
// none.
bool FindChangerOfDrive(std::uint16_t drive, std::uint16_t* changer);

// Takes the drives that are members of some RAID out of the changer's reserved list, in the record
// only.
void DropAssignedDrives(DeviceRecord* changer);

// Whether two devices are of one model: descriptions of one length that differ in their last 4
// characters, the revision, at most.
bool IsSameModel(const DeviceRecord& member, const DeviceRecord& device);

// Finds the first of the RAID's changers that still has reserved drives outside it. False when all
// are complete.
bool FindIncompleteChanger(const RaidInfo& raid, std::uint16_t* changer);

// Whether a lone drive may join: to a RAID with changers only as a drive of the first of them that
// still has reserved drives outside it.
bool CheckDriveForRaid(const RaidInfo& raid, std::uint16_t drive);

}  // namespace devprep

#endif  // DEVPREP_SETUP_RAID_SETUP_H_
