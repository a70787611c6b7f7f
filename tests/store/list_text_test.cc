#include "store/list_text.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace devprep {
namespace {

TEST(ListText, NumbersAreReadAsScanfReadsThem) {
  const struct {
    const char* text;
    int number;  // -1: none
    const char* rest;
  } cases[] = {
      {"12x", 12, "x"},
      {" \t\n\v\f\r7,", 7, ","},
      {"+5", 5, ""},
      {"-1", 65535, ""},
      {"007", 7, ""},
      {"65536", 0, ""},
      {"4294967297", 1, ""},
      {"18446744073709551615", 65535, ""},
      {"18446744073709551616", 65535, ""},  // beyond 64 bits: the greatest number
      {"99999999999999999999999", 65535, ""},
      {"-18446744073709551615", 1, ""},
      {"-18446744073709551616", 65535, ""},  // and no sign then
      {"", -1, ""},
      {"-", -1, "-"},
      {"+-1", -1, "+-1"},
      {" x1", -1, " x1"},
  };
  for (const auto& c : cases) {
    std::uint16_t number = 4711;
    const char* at = c.text;
    EXPECT_EQ(ScanNumber(&at, &number), c.number >= 0) << c.text;
    EXPECT_EQ(number, c.number >= 0 ? c.number : 4711) << c.text;
    EXPECT_STREQ(at, c.rest);
  }
}

}  // namespace
}  // namespace devprep
