#include "setup/group_setup.h"

#include <algorithm>
#include <cstring>

#include "records/device_record.h"
#include "store/ascii_case.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

GroupEdit Refuse(GroupRefusal refusal, std::uint16_t group) {
  return {.refusal = refusal, .group = group};
}

std::uint16_t GroupCount() {
  std::uint16_t count = 0;
  CountGroups(&count);
  return count;
}

GroupEdit ReadGroup(std::uint16_t number, GroupRecord* group) {
  *group = {};
  group->Number = number;
  if (number >= GroupCount()) return Refuse(GroupRefusal::kNoGroup, number);
  if (ReadGroupRecord(group) != kStatusOk) return Refuse(GroupRefusal::kGroupNotReadable, number);
  return {};
}

GroupEdit StoreGroup(const GroupRecord& group) {
  if (!GroupTextFits(group)) return Refuse(GroupRefusal::kTextFull, group.Number);
  // Its text would be empty, which is what a group of no kind has.
  if (group.Kind == kGroupRaidChanger && group.MemberCount == 0) {
    return Refuse(GroupRefusal::kLastMember, group.Number);
  }
  return WriteGroupRecord(&group) == kStatusOk
             ? GroupEdit{}
             : Refuse(GroupRefusal::kGroupNotStored, group.Number);
}

// The first group but number that can be read and suits; kMaxGroups: there is none.
template <typename Suits>
std::uint16_t FindOtherGroup(std::uint16_t number, Suits suits) {
  const std::uint16_t count = GroupCount();
  for (std::uint16_t n = 0; n < count; ++n) {
    GroupRecord other = {};
    other.Number = n;
    if (n != number && ReadGroupRecord(&other) == kStatusOk && suits(other)) return n;
  }
  return kMaxGroups;
}

// number: of the group that is to get the name.
GroupEdit CheckName(const char* name, std::uint16_t number) {
  const std::size_t length = std::strlen(name);
  if (length == 0) return Refuse(GroupRefusal::kNoName, number);
  if (length > kMaxGroupNameLength) return Refuse(GroupRefusal::kNameTooLong, number);
  if (!std::all_of(name, name + length, [](char c) { return c >= ' ' && c <= '~'; })) {
    return Refuse(GroupRefusal::kNameNotPrintable, number);
  }
  const std::uint16_t bearer = FindOtherGroup(
      number, [name](const GroupRecord& other) { return EqualIgnoringCase(other.Name, name); });
  return bearer == kMaxGroups ? GroupEdit{} : Refuse(GroupRefusal::kNameTaken, bearer);
}

// The place of an item in the group: of its device, or in a changer group of its pair. The group's
// count when it is not there.
std::uint16_t PlaceOf(const GroupRecord& group, const GroupItem& item) {
  if (group.Kind != kGroupChanger) {
    return static_cast<std::uint16_t>(
        std::find(group.Members, group.Members + group.MemberCount, item.device) - group.Members);
  }
  std::uint16_t i = 0;
  while (i < group.PairCount &&
         (group.PairFirsts[i] != item.first || group.PairSeconds[i] != item.second)) {
    ++i;
  }
  return i;
}

bool IsMember(const GroupRecord& group, const GroupItem& item) {
  return PlaceOf(group, item) <
         (group.Kind == kGroupChanger ? group.PairCount : std::uint16_t{group.MemberCount});
}

// A device is paired with each group's member in turn, and one that is taken is found again by its
// serial number alone.
GroupEdit CheckOtherGroups(const GroupRecord& group, const DeviceRecord& device) {
  if (HasSerialNumber(device)) return {};
  const std::uint16_t holder = FindOtherGroup(group.Number, [&device](const GroupRecord& other) {
    return HoldsDevice(other.Members, other.MemberCount, device.Number);
  });
  if (holder == kMaxGroups) return {};
  return {.refusal = GroupRefusal::kInAnotherGroup, .group = holder, .device = device.Number};
}

