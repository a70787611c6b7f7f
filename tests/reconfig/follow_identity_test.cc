#include "reconfig/follow_identity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "entry/library.h"
#include "reconfig/changer_drives.h"
#include "reconfig/danger.h"
#include "reconfig/outcome.h"
#include "support/world.h"

namespace devprep {
namespace {

constexpr int kDrives = 4;
constexpr int kChangers = 2;
constexpr int kDevices = kDrives + kChangers;
constexpr unsigned kAllIdentities = (1U << kDevices) - 1;

// A machine of two like changers, numbers 0 and 1, and four like drives, numbers 2 to 5, of which
// some have serial numbers: those of a mask, by number. Numbers are places.
struct SmallMachine {
  unsigned identities = 0;
  std::vector<int> at = {0, 1, 2, 3, 4, 5};  // which of the old devices is at place n now

  bool HasIdentity(int device) const { return (identities >> device & 1U) != 0; }
  std::string Serial(int device) const {
    return HasIdentity(device) ? "SERIAL" + std::to_string(device) : "";
  }
  int PlaceOf(int device) const {
    return static_cast<int>(std::find(at.begin(), at.end(), device) - at.begin());
  }
};

void Build(World& world, const SmallMachine& machine) {
  Machine attached;
  for (int n = 0; n < kDevices; ++n) {
    const bool changer = n < kChangers;
    const int type = changer ? 17 : 5;
    const std::string name =
        changer ? "ACME    LIBRARY         1.00" : "ACME    DRIVE           1.00";
    world.Device(n, Info(0, 0, n, 0, type, name), machine.Serial(n));
    world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n + 1));
    attached.Add({.target = static_cast<std::uint16_t>(n),
                  .type = changer ? kChanger : kTape,
                  .product = changer ? "LIBRARY" : "DRIVE",
                  .serial = machine.Serial(machine.at[static_cast<std::size_t>(n)])});
  }
  world.Text("DEVICE0", "ReservedDrives", "2,3");
  world.Text("DEVICE1", "ReservedDrives", "4,5");
  world.Dword("DEVICE0", "DisabledDrives", 2);
  world.Group(0, "ALL", "TAPE_GROUP,5,4,3,2,5");
  world.Group(1, "PAIRS", "CHANGER_GROUP,1,1-10");
  world.Raid(0, "(0,0,2,0)(0,0,4,0)", "(0,0,0,0)(0,0,1,0)");
  world.Attach(attached);
  world.NewProcess();
}

std::string Joined(std::vector<int> numbers, const std::string& before, const std::string& after) {
  std::string text;
  for (const int number : numbers) text += before + std::to_string(number) + after;
  return text;
}

// All that is stored about devices by number, where each old device is to be at a place.
std::string Expected(const std::vector<int>& place) {
  const auto list = [&](std::vector<int> devices) {
    for (int& device : devices) device = place[static_cast<std::size_t>(device)];
    std::string text = Joined(devices, ",", "");
    return text.substr(1);
  };
  std::string text;
  for (int n = 0; n < kDevices; ++n) {
    text += std::to_string(std::find(place.begin(), place.end(), n) - place.begin() + 1) + " ";
  }
  text += "\"" + list({2, 3}) + "\" \"" + list({4, 5}) + "\" 2 \"TAPE_GROUP," +
          list({5, 4, 3, 2, 5}) + "\" \"CHANGER_GROUP," + list({1}) + ",1-10\" ";
  const auto elements = [&](int a, int b) {
    return "\"(0,0," + list({a}) + ",0)(0,0," + list({b}) + ",0)\"";
  };
  return text + elements(2, 4) + " " + elements(0, 1);
}

std::string Stored(const World& world, const std::vector<int>& place) {
  std::string text;
  for (int n = 0; n < kDevices; ++n) text += world.Show(DeviceKey(n), "ReadShots") + " ";
  const std::string first = DeviceKey(place[0]);
  return text + world.Show(first, "ReservedDrives") + " " +
         world.Show(DeviceKey(place[1]), "ReservedDrives") + " " +
         world.Show(first, "DisabledDrives") + " " + world.Show("GROUP0", "ALL") + " " +
         world.Show("GROUP1", "PAIRS") + " " + world.Show("RAID0", "Info") + " " +
         world.Show("RAID0", "ChangerDevices");
}

