// The texts in which RAID keys store their members: one "(%d,%d,%d,%d)" element for each device's
// port, bus, target id and logical unit, one behind the other.
#ifndef DEVPREP_RECORDS_ADDRESS_LIST_H_
#define DEVPREP_RECORDS_ADDRESS_LIST_H_

#include <cstddef>
#include <cstdint>

#include "records/device_record.h"

namespace devprep {

inline constexpr std::size_t kAddressElementSize = 32;  // with its NUL, as formatted
inline constexpr std::size_t kRaidListSize = 512;       // of a list read or built, with its NUL
// A piece of a stored list may be as long as the list, and gets a bracket and a NUL.
inline constexpr std::size_t kListPieceSize = kRaidListSize + 1;

// An element with its closing bracket, as a walk over a list gives it.
struct ListPiece {
  char text[kListPieceSize];
};

// A list under construction; elements that no longer fit whole are left out.
struct AddressListText {
  char text[kRaidListSize] = "";
  std::size_t length = 0;
};

// Writes the element of an address into element, kAddressElementSize bytes.
void FormatAddress(const DeviceAddress& address, char* element);

// Reads the first four numbers of an element. Numbers are separated by any run of blanks, brackets
// and commas; each counts by its low 16 bits, a text that is no number as 0, a missing one as
// 65535.
DeviceAddress ParseAddress(const char* element);

// Takes the next element of a list at *rest, which moves behind it. A last piece without its
// bracket counts as an element. False at the end of the list.
bool NextAddressElement(const char** rest, ListPiece* piece);

// Adds an element to a list. False when it does not fit.
bool AppendElement(AddressListText* list, const char* element);

}  // namespace devprep

#endif  // DEVPREP_RECORDS_ADDRESS_LIST_H_
