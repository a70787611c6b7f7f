#include "output.h"

#if defined(_WIN32)
#include "platform/registry.h"
#else
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
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

std::size_t TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO console = {};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &console) == 0) return 0;
  return static_cast<std::size_t>(console.srWindow.Right - console.srWindow.Left + 1);
}

// What the tool prints there is ASCII, but for names of files.
std::size_t DisplayWidth(std::string_view text) { return text.size(); }

#else

bool WantsColour() {
  static const bool wanted = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
  return wanted;
}

bool WantsUnicode() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

std::size_t TerminalWidth() {
  winsize size = {};
  if (isatty(STDOUT_FILENO) == 0) return 0;
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::size_t DisplayWidth(std::string_view text) {
  const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::all_of(text.begin(), text.end(), is_ascii)) return text.size();
  std::size_t width = 0;
  std::mbstate_t state = {};
  for (std::size_t at = 0; at < text.size();) {
    wchar_t character = 0;
    const std::size_t length = std::mbrtowc(&character, text.data() + at, text.size() - at, &state);
    if (length == 0 || length > text.size()) {  // NUL, or no character of this locale
      state = {};
      ++width;
      ++at;
      continue;
    }
    width += static_cast<std::size_t>(std::max(wcwidth(character), 0));
    at += length;
  }
  return width;
}

#endif

std::vector<std::string> WrapText(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::string rest = text;
  while (DisplayWidth(rest) > width) {
    std::size_t cut = std::string::npos;
    for (std::size_t at = rest.find(' ', 1); at != std::string::npos; at = rest.find(' ', at + 1)) {
      if (cut != std::string::npos && DisplayWidth(rest.substr(0, at)) > width) break;
      cut = at;
    }
    const std::size_t next = cut == std::string::npos ? cut : rest.find_first_not_of(' ', cut);
    if (next == std::string::npos) break;
    lines.push_back(rest.substr(0, rest.find_last_not_of(' ', cut) + 1));
    rest.erase(0, next);
  }
  lines.push_back(rest);
  return lines;
}

std::string Paint(const std::string& text, Colour colour) {
  if (colour == Colour::kPlain || !WantsColour()) return text;
  return ColourCode(colour) + text + "\033[0m";
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
