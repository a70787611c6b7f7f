#include "records/group_record.h"

#include <cstdio>
#include <cstring>

#include "store/list_text.h"
#include "store/numbered_key.h"
#include "store/registry_store.h"

namespace devprep {
namespace {

constexpr const char* kAttributeValue = "GROUP_ATTRIBUTE";
constexpr std::size_t kItemSize = 24;
constexpr const char* kTapeKeyword = "TAPE_GROUP";
constexpr const char* kChangerKeyword = "CHANGER_GROUP";
constexpr const char* kRaidChangerKeyword = "RAID_CHANGER_GROUP";

NumberedKey GroupKey(std::uint16_t number) { return {kGroupKeyPrefix, number}; }

void ToUpperCase(char* text) {
  for (; *text != '\0'; ++text) {
    if (*text >= 'a' && *text <= 'z') *text = static_cast<char>(*text - ('a' - 'A'));
  }
}

void ParseTapeMembers(ListWalk* walk, GroupRecord* record) {
  std::uint16_t last = 0;
  while (record->MemberCount < kMaxGroupMembers) {
    const char* item = NextItem(walk, &last);
    if (item == nullptr) return;
    ScanNumber(&item, &record->Members[record->MemberCount]);
    ++record->MemberCount;
  }
}

void ParseChangerAndPairs(ListWalk* walk, GroupRecord* record) {
  std::uint16_t last = 0;
  const char* item = NextItem(walk, &last);
  if (item == nullptr) return;
  ScanNumber(&item, &record->Changer);
  record->PairCount = 0;
  while (record->PairCount < kMaxGroupPairs) {
    item = NextItem(walk, &last);
    if (item == nullptr) return;
    ScanPair(item, &record->PairFirsts[record->PairCount], &record->PairSeconds[record->PairCount]);
    ++record->PairCount;
  }
}

// A member without a pair behind it ends the list and does not count.
void ParseMembersWithPairs(ListWalk* walk, GroupRecord* record) {
  std::uint16_t last = 0;
  while (record->MemberCount < kMaxGroupMembers) {
    const char* item = NextItem(walk, &last);
    if (item == nullptr) return;
    ScanNumber(&item, &record->Members[record->MemberCount]);
    item = NextItem(walk, &last);
    if (item == nullptr) return;
    ScanPair(item, &record->PairFirsts[record->MemberCount],
             &record->PairSeconds[record->MemberCount]);
    ++record->MemberCount;
  }
}

// A member text under construction; items that no longer fit whole are left out.
struct GroupText {
  char text[kGroupTextSize] = "";
  std::size_t length = 0;
  bool full = false;
};

void Append(GroupText* out, const char* item) {
  out->full = out->full || !AppendText(out->text, sizeof out->text, &out->length, item);
}

// An item under construction.
struct GroupItem {
  char text[kItemSize] = "";
  std::size_t length = 0;

