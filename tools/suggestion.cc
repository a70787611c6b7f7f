#include "suggestion.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace devprep::tool {
namespace {

// How many letters have to be put in, left out, changed, or exchanged with the next one.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) steps[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) steps[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      steps[i][j] =
          std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
      }
    }
  }
  return steps[a.size()][b.size()];
}

// Longer texts are no words of ours.
constexpr std::size_t kMaxWord = 64;

}  // namespace

std::string Suggestion(const std::string& mistyped, const std::vector<std::string>& words) {
  if (mistyped.size() > kMaxWord) return "";
  std::size_t nearest = std::numeric_limits<std::size_t>::max();
  std::string meant;
  for (const std::string& word : words) {
    const bool begun = mistyped.size() > 1 && word.starts_with(mistyped);
    const std::size_t distance = begun ? 1 : Distance(mistyped, word);
    // A third of the word may be wrong.
    if (distance >= nearest || (!begun && distance * 3 > word.size() + 1)) continue;
    nearest = distance;
    meant = word;
  }
  return meant.empty() ? "" : "; did you mean '" + meant + "'?";
}

}  // namespace devprep::tool
