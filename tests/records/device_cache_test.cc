#include "records/device_cache.h"

#include <gtest/gtest.h>

#include "support/world.h"

namespace devprep {
namespace {

int TypeOf(std::uint16_t number) {
  DeviceRecord record = {};
  record.Number = number;
  const std::uint16_t status = GetDeviceRecord(&record);
  return status == 0 ? record.Type : -status;
}

std::string Find(const DeviceAddress& address) {
  std::uint16_t number = 0;
  const std::uint16_t status = FindDeviceAt(address, &number);
  return status == 0 ? "found " + std::to_string(number) : std::to_string(status);
}

TEST(DeviceCache, KeepsRecordsAndCountUntilItIsEmptied) {
  World world;
  EXPECT_EQ(TypeOf(0), -3);
  world.Text("DEVICE0", "Info", "malformed");
  EXPECT_EQ(TypeOf(0), -219);
  world.Device(0, Info(0, 0, 1, 0, 5));  // failures are not kept
  EXPECT_EQ(TypeOf(0), 5);
  EXPECT_EQ(GetDeviceCount(), 1);
  world.Device(0, Info(0, 0, 1, 0, 17));
  world.Device(1, Info(0, 0, 2, 0, 5));
  EXPECT_EQ(TypeOf(0), 5);
  EXPECT_EQ(GetDeviceCount(), 1);
  EXPECT_EQ(TypeOf(1), 5);  // beyond the count, but there
  ResetDeviceCache();
  EXPECT_EQ(TypeOf(0), 17);
  EXPECT_EQ(GetDeviceCount(), 2);
}

TEST(DeviceCache, ServesA257thRecordWithoutKeepingIt) {
  World world;
  for (int n = 0; n < 257; ++n) world.Device(n, Info(0, 0, n, 0, 5));
  for (std::uint16_t n = 0; n < 257; ++n) EXPECT_EQ(TypeOf(n), 5);
  for (int n = 0; n < 257; ++n) world.Device(n, Info(0, 0, n, 0, 17));
  EXPECT_EQ(TypeOf(255), 5);
  EXPECT_EQ(TypeOf(256), 17);
}

TEST(DeviceCache, FindsTheLowestDeviceAtAnAddress) {
  World world;
  EXPECT_EQ(Find({0, 0, 1, 0}), "65535");
  world.Device(0, Info(0, 0, 1, 0, 5));
  world.Device(1, Info(0, 0, 2, 0, 5));
  world.Device(2, Info(0, 0, 1, 0, 17));
  world.Device(4, Info(0, 0, 9, 0, 5));  // behind a gap
  ResetDeviceCache();
  EXPECT_EQ(TypeOf(2), 17);  // known before the others
  EXPECT_EQ(Find({0, 0, 1, 0}), "found 0");
  EXPECT_EQ(Find({0, 0, 2, 0}), "found 1");
  EXPECT_EQ(Find({0, 0, 9, 0}), "65535");
  EXPECT_EQ(Find({0, 0, 1, 1}), "65535");
  EXPECT_EQ(Find({0, 0, 1, 0}), "found 0");
}

TEST(DeviceCache, AnUnreadableRecordHidesTheDevicesBehindIt) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 5));
  world.Text("DEVICE1", "Info", "malformed");
  world.Device(2, Info(0, 0, 2, 0, 5));
  EXPECT_EQ(Find({0, 0, 2, 0}), "219");
  EXPECT_EQ(Find({0, 0, 1, 0}), "found 0");
  world.Make("DEVICE1");
  world.Remove("DEVICE1");
  EXPECT_EQ(Find({0, 0, 2, 0}), "3");
  world.Device(1, Info(0, 0, 3, 0, 5));
  EXPECT_EQ(Find({0, 0, 2, 0}), "found 2");
}

}  // namespace
}  // namespace devprep
