#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/registry.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

// Column after which the editor breaks a line of hex digits.
constexpr std::size_t kHexLineWidth = 77;

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
