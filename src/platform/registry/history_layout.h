// The files of a history, the same on every platform. docs/formats.md describes them.
#ifndef DEVPREP_PLATFORM_REGISTRY_HISTORY_LAYOUT_H_
#define DEVPREP_PLATFORM_REGISTRY_HISTORY_LAYOUT_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/history_entry.h"

namespace devprep {

// The environment variable that says how many entries are kept, the number without it, and the
// largest. 0: no entry is made, and those that are there stay.
inline constexpr const char* kHistoryVariable = "DEVPREP_HISTORY";
inline constexpr unsigned kDefaultHistory = 100;
inline constexpr unsigned kMaxHistory = 1000000;

// The names of an entry's two files; a file that is not whole yet has the ending behind its name.
std::string HistoryTextName(std::uint64_t number);
std::string HistoryCauseName(std::uint64_t number);
inline constexpr const char* kUnfinishedHistoryEnding = ".devprep-new";

// The number of the entry whose text has that name. 0: it is no such name.
std::uint64_t HistoryNumber(std::string_view name);

// A time as "2026-05-04T09:30:00Z".
std::string UtcText(std::chrono::sys_seconds time);

// What stands beside the text: a JSON object that tells when the change was, who made it, and what
// it changed in numbers. history_cause.h reads it.
std::string HistoryCauseText(const HistoryEntry& entry);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_HISTORY_LAYOUT_H_
