// Asking the person at the terminal.
#ifndef DEVPREP_TOOLS_QUESTION_H_
#define DEVPREP_TOOLS_QUESTION_H_

#include <string>

namespace devprep::tool {

// Whether standard input and output are terminals.
bool SomebodyIsThere();

// Asks, and waits for an answer. Whether it is yes; the end of input is none.
bool Confirm(const std::string& question);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_QUESTION_H_
