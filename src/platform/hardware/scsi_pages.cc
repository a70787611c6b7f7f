#include "platform/hardware/scsi_pages.h"

#include <algorithm>

#include "platform/raw_scsi.h"

namespace devprep {
namespace {

constexpr std::uint8_t kInquiryOperation = 0x12;
constexpr std::uint8_t kEnableVitalProductData = 0x01;

constexpr std::size_t kTextSize = 28;
constexpr std::size_t kAdditionalLengthOffset = 4;

constexpr std::size_t kDesignatorHeaderSize = 4;
constexpr std::uint8_t kBinaryCodeSet = 1;
constexpr std::uint8_t kOfLogicalUnit = 0;
constexpr std::uint8_t kEui64Designator = 2;
constexpr std::uint8_t kNaaDesignator = 3;
constexpr std::size_t kLongNaaSize = 16;

std::uint8_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<std::uint8_t>(bytes[offset]);
}

CheckedAnswer Refuse(const char* problem) { return {std::nullopt, problem}; }

// The qualifier is not 0 when no device is connected at the unit, though a target may answer for
// it.
bool IsConnected(std::string_view answer) { return ByteAt(answer, 0) >> 5 == 0; }

// A designator's worth as a World Wide ID, the less the better; kNoWorth: none.
constexpr int kNoWorth = 3;
int WorthOf(std::uint8_t code_set, std::uint8_t association, std::uint8_t type,
            std::string_view designator) {
  if (code_set != kBinaryCodeSet || association != kOfLogicalUnit) return kNoWorth;
  if (type == kNaaDesignator && designator.size() == kWorldWideIdSize) return 0;
  if (type == kEui64Designator && designator.size() == kWorldWideIdSize) return 1;
  if (type == kNaaDesignator && designator.size() == kLongNaaSize) return 2;
  return kNoWorth;
}

}  // namespace

InquiryCommand StandardInquiryCommand() {
  return {kInquiryOperation, 0, 0, 0, kInquiryAllocation, 0};
}

InquiryCommand VitalProductDataCommand(std::uint8_t page) {
  return {kInquiryOperation, kEnableVitalProductData, page, 0, kInquiryAllocation, 0};
}

CheckedAnswer CheckStandardInquiry(std::string_view received) {
  if (received.size() < kInquiryTextOffset + kTextSize) return Refuse("inquiry data is cut");
  if (!IsConnected(received)) return Refuse("no device is connected at this unit");
  const std::size_t declared =
      ByteAt(received, kAdditionalLengthOffset) + kAdditionalLengthOffset + 1;
  if (declared < kInquiryTextOffset + kTextSize) return Refuse("inquiry data without its texts");
  return {std::string(received.substr(0, declared)), ""};
}

CheckedAnswer CheckVitalProductData(std::string_view received, std::uint8_t page) {
  if (received.size() < kPageHeaderSize) return Refuse("page is cut");
  if (!IsConnected(received)) return Refuse("no device is connected at this unit");
  if (ByteAt(received, 1) != page) return Refuse("another page than the one asked for");
  const std::size_t declared =
      static_cast<std::size_t>(ByteAt(received, 2) << 8 | ByteAt(received, 3)) + kPageHeaderSize;
  if (declared > received.size() && received.size() < kInquiryAllocation) {
    return Refuse("page is shorter than it says");
  }
  return {std::string(received.substr(0, declared)), ""};
}

CheckedAnswer WorldWideIdIn(std::string_view page) {
  // A page longer than all that was asked for breaks off in a designator and is no liar.
  const std::size_t declared =
      static_cast<std::size_t>(ByteAt(page, 2) << 8 | ByteAt(page, 3)) + kPageHeaderSize;
  const bool broken_off = declared > page.size();
  std::string_view best;
  int best_worth = kNoWorth;
  std::string_view rest = page.substr(kPageHeaderSize);
  while (!rest.empty()) {
    const bool whole_header = rest.size() >= kDesignatorHeaderSize;
    const std::size_t length = whole_header ? ByteAt(rest, 3) : 0;
    if (!whole_header || rest.size() - kDesignatorHeaderSize < length) {
      if (broken_off) break;
      return Refuse("a designator's length leads out of its page");
    }
    const std::string_view designator = rest.substr(kDesignatorHeaderSize, length);
    const int worth =
        WorthOf(ByteAt(rest, 0) & 0xF, ByteAt(rest, 1) >> 4 & 3, ByteAt(rest, 1) & 0xF, designator);
    if (worth < best_worth) {
      best_worth = worth;
      best = designator;
    }
    rest.remove_prefix(kDesignatorHeaderSize + length);
  }
  if (best_worth == kNoWorth) return Refuse("no World Wide ID among its designators");
  return {std::string(best.substr(0, kWorldWideIdSize)), ""};
}

std::uint8_t PeripheralTypeIn(std::string_view inquiry_data) {
  return ByteAt(inquiry_data, 0) & 0x1F;
}

std::string InquiryTextIn(std::string_view inquiry_data) {
  return std::string(inquiry_data.substr(kInquiryTextOffset, kTextSize));
}

std::uint8_t SenseKeyIn(std::string_view sense) {
  if (sense.empty()) return 0;
  const std::uint8_t response = ByteAt(sense, 0) & 0x7F;
  const std::size_t offset = response == 0x70 || response == 0x71   ? 2
                             : response == 0x72 || response == 0x73 ? 1
                                                                    : sense.size();
  return offset < sense.size() ? ByteAt(sense, offset) & 0xF : 0;
}

}  // namespace devprep
