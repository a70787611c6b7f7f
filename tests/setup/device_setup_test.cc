#include "setup/device_setup.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "devprep/devprep.h"
#include "support/world.h"

namespace devprep {
namespace {

using Numbers = std::vector<std::uint16_t>;
using Stored = std::vector<std::pair<std::string, Value>>;

// Changer 0 with drives 1 and 2, the second of them disabled; drives 3 and 4, alike and without
// serial number; changer 5 with drive 6; disk 7. Configured by a pass on this machine.
struct Shop : World {
  Shop() {
    Machine machine({{.target = 0, .type = kChanger, .product = "LIB", .serial = "C0"},
                     {.target = 1, .serial = "D1"},
                     {.target = 2, .serial = "D2"},
                     {.target = 3, .product = "TWIN"},
                     {.target = 4, .product = "TWIN"},
                     {.port = 1, .target = 0, .type = kChanger, .product = "LIB", .serial = "C5"},
                     {.port = 1, .target = 1, .product = "SINGLE"},
                     {.port = 1, .target = 2, .type = kDisk}});
    Attach(machine);
    ::SetUpInitTapesvrConfig();
    Text("DEVICE0", "ReservedDrives", "1,2");
    Dword("DEVICE0", "DisabledDrives", 2);
    Text("DEVICE5", "ReservedDrives", "6");
    NewProcess();
  }
  // The drives of both changers, with the marks: "1,2/2 6/-".
  std::string Drives() const {
    std::string text;
    for (const char* key : {"DEVICE0", "DEVICE5"}) {
      text += (text.empty() ? "" : " ") + Show(key, "ReservedDrives") + "/" +
              Show(key, "DisabledDrives");
    }
    std::erase(text, '"');
    return text;
  }
  std::string DrivesAfterAPass() {
    NewProcess();
    ::SetUpInitTapesvrConfig();
    return Drives();
  }
};

struct Case {
  const char* what;
  std::function<DeviceEdit()> edit;
  std::string drives;  // afterwards
  DeviceRefusal refusal = DeviceRefusal::kNone;
  std::uint16_t device = 0;
  std::uint16_t other = 0;
  std::uint16_t raid = 0;
  Stored stored = {};  // before
};

std::function<DeviceEdit()> Reserve(std::uint16_t changer, Numbers drives, bool force = false) {
  return [=] {
    return ReserveDrives(changer, drives.data(), static_cast<std::uint16_t>(drives.size()), force);
  };
}
std::function<DeviceEdit()> Exactly(std::uint16_t changer, Numbers drives, bool force = false) {
  return [=] {
    return ReserveExactly(changer, drives.data(), static_cast<std::uint16_t>(drives.size()), force);
  };
}
std::function<DeviceEdit()> Release(std::uint16_t changer, Numbers drives, bool force = false) {
  return [=] {
    return ReleaseDrives(changer, drives.data(), static_cast<std::uint16_t>(drives.size()), force);
  };
}
std::function<DeviceEdit()> Disable(std::uint16_t drive, bool disabled = true) {
  return [=] { return SetDriveDisabled(drive, disabled); };
}

// What is done without force, the next pass on the same machine keeps.
TEST(ReservedDrives, EditsAndRefusals) {
  using enum DeviceRefusal;
  const std::string same = "1,2/2 6/-";
  const Stored raid = {{"RAID3", TextValue("Info", "(0,0,1,0)(1,0,1,0)")},
                       {"RAID3", TextValue("ChangerDevices", "(0,0,0,0)")}};
  const Stored gap = {{"DEVICE9", TextValue("Info", Info(2, 0, 0, 0, 5))}};
  const Stored malformed = {{"DEVICE4", TextValue("Info", "board-0")}};
  const Stored stale_mark = {{"DEVICE0", DwordValue("DisabledDrives", 0xF4)}};
  const Case cases[] = {
      {"behind the others", Reserve(0, {4, 3}), "1,2,4,3/2 6/-"},
      {"none", Reserve(0, {}), same},
      {"not configured", Reserve(0, {3, 77}), same, kNoDevice, 77},
      {"behind a gap", Reserve(0, {9}), same, kNoDevice, 9, 0, 0, gap},
      {"malformed", Reserve(0, {3, 4}), same, kDeviceNotReadable, 4, 0, 0, malformed},
      {"to a drive", Reserve(1, {3}), same, kNotAChanger, 1},
      {"to nothing", Reserve(8, {3}), same, kNoDevice, 8},
      {"a changer", Reserve(0, {5}), same, kNotADrive, 5},
      {"a disk", Reserve(0, {7}), same, kNotADrive, 7},
      {"a disk by force", Reserve(0, {7}, true), "1,2,7/2 6/-"},
      {"twice", Reserve(0, {3, 4, 3}), same, kGivenTwice, 3},
      {"again", Reserve(0, {3, 2}, true), same, kAlreadyReserved, 2, 0},
      {"the other's", Reserve(0, {6}), same, kReservedToOther, 6, 5},
      {"the other's by force", Reserve(5, {1}, true), "1,2/2 6,1/-"},
      {"a mark without a drive", Reserve(0, {3}), "1,2,3/- 6/-", kNone, 0, 0, 0, stale_mark},
      {"in this order", Exactly(0, {4, 2, 1}), "4,2,1/2 6/-"},
      {"the mark goes along", Exactly(0, {2, 3}), "2,3/1 6/-"},
      {"no more", Exactly(5, {}), "1,2/2 -/-"},
      {"exactly the other's", Exactly(5, {6, 2}), same, kReservedToOther, 2, 0},
      {"exactly twice", Exactly(5, {6, 6}), same, kGivenTwice, 6},
      {"exactly without what is in a RAID", Exactly(0, {2}), same, kInRaid, 1, 0, 3, raid},
      {"exactly with what is in a RAID", Exactly(0, {1}), "1/- 6/-", kNone, 0, 0, 0, raid},
      {"one", Release(0, {1}), "2/1 6/-"},
      {"all", Release(0, {}), "-/- 6/-"},
      {"each", Release(0, {2, 1}), "-/- 6/-"},
      {"another's", Release(0, {2, 6}), same, kNotReserved, 6, 0},
      {"in a RAID of the changer", Release(0, {}), same, kInRaid, 1, 0, 3, raid},
      {"in a RAID by force", Release(0, {}, true), "-/- 6/-", kNone, 0, 0, 0, raid},
      {"in a RAID of another changer", Release(5, {6}), "1,2/2 -/-", kNone, 0, 0, 0, raid},
      {"what is gone",
       Release(5, {77}),
       "1,2/2 6/-",
       kNone,
       0,
       0,
       0,
       {{"DEVICE5", TextValue("ReservedDrives", "6,77")}}},
      {"all of none",
       Release(5, {}),
       "1,2/2 -/-",
       kNothingReserved,
       5,
       0,
       0,
       {{"DEVICE5", TextValue("ReservedDrives", "")}}},
      {"disabled", Disable(1), "1,2/3 6/-"},
      {"disabled already", Disable(2), same},
      {"enabled", Disable(2, false), "1,2/- 6/-"},
      {"disabled in both lists",
       Disable(2),
       "1,2/2 6,2/2",
       kNone,
       0,
       0,
       0,
       {{"DEVICE5", TextValue("ReservedDrives", "6,2")}}},
      {"nobody's", Disable(3), same, kNoChangersDrive, 3},
      {"a number that is not there", Disable(8), same, kNoDevice, 8},
  };
  for (const Case& c : cases) {
    Shop world;
    for (const auto& [key, value] : c.stored) world.Set(key, value);
    const std::string before = world.Dump();
    const DeviceEdit edit = c.edit();
    EXPECT_EQ(edit.refusal, c.refusal) << c.what;
    EXPECT_EQ(edit.device, c.device) << c.what;
    EXPECT_EQ(edit.other, c.other) << c.what;
    EXPECT_EQ(edit.raid, c.raid) << c.what;
    if (c.refusal != kNone) {
      EXPECT_EQ(world.Dump(), before) << c.what;
      continue;
    }
    EXPECT_EQ(world.Drives(), c.drives) << c.what;
    DeviceInfo info = {};
    EXPECT_EQ(::SetUpGetDeviceInfo(0, &info), 0);
    EXPECT_EQ(info.ReservedDriveCount != 0, c.drives[0] != '-') << c.what;
    EXPECT_EQ(world.DrivesAfterAPass(), c.drives) << c.what;
  }
}

TEST(ReservedDrives, TheListHasItsLimits) {
  using enum DeviceRefusal;
  World world;
  world.Device(0, Info(0, 0, 0, 0, 17));
  for (int n = 1; n < 140; ++n) world.Device(n, Info(n / 64, 0, n % 64, 0, 5));
  const auto from = [](std::uint16_t first, std::uint16_t count) {
    Numbers numbers;
    for (std::uint16_t i = 0; i < count; ++i) numbers.push_back(first + i);
    return numbers;
  };
  const struct {
    Numbers drives;
    DeviceRefusal refusal;
  } cases[] = {
      {from(1, 33), kDriveListFull},
      {from(1, 32), kNone},
      {from(100, 26), kDriveListLong},  // 103 characters
      {from(100, 25), kNone},           // 99 characters
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Exactly(0, c.drives)().refusal, c.refusal) << c.drives.size();
    DeviceRecord record = {};
    ReadDeviceRecord(&record);
    if (c.refusal == kNone) {
      EXPECT_EQ(Numbers(record.ReservedDrives, record.ReservedDrives + record.ReservedDriveCount),
                c.drives);
    }
  }
  EXPECT_EQ(Reserve(0, {139})().refusal, kDriveListLong);
  // The last of 32 places has a mark, too.
  Exactly(0, from(1, 32))();
  EXPECT_EQ(SetDriveDisabled(32, true).refusal, kNone);
  EXPECT_EQ(world.Show("DEVICE0", "DisabledDrives"), std::to_string(0x80000000));
}

TEST(Settings, AreStoredWhereTheyAreReadAndKept) {
  for (const DeviceSetting& setting : kDeviceSettings) {
    for (const std::uint16_t device : Numbers{0, 1}) {
      const bool refused = setting.changers_only && device == 1;
      for (const std::uint16_t value : Numbers{0, 1, 65534, 65535}) {
        Shop world;
        const std::string key = DeviceKey(device);
        const std::string before = world.Dump();
        const DeviceEdit edit = SetDeviceSetting(device, setting, value);
        EXPECT_EQ(edit.refusal, refused ? DeviceRefusal::kSettingOfChangers : DeviceRefusal::kNone);
        const std::string stored =
            refused || value == setting.not_set ? "-" : std::to_string(value);
        EXPECT_EQ(world.Show(key, setting.value_name), stored) << setting.value_name;
        world.DrivesAfterAPass();
        EXPECT_EQ(world.Show(key, setting.value_name), stored) << setting.value_name;
        SetDeviceSetting(device, setting, setting.not_set);
        EXPECT_EQ(world.Show(key, setting.value_name), "-") << setting.value_name;
      }
    }
  }
  Shop world;
  EXPECT_EQ(SetDeviceSetting(8, kDeviceSettings[0], 1).refusal, DeviceRefusal::kNoDevice);
  EXPECT_FALSE(world.Exists("DEVICE8"));
}

}  // namespace
}  // namespace devprep
