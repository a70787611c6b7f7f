#include "discovery/scsi_map.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/world.h"

namespace devprep {
namespace {

// "type identifier" of the unit at port, bus, target and LUN of an address; "-" if it is not
// listed.
std::string Look(const Unit& at) {
  const std::int32_t count = CountScsiMapEntries();
  for (const ScsiMapEntry& unit : std::vector(ScsiMap.Entries, ScsiMap.Entries + count)) {
    if (unit.Port == at.port && unit.Bus == at.bus && unit.TargetId == at.target &&
        unit.Lun == at.lun) {
      return std::to_string(unit.PeripheralType) + " " + unit.Identifier;
    }
  }
  return "-";
}

TEST(ScsiMap, ListsUnitsWhoseTextsFit) {
  const std::string key = UnitKey({.target = 1});
  const struct {
    Value value;
    std::string found;
  } cases[] = {
      {TextValue("Type", "DiskPeripheral"), "0 X"},
      {TextValue("Type", "tapeperipheral"), "1 X"},
      {TextValue("Type", "OtherPeripheral"), "3 X"},
      {TextValue("Type", "CdRomPeripheral"), "5 X"},
      {TextValue("Type", "OpticalDiskPeripheral"), "7 X"},
      {TextValue("Type", "MediumChangerPeripheral"), "8 X"},
      {TextValue("Type", "ScannerPeripheral"), "0 X"},
      {TextValue("Type", "TapePeripheral "), "0 X"},
      {TextValue("Type", ""), "0 X"},
      {{"Type", REG_SZ, "TapePeripheral"}, "1 X"},
      {TextValue("Type", std::string(29, 'x')), "0 X"},
      {TextValue("Type", std::string(30, 'x')), "-"},
      {{"Type", REG_NONE, ""}, "-"},
      {TextValue("Identifier", ""), "1 "},
      {TextValue("Identifier", std::string(39, 'i')), "1 " + std::string(39, 'i')},
      {TextValue("Identifier", std::string(40, 'i')), "-"},
      {{"Identifier", REG_SZ, std::string(39, 'i')}, "1 " + std::string(39, 'i')},
      {{"Identifier", REG_SZ, std::string(40, 'i')}, "-"},
      {{"Identifier", REG_NONE, ""}, "-"},
  };
  for (const auto& c : cases) {
    World world;
    world.Attach(Machine({{.target = 1, .identifier = "X"}}).Set(key, c.value));
    EXPECT_EQ(Look({.target = 1}), c.found) << c.value.name << ' ' << c.value.data;
  }
}

TEST(ScsiMap, LooksForPortsDenselyAndWithinTheLimitsOfALevel) {
  World world;
  world.Attach({{.identifier = "first"},
                {.bus = 7, .target = 127, .lun = 63, .identifier = "last"},
                {.bus = 8, .identifier = "bus"},
                {.target = 128, .identifier = "target"},
                {.lun = 64, .identifier = "lun"},
                {.port = 2, .identifier = "behind a gap"}});
  std::uint16_t ports = 0;
  EXPECT_EQ(CountScsiPorts(&ports), 0);
  EXPECT_EQ(ports, 2);
  EXPECT_EQ(CountScsiMapEntries(), 2);
  EXPECT_EQ(Look({}), "1 first");
  EXPECT_EQ(Look({.bus = 7, .target = 127, .lun = 63}), "1 last");
  EXPECT_EQ(Look({.port = 2}), "-");
}

TEST(ScsiMap, IsReadOnceInAProcess) {
  World world;
  world.Attach({});
  EXPECT_EQ(Look({}), "-");
  world.Attach({{.identifier = "late"}, {.port = 1}});
  EXPECT_EQ(Look({}), "-");
  std::uint16_t ports = 0;
  CountScsiPorts(&ports);
  EXPECT_EQ(ports, 2);  // these are counted anew
  world.NewProcess();
  EXPECT_EQ(Look({}), "1 late");
}

TEST(ScsiMap, Holds256UnitsInAscendingOrderAndCountsTheOthers) {
  World world;
  Machine machine;
  for (std::uint16_t n = 0; n < 260; ++n) {
    const auto target = static_cast<std::uint16_t>(n % 65);
    machine.Add({.port = static_cast<std::uint16_t>(3 - n / 65), .target = target});
  }
  world.Attach(machine);
  EXPECT_EQ(CountScsiMapEntries(), 256);
  EXPECT_EQ(ScsiMap.LeftOut, 4);
  for (std::uint32_t n = 0; n < 256; ++n) {
    EXPECT_EQ(ScsiMap.Entries[n].Port, n / 65);
    EXPECT_EQ(ScsiMap.Entries[n].TargetId, n % 65);
  }
}

}  // namespace
}  // namespace devprep
