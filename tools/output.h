// What the commands print: tables, words and colours.
#ifndef DEVPREP_TOOLS_OUTPUT_H_
#define DEVPREP_TOOLS_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace devprep::tool {

using Json = nlohmann::ordered_json;

// Version of the JSON that every listing prints, in the member "format". It rises when a member
// changes its meaning or goes; new members may come at any time.
inline constexpr int kJsonFormat = 2;

enum class Colour { kPlain, kHead, kGood, kChanged, kBad };

// Whether standard output is a terminal that wants colours (NO_COLOR is respected).
bool WantsColour();

// Whether box drawing characters can be shown.
bool WantsUnicode();

// Text in a colour where that is wanted.
std::string Paint(const std::string& text, Colour colour);

// The columns of the terminal that standard output is; 0 when it is none.
std::size_t TerminalWidth();

// How many columns a text takes on a terminal: two for each wide character, none for one that
// combines with the character before it.
std::size_t DisplayWidth(std::string_view text);

// Breaks a text at blanks into lines of at most width columns; a word that is longer stands alone.
std::vector<std::string> WrapText(const std::string& text, std::size_t width);

// A text of fixed size as the registry or a device gave it: it ends at a NUL, blanks at its end go,
// and what cannot be printed becomes "?".
std::string CleanText(const char* text, std::size_t size);

// "1 device", "2 devices".
std::string Count(std::size_t number, std::string_view noun);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_OUTPUT_H_
