#include "reconfig/danger.h"

#include <algorithm>
#include <iterator>

#include "discovery/scsi_probe.h"
#include "reconfig/changer_drives.h"
#include "reconfig/identity.h"
#include "reconfig/outcome.h"

namespace devprep {
namespace {

// More losses than this are a mass, however many there were before.
constexpr std::uint16_t kFewLosses = 3;

bool IsTapeOrChanger(const DeviceRecord& device) {
  return device.Type == kTypeTape || device.Type == kTypeChanger;
}

Danger MakeDanger(DangerCode code, std::uint16_t old_number, std::uint16_t new_number) {
  Danger danger = {};
  danger.Code = code;
  danger.Refused = true;
  danger.Old = old_number;
  danger.New = new_number;
  danger.Other = kDeviceGone;
  danger.PlaceNumber = kDeviceGone;
  return danger;
}

void Add(DangerList* dangers, const Danger& danger) {
  if (dangers->Count == kMaxDangers) {
    ++dangers->LeftOut;
    return;
  }
  dangers->Items[dangers->Count++] = danger;
}

void JudgeLosses(DangerList* dangers) {
  std::uint16_t configured = 0;
  std::uint16_t gone = 0;
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (!IsTapeOrChanger(device.Old)) continue;
    ++configured;
    if (device.Became == Change::kGone) ++gone;
  }
  if (configured == 0) return;
  const bool any_found =
      std::any_of(FoundDevices, FoundDevices + FoundDeviceCount, IsTapeOrChanger);
  Danger danger = MakeDanger(any_found ? DangerCode::kMassLoss : DangerCode::kNothingFound,
                             kDeviceGone, kDeviceGone);
  danger.Count = any_found ? gone : configured;
  danger.Total = configured;
  if (!any_found || gone > kFewLosses || (gone != 0 && 2 * gone >= configured)) {
    Add(dangers, danger);
  }
}

void JudgeSilentDevices(DangerList* dangers) {
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    if (IsProbedType(FoundDevices[n].Type) && FoundDeviceAnswered[n] == 0) {
      Add(dangers, MakeDanger(DangerCode::kSilent, kDeviceGone, n));
    }
  }
}

void JudgeMerging(DangerList* dangers) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.Became != Change::kMerged) continue;
    for (std::uint16_t earlier = 0; earlier < k; ++earlier) {
      if (LastPass.OldDeviceMap[earlier].NewNumber != device.NewNumber) continue;
      Danger danger = MakeDanger(DangerCode::kMerged, k, device.NewNumber);
      danger.Other = earlier;
      Add(dangers, danger);
      break;
    }
  }
}

void JudgeCrossing(DangerList* dangers, const IdentityMap& identities) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const std::uint16_t number = LastPass.OldDeviceMap[k].NewNumber;
    if (identities.Found[k] == kDeviceGone || identities.Found[k] == number) continue;
    Danger danger = MakeDanger(DangerCode::kCrossed, k, number);
    danger.Other = identities.Found[k];
    Add(dangers, danger);
  }
}

void JudgeMembers(DangerList* dangers, DangerPlace place, std::uint16_t place_number,
                  const MemberOutcome* members, std::uint16_t count) {
  for (std::uint16_t j = 0; j < count; ++j) {
    const MemberOutcome& member = members[j];
    if (member.OldNumber >= LastPass.OldDeviceCount) continue;
    const std::uint16_t device = LastPass.OldDeviceMap[member.OldNumber].NewNumber;
    if (member.NewNumber == device) continue;
    Danger danger = MakeDanger(DangerCode::kSplit, member.OldNumber, member.NewNumber);
    danger.Place = place;
    danger.PlaceNumber = place_number;
    danger.Other = device;
    Add(dangers, danger);
  }
}

// A disabled drive is marked by its place in the list, which closes up where a drive is gone.
void JudgeDisabledDrives(DangerList* dangers, const OldDeviceOutcome& changer) {
  std::uint16_t place = 0;
  for (std::uint16_t j = 0; j < changer.Old.ReservedDriveCount; ++j) {
    const MemberOutcome& drive = changer.ReservedDrives[j];
    if (drive.NewNumber == kDeviceGone) continue;
    const bool was = IsDriveDisabled(changer.Old.DisabledDrives, j);
    const bool is = IsDriveDisabled(changer.NewDisabledDrives, place);
    ++place;
    if (was == is) continue;
    Danger danger = MakeDanger(DangerCode::kSplit, drive.OldNumber, drive.NewNumber);
    danger.Place = DangerPlace::kDisabledDrives;
    danger.PlaceNumber = changer.Old.Number;
    Add(dangers, danger);
  }
}

void JudgeSplitting(DangerList* dangers) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (!device.ReservationsCarried) continue;
    JudgeMembers(dangers, DangerPlace::kReservedDrives, k, device.ReservedDrives,
                 device.Old.ReservedDriveCount);
    JudgeDisabledDrives(dangers, device);
  }
  for (std::uint16_t i = 0; i < LastPass.OldGroupCount; ++i) {
    JudgeMembers(dangers, DangerPlace::kGroup, i, LastPass.Groups[i].Members,
                 LastPass.Groups[i].MemberCount);
  }
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const RaidOutcome& raid = LastPass.Raids[n];
    JudgeMembers(dangers, DangerPlace::kRaidTapes, n, raid.Tapes, raid.Old.TapeCount);
    JudgeMembers(dangers, DangerPlace::kRaidChangers, n, raid.Changers, raid.Old.ChangerCount);
  }
}

