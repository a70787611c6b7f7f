#include "reconfig/reconfigure.h"

#include <gtest/gtest.h>

#include <string>

#include "reconfig/outcome.h"
#include "support/world.h"

namespace devprep {
namespace {

void Configure(World& world) {
  world.NewProcess();
  EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
}

// The "Info" texts that are left, by number: target ids and types.
std::string Targets(const World& world) {
  std::string out;
  for (int n = 0; world.Exists(DeviceKey(n)); ++n) {
    const std::string info = world.Show(DeviceKey(n), "Info");
    const std::size_t at = info.find("scsiid-") + 7;
    out += info.substr(at, info.find(',', at) - at) + " ";
  }
  return out;
}

TEST(Reconfigure, SettingsGroupsAndReservedDrivesFollowTheirDevices) {
  World world;
  // Before: a changer (0), drives 1 to 3 with serial numbers, a disk 4. Now: the changer behind
  // drives 1 and 3 in reverse order, drive 2 gone, a new drive.
  world.Device(0, Info(0, 0, 0, 0, 17, "ACME    LIBRARY         1.00"), "LIB");
  for (int n = 1; n <= 3; ++n) {
    const std::string name = "D" + std::to_string(n);
    world.Device(n, Info(0, 0, n, 0, 5, "ACME    " + name + "              1.00"), name);
    world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n));
    world.Dword(DeviceKey(n), "foreign", 1);
  }
  world.Device(4, Info(0, 0, 4, 0, 2, "a disk"));
  world.Dword("DEVICE1", "WriteShots", 5);
  world.Dword("DEVICE1", "CleaningTapeSlot", 0);
  world.Dword("DEVICE1", "DefaultBlockFactor", 64);
  world.Text("DEVICE0", "ReservedDrives", "1,2,3");
  world.Text("DEVICE0", "UnReservedDrives", "1");
  world.Dword("DEVICE0", "DisabledDrives", 2);
  world.Dword("DEVICE0", "BarCodeInstall", 1);
  world.Dword("DEVICE0", "SetBarCodeTapeToBlank", 2);
  world.Dword("DEVICE0", "SetAutoCleaningTime", 3);
  world.Group(0, "ALL", "TAPE_GROUP,3,2,1", 7);
  world.Group(1, "CHG", "CHANGER_GROUP,0,1-10,21-30", 7);
  world.Group(2, "A RAID", "RAID_CHANGER_GROUP,2,1-2,3,3-4,1,5-6", 7);
  world.Group(3, "GONE", "TAPE_GROUP,2", 7);
  world.Group(4, "BAD", "RAID_TAPE_GROUP,1", 7);
  world.Group(5, "ADDED", "TAPE_GROUP,9", 7);
  world.Attach({{.target = 1, .product = "D3", .serial = "D3"},
                {.target = 2, .product = "NEW", .serial = "D4"},
                {.target = 5, .type = kDisk, .identifier = "a disk"},
                {.target = 6, .product = "D1", .serial = "D1"},
                {.target = 7, .type = kChanger, .product = "LIBRARY", .serial = "LIB"}});
  Configure(world);
  EXPECT_EQ(world.Dump(kEngineKey), Ordered(R"([]
[DEVICE0]
Info="board-0,bus-0,scsiid-1,lun-0,type-5,ACME    D3              1.00"
ReadShots=3
SerialNumber=<D3+30>
WorldWideID=<+8>
[DEVICE1]
Info="board-0,bus-0,scsiid-2,lun-0,type-5,ACME    NEW             1.00"
SerialNumber=<D4+30>
WorldWideID=<+8>
[DEVICE2]
SerialNumber=<+32>
WorldWideID=<+8>
Info="board-0,bus-0,scsiid-5,lun-0,type-2,a disk"
[DEVICE3]
Info="board-0,bus-0,scsiid-6,lun-0,type-5,ACME    D1              1.00"
ReadShots=1
WriteShots=5
CleaningTapeSlot=0
DefaultBlockFactor=64
SerialNumber=<D1+30>
WorldWideID=<+8>
[DEVICE4]
Info="board-0,bus-0,scsiid-7,lun-0,type-17,ACME    LIBRARY         1.00"
ReservedDrives="3,0"
DisabledDrives=2
BarCodeInstall=1
SetBarCodeTapeToBlank=2
SetAutoCleaningTime=3
SerialNumber=<LIB+29>
WorldWideID=<+8>
[GROUP0]
ALL="TAPE_GROUP,0,3"
GROUP_ATTRIBUTE=0
[GROUP1]
CHG="CHANGER_GROUP,4,1-10,21-30"
GROUP_ATTRIBUTE=0
[GROUP2]
A RAID="RAID_CHANGER_GROUP,0,3-4,3,5-6"
GROUP_ATTRIBUTE=0
[GROUP3]
GONE="TAPE_GROUP,"
GROUP_ATTRIBUTE=0
[GROUP4]
BAD=""
GROUP_ATTRIBUTE=0
[GROUP5]
ADDED="TAPE_GROUP,"
GROUP_ATTRIBUTE=0
)"));
  const int became[] = {4, 3, kDeviceGone, 0, 2};
  ASSERT_EQ(LastPass.OldDeviceCount, std::size(became));
  for (std::uint16_t k = 0; k < std::size(became); ++k) {
    std::uint16_t number = kDeviceGone;
    EXPECT_EQ(FindNewDeviceNumber(k, &number), became[k] == kDeviceGone ? kNumberNotMapped : 0);
    EXPECT_EQ(number, became[k]) << k;
  }
  EXPECT_EQ(LastPass.Groups[2].Members[0].Became, Change::kGone);
  EXPECT_EQ(LastPass.Groups[2].Members[2].NewNumber, 3);
}

TEST(Reconfigure, TwinsGoByAddressThenByTheirOldNumber) {
  const struct {
    std::uint16_t targets[3];
    const char* shots;  // of devices 0, 1, 2; the old ones at targets 3, 1, 2 had 1, 2, 3
  } cases[] = {{{1, 2, 3}, "231"}, {{4, 5, 6}, "123"}, {{1, 2, 4}, "123"}, {{2, 3, 4}, "213"}};
  for (const auto& c : cases) {
    World world;
    for (int n = 0; n < 3; ++n) {
      world.Device(n, Info(0, 0, n == 0 ? 3 : n, 0, 5));
      world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n + 1));
    }
    world.Attach({{.target = c.targets[0]}, {.target = c.targets[1]}, {.target = c.targets[2]}});
    Configure(world);
    std::string shots;
    for (int n = 0; n < 3; ++n) shots += world.Show(DeviceKey(n), "ReadShots");
    EXPECT_EQ(shots, c.shots) << c.targets[0] << c.targets[1] << c.targets[2];
  }
}

