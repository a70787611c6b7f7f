#include "platform/registry/registry_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/registry.h"

namespace devprep {
namespace {

constexpr std::string_view kHeaderBytes = "REGEDIT4";
constexpr std::string_view kHeaderUnicode = "Windows Registry Editor Version 5.00";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::array<std::string_view, 5> kTopKeys = {kLocalMachineName, "HKEY_CLASSES_ROOT",
                                                      "HKEY_CURRENT_USER", "HKEY_USERS",
                                                      "HKEY_CURRENT_CONFIG"};
// Column after which the editor breaks a line of hex digits.
constexpr std::size_t kHexLineWidth = 77;
constexpr char32_t kLastSingleByte = 0xFF;

std::optional<unsigned> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return std::nullopt;
}

bool IsTextType(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

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

std::optional<TextProblem> DecodeUtf16(std::string_view bytes, std::string& out) {
  SingleByteText text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char32_t>(static_cast<unsigned char>(bytes[i]) |
                                            static_cast<unsigned char>(bytes[i + 1]) << 8);
    if (!text.Append(unit)) return TextProblem{text.Line(), NoSingleByteForm(unit)};
  }
  if (bytes.size() % 2 != 0) {
    return TextProblem{text.Line(), "the text ends in the middle of a character"};
  }
  out = text.Take();
  return std::nullopt;
}

std::optional<TextProblem> DecodeUtf8(std::string_view bytes, std::string& out) {
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
    if (!good) return TextProblem{text.Line(), "the text is not valid UTF-8"};
    if (!text.Append(c)) return TextProblem{text.Line(), NoSingleByteForm(c)};
    i += length;
  }
  out = text.Take();
  return std::nullopt;
}

class Reader {
 public:
  Reader(std::string_view text, RegistryKey& root) : text_(text), root_(root) {}

  std::optional<TextProblem> Read() {
    if (!ReadHeader()) return problem_;
    while (at_ < text_.size()) {
      if (!ReadLine()) return problem_;
    }
    return std::nullopt;
  }

 private:
  bool Fail(std::string reason) {
    problem_ = {line_, std::move(reason)};
    return false;
  }
  bool FailAt(std::size_t line, std::string reason) {
    problem_ = {line, std::move(reason)};
    return false;
  }

