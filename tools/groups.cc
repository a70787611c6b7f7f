// devprep groups and devprep group: listing and editing device groups.
#include <array>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands.h"
#include "device_edit_text.h"
#include "listing.h"
#include "next_pass.h"
#include "output.h"
#include "records/group_record.h"
#include "refusal.h"
#include "report.h"
#include "setup/group_setup.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::array kKinds = {kGroupTape, kGroupChanger, kGroupRaidChanger};

struct GroupView {
  GroupRecord record = {};
  bool readable = false;
  std::uint16_t device_count = 0;  // of the configuration
};

using Pairs = std::vector<std::pair<std::uint16_t, std::uint16_t>>;

std::string PairText(std::uint16_t first, std::uint16_t second) {
  return std::to_string(first) + '-' + std::to_string(second);
}

// A member with its pairs.
Value MemberValue(const GroupView& group, std::uint16_t number, const Pairs& pairs) {
  const bool configured = number < group.device_count;
  Json json = {{"number", number}, {"configured", configured}, {"pairs", Json::array()}};
  std::string text = std::to_string(number) + (configured ? "" : " (not configured)");
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const auto& [first, second] = pairs[i];
    json["pairs"].push_back({{"first", first}, {"second", second}});
    text += (i == 0 ? ": " : " ") + PairText(first, second);
  }
  return Value::Record(std::move(json), text);
}

Value Members(const GroupView& group) {
  const GroupRecord& record = group.record;
  Pairs pairs;
  if (record.Kind == kGroupChanger) {
    for (std::uint16_t i = 0; i < record.PairCount; ++i) {
      pairs.emplace_back(record.PairFirsts[i], record.PairSeconds[i]);
    }
    return Value::List({MemberValue(group, record.Changer, pairs)});
  }
  std::vector<Value> members;
  for (std::uint16_t i = 0; i < record.MemberCount; ++i) {
    pairs.clear();
    if (record.Kind == kGroupRaidChanger) {
      pairs.emplace_back(record.PairFirsts[i], record.PairSeconds[i]);
    }
    members.push_back(MemberValue(group, record.Members[i], pairs));
  }
  return Value::List(members);
}

const Listing<GroupView>& GroupListing() {
  using enum Importance;
  static const Listing<GroupView> listing(
      {{NumberColumn("number", "Group", "group number", kKey),
        [](const GroupView& g) { return Value::Number(g.record.Number); }},
       {TextColumn("name", "Name", "name", kKey),
        [](const GroupView& g) {
          return Value::Text(CleanText(g.record.Name, sizeof g.record.Name));
        }},
       {WrappingColumn("kind", "Kind", "tape, changer or RAID changer group", kKey),
        [](const GroupView& g) {
          return Value::Name(g.readable ? GroupKindName(g.record.Kind)
                                        : Term{"unreadable", "not readable"});
        }},
       {WrappingColumn("members", "Members", "devices; of changers with their pairs of numbers",
                       kKey),
        Members},
       {NumberColumn("attribute", "Attribute", "number kept with it until the next configuration",
                     kOnRequest),
        [](const GroupView& g) { return Value::Number(g.record.Attribute); }}});
  return listing;
}

std::vector<GroupView> ReadGroups() {
  std::uint16_t count = 0;
  CountGroups(&count);
  std::vector<GroupView> groups(count);
  for (std::uint16_t n = 0; n < count; ++n) {
    CountDeviceRecords(&groups[n].device_count);
    groups[n].record.Number = n;
    groups[n].readable = ReadGroupRecord(&groups[n].record) == kStatusOk;
  }
  return groups;
}

std::string NoGroupText(std::uint16_t number, std::size_t count) {
  return "there is no " + Named("group", number) +
         (count == 0 ? "" : ": the numbers are 0 to " + std::to_string(count - 1));
}

