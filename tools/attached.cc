#include "attached.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "output.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"
#include "platform/raw_scsi.h"
#include "words.h"

namespace devprep::tool {
namespace {

// As the configuration pass would find it.
void FillRecord(const ScsiMapEntry& entry, AttachedUnit& unit) {
  DeviceRecord& record = unit.record;
  record.Address = {static_cast<std::uint16_t>(entry.Port), static_cast<std::uint16_t>(entry.Bus),
                    static_cast<std::uint16_t>(entry.TargetId),
                    static_cast<std::uint16_t>(entry.Lun)};
  record.Type = MapScsiDeviceType(entry.PeripheralType);
  std::memcpy(record.Description, entry.Identifier, sizeof record.Description);
}

void AddAnswers(AttachedUnit& unit) {
  DeviceRecord& record = unit.record;
  if (unit.answers.inquiry_data) {
    std::string data = *unit.answers.inquiry_data;
    data.resize(std::max<std::size_t>(data.size(), kInquiryLength));
    std::memset(record.Description, 0, sizeof record.Description);
    CopyInquiryText(reinterpret_cast<const std::uint8_t*>(data.data()), record.Description);
  }
  if (unit.answers.serial_number_page) {
    CopyBytes(*unit.answers.serial_number_page, kPageHeaderSize, record.SerialNumber,
              sizeof record.SerialNumber);
  }
  if (unit.answers.world_wide_id) {
    CopyBytes(*unit.answers.world_wide_id, 0, record.WorldWideID, sizeof record.WorldWideID);
  }
}

std::vector<AttachedUnit> ListedUnits() {
  std::vector<AttachedUnit> units(static_cast<std::size_t>(CountScsiMapEntries()));
  for (std::size_t i = 0; i < units.size(); ++i) FillRecord(ScsiMap.Entries[i], units[i]);
  return units;
}

// Asks them all at once.
void Ask(std::vector<AttachedUnit>& units, Asked asked) {
  std::vector<ScsiAddress> addresses;
  addresses.reserve(units.size());
  for (const AttachedUnit& unit : units) addresses.push_back(unit.Address());
  PrefetchUnits(addresses, asked);
  const auto branch = HardwareBranch();
  for (AttachedUnit& unit : units) {
    unit.answers = AskUnit(unit.Address(), asked);
    AddAnswers(unit);
    const auto port = FindPort(branch, unit.record.Address.Board);
    const RegistryValue* driver = port == nullptr ? nullptr : port->FindValue(kDriverValue);
    if (driver != nullptr) unit.driver = CleanText(driver->data.data(), driver->data.size());
  }
}

}  // namespace

ScsiAddress AttachedUnit::Address() const { return ScsiAddressOf(record.Address); }

std::string AttachedUnit::Description() const {
  return CleanText(record.Description, sizeof record.Description);
}

std::string AttachedUnit::SerialNumber() const {
  const auto& page = answers.serial_number_page;
  if (!page || page->size() <= kPageHeaderSize) return {};
  return SerialNumberText(std::string_view(*page).substr(kPageHeaderSize));
}

void NoteUnitsLeftOut() {
  static int said = 0;
  if (ScsiMap.LeftOut == said) return;
  said = ScsiMap.LeftOut;
  ReportMessage(Severity::kNote, Count(static_cast<std::size_t>(ScsiMap.LeftOut), "unit") +
                                     " beyond the first " + std::to_string(kMaxScsiMapEntries) +
                                     " of the device map left out");
}

std::vector<AttachedUnit> AskAttachedUnits(Asked asked) {
  std::vector<AttachedUnit> units = ListedUnits();
  NoteUnitsLeftOut();
  Ask(units, asked);
  return units;
}

std::vector<AttachedUnit> AskLibraryUnits() {
  std::vector<AttachedUnit> units = ListedUnits();
  std::erase_if(units, [](const AttachedUnit& unit) {
    return unit.record.Type != kTypeTape && unit.record.Type != kTypeChanger;
  });
  Ask(units, Asked::kLibrary);
  return units;
}

}  // namespace devprep::tool
