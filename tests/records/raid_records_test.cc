#include "records/raid_records.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "records/device_cache.h"
#include "records/raid_member_total.h"
#include "support/world.h"

namespace devprep {
namespace {

// "tapes | changers | level stripe link", or the status.
std::string Read(std::uint16_t number) {
  RaidInfo raid = {};
  const std::uint16_t status = ::RaidSetUpGetRaidInfo(number, &raid);
  std::ostringstream out;
  if (status != 0) out << status << ": ";
  for (int i = 0; i < raid.TapeCount; ++i) out << raid.TapeDevices[i] << ' ';
  out << '|';
  for (int i = 0; i < raid.ChangerCount; ++i) out << ' ' << raid.ChangerDevices[i];
  out << " | " << +raid.Level << ' ' << +raid.StripeSize << ' ' << +raid.LinkPosition;
  return out.str();
}

// Devices 0 to 3: drives at targets 0 to 3; 4 and 5: changers at port 1.
void AddDevices(World& world) {
  for (int n = 0; n < 4; ++n) world.Device(n, Info(0, 0, n, 0, 5));
  for (int n = 4; n < 6; ++n) world.Device(n, Info(1, 0, n, 0, 17));
}

TEST(RaidRecord, ReportsMembersAndDropsTheFirstThatIsGone) {
  const std::string kept = "(0,0,3,0)(0,0,1,0)";
  const struct {
    std::string stored, read, left;
    int dropped;
  } cases[] = {
      {kept, "3 1 |", kept, 0},
      {"", "|", "", 0},
      {"(0,0,3,0)(0,0,9,0)(0,0,1,0)", "3 |", kept, 1},
      {"(0,0,9,0)(0,0,3,0)(0,0,9,0)(0,0,8,0)", "|", "(0,0,3,0)(0,0,8,0)", 1},
      {"(0,0,3)(0,0,1,0)", "|", "(0,0,1,0)", 1},
      {"(0,0,3,0,7)", "3 |", "(0,0,3,0,7)", 0},
      {")))((0 ,, 0)(0,0,3,0)", "|", "(0,0,3,0)", 1},
      {" 0 0 3 0)))(+0,-0,65539,x)", "3 3 |", " 0 0 3 0)))(+0,-0,65539,x)", 0},
      {"(0,0,3,0", "3 |", "(0,0,3,0", 0},  // a last piece needs no bracket
      {"(0,0,9,0", "|", "(0,0,9,0", 0},    // but is not found again with one
      {"(0,0,99999999999999999999,0)", "|", "", 1},
      {"(0,0,4294967299,0)", "3 |", "(0,0,4294967299,0)", 0},
      {Repeated("(0,0,3,0)", 40), Repeated("3 ", 32) + "|", Repeated("(0,0,3,0)", 40), 0},
      {"(0,0,3,0)" + std::string(502, ')'), "3 |", "(0,0,3,0)" + std::string(502, ')'), 0},
      {"(0,0,3,0)" + std::string(503, ')'), "65535: |", "(0,0,3,0)" + std::string(503, ')'), 0},
  };
  for (const auto& c : cases) {
    World world;
    AddDevices(world);
    world.Raid(2, c.stored);
    SetRaidMemberTotal(5);
    EXPECT_EQ(Read(2).substr(0, c.read.size()), c.read) << c.stored;
    EXPECT_EQ(world.Show("RAID2", "Info"), '"' + c.left + '"') << c.stored;
    EXPECT_EQ(RaidMemberTotal(), 5 - c.dropped) << c.stored;
  }
}

TEST(RaidRecord, AChangerThatIsGoneIsDroppedAndReported) {
  const std::string kept = "(1,0,5,0)(1,0,4,0)";
  const struct {
    std::string stored;
    const char* read;
    std::string left;
  } cases[] = {
      {kept, "1 | 5 4 | 9 4 1", kept},
      {"(1,0,5,0)(1,0,9,0)(1,0,4,0)", "65535: 1 | 5 | 9 4 1", kept},
      {"(1,0,9,0)", "65535: 1 | | 9 4 1", ""},
      {"(1,0,5,0)" + std::string(290, ')'), "1 | 5 | 9 4 1", "(1,0,5,0)" + std::string(290, ')')},
      {"(1,0,5,0)" + std::string(291, ')'), "1 | | 9 4 1", "(1,0,5,0)" + std::string(291, ')')},
  };
  for (const auto& c : cases) {
    World world;
    AddDevices(world);
    world.Raid(0, "(0,0,1,0)", c.stored, 9);
    SetRaidMemberTotal(5);
    EXPECT_EQ(Read(0), c.read) << c.stored;
    EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), '"' + c.left + '"') << c.stored;
    EXPECT_EQ(RaidMemberTotal(), 5);
  }
  World world;
  AddDevices(world);
  world.Text("DEVICE3", "Info", "malformed");  // stands before the changers
  world.Raid(0, "", "(1,0,4,0)");
  EXPECT_EQ(Read(0), "219: | | 5 4 1");
  EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), "\"\"");
}

TEST(RaidRecord, NumbersShowTheirLowByteOrTheirDefault) {
  World world;
  world.Text("RAID0", "Info", "");
  EXPECT_EQ(Read(0), "| | 5 4 0");
  for (const auto* name : {"Level", "StripeSize", "LinkPosition"}) world.Dword("RAID0", name, 257);
  EXPECT_EQ(Read(0), "| | 1 1 1");
  for (const auto* name : {"Level", "StripeSize", "LinkPosition"}) {
    world.Dword("RAID0", name, 65535);
  }
  EXPECT_EQ(Read(0), "| | 5 4 0");
  world.Dword("RAID0", "Level", 0x1FFFF);
  world.Text("RAID0", "StripeSize", "8");
  EXPECT_EQ(Read(0), "| | 255 4 0");
}

