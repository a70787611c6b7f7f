#include "device_settings.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace devprep::tool {

const std::array<SettingInfo, std::size(kDeviceSettings)>& DeviceSettings() {
  static constexpr std::uint16_t kMax = 65535;
  static constexpr std::array<SettingInfo, std::size(kDeviceSettings)> settings = {{
      {"cleaning_tape_slot", "Cleaning tape slot", "slot of the cleaning tape",
       &DeviceRecord::CleaningTapeSlot, kNotSet - 1},
      {"default_block_factor", "Default block factor", "block factor where none is chosen",
       &DeviceRecord::DefaultBlockFactor, kNotSet - 1},
      {"read_shots", "Read shots", "the tape engine's number of read shots",
       &DeviceRecord::ReadShots, kMax},
      {"write_shots", "Write shots", "the tape engine's number of write shots",
       &DeviceRecord::WriteShots, kMax},
      {"bar_codes", "Bar codes", "of a changer: the tape engine's number for installed bar codes",
       &DeviceRecord::BarCodeInstall, kMax},
      {"bar_code_to_blank", "Bar code to blank",
       "of a changer: the tape engine's number for setting bar code tapes to blank",
       &DeviceRecord::SetBarCodeTapeToBlank, kMax},
      {"auto_cleaning_time", "Auto cleaning time",
       "of a changer: the tape engine's time for automatic cleaning",
       &DeviceRecord::SetAutoCleaningTime, kMax},
  }};
  return settings;
}

const DeviceSetting& SettingInfo::Stored() const {
  return *std::find_if(std::begin(kDeviceSettings), std::end(kDeviceSettings),
                       [this](const DeviceSetting& stored) { return stored.field == field; });
}

Term SettingInfo::Named() const {
  std::string text = label;
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return {name, text};
}

Value SettingInfo::Of(const DeviceRecord& record) const {
  return IsSet(record) ? Value::Number(record.*field) : Value::Absent();
}

const SettingInfo* FindSetting(std::string_view name) {
  const auto& settings = DeviceSettings();
  const auto* const found = std::find_if(
      settings.begin(), settings.end(),
      [name](const SettingInfo& setting) { return std::string_view(setting.name) == name; });
  return found == settings.end() ? nullptr : found;
}

}  // namespace devprep::tool
