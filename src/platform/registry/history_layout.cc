#include "platform/registry/history_layout.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>

namespace devprep {
namespace {

constexpr std::size_t kNumberDigits = 6;  // at least, so that names sort
constexpr std::string_view kTextEnding = ".reg";
constexpr std::string_view kCauseEnding = ".json";

std::string Name(std::uint64_t number, std::string_view ending) {
  std::string digits = std::to_string(number);
  if (digits.size() < kNumberDigits) digits.insert(0, kNumberDigits - digits.size(), '0');
  return digits.append(ending);
}

void AppendText(std::string& json, std::string_view name, std::string_view value) {
  json.append("  \"").append(name).append("\": \"");
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F) {
      // Whatever the bytes are, the file is valid: each counts as a Latin-1 character.
      std::array<char, 8> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\u%04x", byte);
      json += escaped.data();
    } else {
      if (c == '"' || c == '\\') json += '\\';
      json += c;
    }
  }
  json += '"';
}

void AppendCounts(std::string& json, std::string_view name, const RecordCounts& counts) {
  json.append(",\n  \"").append(name).append("\": {\"devices\": ");
  json.append(std::to_string(counts.devices)).append(", \"groups\": ");
  json.append(std::to_string(counts.groups)).append(", \"raids\": ");
  json.append(std::to_string(counts.raids)).append("}");
}

}  // namespace

std::string UtcText(std::chrono::sys_seconds time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
}

std::string HistoryTextName(std::uint64_t number) { return Name(number, kTextEnding); }

std::string HistoryCauseName(std::uint64_t number) { return Name(number, kCauseEnding); }

std::uint64_t HistoryNumber(std::string_view name) {
  std::uint64_t number = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  return parsed.ec == std::errc() && HistoryTextName(number) == name ? number : 0;
}

std::string HistoryCauseText(const HistoryEntry& entry) {
  std::string json = "{\n  \"format\": 1,\n  \"number\": " + std::to_string(entry.number);
  json += ",\n";
  AppendText(json, "time", UtcText(entry.time));
  if (entry.uid) json += ",\n  \"uid\": " + std::to_string(*entry.uid);
  for (const auto& [name, value] : {std::pair<const char*, const std::string&>{"user", entry.user},
                                    {"program", entry.program},
                                    {"command", entry.command}}) {
    json += ",\n";
    AppendText(json, name, value);
  }
  if (entry.before) AppendCounts(json, "before", *entry.before);
  if (entry.after) AppendCounts(json, "after", *entry.after);
  return json + "\n}\n";
}

}  // namespace devprep
