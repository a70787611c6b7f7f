#include "words.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "devprep/devprep.h"
#include "discovery/scsi_probe.h"
#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_pages.h"
#include "reconfig/outcome.h"
#include "records/group_record.h"

namespace devprep::tool {
namespace {

struct TypeTerm {
  std::uint16_t type;
  const char* identifier;
  const char* text;
};

constexpr std::array<TypeTerm, 14> kTypeTerms = {{
    {kTypeDirectAccess, "disk", "disk"},
    {kTypeTape, "tape_drive", "tape drive"},
    {kTypeOpticalMemory, "optical_drive", "optical drive"},
    {kTypeTapeEngine, "tape_engine_unit", "tape engine unit"},
    {kTypeChanger, "changer", "changer"},
    {kTypeOpticalLibrary, "optical_library", "optical library"},
    {kTypePrinter, "printer", "printer"},
    {kTypeProcessor, "processor", "processor"},
    {kTypeWriteOnce, "write_once_drive", "write-once drive"},
    {kTypeCdRom, "cd_rom_drive", "CD-ROM drive"},
    {kTypeScanner, "scanner", "scanner"},
    {kTypeCommunications, "communications", "communications"},
    {kTypeUnknown, "unknown", "unknown"},
    {kTypeOther, "other", "other"},
}};

}  // namespace

Term TypeName(std::uint16_t type) {
  const auto* const known = std::find_if(kTypeTerms.begin(), kTypeTerms.end(),
                                         [type](const auto& term) { return term.type == type; });
  if (known != kTypeTerms.end()) return {known->identifier, known->text};
  return {"unrecognized", "type " + std::to_string(type)};
}

Term CriterionName(MatchCriterion criterion) {
  switch (criterion) {
    case MatchCriterion::kWorldWideIdInPlace:
      return {"world_wide_id_in_place", "World Wide ID, in place"};
    case MatchCriterion::kAddress:
      return {"address_and_name", "address and name"};
    case MatchCriterion::kSerialNumber:
      return {"serial_number", "serial number"};
    case MatchCriterion::kWorldWideId:
      return {"world_wide_id", "World Wide ID"};
    case MatchCriterion::kName:
      return {"name", "name alone"};
    case MatchCriterion::kLibrary:
      return {"library", "place in library"};
    case MatchCriterion::kNone:
      break;
  }
  return {};
}

Term VerdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kAgrees:
      return {"agrees", "agrees"};
    case Verdict::kDiffers:
      return {"differs", "differs"};
    case Verdict::kTaken:
      return {"taken", "taken"};
    case Verdict::kAbsent:
      break;
  }
  return {"absent", "absent"};
}

Term GroupKindName(std::uint16_t kind) {
  switch (kind) {
    case kGroupTape:
      return {"tape", "tape group"};
    case kGroupChanger:
      return {"changer", "changer group"};
    case kGroupRaidChanger:
      return {"raid_changer", "RAID changer group"};
    default:
      return {"none", "no kind"};
  }
}

Term ChangerStatusName(std::uint32_t raid_flags) {
  if ((raid_flags & DEVPREP_RAID_HAS_CHANGER) == 0) return {};
  if ((raid_flags & DEVPREP_RAID_CHANGER_COMPLETE) != 0) return {"complete", "complete"};
  return {"incomplete", "incomplete"};
}

std::string Named(const char* noun, std::uint16_t number) {
  return std::string(noun) + ' ' + std::to_string(number);
}

std::string NotConfiguredText(std::uint16_t number, std::uint16_t count) {
  return Named("device", number) + " is not configured: " +
         (count == 0 ? "there are no devices"
                     : "the numbers are 0 to " + std::to_string(count - 1));
}

std::string Numbers(const std::vector<std::uint16_t>& numbers) {
  std::string text;
  for (const std::uint16_t number : numbers) {
    text += (text.empty() ? "" : ", ") + std::to_string(number);
  }
  return text;
}

std::string AddressText(const DeviceAddress& address) {
  return devprep::AddressText(ScsiAddressOf(address));
}

Value DeviceNumberValue(std::uint16_t number) {
  return number == kDeviceGone ? Value::Absent() : Value::Number(number);
}

std::string_view BytesOf(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

void CopyBytes(std::string_view from, std::size_t offset, std::uint8_t* to, std::size_t size) {
  from.remove_prefix(std::min(offset, from.size()));
  const std::size_t count = std::min(size, from.size());
  std::copy_n(from.begin(), count, to);
  std::fill(to + count, to + size, std::uint8_t{0});
}

std::string Hexadecimal(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

std::string SerialNumberText(std::string_view serial_number) {
  const std::string text = TrimmedText(serial_number);
  const bool printable =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return printable ? text : Hexadecimal(text);
}

std::string SerialNumberText(const std::uint8_t* serial_number) {
  const auto* const end = serial_number + kSerialNumberSize;
  const auto* const text_end = std::find(serial_number, end, std::uint8_t{0});
  const bool printable = std::all_of(serial_number, text_end,
                                     [](std::uint8_t byte) { return byte >= ' ' && byte <= '~'; });
  const bool zeros_after = std::all_of(text_end, end, [](std::uint8_t byte) { return byte == 0; });
  if (!printable || !zeros_after) return Hexadecimal(BytesOf(serial_number, kSerialNumberSize));
  std::string text(serial_number, text_end);
  text.erase(0, text.find_first_not_of(' '));
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

std::string FoundSerialNumberText(std::uint16_t number) {
  const std::string_view whole = BytesOf(FoundSerialNumbers[number], kFoundSerialNumberSize);
  const bool is_longer = whole.find_first_not_of('\0', kSerialNumberSize) != std::string_view::npos;
  return is_longer ? SerialNumberText(whole) : SerialNumberText(FoundDevices[number].SerialNumber);
}

std::string WorldWideIdText(const DeviceRecord& record) {
  return HasWorldWideId(record) ? Hexadecimal(BytesOf(record.WorldWideID, kWorldWideIdSize)) : "";
}

bool IsNodeLink(const std::string& path) { return path.find("/by-id/") != std::string::npos; }

ColumnInfo NodesColumn(Importance importance) {
  return WrappingColumn("nodes", "Nodes", "device nodes in /dev: sgN, stN, nstN, schN", importance);
}

ColumnInfo LinksColumn() {
  return WrappingColumn("links", "Links", "links in /dev/tape/by-id", Importance::kOnRequest);
}

Value NodesValue(const std::vector<std::string>& paths) {
  std::vector<Value> nodes;
  for (const std::string& path : paths) {
    if (!IsNodeLink(path)) nodes.push_back(Value::Name({path, path.substr(path.rfind('/') + 1)}));
  }
  return Value::List(nodes);
}

Value LinksValue(const std::vector<std::string>& paths) {
  std::vector<Value> links;
  for (const std::string& path : paths) {
    if (IsNodeLink(path)) links.push_back(Value::Text(path));
  }
  return Value::List(links);
}

std::string MillisecondsText(std::chrono::microseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f ms", static_cast<double>(time.count()) / 1000);
  return text.data();
}

}  // namespace devprep::tool
