#include "question.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <iostream>

namespace devprep::tool {

#if defined(_WIN32)
bool SomebodyIsThere() { return _isatty(0) != 0 && _isatty(1) != 0; }
#else
bool SomebodyIsThere() { return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0; }
#endif

bool Confirm(const std::string& question) {
  std::cout << question << " [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace devprep::tool
