// Seam to the SCSI devices: three pass-through calls. On Windows they are ordinals 100, 113 and 115
// of HXSCSI.dll. Elsewhere the hardware source chosen by DEVPREP_HARDWARE answers them.
#ifndef DEVPREP_PLATFORM_RAW_SCSI_H_
#define DEVPREP_PLATFORM_RAW_SCSI_H_

#include <compare>
#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#define HXSCSI_CALL __cdecl
#else
#define HXSCSI_CALL
#endif

extern "C" {

// Address arguments: port, bus, target id, logical unit. length: size of buffer in bytes. Each
// returns 0 when the device answered; the buffer then holds as much of the answer as fits, and
// zeros behind it. Any other result: no answer, buffer undefined.

// Standard inquiry data (SPC-4): vendor at bytes 8 to 15, product 16 to 31, revision 32 to 35.
std::uint32_t HXSCSI_CALL ScsiInquiry(std::uint16_t port, std::uint16_t bus, std::uint16_t target,
                                      std::uint16_t lun, std::uint8_t* buffer,
                                      std::uint32_t length);

// A vital product data page (SPC-4), 4 bytes of header included.
std::uint32_t HXSCSI_CALL ScsiInquiryPage(std::uint16_t port, std::uint16_t bus,
                                          std::uint16_t target, std::uint16_t lun,
                                          std::uint8_t* buffer, std::uint32_t length,
                                          std::uint32_t page);

// The 8-byte World Wide ID, at bytes 19 to 26 of the buffer. selector: always kWorldWideIdSelector.
std::uint32_t HXSCSI_CALL ScsiGetWorldWideId(std::uint16_t port, std::uint16_t bus,
                                             std::uint16_t target, std::uint16_t lun,
                                             std::uint32_t selector, std::uint8_t* buffer,
                                             std::uint32_t length);
}

namespace devprep {

struct ScsiAddress {
  std::uint16_t port = 0;
  std::uint16_t bus = 0;
  std::uint16_t target = 0;
  std::uint16_t lun = 0;
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler makes of it compares with 0.
  auto operator<=>(const ScsiAddress&) const = default;
};

// Asks these units at once for all that the three calls return, so that the wait is that for the
// slowest unit. Changes no result.
#if defined(_WIN32)
inline void PrefetchScsiAnswers(const ScsiAddress* /*units*/, std::size_t /*count*/) {}
#else
void PrefetchScsiAnswers(const ScsiAddress* units, std::size_t count);
#endif

inline constexpr std::size_t kInquiryTextOffset = 8;  // of the vendor
inline constexpr std::size_t kPageHeaderSize = 4;
inline constexpr std::size_t kWorldWideIdSize = 8;

inline constexpr std::uint32_t kInquiryLength = 40;
inline constexpr std::uint32_t kInquiryPageLength = 64;
inline constexpr std::uint32_t kUnitSerialNumberPage = 0x80;
inline constexpr std::uint32_t kWorldWideIdLength = 64;
inline constexpr std::uint32_t kWorldWideIdSelector = 10;
inline constexpr std::uint32_t kWorldWideIdOffset = 19;

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_RAW_SCSI_H_
