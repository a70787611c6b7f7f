#include "reconfig/follow_identity.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "discovery/scsi_probe.h"
#include "reconfig/changer_drives.h"
#include "reconfig/identity.h"
#include "reconfig/outcome.h"
#include "records/address_list.h"
#include "records/device_cache.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "records/raid_records.h"
#include "store/list_text.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

// An address that no device map lists.
constexpr std::uint16_t kNowhere = 65535;

// A list of a RAID as it was stored, by the old numbers of its members.
struct OldRaidList {
  std::uint16_t Stored;  // elements, those that name no record counted, too
  std::uint16_t Count;
  std::uint16_t Members[kMaxRaidListEntries];
};

// The old configuration as it was before it was aligned, and what is to become of it.
struct Plan {
  std::uint16_t Count;
  DeviceRecord Devices[kMaxDeviceRecords];
  std::uint16_t ReadStatus[kMaxDeviceRecords];
  char Descriptions[kMaxDeviceRecords][kDescriptionSize];  // blanks included
  std::uint16_t Becomes[kMaxDeviceRecords];                // or kDeviceGone
  MatchCriterion RecognisedBy[kMaxDeviceRecords];
  std::uint16_t GroupCount;
  GroupRecord Groups[kMaxGroups];
  OldRaidList Tapes[kMaxRaids];
  OldRaidList Changers[kMaxRaids];
};

constinit Plan Following = {};

bool Claimed(std::uint16_t found) {
  return std::find(Following.Becomes, Following.Becomes + Following.Count, found) !=
         Following.Becomes + Following.Count;
}

void Decide(std::uint16_t k, std::uint16_t found, MatchCriterion criterion) {
  Following.Becomes[k] = found;
  Following.RecognisedBy[k] = criterion;
}

void DecideByIdentity() {
  const DeviceRecord* records[kMaxDeviceRecords];
  for (std::uint16_t k = 0; k < Following.Count; ++k) records[k] = &Following.Devices[k];
  IdentityMap identities;
  MapIdentities(records, Following.Count, &identities);
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    if (identities.Found[k] == kDeviceGone) continue;
    const DeviceRecord& found = FoundDevices[identities.Found[k]];
    const bool by_serial = HasSerialNumber(found) && HasSerialNumber(*records[k]);
    Decide(k, identities.Found[k],
           by_serial ? MatchCriterion::kSerialNumber : MatchCriterion::kWorldWideId);
  }
}

using Suits = bool (*)(const DeviceRecord& old_record, const DeviceRecord& found);

bool SuitsInPlace(const DeviceRecord& old_record, const DeviceRecord& found) {
  return old_record.Address == found.Address;
}

bool SuitsByName(const DeviceRecord& old_record, const DeviceRecord& found) {
  return CompareIdentities(old_record, found) != IdentityVerdict::kOther;
}

// Gives each undecided record, of one type or, with kTypeUnknown, of any, the first unclaimed
// device of its type and name that suits.
void DecideBy(Suits suits, MatchCriterion criterion, std::uint16_t type = kTypeUnknown) {
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    const DeviceRecord& old_record = Following.Devices[k];
    if (type != kTypeUnknown && old_record.Type != type) continue;
    if (Following.ReadStatus[k] != kStatusOk || Following.Becomes[k] != kDeviceGone) continue;
    for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
      const DeviceRecord& found = FoundDevices[n];
      if (found.Type != old_record.Type || !NamesAgree(old_record, found) ||
          !suits(old_record, found) || Claimed(n)) {
        continue;
      }
      Decide(k, n, criterion);
      break;
    }
  }
}

// Whether the places in a changer's reserved drives are those among the drives that it has: as
// many, and none of those whose identity tells where they are stands elsewhere.
bool ListFollowsLibrary(const DeviceRecord& changer, const ChangerDrives& library) {
  if (changer.ReservedDriveCount != library.DriveCount) return false;
  for (std::uint16_t j = 0; j < library.DriveCount; ++j) {
    const std::uint16_t k = changer.ReservedDrives[j];
    if (k >= Following.Count || Following.ReadStatus[k] != kStatusOk) return false;
    const std::uint16_t found = Following.Becomes[k];
    if (found != kDeviceGone && found != library.Drives[j]) return false;
  }
  return true;
}