// Whether a device can be a member, or the changer, of a group.
GroupEdit CheckDevice(const GroupRecord& group, std::uint16_t number, bool force) {
  DeviceRecord device = {};
  device.Number = number;
  const std::uint16_t status = ReadConfiguredDevice(&device);
  if (status != kStatusOk) {
    return {.refusal = status == kDeviceNotConfigured ? GroupRefusal::kNoDevice
                                                      : GroupRefusal::kDeviceNotReadable,
            .group = group.Number,
            .device = number};
  }
  const bool forced = force && group.Kind != kGroupChanger;
  const std::uint16_t type = group.Kind == kGroupTape ? kTypeTape : kTypeChanger;
  if (device.Type != type && !forced) {
    return {.refusal = group.Kind == kGroupTape ? GroupRefusal::kNotATapeDrive
                                                : GroupRefusal::kNotAChanger,
            .group = group.Number,
            .device = number};
  }
  // Changers are found again in each group.
  return device.Type == kTypeChanger || force ? GroupEdit{} : CheckOtherGroups(group, device);
}

bool HasForm(const GroupItem& item, bool device, bool pair) {
  return item.has_device == device && item.has_pair == pair;
}

GroupEdit CheckForm(const GroupRecord& group, const GroupItem& item) {
  if (group.Kind == kGroupNone) return Refuse(GroupRefusal::kGroupOfNoKind, group.Number);
  return HasForm(item, group.Kind != kGroupChanger, group.Kind != kGroupTape)
             ? GroupEdit{}
             : Refuse(GroupRefusal::kWrongForm, group.Number);
}

GroupEdit AddItem(const GroupItem& item, bool force, GroupRecord* group) {
  GroupEdit edit = CheckForm(*group, item);
  if (edit.refusal != GroupRefusal::kNone) return edit;
  if (IsMember(*group, item)) return Refuse(GroupRefusal::kAlreadyMember, group->Number);
  std::uint16_t place = group->PairCount;
  if (group->Kind == kGroupChanger) {
    if (place == kMaxGroupPairs) return Refuse(GroupRefusal::kTextFull, group->Number);
    ++group->PairCount;
  } else {
    edit = CheckDevice(*group, item.device, force);
    if (edit.refusal != GroupRefusal::kNone) return edit;
    place = group->MemberCount;
    if (place == kMaxGroupMembers) return Refuse(GroupRefusal::kMemberLimit, group->Number);
    group->Members[group->MemberCount++] = item.device;
  }
  group->PairFirsts[place] = item.first;
  group->PairSeconds[place] = item.second;
  return {};
}

// Whether two items name the same member or pair of a group.
bool SameItem(const GroupRecord& group, const GroupItem& a, const GroupItem& b) {
  return group.Kind == kGroupChanger ? a.first == b.first && a.second == b.second
                                     : a.device == b.device;
}

// Whether no item is given twice; item of the edit: the one that is.
GroupEdit CheckItems(const GroupRecord& group, const GroupItem* items, std::uint16_t count) {
  for (std::uint16_t i = 0; i < count; ++i) {
    for (std::uint16_t j = 0; j < i; ++j) {
      if (SameItem(group, items[i], items[j])) {
        return {.refusal = GroupRefusal::kGivenTwice, .group = group.Number, .item = i};
      }
    }
  }
  return {};
}

GroupEdit AddItems(const GroupItem* items, std::uint16_t count, bool force, GroupRecord* group) {
  GroupEdit edit = CheckItems(*group, items, count);
  for (std::uint16_t i = 0; edit.refusal == GroupRefusal::kNone && i < count; ++i) {
    edit = AddItem(items[i], force, group);
    if (edit.refusal != GroupRefusal::kNone) edit.item = i;
  }
  return edit.refusal == GroupRefusal::kNone ? StoreGroup(*group) : edit;
}

void RemoveAt(std::uint16_t place, GroupRecord* group) {
  const auto close = [place](std::uint16_t* entries, std::size_t count) {
    std::copy(entries + place + 1, entries + count, entries + place);
  };
  close(group->PairFirsts, kMaxGroupPairs);
  close(group->PairSeconds, kMaxGroupPairs);
  if (group->Kind == kGroupChanger) {
    --group->PairCount;
  } else {
    close(group->Members, kMaxGroupMembers);
    --group->MemberCount;
  }
}

}  // namespace

bool CanBeForced(GroupRefusal refusal) {
  return refusal == GroupRefusal::kGroupNotEmpty || refusal == GroupRefusal::kNotATapeDrive ||
         refusal == GroupRefusal::kInAnotherGroup;
}

