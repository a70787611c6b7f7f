#include "setup/raid_setup.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "records/raid_member_total.h"
#include "support/world.h"

namespace devprep {
namespace {

// An address list of the devices of Shop, by number.
std::string List(std::initializer_list<int> devices) {
  std::string list;
  for (const int n : devices) {
    list += "(" + std::to_string(n / 8) + ",0," + std::to_string(n % 8) + ",0)";
  }
  return list;
}

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

// Drives 0 to 7 on port 0; changers 8 (drives 0, 1), 9 (3, 4), 10 (2, 5, 6) and 11 (none) on port
// 1; drive 7 is nobody's.
struct Shop : World {
  Shop() {
    for (int n = 0; n < 8; ++n) Device(n, Info(0, 0, n, 0, 5, "ACME TAPE 1.0" + std::to_string(n)));
    for (int n = 8; n < 12; ++n) Device(n, Info(1, 0, n % 8, 0, 17, "ACME LIB 1.00"));
    Text("DEVICE8", "ReservedDrives", "0,1");
    Text("DEVICE9", "ReservedDrives", "3,4");
    Text("DEVICE10", "ReservedDrives", "2,5,6");
  }
};

TEST(RaidCreate, TakesTheLowestFreeNumber) {
  World world;
  std::uint16_t number = 7;
  EXPECT_EQ(::RaidSetUpCreateRaid(1, 99, &number), 202);  // no tape engine key: it is not made
  EXPECT_EQ(number, 65535);
  EXPECT_EQ(world.Dump(), "");
  world.Make(kEngineKey);
  EXPECT_EQ(::RaidSetUpCreateRaid(65535, 99, &number), 0);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(world.Values("RAID0"),
            Ordered("Info=\"\"\nLevel=65535\nStripeSize=4\nLinkPosition=1\n"));
  world.Make("raid2");
  EXPECT_EQ(::RaidSetUpCreateRaid(1, 0, &number), 0);
  EXPECT_EQ(number, 1);
  for (int n = 3; n < 8; ++n) EXPECT_EQ(::RaidSetUpCreateRaid(1, 0, &number), 0);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(::RaidSetUpCreateRaid(1, 0, &number), 206);
  EXPECT_EQ(number, 7);
}

TEST(RaidRemove, MovesTheOnesAboveDown) {
  Shop world;
  EXPECT_EQ(::RaidSetUpRemoveRaid(1), 202);
  world.Raid(0, List({0}));
  world.Raid(1, List({1}));
  world.Raid(2, List({3, 4}), List({9}), 3);
  world.Dword("RAID2", "foreign", 1);
  world.Text("RAID3", "Info", List({7}));
  world.Text("RAID3", "ChangerDevices", "");
  world.Raid(5, List({2}));
  SetRaidMemberTotal(16);
  EXPECT_EQ(::RaidSetUpRemoveRaid(1), 0);
  EXPECT_EQ(RaidMemberTotal(), 4);
  EXPECT_EQ(world.Values("RAID0"),
            Ordered("Info=\"(0,0,0,0)\"\nLevel=5\nStripeSize=4\nLinkPosition=1\n"));
  EXPECT_EQ(world.Values("RAID1"), Ordered(R"~(Level=3
StripeSize=4
Info="(0,0,3,0)(0,0,4,0)"
ChangerDevices="(1,0,1,0)"
LinkPosition=1
)~"));
  EXPECT_EQ(world.Values("RAID2"),
            Ordered("Level=65535\nStripeSize=65535\nInfo=\"(0,0,7,0)\"\nLinkPosition=65535\n"));
  EXPECT_FALSE(world.Exists("RAID3"));
  EXPECT_TRUE(world.Exists("RAID5"));
  world.Make("RAID65535");
  EXPECT_EQ(::RaidSetUpRemoveRaid(65535), 0);  // no RAID follows it
  EXPECT_TRUE(world.Exists("RAID0"));
}

TEST(RaidNumbers, AreStoredForRaidsThatNeedNotExist) {
  World world;
  EXPECT_EQ(::RaidSetUpSetRaidLevel(6, 3), 0);
  EXPECT_EQ(::RaidSetUpSetLinkPosition(700, 65535), 0);
  EXPECT_EQ(world.Values("RAID6") + world.Values("RAID700"), "Level=3\nLinkPosition=65535\n");
}

// Values to be stored before a case.
using Stored = std::vector<std::pair<std::string, Value>>;

Stored Raid0(const std::string& tapes, const std::string& changers = "", std::uint32_t level = 5) {
  Stored stored = {{"RAID0", TextValue("Info", tapes)}, {"RAID0", DwordValue("Level", level)}};
  if (!changers.empty()) stored.emplace_back("RAID0", TextValue("ChangerDevices", changers));
  return stored;
}
Stored Raid0(std::initializer_list<int> tapes, std::initializer_list<int> changers = {},
             std::uint32_t level = 5) {
  return Raid0(List(tapes), List(changers), level);
}
Stored operator+(Stored stored, const Stored& more) {
  stored.insert(stored.end(), more.begin(), more.end());
  return stored;
}
Stored Reserved(int changer, const char* drives, std::uint32_t disabled = 0) {
  return {{DeviceKey(changer), TextValue("ReservedDrives", drives)},
          {DeviceKey(changer), DwordValue("DisabledDrives", disabled)}};
}
Stored Named(int device, int type, const char* description) {
  return {{DeviceKey(device),
           TextValue("Info", Info(device / 8, 0, device % 8, 0, type, description))}};
}

// An assignment to RAID0, or a release from it, and what is left.
struct Edit {
  const char* what;
  Stored stored;
  std::uint16_t device;
  std::uint16_t status;
  std::string tapes;
  std::string changers = "-";
  int added = 0;
  std::uint8_t strict = 0;
  std::uint16_t total = 0;
};

void Check(const std::vector<Edit>& edits, bool assign) {
  const auto shown = [](const std::string& list) { return list == "-" ? list : Quoted(list); };
  for (const Edit& e : edits) {
    Shop world;
    for (const auto& [key, value] : e.stored) world.Set(key, value);
    SetRaidMemberTotal(e.total);
    EXPECT_EQ(assign ? ::RaidSetUpAssignDeviceToRaid(0, e.device, e.strict)
                     : ::RaidSetUpRemoveDeviceFromRaid(0, e.device),
              e.status)
        << e.what;
    EXPECT_EQ(world.Show("RAID0", "Info"), shown(e.tapes)) << e.what;
    EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), shown(e.changers)) << e.what;
    EXPECT_EQ(RaidMemberTotal(), e.total + e.added) << e.what;
  }
}

TEST(RaidAssign, Drives) {
  const std::string too_long = List({0}) + std::string(503, ')');
  const std::string many = Repeated(List({2}), 33);
  const std::vector<Edit> edits = {
      {"a loose drive", Raid0({}), 7, 0, List({7}), "-", 1},
      {"a changer's drive", Raid0({}), 1, 0, List({1}), List({8}), 1},
      {"in ascending order", Raid0({7, 2}), 5, 0, List({2, 5, 7}), List({10}), 1},
      {"a member", Raid0({7, 2}), 2, 204, List({7, 2})},
      {"no such RAID", {}, 7, 202, "-"},
      {"no such device", Raid0({}), 12, 65535, ""},
      {"third of a mirror", Raid0({2, 5}, {}, 1), 7, 205, List({2, 5})},
      {"second of a mirror", Raid0({2}, {}, 1), 7, 0, List({2, 7}), "-", 1},
      {"the 16th", Raid0({}), 7, 0, List({7}), "-", 1, 0, 15},
      {"the 17th", {}, 7, 205, "-", "-", 0, 0, 16},
      {"the changer's next drive", Raid0({0}, {8}), 1, 0, List({0, 1}), List({8}), 1},
      {"another changer's", Raid0({0}, {8}), 3, 203, List({0}), List({8})},
      {"nobody's, with a changer", Raid0({0}, {8}), 7, 203, List({0}), List({8})},
      {"the second changer's turn", Raid0({0, 1}, {8, 9}), 3, 0, List({0, 1, 3}), List({8, 9}), 1},
      {"too early for the second", Raid0({0}, {8, 9}), 3, 203, List({0}), List({8, 9})},
      {"all complete", Raid0({0, 1}, {8}), 3, 203, List({0, 1}), List({8})},
      {"Info too long", Raid0(too_long), 7, 202, too_long},
      {"no Info", {{"RAID0", DwordValue("Level", 5)}}, 7, 202, "-"},
      {"a stale member goes", Raid0("(9,9,9,9)" + List({2})), 7, 0, List({7}), "-", 1},
      {"a stale changer refuses once", Raid0({0}, {8, 99}), 1, 202, List({0}), List({8})},
      {"more than 32 stored", Raid0(many), 7, 205, many},
  };
  Check(edits, true);
}

TEST(RaidAssign, ChangersBringTheirFreeDrives) {
  const Stored other = {{"RAID1", TextValue("Info", List({4}))}};
  const std::vector<Edit> edits = {
      {"to an empty RAID", Raid0({}), 10, 0, List({2, 5, 6}), List({10}), 3},
      {"without drives", Raid0({}), 11, 0, "", List({11}), 0},
      {"without drives to tapes", Raid0({0}, {8}), 11, 203, List({0}), List({8})},
      {"to loose tapes", Raid0({7}), 8, 203, List({7})},
      {"a second of the same size", Raid0({0, 1}, {8}), 9, 0, List({0, 1, 3, 4}), List({8, 9}), 2},
      {"a second, greater", Raid0({0, 1}, {8}), 10, 203, List({0, 1}), List({8})},
      {"again, for its other drive", Raid0({0}, {8}), 8, 0, List({0, 1}), List({8}), 1},
      {"again, for nothing", Raid0({0, 1}, {8}), 8, 0, List({0, 1}), List({8}), 0},
      {"to a full mirror", Raid0({0, 1}, {8}, 1), 9, 205, List({0, 1}), List({8})},
      {"three drives at a total of 14", Raid0({}), 10, 205, "", "-", 0, 0, 14},
      {"two drives at a total of 14", Raid0({}), 9, 0, List({3, 4}), List({9}), 2, 0, 14},
      {"disabled", Raid0({}) + Reserved(10, "2,5,6", 2), 10, 0, List({2, 6}), List({10}), 2},
      // The mask counts among those that are free.
      {"disabled, one taken", Raid0({}) + other + Reserved(10, "3,4,5,6", 2), 10, 0, List({3, 6}),
       List({10}), 2},
      {"a drive that is no device", Raid0({}) + Reserved(9, "3,40"), 9, 202, ""},
  };
  Check(edits, true);
}

TEST(RaidAssign, EveryMemberNeedsAnAddressAlsoBehindTheEndOfTheList) {
  World world;
  std::string list;
  for (int n = 0; n < 21; ++n) {
    world.Device(n, Info(60000, 60000, 60000, 60000 + n, 5));
    if (n < 20) list += "(60000,60000,60000," + std::to_string(60000 + n) + ")";  // 500 characters
  }
  for (int n = 21; n < 23; ++n) world.Device(n, Info(1, 0, n, 0, 17));
  world.Raid(0, list, "(1,0,22,0)");
  world.Text("DEVICE21", "ReservedDrives", "20,40");
  EXPECT_EQ(::RaidSetUpAssignDeviceToRaid(0, 21, 0), 202);
  EXPECT_EQ(world.Show("RAID0", "Info"), Quoted(list));
  EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), "\"(1,0,22,0)\"");
  world.Text("DEVICE21", "ReservedDrives", "20");
  RaidSetUpGetRaidInfo(65535, nullptr);
  EXPECT_EQ(::RaidSetUpAssignDeviceToRaid(0, 21, 0), 0);
  EXPECT_EQ(world.Show("RAID0", "Info"), Quoted(list));  // what fits whole
}