// The codes of what a guard refuses, each once.
std::set<DangerCode> Refused() {
  static DangerList dangers;
  JudgeLastPass(&dangers);
  std::set<DangerCode> codes;
  for (std::size_t i = 0; i < dangers.Count; ++i) {
    if (dangers.Items[i].Refused) codes.insert(dangers.Items[i].Code);
  }
  return codes;
}

// By identity; what has none stays in its place where that is free, and takes what is left in turn.
std::vector<int> PairByIdentity(const SmallMachine& machine) {
  std::vector<int> place(kDevices, -1);
  for (int k = 0; k < kDevices; ++k) {
    if (machine.HasIdentity(k)) place[static_cast<std::size_t>(k)] = machine.PlaceOf(k);
  }
  const auto taken = [&place](int n) {
    return std::find(place.begin(), place.end(), n) != place.end();
  };
  for (int k = 0; k < kDevices; ++k) {
    if (!machine.HasIdentity(k) && !taken(k)) place[static_cast<std::size_t>(k)] = k;
  }
  for (int k = 0; k < kDevices; ++k) {
    const int first = k < kChangers ? 0 : kChangers;
    for (int n = first; place[static_cast<std::size_t>(k)] < 0; ++n) {
      if (!taken(n)) place[static_cast<std::size_t>(k)] = n;
    }
  }
  return place;
}

TEST(FollowIdentity, AgreesWithPairingByIdentityOnEverySmallMachine) {
  unsigned mix = 0;
  std::vector<int> drives = {2, 3, 4, 5};
  do {
    for (unsigned mask = 0; mask < 1U << kDrives; ++mask, ++mix) {
      SmallMachine machine;
      // The changers go through all their cases beside the drives instead of multiplying them.
      machine.identities = mask << kChangers | (mix / 2 & 3U);
      machine.at = {0, 1};
      if ((mix & 1U) != 0) std::swap(machine.at[0], machine.at[1]);
      machine.at.insert(machine.at.end(), drives.begin(), drives.end());
      const std::vector<int> place = PairByIdentity(machine);
      World world;
      Build(world, machine);
      RunConfigurationPass({.FollowIdentity = true});
      ASSERT_EQ(Stored(world, place), Expected(place)) << mix;
      // Twins without identity cannot be told apart, and nothing else is left to doubt.
      std::set<DangerCode> doubts = Refused();
      if (machine.identities != kAllIdentities) doubts.erase(DangerCode::kTwins);
      ASSERT_TRUE(doubts.empty()) << mix;
      // Without following either the same comes out, or it is called a danger.
      Build(world, machine);
      ::SetUpInitTapesvrConfig();
      ASSERT_TRUE(!Refused().empty() || Stored(world, place) == Expected(place)) << mix;
    }
  } while (std::next_permutation(drives.begin(), drives.end()));
}

TEST(FollowIdentity, WhatIsGoneOrNewTakesNothingOver) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 17, "ACME LIBRARY 1.00"), "L");
  for (int n = 1; n <= 3; ++n) {
    world.Device(n, Info(0, 0, n + 1, 0, 5), "S" + std::to_string(n));
    world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n));
  }
  world.Text("DEVICE0", "ReservedDrives", "1,2,3");
  world.Dword("DEVICE0", "DisabledDrives", 4);   // drive 3
  world.Raid(0, "(0,0,9,0)(0,0,2,0)(0,0,4,0)");  // the first names no device
  // Drive 1 is gone, drive 3 has another revision and stands where a stale element points, and one
  // of the same model is new.
  world.Attach({{.target = 1, .type = kChanger, .product = "LIBRARY", .serial = "L"},
                {.target = 3, .serial = "S2"},
                {.target = 8, .serial = "S4"},
                {.target = 9, .revision = "2.00", .serial = "S3"}});
  world.NewProcess();
  RunConfigurationPass({.FollowIdentity = true});
  EXPECT_EQ(world.Show("DEVICE0", "ReservedDrives"), "\"1,3\"");
  EXPECT_EQ(world.Show("DEVICE0", "DisabledDrives"), "2");
  EXPECT_EQ(world.Show("DEVICE1", "ReadShots"), "2");
  EXPECT_EQ(world.Show("DEVICE2", "ReadShots"), "-");
  EXPECT_EQ(world.Show("DEVICE3", "ReadShots"), "3");
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"(0,0,9,0)\"");
  EXPECT_EQ(LastPass.OldDeviceMap[1].Became, Change::kGone);
  EXPECT_EQ(LastPass.OldDeviceMap[1].Old.Address, (DeviceAddress{0, 0, 2, 0}));
  EXPECT_EQ(LastPass.OldDeviceMap[3].RecognisedBy, MatchCriterion::kSerialNumber);
}

