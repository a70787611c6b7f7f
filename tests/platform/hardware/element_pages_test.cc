#include "platform/hardware/element_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/hardware/element_requests.h"
#include "support/recorded_answer.h"

namespace devprep {
namespace {

// One line for each element: type, address, flags, tag, and what is known of a drive.
std::string Described(const std::string& answer) {
  const std::vector<char> exact(answer.begin(), answer.end());
  const auto status = ParseElementStatus({exact.data(), exact.size()});
  if (!status) return "refused";
  std::string text;
  for (const Element& e : status->elements) {
    text += std::to_string(static_cast<int>(e.type)) + ':' + std::to_string(e.address) +
            (e.full ? " full" : "") + (e.exception ? " exception" : "");
    for (const std::string& field : {e.volume_tag, e.vendor, e.product, e.serial_number}) {
      if (!field.empty()) text += ' ' + field;
    }
    if (!e.world_wide_id.empty()) text += " naa " + std::to_string(BigEndian(e.world_wide_id));
    if (e.scsi_target) text += " target " + std::to_string(*e.scsi_target);
    if (e.source) text += " from " + std::to_string(*e.source);
    text += '\n';
  }
  return text + (status->cut ? "cut" : "");
}

// Without what nothing is made of, or without any text.
std::string Blanked(std::string answer, bool unknown_alone) {
  for (const ElementText& text : ElementTextsIn(answer)) {
    if (unknown_alone && text.kind != ElementText::Kind::kUnknown) continue;
    answer.replace(text.offset, text.size, text.size, '\0');
  }
  return answer;
}

TEST(ElementPages, DialectsAreReadAsFarAsTheirBytesGo) {
  const struct {
    const char* name;
    const char* elements;
  } cases[] = {
      {"elements_t10",
       "4:256 full A00001L6 ACME STREAMER-9 DRV0001 target 4 from 2\n2:1 full A00002L6\n"
       "2:2 exception\n"},
      {"elements_absent_tag", "4:256 full TAG1 SN1234\n"},
      {"elements_naa", "4:82 naa 5764927779007736781\n4:83\n"},
      {"elements_short", "2:100 full B00001\n2:101 full B00002\n4:128\ncut"},
  };
  for (const auto& c : cases) {
    const std::string whole = RecordedAnswer(c.name);
    EXPECT_EQ(Described(whole), c.elements) << c.name;
    // However an answer is cut, what is taken from it is in it, and no text is overlooked.
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const std::string cut = whole.substr(0, size);
      EXPECT_EQ(Described(Blanked(cut, true)), Described(cut));
      for (const char* text : {"DRV", "SN1", "TAG", "000", "\x50\x01"}) {
        EXPECT_EQ(Blanked(cut, false).find(text), std::string::npos) << c.name << size << text;
      }
    }
    EXPECT_EQ(Described(JoinElementStatus({whole}, false)).substr(0, 20),
              std::string(c.elements).substr(0, 20));
  }
}

// A changer with a drive at 256 and slots from 1 on, with the manners of its maker.
struct FakeChanger {
  std::function<bool(const ScsiCommand&)> refuses = [](const auto&) { return false; };
  std::size_t slots = 3;
  // How much it sends of an answer of that size.
  std::function<std::size_t(std::size_t)> sends = [](std::size_t size) { return size; };

  std::string Status(const ScsiCommand& command) const {
    const auto at = [&command](std::size_t i) { return static_cast<unsigned>(command.cdb[i]); };
    const unsigned type = at(1) & 0xF;
    const unsigned first = at(2) << 8 | at(3);
    unsigned left = at(4) << 8 | at(5);
    const bool identify = (at(6) & 1U) != 0;
    const auto number = [](std::size_t n, int bytes) {
      std::string text;
      while (bytes-- > 0) text += static_cast<char>(n >> (8 * bytes) & 0xFF);
      return text;
    };
    std::string pages;
    std::string slot_data;
    for (std::size_t n = first < 1 ? 1 : first; n <= slots && type != 4 && left > 0; ++n, --left) {
      slot_data += number(n, 2) + std::string(20, '\0');
    }
    if (!slot_data.empty()) {
      pages += std::string("\2\0\0\x16\0", 5) + number(slot_data.size(), 3) + slot_data;
    }
    if (type != 2 && type != 1 && type != 3 && first <= 256 && left > 0) {
      const std::string id = identify ? std::string("\2\0\0\4SN01", 8) : std::string(8, '\0');
      pages += std::string("\4\0\0\x14\0\0\0\x14", 8) + number(256, 2) + std::string(10, '\0') + id;
    }
    const std::string answer = number(0, 5) + number(pages.size(), 3) + pages;
    return answer.substr(0, std::min(sends(answer.size()), command.allocation));
  }