TEST(RaidAssign, StrictMatchWantsTheModelOfTheFirstMember) {
  const Stored raid = Raid0({2, 7});
  const Stored short_names = Named(2, 5, "abcd") + Named(4, 5, "wxyz");
  const std::vector<Edit> edits = {
      {"revision", raid + Named(4, 5, "ACME TAPE 2.99"), 4, 0, List({2, 4, 7}), List({9}), 1, 1},
      {"product", raid + Named(4, 5, "ACME TIPE 1.00"), 4, 203, List({2, 7}), "-", 0, 1},
      {"longer", raid + Named(4, 5, "ACME TAPE 1.00x"), 4, 203, List({2, 7}), "-", 0, 1},
      {"not asked", raid + Named(4, 5, "other"), 4, 0, List({2, 4, 7}), List({9}), 1, 2},
      {"no member yet", Raid0({}), 4, 0, List({4}), List({9}), 1, 1},
      {"of four letters", Raid0({2}) + short_names, 4, 0, List({2, 4}), List({9}), 1, 1},
      {"the first is gone", Raid0({99, 2}), 7, 65535, List({99, 2}), "-", 0, 1},
      {"a bracket in front", Raid0(")" + List({2})), 7, 65535, ")" + List({2}), "-", 0, 1},
      {"no bracket at all", Raid0("(0,0,2,0"), 7, 0, List({2, 7}), "-", 1, 1},
      {"a changer by its like", Raid0({0, 1}, {8}) + Named(9, 17, "OTHER LIB 1.00"), 9, 203,
       List({0, 1}), List({8}), 0, 1},
  };
  Check(edits, true);
}

