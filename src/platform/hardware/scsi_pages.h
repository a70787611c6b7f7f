// SCSI commands and answers: INQUIRY and its pages (SPC-4, 6.6 and 7.8), what a status and sense
// data mean (SAM-5, 5.3; SPC-4, 4.5), and what must hold of an answer before it is believed.
#ifndef DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_
#define DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace devprep {

// A command that only reads.
struct ScsiCommand {
  std::array<std::uint8_t, 16> cdb{};
  std::uint8_t size = 0;       // bytes of cdb
  std::size_t allocation = 0;  // the longest answer that it asks for, in bytes
};

inline constexpr std::uint8_t kDeviceIdentificationPage = 0x83;
inline constexpr std::uint8_t kElementAddressPage = 0xB4;
// How much of an INQUIRY is asked for: devices older than SPC-3 take a length of one byte only, and
// some host adapters only a multiple of 4.
inline constexpr std::uint8_t kInquiryAllocation = 252;

// The command for standard inquiry data, and for a page of vital product data. Each asks for
// kInquiryAllocation bytes.
ScsiCommand StandardInquiryCommand();
ScsiCommand VitalProductDataCommand(std::uint8_t page);

// received: the bytes that arrived. Standard inquiry data must come from a connected unit and hold
// vendor, product and revision whole; it ends where its own length says.
Result<std::string> CheckStandardInquiry(std::string_view received);

// A page must come from a connected unit, be the one asked for, and be as long as it says unless it
// filled all that was asked for. It ends where its own length says; blanks in it stay.
Result<std::string> CheckVitalProductData(std::string_view received, std::uint8_t page);

// The 8-byte World Wide ID in a checked Device Identification page: of the designators of the
// logical unit the 8-byte NAA, else the EUI-64, else the first 8 bytes of a 16-byte NAA. Fails when
// it holds none of them, or when a designator's length leads out of the page.
Result<std::string> WorldWideIdIn(std::string_view page);

// The peripheral device type in standard inquiry data, and its 28 bytes of vendor, product and
// revision.
std::uint8_t PeripheralTypeIn(std::string_view inquiry_data);
std::string InquiryTextIn(std::string_view inquiry_data);

// Whether an answer to INQUIRY, of any length, says that no device is connected at its unit.
bool IsDisconnected(std::string_view answer);

// One byte of an answer that is longer than offset.
inline std::uint8_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<std::uint8_t>(bytes[offset]);
}

// A big-endian number of up to 8 bytes.
std::uint64_t BigEndian(std::string_view bytes);

// The text without blanks and zero bytes at either end.
std::string TrimmedText(std::string_view text);

struct Sense {
  std::uint8_t key = 0;        // 0: no sense
  std::uint8_t code = 0;       // additional sense code
  std::uint8_t qualifier = 0;  // of the additional sense code
};

inline constexpr std::uint8_t kSenseNotReady = 0x02;
inline constexpr std::uint8_t kSenseUnitAttention = 0x06;
inline constexpr std::uint8_t kSenseAbortedCommand = 0x0B;

// The sense in sense data of fixed or descriptor format; zeros where it holds none.
Sense SenseIn(std::string_view sense_data);

inline constexpr std::uint8_t kStatusGood = 0x00;
inline constexpr std::uint8_t kStatusCheckCondition = 0x02;

// What became of a command.
enum class CommandStatus {
  kGood,
  kTryAgain,  // not now: the unit is busy, reserved, not ready, or wanted to tell of a change first
  kRefused,   // the unit does not know the command or the page, or is not able to answer
  kUnreachable  // the way to the unit failed
};

struct CommandOutcome {
  CommandStatus status = CommandStatus::kGood;
  std::string reason;  // for people; empty when status is kGood
};

// The outcome of a command that a unit ended with a SCSI status and, for CHECK CONDITION, sense.
CommandOutcome JudgeStatus(std::uint8_t scsi_status, const Sense& sense);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_SCSI_PAGES_H_
