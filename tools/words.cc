#include "words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/hardware/hardware_map.h"
#include "reconfig/reconfigure.h"
#include "records/group_record.h"

namespace devprep::tool {
namespace {

constexpr std::array<std::pair<std::uint16_t, const char*>, 14> kTypeWords = {{
    {kTypeDirectAccess, "disk"},
    {kTypeTape, "tape drive"},
    {kTypeOpticalMemory, "optical drive"},
    {kTypeTapeEngine, "tape engine unit"},
    {kTypeChanger, "changer"},
    {kTypeOpticalLibrary, "optical library"},
    {kTypePrinter, "printer"},
    {kTypeProcessor, "processor"},
    {kTypeWriteOnce, "write-once drive"},
    {kTypeCdRom, "CD-ROM drive"},
    {kTypeScanner, "scanner"},
    {kTypeCommunications, "communications"},
    {kTypeUnknown, "unknown"},
    {kTypeOther, "other"},
}};

std::string Hexadecimal(const std::uint8_t* bytes, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return text;
}

}  // namespace

std::string TypeWord(std::uint16_t type) {
  const auto* const known = std::find_if(kTypeWords.begin(), kTypeWords.end(),
                                         [type](const auto& entry) { return entry.first == type; });
  return known != kTypeWords.end() ? known->second : "type " + std::to_string(type);
}

std::string AddressWord(const DeviceAddress& address) {
  return AddressText(ScsiAddressOf(address));
}

std::string CriterionWord(MatchCriterion criterion) {
  switch (criterion) {
    case MatchCriterion::kWorldWideIdInPlace:
      return "World Wide ID, in place";
    case MatchCriterion::kAddress:
      return "address and name";
    case MatchCriterion::kSerialNumber:
      return "serial number";
    case MatchCriterion::kWorldWideId:
      return "World Wide ID";
    case MatchCriterion::kName:
      return "name alone";
    case MatchCriterion::kNone:
      break;
  }
  return "";
}

std::string GroupKindWord(std::uint16_t kind) {
  switch (kind) {
    case kGroupTape:
      return "tape group";
    case kGroupChanger:
      return "changer group";
    case kGroupRaidChanger:
      return "RAID changer group";
    default:
      return "no kind";
  }
}

std::string ChangerStatusWord(std::uint32_t raid_flags) {
  if ((raid_flags & DEVPREP_RAID_HAS_CHANGER) == 0) return "";
  return (raid_flags & DEVPREP_RAID_CHANGER_COMPLETE) != 0 ? "complete" : "incomplete";
}

std::string NumberWord(std::uint16_t number) {
  return number == kDeviceGone ? "-" : std::to_string(number);
}

std::string SerialWord(const std::uint8_t* serial_number) {
  const auto* const end = serial_number + kSerialNumberSize;
  const auto* const text_end = std::find(serial_number, end, std::uint8_t{0});
  const bool printable = std::all_of(serial_number, text_end,
                                     [](std::uint8_t byte) { return byte >= ' ' && byte <= '~'; });
  const bool zeros_behind = std::all_of(text_end, end, [](std::uint8_t byte) { return byte == 0; });
  if (!printable || !zeros_behind) return Hexadecimal(serial_number, kSerialNumberSize);
  std::string text(serial_number, text_end);
  text.erase(0, text.find_first_not_of(' '));
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

std::string WorldWideIdWord(const DeviceRecord& record) {
  return HasWorldWideId(record) ? Hexadecimal(record.WorldWideID, kWorldWideIdSize) : "";
}

std::string MillisecondsWord(std::chrono::microseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f ms", static_cast<double>(time.count()) / 1000);
  return text.data();
}

}  // namespace devprep::tool
