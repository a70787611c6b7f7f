// Unicode texts as single bytes (Latin-1), which is all that the registry here holds.
#ifndef DEVPREP_PLATFORM_REGISTRY_TEXT_DECODING_H_
#define DEVPREP_PLATFORM_REGISTRY_TEXT_DECODING_H_

#include <string>
#include <string_view>

#include "platform/result.h"

namespace devprep {

// The byte order mark of UTF-16LE.
inline constexpr std::string_view kUtf16Mark = "\xFF\xFE";

// The text of UTF-16LE or UTF-8 bytes, without a byte order mark. The error names the line (from 1)
// of the first character that is malformed or beyond U+00FF. On lines that begin with ";", which
// are comments and not kept, any character will do.
Result<std::string> DecodeUtf16(std::string_view bytes);
Result<std::string> DecodeUtf8(std::string_view bytes);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_TEXT_DECODING_H_
