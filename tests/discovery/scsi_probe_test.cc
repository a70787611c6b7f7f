#include "discovery/scsi_probe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/raw_scsi.h"
#include "support/world.h"

namespace devprep {
namespace {

std::string Show(const DeviceRecord& device) {
  const auto bytes = [](const std::uint8_t* data, std::size_t size) {
    return ShowBytes({reinterpret_cast<const char*>(data), size});
  };
  const DeviceAddress& at = device.Address;
  return std::to_string(device.Number) + " at " + std::to_string(at.Board) + "," +
         std::to_string(at.Bus) + "," + std::to_string(at.ScsiId) + "," + std::to_string(at.Lun) +
         " type " + std::to_string(device.Type) + " [" + device.Description + "] " +
         bytes(device.SerialNumber, 32) + bytes(device.WorldWideID, 8);
}

TEST(ScsiProbe, NumbersDevicesByAddressAndAsksDrivesAndChangersAlone) {
  World world;
  FoundDeviceCount = 9;
  EXPECT_EQ(ProbeScsiDevices(), 0);  // on a machine without ports
  EXPECT_EQ(FoundDeviceCount, 0);
  world.NewProcess();
  const std::string page("\0\x80\0\x02", 4);  // declares 2 bytes
  world.Attach(
      Machine({{.port = 1, .serial = "S1", .wwid = "\x50\1\2\3\4\5\6\7"},
               {.target = 5, .type = kChanger, .product = "LIBRARY", .revision = "9"},
               {.target = 6, .type = kDisk, .serial = "S2", .wwid = "W", .identifier = "a disk"},
               {.target = 7, .serial = "S3", .wwid = "W", .identifier = "silent", .answers = false},
               {.target = 8, .type = "OtherPeripheral", .identifier = "other"},
               {.target = 9, .type = "OpticalDiskPeripheral", .identifier = "optical"},
               {.target = 10}})
          .Set(UnitKey({.target = 10}),
               {"InquiryData", REG_BINARY, "........" + std::string(33, 'v')})
          .Set(UnitKey({.target = 10}),
               {"UnitSerialNumberPage", REG_BINARY, page + std::string(40, 's')})
          .Set(UnitKey({.target = 10}), {"WorldWideId", REG_BINARY, "12345678x"}));
  EXPECT_EQ(ProbeScsiDevices(), 0);
  const char* const found[] = {
      "0 at 0,0,5,0 type 17 [ACME    LIBRARY         9   ] <+32><+8>",
      "1 at 0,0,6,0 type 2 [a disk] <+32><+8>",
      "2 at 0,0,7,0 type 5 [silent] <S3+30><W+7>",
      "3 at 0,0,8,0 type 66 [other] <+32><+8>",
      "4 at 0,0,9,0 type 6 [optical] <+32><+8>",
      "5 at 0,0,10,0 type 5 [vvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvv] "
      "<ssssssssssssssssssssssssssssssss><12345678>",
      "6 at 1,0,0,0 type 5 [ACME    DRIVE           1.00] <S1+30><P\\01\\02\\03\\04\\05\\06\\07>",
  };
  ASSERT_EQ(FoundDeviceCount, std::size(found));
  for (std::size_t i = 0; i < std::size(found); ++i) {
    EXPECT_EQ(Show(FoundDevices[i]), found[i]);
    EXPECT_EQ(FoundDevices[i].CleaningTapeSlot, kNotSet);
    EXPECT_EQ(FoundDevices[i].DefaultBlockFactor, kNotSet);
  }
  // A second probe sees the same addresses, but asks the devices again.
  world.Attach({{.target = 5, .type = kChanger, .product = "RENAMED"}});
  ProbeScsiDevices();
  EXPECT_EQ(Show(FoundDevices[0]), "0 at 0,0,5,0 type 17 [ACME    RENAMED         1.00] <+32><+8>");
}

TEST(ScsiProbe, EveryPeripheralTypeHasItsCode) {
  const std::uint16_t codes[] = {2, 5, 34, 66, 130, 258, 514, 6, 17, 2050, 32770, 32770};
  for (std::uint8_t type = 0; type < std::size(codes); ++type) {
    EXPECT_EQ(MapScsiDeviceType(type), codes[type]);
  }
  EXPECT_EQ(MapScsiDeviceType(255), 32770);
}

TEST(RawScsi, AnswersFillWhatFitsAndZeroTheRest) {
  World world;
  world.Attach(Machine({{.target = 1, .serial = "S", .wwid = "12345678"}})
                   .Set(UnitKey({.target = 2}), {"WorldWideId", REG_BINARY, "123"}));
  std::uint8_t buffer[65];
  const auto fill = [&buffer] { std::fill(std::begin(buffer), std::end(buffer), std::uint8_t{9}); };
  fill();
  EXPECT_EQ(ScsiInquiry(0, 0, 1, 0, buffer, 40), 0U);
  EXPECT_EQ(ShowBytes({reinterpret_cast<char*>(buffer) + 8, 33}),
            "<ACME\\20\\20\\20\\20DRIVE\\20\\20\\20\\20\\20\\20\\20\\20\\20\\20\\201.00\\00\\00\\00"
            "\\00\\09>");
  fill();
  EXPECT_EQ(ScsiGetWorldWideId(0, 0, 1, 0, kWorldWideIdSelector, buffer, 20), 0U);
  EXPECT_EQ(buffer[19], '1');
  EXPECT_EQ(buffer[20], 9);
  // A unit that the map does not list answers all the same.
  EXPECT_EQ(ScsiGetWorldWideId(0, 0, 2, 0, kWorldWideIdSelector, buffer, 64), 0U);
  EXPECT_EQ(buffer[21], '3');
  EXPECT_EQ(buffer[22] + buffer[18], 0);
  EXPECT_NE(ScsiInquiryPage(0, 0, 1, 0, buffer, 64, 0x83), 0U);
  EXPECT_NE(ScsiInquiryPage(0, 0, 2, 0, buffer, 64, kUnitSerialNumberPage), 0U);
  EXPECT_NE(ScsiInquiry(0, 0, 3, 0, buffer, 40), 0U);
}

}  // namespace
}  // namespace devprep
