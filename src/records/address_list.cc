#include "records/address_list.h"

#include <cstdio>
#include <cstring>

#include "store/list_text.h"

namespace devprep {
namespace {

constexpr const char* kElementFormat = "(%d,%d,%d,%d)";
constexpr const char* kFieldSeparators = " (),";
constexpr char kElementEnd = ')';
constexpr std::uint16_t kMissingField = 65535;

std::uint16_t NextField(const char** at) {
  const char* field = *at + std::strspn(*at, kFieldSeparators);
  const char* end = field + std::strcspn(field, kFieldSeparators);
  *at = end;
  if (field == end) return kMissingField;
  const bool negative = *field == '-';
  if (*field == '-' || *field == '+') ++field;
  std::uint32_t value = 0;
  for (; field != end && *field >= '0' && *field <= '9'; ++field) {
    value = (value * 10 + static_cast<std::uint32_t>(*field - '0')) & 0xFFFF;
  }
  return static_cast<std::uint16_t>(negative ? 0 - value : value);
}

}  // namespace

void FormatAddress(const DeviceAddress& address, char* element) {
  std::snprintf(element, kAddressElementSize, kElementFormat, address.Board, address.Bus,
                address.ScsiId, address.Lun);
}

DeviceAddress ParseAddress(const char* element) {
  DeviceAddress address;
  address.Board = NextField(&element);
  address.Bus = NextField(&element);
  address.ScsiId = NextField(&element);
  address.Lun = NextField(&element);
  return address;
}

bool NextAddressElement(const char** rest, ListPiece* piece) {
  const char* start = *rest;
  while (*start == kElementEnd) ++start;
  if (*start == '\0') return false;
  const char* end = std::strchr(start, kElementEnd);
  const std::size_t length =
      end != nullptr ? static_cast<std::size_t>(end - start) : std::strlen(start);
  *rest = start + length;
  if (length + 2 > sizeof piece->text) return false;
  std::memcpy(piece->text, start, length);
  piece->text[length] = kElementEnd;
  piece->text[length + 1] = '\0';
  return true;
}

bool AppendElement(AddressListText* list, const char* element) {
  return AppendText(list->text, sizeof list->text, &list->length, element);
}

}  // namespace devprep
