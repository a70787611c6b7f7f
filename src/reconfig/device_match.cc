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

// What of an address counts.
enum class Reach : std::uint8_t { kInPlace, kOnAnyPort, kAnywhere };
constexpr std::size_t kReaches = 3;

// Found devices by a key of what a criterion compares. An old record that agrees has the same key:
// of all found devices a match need look at those of one bucket only.
struct FoundTable {
  static constexpr std::size_t kBuckets = 512;
  static constexpr int kKeyShift = 55;                 // of 64 bits the number of a bucket is left
  static constexpr std::uint16_t kNone = kDeviceGone;  // above every number

  std::uint16_t First[kBuckets];
  std::uint16_t Next[kMaxFoundDevices];  // in the same bucket, ascending
};
static_assert(FoundTable::kBuckets == 1U << (64 - FoundTable::kKeyShift));

constexpr FoundTable EmptyTable() noexcept {
  FoundTable table = {};
  std::fill(std::begin(table.First), std::end(table.First), FoundTable::kNone);
  return table;
}

constinit FoundTable ByPlace[kReaches] = {EmptyTable(), EmptyTable(), EmptyTable()};
constinit FoundTable BySerialNumber = EmptyTable();

// How far the old record's kind of match goes.
struct MatchRules {
  bool changer;                // only a changer will do, and flags are not looked at
  const std::uint16_t* taken;  // flags of devices that criteria other than the serial number pass
  bool compare_port_and_bus;
};

constexpr MatchRules kReservedDriveRules = {false, ReservedDriveClaims, false};

MatchRules RulesFor(const DeviceRecord& old_record, const std::uint16_t* used) {
  const bool changer = old_record.Type == kTypeChanger;
  return {changer, changer ? nullptr : used, true};
}

bool SerialNumbersEqual(const DeviceRecord& old_record, const DeviceRecord& found) {
  return std::memcmp(old_record.SerialNumber, found.SerialNumber, kSerialNumberSize) == 0;
}

bool WorldWideIdsEqual(const DeviceRecord& old_record, const DeviceRecord& found) {
  return std::memcmp(old_record.WorldWideID, found.WorldWideID, kWorldWideIdSize) == 0;
}

// Where World Wide IDs count, a device that has one is recognised by it in the place of the rest of
// its address.
bool WorldWideIdRules(const DeviceRecord& found) {
  return MatchByWorldWideId == 1 && HasWorldWideId(found);
}

bool IsInPlace(const DeviceRecord& old_record, const DeviceRecord& found, const MatchRules& rules) {
  const DeviceAddress& was = old_record.Address;
  const DeviceAddress& is = found.Address;
  return was.Lun == is.Lun &&
         (!rules.compare_port_and_bus || (was.Board == is.Board && was.Bus == is.Bus));
}

bool IsTaken(const MatchRules& rules, const DeviceRecord& found) {
  return rules.taken != nullptr && rules.taken[&found - FoundDevices] != 0;
}

// The criteria.
bool WorldWideIdAgrees(const DeviceRecord& old_record, const DeviceRecord& found,
                       const MatchRules& rules, bool in_place) {
  return MatchByWorldWideId == 1 && old_record.Type == found.Type &&
         (!in_place || IsInPlace(old_record, found, rules)) &&
         WorldWideIdsEqual(old_record, found) && HasWorldWideId(found) &&
         NamesAgree(old_record, found);
}

bool NameAgrees(const DeviceRecord& old_record, const DeviceRecord& found, const MatchRules& rules,
                bool in_place) {
  return old_record.Type == found.Type &&
         (!in_place || (old_record.Address.ScsiId == found.Address.ScsiId &&
                        IsInPlace(old_record, found, rules))) &&
         !WorldWideIdRules(found) && NamesAgree(old_record, found);
}

bool SerialNumberAgrees(const DeviceRecord& old_record, const DeviceRecord& found,
                        const MatchRules& rules, bool in_place) {
  return SerialNumbersEqual(old_record, found) && HasSerialNumber(found) &&
         (!in_place || !rules.changer || found.Type == kTypeChanger);
}

// The verdict of a criterion that an earlier match can take a device away from.
Verdict JudgeUntaken(bool applies, bool agrees, const MatchRules& rules,
                     const DeviceRecord& found) {
  if (!applies) return Verdict::kAbsent;
  if (!agrees) return Verdict::kDiffers;
  return IsTaken(rules, found) ? Verdict::kTaken : Verdict::kAgrees;
}

