// What captures and registries tell of one machine, whatever they hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/scsi_map.h"
#include "estate.h"
#include "platform/hardware/hardware_map.h"
#include "platform/registry.h"
#include "platform/registry/registry_key.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr const char* kText = "ACME    STREAMER-9      A1B2";

std::string Id(char digit) { return std::string(7, '\x50') + digit; }

// The texts of one machine. Units and records are drives at targets of bus 0, unless their type
// says otherwise.
class Texts {
 public:
  RegistryKey& Unit(int target, const std::string& serial_number, const std::string& id = "",
                    const char* type = kTapeWord) {
    RegistryKey& unit = *FindOrAddPath(map, "Scsi Port 0\\Scsi Bus 0\\Target Id " +
                                                std::to_string(target) + "\\Logical Unit Id 0");
    unit.SetValue("Identifier", REG_SZ, std::string(kText) + '\0');
    unit.SetValue("Type", REG_SZ, std::string(type) + '\0');
    if (!serial_number.empty()) {
      unit.SetValue(kSerialNumberPageValue, REG_BINARY, std::string(4, '\1') + serial_number);
    }
    if (!id.empty()) unit.SetValue(kWorldWideIdValue, REG_BINARY, id);
    return unit;
  }

  RegistryKey& Record(int number, int target, const std::string& serial_number,
                      const std::string& id = "", std::uint16_t type = kTypeTape) {
    RegistryKey& record = *engine.FindOrAddChild("DEVICE" + std::to_string(number));
    record.SetValue("Info", REG_SZ,
                    "board-0,bus-0,scsiid-" + std::to_string(target) + ",lun-0,type-" +
                        std::to_string(type) + ',' + kText + '\0');
    std::string kept = serial_number;
    kept.resize(kSerialNumberSize, '\0');
    record.SetValue("SerialNumber", REG_BINARY, kept);
    record.SetValue("WorldWideID", REG_BINARY, id);
    return record;
  }

  EstateMachine Read() {
    static TextPool texts;
    return ReadMachine("one", &map, &engine, texts);
  }

  RegistryKey map{""};
  RegistryKey engine{""};
};

// Each device with its number, its place and "gone" if it is: "0@1" and "1@4 gone"; "-" for none.
std::string Devices(const EstateMachine& machine) {
  std::string text;
  for (const EstateDevice& device : machine.devices) {
    text += (text.empty() ? "" : ", ") + (device.number ? std::to_string(*device.number) : "-");
    text += "@" + std::to_string(device.address.ScsiId) + (machine.Gone(device) ? " gone" : "");
  }
  return text;
}

TEST(EstateMachine, ARecordIsPairedWithTheUnitThatIsItsBeyondDoubt) {
  struct Device {
    int target;
    std::string serial_number;
    std::string id = {};
    bool changer = false;
  };
  const struct {
    const char* about;
    std::vector<Device> units;
    std::vector<Device> records;
    const char* devices;
  } cases[] = {
      {"in place", {{1, "A"}, {2, "B"}}, {{1, "A"}, {2, "B"}}, "0@1, 1@2"},
      {"exchanged", {{1, "A"}, {2, "B"}}, {{1, "B"}, {2, "A"}}, "1@1, 0@2"},
      {"moved away", {{3, "A"}}, {{1, "A"}}, "0@3"},
      {"another in its place", {{1, "B"}}, {{1, "A"}}, "-@1, 0@1 gone"},
      {"new and gone", {{1, "A"}, {2, "B"}}, {{1, "A"}, {3, "C"}}, "0@1, -@2, 1@3 gone"},
      {"without identity by its place", {{1, ""}, {2, ""}}, {{2, ""}}, "-@1, 0@2"},
      {"whose record was written before it had one", {{1, "A"}}, {{1, ""}}, "0@1"},
      {"identity goes before place",
       {{1, "A"}, {2, ""}},
       {{2, "A"}, {1, ""}},
       "0@1, -@2, 1@1 gone"},
      {"by World Wide ID", {{4, "", Id('1')}}, {{1, "", Id('1')}}, "0@4"},
      {"the serial number goes before it",
       {{3, "A", ""}, {4, "", Id('1')}},
       {{1, "A", Id('1')}},
       "0@3, -@4"},
      {"which must not speak against it",
       {{3, "A", Id('2')}},
       {{1, "A", Id('1')}},
       "-@3, 0@1 gone"},
      {"two units bear it", {{3, "A"}, {4, "A"}}, {{1, "A"}}, "-@3, -@4, 0@1 gone"},
      {"but one of them in its place", {{3, "A"}, {4, "A"}}, {{4, "A"}}, "-@3, 0@4"},
      {"two records bear it", {{3, "A"}}, {{1, "A"}, {2, "A"}}, "-@3, 0@1 gone, 1@2 gone"},
      {"a changer is no drive", {{1, "A", "", true}}, {{1, "A"}}, "-@1, 0@1 gone"},
  };
  for (const auto& c : cases) {
    Texts texts;
    for (const Device& unit : c.units) {
      texts.Unit(unit.target, unit.serial_number, unit.id, unit.changer ? kChangerWord : kTapeWord);
    }
    for (int n = 0; const Device& record : c.records) {
      texts.Record(n++, record.target, record.serial_number, record.id);
    }
    EXPECT_EQ(Devices(texts.Read()), c.devices) << c.about;
  }
}

