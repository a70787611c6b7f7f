// The difference of two configurations, in the words of a tape administrator.
#ifndef DEVPREP_TOOLS_CONFIGURATION_DIFF_H_
#define DEVPREP_TOOLS_CONFIGURATION_DIFF_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "listing.h"
#include "output.h"
#include "stored_configuration.h"

namespace devprep::tool {

// What a value or list belongs to, by its numbers before and after; one of them at least is there.
struct Subject {
  std::string kind;  // "device", "group", "RAID"
  std::optional<std::uint16_t> old_number;
  std::optional<std::uint16_t> new_number;
};

// A device that came, went, or has another number or address.
struct DeviceDifference {
  std::optional<StoredDevice> before;
  std::optional<StoredDevice> after;
};

struct ValueDifference {
  Subject of;
  Term name;
  Value before = Value::Absent();
  Value after = Value::Absent();
};

enum class MemberFate : std::uint8_t { kStayed, kCame, kWent };

// A member of a list, with the numbers that it has or had.
struct MemberDifference {
  MemberFate fate = MemberFate::kStayed;
  std::optional<std::uint16_t> old_number;
  std::optional<std::uint16_t> new_number;
  std::string address;  // of a RAID's member that is no configured device
};

struct ListDifference {
  Subject of;
  Term name;
  Term outcome;                           // "changed", "reordered", "renumbered"
  std::vector<MemberDifference> members;  // those after, in order, then those that went
};

struct ConfigurationDifference {
  std::vector<DeviceDifference> devices;
  std::vector<ValueDifference> values;
  std::vector<ListDifference> lists;
  // Paths of keys that differ: those of no device, group or RAID, or, where nothing above
  // differs, all.
  std::vector<std::string> other_keys;

  bool Empty() const {
    return devices.empty() && values.empty() && lists.empty() && other_keys.empty();
  }
};

// Devices are the same by identity, by address and name, by number and name, or by name, the first
// of these that holds; never two that have different identities. Groups are the same by name,
// RAIDs by their members, and the rest by number.
ConfigurationDifference Compare(const StoredConfiguration& before,
                                const StoredConfiguration& after);

// Of the table of the devices, which listing options choose from.
const std::vector<ColumnInfo>& DeviceDifferenceColumns();

// Prints a line that counts what differs, and the tables of it; of an empty one nothing.
void PrintDifference(const ConfigurationDifference& difference, const ListingOptions& options);

Json DifferenceJson(const ConfigurationDifference& difference, const ListingOptions& options);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_CONFIGURATION_DIFF_H_