Verdict JudgeWorldWideId(const DeviceRecord& old_record, const DeviceRecord& found,
                         const MatchRules& rules, bool in_place) {
  return JudgeUntaken(WorldWideIdRules(found),
                      WorldWideIdAgrees(old_record, found, rules, in_place), rules, found);
}

Verdict JudgeName(const DeviceRecord& old_record, const DeviceRecord& found,
                  const MatchRules& rules, bool in_place) {
  return JudgeUntaken(!WorldWideIdRules(found), NameAgrees(old_record, found, rules, in_place),
                      rules, found);
}

Verdict JudgeSerialNumber(const DeviceRecord& old_record, const DeviceRecord& found,
                          const MatchRules& rules, bool in_place) {
  if (!HasSerialNumber(found)) return Verdict::kAbsent;
  return SerialNumberAgrees(old_record, found, rules, in_place) ? Verdict::kAgrees
                                                                : Verdict::kDiffers;
}

// The criteria of one pass over the found devices, in their order.
struct PassCriteria {
  bool in_place;
  MatchCriterion by_world_wide_id;
  MatchCriterion by_name;
};
constexpr PassCriteria kPasses[] = {
    {true, MatchCriterion::kWorldWideIdInPlace, MatchCriterion::kAddress},
    {false, MatchCriterion::kWorldWideId, MatchCriterion::kName}};

constexpr std::uint64_t Mix(std::uint64_t key, std::uint64_t more) {
  return (key ^ more) * 0x9E3779B97F4A7C15;
}

std::uint64_t EightBytes(const std::uint8_t* bytes) {
  std::uint64_t number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

// Records whose types and names agree have the same.
std::uint64_t NameKey(const DeviceRecord& record) {
  std::uint64_t key = record.Type;
  for (const char c : record.Description) {
    if (c == '\0') break;
    if (c != ' ') key = Mix(key, static_cast<unsigned char>(c));
  }
  return key;
}

// Of what the criteria by World Wide ID, or those by name, compare. name_key: that of the record.
std::uint64_t PlaceKey(const DeviceRecord& record, std::uint64_t name_key, Reach reach,
                       bool by_world_wide_id) {
  static_assert(kWorldWideIdSize == sizeof(std::uint64_t));
  const DeviceAddress& at = record.Address;
  std::uint64_t key = name_key;
  if (by_world_wide_id) key = Mix(key, EightBytes(record.WorldWideID));
  if (reach == Reach::kAnywhere) return key;
  key = Mix(key, at.Lun);
  if (!by_world_wide_id) key = Mix(key, at.ScsiId);
  return reach == Reach::kOnAnyPort ? key : Mix(Mix(key, at.Board), at.Bus);
}

std::uint64_t SerialNumberKey(const DeviceRecord& record) {
  static_assert(kSerialNumberSize % sizeof(std::uint64_t) == 0);
  std::uint64_t key = 0;
  for (std::size_t i = 0; i < kSerialNumberSize; i += sizeof key) {
    key = Mix(key, EightBytes(record.SerialNumber + i));
  }
  return key;
}

std::uint16_t* BucketOf(FoundTable* table, std::uint64_t key) {
  return &table->First[key >> FoundTable::kKeyShift];
}

// Devices are added in descending order.
void Add(FoundTable* table, std::uint64_t key, std::uint16_t number) {
  std::uint16_t* const first = BucketOf(table, key);
  table->Next[number] = *first;
  *first = number;
}

// What a found device satisfies first in a pass.
MatchCriterion TryCriteria(const DeviceRecord& old_record, const DeviceRecord& found,
                           const MatchRules& rules, const PassCriteria& pass) {
  if (!IsTaken(rules, found)) {
    if (WorldWideIdAgrees(old_record, found, rules, pass.in_place)) return pass.by_world_wide_id;
    if (NameAgrees(old_record, found, rules, pass.in_place)) return pass.by_name;
  }
  return SerialNumberAgrees(old_record, found, rules, pass.in_place) ? MatchCriterion::kSerialNumber
                                                                     : MatchCriterion::kNone;
}

// The first found device, by its number, that satisfies a criterion of a pass.
MatchCriterion MatchInPass(const DeviceRecord& old_record, const MatchRules& rules,
                           const PassCriteria& pass, std::uint64_t name_key,
                           std::uint16_t* number) {
  const Reach reach = !pass.in_place               ? Reach::kAnywhere
                      : rules.compare_port_and_bus ? Reach::kInPlace
                                                   : Reach::kOnAnyPort;
  FoundTable* const by_place = &ByPlace[static_cast<std::size_t>(reach)];
  const struct {
    FoundTable* table;
    std::uint64_t key;
  } lookups[] = {{by_place, PlaceKey(old_record, name_key, reach, true)},
                 {by_place, PlaceKey(old_record, name_key, reach, false)},
                 {&BySerialNumber, SerialNumberKey(old_record)}};
  std::uint16_t first = FoundTable::kNone;
  MatchCriterion matched = MatchCriterion::kNone;
  for (const auto& lookup : lookups) {
    for (std::uint16_t n = *BucketOf(lookup.table, lookup.key); n < first;
         n = lookup.table->Next[n]) {
      const MatchCriterion criterion = TryCriteria(old_record, FoundDevices[n], rules, pass);
      if (criterion == MatchCriterion::kNone) continue;
      first = n;
      matched = criterion;
    }
  }
  if (matched != MatchCriterion::kNone) *number = first;
  return matched;
}

MatchCriterion Match(const DeviceRecord& old_record, const MatchRules& rules,
                     std::uint16_t* number) {
  const std::uint64_t name_key = NameKey(old_record);
  for (const PassCriteria& pass : kPasses) {
    const MatchCriterion criterion = MatchInPass(old_record, rules, pass, name_key, number);
    if (criterion != MatchCriterion::kNone) return criterion;
  }
  return MatchCriterion::kNone;
}

MatchWitness Witness(const DeviceRecord& old_record, const MatchRules& rules,
                     std::uint16_t number) {
  const DeviceRecord& found = FoundDevices[number];
  MatchWitness witness;
  witness.WorldWideIdInPlace = JudgeWorldWideId(old_record, found, rules, true);
  witness.Address = JudgeName(old_record, found, rules, true);
  witness.SerialNumber = JudgeSerialNumber(old_record, found, rules, false);
  witness.WorldWideId = JudgeWorldWideId(old_record, found, rules, false);
  witness.Name = JudgeName(old_record, found, rules, false);
  witness.First = TryCriteria(old_record, found, rules, kPasses[0]);
  witness.Second = TryCriteria(old_record, found, rules, kPasses[1]);
  return witness;
}

}  // namespace

