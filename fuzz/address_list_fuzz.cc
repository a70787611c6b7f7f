// The member lists of RAIDs: any stored text is walked to its end, within bounds, and an address
// that was formatted is parsed back.
#include <algorithm>
#include <cstring>

#include "fuzz_target.h"
#include "records/address_list.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  char list[devprep::kRaidListSize] = {};
  std::memcpy(list, data, std::min(size, sizeof list - 1));
  const char* rest = list;
  devprep::ListPiece piece;
  devprep::AddressListText rebuilt;
  std::size_t pieces = 0;
  while (devprep::NextAddressElement(&rest, &piece)) {
    Require(++pieces <= sizeof list, "a walk ends");
    Require(std::memchr(piece.text, '\0', sizeof piece.text) != nullptr, "a piece ends");
    devprep::AppendElement(&rebuilt, piece.text);
    Require(std::strlen(rebuilt.text) == rebuilt.length, "a list knows its length");
    const devprep::DeviceAddress address = devprep::ParseAddress(piece.text);
    char element[devprep::kAddressElementSize];
    devprep::FormatAddress(address, element);
    Require(devprep::ParseAddress(element) == address, "an address survives its element");
  }
  return 0;
}