TEST(Reconfigure, GroupsClaimTwinsInGroupOrder) {
  World world;
  for (int n = 0; n < 3; ++n) world.Device(n, Info(0, 0, n + 1, 0, 5));
  world.Device(3, Info(0, 0, 9, 0, 5), "S");
  world.Group(0, "A", "TAPE_GROUP,1,1,3,3");  // twice: a twin in its stead; by serial number itself
  world.Group(1, "B", "TAPE_GROUP,0,1,3");
  world.Attach({{.target = 1}, {.target = 2}, {.target = 9, .serial = "S"}});
  Configure(world);
  EXPECT_EQ(world.Show("GROUP0", "A"), "\"TAPE_GROUP,1,0,2,2\"");
  EXPECT_EQ(world.Show("GROUP1", "B"), "\"TAPE_GROUP,2\"");
}

TEST(Reconfigure, ReservedDrivesAreWalkedFromTheEndThatHasTheLowerNumber) {
  // Twins without serial numbers at targets 1, 2, 3 and now at 4, 5, 6: in order of the walk each
  // gets the first that is free.
  const struct {
    const char* before;
    const char* after;
  } cases[] = {
      {"0,1,2", "\"0,1,2\""},   {"2,1,0", "\"2,1,0\""},
      {"1,2,0", "\"0,1,2\""},   {"2,0,1", "\"2,1,0\""},
      {"2", "\"0\""},           {"0,0", "\"0,1\""},
      {"2,9,0", "\"0,1\""},     {"9,0", "\"0\""},
      {"0,9,5,1", "\"0,1\""},   {"9,8", "-"},
      {"1,2,3", "\"0,1,3\""},   {"3,2,1", "\"3,1,0\""},
      {"0,1,2,0", "\"0,1,2\""},  // all twins are given out
  };
  for (const auto& c : cases) {
    World world;
    for (int n = 0; n < 3; ++n) world.Device(n, Info(0, 0, n + 1, 0, 5));
    world.Device(3, Info(0, 0, 9, 0, 5, "ACME OTHER 1.00"), "S");
    world.Device(4, Info(0, 0, 10, 0, 17, "ACME LIBRARY 1.00"));
    world.Device(5, Info(0, 0, 11, 0, 17, "GONE LIBRARY 1.00"));
    world.Text("DEVICE4", "ReservedDrives", c.before);
    world.Attach({{.target = 4},
                  {.target = 5},
                  {.target = 6},
                  {.target = 9, .product = "OTHER", .serial = "S"},
                  {.target = 10, .type = kChanger, .product = "LIBRARY"}});
    Configure(world);
    EXPECT_EQ(world.Show("DEVICE4", "ReservedDrives"), c.after) << c.before;
  }
}