Result<ExitStatus> ListGroups(const Options& options, std::optional<std::uint16_t> number,
                              const ListingOptions& listing) {
  std::vector<GroupView> groups;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    groups = ReadGroups();
    return {};
  });
  if (!read) return read.Failure();
  if (number && *number >= groups.size()) {
    return Refusal({"no_group", NoGroupText(*number, groups.size())});
  }
  if (number && listing.json) {
    PrintJson({{"group", GroupListing().AsJson(groups[*number], listing)}});
  } else if (number) {
    GroupListing().PrintInFull(groups[*number], listing);
  } else if (listing.json) {
    PrintJson({{"groups", GroupListing().AsJson(groups, listing)}});
  } else if (groups.empty()) {
    std::cout << "There are no groups. 'devprep group create' makes one.\n";
  } else {
    GroupListing().Print(groups, listing);
  }
  return ExitStatus::kDone;
}

// Reads "3", "1-10" or "3:1-10". Nothing when the text is none of them.
std::optional<GroupItem> ParseItem(std::string_view text) {
  GroupItem item;
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto number = [&](std::uint16_t& value) {
    const auto [rest, error] = std::from_chars(at, end, value);
    at = rest;
    return error == std::errc();
  };
  const auto take = [&](char mark) {
    if (at == end || *at != mark) return false;
    ++at;
    return true;
  };
  if (!number(item.first)) return std::nullopt;
  item.has_pair = take('-');
  if (!item.has_pair) {
    item.has_device = true;
    item.device = std::exchange(item.first, std::uint16_t{0});
    item.has_pair = take(':');
    if (item.has_pair && !(number(item.first) && take('-'))) return std::nullopt;
  }
  if ((item.has_pair && !number(item.second)) || at != end) return std::nullopt;
  return item;
}

std::string CheckItem(const std::string& text) {
  return ParseItem(text) ? ""
                         : "'" + text +
                               "' is no member: DEVICE, FIRST-SECOND or DEVICE:FIRST-SECOND, "
                               "numbers up to 65535";
}

// What the command line says of one edit.
struct Arguments {
  std::optional<std::uint16_t> listed;
  std::uint16_t number = 0;
  std::string name;
  std::string kind;
  std::vector<std::string> members;
  bool force = false;
  ListingOptions listing;
  GuardOptions guard;

  std::vector<GroupItem> Items() const {
    std::vector<GroupItem> items;
    for (const std::string& text : members) items.push_back(ParseItem(text).value_or(GroupItem()));
    return items;
  }
};

std::uint16_t KindNamed(const std::string& name) {
  for (const std::uint16_t kind : kKinds) {
    if (GroupKindName(kind).identifier == name) return kind;
  }
  return kGroupNone;
}

// What a group takes, in the forms of the command line.
std::string FormText(std::uint16_t kind, bool removal) {
  switch (kind) {
    case kGroupTape:
      return "a tape group has drives, as 3";
    case kGroupChanger:
      return "a changer group has one changer, with which it is created, and pairs of numbers, as "
             "1-10";
    default:
      return removal ? "a changer is removed from a RAID changer group by its number alone, as 3"
                     : "a RAID changer group has changers with a pair of numbers each, as 3:1-10";
  }
}

