// The registry text reader on any bytes: what it reads, it writes, and reads back to the same text.
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/registry/registry_text.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  devprep::RegistryKey root("");
  const auto problem = devprep::ReadRegistryText(text, root);
  if (problem) {
    Require(problem->line >= 1 && !problem->reason.empty(), "a problem has a line and a reason");
    return 0;
  }
  const std::string written = devprep::WriteRegistryText(root);
  devprep::RegistryKey again("");
  Require(!devprep::ReadRegistryText(written, again), "what was written reads back");
  Require(devprep::WriteRegistryText(again) == written, "it reads back to the same text");
  return 0;
}
