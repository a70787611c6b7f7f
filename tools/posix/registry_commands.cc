// devprep registry: looking into the registry file, and exchanging it with other machines.
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "machine.h"
#include "output.h"
#include "platform/hardware/device_map_names.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/process_registry.h"
#include "platform/registry/registry_text.h"
#include "report.h"

namespace devprep::tool {
namespace {

std::string FullPath(std::string key) {
  std::string top(kLocalMachineName);
  while (key.ends_with('\\')) key.pop_back();
  if (key.empty()) return top;
  if (CompareNames(key.substr(0, key.find('\\')), top) == 0) return key;
  return top.append("\\").append(key);
}

Result<ExitStatus> Show(const Options& options, const std::string& key) {
  std::string text;
  const Result<> shown = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    const std::string path = FullPath(key);
    const auto found = FindPath(RegistryRoot(), path);
    if (found == nullptr) return Error{"there is no key " + path};
    text = WriteKeyText(path, *found);
    return {};
  });
  if (!shown) return shown.Failure();
  std::cout << text.substr(text.find_first_not_of('\n'));
  return ExitStatus::kDone;
}

// How much a text brings.
struct Contents {
  std::size_t keys = 0;
  std::size_t values = 0;
};

void CountContents(const RegistryKey& key, Contents& contents) {
  contents.keys += key.Children().size();
  contents.values += key.ValueCount();
  for (const auto& child : key.Children()) CountContents(*child, contents);
}

Result<ExitStatus> Import(const Options& options, const std::string& file_name) {
  const Result<std::string> text = ReadFile(file_name == "-" ? "/dev/stdin" : file_name);
  if (!text) return text.Failure();
  // Read it by itself first: what cannot be read whole is not imported in part.
  RegistryKey scratch("");
  if (const Result<> read = ReadRegistryText(*text, scratch); !read) {
    return read.Failure().In(file_name);
  }
  const auto machine = scratch.FindChild(kLocalMachineName);
  const bool with_hardware = machine != nullptr && machine->RemoveChild(kHardwareKey);
  Contents contents;
  for (const auto& top : scratch.Children()) CountContents(*top, contents);
  const Result<> imported = InSession(options, Needs::kRegistryToChange, [&]() -> Result<> {
    const auto root = RegistryRootForChange();
    if (root == nullptr) return TakeReportedError("the registry may not be written");
    if (const Result<> added = ReadRegistryText(*text, *root); !added) {
      return added.Failure().In(file_name);
    }
    root->FindOrAddChild(kLocalMachineName)->RemoveChild(kHardwareKey);
    return {};
  });
  if (!imported) return imported.Failure();
  std::cout << file_name << " imported: " << Count(contents.keys, "key") << ", "
            << Count(contents.values, "value") << ".\n";
  if (with_hardware) {
    std::cout << "Its branch HARDWARE was left out: hardware is chosen with --hardware.\n";
  }
  return ExitStatus::kDone;
}

Result<ExitStatus> Export(const Options& options, const std::string& file_name, bool force) {
  std::string text;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    text = WriteRegistryText(*RegistryRoot());
    return {};
  });
  if (!read) return read.Failure();
  const Result<bool> saved = SaveFile(file_name, text, force);
  if (!saved) return saved.Failure();
  if (*saved) return ExitStatus::kDone;
  std::cout << "The registry was written to " << file_name << ".\n";
  return ExitStatus::kDone;
}

}  // namespace

void AddRegistryCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* registry = app.add_subcommand("registry", "Show, import and export the registry");
  registry->require_subcommand(1);
  const auto argument = std::make_shared<std::string>();
  CLI::App* show = registry->add_subcommand("show", "Print a key and all below it");
  show->add_option("key", *argument, "Key, such as SOFTWARE\\Tamberline (all)")->option_text("KEY");
  OnCommand(show, invocation,
            [&invocation, argument] { return Show(invocation.options, *argument); });
  CLI::App* import_command = registry->add_subcommand(
      "import", "Add what a registry editor's file holds (REGEDIT4 or version 5.00)");
  import_command->add_option("file", *argument, "File to read; - for standard input")
      ->required()
      ->option_text("FILE");
  OnCommand(import_command, invocation,
            [&invocation, argument] { return Import(invocation.options, *argument); });
  CLI::App* export_command =
      registry->add_subcommand("export", "Write the whole registry to a file (REGEDIT4)");
  export_command->add_option("file", *argument, "File to write; - for standard output")
      ->required()
      ->option_text("FILE");
  const auto force = std::make_shared<bool>(false);
  export_command->add_flag("--force", *force, "Replace whatever file is there");
  OnCommand(export_command, invocation, [&invocation, argument, force] {
    return Export(invocation.options, *argument, *force);
  });
}

}  // namespace devprep::tool
