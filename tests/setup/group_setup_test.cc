#include "setup/group_setup.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "devprep/devprep.h"
#include "support/world.h"

namespace devprep {
namespace {

using Items = std::vector<GroupItem>;
using Stored = std::vector<std::pair<std::string, Value>>;

GroupItem Device(std::uint16_t device) { return {.has_device = true, .device = device}; }
GroupItem Pair(std::uint16_t first, std::uint16_t second) {
  return {.has_pair = true, .first = first, .second = second};
}
GroupItem Both(std::uint16_t device, std::uint16_t first, std::uint16_t second) {
  return {true, true, device, first, second};
}

// Changers 0 and 1; drives 2 and 3, alike and without serial number; drives 4 and 5 with one; disk
// 6. Configured by a pass on this machine.
struct Shop : World {
  Shop() {
    Machine machine({{.target = 0, .type = kChanger, .product = "LIB", .serial = "C0"},
                     {.target = 1, .type = kChanger, .product = "LIB"},
                     {.target = 2},
                     {.target = 3},
                     {.target = 4, .serial = "D4"},
                     {.target = 5, .serial = "D5"},
                     {.target = 6, .type = kDisk}});
    Attach(machine);
    ::SetUpInitTapesvrConfig();
    Group(0, "TAPES", "TAPE_GROUP,2,4");
    Group(1, "LIBRARY", "CHANGER_GROUP,0,1-10,21-30");
    Group(2, "BOTH", "RAID_CHANGER_GROUP,0,1-5,1,1-8");
    NewProcess();
  }
  // The groups' names and texts: "TAPES=TAPE_GROUP,2,4; ..."
  std::string Groups() const {
    std::string text;
    for (int n = 0; Exists(GroupKey(n)); ++n) {
      const std::string values = Values(GroupKey(n));
      text += values.substr(0, values.find('\n')) + "; ";
    }
    std::erase(text, '"');
    return text;
  }
};

const std::string kTapes = "TAPES=TAPE_GROUP,2,4; ";
const std::string kLibrary = "LIBRARY=CHANGER_GROUP,0,1-10,21-30; ";
const std::string kBoth = "BOTH=RAID_CHANGER_GROUP,0,1-5,1,1-8; ";
const std::string kAll = kTapes + kLibrary + kBoth;

struct Case {
  const char* what;
  std::function<GroupEdit()> edit;
  std::string groups;  // afterwards; empty: as before
  GroupRefusal refusal = GroupRefusal::kNone;
  std::uint16_t group = 0;
  std::uint16_t device = 0;
  std::uint16_t item = 0;
  Stored stored = {};  // before
};

std::function<GroupEdit()> Create(const std::string& name, std::uint16_t kind, const Items& items,
                                  bool force = false) {
  return [=] {
    std::uint16_t number = 0;
    return CreateGroup(name.c_str(), kind, items.data(), static_cast<std::uint16_t>(items.size()),
                       force, &number);
  };
}
std::function<GroupEdit()> Delete(std::uint16_t group, bool force = false) {
  return [=] { return DeleteGroup(group, force); };
}
std::function<GroupEdit()> Rename(std::uint16_t group, const std::string& name) {
  return [=] { return RenameGroup(group, name.c_str()); };
}
std::function<GroupEdit()> Add(std::uint16_t group, const Items& items, bool force = false) {
  return [=] {
    return AddToGroup(group, items.data(), static_cast<std::uint16_t>(items.size()), force);
  };
}
std::function<GroupEdit()> Remove(std::uint16_t group, const Items& items) {
  return [=] {
    return RemoveFromGroup(group, items.data(), static_cast<std::uint16_t>(items.size()));
  };
}

Stored FirstGroup(const std::string& name, const std::string& text) {
  return {{"GROUP0", {name, 1, text + '\0'}}};
}

// What is done without force, the next pass on the same machine keeps.
void Check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    Shop world;
    for (const auto& [key, value] : c.stored) {
      if (key.starts_with("GROUP")) world.Remove(key);
      world.Set(key, value);
    }
    const std::string before = world.Dump();
    const GroupEdit edit = c.edit();
    EXPECT_EQ(edit.refusal, c.refusal) << c.what;
    EXPECT_EQ(edit.group, c.group) << c.what;
    EXPECT_EQ(edit.device, c.device) << c.what;
    EXPECT_EQ(edit.item, c.item) << c.what;
    if (c.refusal != GroupRefusal::kNone) {
      EXPECT_EQ(world.Dump(), before) << c.what;
      continue;
    }
    EXPECT_EQ(world.Groups(), c.groups) << c.what;
    world.NewProcess();
    ::SetUpInitTapesvrConfig();
    EXPECT_EQ(world.Groups(), c.groups) << c.what;
  }
}

