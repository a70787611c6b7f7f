// devprep registry: looking into the registry file, and exchanging it with other machines.
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "commands.h"
#include "machine.h"
#include "output.h"
#include "platform/hardware/device_map_names.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/process_registry.h"
#include "platform/registry/registry_text.h"
#include "platform/registry/text_decoding.h"
#include "report.h"

namespace devprep::tool {
namespace {

// The editor's formats, as --format names them.
constexpr const char* kFormatBytes = "4";
constexpr const char* kFormatUnicode = "5";

// Of "HKLM\\SOFTWARE" and "SOFTWARE" "HKEY_LOCAL_MACHINE\\SOFTWARE". Terminals type UTF-8, and the
// registry has single bytes.
std::string FullPath(std::string key) {
  if (Result<std::string> narrow = DecodeUtf8(key)) key = *std::move(narrow);
  while (key.ends_with('\\')) key.pop_back();
  const std::size_t first = std::min(key.find('\\'), key.size());
  const std::string_view top = TopKeyName(key.substr(0, first));
  if (!top.empty()) return key.replace(0, first, top);
  std::string path(kLocalMachineName);
  return key.empty() ? path : path.append("\\").append(key);
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
    if (root == nullptr)
      return TakeReportedError("registry_not_writable", "the registry may not be written");
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

struct ExportChoices {
  std::string format = kFormatBytes;
  bool force = false;
};

std::string CheckFormat(const std::string& format) {
  return format == kFormatBytes || format == kFormatUnicode
             ? ""
             : "there is no format '" + format + "': 4 is REGEDIT4, 5 is version 5.00";
}

Result<ExitStatus> Export(const Options& options, const std::string& file_name,
                          const ExportChoices& choices) {
  const auto form =
      choices.format == kFormatBytes ? RegistryTextForm::kBytes : RegistryTextForm::kUnicode;
  std::string text;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    text = WriteExportText(*RegistryRoot(), form);
    return {};
  });
  if (!read) return read.Failure();
  const Result<bool> saved = SaveFile(file_name, text, choices.force);
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
      registry->add_subcommand("export", "Write the whole registry to a file");
  export_command->add_option("file", *argument, "File to write; - for standard output")
      ->required()
      ->option_text("FILE");
  const auto choices = std::make_shared<ExportChoices>();
  export_command
      ->add_option("--format", choices->format,
                   "4 (the default) for REGEDIT4, 5 for version 5.00, which is Unicode")
      ->option_text("4|5")
      ->check(CheckFormat);
  export_command->add_flag("--force", choices->force, "Replace whatever file is there");
  OnCommand(export_command, invocation, [&invocation, argument, choices] {
    return Export(invocation.options, *argument, *choices);
  });
}

}  // namespace devprep::tool
