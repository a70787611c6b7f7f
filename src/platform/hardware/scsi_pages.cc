#include "platform/hardware/scsi_pages.h"

#include <algorithm>
#include <cstdio>

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

Error Refuse(const char* problem) { return {problem}; }

std::size_t DeclaredSize(std::string_view page) {
  return static_cast<std::size_t>(BigEndian(page.substr(2, 2))) + kPageHeaderSize;
}

ScsiCommand InquiryCommand(std::uint8_t flags, std::uint8_t page) {
  return {{kInquiryOperation, flags, page, 0, kInquiryAllocation, 0}, 6, kInquiryAllocation};
}

// A designator's rank as a World Wide ID, the best being 0; kNoRank: it is none.
constexpr int kNoRank = 3;
int RankOf(std::uint8_t code_set, std::uint8_t association, std::uint8_t type,
           std::string_view designator) {
  if (code_set != kBinaryCodeSet || association != kOfLogicalUnit) return kNoRank;
  if (type == kNaaDesignator && designator.size() == kWorldWideIdSize) return 0;
  if (type == kEui64Designator && designator.size() == kWorldWideIdSize) return 1;
  if (type == kNaaDesignator && designator.size() == kLongNaaSize) return 2;
  return kNoRank;
}

}  // namespace

ScsiCommand StandardInquiryCommand() { return InquiryCommand(0, 0); }

ScsiCommand VitalProductDataCommand(std::uint8_t page) {
  return InquiryCommand(kEnableVitalProductData, page);
}

Result<std::string> CheckStandardInquiry(std::string_view received) {
  if (received.size() < kInquiryTextOffset + kTextSize)
    return Refuse("the inquiry data is cut short");
  if (IsDisconnected(received)) return Refuse("no device is connected at this unit");
  const std::size_t declared =
      ByteAt(received, kAdditionalLengthOffset) + kAdditionalLengthOffset + 1;
  if (declared < kInquiryTextOffset + kTextSize)
    return Refuse("the inquiry data does not hold vendor, product and revision");
  return std::string(received.substr(0, declared));
}

Result<std::string> CheckVitalProductData(std::string_view received, std::uint8_t page) {
  if (received.size() < kPageHeaderSize) return Refuse("the page is cut short");
  if (IsDisconnected(received)) return Refuse("no device is connected at this unit");
  if (ByteAt(received, 1) != page)
    return Refuse("the device sent another page than it was asked for");
  const std::size_t declared = DeclaredSize(received);
  if (declared > received.size() && received.size() < kInquiryAllocation) {
    return Refuse("the page is shorter than it says");
  }
  return std::string(received.substr(0, declared));
}

Result<std::string> WorldWideIdIn(std::string_view page) {
  // A page longer than all that was asked for breaks off in a designator and is no liar.
  const bool broken_off = DeclaredSize(page) > page.size();
  std::string_view best;
  int best_rank = kNoRank;
  std::string_view rest = page.substr(kPageHeaderSize);
  while (!rest.empty()) {
    const bool whole_header = rest.size() >= kDesignatorHeaderSize;
    const std::size_t length = whole_header ? ByteAt(rest, 3) : 0;
    if (!whole_header || rest.size() - kDesignatorHeaderSize < length) {
      if (broken_off) break;
      return Refuse("an identifier's length leads out of its page");
    }
    const std::string_view designator = rest.substr(kDesignatorHeaderSize, length);
    const int rank =
        RankOf(ByteAt(rest, 0) & 0xF, ByteAt(rest, 1) >> 4 & 3, ByteAt(rest, 1) & 0xF, designator);
    if (rank < best_rank) {
      best_rank = rank;
      best = designator;
    }
    rest.remove_prefix(kDesignatorHeaderSize + length);
  }
  if (best_rank == kNoRank) return Refuse("no World Wide ID among its identifiers");
  return std::string(best.substr(0, kWorldWideIdSize));
}

std::uint8_t PeripheralTypeIn(std::string_view inquiry_data) {
  return ByteAt(inquiry_data, 0) & 0x1F;
}

std::string InquiryTextIn(std::string_view inquiry_data) {
  return std::string(inquiry_data.substr(kInquiryTextOffset, kTextSize));
}

bool IsDisconnected(std::string_view answer) {
  return !answer.empty() && ByteAt(answer, 0) >> 5 != 0;
}

std::uint64_t BigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8U | static_cast<std::uint8_t>(byte);
  return number;
}

std::string TrimmedText(std::string_view text) {
  const auto is_padding = [](char c) { return c == ' ' || c == '\0'; };
  while (!text.empty() && is_padding(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_padding(text.back())) text.remove_suffix(1);
  return std::string(text);
}

Sense SenseIn(std::string_view sense_data) {
  const auto at = [&sense_data](std::size_t offset) {
    return offset < sense_data.size() ? ByteAt(sense_data, offset) : std::uint8_t{0};
  };
  switch (at(0) & 0x7F) {
    case 0x70:  // fixed format, current and deferred
    case 0x71:
      return {static_cast<std::uint8_t>(at(2) & 0xF), at(12), at(13)};
    case 0x72:  // descriptor format
    case 0x73:
      return {static_cast<std::uint8_t>(at(1) & 0xF), at(2), at(3)};
    default:
      return {};
  }
}

CommandOutcome JudgeStatus(std::uint8_t scsi_status, const Sense& sense) {
  switch (scsi_status) {
    case kStatusGood:
      return {};
    case 0x08:
      return {CommandStatus::kTryAgain, "it is busy"};
    case 0x18:
      return {CommandStatus::kTryAgain, "it is reserved by another machine"};
    case 0x28:
      return {CommandStatus::kTryAgain, "its queue of commands is full"};
    case 0x40:
      return {CommandStatus::kTryAgain, "it aborts commands"};
    case kStatusCheckCondition:
      break;
    default:
      return {CommandStatus::kRefused,
              "it ends commands with status " + std::to_string(scsi_status)};
  }
  switch (sense.key) {
    case kSenseNotReady:
      return {CommandStatus::kTryAgain, "it is not ready"};
    case kSenseUnitAttention:
      return {CommandStatus::kTryAgain, "it keeps reporting unit attentions"};
    case kSenseAbortedCommand:
      return {CommandStatus::kTryAgain, "it aborts commands"};
    default: {
      std::array<char, 16> codes{};
      std::snprintf(codes.data(), codes.size(), "%Xh/%02Xh/%02Xh", static_cast<unsigned>(sense.key),
                    static_cast<unsigned>(sense.code), static_cast<unsigned>(sense.qualifier));
      return {CommandStatus::kRefused,
              std::string("it refuses the command (sense ") + codes.data() + ')'};
    }
  }
}

}  // namespace devprep
