#include "store/product_config.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/world.h"

namespace devprep {
namespace {

const std::string kProducts = kProductKey + "\\Products";
const std::string kConfig = kProductKey + "\\ProductsConfigInfo\\65";

void Install(World& world, std::uint8_t mode, std::uint32_t size = 76) {
  std::string record(76, '\xEE');
  record.replace(24, 4, std::string{static_cast<char>(mode), '\0', '\0', '\0'});
  world.Binary(kProducts, "Vaultkeep Fibre", std::string("A\0\0\0behind it", 13));
  world.Dword(kConfig, "Size", size);
  world.Binary(kConfig, "Slot_1", record);
}

TEST(ProductConfig, TheRecordOfProduct65ChoosesOneOfTwoModes) {
  const struct {
    const char* what;
    std::function<void(World&)> set_up;
    std::uint32_t match, mask;
  } cases[] = {
      {"nothing", [](World&) {}, 0, 0},
      {"mode 0", [](World& w) { Install(w, 0); }, 1, 0},
      {"mode 1", [](World& w) { Install(w, 1); }, 0, 1},
      {"size 80", [](World& w) { Install(w, 0, 80); }, 0, 0},
      {"size smaller than the record", [](World& w) { Install(w, 1, 4); }, 0, 1},
      {"record too long",
       [](World& w) {
         Install(w, 0);
         w.Binary(kConfig, "Slot_1", std::string(77, '\0'));
       },
       0, 0},
      {"record that ends before the mode",
       [](World& w) {
         Install(w, 1);
         w.Binary(kConfig, "Slot_1", "1234");
       },
       1, 0},
      {"not listed",
       [](World& w) {
         Install(w, 0);
         w.Binary(kProducts, "Vaultkeep Fibre", std::string("A\0\0\1", 4));
       },
       0, 0},
      {"too short for a code",
       [](World& w) {
         Install(w, 0);
         w.Binary(kProducts, "Vaultkeep Fibre", "A");
       },
       0, 0},
      {"no record", [](World& w) { w.Binary(kProducts, "x", std::string("A\0\0\0", 4)); }, 0, 0},
      {"others before it",
       [](World& w) {
         w.Binary(kProducts, "A name of 19 bytes.", std::string(49, 'x'));
         Install(w, 0);
       },
       1, 0},
      {"a name of 20 characters before it",
       [](World& w) {
         w.Binary(kProducts, "A name of 20 charact", "1234");
         Install(w, 0);
       },
       0, 0},
      {"data of 50 bytes before it",
       [](World& w) {
         w.Binary(kProducts, "A name", std::string(50, 'x'));
         Install(w, 0);
       },
       0, 0},
  };
  for (const auto& c : cases) {
    World world;
    c.set_up(world);
    MatchByWorldWideId = MaskFibreDevices = 9;
    EXPECT_EQ(ReadProductConfig(), c.match + c.mask == 0 ? 65535 : 0) << c.what;
    EXPECT_EQ(MatchByWorldWideId, c.match) << c.what;
    EXPECT_EQ(MaskFibreDevices, c.mask) << c.what;
  }
}

TEST(ProductConfig, ResultsNameTheStepThatFailed) {
  World world;
  char data[80];
  std::uint32_t size = 75;
  EXPECT_EQ(FindInstalledProduct(65, nullptr), -1);
  EXPECT_EQ(FindInstalledProduct(65, data), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(ReadProductConfigSlot(0, 65, data, &size), ERROR_FILE_NOT_FOUND);
  Install(world, 0);
  EXPECT_EQ(FindInstalledProduct(66, data), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(FindInstalledProduct(65, data), 0);
  EXPECT_EQ(std::string(data + 4, 9), "behind it");
  EXPECT_EQ(ReadProductConfigSlot(1, 65, data, &size), -1);
  EXPECT_EQ(ReadProductConfigSlot(0, 66, data, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(ReadProductConfigSlot(0, 65, data, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 76U);
  EXPECT_EQ(ReadProductConfigSlot(0, 65, data, &size), 0);
}

}  // namespace
}  // namespace devprep
