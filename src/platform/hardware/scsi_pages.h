// INQUIRY: the commands, and what must hold of an answer before it is believed (SPC-4, 6.6
// and 7.8).
#ifndef DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_
#define DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace devprep {

inline constexpr std::uint8_t kDeviceIdentificationPage = 0x83;
// The most that is asked for: devices older than SPC-3 take a length of one byte only, and some
// host adapters none that is no multiple of 4.
inline constexpr std::uint8_t kInquiryAllocation = 252;

inline constexpr std::size_t kInquiryCommandSize = 6;
using InquiryCommand = std::array<std::uint8_t, kInquiryCommandSize>;

// The command for standard inquiry data, and for a page of vital product data. Each asks for
// kInquiryAllocation bytes.
InquiryCommand StandardInquiryCommand();
InquiryCommand VitalProductDataCommand(std::uint8_t page);

// An answer as far as it can be believed, or nothing and why not.
struct CheckedAnswer {
  std::optional<std::string> bytes;
  const char* problem = "";
};

// received: the bytes that arrived. Standard inquiry data must come from a connected unit and hold
// vendor, product and revision whole; it ends where its own length says.
CheckedAnswer CheckStandardInquiry(std::string_view received);

// A page must come from a connected unit, be the one asked for, and be as long as it says unless it
// filled all that was asked for. It ends where its own length says; blanks in it stay.
CheckedAnswer CheckVitalProductData(std::string_view received, std::uint8_t page);

// The 8-byte World Wide ID in a checked Device Identification page: of the designators of the
// logical unit the 8-byte NAA, else the EUI-64, else the first 8 bytes of a 16-byte NAA. Nothing
// when it holds none of them, or when a designator's length leads out of the page.
CheckedAnswer WorldWideIdIn(std::string_view page);

// The peripheral device type in standard inquiry data, and its 28 bytes of vendor, product and
// revision.
std::uint8_t PeripheralTypeIn(std::string_view inquiry_data);
std::string InquiryTextIn(std::string_view inquiry_data);

// The sense key in sense data of fixed or descriptor format; 0 (no sense) when it holds none.
std::uint8_t SenseKeyIn(std::string_view sense);
inline constexpr std::uint8_t kSenseUnitAttention = 6;

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_
