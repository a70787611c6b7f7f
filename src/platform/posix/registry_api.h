// What the registry in a file offers beside the calls of platform/registry.h.
#ifndef DEVPREP_PLATFORM_POSIX_REGISTRY_API_H_
#define DEVPREP_PLATFORM_POSIX_REGISTRY_API_H_

#include <memory>

#include "platform/registry/registry_key.h"

namespace devprep {

// Within a transaction: the root of the registry file's tree, to be read as a whole. Null when the
// file cannot be read.
std::shared_ptr<RegistryKey> RegistryRoot();

// Within a transaction: the same, about to be changed. Null also when it may not be written.
std::shared_ptr<RegistryKey> RegistryRootForChange();

// Ends a transaction as RegistryCommit does, but forgets what was changed.
void RegistryAbandon();

// Within a transaction: whether the file could be read, may be written, and whether the machine's
// hardware could be had when it was asked for. What fails has been reported.
bool RegistryReadable();
bool RegistryWritable();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_REGISTRY_API_H_
