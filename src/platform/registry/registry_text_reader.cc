#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "platform/registry/text_decoding.h"

namespace devprep {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::array<std::string_view, 5> kTopKeys = {kLocalMachineName, "HKEY_CLASSES_ROOT",
                                                      "HKEY_CURRENT_USER", "HKEY_USERS",
                                                      "HKEY_CURRENT_CONFIG"};

std::optional<unsigned> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return std::nullopt;
}

bool IsTextType(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

class Reader {
 public:
  Reader(std::string_view text, RegistryKey& root) : text_(text), root_(root) {}

  Result<> Read() {
    if (!ReadHeader()) return error_;
    while (at_ < text_.size()) {
      if (!ReadLine()) return error_;
    }
    return {};
  }

 private:
  bool Fail(std::string message) { return FailAt(line_, std::move(message)); }
  bool FailAt(std::size_t line, std::string message) {
    error_ = {std::move(message), {}, line};
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
  bool Accept(std::string_view keyword) {
    if (CompareNames(text_.substr(at_, keyword.size()), keyword) != 0) return false;
    at_ += keyword.size();
    return true;
  }

  bool ReadHeader() {
    if (text_.starts_with(kUtf16Mark)) {
      if (!Decode(DecodeUtf16(text_.substr(kUtf16Mark.size())))) return false;
    } else if (text_.starts_with(kUtf8Mark) || text_.starts_with(kHeaderUnicode)) {
      if (text_.starts_with(kUtf8Mark)) text_.remove_prefix(kUtf8Mark.size());
      if (!Decode(DecodeUtf8(text_))) return false;
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
  bool Decode(Result<std::string> decoded) {
    if (!decoded) return FailAt(decoded.Failure().line, decoded.Failure().message);
    decoded_ = *std::move(decoded);
    text_ = decoded_;
    return true;
  }

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
    Result<std::string> narrow = DecodeUtf16(std::string_view(data).substr(0, data.size() / 2 * 2));
    if (!narrow) return Fail(narrow.Failure().message);
    data = *std::move(narrow);
    return true;
  }

  std::string_view text_;
  RegistryKey& root_;
  std::string decoded_;
  std::shared_ptr<RegistryKey> key_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  bool unicode_ = false;
  Error error_;
};

}  // namespace

Result<> ReadRegistryText(std::string_view text, RegistryKey& root) {
  return Reader(text, root).Read();
}

}  // namespace devprep
