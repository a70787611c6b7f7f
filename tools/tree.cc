// devprep tree: the configured machine as a tree of ports, changers and drives.
#include <algorithm>
#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "device_view.h"
#include "listing.h"
#include "output.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

// A device at its place in the tree.
struct PlacedDevice {
  const DeviceView* device = nullptr;
  Term state;
};

struct Port {
  std::uint16_t number = 0;
  TreeNode<PlacedDevice> node;
};

constexpr const char* kDisabled = "disabled";
constexpr const char* kLoose = "loose";

// What is the same in JSON and for people; null: nothing.
Term StateName(const char* state) { return state == nullptr ? Term() : Term{state, state}; }

// The devices stay where they are as long as the tree lives.
struct Tree {
  std::deque<PlacedDevice> places;
  std::vector<Port> ports;
};

const DeviceView* FindDevice(const DeviceViews& views, std::uint16_t number) {
  const auto at =
      std::find_if(views.devices.begin(), views.devices.end(),
                   [number](const DeviceView& device) { return device.info.Number == number; });
  return at == views.devices.end() ? nullptr : &*at;
}

// A changer stands at its port with its reserved drives below it, wherever those are attached; all
// other devices stand at their ports.
Tree BuildTree(const DeviceViews& views) {
  Tree tree;
  const auto place = [&tree](const DeviceView& device, const Term& state) {
    tree.places.push_back({&device, state});
    return TreeNode<PlacedDevice>{&tree.places.back(), "", {}};
  };
  std::set<std::uint16_t> held;
  std::map<std::uint16_t, std::vector<TreeNode<PlacedDevice>>> drives_of;
  for (const DeviceView& changer : views.devices) {
    const DeviceInfo& info = changer.info;
    for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
      const DeviceView* drive = FindDevice(views, info.ReservedDrives[i]);
      if (drive == nullptr || drive == &changer || drive->info.ReservedDriveCount != 0) continue;
      held.insert(drive->info.Number);
      drives_of[info.Number].push_back(
          place(*drive, StateName(IsDriveDisabled(info.DisabledDrives, i) ? kDisabled : nullptr)));
    }
  }
  std::map<std::uint16_t, std::vector<TreeNode<PlacedDevice>>> ports;
  for (const DeviceView& device : views.devices) {
    if (held.contains(device.info.Number)) continue;
    auto node = place(device, StateName(device.record.Type == kTypeTape ? kLoose : nullptr));
    node.children = drives_of[device.info.Number];
    ports[device.info.Board].push_back(std::move(node));
  }
  for (auto& [port, nodes] : ports) {
    tree.ports.push_back({port, {nullptr, "port " + std::to_string(port), std::move(nodes)}});
  }
  return tree;
}

const Listing<PlacedDevice>& TreeListing() {
  static const Listing<PlacedDevice> listing([] {
    auto columns = DeviceListing().ColumnsFor<PlacedDevice>(
        {"number", "type", "address", "description", "serial_number", "world_wide_id", "raids",
         "raid_status"},
        [](const PlacedDevice& placed) -> const DeviceView& { return *placed.device; });
    columns.front().info.align = Align::kLeft;
    columns.push_back(
        {TextColumn("state", "State",
                    "disabled: reserved, but not used; loose: reserved to no changer"),
         [](const PlacedDevice& placed) { return Value::Name(placed.state); }});
    return columns;
  }());
  return listing;
}

Result<ExitStatus> PrintTree(const Options& options, const ListingOptions& listing) {
  DeviceViews views;
  const Result<> viewed = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    views = ViewDevices();
    return {};
  });
  if (!viewed) return viewed.Failure();
  const Tree tree = BuildTree(views);
  if (listing.json) {
    Json ports = Json::array();
    for (const Port& port : tree.ports) {
      ports.push_back(
          {{"port", port.number},
           {"devices", TreeListing().TreeAsJson(port.node.children, "reserved_drives", listing)}});
    }
    PrintJson({{"ports", ports}, {"unreadable", UnreadableJson(views)}});
    return ExitStatus::kDone;
  }
  if (views.count == 0) {
    std::cout << kNoDevicesText << '\n';
    return ExitStatus::kDone;
  }
  std::vector<TreeNode<PlacedDevice>> roots;
  for (const Port& port : tree.ports) roots.push_back(port.node);
  TreeListing().PrintTree(roots, listing);
  PrintUnreadable(views);
  return ExitStatus::kDone;
}

}  // namespace

void AddTreeCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "tree", "Show the configured machine: ports, changers with their reserved drives, RAIDs");
  const auto listing = std::make_shared<ListingOptions>();
  AddListingOptions(*command, *listing, TreeListing().Infos());
  OnCommand(command, invocation,
            [&invocation, listing] { return PrintTree(invocation.options, *listing); });
}

}  // namespace devprep::tool
