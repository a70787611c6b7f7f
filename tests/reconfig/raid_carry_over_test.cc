#include "reconfig/raid_carry_over.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "reconfig/device_match.h"
#include "records/raid_member_total.h"
#include "support/world.h"

namespace devprep {
namespace {

TEST(RaidCarryOver, ListsAreRewrittenWhereAMemberGotANewNumber) {
  const struct {
    const char* what;
    std::string tapes, changers;
    std::string new_tapes, new_changers;  // by the carry-over
  } cases[] = {
      // Old: drives 0 and 1 at targets 1 and 2, 2 and 3 at 3 and 4, changer 4 at 5. Found: drives 2
      // and 3 first, at 11 and 12, then 1 at 13, the changer at 14; drive 0 is gone.
      {"moved", "(0,0,3,0)(0,0,4,0)", "", "(0,0,11,0)(0,0,12,0)", "-"},
      {"in their order", "(0,0,4,0)(0,0,3,0)", "", "(0,0,12,0)(0,0,11,0)", "-"},
      {"one that is gone leaves", "(0,0,1,0)(0,0,3,0)", "", "(0,0,11,0)", "-"},
      {"only the gone one", "(0,0,1,0)", "", "(0,0,1,0)", "-"},
      {"only the changer", "", "(0,0,5,0)", "", "(0,0,14,0)"},
      {"both", "(0,0,4,0)", "(0,0,5,0)", "(0,0,12,0)", "(0,0,14,0)"},
  };
  for (const auto& c : cases) {
    World world;
    for (int n = 0; n < 4; ++n) {
      const std::string name = "D" + std::to_string(n);
      world.Device(n, Info(0, 0, n + 1, 0, 5, "ACME " + name + " 1.00"), name);
    }
    world.Device(4, Info(0, 0, 5, 0, 17, "ACME LIB 1.00"), "LIB");
    world.Raid(1, c.tapes, c.changers);
    world.Attach({{.target = 11, .product = "D2", .serial = "D2"},
                  {.target = 12, .product = "D3", .serial = "D3"},
                  {.target = 13, .product = "D1", .serial = "D1"},
                  {.target = 14, .type = kChanger, .product = "LIB", .serial = "LIB"}});
    world.NewProcess();
    ProbeScsiDevices();
    UsedDeviceFlags[0] = 1;
    EXPECT_EQ(CarryOverRaids(), 0);
    EXPECT_EQ(std::count(std::begin(UsedDeviceFlags), std::end(UsedDeviceFlags), 0), 256);
    EXPECT_EQ(world.Show("RAID1", "Info"), '"' + c.new_tapes + '"') << c.what;
    EXPECT_EQ(world.Show("RAID1", "ChangerDevices"),
              c.new_changers == "-" ? "-" : '"' + c.new_changers + '"')
        << c.what;
  }
}

TEST(RaidCarryOver, WithTheSameNumbersOnlyTheCountIsLeftToDropThem) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 5), "S");
  world.Raid(0, "(0,0,1,0)");
  world.Attach({{.target = 9, .serial = "S"}});
  world.NewProcess();
  ::SetUpInitTapesvrConfig();
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"\"");
  EXPECT_EQ(RaidMemberTotal(), 0);
}

TEST(RaidCarryOver, TwinsAreGivenOutOnceOverAllRaids) {
  World world;
  for (int n = 0; n < 2; ++n) world.Device(n, Info(0, 0, n + 1, 0, 5));
  world.Raid(0, "(0,0,2,0)");
  world.Raid(1, "(0,0,1,0)");
  world.Attach({{.target = 3}, {.target = 4}});
  world.NewProcess();
  ::SetUpInitTapesvrConfig();
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"(0,0,3,0)\"");
  EXPECT_EQ(world.Show("RAID1", "Info"), "\"(0,0,4,0)\"");
  EXPECT_EQ(RaidMemberTotal(), 2);
}

}  // namespace
}  // namespace devprep
