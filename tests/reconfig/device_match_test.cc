#include "reconfig/device_match.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "store/product_config.h"
#include "support/world.h"

namespace devprep {
namespace {

// What a criterion compares. kWideIds and kAddresses choose the found devices it is for: those with
// a World Wide ID that counts, and all others.
enum : unsigned {
  kType = 1,
  kFree = 2,
  kName = 4,
  kPortAndBus = 8,
  kTarget = 16,
  kLun = 32,
  kWwid = 64,
  kSerial = 128,
  kWideIds = 256,
  kAddresses = 512,
};
struct Rules {
  unsigned criteria[2][3];
};
constexpr unsigned kSame = kType | kName;
constexpr Rules kForDrives = {
    {{kWideIds | kSame | kFree | kPortAndBus | kWwid | kLun,
      kAddresses | kSame | kFree | kPortAndBus | kTarget | kLun, kSerial},
     {kWideIds | kSame | kFree | kWwid, kAddresses | kSame | kFree, kSerial}}};
constexpr Rules kForChangers = {
    {{kWideIds | kSame | kPortAndBus | kWwid | kLun,
      kAddresses | kSame | kPortAndBus | kTarget | kLun, kType | kSerial},
     {kWideIds | kSame | kWwid, kAddresses | kSame, kSerial}}};
constexpr Rules kForReserved = {
    {{kWideIds | kSame | kFree | kWwid | kLun, kAddresses | kSame | kFree | kTarget | kLun,
      kSerial},
     {kWideIds | kSame | kFree | kWwid, kAddresses | kSame | kFree, kSerial}}};

bool Fits(const DeviceRecord& old, const DeviceRecord& found, bool free, unsigned criterion) {
  const auto* const serial = found.SerialNumber;
  const bool has_serial =
      std::any_of(serial, serial + 10, [](std::uint8_t byte) { return byte != 0; });
  const bool has_wwid = std::any_of(std::begin(found.WorldWideID), std::end(found.WorldWideID),
                                    [](std::uint8_t byte) { return byte != 0; });
  std::string name = found.Description;
  name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
  const DeviceAddress& was = old.Address;
  const DeviceAddress& is = found.Address;
  unsigned agrees = 0;
  if (old.Type == found.Type) agrees |= kType;
  if (free) agrees |= kFree;
  if (name == old.Description) agrees |= kName;
  if (was.Board == is.Board && was.Bus == is.Bus) agrees |= kPortAndBus;
  if (was.ScsiId == is.ScsiId) agrees |= kTarget;
  if (was.Lun == is.Lun) agrees |= kLun;
  if (std::memcmp(old.WorldWideID, found.WorldWideID, 8) == 0) agrees |= kWwid;
  if (has_serial && std::memcmp(old.SerialNumber, serial, 32) == 0) agrees |= kSerial;
  agrees |= has_wwid && MatchByWorldWideId == 1 ? kWideIds : kAddresses;
  return (agrees & criterion) == criterion;
}

int Reference(const DeviceRecord& old, const Rules& rules, const std::vector<bool>& taken) {
  for (const auto& pass : rules.criteria) {
    for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
      for (const unsigned criterion : pass) {
        if (Fits(old, FoundDevices[n], !taken[n], criterion)) return n;
      }
    }
  }
  return -1;
}

// All devices of a small world; blanks in the name of those found.
std::vector<DeviceRecord> SmallWorld(bool found) {
  std::vector<DeviceRecord> devices;
  const std::string serials[] = {"", "S", std::string(10, '\0') + "S"};
  for (int i = 0; i < 2 * 2 * 2 * 2 * 2 * 2 * 3; ++i) {
    DeviceRecord device = {};
    device.Type = (i & 1) != 0 ? kTypeTape : kTypeChanger;
    device.Address.Board = (i & 2) != 0;
    device.Address.ScsiId = (i & 4) != 0;
    device.Address.Lun = (i & 8) != 0;
    std::strcpy(device.Description, (i & 16) != 0 ? "other" : found ? " a b " : "ab");
    device.WorldWideID[7] = (i & 32) != 0;
    std::memcpy(device.SerialNumber, serials[i / 64].data(), serials[i / 64].size());
    devices.push_back(device);
  }
  return devices;
}

// Old devices stand for all others by symmetry: at address 0,0,0,0, with the name "ab".
bool StandsForAll(const DeviceRecord& old) {
  return old.Address == DeviceAddress{} && old.Description[0] == 'a';
}

TEST(DeviceMatch, AgreesWithItsRulesOnEverySmallMachine) {
  ResetDeviceMatch();
  FoundDeviceCount = 2;
  const std::vector<DeviceRecord> all = SmallWorld(true);
  for (const DeviceRecord& old : SmallWorld(false)) {
    if (!StandsForAll(old)) continue;
    const Rules& rules = old.Type == kTypeChanger ? kForChangers : kForDrives;
    for (std::size_t first = 0; first < all.size(); ++first) {
      FoundDevices[0] = all[first];
      for (std::size_t second = 0; second < all.size(); ++second) {
        FoundDevices[1] = all[second];
        // Flags go through all their values beside the pairs instead of multiplying them.
        const std::size_t mix = first * 7 + second;
        MatchByWorldWideId = static_cast<std::uint32_t>(mix & 1);
        IndexFoundDevices();
        UsedDeviceFlags[0] = (mix & 2) != 0;
        UsedDeviceFlags[1] = (mix & 4) != 0;
        const std::vector<bool> used = {UsedDeviceFlags[0] != 0, UsedDeviceFlags[1] != 0};
        std::uint16_t number = 9;
        const int matched = MatchDevice(&old, &number) == 0 ? number : -1;
        ASSERT_EQ(matched, Reference(old, rules, used)) << first << ' ' << second;
        ASSERT_TRUE(matched >= 0 || number == 9);
        if ((first + second) % 3 != 0) continue;
        std::vector<bool> claimed(2);
        for (int again = 0; again < 3; ++again) {
          const int expected = Reference(old, kForReserved, claimed);
          const int given = MatchReservedDrive(&old, &number) == 0 ? number : -1;
          ASSERT_EQ(given, expected) << first << ' ' << second << ' ' << again;
          if (given >= 0) claimed[static_cast<std::size_t>(given)] = true;
        }
        ResetDeviceMatch();
      }
    }
  }
  ResetProductConfig();
  ResetFoundDevices();
}

TEST(DeviceMatch, ComparesNamesToTheirEndsWithoutTheBlanksOfTheFoundDevice) {
  const std::string whole(kDescriptionSize, 'W');
  const struct {
    std::string old_name;
    std::string found_name;
    bool agree;
  } cases[] = {
      {"AB", " A  B ", true},
      {"AB", "AB" + std::string(1, '\0') + "behind the end", true},
      {"AB" + std::string(1, '\0') + "behind the end", "AB", true},
      {whole, whole, true},
      {whole, whole.substr(1), false},
      {whole.substr(1), whole.substr(1) + " ", true},
      {"", "   ", true},
      {"A B", "A B", false},
      {"ab", "AB", false},
      {"AB", "BA", false},
  };
  FoundDeviceCount = 1;
  for (const auto& c : cases) {
    DeviceRecord old = {};
    old.Address.Lun = 1;
    FoundDevices[0] = {};
    std::memcpy(old.Description, c.old_name.data(), c.old_name.size());
    std::memcpy(FoundDevices[0].Description, c.found_name.data(), c.found_name.size());
    IndexFoundDevices();
    std::uint16_t number = 9;
    MatchCriterion criterion = MatchCriterion::kSerialNumber;
    EXPECT_EQ(MatchDevice(&old, &number, &criterion), c.agree ? kMatched : kNoMatch) << c.old_name;
    EXPECT_EQ(criterion, c.agree ? MatchCriterion::kName : MatchCriterion::kNone) << c.old_name;
  }
  ResetFoundDevices();
}

TEST(DeviceMatch, SaysWhatADeviceWasRecognisedBy) {
  World world;
  world.Attach({{.target = 1, .serial = "S1"}, {.target = 2, .wwid = "W"}});
  ProbeScsiDevices();
  const struct {
    std::uint16_t target;
    const char* serial;
    const char* wwid;
    std::uint32_t by_wwid;
    int number;
    MatchCriterion criterion;
  } cases[] = {
      {1, "", "", 0, 0, MatchCriterion::kAddress},
      {9, "S1", "", 0, 0, MatchCriterion::kSerialNumber},
      {2, "S1", "", 0, 0, MatchCriterion::kSerialNumber},  // the earlier device wins
      {9, "", "", 0, 0, MatchCriterion::kName},
      {9, "", "W", 1, 1, MatchCriterion::kWorldWideIdInPlace},
      {2, "", "", 1, 0, MatchCriterion::kName},  // the address does not count with a World Wide ID
  };
  for (const auto& c : cases) {
    DeviceRecord old = {};
    old.Type = kTypeTape;
    old.Address.ScsiId = c.target;
    std::strcpy(old.Description, "ACMEDRIVE1.00");
    std::strcpy(reinterpret_cast<char*>(old.SerialNumber), c.serial);
    std::strcpy(reinterpret_cast<char*>(old.WorldWideID), c.wwid);
    MatchByWorldWideId = c.by_wwid;
    IndexFoundDevices();
    std::uint16_t number = 9;
    MatchCriterion criterion = MatchCriterion::kNone;
    EXPECT_EQ(MatchDevice(&old, &number, &criterion), kMatched);
    EXPECT_EQ(number, c.number) << c.target << c.serial << c.wwid;
    EXPECT_EQ(criterion, c.criterion) << c.target << c.serial << c.wwid;
  }
}

TEST(DeviceMatch, AFreshRecordHoldsWhatWasFoundAndNoSettings) {
  World world;
  world.Attach({{.target = 4, .serial = "S", .wwid = "W"}});
  ProbeScsiDevices();
  DeviceRecord expected = FoundDevices[0];
  expected.ReadShots = 6;  // stays the caller's
  DeviceRecord record = {};
  record.ReadShots = 6;
  record.DisabledDrives = 5;
  EXPECT_EQ(RecordFromFoundDevice(&record), 0);
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
  record.Number = expected.Number = 1;
  EXPECT_EQ(RecordFromFoundDevice(&record), kNoSuchFoundDevice);
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

}  // namespace
}  // namespace devprep
