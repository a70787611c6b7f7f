#include "platform/raw_scsi.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "platform/posix/hardware.h"

namespace {

using devprep::CurrentHardware;
using devprep::HardwareSource;
using devprep::kWorldWideIdOffset;
using devprep::kWorldWideIdSize;

constexpr std::uint32_t kAnswered = 0;
constexpr std::uint32_t kNoAnswer = 1;

// Hands an answer to the caller, from an offset on, behind and before zeros.
std::uint32_t Deliver(const std::optional<std::string>& answer, std::size_t offset, std::size_t max,
                      std::uint8_t* buffer, std::uint32_t length) {
  if (!answer) return kNoAnswer;
  std::memset(buffer, 0, length);
  if (offset < length) {
    std::memcpy(buffer + offset, answer->data(), std::min({answer->size(), max, length - offset}));
  }
  return kAnswered;
}

}  // namespace

namespace devprep {

void PrefetchScsiAnswers(const ScsiAddress* units, std::size_t count) {
  HardwareSource* hardware = CurrentHardware();
  if (hardware != nullptr && count != 0) hardware->Prefetch({units, count});
}

}  // namespace devprep

extern "C" {

std::uint32_t ScsiInquiry(std::uint16_t port, std::uint16_t bus, std::uint16_t target,
                          std::uint16_t lun, std::uint8_t* buffer, std::uint32_t length) {
  HardwareSource* hardware = CurrentHardware();
  if (hardware == nullptr) return kNoAnswer;
  return Deliver(hardware->StandardInquiry({port, bus, target, lun}), 0, length, buffer, length);
}

std::uint32_t ScsiInquiryPage(std::uint16_t port, std::uint16_t bus, std::uint16_t target,
                              std::uint16_t lun, std::uint8_t* buffer, std::uint32_t length,
                              std::uint32_t page) {
  HardwareSource* hardware = CurrentHardware();
  if (hardware == nullptr) return kNoAnswer;
  return Deliver(hardware->VitalProductData({port, bus, target, lun}, page), 0, length, buffer,
                 length);
}

std::uint32_t ScsiGetWorldWideId(std::uint16_t port, std::uint16_t bus, std::uint16_t target,
                                 std::uint16_t lun, std::uint32_t /*selector*/,
                                 std::uint8_t* buffer, std::uint32_t length) {
  HardwareSource* hardware = CurrentHardware();
  if (hardware == nullptr) return kNoAnswer;
  return Deliver(hardware->WorldWideId({port, bus, target, lun}), kWorldWideIdOffset,
                 kWorldWideIdSize, buffer, length);
}

}  // extern "C"