TEST(GroupSetup, CreatesWhatTheNextPassKeeps) {
  using enum GroupRefusal;
  Check({
      {"tapes", Create("MORE", kGroupTape, {Device(3), Device(4)}), kAll + "MORE=TAPE_GROUP,3,4; "},
      {"without members", Create("EMPTY", kGroupTape, {}), kAll + "EMPTY=TAPE_GROUP,; "},
      {"a changer", Create("L2", kGroupChanger, {Device(1), Pair(7, 9)}),
       kAll + "L2=CHANGER_GROUP,1,7-9; "},
      {"a changer alone", Create("L2", kGroupChanger, {Device(1)}), kAll + "L2=CHANGER_GROUP,1; "},
      {"changers", Create("nine 90~!", kGroupRaidChanger, {Both(1, 0, 65535)}),
       kAll + "nine 90~!=RAID_CHANGER_GROUP,1,0-65535; "},
      {"of no kind", Create("X", kGroupNone, {}), "", kNoSuchKind, 3},
      {"no name", Create("", kGroupTape, {}), "", kNoName, 3},
      {"long name", Create("TENLETTERS", kGroupTape, {}), "", kNameTooLong, 3},
      {"tab", Create("a\tb", kGroupTape, {}), "", kNameNotPrintable, 3},
      {"umlaut", Create("\xC3\xA4", kGroupTape, {}), "", kNameNotPrintable, 3},
      {"taken", Create("library", kGroupTape, {}), "", kNameTaken, 1},
      {"tape group of pairs", Create("X", kGroupTape, {Device(3), Both(5, 1, 2)}), "", kWrongForm,
       3, 0, 1},
      {"no changer", Create("X", kGroupChanger, {}), "", kWrongForm, 3},
      {"pairs without a changer", Create("X", kGroupChanger, {Pair(1, 2)}), "", kWrongForm, 3},
      {"two changers", Create("X", kGroupChanger, {Device(0), Device(1)}), "", kWrongForm, 3, 0, 1},
      {"a drive for a changer", Create("X", kGroupChanger, {Device(2)}, true), "", kNotAChanger, 3,
       2},
      {"changers without members", Create("X", kGroupRaidChanger, {}), "", kLastMember, 3},
      {"changers without pairs", Create("X", kGroupRaidChanger, {Device(1)}), "", kWrongForm, 3},
      {"not configured", Create("X", kGroupTape, {Device(3), Device(7)}), "", kNoDevice, 3, 7, 1},
      {"a key behind",
       Create("X", kGroupTape, {}),
       "",
       kNumberTaken,
       4,
       0,
       0,
       {{"GROUP4", TextValue("OLD", "TAPE_GROUP,5")}}},
  });
}

