// Filling in the records of configured devices: the drives of a changer, and the settings.
#ifndef DEVPREP_SETUP_DEVICE_SETUP_H_
#define DEVPREP_SETUP_DEVICE_SETUP_H_

#include <cstdint>

#include "records/device_record.h"
#include "records/device_settings.h"

namespace devprep {

// Why an edit was refused or failed. device is the one that it is about.
enum class DeviceRefusal : std::uint8_t {
  kNone,
  kNoDevice,           // it is not configured
  kDeviceNotReadable,  // its stored record is malformed
  kDeviceNotStored,    // its key cannot be written: on Windows, where a key has rights of its own
  kNotAChanger,
  kNotADrive,          // with force it is reserved all the same
  kAlreadyReserved,    // to changer other, which is the one that it was to be reserved to
  kGivenTwice,         // among the drives of this edit
  kReservedToOther,    // to changer other; with force it is reserved to both
  kNotReserved,        // to changer other, which it was to be released from
  kNothingReserved,    // to device, a changer
  kInRaid,             // raid, which changer other backs; with force it is released all the same
  kDriveListFull,      // device, a changer, would have more than kMaxDriveListEntries drives
  kDriveListLong,      // the numbers of the drives of device, a changer, do not fit into its record
  kNoChangersDrive,    // a drive that is reserved to no changer can be neither disabled nor enabled
  kSettingOfChangers,  // device is none, and the setting is one that only changers have
};

// What became of an edit. Where it was refused, nothing was stored.
struct DeviceEdit {
  DeviceRefusal refusal = DeviceRefusal::kNone;
  std::uint16_t device = 0;
  std::uint16_t other = 0;
  std::uint16_t raid = 0;
};

// Whether an edit that was refused for this is done with force.
bool CanBeForced(DeviceRefusal refusal);

// Whether the device is a configured changer.
DeviceEdit CheckChanger(std::uint16_t number);

// Adds drives to a changer's reserved ones, behind those that it has, enabled. force: what
// CanBeForced says.
DeviceEdit ReserveDrives(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                         bool force);

// Makes these drives, in this order, a changer's reserved ones, in the place of those that it has.
// One that was disabled stays so.
DeviceEdit ReserveExactly(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                          bool force);

// Takes drives out of a changer's reserved ones; the others keep their order and their marks. With
// count 0 it takes out all.
DeviceEdit ReleaseDrives(std::uint16_t changer, const std::uint16_t* drives, std::uint16_t count,
                         bool force);

// Marks a drive as disabled or enabled in the list of each changer that it is reserved to.
DeviceEdit SetDriveDisabled(std::uint16_t drive, bool disabled);

// Stores a setting, one of kDeviceSettings; its number for not set takes away what was stored.
DeviceEdit SetDeviceSetting(std::uint16_t device, const DeviceSetting& setting,
                            std::uint16_t value);

}  // namespace devprep

#endif  // DEVPREP_SETUP_DEVICE_SETUP_H_
