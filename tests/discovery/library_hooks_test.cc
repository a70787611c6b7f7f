#include "discovery/library_hooks.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "discovery/scsi_probe.h"
#include "support/world.h"

namespace devprep {
namespace {

void Install(const std::string& home, const char* module, const char* name) {
  if (*module == '\0') return;
  std::filesystem::copy_file(
      std::filesystem::path(DEVPREP_TEST_MODULES) / (module + std::string(".module")),
      std::filesystem::path(home) / name);
}

std::string FoundTypes() {
  std::string types;
  for (int n = 0; n < FoundDeviceCount; ++n) types += std::to_string(FoundDevices[n].Type) + " ";
  return types;
}

constexpr const char* kNoAcsls = "Unable to load ACSLSLNK.DLL library EC 126\r\n";

TEST(LibraryHooks, ModulesAreStartedJudgeAndStayUnlessTheyFail) {
  const std::string judged =
      "judge 0 at 0,0,1,0: 3-virtual\njudge 1 at 0,0,2,0: 2-regular\njudge 3 at 1,2,4,5: \n";
  const struct {
    const char* acsls;
    const char* vlm;
    std::string calls, log, types;
  } cases[] = {
      {"", "", "", std::string(kNoAcsls) + "Unable to load VLMLNK.DLL library EC 126\r\n",
       "17 17 5 17 "},
      {"acsls", "vlm", "InitACSLS\nVLMLNKInitialize\n" + judged,
       "Virtualised library found. Marking device type as UNKNOWN\r\n", "32768 17 5 17 "},
      {"no_entries", "vlm_fails", "VLMLNKInitialize\nunloaded\n",
       "Failed to initialise the virtual library manager EC 5\r\n", "17 17 5 17 "},
      {"", "vlm_without_start", "unloaded\n",
       std::string(kNoAcsls) + "GetProcAddress Failed for VLMLNKInitialize. EC = 127\r\n",
       "17 17 5 17 "},
      {"", "vlm_without_judge", "VLMLNKInitialize\n",
       std::string(kNoAcsls) + "GetProcAddress Failed for VLMLNKIsLibraryRegular. EC = 127\r\n",
       "17 17 5 17 "},
  };
  for (const auto& c : cases) {
    World world;
    const std::string home = world.MakeHome();
    Install(home, c.acsls, "ACSLSLNK.DLL");
    Install(home, c.vlm, "VLMLNK.DLL");
    backing::SetEnvironment("DEVPREP_TEST_CALLS", world.Folder() + "/calls");
    world.Attach({{.target = 1, .type = kChanger, .serial = "3-virtual"},
                  {.target = 2, .type = kChanger, .serial = "2-regular"},
                  {.target = 3, .serial = "3-drive"},
                  {.port = 1, .bus = 2, .target = 4, .lun = 5, .type = kChanger}});
    world.NewProcess();
    CaptureOutput([] { ::SetUpInitTapesvrConfig(); });
    EXPECT_EQ(world.ReadFile("calls"), c.calls) << c.vlm;
    EXPECT_EQ(world.ReadFile("home/TEMP/PREPDEV.LOG"), c.log) << c.vlm;
    EXPECT_EQ(FoundTypes(), c.types) << c.vlm;
    if (c.types.starts_with("32768")) {
      EXPECT_EQ(world.Show("DEVICE0", "SerialNumber"), "<3-virtual+23>");
    }
  }
}

TEST(LibraryHooks, WithoutAHomeTheKeyIsMadeAndNothingIsSaid) {
  World world;
  world.Dword("Debug", "Level", 1);
  EXPECT_EQ(CaptureOutput([] { ::SetUpInitTapesvrConfig(); }), "");
  EXPECT_EQ(world.Dump(kBaseKey + "\\Path"), "[]\n");
}

TEST(LibraryHooks, AModulePathMustFitItsBuffer) {
  const struct {
    std::size_t length;  // of HOME
    const char* calls;
  } cases[] = {{242, "InitACSLS\nVLMLNKInitialize\n"},
               {243, "VLMLNKInitialize\n"},
               {244, "VLMLNKInitialize\n"},
               {245, ""},
               {256, ""}};
  for (const auto& c : cases) {
    World world;
    std::string home = world.MakeHome();
    Install(home, "acsls", "ACSLSLNK.DLL");
    Install(home, "vlm", "VLMLNK.DLL");
    if (home.size() % 2 != c.length % 2) home += '\\';
    while (home.size() < c.length) home += "\\.";
    world.Text(kBaseKey + "\\Path", "HOME", home);
    backing::SetEnvironment("DEVPREP_TEST_CALLS", world.Folder() + "/calls");
    StartAcslsLink();
    StartVirtualLibraryManager();
    EXPECT_EQ(world.ReadFile("calls"), c.calls) << c.length;
    LeaveModulesOut(true);
    StartAcslsLink();
    StartVirtualLibraryManager();
    LeaveModulesOut(false);
    EXPECT_EQ(world.ReadFile("calls"), c.calls) << c.length;
  }
}

}  // namespace
}  // namespace devprep
