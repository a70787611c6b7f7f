// The word that somebody may have meant.
#ifndef DEVPREP_TOOLS_SUGGESTION_H_
#define DEVPREP_TOOLS_SUGGESTION_H_

#include <string>
#include <vector>

namespace devprep::tool {

// "; did you mean 'WORD'?" with the one of words that is nearest to the mistyped one. Empty when
// none is near.
std::string Suggestion(const std::string& mistyped, const std::vector<std::string>& words);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_SUGGESTION_H_
