// The tape engine's record of a device group, and the key "GROUP%d" that it is stored in.
#ifndef DEVPREP_RECORDS_GROUP_RECORD_H_
#define DEVPREP_RECORDS_GROUP_RECORD_H_

#include <cstddef>
#include <cstdint>

#include "records/device_record.h"

namespace devprep {

inline constexpr std::uint16_t kMaxGroups = 16;
inline constexpr std::size_t kMaxGroupMembers = 32;
inline constexpr std::size_t kMaxGroupPairs = 256;
inline constexpr std::size_t kGroupNameSize = 10;  // with the terminating zero
inline constexpr std::size_t kGroupTextSize = 300;
inline constexpr std::size_t kGroupValueNameSize = 30;  // of the value that has the text

inline constexpr std::uint16_t kGroupNone = 0;
inline constexpr std::uint16_t kGroupTape = 1;
inline constexpr std::uint16_t kGroupChanger = 2;
inline constexpr std::uint16_t kGroupRaidChanger = 4;

inline constexpr std::uint16_t kGroupNotRead = 28;

// A group as stored. Zero-filled before use; the caller of the reader sets Number.
struct GroupRecord {
  std::uint16_t Number;  // N of the key "GROUP%d"
  std::uint16_t Kind;    // kGroup...
  char Name[kGroupNameSize];
  std::uint16_t Members[kMaxGroupMembers];  // device numbers: tape and RAID changer groups
  std::uint8_t MemberCount;
  std::uint16_t Changer;    // device number: changer groups
  std::uint16_t PairCount;  // changer groups; in a RAID changer group pair i is member i's
  std::uint16_t PairFirsts[kMaxGroupPairs];
  std::uint16_t PairSeconds[kMaxGroupPairs];
  std::uint32_t Attribute;
};

// Stores the number of consecutive group keys from GROUP0, at most kMaxGroups, in *count. Returns
// 0.
std::uint16_t CountGroups(std::uint16_t* count);

// Loads the group of the record's Number. The key's first value is the member text, its name the
// group's, cut to 9 characters. Returns 0, also for a text that is no group's (kind kGroupNone); 28
// when the first value cannot be read, the record is then untouched.
std::uint16_t ReadGroupRecord(GroupRecord* record);

// Replaces the group's key. Of a member text over 299 characters the items that fit are stored.
// Returns 0; 214 when the member text cannot be written.
std::uint16_t WriteGroupRecord(const GroupRecord* record);

// Whether the whole member text of a group can be stored.
bool GroupTextFits(const GroupRecord& record);

// Whether there is a key of that group.
bool GroupKeyExists(std::uint16_t number);

// Stores the group of one key under another number, its name and member text as they are, and
// deletes the key it had. Returns 0; 28 when its first value cannot be read, nothing is then
// changed; 214 when it cannot be written.
std::uint16_t MoveGroup(std::uint16_t from, std::uint16_t to);

// Deletes the group's key, if it is there.
void DeleteGroupKey(std::uint16_t number);

// Fills kind, members and pairs from a member text without blanks, which is changed.
void ParseGroupText(char* text, GroupRecord* record);

}  // namespace devprep

#endif  // DEVPREP_RECORDS_GROUP_RECORD_H_