TEST(EstateMachine, SerialNumbersThatDifferOnlyBehindWhatARecordKeepsAreTwo) {
  const std::string same(kSerialNumberSize, 'X');
  // A machine that tells the whole number, and one of which only the configuration is known.
  const auto attached = [](const std::string& name, const std::string& serial_number) {
    Texts texts;
    texts.Unit(1, serial_number);
    texts.Record(0, 1, serial_number);
    EstateMachine machine = texts.Read();
    EXPECT_EQ(Devices(machine), "0@1");
    machine.name = name;
    return machine;
  };
  Texts configured;
  configured.Record(0, 1, same + "A");
  static TextPool texts;
  const EstateMachine known = ReadMachine("z", nullptr, &configured.engine, texts);
  const struct {
    std::vector<EstateMachine> machines;
    std::vector<std::size_t> sightings;
  } cases[] = {
      {{attached("a", same + "A"), attached("b", same + "A")}, {2}},
      {{attached("a", same + "A"), attached("b", same + "B")}, {1, 1}},
      {{attached("a", same + "A"), attached("b", same)}, {1, 1}},
      {{attached("a", same + "A"), known}, {2}},
      {{attached("a", same + "A"), attached("b", same + "B"), known}, {1, 1, 1}},
      {{attached("a", same), known}, {2}},
      {{attached("a", same.substr(1)), known}, {1, 1}},
  };
  for (const auto& c : cases) {
    const Estate estate = JoinMachines(c.machines);
    std::vector<std::size_t> sightings;
    for (const SharedDevice& device : estate.devices) sightings.push_back(device.sightings.size());
    EXPECT_EQ(sightings, c.sightings) << (&c - cases);
    EXPECT_EQ(SummaryOf(estate).find("not agree"), std::string::npos) << SummaryOf(estate);
  }
}

TEST(EstateMachine, ReservationsGroupsAndRaidsFollowTheDevicesAndWhatIsNoneIsPassedOver) {
  Texts texts;
  for (const int target : {1, 2, 3}) {
    texts.Unit(target, "D" + std::to_string(target));
    texts.Record(target, target == 3 ? 9 : target, "D" + std::to_string(target));
  }
  RegistryKey& changer = texts.Record(0, 0, "L", "", kTypeChanger);
  // A drive that is not configured, the changer itself, a drive twice, and what is no number, which
  // counts as 0.
  changer.SetValue("ReservedDrives", REG_SZ, std::string("3,7,0,1,3,x") + '\0');
  changer.SetValue("DisabledDrives", REG_DWORD, std::string("\x08\0\0\0", 4));
  texts.engine.FindOrAddChild("GROUP0")->SetValue("NIGHT", REG_SZ,
                                                  std::string("TAPE_GROUP,1,9,3") + '\0');
  texts.engine.FindOrAddChild("GROUP2")->SetValue("ROBOT", REG_SZ,
                                                  std::string("CHANGER_GROUP,0") + '\0');
  texts.engine.FindOrAddChild("GROUP3");
  texts.engine.FindOrAddChild("RAID1")->SetValue("Info", REG_SZ,
                                                 std::string("(0,0,9,0)(0,0,1,0)(8,8,8,8)") + '\0');
  const EstateMachine machine = texts.Read();
  ASSERT_EQ(Devices(machine), "1@1, 2@2, 3@3, 0@0 gone");
  const EstateDevice& library = machine.devices[3];
  EXPECT_EQ(library.drives[0], 2);
  EXPECT_EQ(std::count(library.drives.begin(), library.drives.end(), kDeviceGone), 3);
  const auto of = [&](std::size_t device) {
    const EstateDevice& drive = machine.devices[device];
    std::string text;
    for (const Reservation& reservation : drive.reservations) {
      text += std::to_string(reservation.place) + (reservation.disabled ? "! " : " ");
    }
    for (std::size_t n = 0; n < kMaxGroups; ++n)
      text += drive.groups.test(n) ? "G" + std::to_string(n) : "";
    for (std::size_t n = 0; n < kMaxRaids; ++n)
      text += drive.raids.test(n) ? "R" + std::to_string(n) : "";
    return text;
  };
  EXPECT_EQ(of(0), "3! G0R1");
  EXPECT_EQ(of(1), "");
  EXPECT_EQ(of(2), "0 4 G0R1");  // its record still tells the old address, as the RAID does
  EXPECT_EQ(of(3), "G2");
}

