// The tool's history of the product's branch.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "support/world.h"

namespace devprep {
namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

class WindowsHistory : public testing::Test {
 protected:
  WindowsHistory() {
    backing::SetEnvironment("ProgramData", world_.Folder());
    world_.Device(0, Info(0, 0, 1, 0, 5), "SERIAL-1");
    world_.Device(1, Info(0, 0, 2, 0, 17, "ACME    ROBOT           1.00"));
  }
  ~WindowsHistory() override {
    backing::SetEnvironment("DEVPREP_HISTORY", "");
    backing::SetEnvironment("DEVPREP_WAIT", "");
  }

  // Runs a command of the tool without a terminal. Returns its exit status.
  int Run(const std::string& arguments) const {
    return std::system(("devprep.exe " + arguments + " >" + told_ + " 2>&1").c_str());
  }
  // What the last one told.
  std::string Told() const {
    std::ifstream file(told_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  Names Files() const {
    Names names;
    if (!fs::exists(history_)) return names;
    for (const auto& entry : fs::directory_iterator(history_)) {
      names.insert(entry.path().filename().string());
    }
    names.erase("lock");
    return names;
  }

  World world_;
  const std::string told_ = world_.Folder() + "\\told.txt";
  const fs::path history_ = fs::path(world_.Folder()) / "devprep" / "history";
};

TEST_F(WindowsHistory, KeepsWhatEditsReplaceAndPutsItBack) {
  world_.Text("SOFTWARE\\Tamberline\\Other", "Text", "of another product");
  world_.Set("Settings", {"without NUL", REG_SZ, "text"});
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kEngineKey + "\\Settings").c_str(), 0,
                          KEY_ALL_ACCESS, &key),
            ERROR_SUCCESS);
  const std::wstring wide = L"\x0416\x4E2D";  // in no code page together
  const auto wide_size = static_cast<DWORD>(wide.size() * sizeof(wchar_t));
  RegSetValueExW(key, L"wide", 0, REG_BINARY, reinterpret_cast<const BYTE*>(wide.data()),
                 wide_size);
  RegSetValueExW(key, L"wide text", 0, REG_SZ, reinterpret_cast<const BYTE*>(wide.c_str()),
                 wide_size + sizeof(wchar_t));
  const std::string first = world_.Dump();

  EXPECT_EQ(Run("undo --yes"), 1);
  EXPECT_NE(Run("reserve 1 9 --yes"), 0);  // refused: nothing is kept for it
  EXPECT_EQ(Files(), Names());
  ASSERT_EQ(Run("reserve 1 0 --yes"), 0) << Told();
  const std::string reserved = world_.Dump();
  ASSERT_EQ(Run("disable 0 --yes"), 0) << Told();
  ASSERT_EQ(Run("group create DRIVES tape 0 --yes"), 0) << Told();
  ASSERT_EQ(Run("set 0 read_shots=9 --yes"), 0) << Told();
  EXPECT_NE(world_.Dump(), reserved);
  EXPECT_EQ(Run("diff 2 3"), 0);
  EXPECT_NE(Told().find("DRIVES"), std::string::npos) << Told();

  ASSERT_EQ(Run("undo 2 --yes"), 0) << Told();
  EXPECT_EQ(world_.Dump(), reserved);
  ASSERT_EQ(Run("undo --yes"), 0) << Told();
  EXPECT_NE(world_.Dump(), reserved);
  ASSERT_EQ(Run("undo 1 --yes"), 0) << Told();
  EXPECT_EQ(world_.Dump(), first);
  std::wstring stored(wide.size() + 1, L'?');
  DWORD size = wide_size + sizeof(wchar_t);
  RegQueryValueExW(key, L"wide text", nullptr, nullptr, reinterpret_cast<BYTE*>(stored.data()),
                   &size);
  EXPECT_EQ(stored, wide + L'\0');  // nobody changed it
  RegCloseKey(key);
}

TEST_F(WindowsHistory, KeepsAsManyAsWanted) {
  backing::SetEnvironment("DEVPREP_HISTORY", "2");
  for (const char* command : {"reserve 1 0", "disable 0", "enable 0", "release 1"}) {
    ASSERT_EQ(Run(std::string(command) + " --yes"), 0) << Told();
  }
  EXPECT_EQ(Files(), (Names{"000003.json", "000003.reg", "000004.json", "000004.reg"}));
  backing::SetEnvironment("DEVPREP_HISTORY", "0");
  ASSERT_EQ(Run("reserve 1 0 --yes"), 0) << Told();
  EXPECT_EQ(Files().size(), 4U);
}

// A process that was ended before it stored anything leaves an entry that is none, or half a file.
TEST_F(WindowsHistory, PassesOverChangesThatNeverWere) {
  ASSERT_EQ(Run("set 0 read_shots=8 --yes"), 0) << Told();
  ASSERT_EQ(Run("undo --yes"), 0) << Told();
  fs::copy_file(history_ / "000001.reg", history_ / "000003.reg");
  std::ofstream(history_ / "000004.reg.devprep-new") << "REGEDIT4";
  EXPECT_EQ(Run("diff 3"), 1) << Told();
  ASSERT_EQ(Run("set 0 read_shots=9 --yes"), 0) << Told();
  ASSERT_EQ(Run("reserve 1 0 --yes"), 0) << Told();
  EXPECT_EQ(Files(), (Names{"000001.json", "000001.reg", "000002.json", "000002.reg", "000003.json",
                            "000003.reg", "000004.json", "000004.reg"}));

  // One that was ended half-way: its entry has nothing beside it.
  const std::string whole = world_.Dump();
  ASSERT_EQ(Run("set 0 read_shots=7 --yes"), 0) << Told();
  fs::remove(history_ / "000005.json");
  ASSERT_EQ(Run("undo --yes"), 0) << Told();
  EXPECT_EQ(world_.Dump(), whole);
}

TEST_F(WindowsHistory, ChangesNothingWhereNothingCanBeKept) {
  ASSERT_EQ(Run("set 0 read_shots=8 --yes"), 0) << Told();
  const std::string before = world_.Dump();

  backing::SetEnvironment("DEVPREP_WAIT", "0");
  const HANDLE lock = CreateFileW((history_ / "lock").c_str(), GENERIC_WRITE, 0, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(lock, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Run("reserve 1 0 --yes"), 1);
  EXPECT_NE(Told().find("another devprep"), std::string::npos) << Told();
  EXPECT_EQ(Run("diff"), 0) << Told();  // who reads does not wait
  CloseHandle(lock);

  std::ofstream(history_ / "000001.reg") << "nonsense";
  EXPECT_EQ(Run("undo --yes"), 1);
  EXPECT_NE(Told().find("damaged"), std::string::npos) << Told();
  EXPECT_EQ(world_.Dump(), before);

  fs::remove_all(history_);
  std::ofstream(history_) << "no folder";
  EXPECT_EQ(Run("reserve 1 0 --yes"), 1);
  EXPECT_NE(Told().find("nothing was changed"), std::string::npos) << Told();
  EXPECT_EQ(world_.Dump(), before);
}

}  // namespace
}  // namespace devprep
