#include "reconfig/reconfigure.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "platform/modules.h"
#include "reconfig/device_match.h"
#include "reconfig/outcome.h"
#include "records/group_record.h"

namespace devprep {

namespace {

// Working storage of one pass.
struct Workspace {
  GroupRecord* old_groups;  // kMaxGroups
  GroupRecord* new_groups;  // kMaxGroups
};

std::uint16_t LoadRecord(std::uint16_t number, DeviceRecord* record) {
  *record = {};
  record->Number = number;
  return ReadDeviceRecord(record);
}

void MarkMerged() {
  std::uint16_t bearers[kMaxFoundDevices] = {};
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const std::uint16_t number = LastPass.OldDeviceMap[k].NewNumber;
    if (number != kDeviceGone) ++bearers[number];
  }
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.NewNumber != kDeviceGone && bearers[device.NewNumber] > 1) {
      device.Became = Change::kMerged;
    }
  }
}

// Loads every old record and pairs it. Nothing is written before all old records and groups were
// read, so one reading of each record serves the whole pass.
void MapOldDevices() {
  CountDeviceRecords(&LastPass.OldDeviceCount);
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    device.ReadStatus = LoadRecord(k, &device.Old);
    device.NewNumber = kDeviceGone;
    std::uint16_t number = 0;
    if (MatchDevice(&device.Old, &number, &device.RecognisedBy) == kMatched) {
      device.NewNumber = number;
      UsedDeviceFlags[number] = 1;
    } else {
      ReadDeviceDescription(k, device.StoredDescription);
    }
    device.Became = DeviceChange(device.Old, device.NewNumber);
  }
  MarkMerged();
  ClearUsedDeviceFlags();
}

void LoadOldGroups(Workspace* work) {
  CountGroups(&LastPass.OldGroupCount);
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    GroupRecord* group = &work->old_groups[i];
    group->Number = i;
    GroupOutcome* outcome = &LastPass.Groups[i];
    outcome->ReadStatus = ReadGroupRecord(group);
    outcome->OldKind = group->Kind;
    outcome->OldAttribute = group->Attribute;
    std::memcpy(outcome->Name, group->Name, sizeof outcome->Name);
  }
}

// Pairs a member of a group anew, and records what became of it.
MemberOutcome PairMember(std::uint16_t member) {
  MemberOutcome outcome = {member, kDeviceGone, MatchCriterion::kNone, Change::kGone};
  // A group may also name a device key behind a gap in the numbering.
  DeviceRecord uncounted;
  const DeviceRecord* old_record = &uncounted;
  if (member < LastPass.OldDeviceCount) {
    old_record = &LastPass.OldDeviceMap[member].Old;
  } else {
    LoadRecord(member, &uncounted);
  }
  std::uint16_t number = 0;
  if (MatchDevice(old_record, &number, &outcome.RecognisedBy) != kMatched) return outcome;
  UsedDeviceFlags[number] = 1;
  outcome.NewNumber = number;
  outcome.Became = MemberChange(member, number);
  return outcome;
}

void RenumberChangerGroup(const GroupRecord& old_group, GroupRecord* group, GroupOutcome* outcome) {
  outcome->MemberCount = 1;
  outcome->Members[0] = PairMember(old_group.Changer);
  if (outcome->Members[0].NewNumber == kDeviceGone) {
    group->Kind = kGroupNone;
    return;
  }
  group->PairCount = old_group.PairCount;
  std::memcpy(group->PairFirsts, old_group.PairFirsts, sizeof group->PairFirsts);
  std::memcpy(group->PairSeconds, old_group.PairSeconds, sizeof group->PairSeconds);
  group->Changer = outcome->Members[0].NewNumber;
}

void RenumberMembers(const GroupRecord& old_group, GroupRecord* group, GroupOutcome* outcome) {
  outcome->MemberCount = old_group.MemberCount;
  for (std::uint16_t j = 0; j < old_group.MemberCount; ++j) {
    outcome->Members[j] = PairMember(old_group.Members[j]);
    if (outcome->Members[j].NewNumber == kDeviceGone) continue;
    const std::uint8_t place = group->MemberCount++;
    group->Members[place] = outcome->Members[j].NewNumber;
    if (old_group.Kind == kGroupRaidChanger) {
      group->PairFirsts[place] = old_group.PairFirsts[j];
      group->PairSeconds[place] = old_group.PairSeconds[j];
    }
  }
}

void RenumberGroups(Workspace* work) {
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    const GroupRecord& old_group = work->old_groups[i];
    GroupRecord* group = &work->new_groups[i];
    group->Number = i;
    group->Kind = old_group.Kind;
    std::memcpy(group->Name, old_group.Name, sizeof group->Name);
    if (old_group.Kind == kGroupChanger) {
      RenumberChangerGroup(old_group, group, &LastPass.Groups[i]);
    } else {
      RenumberMembers(old_group, group, &LastPass.Groups[i]);
    }
    LastPass.Groups[i].NewKind = group->Kind;
  }
}

