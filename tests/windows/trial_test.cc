// The scratch key of a trial: what it holds, and that it goes, also when its process was ended.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/world.h"

namespace devprep {
namespace {

std::vector<std::string> ScratchKeys() {
  std::vector<std::string> keys;
  HKEY software = nullptr;
  RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, &software);
  char name[256];
  for (DWORD i = 0; RegEnumKeyA(software, i, name, sizeof name) == ERROR_SUCCESS; ++i) {
    if (std::string(name).starts_with("DEVPREP")) keys.emplace_back(name);
  }
  RegCloseKey(software);
  return keys;
}

// In a process of its own.
int TryInAnotherProcess(const std::string& how) {
  return std::system(("windows_tests.exe --gtest_also_run_disabled_tests "
                      "--gtest_filter=*DISABLED_" +
                      how + " >nul")
                         .c_str());
}

TEST(WindowsTrial, DISABLED_IsEnded) {
  RegistryBeginTrial();
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, kVendorKey.c_str());
  TerminateProcess(GetCurrentProcess(), 77);
}

TEST(WindowsTrial, DISABLED_Exits) {
  if (!RegistryBeginTrial() || ScratchKeys().size() != 2) std::exit(1);
  std::exit(78);
}

TEST(WindowsTrial, NothingStaysOfAnyProcess) {
  World world;
  world.Attach({{.target = 1}});
  world.Make("Settings");
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kEngineKey + "\\Settings").c_str(), 0,
                          KEY_ALL_ACCESS, &key),
            ERROR_SUCCESS);
  const std::wstring wide = L"\x0416\x4E2D without";  // no code page has both; no NUL
  RegSetValueExW(key, wide.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>((wide + L'x').data()),
                 static_cast<DWORD>(wide.size() * sizeof(wchar_t)));
  RegCloseKey(key);
  const std::string before = world.Dump();

  EXPECT_EQ(TryInAnotherProcess("IsEnded"), 77);
  ASSERT_EQ(ScratchKeys().size(), 1U);
  EXPECT_EQ(world.Dump(), before);

  ASSERT_TRUE(RegistryBeginTrial());
  const std::vector<std::string> own = {"DEVPREP trial " + std::to_string(GetCurrentProcessId())};
  EXPECT_EQ(ScratchKeys(), own);
  ASSERT_EQ(
      RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kEngineKey + "\\Settings").c_str(), 0, KEY_READ, &key),
      ERROR_SUCCESS);
  std::wstring data(wide.size() + 1, L'?');
  DWORD type = 0;
  auto size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
  EXPECT_EQ(RegQueryValueExW(key, wide.c_str(), nullptr, &type,
                             reinterpret_cast<BYTE*>(data.data()), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD{REG_SZ});
  EXPECT_EQ(size, wide.size() * sizeof(wchar_t));
  EXPECT_TRUE(data.starts_with(wide));
  RegCloseKey(key);
  // Another trial at the same time leaves this one alone, and goes at the end of its process.
  world.Text("Settings", "tried", "here");
  EXPECT_EQ(TryInAnotherProcess("Exits"), 78);
  EXPECT_EQ(ScratchKeys(), own);
  EXPECT_EQ(world.Show("Settings", "tried"), "\"here\"");
  RegistryEndTrial();
  EXPECT_TRUE(ScratchKeys().empty());
  EXPECT_EQ(world.Dump(), before);
}

}  // namespace
}  // namespace devprep