TEST(FollowIdentity, TwinsOfOneSerialNumberStayInTheirPlaces) {
  World world;
  for (int n = 0; n < 3; ++n) {
    world.Device(n, Info(0, 0, n, 0, 5), "SHARED");
    world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n + 1));
  }
  world.Attach({{.target = 0, .serial = "SHARED"},
                {.target = 1, .serial = "SHARED"},
                {.target = 2, .serial = "SHARED"}});
  world.NewProcess();
  RunConfigurationPass({.FollowIdentity = true});
  for (int n = 0; n < 3; ++n) {
    EXPECT_EQ(world.Show(DeviceKey(n), "ReadShots"), std::to_string(n + 1));
  }
}

// Three drives alike, without identities, that were cabled anew: the changer says which is where.
TEST(FollowIdentity, DrivesWithoutIdentityAreFollowedByTheirPlacesInTheLibrary) {
  const struct {
    const char* name;
    std::vector<std::uint16_t> library;  // found devices in the order of the elements
    const char* third_serial;            // drive 3 has one
    const char* reserved;
    const char* read_shots;  // of devices 1 to 3
  } cases[] = {
      {"as many as are reserved", {3, 1, 2}, "", "\"3,1,2\"", "231"},
      {"the changer has fewer", {3, 1}, "", "\"1,2,3\"", "123"},
      {"one with identity agrees", {2, 1, 3}, "S3", "\"2,1,3\"", "213"},
      {"one with identity stands elsewhere", {3, 1, 2}, "S3", "\"1,2,3\"", "123"},
      {"the changer says nothing", {}, "", "\"1,2,3\"", "123"},
  };
  static std::vector<std::uint16_t> library;
  for (const auto& c : cases) {
    World world;
    world.Device(0, Info(0, 0, 1, 0, 17, "ACME LIBRARY 1.00"), "L");
    for (int n = 1; n <= 3; ++n) {
      world.Device(n, Info(0, 0, n + 1, 0, 5), n == 3 ? c.third_serial : "");
      world.Dword(DeviceKey(n), "ReadShots", static_cast<std::uint32_t>(n));
    }
    world.Text("DEVICE0", "ReservedDrives", "1,2,3");
    world.Attach({{.target = 1, .type = kChanger, .product = "LIBRARY", .serial = "L"},
                  {.target = 2},
                  {.target = 3},
                  {.target = 4, .serial = c.third_serial}});
    world.NewProcess();
    library = c.library;
    RunConfigurationPass({.FollowIdentity = true, .AfterProbe = [] {
                            FoundChangers.Count = 1;
                            ChangerDrives& drives = FoundChangers.Items[0];
                            drives = {};
                            drives.Whole = true;
                            drives.DriveCount = static_cast<std::uint16_t>(library.size());
                            std::copy(library.begin(), library.end(), drives.Drives);
                          }});
    EXPECT_EQ(world.Show("DEVICE0", "ReservedDrives"), c.reserved) << c.name;
    std::string shots;
    for (int n = 1; n <= 3; ++n) shots += world.Show(DeviceKey(n), "ReadShots");
    EXPECT_EQ(shots, c.read_shots) << c.name;
  }
}

}  // namespace
}  // namespace devprep
