// Takes from a capture what tells one machine's devices from those of another.
#ifndef DEVPREP_TOOLS_REDACTION_H_
#define DEVPREP_TOOLS_REDACTION_H_

#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep::tool {

// Replaces serial numbers, World Wide IDs and volume tags in the branch HARDWARE, wherever a unit's
// texts repeat them too, and in the device records below records, the tape engine key, unless it is
// null. Equal ones stay equal in both, different ones different, all keep their length, their
// blanks and zeros at either end, and their emptiness. Vendor-specific inquiry data that nobody
// reads becomes zeros; links to device nodes, whose names tell identities, go. Of records what is
// no device, group or RAID goes. Fails when there are more serial numbers of some length than there
// are replacements.
Result<> Redact(RegistryKey& hardware, RegistryKey* records);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_REDACTION_H_
