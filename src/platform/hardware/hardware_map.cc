#include "platform/hardware/hardware_map.h"

#include <algorithm>
#include <sstream>

#include "platform/registry.h"

namespace devprep {
namespace {

std::string Numbered(const char* prefix, std::uint16_t number) {
  return prefix + std::to_string(number);
}

constexpr std::size_t kUsualPathLength = 80;

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

void SetText(RegistryKey& key, std::string_view name, std::string_view text) {
  key.SetValue(name, REG_SZ, std::string(text) + '\0');
}

}  // namespace

std::vector<std::string> SplitNodeNames(const std::string& value) {
  std::istringstream text(value.substr(0, value.find('\0')));
  std::vector<std::string> names;
  for (std::string name; std::getline(text, name, ' ');) {
    if (!name.empty()) names.push_back(std::move(name));
  }
  return names;
}

std::string JoinNodeNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

std::string AddressText(const ScsiAddress& address) {
  return std::to_string(address.port) + ':' + std::to_string(address.bus) + ':' +
         std::to_string(address.target) + ':' + std::to_string(address.lun);
}

const std::string& DeviceMapPath() {
  static const std::string path = std::string(kDeviceMapKey) + '\\' + kScsiMapKey;
  return path;
}

std::string UnitKeyPath(const ScsiAddress& address) {
  std::string path;
  path.reserve(kUsualPathLength);
  path.append(kPortKeyPrefix).append(std::to_string(address.port)).append(1, '\\');
  path.append(kBusKeyPrefix).append(std::to_string(address.bus)).append(1, '\\');
  path.append(kTargetKeyPrefix).append(std::to_string(address.target)).append(1, '\\');
  return path.append(kUnitKeyPrefix).append(std::to_string(address.lun));
}

std::shared_ptr<RegistryKey> MakeHardwareBranch() {
  auto branch = std::make_shared<RegistryKey>(kHardwareKey);
  FindOrAddPath(*branch, DeviceMapPath());
  return branch;
}

void AddPort(RegistryKey& branch, std::uint16_t port, std::string_view driver) {
  const auto key =
      FindOrAddPath(*FindOrAddPath(branch, DeviceMapPath()), Numbered(kPortKeyPrefix, port));
  SetText(*key, kDriverValue, driver);
}

void AddUnit(RegistryKey& branch, const ScsiAddress& address, std::string_view identifier,
             std::uint8_t peripheral_type) {
  const auto key = FindOrAddPath(*FindOrAddPath(branch, DeviceMapPath()), UnitKeyPath(address));
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
