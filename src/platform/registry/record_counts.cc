#include "platform/registry/record_counts.h"

#include <algorithm>
#include <string_view>

#include "platform/registry/configuration_keys.h"

namespace devprep {
namespace {

bool IsNumbered(std::string_view name, std::string_view prefix) {
  return name.size() > prefix.size() && CompareNames(name.substr(0, prefix.size()), prefix) == 0 &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end(),
                     [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

RecordCounts CountRecords(const std::shared_ptr<RegistryKey>& local_machine) {
  RecordCounts counts;
  const auto engine = FindPath(local_machine, kTapeEngineKeyPath.text);
  if (engine == nullptr) return counts;
  for (const auto& key : engine->Children()) {
    counts.devices += IsNumbered(key->Name(), kDeviceKeyPrefix) ? 1U : 0U;
    counts.groups += IsNumbered(key->Name(), kGroupKeyPrefix) ? 1U : 0U;
    counts.raids += IsNumbered(key->Name(), kRaidKeyPrefix) ? 1U : 0U;
  }
  return counts;
}

}  // namespace devprep
