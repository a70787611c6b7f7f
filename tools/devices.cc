// devprep devices: the configured devices, as the tape engine's callers see them.
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "device_view.h"
#include "listing.h"
#include "output.h"

namespace devprep::tool {
namespace {

void ListDevices(const Options& options, std::optional<std::uint16_t> number,
                 const ListingOptions& listing) {
  DeviceViews views;
  InSession(options, Needs::kEngineAndHardware, [&] { views = ViewDevices(number); });
  const auto& devices = DeviceListing();
  if (number) {
    if (views.devices.empty()) throw Failure(ExplainNoDevice(*number, views));
    const DeviceView& device = views.devices.front();
    if (listing.json)
      PrintJson({{"device", devices.AsJson(device, listing)}});
    else
      devices.PrintInFull(device, listing);
    return;
  }
  if (listing.json) {
    PrintJson({{"devices", devices.AsJson(views.devices, listing)},
               {"unreadable", UnreadableJson(views)}});
    return;
  }
  if (views.count == 0) {
    std::cout << kNoDevicesText << '\n';
    return;
  }
  devices.Print(views.devices, listing);
  PrintUnreadable(views);
}

}  // namespace

void AddDevicesCommand(CLI::App& app, const Options& options) {
  CLI::App* command =
      app.add_subcommand("devices", "List the configured devices, or show one in full");
  const auto number = std::make_shared<std::optional<std::uint16_t>>();
  const auto listing = std::make_shared<ListingOptions>();
  command->add_option("number", *number, "Show this device in full")->option_text("N");
  AddListingOptions(*command, *listing, DeviceListing().Infos());
  command->callback([&options, number, listing] { ListDevices(options, *number, *listing); });
}

}  // namespace devprep::tool