  char Peek() const { return at_ < text_.size() ? text_[at_] : '\n'; }
  bool AtEnd() const { return at_ >= text_.size(); }
  void SkipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
  }
  bool AtLineEnd() const {
    return AtEnd() || text_[at_] == '\n' ||
           (text_[at_] == '\r' && (at_ + 1 == text_.size() || text_[at_ + 1] == '\n'));
  }
  void NextLine() {
    at_ = std::min(text_.find('\n', at_), text_.size());
    if (at_ < text_.size()) {
      ++at_;
      ++line_;
    }
  }
  // Accepts blanks and a comment up to the end of the line.
  bool FinishLine() {
    SkipBlanks();
    if (!AtLineEnd() && Peek() != ';') return Fail("unexpected characters at the end of the line");
    NextLine();
    return true;
  }
  bool Accept(std::string_view word) {
    if (CompareNames(text_.substr(at_, word.size()), word) != 0) return false;
    at_ += word.size();
    return true;
  }

  bool ReadHeader() {
    if (text_.starts_with(kUtf16Mark)) {
      if (auto bad = DecodeUtf16(text_.substr(kUtf16Mark.size()), decoded_)) return Adopt(*bad);
      text_ = decoded_;
    } else if (text_.starts_with(kUtf8Mark) || text_.starts_with(kHeaderUnicode)) {
      if (text_.starts_with(kUtf8Mark)) text_.remove_prefix(kUtf8Mark.size());
      if (auto bad = DecodeUtf8(text_, decoded_)) return Adopt(*bad);
      text_ = decoded_;
    }
    std::string_view first = text_.substr(0, text_.find('\n'));
    while (!first.empty() && (first.back() == '\r' || first.back() == ' ')) first.remove_suffix(1);
    if (first != kHeaderBytes && first != kHeaderUnicode) {
      return Fail(std::string("the first line is neither REGEDIT4 nor ").append(kHeaderUnicode));
    }
    unicode_ = first == kHeaderUnicode;
    NextLine();
    return true;
  }
  bool Adopt(const TextProblem& problem) { return FailAt(problem.line, problem.reason); }

  bool ReadLine() {
    SkipBlanks();
    if (AtLineEnd() || Peek() == ';') {
      NextLine();
      return true;
    }
    if (Peek() == '[') return ReadKeyLine();
    if (Peek() == '"' || Peek() == '@') return ReadValueLine();
    return Fail("neither a key, a value nor a comment");
  }

  bool ReadKeyLine() {
    const std::size_t end = std::min(text_.find('\n', at_), text_.size());
    const std::string_view line = text_.substr(at_, end - at_);
    const std::size_t close = line.rfind(']');
    if (close == std::string_view::npos) return Fail("a key without its closing bracket");
    std::string_view path = line.substr(1, close - 1);
    at_ += close + 1;
    const bool removal = path.starts_with('-');
    if (removal) path.remove_prefix(1);
    if (!OpenKey(path, removal)) return false;
    return FinishLine();
  }

  bool OpenKey(std::string_view path, bool removal) {
    if (path.find_first_of(std::string_view("\0\r", 2)) != std::string_view::npos) {
      return Fail("a key name holds a control character that no key name can hold");
    }
    RegistryKey* key = &root_;
    std::shared_ptr<RegistryKey> next;
    std::size_t depth = 0;
    for (bool more = true; more; ++depth) {
      const std::size_t end = std::min(path.find('\\'), path.size());
      const std::string_view name = path.substr(0, end);
      more = end < path.size();
      path.remove_prefix(more ? end + 1 : end);
      if (depth == 0 && std::none_of(kTopKeys.begin(), kTopKeys.end(), [name](const auto& top) {
            return CompareNames(top, name) == 0;
          })) {
        return Fail(std::string(name).append(" is not a top key such as HKEY_LOCAL_MACHINE"));
      }
      if (name.empty()) return Fail("an empty key name");
      if (name.size() > kMaxKeyName) return Fail("a key name of more than 255 characters");
      if (depth >= kMaxKeyDepth) return Fail("more than 512 levels of keys");
      if (removal && !more) {
        if (depth == 0) return Fail("a top key cannot be removed");
        key->RemoveChild(name);
      } else if (removal) {
        next = key->FindChild(name);
        if (next == nullptr) break;  // nothing there to remove
        key = next.get();
      } else {
        next = key->FindOrAddChild(name);
        key = next.get();
      }
    }
    key_ = removal ? nullptr : next;
    return true;
  }

  bool ReadValueLine() {
    if (key_ == nullptr) return Fail("a value that belongs to no key");
    std::string name;
    if (Peek() == '@') {
      ++at_;
    } else if (!ReadQuoted(name)) {
      return false;
    }
    if (name.size() > kMaxValueName) return Fail("a value name of more than 16383 characters");
    SkipBlanks();
    if (Peek() != '=') return Fail("a value name without \"=\" behind it");
    ++at_;
    SkipBlanks();
    std::string data;
    std::uint32_t type = REG_SZ;
    if (Peek() == '-') {
      ++at_;
      key_->RemoveValue(name);
      return FinishLine();
    }
    if (Peek() == '"') {
      if (!ReadQuoted(data)) return false;
      data.push_back('\0');
    } else if (Accept("dword:")) {
      type = REG_DWORD;
      if (!ReadDword(data)) return false;
    } else if (Accept("hex")) {
      if (!ReadHexType(type) || !ReadHex(data)) return false;
      if (unicode_ && IsTextType(type) && !NarrowText(data)) return false;
    } else {
      return Fail("a value that is neither a text, \"dword:\", \"hex:\" nor \"-\"");
    }
    key_->SetValue(name, type, data);
    return FinishLine();
  }

  // A text in quotes. The editor writes line ends within a text as they are.
  bool ReadQuoted(std::string& out) {
    const std::size_t first_line = line_;
    ++at_;
    while (true) {
      const std::size_t stop =
          std::min(text_.find_first_of(std::string_view("\"\\\n\0", 4), at_), text_.size());
      out.append(text_.substr(at_, stop - at_));
      at_ = stop;
      if (AtEnd()) return FailAt(first_line, "a text without its closing quote");
      const char c = text_[at_++];
      if (c == '"') return true;
      if (c == '\0') return FailAt(first_line, "a text with a NUL character in it");
      if (c == '\n') ++line_;
      if (c == '\\') {
        const char escaped = Peek();
        if (escaped != '\\' && escaped != '"') {
          return Fail("a backslash in a text that is neither doubled nor before a quote");
        }
        out.push_back(escaped);
        ++at_;
      } else {
        out.push_back(c);
      }
    }
  }

  bool ReadHexNumber(std::uint32_t& number) {
    number = 0;
    std::size_t digits = 0;
    for (auto digit = HexDigit(Peek()); digit && !AtEnd(); digit = HexDigit(Peek())) {
      if (++digits > 8) return Fail("a number of more than 8 hexadecimal digits");
      number = number << 4 | *digit;
      ++at_;
    }
    return digits != 0 || Fail("a hexadecimal number is missing");
  }

  bool ReadDword(std::string& data) {
    SkipBlanks();
    std::uint32_t number = 0;
    if (!ReadHexNumber(number)) return false;
    for (int shift = 0; shift < 32; shift += 8) data.push_back(static_cast<char>(number >> shift));
    return true;
  }

  // "(N):" or ":" behind "hex".
  bool ReadHexType(std::uint32_t& type) {
    type = REG_BINARY;
    if (Peek() == '(') {
      ++at_;
      if (!ReadHexNumber(type)) return false;
      if (Peek() != ')') return Fail("a type number without its closing bracket");
      ++at_;
    }
    if (Peek() != ':') return Fail("\"hex\" without \":\" behind it");
    ++at_;
    return true;
  }

  // Blanks, and a backslash at the end of a line with the line end behind it.
  bool SkipHexSpace() {
    SkipBlanks();
    while (Peek() == '\\' && !AtEnd()) {
      ++at_;
      SkipBlanks();
      if (AtEnd() || !AtLineEnd()) return Fail("a backslash that does not end its line");
      NextLine();
      SkipBlanks();
    }
    return true;
  }

  bool ReadHex(std::string& data) {
    if (!SkipHexSpace()) return false;
    if (AtLineEnd() || Peek() == ';') return true;
    while (true) {
      unsigned byte = 0;
      std::size_t digits = 0;
      for (auto digit = HexDigit(Peek()); digit && digits < 2; digit = HexDigit(Peek())) {
        byte = byte << 4 | *digit;
        ++digits;
        ++at_;
      }
      if (digits == 0) return Fail("a byte is missing in a list of hexadecimal bytes");
      data.push_back(static_cast<char>(byte));
      if (!SkipHexSpace()) return false;
      if (Peek() != ',') return true;
      ++at_;
      if (!SkipHexSpace()) return false;
    }
  }

  // A text stored as UTF-16LE bytes; half a character at its end is no character.
  bool NarrowText(std::string& data) {
    std::string narrow;
    if (auto bad = DecodeUtf16(std::string_view(data).substr(0, data.size() / 2 * 2), narrow)) {
      return Fail(bad->reason);
    }
    data = std::move(narrow);
    return true;
  }

  std::string_view text_;
  RegistryKey& root_;
  std::string decoded_;
  std::shared_ptr<RegistryKey> key_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  bool unicode_ = false;
  TextProblem problem_;
};

