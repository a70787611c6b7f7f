#include "setup/device_listing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "records/raid_records.h"
#include "store/product_config.h"
#include "support/world.h"

namespace devprep {
namespace {

TEST(DeviceListing, ReportsTheRecordWithTheTextThatTheDeviceGivesNow) {
  World world;
  world.Attach({{.target = 1, .product = "RENAMED"}, {.target = 2, .answers = false}});
  world.Device(0, Info(0, 0, 1, 0, 5, "ACME    DRIVE           1.00and this stays?"));
  world.Device(1, Info(0, 0, 2, 0, 17, "ACME    LIBRARY         1.00"));
  world.Text("DEVICE1", "ReservedDrives", "4,5");
  world.Dword("DEVICE1", "DisabledDrives", 0x80000002);
  world.Dword("DEVICE1", "CleaningTapeSlot", 9);
  world.Device(2, Info(1, 2, 3, 4, 2, "A  DISK"));

  DeviceInfo info = {};
  EXPECT_EQ(::SetUpGetDeviceInfo(0, &info), 0);
  EXPECT_EQ(std::string(info.Description, 28), "ACME    RENAMED         1.00");
  EXPECT_EQ(std::memcmp(info.Description + 28, "\0\0\0\0this st", 12), 0);

  std::memset(&info, 0xEE, sizeof info);
  EXPECT_EQ(::SetUpGetDeviceInfo(1, &info), 0);
  EXPECT_EQ(info.Number, 1);
  EXPECT_EQ(info.Type, 17);
  EXPECT_EQ(info.CleaningTapeSlot, 9);
  EXPECT_EQ(info.ReservedDriveCount, 2);
  EXPECT_EQ(info.ReservedDrives[1], 5);
  EXPECT_EQ(info.ReservedDrives[31], 0);
  EXPECT_EQ(info.DisabledDrives, 0x80000002U);
  EXPECT_STREQ(info.Description, "ACME    LIBRARY         1.00");
  EXPECT_EQ(info.Description[30], '\xEE');  // as the caller had it
  EXPECT_EQ(info.Reserved[15], 0xEE);
  EXPECT_EQ(info.RaidFlags, 0xEEEEEEEEU);

  EXPECT_EQ(::SetUpGetDeviceInfo(2, &info), 0);
  EXPECT_EQ(info.Board * 1000 + info.Bus * 100 + info.ScsiId * 10 + info.Lun, 1234);
  EXPECT_EQ(info.CleaningTapeSlot, 65535);
  EXPECT_STREQ(info.Description, "A  DISK");
}

TEST(DeviceListing, RefusesWhatIsNotConfiguredAndLeavesTheRecordAlone) {
  World world;
  world.Text("DEVICE1", "Info", "a,b,c,d,e");
  for (const auto& [number, status] : {std::pair{0, 3}, {1, 219}, {65535, 3}}) {
    DeviceInfo info;
    std::memset(&info, 0xEE, sizeof info);
    const DeviceInfo before = info;
    EXPECT_EQ(::SetUpGetDeviceInfo(static_cast<std::uint16_t>(number), &info), status);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
  }
}

TEST(DeviceListing, MasksFibreAttachedDrivesAndChangers) {
  const struct {
    int type;
    const char* wwid;
    Value driver;
    std::uint32_t mask;
    std::uint16_t reported;
  } cases[] = {
      {5, "W", {}, 1, 32768},
      {5, "W", {}, 0, 5},
      {5, "", {}, 1, 5},
      {17, "W", {}, 1, 32768},
      {13, "W", {}, 1, 32768},
      {2, "W", {}, 1, 2},
      {5, "", TextValue("Driver", "QL2200"), 1, 32768},
      {5, "", TextValue("Driver", "QL2200"), 0, 5},
      {17, "", TextValue("Driver", "jni116"), 1, 32768},
      {5, "", {"Driver", REG_BINARY, "lp6nds35"}, 1, 32768},
      {2, "", TextValue("Driver", "ql2200"), 1, 2},
      {5, "", TextValue("Driver", "ql2200x"), 1, 5},
      {5, "", TextValue("Driver", "ql220"), 1, 5},
      {5, "", TextValue("Driver", "ql2200" + std::string(121, '\0')), 1, 32768},  // 128 bytes
      {5, "", TextValue("Driver", "ql2200" + std::string(122, '\0')), 1, 5},
  };
  for (const auto& c : cases) {
    World world;
    Machine machine({{.port = 0}, {.port = 1, .product = "ASKED"}});
    if (!c.driver.name.empty()) machine.Set("Scsi Port 1", c.driver);
    world.Attach(machine);
    world.Device(0, Info(1, 0, 0, 0, c.type, "stored"), "", c.wwid);
    MaskFibreDevices = c.mask;
    DeviceInfo info = {};
    EXPECT_EQ(QueryDeviceInfo(0, &info, false), 0);
    EXPECT_EQ(info.Type, c.reported) << c.type << c.wwid << c.driver.data;
    // A masked device is not asked.
    const bool asked = c.reported != 32768 && c.reported != 2;
    EXPECT_EQ(std::strncmp(info.Description, asked ? "ACME    ASKED" : "stored", 6), 0);
    EXPECT_EQ(QueryDeviceInfo(0, &info, true), 0);
    EXPECT_EQ(info.Type, c.type);
  }
}

TEST(DeviceListing, ChangersAreOpticalOrCarryTheFlagsOfTheirFirstRaid) {
  World world;
  world.Attach({{.target = 1, .type = kChanger, .vendor = "HP", .product = "C1100F"}});
  world.Device(0, Info(0, 0, 1, 0, 17, "renamed"));
  world.Device(1, Info(0, 0, 2, 0, 17, "ACME    LIBRARY"));
  world.Device(2, Info(0, 0, 3, 0, 5));
  world.Device(3, Info(0, 0, 4, 0, 17, "HP      C1100F"));  // does not answer
  world.Raid(0, "(0,0,3,0)");
  world.Raid(1, "(0,0,3,0)", "(0,0,2,0)(0,0,1,0)");
  world.Raid(2, "", "(0,0,2,0)");
  const struct {
    std::uint16_t type;
    std::uint32_t flags;  // over 1
  } expected[] = {{18, 1}, {17, 0x03000001}, {5, 1}, {18, 1}};
  std::uint16_t count = 0;
  ::SetUpGetNoOfDevices(&count);
  ASSERT_EQ(count, std::size(expected));
  for (std::uint16_t n = 0; n < count; ++n) {
    DeviceInfo info = {};
    info.RaidFlags = 1;
    EXPECT_EQ(::SetUpGetDeviceInfo(n, &info), 0);
    EXPECT_EQ(info.Type, expected[n].type) << n;
    EXPECT_EQ(info.RaidFlags, expected[n].flags) << n;
  }
  world.Remove("RAID0");  // now RAID2 is not among the first two numbers that are read
  world.Remove("RAID1");
  DeviceInfo info = {};
  EXPECT_EQ(::SetUpGetDeviceInfo(1, &info), 0);
  EXPECT_EQ(info.RaidFlags, 0U);
}

}  // namespace
}  // namespace devprep
