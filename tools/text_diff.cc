#include "text_diff.h"

#include <dtl/dtl.hpp>
#include <sstream>
#include <vector>

namespace devprep::tool {
namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

std::string UnifiedDifference(const std::string& before_name, const std::string& before,
                              const std::string& after_name, const std::string& after) {
  dtl::Diff<std::string> difference(Lines(before), Lines(after));
  difference.onHuge();  // to the end, however much differs
  difference.compose();
  if (difference.getEditDistance() == 0) return {};
  difference.composeUnifiedHunks();
  std::ostringstream text;
  text << "--- " << before_name << "\n+++ " << after_name << '\n';
  difference.printUnifiedFormat(text);
  return text.str();
}

}  // namespace devprep::tool