GroupEdit CreateGroup(const char* name, std::uint16_t kind, const GroupItem* items,
                      std::uint16_t count, bool force, std::uint16_t* number) {
  GroupRecord group = {};
  group.Number = GroupCount();
  group.Kind = kind;
  if (kind != kGroupTape && kind != kGroupChanger && kind != kGroupRaidChanger) {
    return Refuse(GroupRefusal::kNoSuchKind, group.Number);
  }
  if (group.Number >= kMaxGroups) return Refuse(GroupRefusal::kGroupLimit, group.Number);
  const auto next = static_cast<std::uint16_t>(group.Number + 1);
  if (GroupKeyExists(next)) return Refuse(GroupRefusal::kNumberTaken, next);
  GroupEdit edit = CheckName(name, group.Number);
  if (edit.refusal != GroupRefusal::kNone) return edit;
  std::memcpy(group.Name, name, std::strlen(name));
  if (kind == kGroupChanger) {
    if (count == 0 || !HasForm(items[0], true, false)) {
      return Refuse(GroupRefusal::kWrongForm, group.Number);
    }
    edit = CheckDevice(group, items[0].device, force);
    if (edit.refusal != GroupRefusal::kNone) return edit;
    group.Changer = items[0].device;
    edit = AddItems(items + 1, static_cast<std::uint16_t>(count - 1), force, &group);
    if (edit.refusal != GroupRefusal::kNone) ++edit.item;
  } else {
    edit = AddItems(items, count, force, &group);
  }
  if (edit.refusal == GroupRefusal::kNone) *number = group.Number;
  return edit;
}

GroupEdit DeleteGroup(std::uint16_t number, bool force) {
  GroupRecord group;
  GroupEdit edit = ReadGroup(number, &group);
  if (edit.refusal == GroupRefusal::kNoGroup) return edit;
  // A changer alone is no reason to keep a group: it always has one.
  edit.count = group.Kind == kGroupChanger ? group.PairCount : group.MemberCount;
  if (!force && edit.count != 0) {
    edit.refusal = GroupRefusal::kGroupNotEmpty;
    edit.group = number;
    return edit;
  }
  const std::uint16_t count = GroupCount();
  for (auto n = static_cast<std::uint16_t>(number + 1); n < count; ++n) {
    edit = ReadGroup(n, &group);
    if (edit.refusal != GroupRefusal::kNone) return edit;
  }
  DeleteGroupKey(number);
  for (auto n = static_cast<std::uint16_t>(number + 1); n < count; ++n) {
    if (MoveGroup(n, static_cast<std::uint16_t>(n - 1)) != kStatusOk) {
      return Refuse(GroupRefusal::kGroupNotStored, n);
    }
  }
  return {};
}

GroupEdit RenameGroup(std::uint16_t number, const char* name) {
  GroupRecord group;
  GroupEdit edit = ReadGroup(number, &group);
  if (edit.refusal == GroupRefusal::kNone) edit = CheckName(name, number);
  if (edit.refusal != GroupRefusal::kNone) return edit;
  std::memset(group.Name, 0, sizeof group.Name);
  std::memcpy(group.Name, name, std::strlen(name));
  return StoreGroup(group);
}

GroupEdit AddToGroup(std::uint16_t number, const GroupItem* items, std::uint16_t count,
                     bool force) {
  GroupRecord group;
  const GroupEdit edit = ReadGroup(number, &group);
  return edit.refusal == GroupRefusal::kNone ? AddItems(items, count, force, &group) : edit;
}

GroupEdit RemoveFromGroup(std::uint16_t number, const GroupItem* items, std::uint16_t count) {
  GroupRecord group;
  GroupEdit edit = ReadGroup(number, &group);
  if (edit.refusal == GroupRefusal::kNone) edit = CheckItems(group, items, count);
  if (edit.refusal != GroupRefusal::kNone) return edit;
  for (std::uint16_t i = 0; i < count; ++i) {
    const bool form = HasForm(items[i], group.Kind != kGroupChanger, group.Kind == kGroupChanger);
    if (group.Kind == kGroupNone) {
      edit.refusal = GroupRefusal::kGroupOfNoKind;
    } else if (!form) {
      edit.refusal = GroupRefusal::kWrongForm;
    } else if (!IsMember(group, items[i])) {
      edit.refusal = GroupRefusal::kNotAMember;
    }
    if (edit.refusal != GroupRefusal::kNone) {
      edit.group = number;
      edit.item = i;
      return edit;
    }
    RemoveAt(PlaceOf(group, items[i]), &group);
  }
  return StoreGroup(group);
}

}  // namespace devprep