// kind: of the group that is edited.
Term ExplainRefusal(const GroupEdit& edit, const Arguments& given, std::uint16_t kind,
                    bool removal) {
  const std::string group = Named("group", edit.group);
  const std::string device = Named("device", edit.device);
  const std::string name = "the name '" + given.name + "'";
  const std::string item = edit.item < given.members.size() ? given.members[edit.item] : "nothing";
  switch (edit.refusal) {
    case GroupRefusal::kNone:
    case GroupRefusal::kNoSuchKind:  // the command line takes kinds alone
      break;
    case GroupRefusal::kNoGroup: {
      std::uint16_t count = 0;
      CountGroups(&count);
      return {"no_group", NoGroupText(edit.group, count)};
    }
    case GroupRefusal::kGroupNotReadable:
      return {"group_not_readable", group + " cannot be read"};
    case GroupRefusal::kGroupNotStored:
      return {"group_not_stored", group + " cannot be stored"};
    case GroupRefusal::kGroupLimit:
      return {"group_limit",
              "there are " + Count(kMaxGroups, "group") + ", and no more are allowed"};
    case GroupRefusal::kNumberTaken:
      return {"number_taken", "the key of " + group +
                                  " lies behind a gap in the numbers and is no group now; with the "
                                  "new one it would be: remove it first"};
    case GroupRefusal::kGroupOfNoKind:
      return {"group_of_no_kind", group + " is of no kind that has members: delete it"};
    case GroupRefusal::kGroupNotEmpty:
      return {"group_not_empty",
              group + " has " + Count(edit.count, kind == kGroupChanger ? "pair" : "member")};
    case GroupRefusal::kNoName:
      return {"no_name", "a group needs a name"};
    case GroupRefusal::kNameTooLong:
      return {"name_too_long", name + " has " + Count(given.name.size(), "character") + ": " +
                                   std::to_string(kMaxGroupNameLength) + " fit"};
    case GroupRefusal::kNameNotPrintable:
      return {"name_not_printable", name + " has characters other than printable ASCII"};
    case GroupRefusal::kNameTaken:
      return {"name_taken", group + " has " + name + " already"};
    case GroupRefusal::kWrongForm:
      return {"wrong_form", item + " does not fit: " + FormText(kind, removal)};
    case GroupRefusal::kNoDevice:
      return {"no_device", NotConfiguredText(edit.device)};
    case GroupRefusal::kDeviceNotReadable:
      return {"device_not_readable", device + " has a malformed stored record"};
    case GroupRefusal::kNotATapeDrive:
      return {"not_a_tape_drive", TypedDevice(edit.device) + " is not a tape drive"};
    case GroupRefusal::kNotAChanger:
      return {"not_a_changer", TypedDevice(edit.device) + " is not a changer"};
    case GroupRefusal::kGivenTwice:
      return {"given_twice", item + " is given twice"};
    case GroupRefusal::kAlreadyMember:
      return {"already_member", item + " is in " + group + " already"};
    case GroupRefusal::kNotAMember:
      return {"not_a_member", item + " is not in " + group};
    case GroupRefusal::kInAnotherGroup:
      return {"in_another_group",
              device + " is in " + group +
                  " already and has no serial number: the next configuration would find another "
                  "one of its kind for the second group, or none"};
    case GroupRefusal::kMemberLimit:
      return {"member_limit", "a group takes " + Count(kMaxGroupMembers, "member")};
    case GroupRefusal::kTextFull:
      return {"text_full", "the text in which " + group + " is stored has no room for all this"};
    case GroupRefusal::kLastMember:
      return {"last_member", "a RAID changer group without members cannot be stored" +
                                 std::string(removal ? ": delete " + group : "")};
  }
  return {};
}

std::uint16_t KindOf(std::uint16_t number) {
  GroupRecord record = {};
  record.Number = number;
  ReadGroupRecord(&record);
  return record.Kind;
}

// kind: of the group before the edit.
Result<std::string> Done(const GroupEdit& edit, const Arguments& given, std::uint16_t kind,
                         const std::string& done, bool removal = false) {
  if (edit.refusal == GroupRefusal::kNone) return done;
  const Term reason = ExplainRefusal(edit, given, kind, removal);
  return CanBeForced(edit.refusal) ? RefusalUnlessForced(reason) : Refusal(reason);
}

Result<std::string> Create(const Arguments& given) {
  const std::uint16_t kind = KindNamed(given.kind);
  const auto items = given.Items();
  std::uint16_t number = 0;
  const GroupEdit edit =
      CreateGroup(given.name.c_str(), kind, items.data(), static_cast<std::uint16_t>(items.size()),
                  given.force, &number);
  return Done(edit, given, kind, Named("Group", number) + ", " + given.name + ", created.");
}

Result<std::string> Delete(const Arguments& given) {
  const std::uint16_t kind = KindOf(given.number);
  return Done(DeleteGroup(given.number, given.force), given, kind,
              Named("Group", given.number) +
                  " deleted. Groups with higher numbers have moved down by one.");
}

