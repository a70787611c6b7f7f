#include "store/list_text.h"

#include <gtest/gtest.h>

#include <string>

namespace devprep {
namespace {

TEST(ListText, ItemsEndWithTheTextAndNotWithItsLastComma) {
  const struct {
    std::string list;
    const char* items;  // each in brackets, the one flagged last with '!'
  } cases[] = {
      {"", ""},
      {"3", "[3]!"},
      {"1,2,3", "[1][2][3]!"},
      {"1,2, ", "[1][2]!"},
      {"1,,2", "[1][][2]!"},
      {"1,,", "[1]"},
      {",", "[]"},
      {",,", "[]"},
      {" ", "[ ]!"},
      {" , ", "[ ]!"},
      {",1", "[][1]!"},
      {"1, ,", "[1][ ]!"},
      {"1,\t", "[1][\t]!"},
  };
  for (const auto& c : cases) {
    std::string text = c.list;
    ListWalk walk{text.data()};
    std::string items;
    std::uint16_t last = 9;
    for (const char* item = NextItem(&walk, &last); item != nullptr;
         item = NextItem(&walk, &last)) {
      items += "[" + std::string(item) + (last != 0 ? "]!" : "]");
    }
    EXPECT_EQ(items, c.items) << '"' << c.list << '"';
  }
}

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

TEST(ListText, APairKeepsWhatCannotBeRead) {
  const struct {
    const char* text;
    int first, second;  // from 8 and 9
  } cases[] = {{"1-10", 1, 10},    {"1", 1, 9},    {"1-", 1, 9},    {"x-3", 8, 9},
               {"1--2", 1, 65534}, {"1-+2", 1, 2}, {"1\t-2", 1, 9}, {"1-\t2z", 1, 2}};
  for (const auto& c : cases) {
    std::uint16_t first = 8;
    std::uint16_t second = 9;
    ScanPair(c.text, &first, &second);
    EXPECT_EQ(first, c.first) << c.text;
    EXPECT_EQ(second, c.second) << c.text;
  }
}

}  // namespace
}  // namespace devprep