// Found devices that a record recognised by its name alone could as well have become: those that no
// other record was recognised in by more than that.
void JudgeTwins(DangerList* dangers) {
  bool surely_taken[kMaxFoundDevices] = {};
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.NewNumber != kDeviceGone && device.RecognisedBy != MatchCriterion::kName) {
      surely_taken[device.NewNumber] = true;
    }
  }
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.RecognisedBy != MatchCriterion::kName) continue;
    Danger danger = MakeDanger(DangerCode::kTwins, k, device.NewNumber);
    for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
      if (!surely_taken[n] && FoundDevices[n].Type == device.Old.Type &&
          NamesAgree(device.Old, FoundDevices[n])) {
        ++danger.Count;
      }
    }
    if (danger.Count > 1) Add(dangers, danger);
  }
}

bool HasIdentity(const DeviceRecord& device) {
  return HasSerialNumber(device) || HasWorldWideId(device);
}

bool BearOneIdentity(const DeviceRecord& a, const DeviceRecord& b) {
  return IsProbedType(a.Type) && a.Type == b.Type && HasIdentity(a) &&
         HasSerialNumber(a) == HasSerialNumber(b) && HasWorldWideId(a) == HasWorldWideId(b) &&
         CompareIdentities(a, b) == IdentityVerdict::kSame;
}

// Whole, beyond what a record keeps. Blanks and zeros fill up.
bool SerialNumbersDiffer(std::uint16_t a, std::uint16_t b) {
  return !std::equal(std::begin(FoundSerialNumbers[a]), std::end(FoundSerialNumbers[a]),
                     std::begin(FoundSerialNumbers[b]), [](std::uint8_t x, std::uint8_t y) {
                       return (x == ' ' ? 0 : x) == (y == ' ' ? 0 : y);
                     });
}

// On a machine where nothing is configured yet there is nothing that such devices could exchange.
void JudgeSameIdentities(DangerList* dangers) {
  for (std::uint16_t n = 1; n < FoundDeviceCount; ++n) {
    for (std::uint16_t other = 0; other < n; ++other) {
      if (!BearOneIdentity(FoundDevices[n], FoundDevices[other])) continue;
      Danger danger = MakeDanger(DangerCode::kSameIdentity, kDeviceGone, n);
      danger.Other = other;
      danger.Count = SerialNumbersDiffer(n, other) ? 1 : 0;
      danger.Refused =
          std::any_of(LastPass.OldDeviceMap, LastPass.OldDeviceMap + LastPass.OldDeviceCount,
                      [n](const OldDeviceOutcome& device) {
                        return BearOneIdentity(device.Old, FoundDevices[n]) && !device.Followed;
                      });
      Add(dangers, danger);
      break;
    }
  }
}

void JudgeReplacing(DangerList* dangers) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    if (device.NewNumber == kDeviceGone) continue;
    const DeviceRecord& found = FoundDevices[device.NewNumber];
    if (CompareIdentities(device.Old, found) != IdentityVerdict::kOther) continue;
    // A drive that was exchanged where it stood is the usual repair. Elsewhere it is another drive.
    Danger danger = MakeDanger(DangerCode::kReplaced, k, device.NewNumber);
    danger.Refused = device.Old.Address != found.Address;
    Add(dangers, danger);
  }
}

// A list that the pass leaves as it is was no better before.
void JudgePlacing(DangerList* dangers) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& changer = LastPass.OldDeviceMap[k];
    if (!changer.ReservationsCarried) continue;
    const ChangerDrives* library = DrivesOfFoundChanger(changer.NewNumber);
    if (library == nullptr) continue;
    std::uint16_t list[kMaxDriveListEntries];
    std::uint16_t places[kMaxDriveListEntries];  // in the old list
    std::uint16_t count = 0;
    bool stays = true;
    for (std::uint16_t j = 0; j < changer.Old.ReservedDriveCount; ++j) {
      const MemberOutcome& drive = changer.ReservedDrives[j];
      stays = stays && drive.Became == Change::kKept;
      if (drive.NewNumber == kDeviceGone) continue;
      list[count] = drive.NewNumber;
      places[count++] = j;
    }
    const ReservationCheck check =
        CheckReservedDrives(list, count, FoundChangers.Items, FoundChangers.Count,
                            static_cast<std::uint16_t>(library - FoundChangers.Items));
    if (check.Count == 0) continue;
    Danger danger =
        MakeDanger(DangerCode::kMisplaced, changer.ReservedDrives[places[check.Place]].OldNumber,
                   list[check.Place]);
    danger.Refused = !stays;
    danger.Place = DangerPlace::kReservedDrives;
    danger.PlaceNumber = k;
    danger.Other = check.Expected;
    danger.Count = check.Count;
    danger.Total = count;
    Add(dangers, danger);
  }
}

}  // namespace

void JudgeLastPass(DangerList* dangers) {
  dangers->Count = 0;
  dangers->LeftOut = 0;
  if (!LastPass.Ran) return;
  const DeviceRecord* records[kMaxDeviceRecords];
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    records[k] = &LastPass.OldDeviceMap[k].Old;
  }
  IdentityMap identities;
  MapIdentities(records, LastPass.OldDeviceCount, &identities);
  JudgeLosses(dangers);
  JudgeSilentDevices(dangers);
  JudgeMerging(dangers);
  JudgeCrossing(dangers, identities);
  JudgeSplitting(dangers);
  JudgeTwins(dangers);
  JudgeSameIdentities(dangers);
  JudgeReplacing(dangers);
  JudgePlacing(dangers);
}

}  // namespace devprep
