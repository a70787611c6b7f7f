// Reading what earlier changes of the registry file replaced.
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/registry/history_entry.h"
#include "platform/result.h"

namespace devprep {

// The entries of the history of the registry file at registry_path, ascending by number. None when
// there is no history. The error names the folder that cannot be read. Nothing is changed; an entry
// whose change did not happen is left out.
Result<std::vector<HistoryEntry>> ListHistory(const std::string& registry_path);

// The registry as it was before change number. The error names the missing or unreadable file.
Result<HistoryText> HistoryTextBefore(const std::string& registry_path, std::uint64_t number);

// The registry as change number left it: that of the next entry, or, behind the last one, of
// the registry file itself.
Result<HistoryText> HistoryTextAfter(const std::string& registry_path, std::uint64_t number);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_HISTORY_H_
