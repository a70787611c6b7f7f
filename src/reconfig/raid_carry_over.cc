#include "reconfig/raid_carry_over.h"

#include <algorithm>

#include "discovery/scsi_probe.h"
#include "reconfig/device_match.h"
#include "reconfig/outcome.h"
#include "records/address_list.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {

namespace {

// The device that will have this address when the pass is over.
std::uint16_t FoundDeviceAt(const DeviceAddress& address) {
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    if (FoundDevices[n].Address == address) return n;
  }
  return kDeviceGone;
}

std::uint16_t CountStoredElements(std::uint16_t raid, const char* value_name) {
  char list[kRaidListSize];
  StoreGetString(NumberedKey(kRaidKeyPrefix, raid).name, value_name, "", list, sizeof list);
  const char* rest = list;
  ListPiece piece;
  std::uint16_t count = 0;
  while (NextAddressElement(&rest, &piece)) ++count;
  return count;
}

DeviceRecord LoadOldRecord(std::uint16_t number) {
  DeviceRecord record = {};
  record.Number = number;
  ReadDeviceRecord(&record);
  return record;
}

// A list that stays as it is stored: its elements name whatever device is at their addresses.
void RecordStoredList(const std::uint16_t* devices, std::uint16_t count, MemberOutcome* outcomes) {
  for (std::uint16_t i = 0; i < count; ++i) {
    outcomes[i].OldNumber = devices[i];
    outcomes[i].NewNumber = FoundDeviceAt(LoadOldRecord(devices[i]).Address);
    outcomes[i].Became = MemberChange(devices[i], outcomes[i].NewNumber);
  }
}

// Carries one list over. A list in which no device got another number stays as it is stored. In one
// that is rewritten, a member without a found device is left out: its old address may be another
// device's by now.
void CarryOverList(std::uint16_t raid, const char* value_name, std::uint16_t* devices,
                   std::uint16_t count, MemberOutcome* outcomes) {
  std::uint16_t old_numbers[kMaxRaidListEntries];
  std::copy(devices, devices + count, old_numbers);
  bool moved = false;
  AddressListText list;
  for (std::uint16_t i = 0; i < count; ++i) {
    const DeviceRecord old_record = LoadOldRecord(devices[i]);
    outcomes[i] = {devices[i], kDeviceGone, MatchCriterion::kNone, Change::kGone};
    devices[i] = kDeviceGone;
    std::uint16_t found = 0;
    if (MatchDevice(&old_record, &found, &outcomes[i].RecognisedBy) != kMatched) continue;
    moved = moved || found != old_record.Number;
    devices[i] = found;
    outcomes[i].NewNumber = found;
    outcomes[i].Became = MemberChange(old_record.Number, found);
    UsedDeviceFlags[found] = 1;
    char element[kAddressElementSize];
    FormatAddress(FoundDevices[found].Address, element);
    AppendElement(&list, element);
  }
  if (moved) {
    StoreSetStringSized(NumberedKey(kRaidKeyPrefix, raid).name, value_name, list.text,
                        list.length + 1);
  } else {
    RecordStoredList(old_numbers, count, outcomes);
  }
}

}  // namespace

std::uint16_t CarryOverRaid(RaidInfo* info) {
  RaidOutcome* outcome = &LastPass.Raids[info->RaidNumber];
  CarryOverList(info->RaidNumber, kRaidInfoValue, info->TapeDevices, info->TapeCount,
                outcome->Tapes);
  CarryOverList(info->RaidNumber, kRaidChangersValue, info->ChangerDevices, info->ChangerCount,
                outcome->Changers);
  return DEVPREP_OK;
}

std::uint16_t CarryOverRaids() {
  IndexFoundDevices();
  ClearUsedDeviceFlags();
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    RaidOutcome* outcome = &LastPass.Raids[n];
    outcome->StoredTapes = CountStoredElements(n, kRaidInfoValue);
    outcome->StoredChangers = CountStoredElements(n, kRaidChangersValue);
    outcome->Old = {};
    outcome->Read = devprep::RaidSetUpGetRaidInfo(n, &outcome->Old) == DEVPREP_OK;
    if (outcome->Read) {
      RaidInfo info = outcome->Old;
      CarryOverRaid(&info);
    } else {
      RecordStoredList(outcome->Old.TapeDevices, outcome->Old.TapeCount, outcome->Tapes);
      RecordStoredList(outcome->Old.ChangerDevices, outcome->Old.ChangerCount, outcome->Changers);
    }
  }
  ClearUsedDeviceFlags();
  return DEVPREP_OK;
}

}  // namespace devprep