TEST(Reconfigure, ClaimsOfReservedDrivesHoldAcrossChangers) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 17, "ACME LIBRARY 1.00"), "L1");
  world.Device(1, Info(0, 0, 2, 0, 17, "ACME LIBRARY 1.00"), "L2");
  world.Device(2, Info(1, 0, 1, 0, 5));
  world.Device(3, Info(1, 0, 1, 1, 5), "S");
  world.Text("DEVICE0", "ReservedDrives", "2,3");
  world.Text("DEVICE1", "ReservedDrives", "2,3");
  world.Attach({{.target = 1, .type = kChanger, .product = "LIBRARY", .serial = "L1"},
                {.target = 2, .type = kChanger, .product = "LIBRARY", .serial = "L2"},
                {.port = 1, .bus = 1, .target = 1},
                {.port = 1, .bus = 1, .target = 1, .lun = 1, .serial = "S"}});
  Configure(world);
  EXPECT_EQ(world.Show("DEVICE0", "ReservedDrives"), "\"2,3\"");
  EXPECT_EQ(world.Show("DEVICE1", "ReservedDrives"), "\"3\"");  // a serial number ignores claims
}

TEST(Reconfigure, TwoOldChangersMayBecomeOneAndMergeTheirSettings) {
  World world;
  for (int n = 0; n < 2; ++n) world.Device(n, Info(0, 0, n, 0, 17, "ACME LIBRARY 1.00"));
  world.Dword("DEVICE0", "BarCodeInstall", 1);
  world.Dword("DEVICE0", "ReadShots", 2);
  world.Dword("DEVICE1", "ReadShots", 3);
  world.Group(0, "A", "CHANGER_GROUP,0,1-2");
  world.Group(1, "B", "CHANGER_GROUP,1,3-4");
  world.Group(2, "C", "CHANGER_GROUP,2,3-4");  // no such device
  world.Attach({{.target = 7, .type = kChanger, .product = "LIBRARY"}});
  Configure(world);
  EXPECT_EQ(world.Dump(kEngineKey), Ordered(R"([]
[DEVICE0]
BarCodeInstall=1
ReadShots=3
SerialNumber=<+32>
WorldWideID=<+8>
Info="board-0,bus-0,scsiid-7,lun-0,type-17,ACME    LIBRARY         1.00"
[GROUP0]
A="CHANGER_GROUP,0,1-2"
GROUP_ATTRIBUTE=0
[GROUP1]
B="CHANGER_GROUP,0,3-4"
GROUP_ATTRIBUTE=0
[GROUP2]
C=""
GROUP_ATTRIBUTE=0
)"));
}

TEST(Reconfigure, KeysBehindAGapAreWrittenOverAndNotDeleted) {
  for (const bool in_a_group : {false, true}) {
    World world;
    world.Device(0, Info(0, 0, 1, 0, 5));
    world.Text("DEVICE1", "Info", "malformed");
    world.Device(3, Info(0, 0, 9, 0, 5));
    world.Dword("DEVICE3", "foreign", 1);
    world.Device(5, Info(0, 0, 4, 0, 5));
    if (in_a_group) world.Group(0, "G", "TAPE_GROUP,5");
    world.Attach({{.target = 1}, {.target = 2}, {.target = 3}, {.target = 4}});
    Configure(world);
    // The group finds the device of DEVICE5, which is no old device, and so claims what is then not
    // written at all.
    EXPECT_EQ(Targets(world), in_a_group ? "1 2 3 9 " : "1 2 3 4 ");
    EXPECT_EQ(world.Show("GROUP0", "G"), in_a_group ? "\"TAPE_GROUP,3\"" : "-");
    EXPECT_EQ(world.Show("DEVICE3", "foreign"), "1");
    EXPECT_EQ(world.Show("DEVICE5", "Info"), "\"" + Info(0, 0, 4, 0, 5) + "\"");
  }
}

TEST(Reconfigure, AnUnreadableGroupLosesItsName) {
  World world;
  world.Make("GROUP0");
  world.Text("GROUP1", std::string(30, 'n'), "TAPE_GROUP,0");
  world.Attach({{}});
  Configure(world);
  EXPECT_EQ(world.Values("GROUP0") + world.Values("GROUP1"),
            "=\"\"\nGROUP_ATTRIBUTE=0\n=\"\"\nGROUP_ATTRIBUTE=0\n");
}

TEST(Reconfigure, WorldWideIdsCountOnlyWhereTheProductWantsThem) {
  for (const std::uint32_t listed : {0U, 1U}) {
    World world;
    world.Binary(kProductKey + "\\Products", "Fibre", std::string("A\0\0\0", 4));
    if (listed != 0) world.Dword(kProductKey + "\\ProductsConfigInfo\\65", "Size", 76);
    world.Binary(kProductKey + "\\ProductsConfigInfo\\65", "Slot_1", std::string(76, '\0'));
    world.Device(0, Info(0, 0, 1, 0, 5), "", "W1");
    world.Device(1, Info(0, 0, 2, 0, 5), "", "W2");
    world.Dword("DEVICE0", "ReadShots", 1);
    world.Dword("DEVICE1", "ReadShots", 2);
    world.Attach({{.target = 1, .wwid = "W2"}, {.target = 2, .wwid = "W1"}});
    Configure(world);
    EXPECT_EQ(world.Show("DEVICE0", "ReadShots"), listed != 0 ? "2" : "1");
  }
}

}  // namespace
}  // namespace devprep
