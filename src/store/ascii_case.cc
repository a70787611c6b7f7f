#include "store/ascii_case.h"

#include <algorithm>
#include <cstring>

namespace devprep {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

bool EqualIgnoringCase(const char* a, const char* b, std::size_t length) {
  return std::equal(a, a + length, b, [](char x, char y) { return Lower(x) == Lower(y); });
}

bool EqualIgnoringCase(const char* a, const char* b) {
  const std::size_t length = std::strlen(a);
  return length == std::strlen(b) && EqualIgnoringCase(a, b, length);
}

}  // namespace devprep
