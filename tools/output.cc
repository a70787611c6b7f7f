#include "output.h"

#if defined(_WIN32)
#include "platform/registry.h"
#else
#include <langinfo.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace devprep::tool {
namespace {

const char* ColourCode(Colour colour) {
  switch (colour) {
    case Colour::kHead:
      return "\033[1m";
    case Colour::kGood:
      return "\033[32m";
    case Colour::kChanged:
      return "\033[33m";
    case Colour::kBad:
      return "\033[31m";
    case Colour::kPlain:
      break;
  }
  return "";
}

}  // namespace

#if defined(_WIN32)

// Consoles of older releases show the codes as text.
bool WantsColour() { return false; }

bool WantsUnicode() { return GetConsoleOutputCP() == CP_UTF8; }

#else

bool WantsColour() {
  static const bool wanted = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
  return wanted;
}

bool WantsUnicode() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

#endif

std::string Paint(const std::string& text, Colour colour) {
  if (colour == Colour::kPlain || !WantsColour()) return text;
  return ColourCode(colour) + text + "\033[0m";
}

void Table::Print() const {
  std::vector<std::size_t> widths;
  for (const std::string& title : head_) widths.push_back(title.size());
  for (const Row& row : rows_) {
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
      widths[i] = std::max(widths[i], row.cells[i].size());
    }
  }
  PrintRow(head_, widths, Colour::kHead);
  for (const Row& row : rows_) PrintRow(row.cells, widths, row.colour);
}

void Table::PrintRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                     Colour colour) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    line += cells[i];
    line.append(widths[i] - cells[i].size() + 2, ' ');
  }
  line.resize(line.find_last_not_of(' ') + 1);
  std::cout << Paint(line, colour) << '\n';
}

void PrintTrees(const std::vector<TreeNode>& trees, const std::string& indent) {
  const bool unicode = WantsUnicode();
  for (std::size_t i = 0; i < trees.size(); ++i) {
    const bool last = i + 1 == trees.size();
    const char* branch = unicode ? (last ? "└─ " : "├─ ") : (last ? "`- " : "|- ");
    const char* trunk = last ? "   " : (unicode ? "│  " : "|  ");
    std::cout << indent << branch << trees[i].text << '\n';
    PrintTrees(trees[i].children, indent + trunk);
  }
}

void PrintJson(const Json& members) {
  Json listing = {{"format", kJsonFormat}};
  listing.update(members);
  std::cout << listing.dump(2) << '\n';
}

std::string CleanText(const char* text, std::size_t size) {
  std::string clean(text, strnlen(text, size));
  for (char& c : clean) {
    if (c < ' ' || c > '~') c = '?';
  }
  clean.resize(clean.find_last_not_of(' ') + 1);
  return clean;
}

std::string Count(std::size_t number, std::string_view noun) {
  std::string text = std::to_string(number);
  text.append(" ").append(noun);
  if (number != 1) text += 's';
  return text;
}

}  // namespace devprep::tool