class Writer {
 public:
  void Key(std::string& path, const RegistryKey& key) {
    out_ += "\n[";
    out_ += path;
    out_ += "]\n";
    for (const RegistryValue& value : key.Values()) Value(value);
    Children(path, key);
  }

  void Children(std::string& path, const RegistryKey& key) {
    const std::size_t length = path.size();
    for (const auto& child : key.Children()) {
      if (length != 0) path += '\\';
      path += child->Name();
      Key(path, *child);
      path.resize(length);
    }
  }

  std::string& Text() { return out_; }

 private:
  void Value(const RegistryValue& value) {
    line_start_ = out_.size();
    if (value.name.empty()) {
      out_ += '@';
    } else {
      Quoted(value.name);
    }
    out_ += '=';
    if (IsPlainText(value)) {
      Quoted(std::string_view(value.data).substr(0, value.data.size() - 1));
    } else if (value.type == REG_DWORD && value.data.size() == 4) {
      out_ += "dword:";
      for (std::size_t i = 4; i-- > 0;) Byte(value.data[i]);
    } else {
      Hex(value);
    }
    out_ += '\n';
  }

  static bool IsPlainText(const RegistryValue& value) {
    if (value.type != REG_SZ || value.data.empty() || value.data.back() != '\0') return false;
    return std::all_of(value.data.begin(), value.data.end() - 1,
                       [](char c) { return c >= ' ' && c <= '~'; });
  }

  void Quoted(std::string_view text) {
    out_ += '"';
    for (const char c : text) {
      if (c == '"' || c == '\\') out_ += '\\';
      out_ += c;
    }
    out_ += '"';
  }

  void Byte(char byte) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto bits = static_cast<unsigned char>(byte);
    out_ += kDigits[bits >> 4];
    out_ += kDigits[bits & 0xF];
  }

  void Hex(const RegistryValue& value) {
    out_ += "hex";
    if (value.type != REG_BINARY) {
      static constexpr char kDigits[] = "0123456789abcdef";
      int shift = 28;
      while (shift > 0 && value.type >> shift == 0) shift -= 4;
      out_ += '(';
      for (; shift >= 0; shift -= 4) out_ += kDigits[value.type >> shift & 0xF];
      out_ += ')';
    }
    out_ += ':';
    for (std::size_t i = 0; i < value.data.size(); ++i) {
      Byte(value.data[i]);
      if (i + 1 == value.data.size()) break;
      out_ += ',';
      if (out_.size() - line_start_ > kHexLineWidth - 2) {
        out_ += "\\\n";
        line_start_ = out_.size();
        out_ += "  ";
      }
    }
  }

  std::string out_;
  std::size_t line_start_ = 0;
};

}  // namespace

std::optional<TextProblem> ReadRegistryText(std::string_view text, RegistryKey& root) {
  return Reader(text, root).Read();
}

std::string WriteRegistryText(const RegistryKey& root) {
  Writer writer;
  writer.Text() = std::string(kHeaderBytes) + "\n";
  std::string path;
  writer.Children(path, root);
  return std::move(writer.Text());
}

std::string WriteKeyText(std::string_view path, const RegistryKey& key) {
  Writer writer;
  std::string full(path);
  writer.Key(full, key);
  return std::move(writer.Text());
}

}  // namespace devprep
