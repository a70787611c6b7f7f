#include "platform/problem.h"

#include <cstdio>

namespace devprep {

void ReportProblem(const std::string& text) {
  std::fprintf(stderr, "devprep: %s\n", text.c_str());
  std::fflush(stderr);
}

}  // namespace devprep
