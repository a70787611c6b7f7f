#include "discovery/scsi_probe.h"

#include <cstring>
#include <iterator>

#include "discovery/library_hooks.h"
#include "discovery/scsi_map.h"
#include "platform/raw_scsi.h"
#include "store/diagnostic_log.h"

namespace devprep {

constinit DeviceRecord FoundDevices[kMaxFoundDevices] = {};
constinit std::uint16_t FoundDeviceCount = 0;
constinit std::uint8_t FoundDeviceAnswered[kMaxFoundDevices] = {};
constinit std::uint8_t FoundSerialNumbers[kMaxFoundDevices][kFoundSerialNumberSize] = {};

namespace {

// By SCSI peripheral device type; kTypeOther beyond the table's end.
constexpr std::uint16_t kTypeCodes[] = {
    kTypeDirectAccess, kTypeTape,    kTypePrinter,       kTypeProcessor, kTypeWriteOnce,
    kTypeCdRom,        kTypeScanner, kTypeOpticalMemory, kTypeChanger,   kTypeCommunications};

constexpr std::size_t kInquiryTextSize = 32;

void CopyIdentifier(const char* identifier, DeviceRecord* device) {
  static_assert(kIdentifierSize == kDescriptionSize);
  std::memcpy(device->Description, identifier, std::strlen(identifier) + 1);
}

void ProbeDevice(const char* identifier, DeviceRecord* device) {
  const DeviceAddress& at = device->Address;
  std::uint8_t inquiry_data[kInquiryLength];
  if (InquireDevice(at, inquiry_data)) {
    CopyInquiryText(inquiry_data, device->Description);
    FoundDeviceAnswered[device->Number] = 1;
  } else {
    CopyIdentifier(identifier, device);
  }
  std::uint8_t page[kInquiryPageLength];
  if (ScsiInquiryPage(at.Board, at.Bus, at.ScsiId, at.Lun, page, sizeof page,
                      kUnitSerialNumberPage) == 0) {
    std::memcpy(device->SerialNumber, page + kPageHeaderSize, kSerialNumberSize);
    std::memcpy(FoundSerialNumbers[device->Number], page + kPageHeaderSize, kFoundSerialNumberSize);
  }
  std::uint8_t answer[kWorldWideIdLength];
  if (ScsiGetWorldWideId(at.Board, at.Bus, at.ScsiId, at.Lun, kWorldWideIdSelector, answer,
                         sizeof answer) == 0) {
    std::memcpy(device->WorldWideID, answer + kWorldWideIdOffset, kWorldWideIdSize);
  }
}

void JudgeChanger(DeviceRecord* device) {
  const DeviceAddress& at = device->Address;
  if (IsLibraryRegularHook(device->Number, at.Board, at.Bus, at.ScsiId, at.Lun,
                           device->SerialNumber) != kVirtualisedLibrary) {
    return;
  }
  device->Type = kTypeUnknown;
  LogMessage("Virtualised library found. Marking device type as UNKNOWN");
}

void AddFoundDevice(const DeviceAddress& address, const char* identifier,
                    std::uint8_t peripheral_type) {
  DeviceRecord* device = &FoundDevices[FoundDeviceCount];
  device->Number = FoundDeviceCount;
  device->Address = address;
  device->Type = MapScsiDeviceType(peripheral_type);
  device->CleaningTapeSlot = kNotSet;
  device->DefaultBlockFactor = kNotSet;
  if (IsProbedType(device->Type)) {
    ProbeDevice(identifier, device);
  } else {
    CopyIdentifier(identifier, device);
  }
  if (peripheral_type == kPeripheralChanger && IsLibraryRegularHook != nullptr) {
    JudgeChanger(device);
  }
  ++FoundDeviceCount;
}

DeviceAddress AddressOf(const ScsiMapEntry& entry) {
  return {static_cast<std::uint16_t>(entry.Port), static_cast<std::uint16_t>(entry.Bus),
          static_cast<std::uint16_t>(entry.TargetId), static_cast<std::uint16_t>(entry.Lun)};
}

// Prefetches the answers of the units of the map that ProbeDevice will ask.
void PrefetchAnswers(std::uint16_t ports) {
  ScsiAddress units[kMaxScsiMapEntries];
  std::size_t count = 0;
  for (std::int32_t i = 0; i < ScsiMap.Count; ++i) {
    const ScsiMapEntry& entry = ScsiMap.Entries[i];
    if (entry.Port >= ports || !IsProbedType(MapScsiDeviceType(entry.PeripheralType))) continue;
    units[count++] = ScsiAddressOf(AddressOf(entry));
  }
  PrefetchScsiAnswers(units, count);
}

}  // namespace

std::uint16_t MapScsiDeviceType(std::uint8_t peripheral_type) {
  return peripheral_type < std::size(kTypeCodes) ? kTypeCodes[peripheral_type] : kTypeOther;
}

void CopyInquiryText(const std::uint8_t* inquiry_data, char* description) {
  std::memcpy(description, inquiry_data + kInquiryTextOffset, kInquiryTextSize);
}

bool InquireDevice(const DeviceAddress& address, std::uint8_t* inquiry_data) {
  return ScsiInquiry(address.Board, address.Bus, address.ScsiId, address.Lun, inquiry_data,
                     kInquiryLength) == 0;
}

std::uint16_t ProbeScsiDevices() {
  std::uint16_t ports = 0;
  CountScsiPorts(&ports);
  ResetFoundDevices();
  // The map lists its units in ascending order, so its entries stand for a walk over all addresses.
  const std::int32_t listed = CountScsiMapEntries();
  PrefetchAnswers(ports);
  for (std::int32_t i = 0; i < listed; ++i) {
    const ScsiMapEntry& entry = ScsiMap.Entries[i];
    if (entry.Port >= ports) continue;
    AddFoundDevice(AddressOf(entry), entry.Identifier, entry.PeripheralType);
  }
  return 0;
}

void ResetFoundDevices() {
  std::memset(static_cast<void*>(FoundDevices), 0, sizeof FoundDevices);
  std::memset(FoundDeviceAnswered, 0, sizeof FoundDeviceAnswered);
  std::memset(FoundSerialNumbers, 0, sizeof FoundSerialNumbers);
  FoundDeviceCount = 0;
}

}  // namespace devprep
