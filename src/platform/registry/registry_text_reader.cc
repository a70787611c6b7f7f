#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "platform/registry/text_decoding.h"

namespace devprep {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

struct TopKey {
  std::string_view name;
  std::string_view short_name;
};
constexpr std::array<TopKey, 5> kTopKeys = {{{kLocalMachineName, "HKLM"},
                                             {"HKEY_CLASSES_ROOT", "HKCR"},
                                             {"HKEY_CURRENT_USER", "HKCU"},
                                             {"HKEY_USERS", "HKU"},
                                             {"HKEY_CURRENT_CONFIG", "HKCC"}}};

constexpr std::uint8_t kNoDigit = 0xFF;

// Of every byte the hexadecimal digit that it is.
constexpr std::array<std::uint8_t, 256> kHexDigits = [] {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::uint8_t i = 0; i < 10; ++i) digits[std::size_t{'0'} + i] = i;
  for (std::uint8_t i = 0; i < 6; ++i)
    digits[std::size_t{'a'} + i] = digits[std::size_t{'A'} + i] = static_cast<std::uint8_t>(10 + i);
  return digits;
}();

std::uint8_t HexDigit(char c) { return kHexDigits[static_cast<unsigned char>(c)]; }

// The bytes that end a stretch of a quoted text.
constexpr std::array<bool, 256> kStopsText = [] {
  std::array<bool, 256> stops{};
  for (const char c : {'"', '\\', '\n', '\0'}) stops[static_cast<unsigned char>(c)] = true;
  return stops;
}();

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
    if (path.ends_with('\\')) path.remove_suffix(1);  // as some programs write it
    if (!OpenKey(path, removal)) return false;
    return FinishLine();
  }

  bool OpenKey(std::string_view path, bool removal) {
    if (path.find_first_of(std::string_view("\0\r", 2)) != std::string_view::npos) {
      return Fail("a key name holds a control character that no key name can hold");
    }
    RegistryKey* key = &root_;
    std::size_t depth = 0;
    // Most keys lie beside the key before them.
    const std::size_t cut = path.rfind('\\');
    const bool beside = !removal && parent_ != nullptr && cut != std::string_view::npos &&
                        path.substr(0, cut) == parent_path_;
    if (beside) {
      key = parent_;
      depth = parent_depth_;
      path.remove_prefix(cut + 1);
    } else if (cut != std::string_view::npos) {
      parent_path_ = path.substr(0, cut);
    }
    parent_ = nullptr;
    for (bool more = true; more; ++depth) {
      const std::size_t end = std::min(path.find('\\'), path.size());
      std::string_view name = path.substr(0, end);
      more = end < path.size();
      path.remove_prefix(more ? end + 1 : end);
      if (depth == 0) {
        const std::string_view top = TopKeyName(name);
        if (top.empty()) {
          return Fail(std::string(name).append(" is not a top key such as HKEY_LOCAL_MACHINE"));
        }
        name = top;
      }
      if (name.empty()) return Fail("an empty key name");
      if (name.size() > kMaxKeyName) return Fail("a key name of more than 255 characters");
      if (depth >= kMaxKeyDepth) return Fail("more than 512 levels of keys");
      if (!more && !removal && depth != 0) {
        parent_ = key;
        parent_depth_ = depth;
      }
      if (removal && !more) {
        if (depth == 0) return Fail("a top key cannot be removed");
        key->RemoveChild(name);
      } else if (removal) {
        key = key->FindChild(name).get();
        if (key == nullptr) break;  // nothing there to remove
      } else {
        RegistryKey* const child = key->FindOrAddChild(name).get();
        if (key->Children().size() > kMaxSubKeys) return Fail("more than 16384 keys in one");
        key = child;
      }
    }
    key_ = removal ? nullptr : key;
    return true;
  }

  bool ReadValueLine() {
    if (key_ == nullptr) return Fail("a value that belongs to no key");
    std::string& name = name_;
    std::string& data = data_;
    name.clear();
    data.clear();
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
    if (key_->ValueCount() > kMaxValues) return Fail("more than 65536 values in a key");
    return FinishLine();
  }

  // A text in quotes. The editor writes line ends within a text as they are.
  bool ReadQuoted(std::string& out) {
    const std::size_t first_line = line_;
    ++at_;
    while (true) {
      std::size_t stop = at_;
      while (stop < text_.size() && !kStopsText[static_cast<unsigned char>(text_[stop])]) ++stop;
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
          return Fail(
              "a backslash in a text that is neither doubled nor "
              "before a quote");
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
    for (auto digit = HexDigit(Peek()); digit != kNoDigit; digit = HexDigit(Peek())) {
      if (++digits > 8) return Fail("a number of more than 8 hexadecimal digits");
      number = number << 4 | digit;
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

  // Bytes of two digits with a comma and no space behind them, as they are most
  // often written.
  void ReadHexRun(std::string& data) {
    const char* at = text_.data() + at_;
    const char* const end = text_.data() + text_.size();
    while (end - at >= 4 && at[2] == ',') {
      const std::uint8_t high = HexDigit(at[0]);
      const std::uint8_t low = HexDigit(at[1]);
      // A run ends before what has to be looked at more closely: it leaves a
      // byte to be read.
      if ((high | low) == kNoDigit || HexDigit(at[3]) == kNoDigit) break;
      data.push_back(static_cast<char>(high << 4 | low));
      at += 3;
    }
    at_ = static_cast<std::size_t>(at - text_.data());
  }

  bool ReadHex(std::string& data) {
    if (!SkipHexSpace()) return false;
    if (AtLineEnd() || Peek() == ';') return true;
    while (true) {
      ReadHexRun(data);
      unsigned byte = 0;
      std::size_t digits = 0;
      for (auto digit = HexDigit(Peek()); digit != kNoDigit && digits < 2;
           digit = HexDigit(Peek())) {
        byte = byte << 4 | digit;
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

  // A text stored as UTF-16LE bytes; half a character at its end is no
  // character.
  bool NarrowText(std::string& data) {
    Result<std::string> narrow = DecodeUtf16(std::string_view(data).substr(0, data.size() / 2 * 2));
    if (!narrow) return Fail(narrow.Failure().message);
    data = *std::move(narrow);
    return true;
  }

  std::string_view text_;
  RegistryKey& root_;
  std::string decoded_;
  RegistryKey* key_ = nullptr;     // of the values that follow
  RegistryKey* parent_ = nullptr;  // of key_; null: it is not known
  std::string_view parent_path_;
  std::size_t parent_depth_ = 0;
  std::string name_;  // of a value, and its data: kept for their room
  std::string data_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  bool unicode_ = false;
  Error error_;
};

}  // namespace

bool IsRegistryText(std::string_view head) {
  std::string narrow;
  if (head.starts_with(kUtf16Mark)) {
    for (std::size_t i = kUtf16Mark.size(); i < head.size(); i += 2) narrow += head[i];
    head = narrow;
  } else if (head.starts_with(kUtf8Mark)) {
    head.remove_prefix(kUtf8Mark.size());
  }
  return head.starts_with(kHeaderBytes) || head.starts_with(kHeaderUnicode);
}

std::string_view TopKeyName(std::string_view name) {
  for (const TopKey& top : kTopKeys) {
    if (CompareNames(name, top.name) == 0 || CompareNames(name, top.short_name) == 0) {
      return top.name;
    }
  }
  return {};
}

bool IsTextType(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

Result<> ReadRegistryText(std::string_view text, RegistryKey& root) {
  return Reader(text, root).Read();
}

}  // namespace devprep
