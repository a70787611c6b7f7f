// Which device found now an old device record describes.
#ifndef DEVPREP_RECONFIG_DEVICE_MATCH_H_
#define DEVPREP_RECONFIG_DEVICE_MATCH_H_

#include <cstddef>
#include <cstdint>

#include "discovery/scsi_probe.h"
#include "records/device_record.h"

namespace devprep {

inline constexpr std::int32_t kMatched = 0;
inline constexpr std::int32_t kNoMatch = -1;
inline constexpr std::uint16_t kNoSuchFoundDevice = 13;

// What a device was recognised by.
enum class MatchCriterion : std::uint8_t {
  kNone,
  kWorldWideIdInPlace,  // World Wide ID and name, on the same port, bus and logical unit
  kAddress,             // name, and the whole address
  kSerialNumber,
  kWorldWideId,  // World Wide ID and name, wherever
  kName,         // type and name alone
  kLibrary,      // its place in a library, by what the changer says: never of the pass itself
};

// What a criterion says of an old record and a found device.
enum class Verdict : std::uint8_t {
  kAgrees,
  kDiffers,
  kAbsent,  // it does not apply: the device has no such identity, or another rule is for it
  kTaken,   // it would agree, but an earlier match has taken the device
};

// What every criterion says of one found device, and which criterion, if any, would choose it in
// the first pass over the devices and in the second.
struct MatchWitness {
  Verdict WorldWideIdInPlace;
  Verdict Address;
  Verdict SerialNumber;
  Verdict WorldWideId;
  Verdict Name;
  MatchCriterion First;
  MatchCriterion Second;
};

// One flag for each found device: 1 when an earlier match of the current phase has paired it.
// MatchDevice reads them; its callers set them and clear them between phases.
extern std::uint16_t UsedDeviceFlags[kMaxFoundDevices];
void ClearUsedDeviceFlags();

// Takes note of what the found devices are recognised by. To be called before the first match, and
// again when FoundDevices or MatchByWorldWideId has changed.
void IndexFoundDevices();

// Finds the found device that an old record describes. Two passes over the list, each device held
// against all criteria of the pass before the next one: first those that name a place or a serial
// number, then those that go by World Wide ID or name alone. Stores its place in the list in
// *number and, unless null, what it was recognised by in *criterion. Returns kMatched, or kNoMatch
// with *number untouched.
std::int32_t MatchDevice(const DeviceRecord* old_record, std::uint16_t* number,
                         MatchCriterion* criterion = nullptr);

// The same for a drive named in a changer's ReservedDrives. The changer's drives move with it, so
// port and bus do not count; each found drive is given out once. Returns as MatchDevice.
std::int32_t MatchReservedDrive(const DeviceRecord* old_record, std::uint16_t* number,
                                MatchCriterion* criterion = nullptr);

// What MatchDevice makes of the old record and found device number, by its very comparisons. used:
// the flags of all found devices, kMaxFoundDevices, as they were at that match. Changes nothing.
MatchWitness WitnessDevice(const DeviceRecord* old_record, std::uint16_t number,
                           const std::uint16_t* used);

// Whether the old record's description, which holds no blanks, is that of the found device without
// its blanks.
bool NamesAgree(const DeviceRecord& old_record, const DeviceRecord& found);

// Fills a zero-filled record, whose Number is a place in the list, from that found device. Returns
// 0; 13 when there is no such device, the record is then unchanged.
std::uint16_t RecordFromFoundDevice(DeviceRecord* record);

// Puts flags and claims back to how a fresh load finds them.
void ResetDeviceMatch();

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_DEVICE_MATCH_H_
