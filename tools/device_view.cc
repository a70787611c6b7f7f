#include "device_view.h"

#include "output.h"
#include "platform/raw_scsi.h"
#include "records/raid_records.h"
#include "setup/device_listing.h"
#include "store/product_config.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

std::vector<RaidInfo> ReadRaids() {
  std::vector<RaidInfo> raids;
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    RaidInfo raid = {};
    if (::RaidSetUpGetRaidInfo(n, &raid) == DEVPREP_OK) raids.push_back(raid);
  }
  return raids;
}

// Status of the export.
std::uint16_t View(std::uint16_t number, const std::vector<RaidInfo>& raids, DeviceView& device) {
  const std::uint16_t status = ::SetUpGetDeviceInfo(number, &device.info);
  if (status != DEVPREP_OK) return status;
  device.record.Number = number;
  ReadDeviceRecord(&device.record);
  if (device.info.Type == kTypeUnknown && device.record.Type != kTypeUnknown) {
    device.masked = true;
  }
  for (const RaidInfo& raid : raids) {
    if (HoldsDevice(raid.TapeDevices, raid.TapeCount, number) ||
        HoldsDevice(raid.ChangerDevices, raid.ChangerCount, number)) {
      device.raids.push_back(raid.RaidNumber);
    }
  }
  return status;
}

// A listing asks every tape drive and changer for its texts.
void PrefetchInquiries(std::uint16_t count, std::optional<std::uint16_t> only) {
  std::vector<ScsiAddress> units;
  for (std::uint16_t n = 0; n < count; ++n) {
    DeviceRecord record = {};
    record.Number = n;
    if ((only && *only != n) || ReadDeviceRecord(&record) != kStatusOk) continue;
    if (IsProbedType(record.Type)) units.push_back(ScsiAddressOf(record.Address));
  }
  PrefetchScsiAnswers(units.data(), units.size());
}

}  // namespace

std::string DeviceView::TypeText() const {
  return masked ? TypeWord(record.Type) + " (masked)" : TypeWord(info.Type);
}

std::string DeviceView::Description() const {
  return CleanText(info.Description, sizeof info.Description);
}

std::string DeviceView::RaidText() const {
  std::string text;
  for (const int raid : raids) {
    if (!text.empty()) text += ", ";
    text += std::to_string(raid);
  }
  if (info.RaidFlags != 0) text.append(" ").append(ChangerStatusWord(info.RaidFlags));
  return text;
}

DeviceViews ViewDevices(std::optional<std::uint16_t> only) {
  // A listing shows what a set-up program sees that has run the configuration pass: the masking
  // that the product wants is part of it.
  ReadProductConfig();
  DeviceViews views;
  views.raids = ReadRaids();
  ::SetUpGetNoOfDevices(&views.count);
  PrefetchInquiries(views.count, only);
  for (std::uint16_t n = 0; n < views.count; ++n) {
    if (only && *only != n) continue;
    DeviceView device;
    const std::uint16_t status = View(n, views.raids, device);
    if (status == DEVPREP_OK) {
      views.devices.push_back(std::move(device));
    } else {
      views.unreadable.push_back({n, status});
    }
  }
  return views;
}

std::string ExplainNoDevice(std::uint16_t number, const DeviceViews& views) {
  const std::string name = "device " + std::to_string(number);
  if (views.unreadable.empty()) {
    if (views.count == 0) return name + " is not configured: there are no devices";
    return name + " is not configured: the numbers are 0 to " + std::to_string(views.count - 1);
  }
  return name + " cannot be read (" + std::to_string(views.unreadable.front().status) +
         "): its stored record is " +
         (views.unreadable.front().status == DEVPREP_NO_DEVICE ? "missing" : "malformed");
}

}  // namespace devprep::tool
