// Who changes the registry, for the history and for those who wait.
#ifndef DEVPREP_PLATFORM_POSIX_CHANGE_CAUSE_H_
#define DEVPREP_PLATFORM_POSIX_CHANGE_CAUSE_H_

#include <sys/types.h>

#include <string>

namespace devprep {

struct ChangeCause {
  std::string program;  // such as "devprep"
  std::string command;  // what it was asked to do; empty: not told
  uid_t uid = 0;        // who runs it
  std::string user;     // that user's name in /etc/passwd; empty: not there
};

// Sets program and command for what this process changes from now on. Without it, or with an empty
// program, the program is the process's name as the kernel knows it.
void SetChangeCause(std::string program, std::string command);

ChangeCause CurrentCause();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_CHANGE_CAUSE_H_