TEST(RaidRecord, NumbersThatAreNoRaid) {
  World world;
  AddDevices(world);
  world.Dword("RAID3", "Level", 1);  // no "Info"
  world.Raid(8, "");
  RaidInfo zero = {};
  for (const auto& [number, touched] : {std::pair{3, true}, {5, true}, {8, false}, {100, false}}) {
    RaidInfo raid;
    std::memset(&raid, 0xEE, sizeof raid);
    const RaidInfo before = raid;
    EXPECT_EQ(::RaidSetUpGetRaidInfo(static_cast<std::uint16_t>(number), &raid), 65535);
    EXPECT_EQ(std::memcmp(&raid, touched ? &zero : &before, sizeof raid), 0) << number;
  }
  // The command to empty the cache.
  EXPECT_EQ(GetDeviceCount(), 6);
  world.Device(6, Info(0, 0, 9, 0, 5));
  EXPECT_EQ(GetDeviceCount(), 6);
  EXPECT_EQ(::RaidSetUpGetRaidInfo(65535, nullptr), 65535);
  EXPECT_EQ(GetDeviceCount(), 7);
}

TEST(RaidRecord, FlagsTellWhetherTheChangersAreComplete) {
  const std::uint32_t complete = DEVPREP_RAID_HAS_CHANGER | DEVPREP_RAID_CHANGER_COMPLETE;
  const std::uint32_t incomplete = DEVPREP_RAID_HAS_CHANGER | DEVPREP_RAID_CHANGER_INCOMPLETE;
  const std::string four = "(0,0,0,0)(0,0,1,0)(0,0,2,0)(0,0,3,0)";
  const std::string three = four.substr(9);
  const struct {
    std::string tapes, changers, others;  // others: the changers of RAID1
    const char* reserved;                 // of both changers
    std::uint32_t flags;
  } cases[] = {
      {four, "", "", "0,1", 0},
      {three, "(1,0,4,0)", "", "0,1,2,3", incomplete},
      {four, "(1,0,4,0)", "", "0,1,2,3", complete},
      {four, "(1,0,4,0)", "(1,0,5,0)(1,0,4,0)", "0,1", complete},
      {four, "(1,0,4,0)", "(1,0,4,0)(1,0,5,0)", "0,1", incomplete},  // shared
      {three, "(1,0,4,0)(1,0,5,0)", "", "0,1", incomplete},
      {four, "(1,0,4,0)(1,0,5,0)", "(1,0,4,0)", "0,1", complete},
      {"", "(1,0,4,0)", "", "", complete},
  };
  for (const auto& c : cases) {
    World world;
    AddDevices(world);
    for (int n = 4; n < 6; ++n) world.Text(DeviceKey(n), "ReservedDrives", c.reserved);
    world.Raid(0, c.tapes, c.changers);
    world.Raid(1, "", c.others);
    RaidInfo raid = {};
    EXPECT_EQ(::RaidSetUpGetRaidInfo(0, &raid), 0);
    EXPECT_EQ(raid.Flags, c.flags) << c.tapes << ' ' << c.changers << ' ' << c.others;
  }
}

TEST(RaidRecord, RemovingAnElement) {
  World world;
  world.Raid(0, "(0,0,1,0)(0,0,2,0)(0,0,1,0)x(0,0,1,0)", "(0,0,1,0)");
  SetRaidMemberTotal(1);
  EXPECT_EQ(RemoveTapeElement(0, "(0,0,1,0)"), 0);
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"(0,0,2,0)x(0,0,1,0)\"");
  EXPECT_EQ(RaidMemberTotal(), 0);            // lowered by one, and never below 0
  EXPECT_EQ(RemoveTapeElement(0, "0,2"), 0);  // a part is found, but no whole element is it
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"(0,0,2,0)x(0,0,1,0)\"");
  EXPECT_EQ(RemoveTapeElement(0, "(0,0,3,0)"), DEVPREP_NOT_A_MEMBER);
  EXPECT_EQ(RemoveTapeElement(1, "(0,0,1,0)"), DEVPREP_RAID_NOT_OPEN);
  EXPECT_EQ(RemoveChangerElement(0, "(0,0,1,0)"), 0);
  EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), "\"\"");
  EXPECT_EQ(RemoveChangerElement(0, "(0,0,1,0)"), 0);  // an empty list goes whatever is asked
  EXPECT_EQ(world.Show("RAID0", "ChangerDevices"), "-");
  EXPECT_EQ(RemoveChangerElement(0, "(0,0,1,0)"), DEVPREP_RAID_STORE_FAILED);
}

TEST(RaidRecord, CountingMembersIncludesWhatTheCountItselfDrops) {
  World world;
  AddDevices(world);
  std::uint16_t count = 9;
  world.Raid(0, "(0,0,1,0)(0,0,2,0)");
  world.Raid(1, "(0,0,3,0)(0,0,9,0)(0,0,1,0)");
  EXPECT_EQ(CountRaidMembers(), 0);
  EXPECT_EQ(RaidMemberTotal(), 2);  // 2, less the one that was dropped, and 1
  world.Raid(3, "(0,0,1,0)");
  EXPECT_EQ(::RaidSetUpGetNoOfRaids(&count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(CountRaidMembers(), 65535);  // RAID2 is not there
  EXPECT_EQ(RaidMemberTotal(), 4);
}

}  // namespace
}  // namespace devprep