void DecideByLibrary() {
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    const DeviceRecord& changer = Following.Devices[k];
    if (changer.Type != kTypeChanger || Following.Becomes[k] == kDeviceGone) continue;
    const ChangerDrives* library = DrivesOfFoundChanger(Following.Becomes[k]);
    if (library == nullptr || !ListFollowsLibrary(changer, *library)) continue;
    for (std::uint16_t j = 0; j < library->DriveCount; ++j) {
      const std::uint16_t drive = changer.ReservedDrives[j];
      const std::uint16_t n = library->Drives[j];
      const DeviceRecord& old_record = Following.Devices[drive];
      if (Following.Becomes[drive] != kDeviceGone || HasSerialNumber(old_record) ||
          HasWorldWideId(old_record) || old_record.Type != FoundDevices[n].Type ||
          !NamesAgree(old_record, FoundDevices[n]) || Claimed(n)) {
        continue;
      }
      Decide(drive, n, MatchCriterion::kLibrary);
    }
  }
}

void LoadOldConfiguration() {
  CountDeviceRecords(&Following.Count);
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    Following.Devices[k] = {};
    Following.Devices[k].Number = k;
    Following.ReadStatus[k] = ReadDeviceRecord(&Following.Devices[k]);
    Decide(k, kDeviceGone, MatchCriterion::kNone);
  }
  CountGroups(&Following.GroupCount);
  for (std::uint16_t i = 0; i < Following.GroupCount; ++i) {
    Following.Groups[i] = {};
    Following.Groups[i].Number = i;
    ReadGroupRecord(&Following.Groups[i]);
  }
}

bool SharesSerialNumber(std::uint16_t n) {
  for (std::uint16_t other = 0; other < FoundDeviceCount; ++other) {
    if (other != n && std::memcmp(FoundDevices[other].SerialNumber, FoundDevices[n].SerialNumber,
                                  kSerialNumberSize) == 0) {
      return true;
    }
  }
  return false;
}

// The address that a record gets. Those of devices that are gone differ, so that the RAID members
// that name them stay apart.
DeviceAddress AlignedAddress(std::uint16_t k) {
  const std::uint16_t found = Following.Becomes[k];
  if (found != kDeviceGone) return FoundDevices[found].Address;
  return {kNowhere, kNowhere, k, kNowhere};
}

// A description that no found device has.
void DescribeNobody(DeviceRecord* record) {
  std::uint16_t tried = 0;
  do {
    std::snprintf(record->Description, sizeof record->Description, "gone-%u",
                  static_cast<unsigned>(tried++));
  } while (std::any_of(FoundDevices, FoundDevices + FoundDeviceCount,
                       [record](const DeviceRecord& found) { return NamesAgree(*record, found); }));
}

// Whether a description is still there when it is stored and read back.
bool SurvivesStoring(const char* description) {
  const char* text = SkipWhiteSpace(description);
  return *text != '\0' && std::strpbrk(text, "\t\n\v\f\r") == nullptr;
}

void AlignRecord(std::uint16_t k) {
  DeviceRecord record = Following.Devices[k];
  record.Address = AlignedAddress(k);
  std::memset(record.SerialNumber, 0, sizeof record.SerialNumber);
  std::memset(record.WorldWideID, 0, sizeof record.WorldWideID);
  const std::uint16_t found = Following.Becomes[k];
  if (found == kDeviceGone) {
    DescribeNobody(&record);
  } else {
    if (SurvivesStoring(FoundDevices[found].Description)) {
      std::memcpy(record.Description, FoundDevices[found].Description, sizeof record.Description);
    }
    std::memcpy(record.WorldWideID, FoundDevices[found].WorldWideID, sizeof record.WorldWideID);
    // One that several devices bear would lead to the first of them.
    if (!SharesSerialNumber(found)) {
      std::memcpy(record.SerialNumber, FoundDevices[found].SerialNumber,
                  sizeof record.SerialNumber);
    }
  }
  WriteDeviceRecord(&record);
}

// The lowest old record at an address, as a RAID's reader finds it.
std::uint16_t OldDeviceAt(const DeviceAddress& address) {
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    if (Following.ReadStatus[k] == kStatusOk && Following.Devices[k].Address == address) return k;
  }
  return kDeviceGone;
}

