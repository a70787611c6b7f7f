// The switchable diagnostic log: on while the value "Level" of the tape engine's sub-key "Debug" is
// not 0. It lies beside the store, below all that log, so that nobody has to reach upwards for it.
#ifndef DEVPREP_STORE_DIAGNOSTIC_LOG_H_
#define DEVPREP_STORE_DIAGNOSTIC_LOG_H_

#include <cstdint>

namespace devprep {

// Writes a printf-style message to standard output, and as a line ended by CR LF to the file
// "%s\TEMP\PREPDEV.LOG" under HomePath. Returns 0 when it was written, when the log is off or
// without a HomePath; -1 when the file cannot be opened, or, elsewhere than on Windows, is no
// regular file or a link.
#if defined(__GNUC__)
[[gnu::format(printf, 1, 2)]]
#endif
std::int32_t
LogMessage(const char* format, ...);

}  // namespace devprep

#endif  // DEVPREP_STORE_DIAGNOSTIC_LOG_H_
