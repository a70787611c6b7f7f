#include "records/device_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "support/world.h"

namespace devprep {
namespace {

DeviceRecord Numbered(std::uint16_t number) {
  DeviceRecord record = {};
  record.Number = number;
  return record;
}

TEST(DeviceRecord, InfoIsReadInTheMannerOfScanf) {
  const std::string head = "board-1,bus-2,scsiid-3,lun-4,type-5,";
  const struct {
    std::string info;
    std::uint16_t status;
    const char* fields;
  } cases[] = {
      {head + "ADIC    Scalar 1000", 0, "1 2 3 4 5 ADICScalar1000"},
      {"board-0,bus-0,scsiid-65535,lun-65536,type-32768,x", 0, "0 0 65535 0 32768 x"},
      {" board-1,b us-2,scsiid- 3,lun-4,type-5,x", 0, "1 2 3 4 5 x"},
      {"board-\t1,bus-+2,scsiid--3,lun-4,type-5,x", 0, "1 2 65533 4 5 x"},
      {head + "a,b", 0, "1 2 3 4 5 a,b"},
      {head + "\t\na\tb", 0, "1 2 3 4 5 a"},
      {head + std::string(40, 'x'), 0, "1 2 3 4 5 xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"},
      {head + std::string(299 - head.size(), 'x'), 0,
       "1 2 3 4 5 xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"},
      {head + std::string(300 - head.size(), 'x'), 3, "0 0 0 0 0 "},
      {head, 219, "1 2 3 4 5 "},
      {head + "  \t", 219, "1 2 3 4 5 "},
      {"board-1,bus-2,scsiid-3,lun-4,type-5", 219, "1 2 3 4 5 "},
      {"board-1,bus-2,scsiid-,lun-4,type-5,x", 219, "1 2 0 0 0 "},
      {"board-1,bus-2,lun-3,scsiid-4,type-5,x", 219, "1 2 0 0 0 "},
      {"board-1\t,bus-2,scsiid-3,lun-4,type-5,x", 219, "1 0 0 0 0 "},
      {"Board-1,bus-2,scsiid-3,lun-4,type-5,x", 219, "0 0 0 0 0 "},
      {"!@!#$", 3, "0 0 0 0 0 "},
      {"!@!#$ ", 219, "0 0 0 0 0 "},
      {"", 219, "0 0 0 0 0 "},
      {"   ", 219, "0 0 0 0 0 "},
  };
  for (const auto& c : cases) {
    World world;
    world.Text("DEVICE7", "Info", c.info);
    DeviceRecord record = Numbered(7);
    EXPECT_EQ(ReadDeviceRecord(&record), c.status) << c.info;
    std::ostringstream fields;
    fields << record.Address.Board << ' ' << record.Address.Bus << ' ' << record.Address.ScsiId
           << ' ' << record.Address.Lun << ' ' << record.Type << ' ' << record.Description;
    EXPECT_EQ(fields.str(), c.fields) << c.info;
  }
}

TEST(DeviceRecord, IsMissingWithoutAnInfoThatHoldsBytes) {
  World world;
  DeviceRecord record = Numbered(0);
  EXPECT_EQ(ReadDeviceRecord(&record), 3);
  world.Dword("DEVICE0", "ReadShots", 7);
  EXPECT_EQ(ReadDeviceRecord(&record), 3);
  world.Set("DEVICE0", {"Info", REG_SZ, ""});
  EXPECT_EQ(ReadDeviceRecord(&record), 3);
  // Laid over the mark of absence, it is that mark. No text: Wine would put a NUL behind one.
  world.Set("DEVICE0", {"Info", REG_BINARY, "!"});
  EXPECT_EQ(ReadDeviceRecord(&record), 3);
  world.Set("DEVICE0", {"Info", REG_SZ, "x"});
  EXPECT_EQ(ReadDeviceRecord(&record), 219);
  EXPECT_EQ(record.ReadShots, 0);
  world.Binary("DEVICE0", "INFO", Info(0, 0, 1, 0, 5));  // of another type, without NUL
  EXPECT_EQ(ReadDeviceRecord(&record), 0);
  EXPECT_EQ(record.ReadShots, 7);
}

DeviceRecord FullRecord(std::uint16_t type) {
  DeviceRecord record = {9, {1, 2, 3, 4}, type,       10, 11, "A B", 2,          {21, 20}, 1, {22},
                         0, 12,           0x80000001, 13, 14, 15,    {'S', '1'}, {0, 1}};
  return record;
}

constexpr const char* kFullChanger = R"(Info="board-1,bus-2,scsiid-3,lun-4,type-17,A B"
ReservedDrives="21,20"
UnReservedDrives="22"
DisabledDrives=2147483649
BarCodeInstall=13
SetBarCodeTapeToBlank=14
SetAutoCleaningTime=15
ReadShots=10
WriteShots=11
CleaningTapeSlot=0
DefaultBlockFactor=12
SerialNumber=<S1+30>
WorldWideID=<\00\01+6>
)";

TEST(DeviceRecord, IsStoredInOrderAndReadBack) {
  World world;
  const DeviceRecord changer = FullRecord(kTypeChanger);
  EXPECT_EQ(WriteDeviceRecord(&changer), 0);
  EXPECT_EQ(world.Values("DEVICE9"), Ordered(kFullChanger));
  DeviceRecord read = Numbered(9);
  EXPECT_EQ(ReadDeviceRecord(&read), 0);
  std::memcpy(read.Description, "A B", 4);  // the blanks are lost
  EXPECT_EQ(std::memcmp(&read, &changer, sizeof read), 0);
}

TEST(DeviceRecord, DefaultsAndWhatOnlyChangersHaveAreNotStored) {
  World world;
  DeviceRecord drive = FullRecord(kTypeTape);
  drive.ReadShots = 0;
  drive.CleaningTapeSlot = drive.DefaultBlockFactor = kNotSet;
  world.Dword("DEVICE9", "ReadShots", 77);
  world.Text("DEVICE9", "Info", "old");
  EXPECT_EQ(WriteDeviceRecord(&drive), 0);
  // What was stored already stays, and "Info" is made anew.
  EXPECT_EQ(world.Values("DEVICE9"), Ordered(R"(ReadShots=77
Info="board-1,bus-2,scsiid-3,lun-4,type-5,A B"
WriteShots=11
SerialNumber=<S1+30>
WorldWideID=<\00\01+6>
)"));
  // What a drive's key holds of a changer's values is not read either.
  world.Text("DEVICE9", "ReservedDrives", "1,2");
  world.Dword("DEVICE9", "BarCodeInstall", 1);
  DeviceRecord read = Numbered(9);
  EXPECT_EQ(ReadDeviceRecord(&read), 0);
  EXPECT_EQ(read.ReservedDriveCount + read.BarCodeInstall, 0);
  EXPECT_EQ(read.CleaningTapeSlot, kNotSet);
  EXPECT_EQ(read.DefaultBlockFactor, kNotSet);
}

TEST(DeviceRecord, SettingsTakeLowBitsAndBytesTakeAnyType) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 17));
  world.Dword("DEVICE0", "READSHOTS", 0x10007);
  world.Text("DEVICE0", "WriteShots", "5");
  world.Dword("DEVICE0", "CleaningTapeSlot", 0x1FFFF);
  world.Dword("DEVICE0", "DisabledDrives", 0x10007);
  world.Text("DEVICE0", "SerialNumber", "short");
  world.Binary("DEVICE0", "WorldWideID", std::string(300, 'W'));
  DeviceRecord record = Numbered(0);
  EXPECT_EQ(ReadDeviceRecord(&record), 0);
  EXPECT_EQ(record.ReadShots, 7);
  EXPECT_EQ(record.WriteShots, 0);
  EXPECT_EQ(record.CleaningTapeSlot, 65535);
  EXPECT_EQ(record.DisabledDrives, 0x10007U);
  EXPECT_EQ(std::memcmp(record.SerialNumber, "short\0\0\0", 8), 0);
  EXPECT_EQ(std::memcmp(record.WorldWideID, "WWWWWWWW", 8), 0);
  world.Binary("DEVICE0", "SerialNumber", std::string(301, 'S'));
  EXPECT_EQ(ReadDeviceRecord(&record), 0);
  EXPECT_EQ(record.SerialNumber[0], 0);  // does not fit: as if there were none
}

