// A branch of the Windows registry as a tree in memory.
#ifndef DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_
#define DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_

#include "platform/registry.h"
#include "platform/registry/registry_key.h"

namespace devprep {

// Copies the values of an open key, and all below it, into a tree. A value or key that cannot be
// read is left out.
void ReadKeyTree(HKEY key, RegistryKey& tree);

// Makes an open key, which holds what now does, hold what wanted does. Only what differs, or is in
// another order, is written. An error leaves what was written so far.
LSTATUS WriteKeyTree(HKEY key, const RegistryKey& now, const RegistryKey& wanted);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_WINDOWS_REGISTRY_TREE_H_
