// devprep capture: writes the machine as it is now to a file that replays it.
#include <iostream>
#include <memory>
#include <string>

#include "attached.h"
#include "commands.h"
#include "output.h"
#include "platform/hardware/hardware_map.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "redaction.h"

namespace devprep::tool {
namespace {

void CopyKey(const RegistryKey& from, RegistryKey& to) {
  for (const RegistryValue& value : from.Values()) to.SetValue(value.name, value.type, value.data);
  for (const auto& child : from.Children()) CopyKey(*child, *to.FindOrAddChild(child->Name()));
}

void SetAnswer(RegistryKey& unit, const char* name, const std::optional<std::string>& answer) {
  if (answer) unit.SetValue(name, REG_BINARY, *answer);
}

Result<ExitStatus> Capture(const Options& options, const std::string& file_name, bool redact,
                           bool force) {
  RegistryKey root("");
  std::size_t count = 0;
  const Result<> captured = InSession(options, Needs::kHardware, [&]() -> Result<> {
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
      std::string nodes;
      for (const std::string& node : unit.answers.nodes) nodes += (nodes.empty() ? "" : " ") + node;
      if (!nodes.empty()) key->SetValue(kNodeNamesValue, REG_SZ, nodes + '\0');
    }
    return redact ? Redact(*hardware) : Result<>();
  });
  if (!captured) return captured.Failure();
  const Result<bool> saved = SaveFile(file_name, WriteRegistryText(root), force);
  if (!saved) return saved.Failure();
  std::ostream& out = *saved ? std::cerr : std::cout;
  out << Count(count, "unit") << " captured in " << file_name
      << (redact ? ", serial numbers, World Wide IDs and volume tags replaced" : "") << ".\n";
  return ExitStatus::kDone;
}

}  // namespace

void AddCaptureCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      app.add_subcommand("capture", "Write the attached machine to a file that --hardware replays");
  const auto file_name = std::make_shared<std::string>();
  const auto redact = std::make_shared<bool>(false);
  command->add_option("file", *file_name, "File to write; - for standard output")
      ->required()
      ->option_text("FILE");
  command->add_flag("--redact", *redact,
                    "Replace serial numbers, World Wide IDs and volume tags, consistently");
  const auto force = std::make_shared<bool>(false);
  command->add_flag("--force", *force, "Replace whatever file is there");
  OnCommand(command, invocation, [&invocation, file_name, redact, force] {
    return Capture(invocation.options, *file_name, *redact, *force);
  });
}

}  // namespace devprep::tool
