#include "machine.h"

#include "metrics.h"
#include "picture.h"
#include "platform/registry/registry_text.h"

namespace devprep::tool {

std::string CheckKind(const std::string& head, FileKind kind) {
  switch (kind) {
    case FileKind::kRegistryText:
      if (IsRegistryText(head)) return "";
      return "this is neither an export nor a capture; --force replaces it all the same";
    case FileKind::kMetrics:
      if (IsMetrics(head)) return "";
      return "these are no metrics that 'devprep check' wrote: name another file";
    case FileKind::kPicture:
      break;
  }
  if (IsPicture(head)) return "";
  return "this is no picture that 'devprep picture' wrote; --force replaces it all the same";
}

}  // namespace devprep::tool
