// devprep devices: the configured devices, as the tape engine's callers see them.
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "device_view.h"
#include "listing.h"
#include "output.h"
#include "refusal.h"
#include "report.h"

namespace devprep::tool {
namespace {

Result<ExitStatus> ListDevices(const Options& options, std::optional<std::uint16_t> number,
                               const ListingOptions& listing) {
  DeviceViews views;
  const Result<> viewed = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    views = ViewDevices(number);
    return {};
  });
  if (!viewed) return viewed.Failure();
  const auto& devices = DeviceListing();
  if (number) {
    if (views.devices.empty()) {
      return Refusal({views.unreadable.empty() ? "no_device" : "device_not_readable",
                      ExplainNoDevice(*number, views)});
    }
    const DeviceView& device = views.devices.front();
    if (listing.json)
      PrintJson({{"device", devices.AsJson(device, listing)}});
    else
      devices.PrintInFull(device, listing);
    return ExitStatus::kDone;
  }
  if (listing.json) {
    PrintJson({{"devices", devices.AsJson(views.devices, listing)},
               {"unreadable", UnreadableJson(views)}});
    return ExitStatus::kDone;
  }
  if (views.count == 0) {
    std::cout << kNoDevicesText << '\n';
    return ExitStatus::kDone;
  }
  devices.Print(views.devices, listing);
  PrintUnreadable(views);
  return ExitStatus::kDone;
}

}  // namespace

void AddDevicesCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      app.add_subcommand("devices", "List the configured devices, or show one in full");
  const auto number = std::make_shared<std::optional<std::uint16_t>>();
  const auto listing = std::make_shared<ListingOptions>();
  command->add_option("number", *number, "Show this device in full")->option_text("N");
  AddListingOptions(*command, *listing, DeviceListing().Infos());
  OnCommand(command, invocation, [&invocation, number, listing] {
    return ListDevices(invocation.options, *number, *listing);
  });
}

}  // namespace devprep::tool
