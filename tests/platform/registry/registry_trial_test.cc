// A pass on trial: it sees and does all that a pass does, and nothing of it stays.
#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>

#include "support/world.h"

namespace devprep {
namespace {

TEST(RegistryTrial, ShowsThePassAndLeavesNothingOfIt) {
  World world;
  world.Attach({{.target = 1}, {.target = 2, .type = kChanger}});
  world.Device(0, Info(0, 0, 7, 0, 1));
  world.Group(0, "OLD", "0");
  int name = 0;
  for (const std::string& data : {std::string(), std::string("\0", 1), std::string("without NUL"),
                                  std::string("\xE9\0\0x", 4), std::string(5000, 'x')}) {
    for (const DWORD type : std::initializer_list<DWORD>{
             REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ, 11, 0x12345}) {
      world.Set("Settings", {"value" + std::to_string(name++), type, data});
    }
  }
  const std::string before = world.Dump();
  const std::string before_info = world.Show("DEVICE0", "Info");
  // To look is allowed where nothing may be written.
  RegistryCommit();
  using std::filesystem::perms;
  std::filesystem::permissions(world.Folder(), perms::owner_read | perms::owner_exec);
  for (int run = 0; run < 2; ++run) {
    ASSERT_TRUE(RegistryBeginTrial());
    EXPECT_EQ(world.Dump(), before);
    EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
    EXPECT_TRUE(world.Exists("DEVICE1"));
    EXPECT_NE(world.Show("DEVICE0", "Info"), before_info);
    RegistryEndTrial();
    RegistryEndTrial();
    RegistryBegin();
    EXPECT_EQ(world.Dump(), before);
    world.NewProcess();
    RegistryCommit();
  }
  std::filesystem::permissions(world.Folder(), perms::owner_all);
  RegistryBegin();
}

}  // namespace
}  // namespace devprep
