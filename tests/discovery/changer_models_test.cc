#include "discovery/changer_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace devprep {
namespace {

std::ptrdiff_t RowOf(std::string text) {
  text.resize(kChangerTextSize, ' ');
  // Exactly the bytes that may be read, so that a sanitizer sees one too many.
  const std::vector<char> bytes(text.begin(), text.end());
  return &FindChangerModel(bytes.data()) - SupportedChangers;
}

std::string NameOf(const ChangerModel& model) { return {model.Name, sizeof model.Name}; }

TEST(FindChangerModel, PicksTheRowThatTheTapeEngineWouldPick) {
  using namespace std::string_literals;
  const struct {
    std::string text;
    std::ptrdiff_t row;
  } cases[] = {
      {"", 0},
      {"NOBODY  L700", 0},
      {"HP\0\0\0\0\0\0C1100F"s, 0},  // the vendor field is filled with blanks, not zeros
      {"SILO\r   ", 0},              // only letters lose their case: '-' is not '\r'
      {"ACSLS   anything", 1},       // compares less than the vendor field
      {"SILO-   anything", 2},
      {"ADIC    Scalar 1000", 12},
      {"adic    sCALAR 1000", 12},
      {"ADIC    Scalar 24", 14},
      {"ADIC    no such", 15},
      {"ATL     P3000    6310050", 23},  // all 24 bytes count
      {"ATL     P3000    6310051", 24},
      {"ATL     L500", 24},  // a row of length 8 hides the one after it
      {"TL       OPTICAL", 36},
      {"Compaq  15/30GB", 38},  // vendors that differ in case are one run
      {"TALVORIN OPTICAL", 55},
      {"TALVORINOPTICAL", 55},  // fits no row: the last of the run
      {"HITACHI ML010-020-1X", 101},
      {"HP      C1100F", 129},
      {"HP      C1160F", 135},
      {"HP      no such", 145},
      {"MaxoptixMX", 148},  // the length reaches two blanks past the product
      {"MaxoptixMX\0\0"s, 149},
      {"MaxoptixMX-2", 149},
      {"IBM     MULTI-3", 157},
      {"IBM     03590E11", 162},
      {"quantum dlt2140", 198},
      {"NEC     TL620NS", 262},
      {"NEC     no such", 262},  // the run ends with the table
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RowOf(c.text), c.row) << c.text;
  }
}

TEST(SupportedChangers, NamesAndCompareLengthsAreThoseOfTheTapeEngine) {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  std::uint32_t compared = 0;
  std::string tails;  // row:tabs/zeros
  for (std::size_t i = 0; i < kSupportedChangerCount; ++i) {
    const std::string name = NameOf(SupportedChangers[i]);
    for (const char c : name) {
      hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    compared += SupportedChangers[i].CompareLength;
    const auto tabs = std::count(name.begin(), name.end(), '\t');
    const auto zeros = std::count(name.begin(), name.end(), '\0');
    if (tabs != 0 || zeros != 0) {
      tails += std::to_string(i) + ":" + std::to_string(tabs) + "/" + std::to_string(zeros) + " ";
      EXPECT_EQ(name.find('\t'), SupportedChangers[i].CompareLength) << name;
    }
  }
  EXPECT_EQ(tails, "25:4/4 71:2/3 72:2/3 73:1/1 74:1/1 75:1/0 76:1/1 77:1/0 ");
  EXPECT_EQ(hash, 0xa185dac76298ef77U);
  EXPECT_EQ(compared, 3737U);
}

TEST(SupportedChangers, OpticalLibrariesAreExactlyTheseRows) {
  const struct {
    std::size_t first, last;
  } optical[] = {{36, 36}, {55, 55}, {71, 77}, {129, 144}, {146, 158}, {195, 195}, {211, 213}};
  std::map<std::uint32_t, int> classes;
  for (std::size_t i = 0; i < kSupportedChangerCount; ++i) {
    const ChangerModel& model = SupportedChangers[i];
    ++classes[model.Attributes >> 24];
    EXPECT_EQ((model.Attributes & kOpticalLibrary) != 0,
              std::any_of(std::begin(optical), std::end(optical),
                          [i](const auto& rows) { return rows.first <= i && i <= rows.last; }))
        << NameOf(model);
    EXPECT_EQ(model.Handler, SupportedChangers[0].Handler) << NameOf(model);
    EXPECT_LE(model.SlotsB, model.Slots) << NameOf(model);
  }
  EXPECT_EQ(classes, (std::map<std::uint32_t, int>{{0x00, 1}, {0x01, 218}, {0x10, 42}, {0x20, 2}}));
}

}  // namespace
}  // namespace devprep