TEST(RaidAssign, ARaidAboveTheHighestNumberCannotBeRead) {
  Shop world;
  world.Raid(8, "");
  EXPECT_EQ(::RaidSetUpAssignDeviceToRaid(8, 7, 0), 202);
}

TEST(RaidRelease, DrivesAndChangers) {
  std::vector<Edit> edits = {
      {"a drive", Raid0({0, 1}, {8}), 0, 0, List({1}), List({8}), -1},
      {"the last drive of a changer", Raid0({1}, {8}), 1, 0, "", "-", -1},
      {"the last drive, nobody's", Raid0({7}, {8}), 7, 0, "", List({8}), -1},
      {"no member", Raid0({1}, {8}), 0, 201, List({1}), List({8})},
      {"no member of an empty one", Raid0({}, {8}), 0, 201, ""},
      {"no such RAID", {}, 0, 200, "-"},
      {"no such device", Raid0({0}), 12, 3, List({0})},
      {"a changer", Raid0({0, 1}, {8}), 8, 0, "", "-", -2},
      {"one of two", Raid0({0, 1, 3, 4}, {8, 9}), 8, 0, List({3, 4}), List({9}), -2},
      {"a changer with one drive inside", Raid0({0, 7}, {8}), 8, 201, List({7}), "-", -1},
      {"a changer whose last drive is inside", Raid0({1, 7}, {8}), 8, 0, List({7}), "-", -1},
      {"a changer that is no member", Raid0({3}, {8}), 9, 201, "", List({8}), -1},
      {"a changer without drives", Raid0({0}, {8, 11}), 11, 0, List({0}), List({8})},
      {"no list of changers", Raid0({0, 1}), 8, 202, "", "-", -2},
      {"a changer, no such RAID", {}, 8, 200, "-"},
      {"disabled", Raid0({0, 1}, {8}) + Reserved(8, "0,1", 1), 8, 0, List({0}), "-", -1},
      {"no device", Raid0({0, 1}, {8}) + Reserved(8, "0,40,1"), 8, 3, List({1}), "-", -1},
  };
  for (Edit& edit : edits) edit.total = 9;
  Check(edits, false);
}

TEST(RaidSetUp, AChangerIsOneByWhatItAnswersNow) {
  // An optical library counts as none; fibre masking does not.
  for (const auto& [vendor, product, found] :
       {std::tuple{"HP", "C1100F", false}, {"HP", "C1553", true}}) {
    Shop world;
    world.Attach({{.port = 1, .type = kChanger, .vendor = vendor, .product = product}});
    std::uint16_t changer = 99;
    EXPECT_EQ(FindChangerOfDrive(1, &changer), found);
    EXPECT_EQ(changer, found ? 8 : 99);
    EXPECT_TRUE(FindChangerOfDrive(4, &changer));
    EXPECT_EQ(changer, 9);
  }
}

}  // namespace
}  // namespace devprep
