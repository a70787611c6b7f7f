#include "reconfig/reconfigure.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "platform/modules.h"

namespace devprep {

constinit OldDeviceEntry OldDeviceMap[kMaxDeviceRecords + 1] = {};
constinit std::uint16_t OldDeviceCount = 0;
constinit std::uint16_t OldGroupCount = 0;
constinit std::uint16_t OldGroupMemberMap[kMaxGroups][kMaxGroupMembers] = {};
constinit std::uint16_t OldReservedDriveMap[kMaxDeviceRecords][kMaxDriveListEntries] = {};

namespace {

// Working storage of one pass.
struct Workspace {
  SavedGroup* old_groups;   // kMaxGroups
  GroupRecord* new_groups;  // kMaxGroups
  DeviceRecord old_devices[kMaxDeviceRecords];
};

void LoadRecord(std::uint16_t number, DeviceRecord* record) {
  *record = {};
  record->Number = number;
  ReadDeviceRecord(record);
}

// Loads every old record and pairs it. Nothing is written before all old records and groups were
// read, so one reading of each record serves the whole pass.
void MapOldDevices(Workspace* work) {
  CountDeviceRecords(&OldDeviceCount);
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
    LoadRecord(k, &work->old_devices[k]);
    OldDeviceMap[k] = {k, kDeviceGone, MatchCriterion::kNone};
    std::uint16_t number = 0;
    if (MatchDevice(&work->old_devices[k], &number, &OldDeviceMap[k].RecognisedBy) != kMatched) {
      continue;
    }
    OldDeviceMap[k].NewNumber = number;
    UsedDeviceFlags[number] = 1;
  }
  ClearUsedDeviceFlags();
}

// A group may also name a device key behind a gap in the numbering.
void LoadMember(const Workspace* work, std::uint16_t number, DeviceRecord* record) {
  if (number < OldDeviceCount) {
    *record = work->old_devices[number];
  } else {
    LoadRecord(number, record);
  }
}

void LoadOldGroups(Workspace* work) {
  CountGroups(&OldGroupCount);
  for (std::uint16_t i = 0; i < OldGroupCount; ++i) {
    GroupRecord group = {};
    group.Number = i;
    ReadGroupRecord(&group);
    SavedGroup* saved = &work->old_groups[i];
    std::memcpy(saved->Name, group.Name, sizeof saved->Name);
    saved->Kind = group.Kind;
    saved->MemberCount = group.MemberCount;
    saved->Changer = group.Changer;
    saved->PairCount = group.PairCount;
    std::memcpy(saved->PairFirsts, group.PairFirsts, sizeof saved->PairFirsts);
    std::memcpy(saved->PairSeconds, group.PairSeconds, sizeof saved->PairSeconds);
    if (group.Kind == kGroupChanger) {
      LoadMember(work, group.Changer, &saved->Members[0]);
    } else {
      for (std::uint16_t j = 0; j < group.MemberCount; ++j) {
        LoadMember(work, group.Members[j], &saved->Members[j]);
      }
    }
  }
}

void RenumberChangerGroup(const SavedGroup& saved, GroupRecord* group, std::uint16_t* became) {
  std::uint16_t number = 0;
  if (MatchDevice(&saved.Members[0], &number) != kMatched) {
    group->Kind = kGroupNone;
    return;
  }
  group->PairCount = saved.PairCount;
  std::memcpy(group->PairFirsts, saved.PairFirsts, sizeof group->PairFirsts);
  std::memcpy(group->PairSeconds, saved.PairSeconds, sizeof group->PairSeconds);
  group->Changer = number;
  UsedDeviceFlags[number] = 1;
  became[0] = number;
}

void RenumberMembers(const SavedGroup& saved, GroupRecord* group, std::uint16_t* became) {
  for (std::uint16_t j = 0; j < saved.MemberCount; ++j) {
    std::uint16_t number = 0;
    if (MatchDevice(&saved.Members[j], &number) != kMatched) continue;
    const std::uint8_t place = group->MemberCount++;
    group->Members[place] = number;
    UsedDeviceFlags[number] = 1;
    became[j] = number;
    if (saved.Kind == kGroupRaidChanger) {
      group->PairFirsts[place] = saved.PairFirsts[j];
      group->PairSeconds[place] = saved.PairSeconds[j];
    }
  }
}

void RenumberGroups(Workspace* work) {
  for (std::uint16_t i = 0; i < OldGroupCount; ++i) {
    const SavedGroup& saved = work->old_groups[i];
    GroupRecord* group = &work->new_groups[i];
    std::fill(std::begin(OldGroupMemberMap[i]), std::end(OldGroupMemberMap[i]), kDeviceGone);
    group->Number = i;
    group->Kind = saved.Kind;
    std::memcpy(group->Name, saved.Name, sizeof group->Name);
    if (saved.Kind == kGroupChanger) {
      RenumberChangerGroup(saved, group, OldGroupMemberMap[i]);
    } else {
      RenumberMembers(saved, group, OldGroupMemberMap[i]);
    }
  }
}

// Gives each drive of a changer's reserved list its new number, which became tells entry by entry;
// drives that are gone leave the list. A list that begins in descending order is walked from its
// end. The order of the walk decides which of several identical drives goes to which entry.
void RenumberReservedDrives(const Workspace* work, DeviceRecord* changer, std::uint16_t* became) {
  std::uint16_t* const drives = changer->ReservedDrives;
  std::uint16_t* const count = &changer->ReservedDriveCount;
  if (*count == 0) return;
  const bool backwards = drives[0] > drives[1];
  const std::uint16_t entries = *count;
  std::uint16_t at = backwards ? static_cast<std::uint16_t>(entries - 1) : std::uint16_t{0};
  for (std::uint16_t taken = 0; taken < entries; ++taken) {
    std::uint16_t number = kDeviceGone;
    const bool here = drives[at] < OldDeviceCount &&
                      MatchReservedDrive(&work->old_devices[drives[at]], &number) == kMatched;
    became[backwards ? entries - 1 - taken : taken] = number;
    if (here) {
      drives[at] = number;
    } else {
      std::copy(drives + at + 1, drives + *count, drives + at);
      --*count;
    }
    if (backwards) {
      --at;
    } else if (here) {
      ++at;
    }
  }
}

void WritePairedDevices(const Workspace* work) {
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) {
    DeviceRecord record = {};
    if (FindNewDeviceNumber(k, &record.Number) != 0) continue;
    RecordFromFoundDevice(&record);
    const DeviceRecord& old_record = work->old_devices[k];
    record.ReadShots = old_record.ReadShots;
    record.WriteShots = old_record.WriteShots;
    record.CleaningTapeSlot = old_record.CleaningTapeSlot;
    record.DefaultBlockFactor = old_record.DefaultBlockFactor;
    if (record.Type == kTypeChanger) {
      record.ReservedDriveCount = old_record.ReservedDriveCount;
      std::memcpy(record.ReservedDrives, old_record.ReservedDrives, sizeof record.ReservedDrives);
      record.DisabledDrives = old_record.DisabledDrives;
      record.BarCodeInstall = old_record.BarCodeInstall;
      record.SetBarCodeTapeToBlank = old_record.SetBarCodeTapeToBlank;
      record.SetAutoCleaningTime = old_record.SetAutoCleaningTime;
      RenumberReservedDrives(work, &record, OldReservedDriveMap[k]);
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
  MapOldDevices(work);
  LoadOldGroups(work);
  ClearUsedDeviceFlags();
  RenumberGroups(work);
  for (std::uint16_t k = 0; k < OldDeviceCount; ++k) DeleteDeviceRecord(k);
  WritePairedDevices(work);
  WriteUnclaimedDevices();
  for (std::uint16_t g = 0; g < OldGroupCount; ++g) DeleteGroupKey(g);
  for (std::uint16_t g = 0; g < OldGroupCount; ++g) WriteGroupRecord(&work->new_groups[g]);
}

template <typename T>
T* Allocate(std::size_t count) {
  return static_cast<T*>(GlobalAlloc(GMEM_ZEROINIT, count * sizeof(T)));
}

}  // namespace

std::uint32_t ReconfigureDevices() {
  auto* old_groups = Allocate<SavedGroup>(kMaxGroups);
  if (old_groups == nullptr) return kNoWorkingStorage;
  auto* new_groups = Allocate<GroupRecord>(kMaxGroups);
  if (new_groups == nullptr) {
    GlobalFree(old_groups);
    return kNoWorkingStorage;
  }
  Workspace work = {old_groups, new_groups, {}};
  Reconfigure(&work);
  GlobalFree(new_groups);
  GlobalFree(old_groups);
  return 0;
}

std::uint16_t FindNewDeviceNumber(std::uint16_t old_number, std::uint16_t* number) {
  if (old_number >= OldDeviceCount || OldDeviceMap[old_number].NewNumber == kDeviceGone) {
    return kNumberNotMapped;
  }
  *number = OldDeviceMap[old_number].NewNumber;
  return 0;
}

void ResetReconfigure() {
  std::memset(static_cast<void*>(OldDeviceMap), 0, sizeof OldDeviceMap);
  std::memset(OldGroupMemberMap, 0, sizeof OldGroupMemberMap);
  std::memset(OldReservedDriveMap, 0, sizeof OldReservedDriveMap);
  OldDeviceCount = 0;
  OldGroupCount = 0;
}

}  // namespace devprep
