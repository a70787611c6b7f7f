#include "platform/hardware/element_pages.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <vector>

#include "platform/messages.h"
#include "platform/raw_scsi.h"

namespace devprep {
namespace {

constexpr std::uint8_t kModeSense6 = 0x1A;
constexpr std::uint8_t kModeSense10 = 0x5A;
constexpr std::uint8_t kReadElementStatus = 0xB8;
constexpr std::uint8_t kAddressAssignmentPage = 0x1D;
constexpr std::uint8_t kNoBlockDescriptors = 0x08;
constexpr std::size_t kAddressPageSize = 20;

constexpr std::size_t kHeaderSize = 8;  // of the answer, and of each of its pages
constexpr std::size_t kFixedPart = 12;  // of a descriptor: flags, sense, source
constexpr std::size_t kTagField = 36;   // a volume tag with its sequence number
constexpr std::size_t kTagText = 32;    // the identification in it
constexpr std::size_t kIdentificationHeader = 4;
constexpr std::uint8_t kPrimaryTag = 0x80;  // flags of a page
constexpr std::uint8_t kAlternateTag = 0x40;
constexpr std::size_t kVendorSize = 8;
constexpr std::size_t kProductSize = 16;

std::size_t NumberAt(std::string_view bytes, std::size_t offset, std::size_t size) {
  return static_cast<std::size_t>(BigEndian(bytes.substr(offset, size)));
}

std::string BytesOf(std::uint64_t number, std::size_t size) {
  std::string bytes(size, '\0');
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, number >>= 8U) {
    *byte = static_cast<char>(number & 0xFFU);
  }
  return bytes;
}

std::string CleanField(std::string_view field) { return PrintableText(TrimmedText(field)); }

// One page of an answer, as far as it arrived.
struct Page {
  std::string_view header;
  bool known = false;  // its type, and its descriptors hold their fixed part
  std::uint8_t type = 0;
  std::uint8_t flags = 0;
  std::size_t descriptor_size = 0;
  std::string_view descriptors;
  bool cut = false;
};

// The pages of an answer with a whole header. cut: whether more was announced than arrived.
std::vector<Page> PagesIn(std::string_view received, bool& cut) {
  std::vector<Page> pages;
  const std::size_t announced = NumberAt(received, 5, 3);
  std::string_view rest = received.substr(kHeaderSize);
  cut = rest.size() < announced;
  // Some changers count no bytes at all.
  if (announced != 0) rest = rest.substr(0, announced);
  while (rest.size() >= kHeaderSize) {
    Page page;
    page.header = rest.substr(0, kHeaderSize);
    page.type = ByteAt(rest, 0);
    page.flags = ByteAt(rest, 1);
    page.descriptor_size = NumberAt(rest, 2, 2);
    const std::size_t size = NumberAt(rest, 5, 3);
    rest.remove_prefix(kHeaderSize);
    page.cut = size > rest.size();
    cut = cut || page.cut;
    page.descriptors = rest.substr(0, size);
    rest.remove_prefix(page.descriptors.size());
    page.known =
        page.type >= 1 && page.type <= kElementTypes.size() && page.descriptor_size >= kFixedPart;
    pages.push_back(page);
  }
  cut = cut || !rest.empty();
  return pages;
}

struct Identification {
  std::uint8_t code_set = 0;  // 0: there is none
  std::uint8_t type = 0;
  bool whole = false;
  std::string_view bytes;
};

// What a descriptor holds beyond its fixed part.
struct Fields {
  std::string_view volume_tag;
  std::string_view alternate_volume_tag;
  Identification identification;
};

Identification IdentificationAt(std::string_view descriptor, std::size_t offset) {
  if (descriptor.size() < offset + kIdentificationHeader) return {};
  const std::string_view rest = descriptor.substr(offset);
  const std::uint8_t code_set = ByteAt(rest, 0);
  const std::uint8_t type = ByteAt(rest, 1) & 0x0F;
  const std::size_t size = ByteAt(rest, 3);
  if (code_set < 1 || code_set > 3 || ByteAt(rest, 1) >= 0x40 || type > 8 || size == 0) return {};
  const std::string_view bytes = rest.substr(kIdentificationHeader, size);
  return {code_set, type, bytes.size() == size, bytes};
}

// A tag that is announced may have no bytes in the descriptor; where an identification shows that,
// it is believed more than the announcement.
Fields FieldsOf(const Page& page, std::string_view descriptor) {
  const bool primary = (page.flags & kPrimaryTag) != 0;
  const bool alternate = (page.flags & kAlternateTag) != 0;
  std::size_t tags = (primary ? 1U : 0U) + (alternate ? 1U : 0U);
  Fields fields;
  if (page.type == static_cast<std::uint8_t>(ElementType::kDrive)) {
    for (std::size_t present = tags + 1; present-- > 0;) {
      fields.identification = IdentificationAt(descriptor, kFixedPart + present * kTagField);
      if (fields.identification.code_set == 0) continue;
      tags = present;
      break;
    }
  }
  std::string_view rest = descriptor.substr(kFixedPart);
  const auto take = [&rest, &tags](bool announced) {
    if (!announced || tags == 0 || rest.size() < kTagText) return std::string_view{};
    --tags;
    const std::string_view tag = rest.substr(0, kTagText);
    rest.remove_prefix(std::min(kTagField, rest.size()));
    return tag;
  };
  fields.volume_tag = take(primary);
  fields.alternate_volume_tag = take(alternate);
  return fields;
}

// The parts of a drive's identity within its identification, where each stands.
struct DriveIdentity {
  std::string_view vendor;
  std::string_view product;
  std::string_view serial_number;
  std::string_view world_wide_id;  // as bytes, or as hexadecimal digits
};

DriveIdentity IdentityIn(const Identification& identification) {
  enum : std::uint8_t { kVendorSpecific = 0, kT10VendorId = 1, kEui64 = 2, kNaa = 3 };
  const std::string_view bytes = identification.bytes;
  if (identification.code_set == 0) return {};
  if (identification.type == kEui64 || identification.type == kNaa) {
    return identification.whole ? DriveIdentity{{}, {}, {}, bytes} : DriveIdentity{};
  }
  if (identification.code_set == 1 || identification.type > kT10VendorId) return {};
  // Some changers give the form with the vendor as one of their own, too.
  const std::size_t texts = kVendorSize + kProductSize;
  const bool with_texts =
      identification.type == kT10VendorId || bytes.size() >= texts + kVendorSize;
  DriveIdentity identity;
  if (with_texts) {
    identity.vendor = bytes.substr(0, kVendorSize);
    std::string_view rest = bytes.substr(identity.vendor.size());
    if (bytes.size() > texts) {
      identity.product = rest.substr(0, kProductSize);
      rest.remove_prefix(kProductSize);
    }
    identity.serial_number = rest;
  } else {
    identity.serial_number = bytes;
  }
  // A part of a serial number could be another drive's.
  if (!identification.whole) identity.serial_number = {};
  return identity;
}

std::string WorldWideIdOf(std::string_view bytes) {
  if (bytes.size() == kWorldWideIdSize || bytes.size() == 2 * kWorldWideIdSize) {
    // Sixteen bytes are digits, or a longer identifier that begins with the shorter one.
    const auto is_digit = [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    if (bytes.size() == kWorldWideIdSize || !std::all_of(bytes.begin(), bytes.end(), is_digit)) {
      return std::string(bytes.substr(0, kWorldWideIdSize));
    }
    std::uint64_t number = 0;
    std::from_chars(bytes.data(), bytes.data() + bytes.size(), number, 16);
    return BytesOf(number, kWorldWideIdSize);
  }
  return {};
}

// Calls visit with each descriptor that holds its fixed part.
void ForEachDescriptor(const std::vector<Page>& pages,
                       const std::function<void(const Page&, std::string_view)>& visit) {
  for (const Page& page : pages) {
    if (!page.known) continue;
    for (std::string_view rest = page.descriptors; rest.size() >= kFixedPart;
         rest.remove_prefix(std::min(page.descriptor_size, rest.size()))) {
      visit(page, rest.substr(0, page.descriptor_size));
    }
  }
}

std::uint16_t AddressIn(std::string_view descriptor) {
  return static_cast<std::uint16_t>(NumberAt(descriptor, 0, 2));
}

// The elements that have had a descriptor.
class KnownElements {
 public:
  // Whether this is the first one of its element.
  bool Add(const Page& page, std::string_view descriptor) {
    auto had = had_[(page.type - 1U) * kAddresses + AddressIn(descriptor)];
    const bool first = !had;
    had = true;
    return first;
  }

 private:
  static constexpr std::size_t kAddresses = 0x10000;
  std::vector<bool> had_ = std::vector<bool>(kElementTypes.size() * kAddresses);
};

// As ForEachDescriptor, with the first descriptor of each element only.
void ForEachElement(const std::vector<Page>& pages,
                    const std::function<void(const Page&, std::string_view)>& visit) {
  KnownElements known;
  ForEachDescriptor(pages, [&](const Page& page, std::string_view descriptor) {
    if (known.Add(page, descriptor)) visit(page, descriptor);
  });
}

Element ElementOf(const Page& page, std::string_view descriptor) {
  Element element;
  element.type = static_cast<ElementType>(page.type);
  element.address = AddressIn(descriptor);
  const std::uint8_t flags = ByteAt(descriptor, 2);
  element.full = (flags & 0x01) != 0;
  element.exception = (flags & 0x04) != 0;
  element.accessible = (flags & 0x08) != 0;
  element.sense_code = ByteAt(descriptor, 4);
  element.sense_qualifier = ByteAt(descriptor, 5);
  if ((ByteAt(descriptor, 9) & 0x80) != 0) {
    element.source = static_cast<std::uint16_t>(NumberAt(descriptor, 10, 2));
  }
  const Fields fields = FieldsOf(page, descriptor);
  element.volume_tag = CleanField(fields.volume_tag);
  element.alternate_volume_tag = CleanField(fields.alternate_volume_tag);
  if (element.type != ElementType::kDrive) return element;
  const std::uint8_t place = ByteAt(descriptor, 6);
  const bool other_bus = (place & 0x80) != 0;
  if (!other_bus && (place & 0x20) != 0) element.scsi_target = ByteAt(descriptor, 7);
  if (!other_bus && (place & 0x10) != 0) element.lun = static_cast<std::uint8_t>(place & 0x07);
  const DriveIdentity identity = IdentityIn(fields.identification);
  element.vendor = CleanField(identity.vendor);
  element.product = CleanField(identity.product);
  element.serial_number = CleanField(identity.serial_number);
  element.world_wide_id = WorldWideIdOf(identity.world_wide_id);
  return element;
}

}  // namespace

ScsiCommand ElementAddressCommand(bool ten_bytes) {
  constexpr std::uint8_t kAllocation = 0xFC;
  if (ten_bytes) {
    return {{kModeSense10, kNoBlockDescriptors, kAddressAssignmentPage, 0, 0, 0, 0, 0, kAllocation},
            10,
            kAllocation};
  }
  return {{kModeSense6, kNoBlockDescriptors, kAddressAssignmentPage, 0, kAllocation, 0},
          6,
          kAllocation};
}

Result<std::string> ElementAddressPageIn(std::string_view received, bool ten_bytes) {
  const std::size_t header = ten_bytes ? 8 : 4;
  if (received.size() < header) return Error{"the mode page is cut short"};
  // Some changers send block descriptors all the same.
  const std::size_t descriptors = ten_bytes ? NumberAt(received, 6, 2) : ByteAt(received, 3);
  if (received.size() < header + descriptors) return Error{"the mode page is cut short"};
  const std::string_view page = received.substr(header + descriptors, kAddressPageSize);
  if (const auto parsed = ParseElementAddressPage(page); !parsed) return parsed.Failure();
  return std::string(page);
}

Result<ElementAddressAssignment> ParseElementAddressPage(std::string_view page) {
  constexpr std::size_t kRangesEnd = 18;
  if (page.size() < kRangesEnd) return Error{"the mode page is cut short"};
  if ((ByteAt(page, 0) & 0x3F) != kAddressAssignmentPage) {
    return Error{"the changer sent another mode page than it was asked for"};
  }
  ElementAddressAssignment assignment;
  for (const ElementType type : kElementTypes) {
    const auto index = static_cast<std::size_t>(type);
    const std::size_t at = 2 + (index - 1) * 4;
    assignment.ranges[index] = {static_cast<std::uint16_t>(NumberAt(page, at, 2)),
                                static_cast<std::uint16_t>(NumberAt(page, at + 2, 2))};
  }
  return assignment;
}

ScsiCommand ElementStatusCommand::Command() const {
  const auto byte = [](std::size_t number, unsigned shift) {
    return static_cast<std::uint8_t>(number >> shift & 0xFFU);
  };
  const auto kind =
      static_cast<std::uint8_t>(static_cast<unsigned>(type) | (volume_tags ? 0x10U : 0U));
  const auto options =
      static_cast<std::uint8_t>((identification ? 1U : 0U) | (current_data ? 2U : 0U));
  return {{kReadElementStatus, kind, byte(first, 8), byte(first, 0), byte(count, 8), byte(count, 0),
           options, byte(allocation, 16), byte(allocation, 8), byte(allocation, 0)},
          12,
          allocation};
}

Result<ElementStatus> ParseElementStatus(std::string_view received) {
  const Result<ElementStatusExtent> extent = MeasureElementStatus(received);
  if (!extent) return extent.Failure();
  ElementStatus status;
  status.elements.reserve(extent->elements);
  ForEachElement(PagesIn(received, status.cut), [&](const Page& page, std::string_view descriptor) {
    status.elements.push_back(ElementOf(page, descriptor));
  });
  return status;
}

Result<ElementStatusExtent> MeasureElementStatus(std::string_view received) {
  if (received.size() < kHeaderSize) return Error{"the element status is cut short"};
  ElementStatusExtent extent;
  extent.total_size = kHeaderSize + NumberAt(received, 5, 3);
  std::size_t behind_all = 0;
  ForEachElement(PagesIn(received, extent.cut), [&](const Page& page, std::string_view descriptor) {
    ++extent.elements;
    const std::size_t behind = std::size_t{AddressIn(descriptor)} + 1;
    behind_all = std::max(behind_all, behind);
    if (descriptor.size() == page.descriptor_size) {
      extent.next_address = std::max(extent.next_address, behind);
    }
  });
  if (extent.next_address == 0) extent.next_address = behind_all;
  return extent;
}

std::string JoinElementStatus(const std::vector<std::string>& answers, bool cut) {
  std::string joined;
  std::size_t count = 0;
  std::size_t first = 0xFFFF;
  const auto append = [&](const Page& page, std::size_t size, std::string_view descriptors) {
    joined += static_cast<char>(page.type);
    joined += static_cast<char>(page.flags);
    joined += BytesOf(size, 2) + '\0' + BytesOf(descriptors.size(), 3);
    joined += descriptors;
    count += descriptors.size() / size;
    first = std::min<std::size_t>(first, AddressIn(descriptors));
  };
  KnownElements known;
  std::vector<Page> not_whole;
  for (const std::string& answer : answers) {
    bool answer_cut = false;
    if (answer.size() < kHeaderSize) continue;
    for (Page& page : PagesIn(answer, answer_cut)) {
      if (!page.known) continue;
      const std::size_t whole =
          page.descriptors.size() / page.descriptor_size * page.descriptor_size;
      const std::string_view rest = page.descriptors.substr(whole);
      page.descriptors = page.descriptors.substr(0, whole);
      ForEachDescriptor(
          {page}, [&](const Page& of, std::string_view descriptor) { known.Add(of, descriptor); });
      if (whole != 0) append(page, page.descriptor_size, page.descriptors);
      if (page.cut && rest.size() >= kFixedPart) {
        page.descriptors = rest;
        not_whole.push_back(page);
      }
    }
  }
  // Each on a page of its own that says how much of it there is: a part of a serial number is then
  // still no serial number.
  for (const Page& page : not_whole) {
    if (!known.Add(page, page.descriptors)) continue;
    append(page, page.descriptors.size(), page.descriptors);
    cut = true;
  }
  const std::size_t announced = joined.size() + (cut ? 1 : 0);
  return BytesOf(count == 0 ? 0 : first, 2) + BytesOf(count, 2) + '\0' + BytesOf(announced, 3) +
         joined;
}

Result<std::uint16_t> DataTransferElementAddressIn(std::string_view page) {
  if (page.size() < kPageHeaderSize) return Error{"the page is cut short"};
  const std::string_view address = page.substr(kPageHeaderSize, NumberAt(page, 2, 2));
  const std::uint64_t number = BigEndian(address.substr(0, 8));
  if (address.empty() || address.size() > 8 || number > 0xFFFF) {
    return Error{"the page holds no element address"};
  }
  return static_cast<std::uint16_t>(number);
}

std::vector<ElementText> ElementTextsIn(std::string_view received) {
  std::vector<ElementText> texts;
  if (received.size() < kHeaderSize) return texts;
  std::vector<bool> taken(received.size());
  const auto offset_of = [&](std::string_view part) {
    return static_cast<std::size_t>(part.data() - received.data());
  };
  const auto take = [&](std::string_view part) {
    const auto begin = taken.begin() + static_cast<std::ptrdiff_t>(offset_of(part));
    std::fill(begin, begin + static_cast<std::ptrdiff_t>(part.size()), true);
  };
  const auto add = [&](ElementText::Kind kind, std::string_view text) {
    if (text.empty()) return;
    take(text);
    texts.push_back({kind, offset_of(text), text.size()});
  };
  bool cut = false;
  const std::vector<Page> pages = PagesIn(received, cut);
  take(received.substr(0, kHeaderSize));
  for (const Page& page : pages) take(page.known ? page.header : page.header.substr(5));
  ForEachDescriptor(pages, [&](const Page& page, std::string_view descriptor) {
    take(descriptor.substr(0, kFixedPart));
    const Fields fields = FieldsOf(page, descriptor);
    add(ElementText::Kind::kVolumeTag, fields.volume_tag);
    add(ElementText::Kind::kVolumeTag, fields.alternate_volume_tag);
    const Identification& identification = fields.identification;
    if (identification.code_set == 0) return;
    take(received.substr(offset_of(identification.bytes) - kIdentificationHeader,
                         kIdentificationHeader));
    const DriveIdentity identity = IdentityIn(identification);
    if (!identity.vendor.empty()) take(identity.vendor);
    if (!identity.product.empty()) take(identity.product);
    add(ElementText::Kind::kSerialNumber, identity.serial_number);
    add(ElementText::Kind::kWorldWideId, identity.world_wide_id);
  });
  for (std::size_t begin = 0; begin < received.size();) {
    std::size_t end = begin;
    while (end < received.size() && !taken[end]) ++end;
    if (end != begin) texts.push_back({ElementText::Kind::kUnknown, begin, end - begin});
    begin = end + 1;
  }
  return texts;
}

}  // namespace devprep
