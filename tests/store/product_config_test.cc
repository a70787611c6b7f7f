#include "store/product_config.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/world.h"

namespace devprep {
namespace {

const std::string kProducts = kProductKey + "\\Products";
const std::string kConfig = kProductKey + "\\ProductsConfigInfo\\65";

const std::string kCode("A\0\0\0", 4);

std::string Record(char mode) { return std::string(24, 'x') + mode + std::string(51, '\0'); }

Value Product(const std::string& data, const std::string& name = "a product") {
  return {name, REG_BINARY, data};
}

TEST(ProductConfig, TheRecordOfProduct65ChoosesOneOfTwoModes) {
  const Value fibre = Product(kCode + "behind it", "fibre");
  const struct {
    const char* what;
    std::vector<Value> products;
    std::uint32_t size;  // 0: no record
    std::string record;
    std::uint32_t match, mask;
  } cases[] = {
      {"nothing", {}, 0, "", 0, 0},
      {"mode 0", {fibre}, 76, Record(0), 1, 0},
      {"mode 1", {fibre}, 76, Record(1), 0, 1},
      {"no record", {fibre}, 0, "", 0, 0},
      {"size 80", {fibre}, 80, Record(0), 0, 0},
      {"size smaller than the record", {fibre}, 4, Record(1), 0, 1},
      {"record too long", {fibre}, 76, Record(0) + '\0', 0, 0},
      {"record that ends before the mode", {fibre}, 76, "1234", 1, 0},
      {"another code", {Product(std::string("A\0\0\1", 4))}, 76, Record(0), 0, 0},
      {"too short for a code", {Product("A")}, 76, Record(0), 0, 0},
      {"others first",
       {Product(std::string(49, 'x'), "19 characters so on"), fibre},
       76,
       Record(0),
       1,
       0},
      {"a long name first", {Product("1234", "20 characters so on."), fibre}, 76, Record(0), 0, 0},
      {"long data first", {Product(std::string(50, 'x')), fibre}, 76, Record(0), 0, 0},
  };
  for (const auto& c : cases) {
    World world;
    for (const Value& product : c.products) world.Set(kProducts, product);
    if (c.size != 0) world.Dword(kConfig, "Size", c.size);
    if (c.size != 0) world.Binary(kConfig, "Slot_1", c.record);
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
  world.Set(kProducts, Product(kCode + "behind it"));
  world.Dword(kConfig, "Size", 76);
  world.Binary(kConfig, "Slot_1", Record(0));
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
