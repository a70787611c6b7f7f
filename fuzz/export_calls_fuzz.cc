// Random calls of the eleven exports on random registries. The input's first part is a registry
// text (without its first line), the rest, behind a NUL, a sequence of calls of four bytes each.
// All runs inside one transaction that is given up in the end: nothing reaches the disk.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "devprep/devprep.h"
#include "entry/library.h"
#include "fuzz_target.h"
#include "platform/posix/hardware.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_file.h"
#include "platform/registry/registry_text.h"

namespace {

constexpr const char* kNoRegistry = "/dev/shm/devprep-fuzz-nothing/registry.reg";

// Shorter inputs reach further when they need not spell the product's keys.
constexpr std::string_view kTapeEngineKey =
    "REGEDIT4\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline\\Vaultkeep\\Base\\TapeEngine]\n";
constexpr std::string_view kShortKey = "[~";
constexpr std::string_view kLongKey =
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline\\Vaultkeep\\Base\\TapeEngine\\";

std::string Expand(std::string_view text) {
  std::string full(kTapeEngineKey);
  while (!text.empty()) {
    const std::size_t at = std::min(text.find(kShortKey), text.size());
    full.append(text.substr(0, at));
    text.remove_prefix(at);
    if (text.empty()) break;
    full.append(kLongKey);
    text.remove_prefix(kShortKey.size());
  }
  return full;
}

void CheckRaid(const RaidInfo& raid) {
  Require(raid.TapeCount <= 32 && raid.ChangerCount <= 32, "a RAID keeps to its entries");
  Require(raid.Reserved1 == 0 && raid.Reserved2[0] == 0 && raid.Reserved2[1] == 0,
          "reserved bytes are 0");
}

void Call(const std::uint8_t* call) {
  const std::uint16_t a = call[1] == 255 ? 65535 : call[1];
  const std::uint16_t b = call[2];
  std::uint16_t count = 0;
  DeviceInfo device = {};
  RaidInfo raid = {};
  switch (call[0] % 11) {
    case 0:
      Require(SetUpInitTapesvrConfig() == DEVPREP_OK, "the pass returns 0");
      break;
    case 1:
      SetUpGetNoOfDevices(&count);
      Require(count <= 255, "at most 255 devices");
      break;
    case 2:
      SetUpGetDeviceInfo(a, &device);
      Require(device.ReservedDriveCount <= 32, "a device keeps to its drives");
      break;
    case 3:
      RaidSetUpGetNoOfRaids(&count);
      Require(count <= 8, "at most 8 RAIDs");
      break;
    case 4:
      RaidSetUpGetRaidInfo(a, &raid);
      CheckRaid(raid);
      break;
    case 5:
      RaidSetUpAssignDeviceToRaid(a, b, call[3]);
      break;
    case 6:
      RaidSetUpRemoveDeviceFromRaid(a, b);
      break;
    case 7:
      RaidSetUpCreateRaid(a, b, &count);
      break;
    case 8:
      RaidSetUpRemoveRaid(a);
      break;
    case 9:
      RaidSetUpSetRaidLevel(a, b);
      break;
    default:
      RaidSetUpSetLinkPosition(a, b);
      break;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto* cut = static_cast<const std::uint8_t*>(std::memchr(data, 0, size));
  if (cut == nullptr) return 0;
  setenv(devprep::kRegistryVariable, kNoRegistry, 1);
  setenv(devprep::kHardwareVariable, DEVPREP_FUZZ_CAPTURE, 1);
  devprep::ResetProcessState();
  devprep::RegistryBegin();
  const auto text_size = static_cast<std::size_t>(cut - data);
  const auto root = devprep::RegistryRootForChange();
  const auto read = devprep::ReadRegistryText(
      Expand(std::string_view(reinterpret_cast<const char*>(data), text_size)), *root);
  if (read) {
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    for (const std::uint8_t* call = cut + 1; call + 4 <= data + size; call += 4) Call(call);
  }
  devprep::RegistryAbandon();
  return 0;
}
