#include "device_view.h"

#include <algorithm>
#include <iostream>

#include "device_settings.h"
#include "machine.h"
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

// A record keeps no more than the beginning of a long serial number.
std::string WholeSerialNumber(const DeviceRecord& record) {
  const std::string stored(record.SerialNumber, record.SerialNumber + kSerialNumberSize);
  if (IsProbedType(record.Type) && stored.back() != '\0') {
    const auto page = AskSerialNumberPage(ScsiAddressOf(record.Address));
    if (page && page->substr(std::min(kPageHeaderSize, page->size())).starts_with(stored)) {
      return SerialNumberText(std::string_view(*page).substr(kPageHeaderSize));
    }
  }
  return SerialNumberText(record.SerialNumber);
}

// Status of the export.
std::uint16_t View(std::uint16_t number, const std::vector<RaidInfo>& raids, DeviceView& device) {
  const std::uint16_t status = ::SetUpGetDeviceInfo(number, &device.info);
  if (status != DEVPREP_OK) return status;
  device.record.Number = number;
  ReadDeviceRecord(&device.record);
  device.serial_number = WholeSerialNumber(device.record);
  device.nodes = NodeNamesOf(ScsiAddressOf(device.record.Address));
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

Value ReservedDrives(const DeviceInfo& info) {
  std::vector<Value> drives;
  for (std::uint16_t i = 0; i < info.ReservedDriveCount; ++i) {
    const bool disabled = IsDriveDisabled(info.DisabledDrives, i);
    drives.push_back(
        Value::Record({{"number", info.ReservedDrives[i]}, {"disabled", disabled}},
                      std::to_string(info.ReservedDrives[i]) + (disabled ? " (disabled)" : "")));
  }
  return Value::List(drives);
}

Value Raids(const DeviceView& device) {
  std::vector<Value> raids;
  for (const int raid : device.raids) raids.push_back(Value::Number(raid));
  return Value::List(raids);
}

Value TypeValue(const DeviceView& device) {
  Term type = TypeName(device.Type());
  if (device.masked) type.text += " (masked)";
  return Value::Name(type);
}

std::vector<Column<DeviceView>> DeviceColumns() {
  using enum Importance;
  std::vector<Column<DeviceView>> columns = {
      {NumberColumn("number", "Device", "device number", kKey),
       [](const DeviceView& d) { return Value::Number(d.info.Number); }},
      {TextColumn("address", "Address", "port:bus:target:lun", kKey),
       [](const DeviceView& d) { return Value::Text(AddressText(d.Address())); }},
      {NumberColumn("port", "Port", "SCSI port", kOnRequest),
       [](const DeviceView& d) { return Value::Number(d.info.Board); }},
      {NumberColumn("bus", "Bus", "bus of the port", kOnRequest),
       [](const DeviceView& d) { return Value::Number(d.info.Bus); }},
      {NumberColumn("target", "Target", "target on the bus", kOnRequest),
       [](const DeviceView& d) { return Value::Number(d.info.ScsiId); }},
      {NumberColumn("lun", "Logical unit", "logical unit of the target", kOnRequest),
       [](const DeviceView& d) { return Value::Number(d.info.Lun); }},
      {TextColumn("type", "Type", "device type", kKey), TypeValue},
      {NumberColumn("type_code", "Type code", "number of the type as set-up programs see it",
                    kOnRequest),
       [](const DeviceView& d) { return Value::Number(d.info.Type); }},
      {TextColumn("masked", "Masked",
                  "shown to set-up programs as unknown, as the product wants it", kOnRequest),
       [](const DeviceView& d) { return Value::YesNo(d.masked); }},
      {WrappingColumn("description", "Description", "vendor, product and revision"),
       [](const DeviceView& d) { return Value::Text(d.Description()); }},
      {TextColumn("serial_number", "Serial number", "serial number as stored", kExtra),
       [](const DeviceView& d) { return Value::Text(d.serial_number); }},
      {TextColumn("world_wide_id", "World Wide ID", "World Wide ID as stored", kExtra),
       [](const DeviceView& d) { return Value::Text(WorldWideIdText(d.record)); }},
      {WrappingColumn("raids", "RAID", "RAIDs that it is a member of"), Raids},
      {TextColumn("raid_status", "RAID status",
                  "of a changer: whether all its drives are in the RAID", kExtra),
       [](const DeviceView& d) { return Value::Name(ChangerStatusName(d.info.RaidFlags)); }},
      {WrappingColumn("reserved_drives", "Reserved drives", "of a changer: its drives"),
       [](const DeviceView& d) { return ReservedDrives(d.info); }},
      {NodesColumn(kExtra), [](const DeviceView& d) { return NodesValue(d.nodes); }},
      {LinksColumn(), [](const DeviceView& d) { return LinksValue(d.nodes); }},
  };
  for (const SettingInfo& setting : DeviceSettings()) {
    columns.push_back({NumberColumn(setting.name, setting.label, setting.about, kOnRequest),
                       [&setting](const DeviceView& d) { return setting.Of(d.record); }});
  }
  return columns;
}

}  // namespace

std::string DeviceView::Description() const {
  return CleanText(info.Description, sizeof info.Description);
}

const Listing<DeviceView>& DeviceListing() {
  static const Listing<DeviceView> listing(DeviceColumns());
  return listing;
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

std::string ExplainUnreadable(const UnreadableDevice& device) {
  return "device " + std::to_string(device.number) + " cannot be read (" +
         std::to_string(device.status) + "): its stored record is " +
         (device.status == DEVPREP_NO_DEVICE ? "missing" : "malformed");
}

void PrintUnreadable(const DeviceViews& views) {
  for (const UnreadableDevice& device : views.unreadable) {
    std::cout << Paint(ExplainUnreadable(device), Colour::kBad) << '\n';
  }
}

Json UnreadableJson(const DeviceViews& views) {
  Json list = Json::array();
  for (const UnreadableDevice& device : views.unreadable) {
    list.push_back({{"number", device.number}, {"status", device.status}});
  }
  return list;
}

std::string ExplainNoDevice(std::uint16_t number, const DeviceViews& views) {
  if (!views.unreadable.empty()) return ExplainUnreadable(views.unreadable.front());
  return NotConfiguredText(number, views.count);
}

}  // namespace devprep::tool