  // The elements found, "drives+slots", whether there should be more, the drive's serial number,
  // and the commands it took.
  std::string Ask() const {
    ElementStatusRequest request;
    FinishedCommand finished;
    std::size_t commands = 0;
    do {
      const ScsiCommand command = request.Command();
      ++commands;
      finished = {};
      if (refuses(command)) {
        finished.outcome = JudgeStatus(kStatusCheckCondition, {5, 0x24, 0});
      } else {
        finished.data = Status(command);
      }
    } while (request.Take(finished));
    const auto answer = request.Answer();
    if (!answer) return "none";
    const auto status = ParseElementStatus(*answer);
    std::size_t drives = 0;
    std::string serial;
    for (const Element& element : status->elements) {
      if (element.type != ElementType::kDrive) continue;
      ++drives;
      serial = element.serial_number;
    }
    return std::to_string(drives) + '+' + std::to_string(status->elements.size() - drives) +
           (status->cut ? " cut " : " ") + serial + ' ' + std::to_string(commands);
  }
};

TEST(ElementRequests, AChangerThatRefusesIsAskedForLessStepByStep) {
  const auto type = [](const ScsiCommand& c) { return c.cdb[1] & 0xF; };
  const auto count = [](const ScsiCommand& c) { return c.cdb[4] << 8 | c.cdb[5]; };
  const struct {
    const char* dialect;
    std::size_t slots;
    std::function<bool(const ScsiCommand&)> refuses;
    const char* found;
    std::function<std::size_t(std::size_t)> sends = [](std::size_t size) { return size; };
  } cases[] = {
      {"obliging", 3, [](const auto&) { return false; }, "1+3 SN01 1"},
      {"more than fits", 5000, [](const auto&) { return false; }, "1+5000 SN01 2"},
      {"no CURDATA", 3, [](const auto& c) { return (c.cdb[6] & 2) != 0; }, "1+3 SN01 2"},
      {"no DVCID", 3, [](const auto& c) { return (c.cdb[6] & 1) != 0; }, "1+3  4"},
      {"DVCID for drives alone", 3,
       [&](const auto& c) { return (c.cdb[6] & 1) != 0 && type(c) != 4; }, "1+3 SN01 4"},
      {"no VOLTAG", 3, [](const auto& c) { return (c.cdb[1] & 0x10) != 0; }, "1+3 SN01 5"},
      {"one type only", 3, [&](const auto& c) { return type(c) == 0; }, "1+3 SN01 12"},
      {"small parts", 200, [&](const auto& c) { return type(c) == 0 || count(c) > 64; },
       "1+200 SN01"},
      {"small answers", 5000, [](const auto& c) { return c.allocation > 65536; }, "1+5000 SN01"},
      {"no answer whole", 3, [](const auto&) { return false; }, "1+3 cut  ",
       [](std::size_t size) { return size - 2; }},
      {"no second part", 200, [](const auto& c) { return c.cdb[3] != 0; }, "1+90 cut SN01",
       [](std::size_t size) { return std::min<std::size_t>(size, 2000); }},
      {"so many parts that it is given up", 9000,
       [&](const auto& c) { return type(c) == 0 || count(c) > 1; }, "0+8143 cut  8192"},
      {"none at all", 3, [](const auto&) { return true; }, "none"},
  };
  for (const auto& c : cases) {
    const std::string found = FakeChanger{c.refuses, c.slots, c.sends}.Ask();
    EXPECT_EQ(found.substr(0, std::string(c.found).size()), c.found) << c.dialect << ": " << found;
  }
}

}  // namespace
}  // namespace devprep
