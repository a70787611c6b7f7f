#include "store/diagnostic_log.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/world.h"

namespace devprep {
namespace {

TEST(DiagnosticLog, AppendsToItsFileAndPrints) {
  World world;
  world.MakeHome();
  world.NewProcess();
  EXPECT_EQ(CaptureOutput([] {
              EXPECT_EQ(LogMessage("Unable to load VLMLNK.DLL library EC %d", 126), 0);
              EXPECT_EQ(LogMessage("again"), 0);
            }),
            "Unable to load VLMLNK.DLL library EC 126\nagain\n");
  EXPECT_EQ(world.ReadFile("home/TEMP/PREPDEV.LOG"),
            "Unable to load VLMLNK.DLL library EC 126\r\nagain\r\n");
}

TEST(DiagnosticLog, IsOffWithoutItsSwitchOrAHome) {
  const struct {
    Value level;
    bool home;
  } cases[] = {{DwordValue("Level", 0), true},
               {TextValue("Level", "1"), true},
               {{"Level", REG_BINARY, std::string("\1\0\0\0", 4)}, true},
               {DwordValue("Level", 1), false}};
  for (const auto& c : cases) {
    World world;
    if (c.home) world.MakeHome();
    world.Set("Debug", c.level);
    world.NewProcess();
    EXPECT_EQ(CaptureOutput([] { EXPECT_EQ(LogMessage("message"), 0); }), "");
    EXPECT_EQ(world.ReadFile("home/TEMP/PREPDEV.LOG"), "");
  }
}

TEST(DiagnosticLog, WithoutAFolderForItOnlyPrints) {
  World world;
  std::filesystem::remove_all(world.MakeHome());
  world.NewProcess();
  EXPECT_EQ(CaptureOutput([] { EXPECT_EQ(LogMessage("message"), -1); }),
            "message\nCannot open file\n");
}

}  // namespace
}  // namespace devprep
