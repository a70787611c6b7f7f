// One change of the registry, as its history tells.
#ifndef DEVPREP_PLATFORM_REGISTRY_HISTORY_ENTRY_H_
#define DEVPREP_PLATFORM_REGISTRY_HISTORY_ENTRY_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/registry/record_counts.h"

namespace devprep {

// Entry N keeps the registry as it was before change N.
struct HistoryEntry {
  std::uint64_t number = 0;          // from 1, ascending with time
  std::chrono::sys_seconds time;     // of the change
  std::optional<std::uint32_t> uid;  // of who made it; this and what follows: where it is known
  std::string user;                  // empty: not known
  std::string program;               // empty: not known
  std::string command;               // empty: not told
  std::optional<RecordCounts> before;
  std::optional<RecordCounts> after;
};

// The registry as a text, as it was before or after a change.
struct HistoryText {
  std::string text;
  std::string file;  // that it stands in; empty: the registry of Windows, which is no file
};

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_HISTORY_ENTRY_H_