TEST(GroupSetup, AddsAndRemovesWhatTheNextPassKeeps) {
  using enum GroupRefusal;
  Check({
      {"tapes", Add(0, {Device(5), Device(3)}), "TAPES=TAPE_GROUP,2,4,5,3; " + kLibrary + kBoth},
      {"pairs", Add(1, {Pair(50, 40)}),
       kTapes + "LIBRARY=CHANGER_GROUP,0,1-10,21-30,50-40; " + kBoth},
      {"a member again", Add(0, {Device(3), Device(4)}, true), "", kAlreadyMember, 0, 0, 1},
      {"a pair again", Add(1, {Pair(21, 30)}), "", kAlreadyMember, 1},
      {"a changer again", Add(2, {Both(1, 50, 60)}), "", kAlreadyMember, 2},
      {"twice", Add(0, {Device(3), Device(5), Device(5)}), "", kGivenTwice, 0, 0, 2},
      {"a changer to tapes", Add(0, {Device(1)}), "", kNotATapeDrive, 0, 1},
      {"a drive to changers", Add(2, {Both(4, 1, 2)}), "", kNotAChanger, 2, 4},
      {"a drive to changers by force", Add(2, {Both(5, 1, 2)}, true),
       kTapes + kLibrary + "BOTH=RAID_CHANGER_GROUP,0,1-5,1,1-8,5,1-2; "},
      {"a device to pairs", Add(1, {Device(1)}), "", kWrongForm, 1},
      {"to no group", Add(3, {Device(5)}), "", kNoGroup, 3},
      {"to a group of no kind", Add(0, {Device(5)}), "", kGroupOfNoKind, 0, 0, 0,
       FirstGroup("TAPES", "RAID_TAPE_GROUP,2")},
      {"malformed",
       Add(0, {Device(5)}),
       "",
       kDeviceNotReadable,
       0,
       5,
       0,
       {{"DEVICE5", TextValue("Info", "")}}},
      {"a long name is cut", Add(0, {Device(4)}), "LONGNAMEO=TAPE_GROUP,4; " + kLibrary + kBoth,
       kNone, 0, 0, 0, FirstGroup("LONGNAMEOFOLD", "TAPE_GROUP,")},
      {"remove tapes", Remove(0, {Device(4), Device(2)}), "TAPES=TAPE_GROUP,; " + kLibrary + kBoth},
      {"remove a pair", Remove(1, {Pair(1, 10)}),
       kTapes + "LIBRARY=CHANGER_GROUP,0,21-30; " + kBoth},
      {"remove a changer with its pair", Remove(2, {Device(0)}),
       kTapes + kLibrary + "BOTH=RAID_CHANGER_GROUP,1,1-8; "},
      {"remove all changers", Remove(2, {Device(0), Device(1)}), "", kLastMember, 2},
      {"remove a stranger", Remove(0, {Device(2), Device(5)}), "", kNotAMember, 0, 0, 1},
      {"remove half a pair", Remove(1, {Pair(1, 9)}), "", kNotAMember, 1},
      {"remove by the wrong form", Remove(1, {Device(0)}), "", kWrongForm, 1},
      {"remove twice", Remove(0, {Device(2), Device(2)}), "", kGivenTwice, 0, 0, 1},
      {"remove from no kind", Remove(0, {Device(2)}), "", kGroupOfNoKind, 0, 0, 0,
       FirstGroup("TAPES", "RAID_TAPE_GROUP,2")},
  });
}

TEST(GroupSetup, RenamesAndDeletes) {
  using enum GroupRefusal;
  Check({
      {"renamed", Rename(1, "LIB"), kTapes + "LIB=CHANGER_GROUP,0,1-10,21-30; " + kBoth},
      {"the same in other letters", Rename(0, "Tapes"),
       "Tapes=TAPE_GROUP,2,4; " + kLibrary + kBoth},
      {"taken", Rename(0, "both"), "", kNameTaken, 2},
      {"too long", Rename(0, "TENLETTERS"), "", kNameTooLong, 0},
      {"none", Rename(3, "X"), "", kNoGroup, 3},
      {"with members", Delete(0), "", kGroupNotEmpty, 0},
      {"with pairs", Delete(1), "", kGroupNotEmpty, 1},
      {"none", Delete(3), "", kNoGroup, 3},
      {"with members by force", Delete(0, true), kLibrary + kBoth},
      {"the last one by force", Delete(2, true), kTapes + kLibrary},
      {"empty", Delete(0), kLibrary + kBoth, kNone, 0, 0, 0, FirstGroup("TAPES", "TAPE_GROUP,")},
      {"of no kind", Delete(0), kLibrary + kBoth, kNone, 0, 0, 0, FirstGroup("", "")},
      {"not readable", Delete(0), kLibrary + kBoth, kNone, 0, 0, 0,
       FirstGroup(std::string(40, 'x'), "TAPE_GROUP,2")},
      {"below one that is not readable",
       Delete(0, true),
       "",
       kGroupNotReadable,
       1,
       0,
       0,
       {{"GROUP1", TextValue(std::string(40, 'x'), "TAPE_GROUP,2")}}},
  });
}