// Each kind of damage at one of three drives: the others are read all the same.
TEST(EstateMachine, WhatMakesNoSenseIsPassedOverAndTheRestIsRead) {
  const struct {
    const char* about;
    void (*damage)(Texts& texts, RegistryKey& unit, RegistryKey& record);
    const char* devices;
  } cases[] = {
      {"nothing", [](Texts&, RegistryKey&, RegistryKey&) {}, "0@1, 1@2, 2@3"},
      {"no type", [](Texts&, RegistryKey& unit, RegistryKey&) { unit.RemoveValue("Type"); },
       "0@1, 2@3, 1@2 gone"},
      {"no identifier",
       [](Texts&, RegistryKey& unit, RegistryKey&) { unit.RemoveValue("Identifier"); },
       "0@1, 2@3, 1@2 gone"},
      {"an identifier that does not fit",
       [](Texts&, RegistryKey& unit, RegistryKey&) {
         unit.SetValue("Identifier", REG_SZ, std::string(kIdentifierSize + 1, 'x'));
       },
       "0@1, 2@3, 1@2 gone"},
      {"an identifier without end",
       [](Texts&, RegistryKey& unit, RegistryKey&) {
         unit.SetValue("Identifier", REG_SZ, std::string(kIdentifierSize, 'x'));
       },
       "0@1, 2@3, 1@2 gone"},
      {"empty values",
       [](Texts&, RegistryKey& unit, RegistryKey&) {
         unit.SetValue(kInquiryDataValue, REG_BINARY, "");
         unit.SetValue(kWorldWideIdValue, REG_BINARY, "");
         unit.SetValue(kNodeNamesValue, REG_SZ, "");
       },
       "0@1, 1@2, 2@3"},
      {"a page cut within its head",
       [](Texts&, RegistryKey& unit, RegistryKey&) {
         unit.SetValue(kSerialNumberPageValue, REG_BINARY, "\1\x80");
       },
       "0@1, 1@2, 2@3"},
      {"a record of nothing",
       [](Texts&, RegistryKey&, RegistryKey& record) { record.RemoveValue("Info"); },
       "0@1, -@2, 2@3"},
      {"a record without end",
       [](Texts&, RegistryKey&, RegistryKey& record) {
         record.SetValue("Info", REG_SZ, std::string(5000, 'b'));
       },
       "0@1, -@2, 2@3"},
      {"a record cut off",
       [](Texts&, RegistryKey&, RegistryKey& record) {
         record.SetValue("Info", REG_SZ, "board-0,bus-0,scsi");
       },
       "0@1, -@2, 2@3"},
      {"an address beyond all bounds: its identity tells all the same",
       [](Texts&, RegistryKey&, RegistryKey& record) {
         record.SetValue("Info", REG_SZ, "board-99999999999,bus-0,scsiid-2,lun-0,type-5,ACME");
       },
       "0@1, 1@2, 2@3"},
      {"a record of another kind of device",
       [](Texts&, RegistryKey&, RegistryKey& record) {
         record.SetValue("Info", REG_SZ, "board-0,bus-0,scsiid-2,lun-0,type-2,ACME");
       },
       "0@1, -@2, 2@3"},
      {"a gap in the records",
       [](Texts& texts, RegistryKey&, RegistryKey&) { texts.engine.RemoveChild("DEVICE1"); },
       "0@1, -@2, -@3"},
      {"numbers of the map that are written otherwise",
       [](Texts& texts, RegistryKey&, RegistryKey&) {
         FindOrAddPath(texts.map, "Scsi Port 00\\Scsi Bus 0");
         FindOrAddPath(texts.map, "Scsi Port 0\\Scsi Bus 0\\Target Id 0x4\\Logical Unit Id 0");
         FindOrAddPath(texts.map, "Scsi Port 0\\Scsi Bus 0\\Target Id -1\\Logical Unit Id 0");
         FindOrAddPath(texts.map, "Scsi Port 0\\Scsi Bus 0\\Target Id\\Logical Unit Id 0");
         FindOrAddPath(texts.map,
                       "Scsi Port 0\\Scsi Bus 0\\Target Id 4294967297\\Logical Unit Id 0");
       },
       "0@1, 1@2, 2@3"},
      {"thousands of members",
       [](Texts& texts, RegistryKey&, RegistryKey& record) {
         std::string members;
         std::string numbers;
         for (int n = 0; n < 5000; ++n) {
           members += "(0,0," + std::to_string(n) + ",0)";
           numbers += std::to_string(n % 3) + ",";
         }
         texts.engine.FindOrAddChild("RAID0")->SetValue("Info", REG_SZ, members + '\0');
         texts.engine.FindOrAddChild("GROUP0")->SetValue("X", REG_SZ, "TAPE_GROUP," + numbers);
         texts.engine.FindOrAddChild("GROUP1")->SetValue(std::string(400, 'X'), REG_SZ,
                                                         "TAPE_GROUP,1");
         record.SetValue("ReservedDrives", REG_SZ, numbers);
       },
       "0@1, 1@2, 2@3"},
  };
  for (const auto& c : cases) {
    Texts texts;
    for (const int target : {1, 3}) texts.Unit(target, "D" + std::to_string(target));
    RegistryKey& unit = texts.Unit(2, "D2");
    for (const int n : {0, 2}) texts.Record(n, n + 1, "D" + std::to_string(n + 1));
    RegistryKey& record = texts.Record(1, 2, "D2");
    c.damage(texts, unit, record);
    EXPECT_EQ(Devices(texts.Read()), c.devices) << c.about;
  }
}

