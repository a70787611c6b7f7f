// A branch of the Windows registry as a tree in memory.
#ifndef DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_
#define DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_

#include "platform/registry.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// Copies the values of an open key, and all below it, into a tree. A value or key that cannot be
// read is left out.
void ReadKeyTree(HKEY key, RegistryKey& tree);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_
