// Reading what stands beside the text of a history's entry.
#ifndef DEVPREP_PLATFORM_REGISTRY_HISTORY_CAUSE_H_
#define DEVPREP_PLATFORM_REGISTRY_HISTORY_CAUSE_H_

#include <cstddef>
#include <string>

#include "platform/registry/history_entry.h"

namespace devprep {

// More than this is none that HistoryCauseText made.
inline constexpr std::size_t kMaxHistoryCause = 65536;

// Fills in an entry from what HistoryCauseText made of it, all but the number. What the text does
// not tell, or tells in another form, stays as it is, the time, or becomes unknown.
void ReadHistoryCause(const std::string& text, HistoryEntry& entry);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_HISTORY_CAUSE_H_
