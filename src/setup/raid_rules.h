// The rules by which devices join tape RAIDs, and why an edit of the RAIDs is refused.
#ifndef DEVPREP_SETUP_RAID_RULES_H_
#define DEVPREP_SETUP_RAID_RULES_H_

#include <cstdint>

#include "devprep/devprep.h"
#include "records/device_record.h"

namespace devprep {

// Why an edit was refused or failed. The comments name the fields of RaidEdit that say more; device
// is the one that was to be assigned or removed unless they say otherwise.
enum class RaidRefusal : std::uint8_t {
  kNone,
  // The RAID.
  kNoRaid,           // there is none of that number
  kRaidNotReadable,  // its key, lists or record cannot be read
  kRaidNotStored,    // its key or lists cannot be stored
  kRaidLimit,        // there are kMaxRaids
  kNoTapeEngineKey,  // without one no RAID can be created
  // The devices.
  kNoDevice,           // device, maybe a changer's reserved drive, is not configured
  kDeviceNotReadable,  // the stored record of device, the same, is malformed
  kAlreadyMember,
  kNotAMember,
  kLastDriveNotAMember,  // of a changer's enabled drives; those that were members are taken out
  kFirstNotReadable,     // the first member, whose model is asked for
  kOtherModel,           // than other, the first member of its kind
  // The limits.
  kMemberLimit,       // there are kMaxRaidMembers tapes over all RAIDs
  kDrivesAboveLimit,  // with the changer's free drives there would be more
  kMirrorFull,        // a RAID of kMirrorLevel has kMaxMirrorTapes
  kListFull,          // the RAID's record has no room for more tapes
  // A changer that is to join the tapes of a RAID.
  kNothingToShare,       // it has no reserved drives
  kUnevenShare,          // tapes is no multiple of drives, its reserved ones
  kTapesWithoutChanger,  // the tapes belong to no changer
  // A drive that is to join a RAID with changers.
  kDriveWithoutChanger,  // it is reserved to none
  kChangersComplete,     // all their drives are in the RAID already
  kOtherChangersTurn,    // it belongs to other, but next still has drives that are free
};

// What became of an edit.
struct RaidEdit {
  std::uint16_t status = DEVPREP_OK;  // that the export returns
  RaidRefusal refusal = RaidRefusal::kNone;
  std::uint16_t device = 0;
  std::uint16_t other = 0;
  std::uint16_t next = 0;
  std::uint16_t tapes = 0;  // done: taken in or out; refused: that the RAID has
  std::uint16_t drives = 0;
};

// Finds the changer, by its real type, whose reserved drives hold the drive. False when there is
// none.
bool FindChangerOfDrive(std::uint16_t drive, std::uint16_t* changer);

// Whether a device is of the model of the first member of list, a stored list of its kind, so far
// as that has one: descriptions of one length that differ in the revision at their end, at most.
// Statuses 0, 203, 65535.
RaidEdit CheckModel(const char* list, const DeviceRecord& device);

// Whether the RAID's level leaves room for a tape more. Statuses 0, 205.
RaidEdit CheckLevel(const RaidInfo& raid);

// Adds a drive to the RAID's record. To a RAID with changers it may only come as a drive of the
// first of them that still has reserved drives outside it. Statuses 0, 203, 205.
RaidEdit AddDrive(std::uint16_t drive, RaidInfo* raid);

// Adds a changer's enabled reserved drives that are in no RAID to the RAID's record. Where the RAID
// has tapes, they have to be changers' already, and so many that the changer's share is whole.
// Statuses 0, 203, 205; the record may then hold some of them.
RaidEdit AddChangerDrives(const DeviceRecord& changer, RaidInfo* raid);

}  // namespace devprep

#endif  // DEVPREP_SETUP_RAID_RULES_H_
