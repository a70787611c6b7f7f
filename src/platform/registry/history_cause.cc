#include "platform/registry/history_cause.h"

#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

namespace devprep {
namespace {

using Json = nlohmann::json;

std::string TextOf(const Json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

std::optional<std::uint64_t> NumberOf(const Json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_number_unsigned()) return std::nullopt;
  return member->get<std::uint64_t>();
}

std::optional<RecordCounts> CountsOf(const Json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_object()) return std::nullopt;
  const auto devices = NumberOf(*member, "devices");
  const auto groups = NumberOf(*member, "groups");
  const auto raids = NumberOf(*member, "raids");
  if (!devices || !groups || !raids) return std::nullopt;
  return RecordCounts{static_cast<std::size_t>(*devices), static_cast<std::size_t>(*groups),
                      static_cast<std::size_t>(*raids)};
}

std::optional<std::chrono::sys_seconds> TimeOf(const Json& object) {
  std::tm parts = {};
  std::istringstream text(TextOf(object, "time"));
  text >> std::get_time(&parts, "%Y-%m-%dT%H:%M:%SZ");
  if (text.fail()) return std::nullopt;
  const std::chrono::year_month_day date{
      std::chrono::year(1900 + parts.tm_year),
      std::chrono::month(static_cast<unsigned>(1 + parts.tm_mon)),
      std::chrono::day(static_cast<unsigned>(parts.tm_mday))};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date) + std::chrono::hours(parts.tm_hour) +
         std::chrono::minutes(parts.tm_min) + std::chrono::seconds(parts.tm_sec);
}

}  // namespace

void ReadHistoryCause(const std::string& text, HistoryEntry& entry) {
  const Json cause = Json::parse(text, nullptr, false);
  if (!cause.is_object()) return;
  entry.time = TimeOf(cause).value_or(entry.time);
  if (const auto uid = NumberOf(cause, "uid")) entry.uid = static_cast<std::uint32_t>(*uid);
  entry.user = TextOf(cause, "user");
  entry.program = TextOf(cause, "program");
  entry.command = TextOf(cause, "command");
  entry.before = CountsOf(cause, "before");
  entry.after = CountsOf(cause, "after");
}

}  // namespace devprep
