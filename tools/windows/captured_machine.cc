#include "windows/captured_machine.h"

#include <memory>
#include <system_error>
#include <utility>

#include "input_file.h"
#include "platform/hardware/capture_source.h"
#include "platform/hardware/hardware_map.h"
#include "platform/registry.h"
#include "platform/registry/registry_key.h"
#include "platform/windows/registry_tree.h"

namespace devprep::tool {
namespace {

std::unique_ptr<HardwareSource>& Captured() {
  static std::unique_ptr<HardwareSource> captured;
  return captured;
}

LSTATUS ReplaceDeviceMap(const RegistryKey& wanted) {
  const std::string path = std::string(kHardwareKey) + '\\' + DeviceMapPath();
  HKEY map = nullptr;
  LSTATUS status = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr,
                                   REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &map, nullptr);
  if (status != ERROR_SUCCESS) return status;
  RegistryKey now("");
  ReadKeyTree(map, now);
  status = WriteKeyTree(map, now, wanted);
  RegCloseKey(map);
  return status;
}

}  // namespace

Result<> UseCapture(const std::string& file_name) {
  const Result<std::string> text = ReadInputFile(file_name);
  if (!text) return text.Failure();
  Result<std::unique_ptr<HardwareSource>> opened = OpenCapture(file_name, *text);
  if (!opened) return opened.Failure();
  const std::shared_ptr<RegistryKey> branch = (*opened)->DeviceMap();
  const std::shared_ptr<RegistryKey> map =
      branch == nullptr ? nullptr : FindPath(branch, DeviceMapPath());
  const RegistryKey none("");
  if (const LSTATUS status = ReplaceDeviceMap(map == nullptr ? none : *map);
      status != ERROR_SUCCESS) {
    return Error{"its device map cannot be put in the place of the machine's: " +
                     std::system_category().message(static_cast<int>(status)),
                 file_name};
  }
  Captured() = *std::move(opened);
  return {};
}

HardwareSource* CapturedMachine() { return Captured().get(); }

}  // namespace devprep::tool
