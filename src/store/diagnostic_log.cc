#include "store/diagnostic_log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "platform/modules.h"
#include "store/product_paths.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr const char* kLogSwitchKey = "Debug";
constexpr const char* kLogSwitchValue = "Level";
constexpr const char* kLogFileFormat = "%s\\TEMP\\PREPDEV.LOG";
constexpr std::size_t kLogFilePathSize = kHomePathSize + 32;
constexpr std::size_t kMessageSize = 512;

}  // namespace

std::int32_t LogMessage(const char* format, ...) {
  if (StoreGetDword(kLogSwitchKey, kLogSwitchValue, 0) == 0) return 0;
  if (HomePath[0] == '\0') return 0;
  char message[kMessageSize];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  char log_file_path[kLogFilePathSize];
  std::snprintf(log_file_path, sizeof log_file_path, kLogFileFormat, HomePath);
  std::printf("%s\n", message);
  std::FILE* file = OpenProductFileToAppend(log_file_path);
  if (file == nullptr) std::printf("Cannot open file\n");
  // What a caller has written around this call keeps its place in the output.
  std::fflush(stdout);
  if (file == nullptr) return -1;
  std::fprintf(file, "%s\r\n", message);
  std::fclose(file);
  return 0;
}

}  // namespace devprep
