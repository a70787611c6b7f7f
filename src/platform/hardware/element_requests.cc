#include "platform/hardware/element_requests.h"

#include <algorithm>
#include <array>
#include <utility>

namespace devprep {
namespace {

// In the order in which they are tried: identities are worth most, volume tags come next.
struct Variant {
  bool identification;
  bool volume_tags;
  bool current_data;
};
constexpr std::array<Variant, 8> kVariants = {{{true, true, true},
                                               {true, true, false},
                                               {false, true, true},
                                               {false, true, false},
                                               {true, false, true},
                                               {true, false, false},
                                               {false, false, true},
                                               {false, false, false}}};

// The additional sense code of a unit that does not know the command at all.
constexpr std::uint8_t kInvalidOperationCode = 0x20;

void Set(ElementStatusCommand& command, const Variant& variant) {
  command.identification = variant.identification;
  command.volume_tags = variant.volume_tags;
  command.current_data = variant.current_data;
}

}  // namespace

bool ElementAddressRequest::Take(const FinishedCommand& finished) {
  answer_ = finished.outcome.status == CommandStatus::kGood
                ? ElementAddressPageIn(finished.data, ten_bytes_)
                : Result<std::string>(Error{finished.outcome.reason});
  if (answer_ || ten_bytes_) return false;
  ten_bytes_ = true;
  return true;
}

bool ElementStatusRequest::Take(const FinishedCommand& finished) {
  if (++commands_ == kMaxCommands) {
    cut_ = true;
    return false;
  }
  if (finished.outcome.status == CommandStatus::kGood) return TakeAnswer(finished.data);
  if (finished.sense.code == kInvalidOperationCode && answers_.empty()) {
    refusal_ = finished.outcome.reason;
    return false;
  }
  return TakeRefusal(finished.outcome.reason);
}

bool ElementStatusRequest::TakeAnswer(const std::string& data) {
  const Result<ElementStatusExtent> extent = MeasureElementStatus(data);
  if (!extent) return TakeRefusal(extent.Failure().message);
  if (for_identities_) {
    // Before the answer that lacks them: of two descriptors of one element the first counts.
    answers_.insert(answers_.begin(), data);
    return false;
  }
  if (extent->cut && command_.allocation < std::min(extent->total_size, kMaxAllocation)) {
    command_.allocation = std::min(extent->total_size, kMaxAllocation);
    return true;
  }
  variant_works_ = true;
  answers_.push_back(data);
  total_size_ = extent->total_size;
  if (command_.type == ElementType::kAll) {
    if (!extent->cut && IsComplete(*extent)) return AskForIdentities();
    // It does not come whole at once: what the types add is told apart by its addresses.
    return AskNextType();
  }
  // An empty answer brings nothing of what was announced before.
  if (extent->elements != 0) rest_missing_ = extent->cut;
  const bool more = (extent->cut || in_parts_) && extent->elements != 0;
  if (more && extent->next_address > command_.first) return AskForPart(extent->next_address);
  return AskNextType();
}

// Some changers leave types of elements out when they are asked for all of them.
bool ElementStatusRequest::IsComplete(const ElementStatusExtent& extent) const {
  std::size_t expected = 0;
  for (const ElementType type : kElementTypes) {
    if (addresses_) expected += addresses_->Of(type).count;
  }
  return extent.elements >= expected;
}

bool ElementStatusRequest::TakeRefusal(const std::string& reason) {
  if (for_identities_) return false;
  refusal_ = reason;
  if (command_.allocation > kFirstAllocation) {
    // So much at once does not come through.
    command_.allocation = kFirstAllocation;
    if (in_parts_ && part_size_ > 1) part_size_ = static_cast<std::uint16_t>(part_size_ / 4);
    return command_.type == ElementType::kAll ? AskNextType() : AskForPart(command_.first);
  }
  if (!variant_works_ && variant_ + 1 < kVariants.size()) {
    Set(command_, kVariants[++variant_]);
    return true;
  }
  if (command_.type == ElementType::kAll) return AskNextType();
  if (!in_parts_) return AskForPart(command_.first);
  if (part_size_ > 1) {
    part_size_ = static_cast<std::uint16_t>(part_size_ / 4);
    command_.count = part_size_;
    if (!variant_works_) Set(command_, kVariants[variant_ = 0]);
    return true;
  }
  return AskNextType();
}

// Starts with the next type of elements that the changer may have.
bool ElementStatusRequest::AskNextType() {
  cut_ = std::exchange(rest_missing_, false) || cut_;
  type_index_ = command_.type == ElementType::kAll ? 0 : type_index_ + 1;
  if (addresses_) {
    while (type_index_ < kElementTypes.size() &&
           addresses_->Of(kElementTypes[type_index_]).count == 0) {
      ++type_index_;
    }
  }
  if (type_index_ >= kElementTypes.size()) {
    command_.type = ElementType::kDrive;
    return AskForIdentities();
  }
  const std::size_t allocation = command_.allocation;
  command_ = {.type = kElementTypes[type_index_], .allocation = allocation};
  in_parts_ = false;
  part_size_ = kPartSize;
  if (!variant_works_) variant_ = 0;
  Set(command_, kVariants[variant_]);
  return true;
}

bool ElementStatusRequest::AskForPart(std::size_t first) {
  if (addresses_) {
    const ElementRange& range = addresses_->Of(command_.type);
    first = std::max<std::size_t>(first, range.first);
    if (first >= std::size_t{range.first} + range.count) {
      rest_missing_ = false;
      return AskNextType();
    }
  }
  if (first > 0xFFFF) return AskNextType();
  in_parts_ = true;
  if (!variant_works_) Set(command_, kVariants[variant_ = 0]);
  command_.first = static_cast<std::uint16_t>(first);
  command_.count = part_size_;
  return true;
}

// Changers that refuse identification for other elements may give it for drives alone.
bool ElementStatusRequest::AskForIdentities() {
  if (answers_.empty() || command_.identification || for_identities_) return false;
  for_identities_ = true;
  const bool volume_tags = command_.volume_tags;
  command_ = {.type = ElementType::kDrive,
              .volume_tags = volume_tags,
              .current_data = command_.current_data,
              .allocation = kFirstAllocation};
  return true;
}

Result<std::string> ElementStatusRequest::Answer() {
  if (answers_.empty()) {
    return Error{refusal_.empty() ? "it does not report its elements" : refusal_};
  }
  if (answers_.size() > 1 || cut_) return JoinElementStatus(answers_, cut_);
  std::string answer = answers_.front();
  constexpr std::size_t kHeaderSize = 8;
  if (total_size_ > kHeaderSize) answer.resize(std::min(answer.size(), total_size_));
  return answer;
}

}  // namespace devprep
