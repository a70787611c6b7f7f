#include "reconfig/device_match.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "store/product_config.h"

namespace devprep {

constinit std::uint16_t UsedDeviceFlags[kMaxFoundDevices] = {};

namespace {

// Found devices that were given to an entry of some changer's ReservedDrives. Never cleared: the
// pass that uses it runs at most once in a process.
constinit std::uint16_t ReservedDriveClaims[kMaxFoundDevices] = {};

// How far the old record's kind of match goes.
struct MatchRules {
  bool changer;                // only a changer will do, and flags are not looked at
  const std::uint16_t* taken;  // flags of devices that criteria other than the serial number pass
  bool compare_port_and_bus;
};

bool SerialNumbersAgree(const DeviceRecord& old_record, const DeviceRecord& found) {
  return std::memcmp(old_record.SerialNumber, found.SerialNumber, kSerialNumberSize) == 0 &&
         HasSerialNumber(found);
}

bool WorldWideIdsAgree(const DeviceRecord& old_record, const DeviceRecord& found) {
  return std::memcmp(old_record.WorldWideID, found.WorldWideID, kWorldWideIdSize) == 0;
}

// The old record's description holds no blanks; those of the found device do not count.
bool NamesAgree(const DeviceRecord& old_record, const DeviceRecord& found) {
  const char* name = old_record.Description;
  const char* const name_end = name + kDescriptionSize;
  for (const char c : found.Description) {
    if (c == ' ') continue;
    if (name == name_end || *name != c) return false;
    if (c == '\0') return true;
    ++name;
  }
  return name == name_end || *name == '\0';
}

bool WorldWideIdRules(const DeviceRecord& found) {
  return MatchByWorldWideId == 1 && HasWorldWideId(found);
}

MatchCriterion TryInPlace(const DeviceRecord& old_record, const DeviceRecord& found, bool free,
                          const MatchRules& rules) {
  const DeviceAddress& was = old_record.Address;
  const DeviceAddress& is = found.Address;
  const bool in_place = was.Lun == is.Lun && (!rules.compare_port_and_bus ||
                                              (was.Board == is.Board && was.Bus == is.Bus));
  if (free && in_place) {
    if (WorldWideIdRules(found)) {
      if (WorldWideIdsAgree(old_record, found) && NamesAgree(old_record, found)) {
        return MatchCriterion::kWorldWideIdInPlace;
      }
    } else if (was.ScsiId == is.ScsiId && NamesAgree(old_record, found)) {
      return MatchCriterion::kAddress;
    }
  }
  if ((!rules.changer || found.Type == kTypeChanger) && SerialNumbersAgree(old_record, found)) {
    return MatchCriterion::kSerialNumber;
  }
  return MatchCriterion::kNone;
}

MatchCriterion TryAnywhere(const DeviceRecord& old_record, const DeviceRecord& found, bool free,
                           const MatchRules& /*rules*/) {
  if (free) {
    if (WorldWideIdRules(found)) {
      if (WorldWideIdsAgree(old_record, found) && NamesAgree(old_record, found)) {
        return MatchCriterion::kWorldWideId;
      }
    } else if (NamesAgree(old_record, found)) {
      return MatchCriterion::kName;
    }
  }
  return SerialNumbersAgree(old_record, found) ? MatchCriterion::kSerialNumber
                                               : MatchCriterion::kNone;
}

// One pass over the found devices.
template <typename TryCriteria>
MatchCriterion MatchAny(const DeviceRecord& old_record, const MatchRules& rules,
                        TryCriteria try_criteria, std::uint16_t* number) {
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    const DeviceRecord& found = FoundDevices[n];
    const bool free =
        old_record.Type == found.Type && (rules.taken == nullptr || rules.taken[n] == 0);
    const MatchCriterion criterion = try_criteria(old_record, found, free, rules);
    if (criterion == MatchCriterion::kNone) continue;
    *number = n;
    return criterion;
  }
  return MatchCriterion::kNone;
}

MatchCriterion Match(const DeviceRecord& old_record, const MatchRules& rules,
                     std::uint16_t* number) {
  const MatchCriterion in_place = MatchAny(old_record, rules, TryInPlace, number);
  return in_place != MatchCriterion::kNone ? in_place
                                           : MatchAny(old_record, rules, TryAnywhere, number);
}

}  // namespace

void ClearUsedDeviceFlags() {
  std::fill(std::begin(UsedDeviceFlags), std::end(UsedDeviceFlags), std::uint16_t{0});
}

std::int32_t MatchDevice(const DeviceRecord* old_record, std::uint16_t* number,
                         MatchCriterion* criterion) {
  const bool changer = old_record->Type == kTypeChanger;
  const MatchRules rules = {changer, changer ? nullptr : UsedDeviceFlags, true};
  const MatchCriterion matched = Match(*old_record, rules, number);
  if (criterion != nullptr) *criterion = matched;
  return matched == MatchCriterion::kNone ? kNoMatch : kMatched;
}

std::int32_t MatchReservedDrive(const DeviceRecord* old_record, std::uint16_t* number) {
  const MatchRules rules = {false, ReservedDriveClaims, false};
  if (Match(*old_record, rules, number) == MatchCriterion::kNone) return kNoMatch;
  ReservedDriveClaims[*number] = 1;
  return kMatched;
}

std::uint16_t RecordFromFoundDevice(DeviceRecord* record) {
  if (record->Number >= FoundDeviceCount) return kNoSuchFoundDevice;
  const DeviceRecord& found = FoundDevices[record->Number];
  record->Address = found.Address;
  record->Type = found.Type;
  std::memcpy(record->Description, found.Description, sizeof record->Description);
  std::memcpy(record->SerialNumber, found.SerialNumber, sizeof record->SerialNumber);
  std::memcpy(record->WorldWideID, found.WorldWideID, sizeof record->WorldWideID);
  record->CleaningTapeSlot = kNotSet;
  record->DefaultBlockFactor = kNotSet;
  record->DisabledDrives = 0;
  return 0;
}

void ResetDeviceMatch() {
  ClearUsedDeviceFlags();
  std::fill(std::begin(ReservedDriveClaims), std::end(ReservedDriveClaims), std::uint16_t{0});
}

}  // namespace devprep
