// devprep set: the settings of a device.
#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "device_edit_text.h"
#include "device_settings.h"
#include "guarded_edit.h"
#include "output.h"
#include "setup/device_setup.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::string_view kNotSetWord = "none";

struct Arguments {
  std::uint16_t device = 0;
  std::vector<std::string> assignments;
  GuardOptions guard;
};

// A setting and the number that it is to have.
struct Assignment {
  const SettingInfo* setting = nullptr;
  std::uint16_t value = 0;
};

// The lowest number that is not the one for not set.
int Lowest(const SettingInfo& setting) { return setting.Stored().not_set == 0 ? 1 : 0; }

std::string RangeText(const SettingInfo& setting) {
  return std::to_string(Lowest(setting)) + " to " + std::to_string(setting.max);
}

std::string AllSettingNames() {
  std::string names;
  for (const SettingInfo& setting : DeviceSettings()) {
    names += (names.empty() ? "" : ", ") + std::string(setting.name);
  }
  return names;
}

// The number of a text that is one and nothing else.
std::optional<int> ParseNumber(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

Result<Assignment> ParseAssignment(const std::string& text) {
  const std::size_t at = text.find('=');
  if (at == std::string::npos) return Error{"'" + text + "' is not of the form NAME=VALUE"};
  const std::string name = text.substr(0, at);
  const SettingInfo* const setting = FindSetting(name);
  if (setting == nullptr) {
    return Error{"there is no setting '" + name + "': the names are " + AllSettingNames()};
  }
  const std::string value = text.substr(at + 1);
  if (value == kNotSetWord) return Assignment{setting, setting->Stored().not_set};
  const auto number = ParseNumber(value);
  if (!number || *number < Lowest(*setting) || *number > setting->max) {
    return Error{name + " takes " + RangeText(*setting) + ", or " + std::string(kNotSetWord) +
                 ", and not '" + value + "'"};
  }
  return Assignment{setting, static_cast<std::uint16_t>(*number)};
}

std::string CheckAssignment(const std::string& text) {
  const auto parsed = ParseAssignment(text);
  return parsed ? "" : parsed.Failure().message;
}

std::string SettingsHelp() {
  std::string help = "Settings (NAME=" + std::string(kNotSetWord) + " takes one away):";
  std::size_t name_width = 0;
  std::size_t range_width = 0;
  for (const SettingInfo& setting : DeviceSettings()) {
    name_width = std::max(name_width, std::string_view(setting.name).size());
    range_width = std::max(range_width, RangeText(setting).size());
  }
  for (const SettingInfo& setting : DeviceSettings()) {
    std::string name = setting.name;
    std::string range = RangeText(setting);
    name.resize(name_width + 2, ' ');
    range.resize(range_width + 2, ' ');
    help.append("\n  ").append(name).append(range).append(setting.about);
  }
  return help;
}

Result<ExitStatus> Set(const Options& options, const Arguments& given) {
  return RunGuardedEdit(options, given.guard, kStoreQuestion, [&]() -> Result<std::string> {
    for (const std::string& text : given.assignments) {
      const auto assignment = ParseAssignment(text);
      if (!assignment) return assignment.Failure();
      Result<std::string> done = EditResult(
          SetDeviceSetting(given.device, assignment->setting->Stored(), assignment->value), "");
      if (!done) return done;
    }
    return "Settings of " + Named("device", given.device) + " stored.";
  });
}

}  // namespace

void AddSetCommand(CLI::App& app, Invocation& invocation) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("set", "Set or take away settings of a device");
  command->add_option("device", arguments->device, "Device number")
      ->required()
      ->option_text("DEVICE");
  command->add_option("settings", arguments->assignments, "A setting, and the number it is to have")
      ->required()
      ->option_text("NAME=VALUE...")
      ->check(CheckAssignment);
  AddGuardOptions(*command, arguments->guard);
  command->footer(SettingsHelp());
  OnCommand(command, invocation,
            [&invocation, arguments] { return Set(invocation.options, *arguments); });
}

}  // namespace devprep::tool
