// The difference of two texts, line by line.
#ifndef DEVPREP_TOOLS_TEXT_DIFF_H_
#define DEVPREP_TOOLS_TEXT_DIFF_H_

#include <string>

namespace devprep::tool {

// In the unified form, with the names of both in its first lines. Empty when they are the same. A
// carriage return at the end of a line does not count.
std::string UnifiedDifference(const std::string& before_name, const std::string& before,
                              const std::string& after_name, const std::string& after);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_TEXT_DIFF_H_
