// Messages for the person at the machine, on standard error.
#ifndef DEVPREP_PLATFORM_PROBLEM_H_
#define DEVPREP_PLATFORM_PROBLEM_H_

#include <string>

namespace devprep {

// Writes one line to standard error, behind the product's name.
void ReportProblem(const std::string& text);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_PROBLEM_H_
