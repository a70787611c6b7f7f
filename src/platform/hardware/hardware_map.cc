#include "platform/hardware/hardware_map.h"

#include <algorithm>

#include "platform/registry.h"

namespace devprep {
namespace {

std::string Numbered(const char* prefix, std::uint16_t number) {
  return prefix + std::to_string(number);
}

const char* TypeWordOf(std::uint8_t peripheral_type) {
  switch (peripheral_type) {
    case 0x00:  // direct access block device
    case 0x0E:  // simplified direct access
    case 0x14:  // host managed zoned
      return kDiskWord;
    case 0x01:
      return kTapeWord;
    case 0x05:
      return kCdRomWord;
    case 0x07:
      return kOpticalMemoryWord;
    case 0x08:
      return kChangerWord;
    default:
      return kOtherWord;
  }
}

std::shared_ptr<RegistryKey> MakePath(RegistryKey& from, std::string_view path) {
  RegistryKey* key = &from;
  std::shared_ptr<RegistryKey> made;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('\\'));
    made = key->FindOrAddChild(name);
    key = made.get();
    path.remove_prefix(std::min(name.size() + 1, path.size()));
  }
  return made;
}

void SetText(RegistryKey& key, std::string_view name, std::string_view text) {
  key.SetValue(name, REG_SZ, std::string(text) + '\0');
}

}  // namespace

std::string AddressText(const ScsiAddress& address) {
  return std::to_string(address.port) + ':' + std::to_string(address.bus) + ':' +
         std::to_string(address.target) + ':' + std::to_string(address.lun);
}

std::string DeviceMapPath() { return std::string(kDeviceMapKey) + '\\' + kScsiMapKey; }

std::string UnitKeyPath(const ScsiAddress& address) {
  return Numbered(kPortKeyPrefix, address.port) + '\\' + Numbered(kBusKeyPrefix, address.bus) +
         '\\' + Numbered(kTargetKeyPrefix, address.target) + '\\' +
         Numbered(kUnitKeyPrefix, address.lun);
}

std::shared_ptr<RegistryKey> MakeHardwareBranch() {
  auto branch = std::make_shared<RegistryKey>(kHardwareKey);
  MakePath(*branch, DeviceMapPath());
  return branch;
}

void AddPort(RegistryKey& branch, std::uint16_t port, std::string_view driver) {
  const auto key = MakePath(*MakePath(branch, DeviceMapPath()), Numbered(kPortKeyPrefix, port));
  SetText(*key, kDriverValue, driver);
}

void AddUnit(RegistryKey& branch, const ScsiAddress& address, std::string_view identifier,
             std::uint8_t peripheral_type) {
  const auto key = MakePath(*MakePath(branch, DeviceMapPath()), UnitKeyPath(address));
  SetText(*key, kIdentifierValue, identifier);
  SetText(*key, kTypeValue, TypeWordOf(peripheral_type));
}

std::shared_ptr<RegistryKey> FindPort(const std::shared_ptr<RegistryKey>& branch,
                                      std::uint16_t port) {
  if (branch == nullptr) return nullptr;
  const auto map = FindPath(branch, DeviceMapPath());
  return map == nullptr ? nullptr : FindPath(map, Numbered(kPortKeyPrefix, port));
}

std::shared_ptr<RegistryKey> FindUnit(const std::shared_ptr<RegistryKey>& branch,
                                      const ScsiAddress& address) {
  if (branch == nullptr) return nullptr;
  const auto map = FindPath(branch, DeviceMapPath());
  return map == nullptr ? nullptr : FindPath(map, UnitKeyPath(address));
}

std::string UnitTypeName(const std::shared_ptr<RegistryKey>& branch, const ScsiAddress& address) {
  const auto unit = FindUnit(branch, address);
  const RegistryValue* type = unit == nullptr ? nullptr : unit->FindValue(kTypeValue);
  return type == nullptr ? "" : type->data.substr(0, type->data.find('\0'));
}

}  // namespace devprep
