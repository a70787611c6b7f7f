// Taking stored texts apart: lists separated by commas, and the numbers in them.
#ifndef DEVPREP_STORE_LIST_TEXT_H_
#define DEVPREP_STORE_LIST_TEXT_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

// Deletes every blank (0x20) from a text in place. Returns 0.
int RemoveBlanks(char* text);

// Takes the first item of a comma-separated list held in text, which is changed: the comma behind
// the item becomes the end of the text. A comma at the text's end, blanks behind it ignored, ends
// the text unless it is its first character. Returns the item, or null for an empty text. *last: 1
// when the item was the last. The next item starts behind the returned one and its end mark.
char* NextListItem(char* text, std::uint16_t* last);

// A walk over the items of a comma-separated list, which is changed.
struct ListWalk {
  char* rest = nullptr;  // null: nothing is left
};

// The next item of a walk, or null. *last as with NextListItem; the walk then ends.
char* NextItem(ListWalk* walk, std::uint16_t* last);

// Reads an unsigned decimal number at *at in the manner of scanf's "%hu", as the C library on
// 64-bit Linux does on every platform: white space is skipped, a sign is taken, a number beyond 64
// bits counts as 2^64 - 1, and the low 16 bits are stored. On success *at is behind the number.
// Otherwise nothing is changed.
bool ScanNumber(const char** at, std::uint16_t* number);

// Skips white space in scanf's sense.
const char* SkipWhiteSpace(const char* at);

// Reads a pair of numbers "%hu-%hu" from an item. What cannot be read is left as it was.
void ScanPair(const char* item, std::uint16_t* first, std::uint16_t* second);

// Appends to text (size bytes), which holds *length characters. True, with the new *length, when
// the addition fits whole with its NUL; false, and text as it was, otherwise.
bool AppendText(char* text, std::size_t size, std::size_t* length, const char* addition);

// The same for a number in decimal behind a text, as "%s%hu" formats them.
bool AppendNumber(char* text, std::size_t size, std::size_t* length, const char* before,
                  std::uint16_t number);

}  // namespace devprep

#endif  // DEVPREP_STORE_LIST_TEXT_H_
