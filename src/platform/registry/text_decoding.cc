#include "platform/registry/text_decoding.h"

#include <cstddef>
#include <utility>

namespace devprep {
namespace {

constexpr char32_t kLastSingleByte = 0xFF;

// Collects the characters of a Unicode text as single bytes. Comments may hold any character, since
// they are not kept.
class SingleByteText {
 public:
  // False when the character has no single-byte form where one is needed.
  bool Append(char32_t c) {
    if (c == U'\n') {
      ++line_;
      at_line_start_ = true;
      in_comment_ = false;
    } else if (at_line_start_ && c != U' ' && c != U'\t') {
      at_line_start_ = false;
      in_comment_ = c == U';';
    }
    if (c > kLastSingleByte && !in_comment_) return false;
    text_.push_back(c > kLastSingleByte ? '?' : static_cast<char>(c));
    return true;
  }
  std::size_t Line() const { return line_; }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
  std::size_t line_ = 1;
  bool at_line_start_ = true;
  bool in_comment_ = false;
};

std::string NoSingleByteForm(char32_t c) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "character U+";
  for (int shift = c > 0xFFFFF ? 20 : c > 0xFFFF ? 16 : 12; shift >= 0; shift -= 4) {
    text.push_back(kDigits[(c >> shift) & 0xF]);
  }
  return text.append(" has no single-byte form");
}

}  // namespace

Result<std::string> DecodeUtf16(std::string_view bytes) {
  SingleByteText text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char32_t>(static_cast<unsigned char>(bytes[i]) |
                                            static_cast<unsigned char>(bytes[i + 1]) << 8);
    if (!text.Append(unit)) return Error{NoSingleByteForm(unit), {}, text.Line()};
  }
  if (bytes.size() % 2 != 0) {
    return Error{"the text ends in the middle of a character", {}, text.Line()};
  }
  return text.Take();
}

Result<std::string> DecodeUtf8(std::string_view bytes) {
  SingleByteText text;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const std::size_t length = lead < 0x80                    ? 1
                               : lead >= 0xC2 && lead <= 0xDF ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    bool good = length != 0 && i + length <= bytes.size();
    char32_t c = length <= 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t k = 1; good && k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      good = (next & 0xC0U) == 0x80;
      c = c << 6 | (next & 0x3FU);
    }
    if (!good) return Error{"the text is not valid UTF-8", {}, text.Line()};
    if (!text.Append(c)) return Error{NoSingleByteForm(c), {}, text.Line()};
    i += length;
  }
  return text.Take();
}

}  // namespace devprep
