// devprep capture: writes the machine as it is now to a file that replays it.
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "attached.h"
#include "commands.h"
#include "output.h"
#include "platform/hardware/hardware_map.h"
#include "platform/registry.h"
#include "platform/registry/configuration_keys.h"
#include "platform/registry/registry_text.h"
#include "redaction.h"

namespace devprep::tool {
namespace {

struct Choices {
  std::string file_name;
  bool with_registry = false;
  bool redact = false;
  bool force = false;
};

void SetAnswer(RegistryKey& unit, const char* name, const std::optional<std::string>& answer) {
  if (answer) unit.SetValue(name, REG_BINARY, *answer);
}

// The tape engine key alone is left of the registry: who can tell what the rest of it names?
Result<> RedactAll(RegistryKey& root) {
  const auto machine = root.FindOrAddChild(kLocalMachineName);
  const auto engine = FindPath(machine, kTapeEngineKeyPath.text);
  const auto hardware = machine->FindChild(kHardwareKey);
  if (Result<> redacted = Redact(*hardware, engine.get()); !redacted) return redacted;
  RegistryKey kept("");
  RegistryKey& kept_machine = *kept.FindOrAddChild(kLocalMachineName);
  CopyKey(*hardware, *kept_machine.FindOrAddChild(kHardwareKey));
  if (engine != nullptr) {
    CopyKey(*engine, *FindOrAddPath(kept_machine, kTapeEngineKeyPath.text));
  }
  root = std::move(kept);
  return {};
}

Result<ExitStatus> Capture(const Options& options, const Choices& choices) {
  RegistryKey root("");
  std::size_t count = 0;
  const Result<> captured = InSession(options, Needs::kHardware, [&]() -> Result<> {
    if (choices.with_registry) {
      if (Result<> copied = CopyRegistry(root); !copied) return copied;
    }
    const std::vector<AttachedUnit> units = AskAttachedUnits(Asked::kLibrary);
    count = units.size();
    const auto hardware = root.FindOrAddChild(kLocalMachineName)->FindOrAddChild(kHardwareKey);
    const auto branch = HardwareBranch();
    const auto map = branch == nullptr ? nullptr : FindPath(branch, DeviceMapPath());
    // A capture that is captured keeps what the device map does not list.
    CopyKey(*MakeHardwareBranch(), *hardware);
    if (map != nullptr) CopyKey(*map, *FindPath(hardware, DeviceMapPath()));
    for (const AttachedUnit& unit : units) {
      const auto key = FindUnit(hardware, unit.Address());
      SetAnswer(*key, kInquiryDataValue, unit.answers.inquiry_data);
      SetAnswer(*key, kSerialNumberPageValue, unit.answers.serial_number_page);
      SetAnswer(*key, kWorldWideIdValue, unit.answers.world_wide_id);
      SetAnswer(*key, kElementAddressValue, unit.answers.element_addresses);
      SetAnswer(*key, kElementStatusValue, unit.answers.element_status);
      SetAnswer(*key, kDriveElementValue, unit.answers.drive_element);
      const std::string nodes = JoinNodeNames(unit.answers.nodes);
      if (!nodes.empty()) key->SetValue(kNodeNamesValue, REG_SZ, nodes + '\0');
    }
    return choices.redact ? RedactAll(root) : Result<>();
  });
  if (!captured) return captured.Failure();
  const Result<bool> saved = SaveFile(choices.file_name, WriteRegistryText(root), choices.force);
  if (!saved) return saved.Failure();
  std::ostream& out = *saved ? std::cerr : std::cout;
  out << Count(count, "unit") << (choices.with_registry ? " and the registry" : "")
      << " captured in " << choices.file_name
      << (choices.redact ? ", serial numbers, World Wide IDs and volume tags replaced" : "")
      << ".\n";
  return ExitStatus::kDone;
}

}  // namespace

void AddCaptureCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      app.add_subcommand("capture", "Write the attached machine to a file that --hardware replays");
  const auto choices = std::make_shared<Choices>();
  command->add_option("file", choices->file_name, "File to write; - for standard output")
      ->required()
      ->option_text("FILE");
  command->add_flag("--with-registry", choices->with_registry,
                    "Write the registry to the same file, for 'devprep estate'");
  command->add_flag("--redact", choices->redact,
                    "Replace serial numbers, World Wide IDs and volume tags, consistently");
  command->add_flag("--force", choices->force, "Replace whatever file is there");
  OnCommand(command, invocation,
            [&invocation, choices] { return Capture(invocation.options, *choices); });
}

}  // namespace devprep::tool
