#include "platform/hardware/scsi_pages.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "support/recorded_answer.h"

namespace devprep {
namespace {

std::string Hexadecimal(const std::string& bytes) {
  std::ostringstream text;
  for (const char c : bytes) {
    text << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(c & 0xFF);
  }
  return text.str();
}

// Exactly the bytes that may be read, so that a sanitizer sees one too many.
Result<std::string> Check(const std::string& name, Result<std::string> (*check)(std::string_view)) {
  const std::string recorded = RecordedAnswer(name);
  const std::vector<char> bytes(recorded.begin(), recorded.end());
  return check({bytes.data(), bytes.size()});
}

TEST(ScsiPages, InquiryDataIsBelievedWithItsTextsWholeAndADeviceConnected) {
  const struct {
    const char* name;
    int size;  // -1: not believed
    const char* text;
  } cases[] = {
      {"changer_inquiry", 66, "ACME    ROBOT-40        R100"},
      {"inquiry_long_length", 36, "ACME    OLDTIMER        9.0 "},
      {"inquiry_surplus", 36, "ACME    OLDTIMER        9.0 "},
      {"inquiry_cut", -1, ""},
      {"inquiry_short_length", -1, ""},
      {"inquiry_not_connected", -1, ""},
      {"inquiry_disconnected", -1, ""},
  };
  for (const auto& c : cases) {
    const Result<std::string> answer = Check(c.name, CheckStandardInquiry);
    EXPECT_EQ(answer ? static_cast<int>(answer->size()) : -1, c.size) << c.name;
    EXPECT_EQ(answer ? InquiryTextIn(*answer) : "", c.text) << c.name;
  }
}

TEST(ScsiPages, ASerialNumberPageIsThePageAskedForAndAsLongAsItSays) {
  const struct {
    const char* name;
    const char* serial;  // null: not believed
  } cases[] = {
      {"changer_serial", "                           LIBSN0001"},
      {"serial_surplus", "4000"},
      {"serial_empty", ""},
      {"serial_cut", nullptr},
      {"serial_header_cut", nullptr},
      {"serial_wrong_page", nullptr},
      {"serial_not_connected", nullptr},
      {"identification_is_inquiry", nullptr},  // its second byte happens to be 80h
  };
  for (const auto& c : cases) {
    const Result<std::string> page =
        Check(c.name, [](std::string_view bytes) { return CheckVitalProductData(bytes, 0x80); });
    ASSERT_EQ(static_cast<bool>(page), c.serial != nullptr) << c.name;
    if (page) {
      EXPECT_EQ(page->substr(4), c.serial) << c.name;
    }
  }
}

TEST(ScsiPages, TheWorldWideIdIsTheUnitsOwnAndTheBestOfIts) {
  const struct {
    const char* name;
    const char* id;  // empty: none
  } cases[] = {
      {"changer_identification", "3000000100000003"},
      {"ports_and_unit_identification", "3333333000000fa0"},
      {"identification_port_first", "5555555555555555"},
      {"identification_eui64", "0044444444444444"},
      {"identification_long_naa", "6333333333333331"},
      {"identification_broken_off", "5555555555555555"},
      {"identification_zeros", "0000000000000000"},
      {"identification_text_only", ""},
      {"identification_lying_designator", ""},
      {"identification_cut_header", ""},
      {"identification_cut", ""},
      {"identification_wrong_page", ""},
      {"identification_is_inquiry", ""},
  };
  for (const auto& c : cases) {
    const Result<std::string> id = Check(c.name, [](std::string_view bytes) {
      const Result<std::string> page = CheckVitalProductData(bytes, kDeviceIdentificationPage);
      return page ? WorldWideIdIn(*page) : page;
    });
    EXPECT_EQ(Hexadecimal(id ? *id : ""), c.id) << c.name;
  }
}

TEST(ScsiPages, NoBeginningOfAnAnswerIsTakenForMoreThanItIs) {
  for (const char* name : {"changer_inquiry", "changer_serial", "changer_identification"}) {
    const std::string whole = RecordedAnswer(name);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      const std::vector<char> part(whole.begin(),
                                   whole.begin() + static_cast<std::ptrdiff_t>(size));
      const std::string_view bytes(part.data(), part.size());
      // A page whose fifth byte passes for a length cannot be told from inquiry data.
      if (name == std::string("changer_inquiry")) {
        EXPECT_EQ(static_cast<bool>(CheckStandardInquiry(bytes)), size >= 36) << size;
      }
      for (const std::uint8_t page : {std::uint8_t{0x80}, kDeviceIdentificationPage}) {
        const Result<std::string> answer = CheckVitalProductData(bytes, page);
        EXPECT_TRUE(!answer || size == whole.size()) << name << ' ' << size;
        if (answer && page == kDeviceIdentificationPage) (void)WorldWideIdIn(*answer);
      }
    }
  }
}

TEST(ScsiPages, SenseOfBothFormatsAndWhatIsWorthAnotherTry) {
  using namespace std::string_literals;
  const struct {
    std::string data;
    int key, code, qualifier;
    CommandStatus status;
  } cases[] = {
      {"\x70\x00\x06\x00\x00\x00\x00\x0a\x00\x00\x00\x00\x29\x01"s, 6, 0x29, 1,
       CommandStatus::kTryAgain},
      {"\x72\x02\x04\x01"s, 2, 4, 1, CommandStatus::kTryAgain},
      {"\x72\x0b\x04\x01"s, 11, 4, 1, CommandStatus::kTryAgain},
      {"\xf0\x00\x65"s, 5, 0, 0, CommandStatus::kRefused},
      {"\x70\x00"s, 0, 0, 0, CommandStatus::kRefused},
      {"\x00\x06\x06"s, 0, 0, 0, CommandStatus::kRefused},
      {"", 0, 0, 0, CommandStatus::kRefused},
  };
  for (const auto& c : cases) {
    const Sense sense = SenseIn(c.data);
    EXPECT_EQ(sense.key, c.key);
    EXPECT_EQ(sense.code, c.code);
    EXPECT_EQ(sense.qualifier, c.qualifier);
    EXPECT_EQ(JudgeStatus(kStatusCheckCondition, sense).status, c.status);
  }
}

}  // namespace
}  // namespace devprep
