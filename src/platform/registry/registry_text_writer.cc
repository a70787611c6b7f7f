#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/registry.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

// Column after which the editor breaks a line of hex digits, and how few bytes
// such a line has.
constexpr std::size_t kHexBreak = 75;
constexpr std::size_t kMinBytesInLine = 24;

// Of every byte its two digits.
constexpr std::array<std::array<char, 2>, 256> kHexPairs = [] {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i >> 4], kDigits[i & 0xF]};
  return pairs;
}();

// The bytes that a quoted text escapes.
bool IsEscaped(char c) { return c == '"' || c == '\\'; }

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
    if (value.data.empty()) return;
    // Written in place: room for all digits, commas and breaks is made at once.
    const std::size_t start = out_.size();
    const std::size_t column = start - line_start_;
    out_.resize(start + value.data.size() * 3 + (value.data.size() / kMinBytesInLine + 1) * 4);
    char* at = out_.data() + start;
    const char* line_end = at + (column > kHexBreak ? 0 : kHexBreak - column);
    for (const char byte : value.data) {
      const auto& digits = kHexPairs[static_cast<unsigned char>(byte)];
      *at++ = digits[0];
      *at++ = digits[1];
      *at++ = ',';
      if (at > line_end) {
        std::memcpy(at, "\\\n  ", 4);
        line_end = at + 2 + kHexBreak;
        at += 4;
      }
    }
    // Behind the last byte there is neither comma nor break.
    at -= at[-1] == ',' ? 1 : 5;
    out_.resize(static_cast<std::size_t>(at - out_.data()));
  }

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
