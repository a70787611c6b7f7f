// The tape engine's record of one device, and the key "DEVICE%d" that it is stored in.
#ifndef DEVPREP_RECORDS_DEVICE_RECORD_H_
#define DEVPREP_RECORDS_DEVICE_RECORD_H_

#include <cstddef>
#include <cstdint>

#include "devprep/devprep.h"
#include "platform/raw_scsi.h"

namespace devprep {

inline constexpr std::size_t kDescriptionSize = 40;  // with the terminating zero
inline constexpr std::size_t kMaxDriveListEntries = 32;
inline constexpr std::size_t kSerialNumberSize = 32;
inline constexpr std::uint16_t kMaxDeviceRecords = 255;
inline constexpr std::uint16_t kDeviceGone = 65535;  // a device number in whose place there is none
inline constexpr std::uint16_t kNotSet = 65535;      // CleaningTapeSlot, DefaultBlockFactor

inline constexpr const char* kDeviceInfoValue = "Info";
inline constexpr const char* kDeviceSerialNumberValue = "SerialNumber";
inline constexpr const char* kDeviceWorldWideIdValue = "WorldWideID";
inline constexpr const char* kReservedDrivesValue = "ReservedDrives";
inline constexpr const char* kUnReservedDrivesValue = "UnReservedDrives";
inline constexpr const char* kDisabledDrivesValue = "DisabledDrives";
inline constexpr std::uint16_t kDisabledDrivesBits = 32;

// Device type codes. They follow from the SCSI peripheral device type (SPC-4); kTypeTapeEngine is
// the tape engine's own, probed like tape drives and changers.
inline constexpr std::uint16_t kTypeDirectAccess = 2;
inline constexpr std::uint16_t kTypeTape = DEVPREP_TYPE_TAPE;
inline constexpr std::uint16_t kTypeOpticalMemory = 6;
inline constexpr std::uint16_t kTypeTapeEngine = 13;
inline constexpr std::uint16_t kTypeChanger = DEVPREP_TYPE_CHANGER;
inline constexpr std::uint16_t kTypeOpticalLibrary = DEVPREP_TYPE_OPTICAL_LIBRARY;
inline constexpr std::uint16_t kTypePrinter = 34;
inline constexpr std::uint16_t kTypeProcessor = 66;
inline constexpr std::uint16_t kTypeWriteOnce = 130;
inline constexpr std::uint16_t kTypeCdRom = 258;
inline constexpr std::uint16_t kTypeScanner = 514;
inline constexpr std::uint16_t kTypeCommunications = 2050;
inline constexpr std::uint16_t kTypeUnknown = DEVPREP_TYPE_UNKNOWN;
inline constexpr std::uint16_t kTypeOther = 32770;

// Statuses of device records.
inline constexpr std::uint16_t kDeviceNotConfigured = DEVPREP_NO_DEVICE;
inline constexpr std::uint16_t kDeviceInfoMalformed = DEVPREP_BAD_DEVICE_RECORD;
inline constexpr std::uint16_t kRecordNotWritten = 214;

// Where a device sits: SCSI port, bus, target id and logical unit.
struct DeviceAddress {
  std::uint16_t Board;
  std::uint16_t Bus;
  std::uint16_t ScsiId;
  std::uint16_t Lun;

