#include "markup.h"

#include <cstddef>
#include <cstdint>

namespace devprep::tool {
namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

// The bytes of the letter at the beginning of the text, which is not empty: 0 when it is no UTF-8
// (RFC 3629) or XML does not take it (XML 1.0, 2.2).
std::size_t LetterSize(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return (first >= 0x20 && first != 0x7F) || first == '\n' ? 1 : 0;
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
  std::uint32_t code = first & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    if (!IsContinuation(text[i])) return 0;
    code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  const bool control = code < 0xA0 || code == 0x2028 || code == 0x2029;
  const bool noncharacter = code == 0xFFFE || code == 0xFFFF;
  if (code < kLeast[size] || code > 0x10FFFF || surrogate || control || noncharacter) return 0;
  return size;
}

}  // namespace

std::string EscapeMarkup(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size() + text.size() / 8);
  while (!text.empty()) {
    const std::size_t size = LetterSize(text);
    switch (size == 1 ? text[0] : '\0') {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += size == 0 ? std::string_view("?") : text.substr(0, size);
    }
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return escaped;
}

void Markup::EndTag() {
  if (in_tag_) text_ += '>';
  in_tag_ = false;
}

Markup& Markup::Open(const char* name) {
  EndTag();
  (text_ += '<') += name;
  open_.push_back(name);
  in_tag_ = true;
  return *this;
}

Markup& Markup::With(const char* name, std::string_view value) {
  (((text_ += ' ') += name) += "=\"") += EscapeMarkup(value);
  text_ += '"';
  return *this;
}

Markup& Markup::Text(std::string_view text) { return Raw(EscapeMarkup(text)); }

Markup& Markup::Raw(std::string_view markup) {
  EndTag();
  text_ += markup;
  return *this;
}

Markup& Markup::Close() {
  if (in_tag_)
    text_ += "/>";
  else
    ((text_ += "</") += open_.back()) += '>';
  in_tag_ = false;
  open_.pop_back();
  return *this;
}

Markup& Markup::Line() { return Raw("\n"); }

}  // namespace devprep::tool
