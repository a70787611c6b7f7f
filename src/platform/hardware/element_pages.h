// What a medium changer says of its elements, and a tape drive of its place among them: the
// commands, and what can be taken from the answers (SMC-3: READ ELEMENT STATUS 6.11, mode page
// 1Dh 7.3.4; SSC-4: vital product data page B4h). Changers differ much, and some of their answers
// contradict themselves: each field is taken only as far as its bytes are there.
#ifndef DEVPREP_PLATFORM_HARDWARE_ELEMENT_PAGES_H_
#define DEVPREP_PLATFORM_HARDWARE_ELEMENT_PAGES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/hardware/scsi_pages.h"
#include "platform/result.h"

namespace devprep {

enum class ElementType : std::uint8_t {
  kAll = 0,
  kTransport = 1,
  kSlot = 2,
  kImportExport = 3,
  kDrive = 4
};
inline constexpr std::array<ElementType, 4> kElementTypes = {
    ElementType::kTransport, ElementType::kSlot, ElementType::kImportExport, ElementType::kDrive};

struct ElementRange {
  std::uint16_t first = 0;
  std::uint16_t count = 0;
};

// Mode page 1Dh: where each type of elements lies.
struct ElementAddressAssignment {
  std::array<ElementRange, 5> ranges;  // by ElementType; that of kAll is not used

  const ElementRange& Of(ElementType type) const { return ranges[static_cast<std::size_t>(type)]; }
};

// MODE SENSE for page 1Dh without block descriptors, in its form of 6 or of 10 bytes.
ScsiCommand ElementAddressCommand(bool ten_bytes);

// received: the answer to that command. The page from its page code on, without the headers before
// it.
Result<std::string> ElementAddressPageIn(std::string_view received, bool ten_bytes);

// page: as ElementAddressPageIn gives it.
Result<ElementAddressAssignment> ParseElementAddressPage(std::string_view page);

struct ElementStatusCommand {
  ElementType type = ElementType::kAll;
  std::uint16_t first = 0;       // address
  std::uint16_t count = 0xFFFF;  // at most so many elements
  bool volume_tags = true;       // VOLTAG
  bool identification = true;    // DVCID: the drives' identities
  bool current_data = true;      // CURDATA: from memory, without motion
  std::size_t allocation = 0;    // bytes, below 16 MiB

  ScsiCommand Command() const;
};

struct Element {
  ElementType type = ElementType::kSlot;
  std::uint16_t address = 0;
  bool full = false;
  bool accessible = false;  // by the transport
  bool exception = false;
  std::uint8_t sense_code = 0;              // why there is an exception
  std::uint8_t sense_qualifier = 0;         // of that
  std::optional<std::uint16_t> source;      // the element that the medium was moved from last
  std::optional<std::uint8_t> scsi_target;  // of a drive, on the changer's own bus
  std::optional<std::uint8_t> lun;          // of a drive
  // Printable and trimmed, or empty.
  std::string volume_tag;
  std::string alternate_volume_tag;
  // Of a drive: printable and trimmed, or empty.
  std::string vendor;
  std::string product;
  std::string serial_number;
  std::string world_wide_id;  // 8 bytes, or empty
};

struct ElementStatus {
  std::vector<Element> elements;  // in the changer's order, each address of a type once
  bool cut = false;               // more was announced than arrived
};

// received: the answer to READ ELEMENT STATUS. Takes what can be taken; an answer without a whole
// header fails.
Result<ElementStatus> ParseElementStatus(std::string_view received);

// How much an answer to READ ELEMENT STATUS holds.
struct ElementStatusExtent {
  std::size_t elements = 0;  // each address of a type once
  // Behind the highest one that came whole; if none did, behind the highest.
  std::size_t next_address = 0;
  std::size_t total_size = 0;  // bytes of the whole answer, as its header announces them
  bool cut = false;            // more was announced than arrived
};

// received: as for ParseElementStatus, which fails where this does.
Result<ElementStatusExtent> MeasureElementStatus(std::string_view received);

// Several answers as one, with the whole descriptors of all of them. An element that only has a
// descriptor which did not arrive whole keeps that, as far as it came; the answer then announces
// more than it holds, as it does when it is cut.
std::string JoinElementStatus(const std::vector<std::string>& answers, bool cut);

// The address that a drive gives in its page B4h, header included.
Result<std::uint16_t> DataTransferElementAddressIn(std::string_view page);

// Where in an answer to READ ELEMENT STATUS the texts stand that tell one library from another,
// and the bytes of which nothing is made here: those may be a part of such a text.
struct ElementText {
  enum class Kind { kVolumeTag, kSerialNumber, kWorldWideId, kUnknown };
  Kind kind = Kind::kVolumeTag;
  std::size_t offset = 0;
  std::size_t size = 0;
};
std::vector<ElementText> ElementTextsIn(std::string_view received);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_HARDWARE_ELEMENT_PAGES_H_
