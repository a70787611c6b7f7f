// Codes and records in the words of a tape administrator.
#ifndef DEVPREP_TOOLS_WORDS_H_
#define DEVPREP_TOOLS_WORDS_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "listing.h"
#include "reconfig/device_match.h"
#include "records/device_record.h"

namespace devprep::tool {

// A device type: tape_drive "tape drive", changer "changer" and so on; of a code that is none,
// unrecognized with the code.
Term TypeName(std::uint16_t type);

// What a device was recognised by; without identifier for kNone.
Term CriterionName(MatchCriterion criterion);

// What a criterion says of a candidate: agrees, differs, taken or absent.
Term VerdictName(Verdict verdict);

// tape "tape group" and so on.
Term GroupKindName(std::uint16_t kind);

// Whether a RAID's changers stand with all their drives: complete or incomplete; without identifier
// for a RAID without changers.
Term ChangerStatusName(std::uint32_t raid_flags);

// "device 4" and the like.
std::string Named(const char* noun, std::uint16_t number);

// Why there is no device of that number where count are configured.
std::string NotConfiguredText(std::uint16_t number, std::uint16_t count);

// "1, 2, 3".
std::string Numbers(const std::vector<std::uint16_t>& numbers);

// "port:bus:target:lun".
std::string AddressText(const DeviceAddress& address);

// A number of the configuration; absent for kDeviceGone.
Value DeviceNumberValue(std::uint16_t number);

// Bytes as the text that functions on bytes take.
std::string_view BytesOf(const std::uint8_t* bytes, std::size_t size);

// As much of a text's bytes from offset on as there is, and zeros behind.
void CopyBytes(std::string_view from, std::size_t offset, std::uint8_t* to, std::size_t size);

// Bytes as hexadecimal digits.
std::string Hexadecimal(std::string_view bytes);

// A serial number as text, without blanks and zero bytes around it; in hexadecimal when a byte
// cannot be printed. Empty for none. The first form takes what a record keeps.
std::string SerialNumberText(const std::uint8_t* serial_number);
std::string SerialNumberText(std::string_view serial_number);

// The same of a found device, beyond what a record keeps. Within the process of the pass.
std::string FoundSerialNumberText(std::uint16_t number);

// A World Wide ID as 16 hexadecimal digits. Empty for none.
std::string WorldWideIdText(const DeviceRecord& record);

// The names that the machine has for a unit: its nodes as names alone, "sg3, nst0", and the links
// that keep their names over a restart as paths.
ColumnInfo NodesColumn(Importance importance);
ColumnInfo LinksColumn();
Value NodesValue(const std::vector<std::string>& paths);
Value LinksValue(const std::vector<std::string>& paths);
// Whether a name is such a link.
bool IsNodeLink(const std::string& path);

// A time in milliseconds, "0.42 ms".
std::string MillisecondsText(std::chrono::microseconds time);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_WORDS_H_
