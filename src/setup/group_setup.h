// Creating, editing and deleting device groups.
#ifndef DEVPREP_SETUP_GROUP_SETUP_H_
#define DEVPREP_SETUP_GROUP_SETUP_H_

#include <cstddef>
#include <cstdint>

#include "records/group_record.h"

namespace devprep {

inline constexpr std::size_t kMaxGroupNameLength = kGroupNameSize - 1;

// Why an edit was refused or failed. device is the one that it is about, group the group, unless
// the comments say otherwise.
enum class GroupRefusal : std::uint8_t {
  kNone,
  // The group.
  kNoGroup,           // there is none of that number
  kGroupNotReadable,  // its key cannot be read
  kGroupNotStored,
  kGroupLimit,     // there are kMaxGroups
  kNumberTaken,    // the new group would close the gap before the key of group, which is none now
  kNoSuchKind,     // the group to be created is of none
  kGroupOfNoKind,  // what is stored is no group's text: it can be renamed and deleted alone
  kGroupNotEmpty,  // it has count members or pairs; with force it is deleted all the same
  // Its name.
  kNoName,
  kNameTooLong,       // more than kMaxGroupNameLength characters
  kNameNotPrintable,  // a character other than those from blank to tilde
  kNameTaken,         // by group
  // What is to be added or removed.
  kWrongForm,          // item is not what a group of that kind takes: see GroupItem
  kNoDevice,           // it is not configured
  kDeviceNotReadable,  // its stored record is malformed
  kNotATapeDrive,      // a tape group is to get it; with force it does
  kNotAChanger,        // a group of changers is to get it; with force a RAID changer group does
  kGivenTwice,         // item is among those before it, too
  kAlreadyMember,      // item is in the group already
  kNotAMember,         // item is not in the group
  kInAnotherGroup,  // a drive without serial number, of which a configuration pass keeps only the
                    // membership in group; with force it is in both
  kMemberLimit,     // there would be more than kMaxGroupMembers
  kTextFull,        // what is stored of it would be longer than its text may be
  kLastMember,      // a RAID changer group cannot be stored without members
};

// A member, or a pair of numbers, that is to be added or removed. A tape group takes devices, a
// changer group pairs, and a RAID changer group devices with a pair each, which are removed by the
// device alone.
struct GroupItem {
  bool has_device = false;
  bool has_pair = false;
  std::uint16_t device = 0;
  std::uint16_t first = 0;
  std::uint16_t second = 0;
};

// What became of an edit. Where it was refused, nothing was stored.
struct GroupEdit {
  GroupRefusal refusal = GroupRefusal::kNone;
  std::uint16_t group = 0;
  std::uint16_t device = 0;
  std::uint16_t item = 0;  // place among the items of this edit
  std::uint16_t count = 0;
};

// Whether an edit that was refused for this is done with force.
bool CanBeForced(GroupRefusal refusal);

// Creates a group behind the ones that there are, and stores its number in *number. Of a changer
// group the first item is the changer, without a pair.
GroupEdit CreateGroup(const char* name, std::uint16_t kind, const GroupItem* items,
                      std::uint16_t count, bool force, std::uint16_t* number);

// Deletes a group. The groups with higher numbers move down by one: they are numbered without gaps.
GroupEdit DeleteGroup(std::uint16_t number, bool force);

GroupEdit RenameGroup(std::uint16_t number, const char* name);

// Adds items behind those that the group has.
GroupEdit AddToGroup(std::uint16_t number, const GroupItem* items, std::uint16_t count, bool force);

// Takes items out of a group.
GroupEdit RemoveFromGroup(std::uint16_t number, const GroupItem* items, std::uint16_t count);

}  // namespace devprep

#endif  // DEVPREP_SETUP_GROUP_SETUP_H_
