// How many records a configuration has.
#ifndef DEVPREP_PLATFORM_REGISTRY_RECORD_COUNTS_H_
#define DEVPREP_PLATFORM_REGISTRY_RECORD_COUNTS_H_

#include <cstddef>
#include <memory>

#include "platform/registry/registry_key.h"

namespace devprep {

struct RecordCounts {
  std::size_t devices = 0;
  std::size_t groups = 0;
  std::size_t raids = 0;
};

// Counts the records below the tape engine key. local_machine: the key HKEY_LOCAL_MACHINE.
RecordCounts CountRecords(const std::shared_ptr<RegistryKey>& local_machine);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_RECORD_COUNTS_H_