void StoreList(std::uint16_t raid, const char* value_name, const AddressListText& list) {
  StoreSetStringSized(NumberedKey(kRaidKeyPrefix, raid).name, value_name, list.text,
                      list.length + 1);
}

// Remembers a RAID's list by its members' numbers, and stores it with their aligned addresses. An
// element that names no record goes: its address may be another device's by now.
void AlignRaidList(std::uint16_t raid, const char* value_name, OldRaidList* old_list) {
  *old_list = {};
  char stored[kRaidListSize];
  StoreGetString(NumberedKey(kRaidKeyPrefix, raid).name, value_name, "", stored, sizeof stored);
  const char* rest = stored;
  ListPiece piece;
  AddressListText list;
  while (NextAddressElement(&rest, &piece)) {
    ++old_list->Stored;
    const std::uint16_t k = OldDeviceAt(ParseAddress(piece.text));
    if (k == kDeviceGone || old_list->Count == kMaxRaidListEntries) continue;
    old_list->Members[old_list->Count++] = k;
    char element[kAddressElementSize];
    FormatAddress(AlignedAddress(k), element);
    AppendElement(&list, element);
  }
  if (old_list->Stored != 0) StoreList(raid, value_name, list);
}

// What the device record of an old number became. Numbers beyond the records are none of ours.
MemberOutcome FollowMember(std::uint16_t old_number) {
  MemberOutcome outcome = {old_number, kDeviceGone, MatchCriterion::kNone, Change::kGone};
  if (old_number >= LastPass.OldDeviceCount) return outcome;
  const OldDeviceOutcome& device = LastPass.OldDeviceMap[old_number];
  outcome.NewNumber = device.NewNumber;
  outcome.RecognisedBy = device.RecognisedBy;
  outcome.Became = MemberChange(old_number, device.NewNumber);
  return outcome;
}

void MendReservedDrives(OldDeviceOutcome* changer) {
  DeviceRecord record = {};
  record.Number = changer->NewNumber;
  if (ReadDeviceRecord(&record) != kStatusOk) return;
  const std::uint16_t count = changer->Old.ReservedDriveCount;
  const std::uint32_t marks = changer->Old.DisabledDrives;
  std::uint16_t drives[kMaxDriveListEntries];
  std::uint16_t kept = 0;
  // Marks of places that the list does not have stay where they are.
  std::uint32_t disabled = count < kDisabledDrivesBits ? marks >> count << count : 0;
  for (std::uint16_t j = 0; j < count; ++j) {
    changer->ReservedDrives[j] = FollowMember(changer->Old.ReservedDrives[j]);
    if (changer->ReservedDrives[j].NewNumber == kDeviceGone) continue;
    disabled |= (marks >> j & 1U) << kept;
    drives[kept++] = changer->ReservedDrives[j].NewNumber;
  }
  changer->NewDisabledDrives = disabled;
  if (record.ReservedDriveCount == kept && record.DisabledDrives == disabled &&
      std::equal(drives, drives + kept, record.ReservedDrives)) {
    return;
  }
  record.ReservedDriveCount = kept;
  std::copy(drives, drives + kept, record.ReservedDrives);
  record.DisabledDrives = disabled;
  WriteReservedDrives(record);
}

void MendGroup(const GroupRecord& old_group, GroupOutcome* outcome) {
  GroupRecord group = {};
  group.Number = old_group.Number;
  group.Kind = old_group.Kind;
  std::memcpy(group.Name, old_group.Name, sizeof group.Name);
  if (old_group.Kind == kGroupChanger) {
    outcome->Members[0] = FollowMember(old_group.Changer);
    group.Changer = outcome->Members[0].NewNumber;
    if (group.Changer == kDeviceGone) {
      group.Kind = kGroupNone;
    } else {
      group.PairCount = old_group.PairCount;
      std::memcpy(group.PairFirsts, old_group.PairFirsts, sizeof group.PairFirsts);
      std::memcpy(group.PairSeconds, old_group.PairSeconds, sizeof group.PairSeconds);
    }
  }
  for (std::uint16_t j = 0; old_group.Kind != kGroupChanger && j < old_group.MemberCount; ++j) {
    // What the pass made of a key behind a gap in the numbering stands.
    if (old_group.Members[j] < LastPass.OldDeviceCount) {
      outcome->Members[j] = FollowMember(old_group.Members[j]);
    }
    if (outcome->Members[j].NewNumber == kDeviceGone) continue;
    group.PairFirsts[group.MemberCount] = old_group.PairFirsts[j];
    group.PairSeconds[group.MemberCount] = old_group.PairSeconds[j];
    group.Members[group.MemberCount++] = outcome->Members[j].NewNumber;
  }
  outcome->NewKind = group.Kind;
  WriteGroupRecord(&group);
}