TEST(EstateMachine, WhatDevicesSayOfThemselvesIsMadePrintable) {
  const struct {
    std::string said;
    const char* serial_number;
  } cases[] = {
      {"  A 1  ", "A 1"},
      {std::string("A\0\0\0", 4), "A"},
      {std::string("\0\0\0\0\0\0\0\0\0\0A", 11), ""},  // such a number proves nothing
      {"\x1b[2J", "1b5b324a"},
      {"A\nB", "410a42"},
      {"\xc3\xa9", "c3a9"},
      {"<&\">", "<&\">"},
      {std::string(300, 'S'), nullptr},
  };
  for (const auto& c : cases) {
    Texts texts;
    RegistryKey& unit = texts.Unit(1, c.said);
    unit.SetValue("Identifier", REG_SZ, std::string("A\x1b\n\xff  B  \0", 10));
    unit.SetValue(kNodeNamesValue, REG_SZ,
                  std::string("/dev/a\x1b /dev/tape/by-id/x /dev/b\0", 34));
    const EstateMachine machine = texts.Read();
    ASSERT_EQ(machine.devices.size(), 1U);
    const EstateDevice& device = machine.devices[0];
    EXPECT_EQ(device.serial_number, c.serial_number == nullptr ? c.said : c.serial_number);
    EXPECT_EQ(*device.description, "A???  B");
    EXPECT_EQ(device.nodes.size(), 2U);
  }
}

TEST(EstateMachine, TheLibraryTakesSoManyUnitsOfTheMapAndTheRestIsCounted) {
  Texts texts;
  for (std::size_t n = 0; n < kMaxScsiMapEntries + 3; ++n) {
    RegistryKey& unit = *FindOrAddPath(
        texts.map, "Scsi Port 0\\Scsi Bus " + std::to_string(n / 100) + "\\Target Id " +
                       std::to_string(n % 100 / 8) + "\\Logical Unit Id " + std::to_string(n % 8));
    unit.SetValue("Identifier", REG_SZ, kText);
    unit.SetValue("Type", REG_SZ, n % 2 == 0 ? kTapeWord : "DiskPeripheral");
  }
  const EstateMachine machine = texts.Read();
  EXPECT_EQ(machine.left_out, 3U);
  EXPECT_EQ(machine.devices.size(), kMaxScsiMapEntries / 2);
}

}  // namespace
}  // namespace devprep::tool