Result<std::string> Rename(const Arguments& given) {
  return Done(RenameGroup(given.number, given.name.c_str()), given, KindOf(given.number),
              Named("Group", given.number) + " is called " + given.name + " now.");
}

Result<std::string> Add(const Arguments& given) {
  const auto items = given.Items();
  return Done(
      AddToGroup(given.number, items.data(), static_cast<std::uint16_t>(items.size()), given.force),
      given, KindOf(given.number), "Added to " + Named("group", given.number) + '.');
}

Result<std::string> Remove(const Arguments& given) {
  const auto items = given.Items();
  return Done(RemoveFromGroup(given.number, items.data(), static_cast<std::uint16_t>(items.size())),
              given, KindOf(given.number), "Removed from " + Named("group", given.number) + '.',
              true);
}

std::string KindNames() {
  std::string names;
  for (const std::uint16_t kind : kKinds) {
    names += (names.empty() ? "" : ", ") + GroupKindName(kind).identifier;
  }
  return names;
}

std::string CheckKind(const std::string& name) {
  return KindNamed(name) == kGroupNone
             ? "there is no kind '" + name + "': the kinds are " + KindNames()
             : "";
}

}  // namespace

void AddGroupCommands(CLI::App& app, Invocation& invocation) {
  const auto arguments = std::make_shared<Arguments>();
  Arguments* const a = arguments.get();
  CLI::App* list = app.add_subcommand("groups", "List the device groups, or show one in full");
  list->add_option("number", a->listed, "Show this group in full")->option_text("N");
  AddListingOptions(*list, a->listing, GroupListing().Infos());
  OnCommand(list, invocation, [&invocation, arguments] {
    return ListGroups(invocation.options, arguments->listed, arguments->listing);
  });

  CLI::App* group = app.add_subcommand("group", "Create, edit and delete device groups");
  group->require_subcommand(1);
  const auto add = [&](const char* name, const char* about, auto edit) {
    CLI::App* command = group->add_subcommand(name, about);
    AddGuardOptions(*command, a->guard);
    OnCommand(command, invocation, [&invocation, arguments, edit] {
      return RunMembershipEdit(invocation.options, arguments->guard,
                               [&] { return edit(*arguments); });
    });
    return command;
  };
  const auto add_number = [a](CLI::App* command) {
    command->add_option("group", a->number, "Group number")->required()->option_text("GROUP");
  };
  const auto add_name = [a](CLI::App* command) {
    command
        ->add_option("name", a->name,
                     "Name, up to " + std::to_string(kMaxGroupNameLength) + " characters")
        ->required()
        ->option_text("NAME");
  };
  const auto add_members = [a](CLI::App* command, const char* about) {
    return command->add_option("members", a->members, about)
        ->option_text("MEMBER...")
        ->check(CheckItem);
  };
  const auto add_force = [a](CLI::App* command, const char* about = kForceHelp) {
    command->add_flag("--force", a->force, about);
  };
  CLI::App* create = add("create", "Create a group under the next number", Create);
  add_name(create);
  create->add_option("kind", a->kind, KindNames())
      ->required()
      ->option_text("KIND")
      ->check(CheckKind);
  add_members(create,
              "tape: drives, as 3; changer: the changer, then pairs of numbers, as 3 1-10; "
              "raid_changer: changers with a pair each, as 3:1-10");
  add_force(create);
  CLI::App* remove =
      add("delete", "Delete a group; the groups above it move down one number", Delete);
  add_number(remove);
  add_force(remove, "Also a group that has members");
  CLI::App* rename = add("rename", "Give a group another name", Rename);
  add_number(rename);
  add_name(rename);
  CLI::App* add_to = add("add", "Add members, or pairs of numbers, to a group", Add);
  add_number(add_to);
  add_members(add_to, "As with create; of a changer group pairs alone")->required();
  add_force(add_to);
  CLI::App* take = add("remove", "Remove members, or pairs of numbers, from a group", Remove);
  add_number(take);
  add_members(take, "Device numbers; of a changer group pairs, as 1-10")->required();
}

}  // namespace devprep::tool
