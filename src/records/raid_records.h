// Tape RAIDs as stored: the key "RAID%d" of each, and the record that callers get.
#ifndef DEVPREP_RECORDS_RAID_RECORDS_H_
#define DEVPREP_RECORDS_RAID_RECORDS_H_

#include <cstdint>

#include "devprep/devprep.h"
#include "records/address_list.h"
#include "records/raid_limits.h"
#include "store/key_handle.h"

namespace devprep {

// As a RAID number: the command to empty the device record cache.
inline constexpr std::uint16_t kEmptyCacheCommand = 65535;

inline constexpr const char* kRaidInfoValue = "Info";
inline constexpr const char* kRaidChangersValue = "ChangerDevices";
inline constexpr const char* kRaidLevelValue = "Level";
inline constexpr const char* kRaidStripeSizeValue = "StripeSize";
inline constexpr const char* kRaidLinkPositionValue = "LinkPosition";
// Read from a RAID's number values in place of one that is missing.
inline constexpr std::uint32_t kNoRaidNumber = 65535;

// Stores the number of keys RAID0 to RAID7 that open with full access in *count. Returns 0.
std::uint16_t RaidSetUpGetNoOfRaids(std::uint16_t* count);

// Fills the record of a RAID, Flags included. Number kEmptyCacheCommand empties the device record
// cache instead. Returns as ReadRaidRecord; 65535 for the command.
std::uint16_t RaidSetUpGetRaidInfo(std::uint16_t number, RaidInfo* info);

// Fills the record of a RAID, but for Flags. The first tape element, and the first changer element,
// that no configured device matches are removed from the stored lists. Of a list of more than
// kMaxRaidListEntries elements the first are reported. Returns 0; 65535 number above 7 (the record
// is then untouched), no such RAID or no readable "Info"; the status of FindDeviceByAddress for a
// changer element that does not resolve.
std::uint16_t ReadRaidRecord(std::uint16_t number, RaidInfo* info);

// Writes a device's address element into element, kAddressElementSize bytes. Returns 0, or the
// status of the device record that cannot be read; element is then untouched.
std::uint16_t FormatAddressElement(std::uint16_t device, char* element);

// Finds the configured device with an element's address. Returns 0; 65535 none has it; 3 or 219
// when a device record before it cannot be read.
std::uint16_t FindDeviceByAddress(const char* element, std::uint16_t* device);

// Delete every occurrence of an element from the RAID's list of tapes or changers. The former
// lowers the member total. Return 0; 200 the RAID does not open; 201 the element is not in the
// list; 202 the list cannot be read or written.
std::uint16_t RemoveTapeElement(std::uint16_t number, const char* element);
std::uint16_t RemoveChangerElement(std::uint16_t number, const char* element);

// Counts the tape members of all RAIDs into the member total (raid_member_total.h); members that
// the reading drops lower it while it is summed. Returns 0; 65535 when a RAID cannot be read, the
// total is then the sum so far.
std::uint16_t CountRaidMembers();

// Opens the key of a RAID with full access. Empty when it does not open.
KeyHandle OpenRaidKey(std::uint16_t number);

// Whether there is a key of that RAID.
bool RaidExists(std::uint16_t number);

// Reads a list of an open RAID key into list, kRaidListSize bytes. False, and list empty, when it
// is missing or too long.
bool ReadRaidList(const KeyHandle& raid, const char* value_name, char* list);

// Whether a stored list of a RAID holds an element. Unlike the reading of the RAID's record it
// leaves the list as it is.
bool RaidListHolds(std::uint16_t number, const char* value_name, const char* element);

}  // namespace devprep

#endif  // DEVPREP_RECORDS_RAID_RECORDS_H_
