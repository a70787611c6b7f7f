// The captures and registry texts that the tool is given to read.
#ifndef DEVPREP_TOOLS_INPUT_FILE_H_
#define DEVPREP_TOOLS_INPUT_FILE_H_

#include <filesystem>
#include <string>

#include "platform/result.h"

namespace devprep::tool {

// All of a regular file: nothing that would keep it waiting, as a pipe, and nothing larger than any
// capture or registry. The error names the file.
Result<std::string> ReadInputFile(const std::filesystem::path& path);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_INPUT_FILE_H_
