// The registry editor's text format, as docs/formats.md describes it.
#ifndef DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_
#define DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_

#include <string>
#include <string_view>

#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep {

// The first lines of the editor's two formats.
inline constexpr std::string_view kHeaderBytes = "REGEDIT4";
inline constexpr std::string_view kHeaderUnicode = "Windows Registry Editor Version 5.00";

inline constexpr std::string_view kLocalMachineName = "HKEY_LOCAL_MACHINE";

// Reads a text with the first line "REGEDIT4" (single bytes) or "Windows Registry Editor Version
// 5.00" (UTF-16LE with a byte order mark, or UTF-8) into the tree below root, whose children are
// the editor's top keys such as HKEY_LOCAL_MACHINE. What the tree holds already stays, as with the
// editor's import; "[-KEY]" and "name=-" remove. Texts become single bytes: a character beyond
// U+00FF is an error. The error names the line (from 1), no file; the tree then holds what stood
// before it.
Result<> ReadRegistryText(std::string_view text, RegistryKey& root);

// Whether a text begins as one that ReadRegistryText takes. head: its first 128 bytes, or all.
bool IsRegistryText(std::string_view head);

// The whole tree below root in the "REGEDIT4" form. ReadRegistryText gives the same tree back.
std::string WriteRegistryText(const RegistryKey& root);

// The same for one key, named by its full path, and everything below it, without the first line.
std::string WriteKeyText(std::string_view path, const RegistryKey& key);

// Whether the tree comes back from the text that WriteRegistryText makes of it. The error names the
// first key that does not: by a name that the format cannot hold, or by one of the limits of
// registry_key.h.
Result<> CheckStorable(const RegistryKey& root);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_