  void Add(const char* before, std::uint16_t number) {
    AppendNumber(text, sizeof text, &length, before, number);
  }
};

void AppendPair(GroupText* out, const GroupRecord* record, std::size_t i) {
  GroupItem item;
  item.Add(",", record->PairFirsts[i]);
  item.Add("-", record->PairSeconds[i]);
  Append(out, item.text);
}

void FormatGroupText(const GroupRecord* record, GroupText* out) {
  switch (record->Kind) {
    case kGroupTape:
      Append(out, kTapeKeyword);
      if (record->MemberCount == 0) Append(out, ",");
      for (std::size_t i = 0; i < record->MemberCount; ++i) {
        GroupItem item;
        item.Add(",", record->Members[i]);
        Append(out, item.text);
      }
      break;
    case kGroupChanger: {
      GroupItem changer;
      changer.Add(",", record->Changer);
      Append(out, kChangerKeyword);
      Append(out, changer.text);
      for (std::size_t i = 0; i < record->PairCount; ++i) AppendPair(out, record, i);
      break;
    }
    case kGroupRaidChanger:
      if (record->MemberCount != 0) Append(out, kRaidChangerKeyword);
      for (std::size_t i = 0; i < record->MemberCount; ++i) {
        GroupItem item;
        item.Add(",", record->Members[i]);
        item.Add(",", record->PairFirsts[i]);
        item.Add("-", record->PairSeconds[i]);
        Append(out, item.text);
      }
      break;
    default:
      break;
  }
}

// Reads the group's name, kGroupValueNameSize bytes, and its member text, kGroupTextSize bytes. The
// sizes are those of the buffers.
std::uint16_t ReadMemberText(const KeyHandle& key, char (&name)[kGroupValueNameSize],
                             char (&text)[kGroupTextSize]) {
  std::memset(name, 0, sizeof name);
  std::memset(text, 0, sizeof text);
  DWORD name_size = sizeof name;
  DWORD text_size = sizeof text;
  if (StoreGetFirstValue(key, name, &name_size, text, &text_size) != kStatusOk) {
    return kGroupNotRead;
  }
  text[sizeof text - 1] = '\0';
  return kStatusOk;
}

std::uint16_t WriteMemberText(std::uint16_t number, const char* name, const char* text,
                              std::uint32_t attribute) {
  StoreDeleteSubkey(GroupKey(number).name);
  KeyHandle key;
  StoreCreateSubkey(GroupKey(number).name, &key);
  if (StoreSetString(key, name, text) != kStatusOk) return kRecordNotWritten;
  StoreSetDword(key, kAttributeValue, attribute);
  return kStatusOk;
}

}  // namespace

std::uint16_t CountGroups(std::uint16_t* count) {
  *count = StoreCountNumbered(kGroupKeyPrefix, kMaxGroups);
  return kStatusOk;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the walk changes the text.
void ParseGroupText(char* text, GroupRecord* record) {
  ListWalk walk{text};
  std::uint16_t last = 0;
  char* keyword = NextItem(&walk, &last);
  if (keyword == nullptr) return;
  ToUpperCase(keyword);
  if (std::strcmp(keyword, kTapeKeyword) == 0) {
    record->Kind = kGroupTape;
    ParseTapeMembers(&walk, record);
  } else if (std::strcmp(keyword, kChangerKeyword) == 0) {
    record->Kind = kGroupChanger;
    ParseChangerAndPairs(&walk, record);
  } else if (std::strcmp(keyword, kRaidChangerKeyword) == 0) {
    record->Kind = kGroupRaidChanger;
    ParseMembersWithPairs(&walk, record);
  }
}

std::uint16_t ReadGroupRecord(GroupRecord* record) {
  const KeyHandle key = StoreOpenSubkey(GroupKey(record->Number).name, KEY_ALL_ACCESS);
  char name[kGroupValueNameSize];
  char text[kGroupTextSize];
  if (ReadMemberText(key, name, text) != kStatusOk) return kGroupNotRead;
  RemoveBlanks(text);
  record->MemberCount = 0;
  std::snprintf(record->Name, sizeof record->Name, "%.*s", static_cast<int>(kGroupNameSize - 1),
                name);
  if (text[0] == '\0') return kStatusOk;
  record->Attribute = StoreGetDword(key, kAttributeValue, 0);
  ParseGroupText(text, record);
  return kStatusOk;
}

std::uint16_t WriteGroupRecord(const GroupRecord* record) {
  GroupText text;
  FormatGroupText(record, &text);
  return WriteMemberText(record->Number, record->Name, text.text, record->Attribute);
}

bool GroupTextFits(const GroupRecord& record) {
  GroupText text;
  FormatGroupText(&record, &text);
  return !text.full;
}

bool GroupKeyExists(std::uint16_t number) { return StoreSubkeyExists(GroupKey(number).name); }

std::uint16_t MoveGroup(std::uint16_t from, std::uint16_t to) {
  char name[kGroupValueNameSize];
  char text[kGroupTextSize];
  std::uint32_t attribute = 0;
  {
    const KeyHandle key = StoreOpenSubkey(GroupKey(from).name, KEY_ALL_ACCESS);
    if (ReadMemberText(key, name, text) != kStatusOk) return kGroupNotRead;
    attribute = StoreGetDword(key, kAttributeValue, 0);
  }
  const std::uint16_t status = WriteMemberText(to, name, text, attribute);
  if (status == kStatusOk) DeleteGroupKey(from);
  return status;
}

void DeleteGroupKey(std::uint16_t number) { StoreDeleteSubkey(GroupKey(number).name); }

}  // namespace devprep
