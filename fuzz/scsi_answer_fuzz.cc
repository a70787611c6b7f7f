// What devices answer: whatever bytes arrive, no more than arrived is believed, and an answer that
// is believed is what it says it is.
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/raw_scsi.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A buffer of its own, so that a sanitizer sees a byte too many.
  const std::string received(reinterpret_cast<const char*>(data), size);
  const auto check = [&received](const devprep::CheckedAnswer& answer) {
    Require(answer.bytes.has_value() == (*answer.problem == '\0'), "a refusal says why");
    Require(!answer.bytes || received.starts_with(*answer.bytes), "an answer is what arrived");
    return answer.bytes;
  };
  if (const auto inquiry = check(devprep::CheckStandardInquiry(received))) {
    Require(devprep::InquiryTextIn(*inquiry).size() == 28, "the texts are whole");
    Require(devprep::PeripheralTypeIn(*inquiry) < 32, "a type has five bits");
  }
  check(devprep::CheckVitalProductData(received, devprep::kUnitSerialNumberPage));
  if (const auto page =
          check(devprep::CheckVitalProductData(received, devprep::kDeviceIdentificationPage))) {
    const devprep::CheckedAnswer id = devprep::WorldWideIdIn(*page);
    Require(!id.bytes || (id.bytes->size() == devprep::kWorldWideIdSize &&
                          page->find(*id.bytes) != std::string::npos),
            "a World Wide ID stands in its page");
  }
  Require(devprep::SenseKeyIn(received) < 16, "a sense key has four bits");
  return 0;
}
