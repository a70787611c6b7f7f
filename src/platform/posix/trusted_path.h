// Files on whose content a process of root may rely.
#ifndef DEVPREP_PLATFORM_POSIX_TRUSTED_PATH_H_
#define DEVPREP_PLATFORM_POSIX_TRUSTED_PATH_H_

#include <string>

#include "platform/result.h"

namespace devprep {

// The file at path with all links resolved, when nobody but root and the user of this process
// decides what is in it: it and every folder above it belong to one of them, and neither group nor
// others may write them. A folder with the sticky bit, such as /tmp, may be written by all: what
// another user puts there belongs to that user. The error says what is wrong, and with which of
// them.
Result<std::string> TrustedPath(const std::string& path);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_TRUSTED_PATH_H_
