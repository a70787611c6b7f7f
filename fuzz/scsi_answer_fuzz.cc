// What devices answer: whatever bytes arrive, no more than arrived is believed, and an answer that
// is believed is what it says it is.
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/hardware/element_pages.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/raw_scsi.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A buffer of its own, so that a sanitizer sees a byte too many.
  const std::string received(reinterpret_cast<const char*>(data), size);
  const auto check = [&received](const devprep::Result<std::string>& answer) {
    Require(answer || !answer.Failure().message.empty(), "a refusal says why");
    Require(!answer || received.starts_with(*answer), "an answer is what arrived");
    return answer;
  };
  if (const auto inquiry = check(devprep::CheckStandardInquiry(received))) {
    Require(devprep::InquiryTextIn(*inquiry).size() == 28, "the texts are whole");
    Require(devprep::PeripheralTypeIn(*inquiry) < 32, "a type has five bits");
  }
  (void)check(devprep::CheckVitalProductData(received, devprep::kUnitSerialNumberPage));
  if (const auto page =
          check(devprep::CheckVitalProductData(received, devprep::kDeviceIdentificationPage))) {
    const devprep::Result<std::string> id = devprep::WorldWideIdIn(*page);
    Require(
        !id || (id->size() == devprep::kWorldWideIdSize && page->find(*id) != std::string::npos),
        "a World Wide ID stands in its page");
  }
  for (const devprep::ElementText& text : devprep::ElementTextsIn(received)) {
    Require(text.size != 0 && text.offset + text.size <= received.size(),
            "a text is in its answer");
  }
  if (const auto elements = devprep::ParseElementStatus(received)) {
    const auto joined = devprep::ParseElementStatus(devprep::JoinElementStatus({received}, false));
    Require(joined && joined->elements.size() <= elements->elements.size() &&
                (!joined->cut || elements->cut),
            "joining adds nothing");
    const auto extent = devprep::MeasureElementStatus(received);
    Require(extent && extent->elements == elements->elements.size() && extent->cut == elements->cut,
            "what is measured is what is read");
  }
  for (const bool ten_bytes : {false, true}) {
    const auto addresses = devprep::ElementAddressPageIn(received, ten_bytes);
    Require(!addresses || devprep::ParseElementAddressPage(*addresses), "a page can be read");
  }
  (void)devprep::DataTransferElementAddressIn(received);
  Require(devprep::SenseIn(received).key < 16, "a sense key has four bits");
  return 0;
}
