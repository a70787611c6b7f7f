// The tool's capture of a Windows machine, which other platforms replay, and captures of theirs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/hardware/hardware_map.h"
#include "platform/registry/registry_text.h"
#include "records/device_record.h"
#include "support/world.h"

namespace devprep {
namespace {

TEST(WindowsCapture, HoldsTheMapAndTheAnswers) {
  World world;
  Machine machine({{.target = 3, .serial = "SERIAL-1", .wwid = "\x50\x0A\x0B\x80\x01\x02\x03\x04"},
                   {.target = 4, .type = kChanger, .identifier = "ACME    MUTE", .answers = false},
                   {.port = 1, .bus = 1, .target = 127, .lun = 63, .type = kDisk}});
  machine.Driver(0, "adapter").Driver(1, "other");
  world.Attach(machine);
  const std::string file = world.Folder() + "\\capture.reg";
  ASSERT_EQ(std::system(("devprep.exe capture \"" + file + "\" >nul").c_str()), 0);

  const auto root = std::make_shared<RegistryKey>("");
  ASSERT_TRUE(ReadRegistryText(world.ReadFile("capture.reg"), *root));
  for (const Key& key : machine.Keys()) {
    const auto captured = FindPath(root, std::string(kLocalMachineName) + '\\' + key.path);
    ASSERT_NE(captured, nullptr) << key.path;
    EXPECT_EQ(captured->Values().size(), key.values.size()) << key.path;
    for (const Value& value : key.values) {
      const RegistryValue* stored = captured->FindValue(value.name);
      ASSERT_NE(stored, nullptr) << key.path << ' ' << value.name;
      // An answer is asked for in the library's length.
      std::string expected = value.data;
      if (value.name == kInquiryDataValue) expected.resize(kInquiryLength);
      EXPECT_EQ(stored->data, expected) << key.path << ' ' << value.name;
      EXPECT_EQ(stored->type, value.type) << key.path << ' ' << value.name;
    }
  }
  EXPECT_NE(std::system("devprep.exe capture nowhere\\capture.reg 2>nul"), 0);
}

// The pass-through asks no changer for its elements, but captures made elsewhere hold them.
TEST(WindowsCapture, OfAnotherMachineShowsItsLibraryAndChangesNothing) {
  World world;
  world.Attach(Machine({{.target = 3, .serial = "OWN"}}));
  world.Device(0, Info(1, 0, 0, 1, kTypeChanger, "STORED"));
  const std::string before = world.Dump();
  const std::string shown = world.Folder() + "\\library.json";
  const std::string on_capture =
      "devprep.exe --hardware \"" DEVPREP_EXAMPLES "/library/machine.reg\" ";
  ASSERT_EQ(std::system((on_capture + "library --json >\"" + shown + '"').c_str()), 0);
  const std::string library = world.ReadFile("library.json");
  for (const char* part : {"\"serial_number\": \"DRV-0001\"", "\"volume_tag\": \"A00040L6\"",
                           "\"recognised_by\": \"serial_number\"", "/dev/tape/by-id/"}) {
    EXPECT_NE(library.find(part), std::string::npos) << part << " in " << library;
  }
  EXPECT_EQ(library.find("OWN"), std::string::npos);
  EXPECT_EQ(std::system((on_capture + "hardware >nul").c_str()), 0);
  EXPECT_NE(std::system((on_capture + "plan 2>nul").c_str()), 0);
  EXPECT_NE(std::system("devprep.exe library 2>nul"), 0);
  EXPECT_NE(std::system("devprep.exe --hardware nowhere.reg library 2>nul"), 0);
  EXPECT_EQ(world.Dump(), before);
}

}  // namespace
}  // namespace devprep