std::string ReadList(World& world, const std::string& text) {
  world.Text("DEVICE0", "ReservedDrives", text);
  DeviceRecord record = Numbered(0);
  std::copy_n(std::begin({7, 8, 9}), 3, record.ReservedDrives);
  EXPECT_EQ(ReadDeviceRecord(&record), 0);
  EXPECT_EQ(record.UnReservedDriveCount, 0);
  std::string out;
  for (std::uint16_t i = 0; i < record.ReservedDriveCount; ++i) {
    out += std::to_string(record.ReservedDrives[i]) + " ";
  }
  return out;
}

TEST(DriveList, EntriesWithoutANumberCountAndKeepWhatWasThere) {
  World world;
  const struct {
    std::string text;
    std::string entries;  // over 7 8 9
  } cases[] = {
      {"", ""},
      {"3,4,7", "3 4 7 "},
      {"1,2,", "1 2 "},
      {"1,2, ", "1 2 "},
      {"1,,2", "1 8 2 "},
      {"1,,", "1 "},
      {",", "7 "},
      {",,", "7 "},
      {" , ", "7 "},
      {",1", "7 1 "},
      {"1, ,", "1 8 "},
      {"1,\t", "1 8 "},
      {" 1, 2x,x", "1 2 9 "},
      {"  ", "7 "},
      {"-1,65536", "65535 0 "},
      {Repeated("1,", 40), Repeated("1 ", 32)},
      {Repeated("1,", 49) + "1", Repeated("1 ", 32)},  // 99 characters
      {Repeated("1,", 50), ""},                        // 100
  };
  world.Device(0, Info(0, 0, 1, 0, 17));
  for (const auto& c : cases) EXPECT_EQ(ReadList(world, c.text), c.entries) << c.text;
}

