// Asking a medium changer for its elements, step by step where it refuses.
#ifndef DEVPREP_PLATFORM_HARDWARE_ELEMENT_REQUESTS_H_
#define DEVPREP_PLATFORM_HARDWARE_ELEMENT_REQUESTS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/hardware/element_pages.h"
#include "platform/hardware/scsi_request.h"

namespace devprep {

// Mode page 1Dh: by MODE SENSE(6), else by MODE SENSE(10).
class ElementAddressRequest : public ScsiRequest {
 public:
  ScsiCommand Command() const override { return ElementAddressCommand(ten_bytes_); }
  bool Take(const FinishedCommand& finished) override;
  Result<std::string> Answer() override { return answer_; }

 private:
  bool ten_bytes_ = false;
  Result<std::string> answer_ = Error{};
};

// READ ELEMENT STATUS of all elements. A changer that refuses is asked without CURDATA, DVCID and
// VOLTAG in each combination, then for one type of elements after the other, then in parts; an
// answer that did not fit is asked for again with room for it. The answer is that of one command,
// or several joined.
class ElementStatusRequest : public ScsiRequest {
 public:
  // Where the elements lie, once that is known: types without elements are then not asked for.
  void Learn(const ElementAddressAssignment& addresses) override { addresses_ = addresses; }

  ScsiCommand Command() const override { return command_.Command(); }
  bool Take(const FinishedCommand& finished) override;
  Result<std::string> Answer() override;

 private:
  bool TakeAnswer(const std::string& data);
  bool TakeRefusal(const std::string& reason);
  bool IsComplete(const ElementStatusExtent& extent) const;
  bool AskNextType();
  bool AskForPart(std::size_t first);
  bool AskForIdentities();

  static constexpr std::size_t kFirstAllocation = 65536;
  static constexpr std::size_t kMaxAllocation = (std::size_t{1} << 24U) - 4;
  static constexpr std::uint16_t kPartSize = 256;
  // A changer that answers in parts of 16 elements, and has as many as there are addresses.
  static constexpr std::size_t kMaxCommands = 8192;

  ElementStatusCommand command_ = {.allocation = kFirstAllocation};
  std::optional<ElementAddressAssignment> addresses_;
  std::size_t variant_ = 0;  // which bits are set
  bool variant_works_ = false;
  std::size_t type_index_ = 0;  // among kElementTypes, when they are asked for one by one
  bool in_parts_ = false;
  std::uint16_t part_size_ = kPartSize;
  bool rest_missing_ = false;  // of this type more was announced than has come
  bool cut_ = false;           // the same of any type asked for by itself
  bool for_identities_ = false;
  std::size_t commands_ = 0;
  std::vector<std::string> answers_;
  std::size_t total_size_ = 0;  // that the last of them announces
  std::string refusal_;
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_ELEMENT_REQUESTS_H_
