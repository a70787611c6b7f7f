// The registry editor's text format, as docs/formats.md describes it.
#ifndef DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_
#define DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep {

// The first lines of the editor's two formats.
inline constexpr std::string_view kHeaderBytes = "REGEDIT4";
inline constexpr std::string_view kHeaderUnicode = "Windows Registry Editor Version 5.00";

// The largest text, in bytes, that is read or stored. Registries and captures have some hundred
// kilobytes; what is beyond this is neither.
inline constexpr std::size_t kMaxRegistryText = std::size_t{64} * 1024 * 1024;

inline constexpr std::string_view kLocalMachineName = "HKEY_LOCAL_MACHINE";

// The full name of a top key, of which name is the full or the short one ("HKLM") in any case.
// Empty when there is no such top key.
std::string_view TopKeyName(std::string_view name);

// Whether the bytes of a value of that type are a text: REG_SZ, REG_EXPAND_SZ and REG_MULTI_SZ.
bool IsTextType(std::uint32_t type);

// The editor's two forms of the text.
enum class RegistryTextForm : std::uint8_t {
  kBytes,   // "REGEDIT4": single bytes, lines end with LF
  kUnicode  // "Version 5.00": UTF-16LE with a byte order mark, lines end with CR LF; the bytes of
            // texts are UTF-16LE, too
};

// Reads a text with the first line "REGEDIT4" (single bytes) or "Windows Registry Editor Version
// 5.00" (UTF-16LE with a byte order mark, or UTF-8) into the tree below root, whose children are
// the editor's top keys such as HKEY_LOCAL_MACHINE (in the text also HKLM). What the tree holds
// already stays, as with the editor's import; "[-KEY]" and "name=-" remove. Texts become single
// bytes: a character beyond U+00FF is an error. The error names the line (from 1), no file; the
// tree then holds what stood before it.
Result<> ReadRegistryText(std::string_view text, RegistryKey& root);

// Whether a text begins as one that ReadRegistryText takes. head: its first 128 bytes, or all.
bool IsRegistryText(std::string_view head);

// The whole tree below root as kBytes has it. ReadRegistryText gives the same tree back.
std::string WriteRegistryText(const RegistryKey& root);

// The same for other programs, in either form: it ends with an empty line as the editor's exports
// do, without which some programs leave out the last value.
std::string WriteExportText(const RegistryKey& root, RegistryTextForm form);

// One key, named by its full path, and everything below it as kBytes has it, without the first
// line.
std::string WriteKeyText(std::string_view path, const RegistryKey& key);

// Whether the tree comes back from the text that WriteRegistryText makes of it. The error names the
// first key that does not: by a name that the format cannot hold, or by one of the limits of
// registry_key.h.
Result<> CheckStorable(const RegistryKey& root);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_REGISTRY_TEXT_H_
