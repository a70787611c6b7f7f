#include "store/list_text.h"

#include <charconv>
#include <cstring>
#include <iterator>

namespace devprep {
namespace {

bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

int RemoveBlanks(char* text) {
  char* out = text;
  for (; *text != '\0'; ++text) {
    if (*text != ' ') *out++ = *text;
  }
  *out = '\0';
  return 0;
}

char* NextListItem(char* text, std::uint16_t* last) {
  std::size_t end = std::strlen(text);
  while (end > 0 && text[end - 1] == ' ') --end;
  if (end > 1 && text[end - 1] == ',') text[end - 1] = '\0';
  *last = 0;
  char* comma = std::strchr(text, ',');
  if (comma != nullptr) {
    *comma = '\0';
    return text;
  }
  if (*text == '\0') return nullptr;
  *last = 1;
  return text;
}

char* NextItem(ListWalk* walk, std::uint16_t* last) {
  if (walk->rest == nullptr) return nullptr;
  char* item = NextListItem(walk->rest, last);
  walk->rest = item == nullptr || *last != 0 ? nullptr : item + std::strlen(item) + 1;
  return item;
}

const char* SkipWhiteSpace(const char* at) {
  while (IsWhiteSpace(*at)) ++at;
  return at;
}

bool ScanNumber(const char** at, std::uint16_t* number) {
  const char* p = SkipWhiteSpace(*at);
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  if (!IsDigit(*p)) return false;
  std::uint64_t value = 0;
  bool overflow = false;
  for (; IsDigit(*p); ++p) {
    const auto digit = static_cast<std::uint64_t>(*p - '0');
    overflow = overflow || value > (UINT64_MAX - digit) / 10;
    value = value * 10 + digit;
  }
  if (overflow) {
    value = UINT64_MAX;
  } else if (negative) {
    value = 0 - value;
  }
  *number = static_cast<std::uint16_t>(value);
  *at = p;
  return true;
}

void ScanPair(const char* item, std::uint16_t* first, std::uint16_t* second) {
  if (!ScanNumber(&item, first) || *item != '-') return;
  ++item;
  ScanNumber(&item, second);
}

bool AppendText(char* text, std::size_t size, std::size_t* length, const char* addition) {
  const std::size_t added = std::strlen(addition);
  if (*length + added + 1 > size) return false;
  std::memcpy(text + *length, addition, added + 1);
  *length += added;
  return true;
}

bool AppendNumber(char* text, std::size_t size, std::size_t* length, const char* before,
                  std::uint16_t number) {
  char digits[8];
  *std::to_chars(digits, std::end(digits) - 1, number).ptr = '\0';
  const std::size_t length_before = *length;
  if (AppendText(text, size, length, before) && AppendText(text, size, length, digits)) return true;
  *length = length_before;
  text[length_before] = '\0';
  return false;
}

}  // namespace devprep