void IndexFoundDevices() {
  std::fill(std::begin(ByPlace), std::end(ByPlace), EmptyTable());
  BySerialNumber = EmptyTable();
  for (std::uint16_t n = FoundDeviceCount; n-- > 0;) {
    const DeviceRecord& found = FoundDevices[n];
    const std::uint64_t name_key = NameKey(found);
    for (const Reach reach : {Reach::kInPlace, Reach::kOnAnyPort, Reach::kAnywhere}) {
      Add(&ByPlace[static_cast<std::size_t>(reach)],
          PlaceKey(found, name_key, reach, WorldWideIdRules(found)), n);
    }
    if (HasSerialNumber(found)) Add(&BySerialNumber, SerialNumberKey(found), n);
  }
}

void ClearUsedDeviceFlags() {
  std::fill(std::begin(UsedDeviceFlags), std::end(UsedDeviceFlags), std::uint16_t{0});
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

std::int32_t MatchDevice(const DeviceRecord* old_record, std::uint16_t* number,
                         MatchCriterion* criterion) {
  const MatchCriterion matched = Match(*old_record, RulesFor(*old_record, UsedDeviceFlags), number);
  if (criterion != nullptr) *criterion = matched;
  return matched == MatchCriterion::kNone ? kNoMatch : kMatched;
}

std::int32_t MatchReservedDrive(const DeviceRecord* old_record, std::uint16_t* number,
                                MatchCriterion* criterion) {
  const MatchCriterion matched = Match(*old_record, kReservedDriveRules, number);
  if (criterion != nullptr) *criterion = matched;
  if (matched == MatchCriterion::kNone) return kNoMatch;
  ReservedDriveClaims[*number] = 1;
  return kMatched;
}

MatchWitness WitnessDevice(const DeviceRecord* old_record, std::uint16_t number,
                           const std::uint16_t* used) {
  return Witness(*old_record, RulesFor(*old_record, used), number);
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
  IndexFoundDevices();
  std::fill(std::begin(ReservedDriveClaims), std::end(ReservedDriveClaims), std::uint16_t{0});
}

}  // namespace devprep
