#include "input_file.h"

#include <cstdint>
#include <fstream>
#include <system_error>

#include "platform/registry/registry_text.h"

namespace devprep::tool {

Result<std::string> ReadInputFile(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    return error ? Error{error.message(), path.string()}
                 : Error{"this is no regular file", path.string()};
  }
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error) return Error{error.message(), path.string()};
  if (size > kMaxRegistryText)
    return Error{"larger than any capture or registry: more than 64 MiB", path.string()};
  std::string text(static_cast<std::size_t>(size), '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file && !file.eof()) return Error{"cannot be read", path.string()};
  if (!file || file.peek() != std::ifstream::traits_type::eof()) {
    return Error{"has changed while it was read: it is being written", path.string()};
  }
  return text;
}

}  // namespace devprep::tool