// A drive that two groups have is found again in the second by its serial number alone.
TEST(GroupSetup, ADriveWithoutSerialNumberIsInOneGroup) {
  Check({
      {"with one", Create("X", kGroupTape, {Device(4)}), kAll + "X=TAPE_GROUP,4; "},
      {"without one", Create("X", kGroupTape, {Device(3), Device(2)}), "",
       GroupRefusal::kInAnotherGroup, 0, 2, 1},
      {"changers", Create("X", kGroupRaidChanger, {Both(1, 1, 2)}),
       kAll + "X=RAID_CHANGER_GROUP,1,1-2; "},
  });
  Shop world;
  EXPECT_EQ(Create("X", kGroupTape, {Device(2)}, true)().refusal, GroupRefusal::kNone);
  world.NewProcess();
  ::SetUpInitTapesvrConfig();
  EXPECT_EQ(world.Groups(), kAll + "X=TAPE_GROUP,3; ");  // it is another one
}

TEST(GroupSetup, TextsAndNumbersHaveTheirLimits) {
  using enum GroupRefusal;
  World world;
  world.Device(0, Info(0, 0, 0, 0, 17));
  for (int n = 1; n < 34; ++n) world.Device(n, Info(1, 0, n, 0, 5), "S" + std::to_string(n));
  Items drives;
  Items pairs = {Device(0)};
  for (std::uint16_t n = 1; n < 34; ++n) {
    drives.push_back(Device(n));
    pairs.push_back(Pair(1000 + n, 20000));  // 11 characters each, behind 15
  }
  EXPECT_EQ(Create("TAPES", kGroupTape, drives)().refusal, kMemberLimit);
  drives.pop_back();
  EXPECT_EQ(Create("TAPES", kGroupTape, drives)().refusal, kNone);
  pairs.resize(1 + 26);
  EXPECT_EQ(Create("PAIRS", kGroupChanger, pairs)().refusal, kTextFull);
  pairs.resize(1 + 25);  // 290 characters
  EXPECT_EQ(Create("PAIRS", kGroupChanger, pairs)().refusal, kNone);
  EXPECT_EQ(Add(1, {Pair(1, 2)})().refusal, kNone);
  EXPECT_EQ(Add(1, {Pair(1, 234)})().refusal, kTextFull);  // 300
  EXPECT_EQ(Add(1, {Pair(1, 23)})().refusal, kNone);       // 299
  for (int n = 2; n < 16; ++n) {
    EXPECT_EQ(Create("G" + std::to_string(n), kGroupTape, {})().refusal, kNone);
  }
  EXPECT_EQ(Create("G16", kGroupTape, {})().refusal, kGroupLimit);
  // A deleted group's number is the next one's; attributes go along.
  world.Dword("GROUP15", "GROUP_ATTRIBUTE", 7);
  EXPECT_EQ(DeleteGroup(0, true).refusal, kNone);
  EXPECT_EQ(world.Values("GROUP14"), Ordered("G15=\"TAPE_GROUP,\"\nGROUP_ATTRIBUTE=7\n"));
  EXPECT_FALSE(world.Exists("GROUP15"));
}

}  // namespace
}  // namespace devprep