void MendRaidList(std::uint16_t raid, const char* value_name, const OldRaidList& old_list,
                  MemberOutcome* outcomes) {
  AddressListText list;
  for (std::uint16_t i = 0; i < old_list.Count; ++i) {
    outcomes[i] = FollowMember(old_list.Members[i]);
    if (outcomes[i].NewNumber == kDeviceGone) continue;
    char element[kAddressElementSize];
    FormatAddress(FoundDevices[outcomes[i].NewNumber].Address, element);
    AppendElement(&list, element);
  }
  if (old_list.Stored != 0) StoreList(raid, value_name, list);
}

void MendRaid(std::uint16_t n) {
  RaidOutcome* outcome = &LastPass.Raids[n];
  const OldRaidList& tapes = Following.Tapes[n];
  const OldRaidList& changers = Following.Changers[n];
  MendRaidList(n, kRaidInfoValue, tapes, outcome->Tapes);
  MendRaidList(n, kRaidChangersValue, changers, outcome->Changers);
  outcome->Read = outcome->Read || tapes.Stored != 0 || changers.Stored != 0;
  outcome->Old.RaidNumber = n;
  outcome->Old.TapeCount = tapes.Count;
  std::copy(std::begin(tapes.Members), std::end(tapes.Members), outcome->Old.TapeDevices);
  outcome->Old.ChangerCount = changers.Count;
  std::copy(std::begin(changers.Members), std::end(changers.Members), outcome->Old.ChangerDevices);
  outcome->StoredTapes = tapes.Stored;
  outcome->StoredChangers = changers.Stored;
}

// The outcome tells of the old configuration as it was before it was aligned.
void RestoreOldRecord(std::uint16_t k) {
  OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
  device.Old = Following.Devices[k];
  device.ReadStatus = Following.ReadStatus[k];
  std::memcpy(device.StoredDescription, Following.Descriptions[k], sizeof device.StoredDescription);
  if (device.NewNumber == Following.Becomes[k]) {
    device.RecognisedBy = Following.RecognisedBy[k];
    device.Followed = true;
  }
  if (device.Became == Change::kMerged || device.Became == Change::kGone) return;
  device.Became = DeviceChange(device.Old, device.NewNumber);
}

}  // namespace

std::uint16_t AlignOldRecords() {
  LoadOldConfiguration();
  DecideByIdentity();
  DecideBy(SuitsInPlace, MatchCriterion::kAddress, kTypeChanger);
  DecideByLibrary();
  DecideBy(SuitsInPlace, MatchCriterion::kAddress);
  DecideBy(SuitsByName, MatchCriterion::kName);
  for (std::uint16_t k = 0; k < Following.Count; ++k) {
    ReadDeviceDescription(k, Following.Descriptions[k]);
    if (Following.ReadStatus[k] == kStatusOk) AlignRecord(k);
  }
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    AlignRaidList(n, kRaidInfoValue, &Following.Tapes[n]);
    AlignRaidList(n, kRaidChangersValue, &Following.Changers[n]);
  }
  ResetDeviceCache();
  return kStatusOk;
}

std::uint16_t MendMemberships() {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) RestoreOldRecord(k);
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.ReservationsCarried && device.Became != Change::kMerged) MendReservedDrives(&device);
  }
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    MendGroup(Following.Groups[i], &LastPass.Groups[i]);
  }
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) MendRaid(n);
  return kStatusOk;
}

void ResetFollowIdentity() { std::memset(static_cast<void*>(&Following), 0, sizeof Following); }

}  // namespace devprep
