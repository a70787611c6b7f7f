// devprep devices: the configured devices, as the tape engine's callers see them.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "device_view.h"
#include "output.h"
#include "records/device_record.h"
#include "words.h"

namespace devprep::tool {
namespace {

Json DrivesJson(const DeviceInfo& info) {
  Json drives = Json::array();
  for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
    drives.push_back({{"number", info.ReservedDrives[i]},
                      {"disabled", IsDriveDisabled(info.DisabledDrives, i)}});
  }
  return drives;
}

Json DeviceJson(const DeviceView& device) {
  const DeviceInfo& info = device.info;
  return {{"number", info.Number},
          {"address", AddressWord(device.Address())},
          {"port", info.Board},
          {"bus", info.Bus},
          {"target", info.ScsiId},
          {"lun", info.Lun},
          {"type", info.Type},
          {"type_name", device.TypeText()},
          {"masked", device.masked},
          {"optical", info.Type == kTypeOpticalLibrary},
          {"description", device.Description()},
          {"cleaning_tape_slot",
           info.CleaningTapeSlot == kNotSet ? Json(nullptr) : Json(info.CleaningTapeSlot)},
          {"reserved_drives", DrivesJson(info)},
          {"raids", device.raids},
          {"raid_changer_status",
           info.RaidFlags == 0 ? Json(nullptr) : Json(ChangerStatusWord(info.RaidFlags))}};
}

std::string DrivesText(const DeviceInfo& info) {
  std::string text;
  for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
    if (!text.empty()) text += ", ";
    text += std::to_string(info.ReservedDrives[i]);
    if (IsDriveDisabled(info.DisabledDrives, i)) text += " (disabled)";
  }
  return text;
}

void PrintTable(const DeviceViews& views) {
  Table table({"DEVICE", "ADDRESS", "TYPE", "DESCRIPTION", "RAID", "RESERVED DRIVES"});
  for (const DeviceView& device : views.devices) {
    table.Add({std::to_string(device.info.Number), AddressWord(device.Address()), device.TypeText(),
               device.Description(), device.RaidText(), DrivesText(device.info)});
  }
  for (const UnreadableDevice& device : views.unreadable) {
    table.Add({std::to_string(device.number), "-", "-",
               "cannot be read (status " + std::to_string(device.status) + ")", "", ""},
              Colour::kBad);
  }
  if (table.Empty()) {
    std::cout << "No devices are configured. 'devprep configure' looks for what is attached.\n";
  } else {
    table.Print();
  }
}

void PrintLine(const char* label, const std::string& text) {
  std::string line = label;
  line.append(line.size() < 22 ? 22 - line.size() : 1, ' ');
  std::cout << line << (text.empty() ? "-" : text) << '\n';
}

void PrintInFull(const DeviceView& device) {
  const DeviceInfo& info = device.info;
  const DeviceRecord& record = device.record;
  PrintLine("Device", std::to_string(info.Number));
  PrintLine("Address", AddressWord(device.Address()) + " (port:bus:target:lun)");
  PrintLine("Type", device.TypeText() + " (" + std::to_string(info.Type) + ")");
  PrintLine("Description", device.Description());
  PrintLine("Serial number", SerialWord(record.SerialNumber));
  PrintLine("World Wide ID", WorldWideIdWord(record));
  PrintLine("RAID", device.RaidText());
  const auto number_or_none = [](std::uint16_t number, std::uint16_t none) {
    return number == none ? std::string() : std::to_string(number);
  };
  PrintLine("Cleaning tape slot", number_or_none(record.CleaningTapeSlot, kNotSet));
  PrintLine("Default block factor", number_or_none(record.DefaultBlockFactor, kNotSet));
  PrintLine("Read shots", number_or_none(record.ReadShots, 0));
  PrintLine("Write shots", number_or_none(record.WriteShots, 0));
  if (record.Type != kTypeChanger) return;
  PrintLine("Reserved drives", DrivesText(info));
  PrintLine("Bar codes", number_or_none(record.BarCodeInstall, 0));
  PrintLine("Bar code to blank", number_or_none(record.SetBarCodeTapeToBlank, 0));
  PrintLine("Auto cleaning time", number_or_none(record.SetAutoCleaningTime, 0));
}

Json InFullJson(const DeviceView& device) {
  const DeviceRecord& record = device.record;
  Json full = DeviceJson(device);
  full["serial_number"] = SerialWord(record.SerialNumber);
  full["world_wide_id"] = WorldWideIdWord(record);
  full["default_block_factor"] =
      record.DefaultBlockFactor == kNotSet ? Json(nullptr) : Json(record.DefaultBlockFactor);
  full["read_shots"] = record.ReadShots;
  full["write_shots"] = record.WriteShots;
  full["bar_code_install"] = record.BarCodeInstall;
  full["set_bar_code_tape_to_blank"] = record.SetBarCodeTapeToBlank;
  full["set_auto_cleaning_time"] = record.SetAutoCleaningTime;
  return full;
}

void ListDevices(const Options& options, std::optional<std::uint16_t> number, bool json) {
  DeviceViews views;
  InSession(options, Needs::kEngineAndHardware, [&] { views = ViewDevices(number); });
  if (number) {
    if (views.devices.empty()) throw Failure(ExplainNoDevice(*number, views));
    const DeviceView& device = views.devices.front();
    json ? PrintJson({{"device", InFullJson(device)}}) : PrintInFull(device);
    return;
  }
  if (!json) {
    PrintTable(views);
    return;
  }
  Json devices = Json::array();
  for (const DeviceView& device : views.devices) devices.push_back(DeviceJson(device));
  Json unreadable = Json::array();
  for (const UnreadableDevice& device : views.unreadable) {
    unreadable.push_back({{"number", device.number}, {"status", device.status}});
  }
  PrintJson({{"devices", devices}, {"unreadable", unreadable}});
}

}  // namespace

void AddDevicesCommand(CLI::App& app, const Options& options) {
  CLI::App* command =
      app.add_subcommand("devices", "List the configured devices, or show one in full");
  const auto number = std::make_shared<std::optional<std::uint16_t>>();
  const auto json = std::make_shared<bool>(false);
  command->add_option("number", *number, "Show this device in full")->option_text("N");
  command->add_flag("--json", *json, "Print JSON");
  command->callback([&options, number, json] { ListDevices(options, *number, *json); });
}

}  // namespace devprep::tool
