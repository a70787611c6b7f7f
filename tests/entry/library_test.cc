#include "entry/library.h"

#include <gtest/gtest.h>

#include <string>

#include "records/raid_member_total.h"
#include "store/product_paths.h"
#include "support/world.h"

namespace devprep {
namespace {

TEST(ConfigurationPass, RunsOnceInAProcess) {
  World world;
  world.Attach({{.target = 1}});
  EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
  EXPECT_EQ(world.Dump(kEngineKey), Ordered(R"([]
[DEVICE0]
Info="board-0,bus-0,scsiid-1,lun-0,type-5,ACME    DRIVE           1.00"
SerialNumber=<+32>
WorldWideID=<+8>
)"));
  world.Remove("DEVICE0");
  world.Raid(0, "");
  SetRaidMemberTotal(9);
  EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
  EXPECT_FALSE(world.Exists("DEVICE0"));
  EXPECT_EQ(RaidMemberTotal(), 9);
  world.NewProcess();
  EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
  EXPECT_TRUE(world.Exists("DEVICE0"));
  EXPECT_EQ(RaidMemberTotal(), 0);
}

TEST(ConfigurationPass, IsHeldBackWhileSimExists) {
  World world;
  world.Attach({{.target = 1}});
  world.Make("sim");
  world.Device(0, Info(0, 0, 7, 0, 5));
  world.Raid(0, "(0,0,7,0)");
  for (const std::uint16_t before : {std::uint16_t{9}, std::uint16_t{0}}) {
    SetRaidMemberTotal(before);
    EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
    EXPECT_EQ(RaidMemberTotal(), 1);
    EXPECT_EQ(world.Show("DEVICE0", "Info"), '"' + Info(0, 0, 7, 0, 5) + '"');
  }
  world.Remove("Sim");
  ::SetUpInitTapesvrConfig();
  EXPECT_EQ(world.Show("DEVICE0", "Info"), '"' + Info(0, 0, 1, 0, 5) + '"');
  // The pass has emptied the cache: the RAID was carried over and is resolved anew.
  EXPECT_EQ(world.Show("RAID0", "Info"), "\"\"");
}

TEST(StartUp, ReadsTheHomeThatFits) {
  const std::string path = kBaseKey + "\\Path";
  const struct {
    Value home;
    std::string read;
  } cases[] = {
      {TextValue("home", "/opt/engine"), "/opt/engine"},
      {TextValue("HOME", std::string(255, 'h')), std::string(255, 'h')},
      {TextValue("HOME", std::string(256, 'h')), ""},
      {{"HOME", REG_SZ, std::string(255, 'h')}, std::string(255, 'h')},
      {{"HOME", REG_EXPAND_SZ, std::string("%x%\0", 4)}, "%x%"},
      {TextValue("OTHER", "/opt/engine"), ""},
  };
  for (const auto& c : cases) {
    World world;
    world.Set(path, c.home);
    world.NewProcess();
    EXPECT_EQ(HomePath, c.read);
  }
}

TEST(StartUp, HappensAtTheFirstAttachAlone) {
  World world;
  const auto notify = [&](DWORD reason, const char* home) {
    world.Text(kBaseKey + "\\Path", "HOME", home);
    EXPECT_EQ(DllMain(nullptr, reason, nullptr), 1);
    return std::string(HomePath);
  };
  EXPECT_EQ(notify(DLL_PROCESS_ATTACH, "a"), "");  // the world's own attach was the first
  EXPECT_EQ(notify(DLL_THREAD_ATTACH, "b"), "");
  EXPECT_EQ(notify(DLL_THREAD_DETACH, "c"), "");
  EXPECT_EQ(notify(DLL_PROCESS_DETACH, "d"), "");
  EXPECT_EQ(notify(DLL_PROCESS_DETACH, "e"), "");
  EXPECT_EQ(notify(DLL_PROCESS_ATTACH, "f"), "f");
}

}  // namespace
}  // namespace devprep
