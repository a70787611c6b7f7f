// The texts of device and group records: any text gives a record within its bounds.
#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz_target.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "store/list_text.h"

namespace {

using devprep::DeviceRecord;
using devprep::GroupRecord;

// A writable copy that ends with a NUL and no byte later, so that a step too far is noticed.
std::vector<char> Text(const std::uint8_t* data, std::size_t size) {
  std::vector<char> text(data, data + size);
  text.push_back('\0');
  return text;
}

void CheckInfo(const std::uint8_t* data, std::size_t size) {
  DeviceRecord record = {};
  std::vector<char> text = Text(data, size);
  const std::uint16_t status = devprep::ParseDeviceInfo(text.data(), &record);
  Require(status == 0 || status == devprep::kDeviceInfoMalformed, "Info gives 0 or 219");
  Require(std::memchr(record.Description, '\0', sizeof record.Description) != nullptr,
          "a description ends within its field");
  Require(status != 0 || record.Description[0] != '\0', "a description is not empty");
  Require(std::strchr(record.Description, ' ') == nullptr, "a loaded description has no blanks");
}

void CheckDriveList(const std::uint8_t* data, std::size_t size) {
  std::uint16_t entries[devprep::kMaxDriveListEntries] = {};
  std::uint16_t count = 0;
  std::vector<char> text = Text(data, size);
  const auto commas = std::count(text.begin(), text.end(), ',');
  devprep::ParseDriveList(text.data(), entries, &count);
  Require(count <= devprep::kMaxDriveListEntries, "a drive list keeps to its entries");
  Require(count <= commas + 1, "no entry without an item");
}

void CheckGroup(const std::uint8_t* data, std::size_t size) {
  GroupRecord record = {};
  std::vector<char> text = Text(data, size);
  devprep::RemoveBlanks(text.data());
  devprep::ParseGroupText(text.data(), &record);
  Require(record.MemberCount <= devprep::kMaxGroupMembers, "a group keeps to its members");
  Require(record.PairCount <= devprep::kMaxGroupPairs, "a group keeps to its pairs");
  Require(record.Kind != devprep::kGroupNone || record.MemberCount == 0,
          "a text that is no group's has no members");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckInfo(data, size);
  CheckDriveList(data, size);
  CheckGroup(data, size);
  return 0;
}
