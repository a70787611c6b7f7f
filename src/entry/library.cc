#include "entry/library.h"

#include "discovery/library_hooks.h"
#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "entry/transaction.h"
#include "platform/modules.h"
#include "reconfig/changer_drives.h"
#include "reconfig/device_match.h"
#include "reconfig/follow_identity.h"
#include "reconfig/outcome.h"
#include "reconfig/raid_carry_over.h"
#include "reconfig/reconfigure.h"
#include "records/device_cache.h"
#include "records/raid_member_total.h"
#include "records/raid_records.h"
#include "store/key_handle.h"
#include "store/product_config.h"
#include "store/product_paths.h"

namespace devprep {
namespace {

constinit std::uint16_t AttachCount = 0;
constinit std::uint16_t FirstPassPending = 1;

}  // namespace

bool SimKeyExists() {
  KeyHandle key;
  return key.Open(HKEY_LOCAL_MACHINE, kSimKeyPath.text, KEY_ALL_ACCESS) == ERROR_SUCCESS;
}

std::uint16_t SetUpInitTapesvrConfig() { return RunConfigurationPass({}); }

std::uint16_t RunConfigurationPass(const PassOptions& options) {
  if (!SimKeyExists()) {
    if (FirstPassPending == 0) return 0;
    FirstPassPending = 0;
    StartAcslsLink();
    ReadProductConfig();
    StartVirtualLibraryManager();
    ProbeScsiDevices();
    ResetFoundChangers();
    if (options.AfterProbe != nullptr) options.AfterProbe();
    if (options.FollowIdentity) AlignOldRecords();
    CarryOverRaids();
    ResetDeviceCache();
    // The carried-over lists belong to the devices that could not be stored.
    if (ReconfigureDevices() == kNoWorkingStorage) RegistryFail(kNoMemory);
    if (options.FollowIdentity) MendMemberships();
  }
  CountRaidMembers();
  return 0;
}

void ResetProcessState() {
  AttachCount = 0;
  FirstPassPending = 1;
  ResetHomePath();
  ResetProductConfig();
  ResetLibraryHooks();
  ResetScsiMap();
  ResetFoundDevices();
  ResetFoundChangers();
  ResetDeviceCache();
  ResetDeviceMatch();
  ResetPassOutcome();
  ResetFollowIdentity();
  SetRaidMemberTotal(0);
}

}  // namespace devprep

int APIENTRY DllMain(HINSTANCE /*module*/, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    if (devprep::AttachCount == 0) {
      devprep::LoadSupportModule();
      devprep::AsTransaction([] {
        devprep::ReadHomePath();
        return devprep::kStatusOk;
      });
    }
    ++devprep::AttachCount;
  } else if (reason == DLL_PROCESS_DETACH) {
    --devprep::AttachCount;
  }
  return 1;
}