// Pairs the drive of a reserved list's entry, and records what became of it.
MemberOutcome PairReservedDrive(std::uint16_t drive) {
  MemberOutcome outcome = {drive, kDeviceGone, MatchCriterion::kNone, Change::kGone};
  std::uint16_t number = 0;
  if (drive >= LastPass.OldDeviceCount ||
      MatchReservedDrive(&LastPass.OldDeviceMap[drive].Old, &number, &outcome.RecognisedBy) !=
          kMatched) {
    return outcome;
  }
  outcome.NewNumber = number;
  outcome.Became = MemberChange(drive, number);
  return outcome;
}

// Gives each drive of a changer's reserved list its new number, which outcomes tell entry by entry;
// drives that are gone leave the list. A list that begins in descending order is walked from its
// end. The order of the walk decides which of several identical drives goes to which entry.
void RenumberReservedDrives(DeviceRecord* changer, MemberOutcome* outcomes) {
  std::uint16_t* const drives = changer->ReservedDrives;
  const std::uint16_t entries = changer->ReservedDriveCount;
  if (entries == 0) return;
  const bool backwards = drives[0] > drives[1];
  for (std::uint16_t taken = 0; taken < entries; ++taken) {
    const std::size_t at = backwards ? entries - 1U - taken : taken;
    outcomes[at] = PairReservedDrive(drives[at]);
  }
  changer->ReservedDriveCount = 0;
  for (std::uint16_t j = 0; j < entries; ++j) {
    if (outcomes[j].NewNumber == kDeviceGone) continue;
    drives[changer->ReservedDriveCount++] = outcomes[j].NewNumber;
  }
}

void WritePairedDevices() {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    DeviceRecord record = {};
    if (FindNewDeviceNumber(k, &record.Number) != 0) continue;
    RecordFromFoundDevice(&record);
    OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    record.ReadShots = device.Old.ReadShots;
    record.WriteShots = device.Old.WriteShots;
    record.CleaningTapeSlot = device.Old.CleaningTapeSlot;
    record.DefaultBlockFactor = device.Old.DefaultBlockFactor;
    if (record.Type == kTypeChanger) {
      record.ReservedDriveCount = device.Old.ReservedDriveCount;
      std::memcpy(record.ReservedDrives, device.Old.ReservedDrives, sizeof record.ReservedDrives);
      record.DisabledDrives = device.Old.DisabledDrives;
      record.BarCodeInstall = device.Old.BarCodeInstall;
      record.SetBarCodeTapeToBlank = device.Old.SetBarCodeTapeToBlank;
      record.SetAutoCleaningTime = device.Old.SetAutoCleaningTime;
      device.ReservationsCarried = true;
      device.NewDisabledDrives = device.Old.DisabledDrives;
      RenumberReservedDrives(&record, device.ReservedDrives);
    }
    WriteDeviceRecord(&record);
  }
}

// A device that was just written is written again here unless a group claimed it. Its settings
// stay: values at their defaults are not written.
void WriteUnclaimedDevices() {
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    if (UsedDeviceFlags[n] != 0) continue;
    DeviceRecord record = {};
    record.Number = n;
    RecordFromFoundDevice(&record);
    WriteDeviceRecord(&record);
  }
}

void Reconfigure(Workspace* work) {
  IndexFoundDevices();
  MapOldDevices();
  LoadOldGroups(work);
  ClearUsedDeviceFlags();
  RenumberGroups(work);
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) DeleteDeviceRecord(k);
  WritePairedDevices();
  WriteUnclaimedDevices();
  for (std::uint16_t g = 0; g < LastPass.OldGroupCount; ++g) DeleteGroupKey(g);
  for (std::uint16_t g = 0; g < LastPass.OldGroupCount; ++g) {
    WriteGroupRecord(&work->new_groups[g]);
  }
  LastPass.Ran = true;
}

GroupRecord* AllocateGroups() {
  return static_cast<GroupRecord*>(GlobalAlloc(GMEM_ZEROINIT, kMaxGroups * sizeof(GroupRecord)));
}

}  // namespace

std::uint32_t ReconfigureDevices() {
  auto* old_groups = AllocateGroups();
  if (old_groups == nullptr) return kNoWorkingStorage;
  auto* new_groups = AllocateGroups();
  if (new_groups == nullptr) {
    GlobalFree(old_groups);
    return kNoWorkingStorage;
  }
  Workspace work = {old_groups, new_groups};
  Reconfigure(&work);
  GlobalFree(new_groups);
  GlobalFree(old_groups);
  return 0;
}

std::uint16_t FindNewDeviceNumber(std::uint16_t old_number, std::uint16_t* number) {
  if (old_number >= LastPass.OldDeviceCount ||
      LastPass.OldDeviceMap[old_number].NewNumber == kDeviceGone) {
    return kNumberNotMapped;
  }
  *number = LastPass.OldDeviceMap[old_number].NewNumber;
  return 0;
}

}  // namespace devprep
