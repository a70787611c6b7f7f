// The registry text reader on any bytes: what it reads, it writes, and reads back to the same text.
#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "platform/registry/registry_text.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  devprep::RegistryKey root("");
  if (const auto read = devprep::ReadRegistryText(text, root); !read) {
    Require(read.Failure().line >= 1 && !read.Failure().message.empty(),
            "an error has a line and a message");
    return 0;
  }
  const std::string written = devprep::WriteRegistryText(root);
  for (const auto form : {devprep::RegistryTextForm::kBytes, devprep::RegistryTextForm::kUnicode}) {
    devprep::RegistryKey again("");
    Require(
        static_cast<bool>(devprep::ReadRegistryText(devprep::WriteExportText(root, form), again)),
        "what was written reads back");
    Require(devprep::WriteRegistryText(again) == written, "it reads back to the same text");
  }
  return 0;
}