TEST(DriveList, IsCutAfterTheLastEntryThatCanBeReadBack) {
  World world;
  DeviceRecord record = Numbered(0);
  record.Type = kTypeChanger;
  record.UnReservedDriveCount = kMaxDriveListEntries;
  for (auto& entry : record.UnReservedDrives) entry = 100;
  record.ReservedDriveCount = 1;
  record.ReservedDrives[0] = 65535;
  EXPECT_EQ(WriteDeviceRecord(&record), 0);
  EXPECT_EQ(world.Show("DEVICE0", "UnReservedDrives"),
            "\"100" + Repeated(",100", 24) + "\"");  // 99 characters
  EXPECT_EQ(world.Show("DEVICE0", "ReservedDrives"), "\"65535\"");
}

TEST(DeviceRecords, AreCountedUpToTheFirstGapOr255) {
  World world;
  const auto count_is = [] {
    std::uint16_t count = 99;
    EXPECT_EQ(CountDeviceRecords(&count), 0);
    return count;
  };
  EXPECT_EQ(count_is(), 0);
  world.Make("device0");
  world.Make("DEVICE1");
  world.Make("DEVICE3");
  EXPECT_EQ(count_is(), 2);
  for (int n = 2; n < 257; ++n) world.Make(DeviceKey(n));
  EXPECT_EQ(count_is(), 255);
  EXPECT_EQ(DeleteDeviceRecord(1), 0);
  EXPECT_EQ(DeleteDeviceRecord(1), 217);
  EXPECT_EQ(count_is(), 1);
  world.Remove(kEngineKey);
  EXPECT_EQ(DeleteDeviceRecord(0), 209);
}

TEST(DeviceDescription, IsWhatFollowsTheFifthComma) {
  const struct {
    std::string info;
    std::uint16_t status;
    std::string text;  // over "????"
  } cases[] = {
      {Info(0, 0, 1, 0, 5, "ADIC    Scalar, 1000 "), 0, "ADIC    Scalar, 1000 "},
      {",,,,,", 0, ""},
      {",,,,", 65535, "????"},
      {",,,,," + std::string(60, 'x'), 0, std::string(39, 'x')},
      {",,,,," + std::string(194, 'x'), 0, std::string(39, 'x')},
      {",,,,," + std::string(195, 'x'), 65535, "????"},  // 200 characters
  };
  for (const auto& c : cases) {
    World world;
    world.Text("DEVICE0", "Info", c.info);
    char text[kDescriptionSize] = "????";
    EXPECT_EQ(ReadDeviceDescription(0, text), c.status) << c.info;
    EXPECT_EQ(text, c.text) << c.info;
    EXPECT_EQ(ReadDeviceDescription(1, text), 65535);
  }
}

}  // namespace
}  // namespace devprep
