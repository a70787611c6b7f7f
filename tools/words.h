// Codes and records in the words of a tape administrator.
#ifndef DEVPREP_TOOLS_WORDS_H_
#define DEVPREP_TOOLS_WORDS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "devprep/devprep.h"
#include "output.h"
#include "reconfig/device_match.h"
#include "records/device_record.h"

namespace devprep::tool {

// "changer", "tape drive", "disk" and so on.
std::string TypeWord(std::uint16_t type);

// "port:bus:target:lun".
std::string AddressWord(const DeviceAddress& address);

// "serial number", "address" and so on; empty for kNone.
std::string CriterionWord(MatchCriterion criterion);

// "tape group" and so on.
std::string GroupKindWord(std::uint16_t kind);

// Whether a RAID's changers stand with all their drives: "complete", "incomplete", or empty for a
// RAID without changers.
std::string ChangerStatusWord(std::uint32_t raid_flags);

// A number of the configuration, or "-" for none.
std::string NumberWord(std::uint16_t number);

// A serial number as text; bytes that cannot be printed in hexadecimal. Empty for none.
std::string SerialWord(const std::uint8_t* serial_number);

// A World Wide ID as 16 hexadecimal digits. Empty for none.
std::string WorldWideIdWord(const DeviceRecord& record);

// A time in milliseconds, "0.42 ms".
std::string MillisecondsWord(std::chrono::microseconds time);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_WORDS_H_
