#include "history.h"

#include "platform/hardware/device_map_names.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_file.h"
#include "platform/posix/registry_history.h"
#include "platform/registry/registry_text.h"
#include "report.h"

namespace devprep::tool {
namespace {

void Empty(RegistryKey& key) {
  while (!key.Children().empty()) key.RemoveChild(key.Children().back()->Name());
  while (key.ValueCount() != 0) key.RemoveValue(key.Values().back().name);
}

}  // namespace

Result<std::vector<HistoryEntry>> ListChanges() { return ListHistory(RegistryFilePath()); }

Result<HistoryText> TextBeforeChange(std::uint64_t number) {
  return HistoryTextBefore(RegistryFilePath(), number);
}

Result<HistoryText> TextAfterChange(std::uint64_t number) {
  return HistoryTextAfter(RegistryFilePath(), number);
}

Result<> ReplaceRegistry(const std::string& text) {
  RegistryKey scratch("");
  if (Result<> read = ReadRegistryText(text, scratch); !read) return read;
  const auto root = RegistryRootForChange();
  if (root == nullptr)
    return TakeReportedError("registry_not_writable", "the registry may not be written");
  // The top keys stay, emptied: handles and transactions hold on to them.
  for (const auto& top : root->Children()) Empty(*top);
  if (Result<> read = ReadRegistryText(text, *root); !read) return read;
  root->FindOrAddChild(kLocalMachineName)->RemoveChild(kHardwareKey);
  return {};
}

}  // namespace devprep::tool
