// The line that tells a person at a terminal how far the asking of devices has come.
#ifndef DEVPREP_TOOLS_POSIX_PROGRESS_H_
#define DEVPREP_TOOLS_POSIX_PROGRESS_H_

namespace devprep::tool {

// Shows progress from now on, where standard error is a terminal.
void ShowProgress();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_POSIX_PROGRESS_H_
