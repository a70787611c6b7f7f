#include "configuration_diff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "device_settings.h"

namespace devprep::tool {
namespace {

struct TestDevice {
  std::uint16_t number = 0;
  std::uint16_t target = 0;
  std::string serial_number = {};
  std::string description = "ACME    TWIN            1.00";
  std::vector<std::uint16_t> reserved = {};  // a changer's
  bool readable = true;
};

StoredConfiguration Configuration(const std::vector<TestDevice>& devices) {
  StoredConfiguration made;
  for (const TestDevice& device : devices) {
    StoredDevice stored;
    DeviceRecord& record = stored.record;
    record.Number = device.number;
    for (const SettingInfo& setting : DeviceSettings()) {
      record.*setting.field = setting.Stored().not_set;
    }
    stored.readable = device.readable;
    if (device.readable) {
      stored.description = device.description;
      record.Type = device.reserved.empty() ? kTypeTape : kTypeChanger;
      record.Address.ScsiId = device.target;
      std::memcpy(record.SerialNumber, device.serial_number.data(), device.serial_number.size());
      record.ReservedDriveCount = static_cast<std::uint16_t>(device.reserved.size());
      std::copy(device.reserved.begin(), device.reserved.end(), record.ReservedDrives);
    }
    made.devices.push_back(stored);
  }
  return made;
}

std::string Numbers(const std::optional<std::uint16_t>& before,
                    const std::optional<std::uint16_t>& after) {
  return (before ? std::to_string(*before) : "-") + '>' + (after ? std::to_string(*after) : "-");
}

// "0>1 moved" of a device, "0>1 serial number" of a value of one, "0>0 reserved drives changed:
// 1>2" of a list, in that order.
std::vector<std::string> Told(const ConfigurationDifference& difference) {
  std::vector<std::string> told;
  for (const auto& [before, after] : difference.devices) {
    const bool moved = before && after && before->record.Address != after->record.Address;
    told.push_back(Numbers(before ? std::optional(before->record.Number) : std::nullopt,
                           after ? std::optional(after->record.Number) : std::nullopt) +
                   (moved ? " moved" : ""));
  }
  for (const ValueDifference& value : difference.values) {
    told.push_back(Numbers(value.of.old_number, value.of.new_number) + ' ' + value.name.text);
  }
  for (const ListDifference& list : difference.lists) {
    told.push_back(Numbers(list.of.old_number, list.of.new_number) + ' ' + list.name.text + ' ' +
                   list.outcome.text + ':');
    for (const MemberDifference& member : list.members) {
      told.back() += ' ' + Numbers(member.old_number, member.new_number);
    }
  }
  return told;
}

struct ComparisonCase {
  const char* what;
  std::vector<TestDevice> before;
  std::vector<TestDevice> after;
  std::vector<std::string> expected;
};

// Devices of one name, in every way in which one can be taken for the other.
TEST(ConfigurationDifferenceTest, KnowsTwinsApart) {
  const std::string changer = "ACME    ROBOT           1.00";
  const ComparisonCase cases[] = {
      {"they stay", {{0, 0}, {1, 1}}, {{0, 0}, {1, 1}}, {}},
      {"the first goes, the other gets its number", {{0, 0}, {1, 1}}, {{0, 1}}, {"1>0", "0>-"}},
      {"one comes in front", {{0, 1}}, {{0, 0}, {1, 1}}, {"->0", "0>1"}},
      {"they exchange numbers", {{0, 0}, {1, 1}}, {{0, 1}, {1, 0}}, {"1>0", "0>1"}},
      {"both move", {{0, 0}, {1, 1}}, {{0, 4}, {1, 5}}, {"0>0 moved", "1>1 moved"}},
      {"one moves behind the other", {{0, 0}, {1, 1}}, {{0, 1}, {1, 7}}, {"1>0", "0>1 moved"}},
      {"one has an identity, and they exchange places",
       {{0, 0, "S"}, {1, 1}},
       {{0, 0}, {1, 1, "S"}},
       {"1>0 moved", "0>1 moved"}},
      {"both have one, and they exchange places",
       {{0, 0, "S"}, {1, 1, "T"}},
       {{0, 0, "T"}, {1, 1, "S"}},
       {"1>0 moved", "0>1 moved"}},
      {"both have the same",
       {{0, 0, "S"}, {1, 1, "S"}},
       {{0, 1, "S"}, {1, 2, "S"}},
       {"1>0", "0>1 moved"}},
      {"another takes the place", {{0, 0, "S"}}, {{0, 0, "T"}}, {"->0", "0>-"}},
      {"the identity becomes known", {{0, 0}}, {{0, 0, "S"}}, {"0>0 serial number"}},
      {"another name is another device",
       {{0, 0}},
       {{0, 0, "", "ACME    OTHER           1.00"}},
       {"->0", "0>-"}},
      {"the firmware is new",
       {{0, 0, "S"}},
       {{0, 0, "S", "ACME    TWIN            2.00"}},
       {"0>0 description"}},
      {"of two that cannot be read one is mended",
       {{.number = 3, .readable = false}, {.number = 5, .readable = false}},
       {{3, 3}, {.number = 5, .readable = false}},
       {"->3", "3>-"}},
      {"a changer's drives exchange numbers",
       {{0, 9, "", changer, {1, 2}}, {1, 1}, {2, 2}},
       {{0, 9, "", changer, {2, 1}}, {1, 2}, {2, 1}},
       {"2>1", "1>2", "0>0 reserved drives renumbered: 1>2 2>1"}},
      {"they exchange numbers, and the list does not follow",
       {{0, 9, "", changer, {1, 2}}, {1, 1}, {2, 2}},
       {{0, 9, "", changer, {1, 2}}, {1, 2}, {2, 1}},
       {"2>1", "1>2", "0>0 reserved drives reordered: 2>1 1>2"}},
      {"one is no longer reserved, another is",
       {{0, 9, "", changer, {1, 2}}, {1, 1}, {2, 2}, {3, 3}},
       {{0, 9, "", changer, {3, 2}}, {1, 1}, {2, 2}, {3, 3}},
       {"0>0 reserved drives changed: ->3 2>2 1>-"}},
  };
  for (const ComparisonCase& c : cases) {
    EXPECT_EQ(Told(Compare(Configuration(c.before), Configuration(c.after))), c.expected) << c.what;
  }
}

}  // namespace
}  // namespace devprep::tool
