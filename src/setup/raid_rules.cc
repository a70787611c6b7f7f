#include "setup/raid_rules.h"

#include <algorithm>
#include <cstring>

#include "records/address_list.h"
#include "records/device_cache.h"
#include "records/raid_limits.h"
#include "records/raid_member_total.h"
#include "records/raid_records.h"
#include "setup/device_listing.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

bool IsSameModel(const DeviceRecord& member, const DeviceRecord& device) {
  const std::size_t length = std::strlen(member.Description);
  const std::size_t model_length =
      length > kModelRevisionLength ? length - kModelRevisionLength : 0;
  return std::strlen(device.Description) == length &&
         std::memcmp(member.Description, device.Description, model_length) == 0;
}

// Takes the drives that are members of some RAID out of the changer's reserved list, in the record
// only.
void DropAssignedDrives(DeviceRecord* changer) {
  bool assigned[kMaxDriveListEntries] = {};
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    RaidInfo raid = {};
    if (ReadRaidRecord(n, &raid) != DEVPREP_OK) continue;
    for (std::uint16_t i = 0; i < changer->ReservedDriveCount; ++i) {
      assigned[i] =
          assigned[i] || HoldsDevice(raid.TapeDevices, raid.TapeCount, changer->ReservedDrives[i]);
    }
  }
  std::uint16_t kept = 0;
  for (std::uint16_t i = 0; i < changer->ReservedDriveCount; ++i) {
    if (!assigned[i]) changer->ReservedDrives[kept++] = changer->ReservedDrives[i];
  }
  changer->ReservedDriveCount = kept;
}

// Finds the first of the RAID's changers that still has reserved drives outside it. False when all
// are complete.
bool FindIncompleteChanger(const RaidInfo& raid, std::uint16_t* changer) {
  for (std::uint16_t i = 0; i < raid.ChangerCount; ++i) {
    DeviceRecord record = {};
    record.Number = raid.ChangerDevices[i];
    if (GetDeviceRecord(&record) != kStatusOk) continue;
    const std::uint16_t* const drives = record.ReservedDrives;
    if (std::any_of(drives, drives + record.ReservedDriveCount, [&raid](std::uint16_t reserved) {
          return !HoldsDevice(raid.TapeDevices, raid.TapeCount, reserved);
        })) {
      *changer = raid.ChangerDevices[i];
      return true;
    }
  }
  return false;
}

// Whether the RAID's tapes and the changer's reserved drives go together.
RaidRefusal CheckShare(const RaidInfo& raid, const DeviceRecord& changer) {
  if (raid.TapeCount == 0) return RaidRefusal::kNone;
  if (!HoldsDevice(raid.ChangerDevices, raid.ChangerCount, changer.Number)) {
    // A changer without reserved drives divides nothing.
    if (changer.ReservedDriveCount == 0) return RaidRefusal::kNothingToShare;
    if (raid.TapeCount % changer.ReservedDriveCount != 0) return RaidRefusal::kUnevenShare;
  }
  return (raid.Flags & DEVPREP_RAID_HAS_CHANGER) == 0 ? RaidRefusal::kTapesWithoutChanger
                                                      : RaidRefusal::kNone;
}

bool HasRoom(const RaidInfo& raid) { return raid.TapeCount < kMaxRaidListEntries; }

}  // namespace

bool FindChangerOfDrive(std::uint16_t drive, std::uint16_t* changer) {
  const std::uint16_t count = GetDeviceCount();
  for (std::uint16_t i = 0; i < count; ++i) {
    DeviceRecord record = {};
    record.Number = i;
    // Only a changer can be reported as one: the others need not be asked for their inquiry text.
    if (GetDeviceRecord(&record) != kStatusOk || record.Type != kTypeChanger) continue;
    DeviceInfo info = {};
    if (QueryDeviceInfo(i, &info, true) == DEVPREP_OK && info.Type == kTypeChanger &&
        HoldsDevice(info.ReservedDrives, info.ReservedDriveCount, drive)) {
      *changer = i;
      return true;
    }
  }
  return false;
}

