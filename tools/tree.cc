// devprep tree: the configured machine as a tree of ports, changers and drives.
#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "device_view.h"
#include "output.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Node {
  const DeviceView* device = nullptr;
  std::string remark;
  std::vector<Node> children;
};

using Ports = std::map<std::uint16_t, std::vector<Node>>;

const DeviceView* FindDevice(const DeviceViews& views, std::uint16_t number) {
  const auto at =
      std::find_if(views.devices.begin(), views.devices.end(),
                   [number](const DeviceView& device) { return device.info.Number == number; });
  return at == views.devices.end() ? nullptr : &*at;
}

// A changer stands at its port with its reserved drives below it, wherever those are attached; all
// other devices stand at their ports.
Ports BuildTree(const DeviceViews& views) {
  std::set<std::uint16_t> held;
  std::map<std::uint16_t, std::vector<Node>> drives_of;
  for (const DeviceView& changer : views.devices) {
    const DeviceInfo& info = changer.info;
    for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
      const DeviceView* drive = FindDevice(views, info.ReservedDrives[i]);
      if (drive == nullptr || drive == &changer || drive->info.ReservedDriveCount != 0) continue;
      held.insert(drive->info.Number);
      drives_of[info.Number].push_back(
          {drive, IsDriveDisabled(info.DisabledDrives, i) ? "disabled" : "", {}});
    }
  }
  Ports ports;
  for (const DeviceView& device : views.devices) {
    if (held.contains(device.info.Number)) continue;
    const bool loose = device.record.Type == kTypeTape;
    ports[device.info.Board].push_back(
        {&device, loose ? "loose" : "", drives_of[device.info.Number]});
  }
  return ports;
}

std::vector<TreeNode> Lines(const std::vector<Node>& nodes) {
  std::vector<TreeNode> lines;
  for (const Node& node : nodes) {
    const DeviceView& device = *node.device;
    std::string text = Paint("[" + std::to_string(device.info.Number) + "]", Colour::kHead);
    text.append(" ").append(device.TypeText()).append(" ");
    text.append(AddressWord(device.Address())).append("  ").append(device.Description());
    if (!device.raids.empty()) {
      text.append("  ").append(Paint("RAID " + device.RaidText(), Colour::kGood));
    }
    if (!node.remark.empty()) text.append("  (").append(node.remark).append(")");
    lines.push_back({text, Lines(node.children)});
  }
  return lines;
}

Json NodesJson(const std::vector<Node>& nodes) {
  Json list = Json::array();
  for (const Node& node : nodes) {
    const DeviceView& device = *node.device;
    list.push_back({{"number", device.info.Number},
                    {"address", AddressWord(device.Address())},
                    {"type", device.info.Type},
                    {"type_name", device.TypeText()},
                    {"description", device.Description()},
                    {"raids", device.raids},
                    {"remark", node.remark},
                    {"reserved_drives", NodesJson(node.children)}});
  }
  return list;
}

void PrintTree(const Options& options, bool json) {
  DeviceViews views;
  InSession(options, Needs::kEngineAndHardware, [&] { views = ViewDevices(); });
  const Ports ports = BuildTree(views);
  if (json) {
    Json list = Json::array();
    for (const auto& [port, nodes] : ports) {
      list.push_back({{"port", port}, {"devices", NodesJson(nodes)}});
    }
    PrintJson({{"ports", list}});
    return;
  }
  for (const auto& [port, nodes] : ports) {
    std::cout << "port " << port << '\n';
    PrintTrees(Lines(nodes));
  }
  for (const UnreadableDevice& device : views.unreadable) {
    std::cout << ExplainNoDevice(device.number, {views.count, {}, {device}, {}}) << '\n';
  }
  if (views.count == 0) std::cout << "No devices are configured.\n";
}

}  // namespace

void AddTreeCommand(CLI::App& app, const Options& options) {
  CLI::App* command = app.add_subcommand(
      "tree", "Show the configured machine: ports, changers with their reserved drives, RAIDs");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "Print JSON");
  command->callback([&options, json] { PrintTree(options, *json); });
}

}  // namespace devprep::tool
