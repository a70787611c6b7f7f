#include "stored_configuration.h"

#include <algorithm>

#include "output.h"
#include "platform/registry/configuration_keys.h"
#include "records/address_list.h"
#include "records/raid_limits.h"
#include "records/raid_records.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep::tool {
namespace {

std::vector<StoredDevice> ReadDevices() {
  std::vector<StoredDevice> devices;
  for (std::uint16_t n = 0; n < kMaxDeviceRecords; ++n) {
    StoredDevice device;
    device.record.Number = n;
    const std::uint16_t status = ReadDeviceRecord(&device.record);
    if (status == kDeviceNotConfigured) continue;
    device.readable = status == kStatusOk;
    char description[kDescriptionSize] = "";
    if (device.readable) ReadDeviceDescription(n, description);
    device.description = CleanText(description, sizeof description);
    devices.push_back(std::move(device));
  }
  return devices;
}

std::vector<GroupRecord> ReadGroups() {
  std::vector<GroupRecord> groups;
  for (std::uint16_t n = 0; n < kMaxGroups; ++n) {
    GroupRecord group = {};
    group.Number = n;
    if (ReadGroupRecord(&group) == kStatusOk) groups.push_back(group);
  }
  return groups;
}

std::vector<StoredMember> ReadMembers(const KeyHandle& raid, const char* value_name,
                                      const std::vector<StoredDevice>& devices) {
  std::vector<StoredMember> members;
  char list[kRaidListSize];
  ReadRaidList(raid, value_name, list);
  const char* rest = list;
  for (ListPiece piece; NextAddressElement(&rest, &piece);) {
    StoredMember member;
    member.address = ParseAddress(piece.text);
    const auto at = std::find_if(devices.begin(), devices.end(), [&](const StoredDevice& device) {
      return device.readable && device.record.Address == member.address;
    });
    if (at != devices.end()) member.device = at->record.Number;
    members.push_back(member);
  }
  return members;
}

std::uint32_t ReadRaidNumber(const KeyHandle& raid, const char* value_name,
                             std::uint16_t default_value) {
  const std::uint32_t value = StoreGetDword(raid, value_name, kNoRaidNumber);
  return value == kNoRaidNumber ? default_value : value;
}

std::vector<StoredRaid> ReadRaids(const std::vector<StoredDevice>& devices) {
  std::vector<StoredRaid> raids;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const KeyHandle key = StoreOpenSubkey(NumberedKey(kRaidKeyPrefix, n).name, KEY_QUERY_VALUE);
    if (!key) continue;
    StoredRaid raid;
    raid.number = n;
    raid.level = ReadRaidNumber(key, kRaidLevelValue, kDefaultRaidLevel);
    raid.stripe_size = ReadRaidNumber(key, kRaidStripeSizeValue, kDefaultStripeSize);
    raid.link_position = ReadRaidNumber(key, kRaidLinkPositionValue, kDefaultLinkPosition);
    raid.tapes = ReadMembers(key, kRaidInfoValue, devices);
    raid.changers = ReadMembers(key, kRaidChangersValue, devices);
    raids.push_back(std::move(raid));
  }
  return raids;
}

}  // namespace

StoredConfiguration ReadStoredConfiguration() {
  StoredConfiguration configuration;
  configuration.devices = ReadDevices();
  configuration.groups = ReadGroups();
  configuration.raids = ReadRaids(configuration.devices);
  configuration.keys = WholeRegistryDigests();
  return configuration;
}

}  // namespace devprep::tool
