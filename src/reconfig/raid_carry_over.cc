#include "reconfig/raid_carry_over.h"

#include <cstring>

#include "reconfig/device_match.h"
#include "records/address_list.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {

constinit CarriedRaid CarriedRaids[kMaxRaids] = {};

namespace {

// Carries one list over. A list in which no device got another number stays as it is stored. In one
// that is rewritten, a member without a found device is left out: its old address may be another
// device's by now.
void CarryOverList(std::uint16_t raid, const char* value_name, std::uint16_t* devices,
                   std::uint16_t count) {
  bool moved = false;
  AddressListText list;
  for (std::uint16_t i = 0; i < count; ++i) {
    DeviceRecord old_record = {};
    old_record.Number = devices[i];
    ReadDeviceRecord(&old_record);
    devices[i] = kDeviceGone;
    std::uint16_t found = 0;
    if (MatchDevice(&old_record, &found) != kMatched) continue;
    moved = moved || found != old_record.Number;
    devices[i] = found;
    UsedDeviceFlags[found] = 1;
    char element[kAddressElementSize];
    FormatAddress(FoundDevices[found].Address, element);
    AppendElement(&list, element);
  }
  if (moved) {
    StoreSetStringSized(NumberedKey(kRaidKeyPrefix, raid).name, value_name, list.text,
                        list.length + 1);
  }
}

}  // namespace

std::uint16_t CarryOverRaid(RaidInfo* info) {
  CarryOverList(info->RaidNumber, kRaidInfoValue, info->TapeDevices, info->TapeCount);
  CarryOverList(info->RaidNumber, kRaidChangersValue, info->ChangerDevices, info->ChangerCount);
  return DEVPREP_OK;
}

std::uint16_t CarryOverRaids() {
  ClearUsedDeviceFlags();
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    CarriedRaid& raid = CarriedRaids[n];
    raid.Read = devprep::RaidSetUpGetRaidInfo(n, &raid.Old) == DEVPREP_OK;
    raid.New = raid.Old;
    if (raid.Read) CarryOverRaid(&raid.New);
  }
  ClearUsedDeviceFlags();
  return DEVPREP_OK;
}

void ResetRaidCarryOver() { std::memset(CarriedRaids, 0, sizeof CarriedRaids); }

}  // namespace devprep
