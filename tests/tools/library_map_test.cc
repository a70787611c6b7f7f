#include "library_map.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/simulated_changer.h"

namespace devprep::tool {
namespace {

using enum DriveNaming;

// An attached unit of the test, and whether it is configured.
struct TestUnit {
  std::uint16_t target = 0;
  std::string serial_number = {};  // with blanks around it as on its page
  std::string world_wide_id = {};
  std::optional<std::uint16_t> element = {};  // of a drive: its own word
  std::optional<SimulatedChanger> changer = {};
  std::vector<std::uint16_t> reserved = {};
  bool configured = true;
};

std::string Naa(char last) { return std::string("\x50\x0a\x0b\x80\0\0\0", 7) + last; }

// Unit n is device n, at 0:0:TARGET:0.
LibraryMap Draw(const std::vector<TestUnit>& units) {
  std::vector<AttachedUnit> attached;
  std::vector<DeviceRecord> configured;
  for (const TestUnit& unit : units) {
    AttachedUnit made;
    DeviceRecord& record = made.record;
    record.Number = static_cast<std::uint16_t>(attached.size());
    record.Address.ScsiId = unit.target;
    record.Type = unit.changer ? kTypeChanger : kTypeTape;
    std::memcpy(record.SerialNumber, unit.serial_number.data(),
                std::min(unit.serial_number.size(), sizeof record.SerialNumber));
    std::memcpy(record.WorldWideID, unit.world_wide_id.data(), unit.world_wide_id.size());
    if (!unit.serial_number.empty()) {
      made.answers.serial_number_page = std::string(4, '\0') + unit.serial_number;
    }
    if (unit.element) {
      made.answers.drive_element =
          std::string("\x01\xb4\0\2", 4) + SimulatedChanger::Number(*unit.element, 2);
    }
    if (unit.changer) {
      made.answers.element_addresses = unit.changer->AddressPage();
      made.answers.element_status = unit.changer->distorts(unit.changer->Status());
    }
    if (unit.configured) {
      DeviceRecord stored = record;
      stored.ReservedDriveCount = static_cast<std::uint16_t>(unit.reserved.size());
      std::copy(unit.reserved.begin(), unit.reserved.end(), stored.ReservedDrives);
      configured.push_back(stored);
    }
    attached.push_back(std::move(made));
  }
  return DrawLibraryMap(std::move(attached), configured);
}

// For each changer its drive elements, "ADDRESS=UNIT by WITNESSES @PLACE", a "?" for a drive that
// is not recognised, and the verdict on its reserved drives; then the drives of no changer.
std::string Described(const LibraryMap& map) {
  constexpr const char* kBy[] = {"", "serial", "naa", "address", "own"};
  constexpr const char* kWitnesses[] = {"", "", " agrees", " contradicts"};
  constexpr const char* kVerdicts[] = {"unknown", "agrees", "incomplete", "other order",
                                       "other drives"};
  std::string text;
  for (const LibraryChanger& changer : map.changers) {
    text += std::to_string(changer.unit) + ":";
    for (const LibraryDrive& drive : changer.drives) {
      text += ' ' + std::to_string(drive.element.address) + '=';
      text += drive.unit ? std::to_string(*drive.unit) + (drive.device ? "" : "new") + ' ' +
                               kBy[static_cast<int>(drive.by)]
                         : "?";
      text += kWitnesses[static_cast<int>(drive.witnesses)];
      if (drive.place) text += " @" + std::to_string(*drive.place);
      text += ',';
    }
    text += std::string(" ") + kVerdicts[static_cast<int>(changer.check.Verdict)];
    if (changer.check.Count != 0) {
      text += " from " + std::to_string(changer.check.Place) + " x" +
              std::to_string(changer.check.Count);
    }
    text += '\n';
  }
  for (const UnnamedDrive& drive : map.unnamed) {
    text += "none: " + std::to_string(drive.unit);
    if (drive.element) text += " says " + std::to_string(*drive.element);
    text += '\n';
  }
  return text;
}

SimulatedChanger Changer(const std::vector<SimulatedElement>& drives) {
  SimulatedChanger changer = SimulatedChanger::WithSlots(4);
  changer.drives = drives;
  return changer;
}

TEST(LibraryMap, DrivesAreRecognisedByWhatTheChangerAndTheyThemselvesSay) {
  const struct {
    const char* name;
    std::vector<TestUnit> units;
    const char* map;
  } cases[] = {
      {"serial numbers padded on either side, in T10 form and alone; one drive is elsewhere",
       {{0,
         "LIB",
         "",
         {},
         Changer({{256, "", true, kT10, "DRV1"},
                  {257, "", true, kSerialNumber, "  DRV2  "},
                  {258, "", true, kSerialNumber, "DRV9"}})},
        {1, "    DRV1"},
        {2, "DRV2    ", "", 257},
        {3, std::string(28, ' ') + "DRV3"}},
       "0: 256=1 serial, 257=2 serial agrees, 258=?, incomplete\nnone: 3\n"},
      {"a serial number that ends behind what a record keeps",
       {{0, "LIB", "", {}, Changer({{256, "", true, kSerialNumber, "ABC12345"}}), {1}},
        {1, std::string(28, ' ') + "ABC12345"},
        {2, std::string(28, ' ') + "ABC19999"}},
       "0: 256=1 serial @0, agrees\nnone: 2\n"},
      {"World Wide IDs; a drive that contradicts",
       {{0,
         "LIB",
         Naa(1),
         {},
         Changer({{256, "", true, kNaa, Naa(1)}, {257, "", true, kNaa, Naa(2)}}),
         {2, 1}},
        {1, "A", Naa(1), 256},
        {2, "B", Naa(2), 300}},
       "0: 256=1 naa agrees @1, 257=2 naa contradicts @0, other order from 0 x2\n"},
      {"targets, for want of anything else, and never against a serial number",
       {{0,
         "LIB",
         "",
         {},
         Changer({{1, "", true, kNothing, "", 4},
                  {2, "", true, kSerialNumber, "X", 5},
                  {3, "", true, kSerialNumber, "Y", 6}})},
        {4, "A"},
        {5, "B"},
        {6}},
       "0: 1=1 address, 2=?, 3=3 address, incomplete\nnone: 2\n"},
      {"the drives' own words, as far as they fit one element alone",
       {{0, "LIB", "", {}, Changer({{256}, {257}}), {2}},
        {1, "A", "", 256},
        {2, "B", "", 257},
        {3, "C", "", 400}},
       "0: 256=1 own, 257=2 own @0, incomplete\nnone: 3 says 400\n"},
      {"two partitions with the same addresses, told apart by nothing",
       {{0, "LIB", "", {}, Changer({{256}})},
        {1, "LIB", "", {}, Changer({{256}})},
        {2, "A", "", 256}},
       "0: 256=?, unknown\n1: 256=?, unknown\nnone: 2 says 256\n"},
      {"two partitions of which one names its drive: the other drive is in the other",
       {{0, "LIB", "", {}, Changer({{256, "", true, kT10, "A"}})},
        {1, "LIB", "", {}, Changer({{256}}), {3}},
        {2, "A", "", 256},
        {3, "B", "", 256}},
       "0: 256=2 serial agrees, incomplete\n1: 256=3 own @0, agrees\n"},
      {"a drive shared by two changers with addresses of their own",
       {{0, "L1", "", {}, Changer({{256, "", true, kT10, "A"}, {257, "", true, kT10, "B"}}), {2}},
        {1, "L2", "", {}, Changer({{500, "", true, kT10, "B"}}), {3}},
        {2, "A"},
        {3, "B", "", 257}},
       "0: 256=2 serial @0, 257=3 serial agrees, incomplete\n1: 500=3 serial @0, agrees\n"},
      {"two drives with one serial number, and one that a changer has twice",
       {{0,
         "LIB",
         "",
         {},
         Changer({{256, "", true, kT10, "A"},
                  {257, "", true, kT10, "A"},
                  {258, "", true, kT10, "C"},
                  {259, "", true, kT10, "C"},
                  {260, "", true, kT10, "D"},
                  {261, "", true, kT10, "D"}})},
        {1, "A", "", 256},
        {2, "A", "", 257},
        {3, "C", "", 259},
        {4, "D"}},
       "0: 256=1 serial agrees, 257=2 serial agrees, 258=?, 259=3 serial agrees, 260=?, 261=?, "
       "incomplete\nnone: 4\n"},
      {"drives reserved to the wrong changer, and one that is not configured",
       {{0, "L1", "", {}, Changer({{256, "", true, kT10, "A"}}), {3}},
        {1,
         "L2",
         "",
         {},
         Changer({{256, "", true, kT10, "B"}, {257, "", true, kT10, "C"}}),
         {3, 2}},
        {2, "A"},
        {3, "B"},
        {4, "C", "", {}, {}, {}, false}},
       "0: 256=2 serial, other drives from 0 x1\n"
       "1: 256=3 serial @0, 257=4new serial, other drives from 1 x1\n"},
      {"a reserved drive that no changer names is another one where all drives are told apart "
       "alone",
       {{0, "L1", "", {}, Changer({{256, "", true, kT10, "A"}}), {2, 4}},
        {1, "L2", "", {}, Changer({{256, "", true, kT10, "B"}, {257}}), {3, 4}},
        {2, "A"},
        {3, "B"},
        {4, "C"}},
       "0: 256=2 serial @0, other drives from 1 x1\n1: 256=3 serial @0, 257=?, agrees\nnone: 4\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Described(Draw(c.units)), c.map) << c.name;
}

TEST(LibraryMap, ElementsAreCountedAndWhatFillsAReservationIsInTheirOrder) {
  SimulatedChanger changer = Changer({{300, "", true, kT10, "B"},
                                      {256, "", true, kT10, "A"},
                                      {310, "", true, kT10, "C"},
                                      {320, "", true, kT10, "GONE"}});
  changer.slots.push_back({.address = 9, .volume_tag = "T9", .accessible = false});
  changer.import_export.push_back({.address = 20});
  const LibraryMap map =
      Draw({{0, "LIB", "", {}, changer}, {1, "A"}, {2, "B"}, {3, "C", "", {}, {}, {}, false}});
  const LibraryChanger* found = map.FindChanger(0);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(map.FindChanger(1), nullptr);
  const ElementCounts slots = CountElements(found->slots);
  EXPECT_EQ(std::vector<std::size_t>({slots.total, slots.full, slots.empty, slots.not_accessible}),
            std::vector<std::size_t>({5, 3, 2, 1}));
  EXPECT_EQ(CountElements(found->import_export).empty, 1U);
  const LibraryReservation reservation = ReservationOf(*found);
  EXPECT_EQ(reservation.drives, std::vector<std::uint16_t>({1, 2}));
  ASSERT_EQ(reservation.not_configured.size(), 1U);
  EXPECT_EQ(reservation.not_configured.front()->element.address, 310);
  ASSERT_EQ(reservation.unrecognised.size(), 1U);
  EXPECT_EQ(reservation.unrecognised.front()->number, 3U);
}

TEST(LibraryMap, AChangerThatGivesNothingHasNothing) {
  for (const char* answer : {"", "cut", "\0\0\0\0\0\0\0\0"}) {
    SimulatedChanger changer = Changer({{256, "", true, kT10, "A"}});
    changer.distorts = [answer](const std::string&) { return std::string(answer); };
    const LibraryMap map = Draw({{0, "LIB", "", {}, changer, {1}}, {1, "A"}});
    EXPECT_EQ(Described(map), "0: unknown\nnone: 1\n");
    EXPECT_FALSE(map.changers.front().reports_elements);
    EXPECT_TRUE(map.changers.front().ReservationAgrees());
  }
}

}  // namespace
}  // namespace devprep::tool
