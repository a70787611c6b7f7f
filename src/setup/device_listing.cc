#include "setup/device_listing.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "discovery/changer_models.h"
#include "discovery/scsi_probe.h"
#include "platform/hardware/device_map_names.h"
#include "platform/raw_scsi.h"
#include "records/device_cache.h"
#include "records/raid_records.h"
#include "store/ascii_case.h"
#include "store/key_handle.h"
#include "store/product_config.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr std::size_t kPortKeySize = 64;
constexpr std::size_t kDriverSize = 128;

// Host adapter drivers whose devices are fibre-attached.
constexpr const char* kFibreDrivers[] = {"hhba5000", "hhba5100", "JNI116",  "ql2100",
                                         "ql2200",   "elxsli2",  "lp6nds35"};

bool OnFibreDriver(std::uint16_t port) {
  char path[kPortKeySize];
  std::snprintf(path, sizeof path, "%s\\%s\\%s\\%s%d", kHardwareKey, kDeviceMapKey, kScsiMapKey,
                kPortKeyPrefix, port);
  KeyHandle key;
  if (key.Open(HKEY_LOCAL_MACHINE, path, MAXIMUM_ALLOWED) != ERROR_SUCCESS) return false;
  char driver[kDriverSize] = "";
  DWORD size = sizeof driver;
  if (RegQueryValueExA(key.Get(), kDriverValue, nullptr, nullptr, reinterpret_cast<BYTE*>(driver),
                       &size) != ERROR_SUCCESS) {
    return false;
  }
  driver[sizeof driver - 1] = '\0';
  return std::any_of(std::begin(kFibreDrivers), std::end(kFibreDrivers),
                     [&driver](const char* name) { return EqualIgnoringCase(driver, name); });
}

bool IsMasked(const DeviceRecord& record) {
  return MaskFibreDevices == 1 && IsProbedType(record.Type) &&
         (HasWorldWideId(record) || OnFibreDriver(record.Address.Board));
}

// Flags of the first RAID that the changer backs.
std::uint32_t RaidFlagsOf(std::uint16_t changer) {
  std::uint16_t count = 0;
  RaidSetUpGetNoOfRaids(&count);
  for (std::uint16_t i = 0; i < count; ++i) {
    RaidInfo raid = {};
    if (devprep::RaidSetUpGetRaidInfo(i, &raid) != DEVPREP_OK) continue;
    if ((raid.Flags & DEVPREP_RAID_HAS_CHANGER) != 0 &&
        HoldsDevice(raid.ChangerDevices, raid.ChangerCount, changer)) {
      return raid.Flags;
    }
  }
  return 0;
}

}  // namespace

std::uint16_t SetUpGetNoOfDevices(std::uint16_t* count) {
  *count = GetDeviceCount();
  return DEVPREP_OK;
}

std::uint16_t SetUpGetDeviceInfo(std::uint16_t number, DeviceInfo* info) {
  return QueryDeviceInfo(number, info, false);
}

std::uint16_t QueryDeviceInfo(std::uint16_t number, DeviceInfo* info, bool keep_types) {
  DeviceRecord record = {};
  record.Number = number;
  const std::uint16_t status = GetDeviceRecord(&record);
  if (status != kStatusOk) return status;
  info->Number = record.Number;
  info->Board = record.Address.Board;
  info->Bus = record.Address.Bus;
  info->ScsiId = record.Address.ScsiId;
  info->Lun = record.Address.Lun;
  info->Type = !keep_types && IsMasked(record) ? kTypeUnknown : record.Type;
  info->CleaningTapeSlot = record.CleaningTapeSlot;
  info->DisabledDrives = record.DisabledDrives;
  ReadDeviceDescription(number, info->Description);
  info->ReservedDriveCount = record.ReservedDriveCount;
  std::memcpy(info->ReservedDrives, record.ReservedDrives, sizeof info->ReservedDrives);
  if (IsProbedType(info->Type)) {
    std::uint8_t inquiry_data[kInquiryLength];
    if (InquireDevice(record.Address, inquiry_data)) {
      CopyInquiryText(inquiry_data, info->Description);
    }
  }
  if (info->Type != kTypeChanger) return DEVPREP_OK;
  if ((FindChangerModel(info->Description).Attributes & kOpticalLibrary) != 0) {
    info->Type = kTypeOpticalLibrary;
  } else {
    info->RaidFlags |= RaidFlagsOf(number);
  }
  return DEVPREP_OK;
}

}  // namespace devprep
