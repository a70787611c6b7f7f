// Lets a test make the process heap run out.
#ifndef DEVPREP_PLATFORM_POSIX_HEAP_FAULT_H_
#define DEVPREP_PLATFORM_POSIX_HEAP_FAULT_H_

namespace devprep {

// The nth call of GlobalAlloc from now on, counted from 1, fails; 0: none does.
void FailGlobalAlloc(int nth);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_HEAP_FAULT_H_
