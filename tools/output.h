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
inline constexpr int kJsonFormat = 1;

enum class Colour { kPlain, kHead, kGood, kChanged, kBad };

// Whether standard output is a terminal that wants colours (NO_COLOR is respected).
bool WantsColour();

// Whether box drawing characters can be shown.
bool WantsUnicode();

// Text in a colour where that is wanted.
std::string Paint(const std::string& text, Colour colour);

// Rows of texts under a head, printed in columns as wide as they need to be.
class Table {
 public:
  explicit Table(std::vector<std::string> head) : head_(std::move(head)) {}
  void Add(std::vector<std::string> row, Colour colour = Colour::kPlain) {
    rows_.push_back({std::move(row), colour});
  }
  bool Empty() const { return rows_.empty(); }
  void Print() const;

 private:
  struct Row {
    std::vector<std::string> cells;
    Colour colour;
  };
  static void PrintRow(const std::vector<std::string>& cells,
                       const std::vector<std::size_t>& widths, Colour colour);

  std::vector<std::string> head_;
  std::vector<Row> rows_;
};

// A line of a tree with the lines below it.
struct TreeNode {
  std::string text;
  std::vector<TreeNode> children;
};

// Prints trees under the line printed last.
void PrintTrees(const std::vector<TreeNode>& trees, const std::string& indent = "");

// Prints a listing, with "format" as its first member.
void PrintJson(const Json& members);

// A text of fixed size as the registry or a device gave it: it ends at a NUL, blanks at its end go,
// and what cannot be printed becomes "?".
std::string CleanText(const char* text, std::size_t size);

// "1 device", "2 devices".
std::string Count(std::size_t number, std::string_view noun);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_OUTPUT_H_
