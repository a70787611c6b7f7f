#include "platform/setting.h"

#include <charconv>
#include <cstdlib>
#include <map>

#include "platform/messages.h"

namespace devprep {

std::string Setting(const char* variable) {
#if defined(_WIN32)
  const char* value = std::getenv(variable);
#else
  const char* value = ::secure_getenv(variable);
#endif
  return value == nullptr ? "" : value;
}

unsigned NumberSetting(const char* variable, unsigned default_number, unsigned max) {
  const std::string text = Setting(variable);
  if (text.empty()) return default_number;
  unsigned number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && stop == end && number <= max) return number;
  static std::map<std::string, std::string> reported;
  if (reported[variable] != text) {
    ReportMessage(Severity::kWarning, std::string(variable) + ": '" + text +
                                          "' is not a number from 0 to " + std::to_string(max) +
                                          "; " + std::to_string(default_number) + " is used");
    reported[variable] = text;
  }
  return default_number;
}

}  // namespace devprep
