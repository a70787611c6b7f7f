#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "platform/registry/text_decoding.h"

namespace devprep {
namespace {

// Column after which the editor breaks a line of hex digits, and how few bytes
// such a line has.
constexpr std::size_t kHexBreak = 75;
constexpr std::size_t kMinBytesInLine = 24;
constexpr std::size_t kIndent = 2;  // of a line that goes on

// Of every byte its two digits.
constexpr std::array<std::array<char, 2>, 256> kHexPairs = [] {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i >> 4], kDigits[i & 0xF]};
  return pairs;
}();

// The bytes that a quoted text escapes.
bool IsEscaped(char c) { return c == '"' || c == '\\'; }

// Latin-1 as UTF-16LE.
std::string Widen(std::string_view text) {
  std::string wide;
  wide.reserve(text.size() * 2);
  for (const char c : text) {
    wide += c;
    wide += '\0';
  }
  return wide;
}

// Writes single bytes, of kUnicode those that are to be widened.
class Writer {
 public:
  explicit Writer(RegistryTextForm form)
      : unicode_(form == RegistryTextForm::kUnicode),
        line_end_(unicode_ ? "\r\n" : "\n"),
        hex_break_(unicode_ ? "\\\r\n  " : "\\\n  ") {}

  void All(const RegistryKey& root) {
    out_ += unicode_ ? kHeaderUnicode : kHeaderBytes;
    out_ += line_end_;
    std::string path;
    Children(path, root);
  }

  void EmptyLine() { out_ += line_end_; }

  void Key(std::string& path, const RegistryKey& key) {
    out_ += line_end_;
    out_ += '[';
    out_ += path;
    out_ += ']';
    out_ += line_end_;
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
    } else if (unicode_ && IsTextType(value.type)) {
      Hex(value.type, Widen(value.data));
    } else {
      Hex(value.type, value.data);
    }
    out_ += line_end_;
  }

  bool IsPlainText(const RegistryValue& value) const {
    if (value.type != REG_SZ || value.data.empty() || value.data.back() != '\0') return false;
    // From U+00A0 on Latin-1 can be printed; what a single byte of it is depends on who reads it.
    return std::all_of(value.data.begin(), value.data.end() - 1, [this](char c) {
      return (c >= ' ' && c <= '~') || (unicode_ && static_cast<unsigned char>(c) >= 0xA0);
    });
  }

  void Quoted(std::string_view text) {
    out_ += '"';
    if (std::none_of(text.begin(), text.end(), IsEscaped)) {
      out_ += text;
    } else {
      for (const char c : text) {
        if (IsEscaped(c)) out_ += '\\';
        out_ += c;
      }
    }
    out_ += '"';
  }

  void Byte(char byte) { out_.append(kHexPairs[static_cast<unsigned char>(byte)].data(), 2); }

  void Hex(std::uint32_t type, std::string_view data) {
    out_ += "hex";
    if (type != REG_BINARY) {
      static constexpr char kDigits[] = "0123456789abcdef";
      int shift = 28;
      while (shift > 0 && type >> shift == 0) shift -= 4;
      out_ += '(';
      for (; shift >= 0; shift -= 4) out_ += kDigits[type >> shift & 0xF];
      out_ += ')';
    }
    out_ += ':';
    if (data.empty()) return;
    // Written in place: room for all digits, commas and breaks is made at once.
    const std::size_t start = out_.size();
    const std::size_t column = start - line_start_;
    out_.resize(start + data.size() * 3 + (data.size() / kMinBytesInLine + 1) * hex_break_.size());
    char* at = out_.data() + start;
    const char* line_end = at + (column > kHexBreak ? 0 : kHexBreak - column);
    for (const char byte : data) {
      const auto& digits = kHexPairs[static_cast<unsigned char>(byte)];
      *at++ = digits[0];
      *at++ = digits[1];
      *at++ = ',';
      if (at > line_end) {
        at = std::copy(hex_break_.begin(), hex_break_.end(), at);
        line_end = at - kIndent + kHexBreak;
      }
    }
    // Behind the last byte there is neither comma nor break.
    at -= at[-1] == ',' ? 1 : static_cast<std::ptrdiff_t>(hex_break_.size()) + 1;
    out_.resize(static_cast<std::size_t>(at - out_.data()));
  }

  const bool unicode_;
  const std::string_view line_end_;
  const std::string_view hex_break_;
  std::string out_;
  std::size_t line_start_ = 0;
};

// The reason why a key by itself cannot be stored. Null: it can.
const char* Unstorable(const RegistryKey& key, std::size_t depth) {
  constexpr std::string_view kNoKeyName("\0\r\n", 3);
  const std::string& name = key.Name();
  if (depth > kMaxKeyDepth) return "more than 512 levels of keys";
  if (depth != 0 && name.empty()) return "an empty key name";
  if (name.size() > kMaxKeyName) return "a key name of more than 255 characters";
  if (name.find_first_of(kNoKeyName) != std::string::npos) {
    return "a key name that holds a line end or NUL";
  }
  if (key.Children().size() > kMaxSubKeys) return "more than 16384 keys in one";
  if (key.ValueCount() > kMaxValues) return "more than 65536 values in a key";
  for (const RegistryValue& value : key.Values()) {
    if (value.name.size() > kMaxValueName) return "a value name of more than 16383 characters";
    if (value.name.find('\0') != std::string::npos) return "a value name that holds NUL";
  }
  return nullptr;
}

Result<> CheckKey(std::string& path, const RegistryKey& key, std::size_t depth) {
  if (const char* reason = Unstorable(key, depth)) return Error{path + ": " + reason};
  const std::size_t length = path.size();
  for (const auto& child : key.Children()) {
    if (length != 0) path += '\\';
    path += child->Name();
    if (Result<> checked = CheckKey(path, *child, depth + 1); !checked) return checked;
    path.resize(length);
  }
  return {};
}

}  // namespace

Result<> CheckStorable(const RegistryKey& root) {
  std::string path;
  return CheckKey(path, root, 0);
}

std::string WriteRegistryText(const RegistryKey& root) {
  Writer writer(RegistryTextForm::kBytes);
  writer.All(root);
  return std::move(writer.Text());
}

std::string WriteExportText(const RegistryKey& root, RegistryTextForm form) {
  Writer writer(form);
  writer.All(root);
  writer.EmptyLine();
  if (form == RegistryTextForm::kBytes) return std::move(writer.Text());
  return std::string(kUtf16Mark) + Widen(writer.Text());
}

std::string WriteKeyText(std::string_view path, const RegistryKey& key) {
  Writer writer(RegistryTextForm::kBytes);
  std::string full(path);
  writer.Key(full, key);
  return std::move(writer.Text());
}

}  // namespace devprep
