// Codes and records in the words of a tape administrator.
#ifndef DEVPREP_TOOLS_WORDS_H_
#define DEVPREP_TOOLS_WORDS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "listing.h"
#include "reconfig/device_match.h"
#include "records/device_record.h"

namespace devprep::tool {

// A device type: tape_drive "tape drive", changer "changer" and so on; of a code that is none,
// unrecognized with the code.
Term TypeName(std::uint16_t type);

// What a device was recognised by; without identifier for kNone.
Term CriterionName(MatchCriterion criterion);

// tape "tape group" and so on.
Term GroupKindName(std::uint16_t kind);

// Whether a RAID's changers stand with all their drives: complete or incomplete; without identifier
// for a RAID without changers.
Term ChangerStatusName(std::uint32_t raid_flags);

// "port:bus:target:lun".
std::string AddressText(const DeviceAddress& address);

// A number of the configuration; absent for kDeviceGone.
Value DeviceNumberValue(std::uint16_t number);

// A serial number as text; bytes that cannot be printed in hexadecimal. Empty for none.
std::string SerialNumberText(const std::uint8_t* serial_number);

// A World Wide ID as 16 hexadecimal digits. Empty for none.
std::string WorldWideIdText(const DeviceRecord& record);

// A time in milliseconds, "0.42 ms".
std::string MillisecondsText(std::chrono::microseconds time);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_WORDS_H_
