#include "records/group_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "support/world.h"

namespace devprep {
namespace {

// "kind name: members or changer, pairs; attribute"
std::string Show(const GroupRecord& group) {
  std::ostringstream out;
  out << group.Kind << ' ' << group.Name << ':';
  const auto pair = [&](int i) {
    out << ' ' << group.PairFirsts[i] << '-' << group.PairSeconds[i];
  };
  for (int i = 0; i < group.MemberCount; ++i) {
    out << ' ' << group.Members[i];
    if (group.Kind == kGroupRaidChanger) pair(i);
  }
  if (group.Kind == kGroupChanger) out << ' ' << group.Changer;
  for (int i = 0; i < group.PairCount; ++i) pair(i);
  if (group.Attribute != 0) out << "; " << group.Attribute;
  return out.str();
}

std::string Read(std::uint16_t number) {
  GroupRecord group = {};
  group.Number = number;
  const std::uint16_t status = ReadGroupRecord(&group);
  return status == 0 ? Show(group) : std::to_string(status);
}

TEST(GroupRecord, TextsOfEveryKindAndWhatTheyBecome) {
  const struct {
    std::string text;
    std::string group;
  } cases[] = {
      {"TAPE_GROUP,0,1,2", "1 G: 0 1 2; 5"},
      {" tape_Group, 1,\t2 ,", "1 G: 1 2; 5"},
      {"TAPE_GROUP", "1 G:; 5"},
      {"TAPE_GROUP,", "1 G:; 5"},
      {"TAPE_GROUP,1,,x,-1,65536", "1 G: 1 0 0 65535 0; 5"},
      {"TAPE_GROUP" + Repeated(",7", 40), "1 G:" + Repeated(" 7", 32) + "; 5"},
      {"CHANGER_GROUP,3,1-10,21-30", "2 G: 3 1-10 21-30; 5"},
      {"CHANGER_GROUP,3", "2 G: 3; 5"},
      {"CHANGER_GROUP", "2 G: 0; 5"},
      {"CHANGER_GROUP,x,1,-,2-x,,3-4", "2 G: 0 1-0 0-0 2-0 0-0 3-4; 5"},
      {"CHANGER_GROUP,1,1--2,1-+2,1\t-2,1-\t2z", "2 G: 1 1-65534 1-2 1-0 1-2; 5"},
      {"RAID_CHANGER_GROUP,3,1-10,6,2-20", "4 G: 3 1-10 6 2-20; 5"},
      {"RAID_CHANGER_GROUP,3,1-10,6", "4 G: 3 1-10; 5"},
      {"RAID_CHANGER_GROUP,3,1-10,6,", "4 G: 3 1-10; 5"},
      {"RAID_CHANGER_GROUP,3", "4 G:; 5"},
      {"RAID_TAPE_GROUP,1,2", "0 G:; 5"},
      {"TAPE_GROUPS,1", "0 G:; 5"},
      {"TAPE\tGROUP,1", "0 G:; 5"},
      {",TAPE_GROUP,1", "0 G:; 5"},
      {"", "0 G:"},  // without a text the attribute is not read
      {"   ", "0 G:"},
  };
  for (const auto& c : cases) {
    World world;
    world.Group(3, "G", c.text, 5);
    EXPECT_EQ(Read(3), c.group) << c.text;
  }
}

TEST(GroupRecord, TheFirstValueIsTheTextWithinItsLimits) {
  const struct {
    Value first;
    std::string group;
  } cases[] = {
      {TextValue("A name over 9", "TAPE_GROUP,1"), "1 A name ov: 1"},
      {TextValue(std::string(29, 'n'), "TAPE_GROUP,1"), "1 nnnnnnnnn: 1"},
      {TextValue(std::string(30, 'n'), "TAPE_GROUP,1"), "28"},
      {TextValue("", "TAPE_GROUP,1"), "1 : 1"},
      {TextValue("G", "TAPE_GROUP,1" + std::string(287, ' ')), "1 G: 1"},
      {TextValue("G", "TAPE_GROUP,1" + std::string(288, ' ')), "28"},
      {{"G", REG_BINARY, "TAPE_GROUP,12"}, "1 G: 12"},
      {{"G", REG_SZ, "TAPE_GROUP,12" + std::string(286, ' ') + "3"}, "1 G: 12"},
      {{"G", REG_SZ, ""}, "0 G:"},
      {DwordValue("GROUP_ATTRIBUTE", 0x41), "0 GROUP_ATT:; 65"},  // the text "A"
  };
  for (const auto& c : cases) {
    World world;
    world.Set("GROUP0", c.first);
    EXPECT_EQ(Read(0), c.group) << c.first.name;
  }
  World world;
  EXPECT_EQ(Read(0), "28");
  world.Make("GROUP0");
  EXPECT_EQ(Read(0), "28");
  world.Text("GROUP0", "G", "TAPE_GROUP,1");
  world.Text("GROUP0", "GROUP_ATTRIBUTE", "5");
  EXPECT_EQ(Read(0), "1 G: 1");
}

TEST(GroupRecord, IsStoredTextFirstAndReadBack) {
  const struct {
    GroupRecord group;
    const char* text;
  } cases[] = {
      {{2, kGroupTape, "G", {3, 1}, 2, 0, 0, {}, {}, 5}, "TAPE_GROUP,3,1"},
      {{2, kGroupTape, "G", {}, 0, 0, 0, {}, {}, 5}, "TAPE_GROUP,"},
      {{2, kGroupChanger, "G", {}, 0, 3, 2, {1, 2}, {10, 20}, 5}, "CHANGER_GROUP,3,1-10,2-20"},
      {{2, kGroupChanger, "G", {}, 0, 65535, 0, {}, {}, 5}, "CHANGER_GROUP,65535"},
      {{2, kGroupRaidChanger, "G", {3, 4}, 2, 0, 0, {1, 2}, {10, 20}, 5},
       "RAID_CHANGER_GROUP,3,1-10,4,2-20"},
  };
  for (const auto& c : cases) {
    World world;
    world.Text("GROUP2", "old", "TAPE_GROUP,9");
    EXPECT_EQ(WriteGroupRecord(&c.group), 0);
    EXPECT_EQ(world.Values("GROUP2"), "G=\"" + std::string(c.text) + "\"\nGROUP_ATTRIBUTE=5\n");
    EXPECT_EQ(Read(2), Show(c.group));
  }
  World world;
  for (const std::uint16_t kind : {kGroupNone, kGroupRaidChanger, std::uint16_t{3}}) {
    const GroupRecord group = {0, kind, "", {}, 0, 0, 0, {}, {}, 5};
    EXPECT_EQ(WriteGroupRecord(&group), 0);
    EXPECT_EQ(world.Values("GROUP0"), "=\"\"\nGROUP_ATTRIBUTE=5\n") << kind;
  }
}

TEST(GroupRecord, ATextOver299CharactersKeepsTheItemsThatFit) {
  World world;
  GroupRecord group = {0, kGroupRaidChanger, "G", {}, 32, 0, 0, {}, {}, 0};
  for (int i = 0; i < 32; ++i) group.Members[i] = group.PairFirsts[i] = 10000;
  const auto items_stored = [&](std::uint16_t second) {
    group.PairSeconds[3] = second;
    EXPECT_EQ(WriteGroupRecord(&group), 0);
    const std::string text = world.Show("GROUP0", "G");
    EXPECT_TRUE(text.ends_with(",10000,10000-0\"")) << text;
    return std::count(text.begin(), text.end(), '-');
  };
  EXPECT_EQ(items_stored(10), 20);   // 299 characters
  EXPECT_EQ(items_stored(100), 19);  // the 20th would end at the 300th
}

TEST(GroupRecord, AreCountedUpToTheFirstGapOr16) {
  World world;
  std::uint16_t count = 99;
  world.Make("GROUP1");
  EXPECT_EQ(CountGroups(&count), 0);
  EXPECT_EQ(count, 0);
  world.Make("group0");
  world.Make("GROUP3");
  CountGroups(&count);
  EXPECT_EQ(count, 2);
  for (int n = 0; n < 20; ++n) world.Make(GroupKey(n));
  CountGroups(&count);
  EXPECT_EQ(count, 16);
  DeleteGroupKey(1);
  DeleteGroupKey(1);
  CountGroups(&count);
  EXPECT_EQ(count, 1);
}

}  // namespace
}  // namespace devprep