RaidEdit CheckModel(const char* list, const DeviceRecord& device) {
  const char* end = std::strchr(list, ')');
  if (end == nullptr) return {};
  // Unlike a walk, this does not pass over brackets in front: a list that begins with one was not
  // written here, and has no first member.
  ListPiece first = {};
  std::memcpy(first.text, list, static_cast<std::size_t>(end - list) + 1);
  DeviceRecord member = {};
  if (FindDeviceByAddress(first.text, &member.Number) != kStatusOk ||
      GetDeviceRecord(&member) != kStatusOk) {
    return {.status = DEVPREP_FAILED,
            .refusal = RaidRefusal::kFirstNotReadable,
            .device = device.Number};
  }
  if (IsSameModel(member, device)) return {};
  return {.status = DEVPREP_DEVICE_REFUSED,
          .refusal = RaidRefusal::kOtherModel,
          .device = device.Number,
          .other = member.Number};
}

RaidEdit CheckLevel(const RaidInfo& raid) {
  if (raid.Level != kMirrorLevel || raid.TapeCount < kMaxMirrorTapes) return {};
  return {
      .status = DEVPREP_MEMBER_LIMIT, .refusal = RaidRefusal::kMirrorFull, .tapes = raid.TapeCount};
}

RaidEdit AddDrive(std::uint16_t drive, RaidInfo* raid) {
  RaidEdit edit = {.status = DEVPREP_DEVICE_REFUSED, .device = drive, .tapes = raid->TapeCount};
  if ((raid->Flags & DEVPREP_RAID_HAS_CHANGER) != 0) {
    if (!FindChangerOfDrive(drive, &edit.other)) {
      edit.refusal = RaidRefusal::kDriveWithoutChanger;
      return edit;
    }
    // Where all changers are complete, the drive would belong to none of their shares.
    if (!FindIncompleteChanger(*raid, &edit.next)) {
      edit.refusal = RaidRefusal::kChangersComplete;
      return edit;
    }
    if (edit.other != edit.next) {
      edit.refusal = RaidRefusal::kOtherChangersTurn;
      return edit;
    }
  }
  if (!HasRoom(*raid)) {
    edit.status = DEVPREP_MEMBER_LIMIT;
    edit.refusal = RaidRefusal::kListFull;
    return edit;
  }
  raid->TapeDevices[raid->TapeCount++] = drive;
  return {.device = drive, .tapes = 1};
}

RaidEdit AddChangerDrives(const DeviceRecord& changer, RaidInfo* raid) {
  RaidEdit edit = {
      .device = changer.Number, .tapes = raid->TapeCount, .drives = changer.ReservedDriveCount};
  edit.refusal = CheckShare(*raid, changer);
  if (edit.refusal != RaidRefusal::kNone) {
    edit.status = DEVPREP_DEVICE_REFUSED;
    return edit;
  }
  DeviceRecord free = changer;
  DropAssignedDrives(&free);
  std::uint16_t added = 0;
  for (std::uint16_t i = 0; i < free.ReservedDriveCount; ++i) {
    if (IsDriveDisabled(free.DisabledDrives, i)) continue;
    // A stored list may hold more than the members that were counted.
    if (RaidMemberTotal() + added >= kMaxRaidMembers || !HasRoom(*raid)) {
      edit.status = DEVPREP_MEMBER_LIMIT;
      edit.refusal = HasRoom(*raid) ? RaidRefusal::kDrivesAboveLimit : RaidRefusal::kListFull;
      return edit;
    }
    raid->TapeDevices[raid->TapeCount++] = free.ReservedDrives[i];
    ++added;
  }
  return {.device = changer.Number, .tapes = added};
}

}  // namespace devprep