  bool operator==(const DeviceAddress&) const = default;
};

// One device. Copied whole. A record is zero-filled and given its Number before it is loaded.
struct DeviceRecord {
  std::uint16_t Number;  // N of the key "DEVICE%d"; of a found device its place in the list
  DeviceAddress Address;
  std::uint16_t Type;
  std::uint16_t ReadShots;
  std::uint16_t WriteShots;
  char Description[kDescriptionSize];  // loaded from the registry it holds no blanks
  std::uint16_t ReservedDriveCount;    // this and what follows to UnReservedDrives: changers only
  std::uint16_t ReservedDrives[kMaxDriveListEntries];
  std::uint16_t UnReservedDriveCount;
  std::uint16_t UnReservedDrives[kMaxDriveListEntries];
  std::uint16_t CleaningTapeSlot;    // kNotSet: not set
  std::uint16_t DefaultBlockFactor;  // kNotSet: not set
  std::uint32_t DisabledDrives;      // this and what follows to SetAutoCleaningTime: changers only
  std::uint16_t BarCodeInstall;
  std::uint16_t SetBarCodeTapeToBlank;
  std::uint16_t SetAutoCleaningTime;
  std::uint8_t SerialNumber[kSerialNumberSize];  // all zero: none
  std::uint8_t WorldWideID[kWorldWideIdSize];    // all zero: none
};

// Whether a list of device numbers holds one.
bool HoldsDevice(const std::uint16_t* devices, std::uint16_t count, std::uint16_t number);

// Whether the entry at a position of a changer's reserved drives is disabled, by its
// DisabledDrives. Positions from 32 on have no bit and are enabled.
bool IsDriveDisabled(std::uint32_t disabled_drives, std::uint16_t position);

// Whether devices of this type are asked for inquiry data, serial number and World Wide ID.
bool IsProbedType(std::uint16_t type);

// A device's address in the terms of the pass-through calls.
inline ScsiAddress ScsiAddressOf(const DeviceAddress& at) {
  return {at.Board, at.Bus, at.ScsiId, at.Lun};
}

// Whether the device has a World Wide ID: any of its bytes is not 0.
bool HasWorldWideId(const DeviceRecord& record);

// Whether the device has a serial number: one that begins with ten zero bytes counts as none.
bool HasSerialNumber(const DeviceRecord& record);

// Loads the record from the key "DEVICE%d" of its Number. An entry of a drive list that is no
// number counts and stays as it was. Returns 0; 3 no key or no "Info"; 219
// "Info" malformed, the items before the break are then filled.
std::uint16_t ReadDeviceRecord(DeviceRecord* record);

// The same for the record of a device: 3 also for a key behind a gap in the numbering, which is
// none.
std::uint16_t ReadConfiguredDevice(DeviceRecord* record);

// Stores the record, creating its key if needed. Values at their defaults and empty drive lists are
// not written; what is stored of them already then stays. Of a drive list the entries that fit
// whole into the 99 characters that can be read back are stored. Returns 0; 214 "Info" cannot be
// written, nothing more is then.
std::uint16_t WriteDeviceRecord(const DeviceRecord* record);

// Stores the record's reserved drives and marks of disabled ones alone, in a key that is there: a
// list without entries and a mask without marks are not stored, and what was is deleted. Returns 0,
// 212 no such key, 65535 not written.
std::uint16_t WriteReservedDrives(const DeviceRecord& record);

// Whether all entries of a drive list fit into the text that is stored.
bool DriveListFits(const std::uint16_t* entries, std::uint16_t count);

// Deletes the key. Returns 0, 209 or 217 (store).
std::uint16_t DeleteDeviceRecord(std::uint16_t number);

// Stores the number of consecutive device keys from DEVICE0, at most kMaxDeviceRecords, in *count.
// Returns 0.
std::uint16_t CountDeviceRecords(std::uint16_t* count);

// Copies the description part of the stored "Info", blanks included, and its terminating zero into
// text, kDescriptionSize bytes; what is behind stays. Returns 0; 65535 when "Info" has fewer than
// five commas, text is then untouched.
std::uint16_t ReadDeviceDescription(std::uint16_t number, char* text);

// The size of a stored "Info" text, and of a stored drive list, as they are read: with their NUL.
inline constexpr std::size_t kDeviceInfoSize = 300;
inline constexpr std::size_t kDriveListSize = 100;

// Where the description begins in a stored "Info" text. Null when the text has fewer than five
// commas.
const char* FindDescription(const char* info);

// Fills record from a stored "Info" text, which is changed. Returns 0 or 219.
std::uint16_t ParseDeviceInfo(char* info, DeviceRecord* record);

// Fills entries from a stored drive list, which is changed.
void ParseDriveList(char* list, std::uint16_t* entries, std::uint16_t* count);

}  // namespace devprep

#endif  // DEVPREP_RECORDS_DEVICE_RECORD_H_
