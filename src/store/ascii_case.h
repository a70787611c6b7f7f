// Comparison without regard to the case of ASCII letters, whatever the locale.
#ifndef DEVPREP_STORE_ASCII_CASE_H_
#define DEVPREP_STORE_ASCII_CASE_H_

#include <cstddef>

namespace devprep {

// Whether length bytes are equal. A zero byte does not end the comparison.
bool EqualIgnoringCase(const char* a, const char* b, std::size_t length);

// Whether two NUL-terminated texts are equal.
bool EqualIgnoringCase(const char* a, const char* b);

}  // namespace devprep

#endif  // DEVPREP_STORE_ASCII_CASE_H_
