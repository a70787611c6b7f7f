#include "configuration_diff.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iostream>
#include <string_view>

#include "device_settings.h"
#include "platform/registry/configuration_keys.h"
#include "platform/registry/registry_key.h"
#include "reconfig/identity.h"
#include "words.h"

namespace devprep::tool {
namespace {

using Number = std::optional<std::uint16_t>;

// Which old device is which new one: places in the lists of both configurations, by both ways.
struct Pairing {
  std::vector<std::optional<std::size_t>> to_new;
  std::vector<std::optional<std::size_t>> to_old;
};

bool SameName(const StoredDevice& a, const StoredDevice& b) {
  // Of records that cannot be read nothing is known but their numbers.
  if (!a.readable || !b.readable) {
    return a.readable == b.readable && a.record.Number == b.record.Number;
  }
  return a.record.Type == b.record.Type && a.description == b.description &&
         CompareIdentities(a.record, b.record) != IdentityVerdict::kOther;
}

using Alike = bool (*)(const StoredDevice& a, const StoredDevice& b);

// The best first.
constexpr Alike kAlike[] = {
    [](const StoredDevice& a, const StoredDevice& b) {
      return SameName(a, b) && a.record.Address == b.record.Address &&
             CompareIdentities(a.record, b.record) == IdentityVerdict::kSame;
    },
    [](const StoredDevice& a, const StoredDevice& b) {
      return a.record.Type == b.record.Type &&
             CompareIdentities(a.record, b.record) == IdentityVerdict::kSame;
    },
    [](const StoredDevice& a, const StoredDevice& b) {
      return SameName(a, b) && a.record.Address == b.record.Address;
    },
    [](const StoredDevice& a, const StoredDevice& b) {
      return SameName(a, b) && a.record.Number == b.record.Number;
    },
    SameName,
};

Pairing PairDevices(const StoredConfiguration& before, const StoredConfiguration& after) {
  Pairing pairing;
  pairing.to_new.resize(before.devices.size());
  pairing.to_old.resize(after.devices.size());
  for (const Alike alike : kAlike) {
    for (std::size_t i = 0; i < before.devices.size(); ++i) {
      for (std::size_t j = 0; j < after.devices.size() && !pairing.to_new[i]; ++j) {
        if (pairing.to_old[j] || !alike(before.devices[i], after.devices[j])) continue;
        pairing.to_new[i] = j;
        pairing.to_old[j] = i;
      }
    }
  }
  return pairing;
}

struct Member {
  Number number;
  std::string address;

  bool operator==(const Member&) const = default;
};
using MemberList = std::vector<Member>;

MemberList MembersOf(const std::uint16_t* numbers, std::size_t count) {
  MemberList members;
  for (std::size_t i = 0; i < count; ++i) members.push_back({numbers[i], ""});
  return members;
}

MemberList MembersOf(const std::vector<StoredMember>& stored) {
  MemberList members;
  for (const StoredMember& member : stored) {
    members.push_back({member.device, member.device ? "" : AddressText(member.address)});
  }
  return members;
}

std::optional<std::size_t> PlaceOf(const std::vector<StoredDevice>& devices, std::uint16_t number) {
  const auto at = std::find_if(devices.begin(), devices.end(), [number](const StoredDevice& d) {
    return d.record.Number == number;
  });
  if (at == devices.end()) return std::nullopt;
  return static_cast<std::size_t>(at - devices.begin());
}

// What a device is compared with that is there on one side alone.
const StoredDevice& WithoutSettings() {
  static const StoredDevice without = [] {
    StoredDevice device;
    for (const SettingInfo& setting : DeviceSettings()) {
      device.record.*setting.field = setting.Stored().not_set;
    }
    return device;
  }();
  return without;
}

class Comparison {
 public:
  Comparison(const StoredConfiguration& before, const StoredConfiguration& after)
      : before_(before), after_(after), pairing_(PairDevices(before, after)) {}

  ConfigurationDifference Run() {
    CompareDevices();
    CompareGroups();
    CompareRaids();
    CompareKeys();
    return std::move(difference_);
  }

 private:
  // The member of a list before, as it is called after: nothing when that device went. A number
  // that no device has stands for itself.
  std::optional<Member> Now(const Member& member) const {
    if (!member.number) return member;
    const auto place = PlaceOf(before_.devices, *member.number);
    if (!place) return member;
    const auto now = pairing_.to_new[*place];
    if (!now) return std::nullopt;
    return Member{after_.devices[*now].record.Number, ""};
  }

  MemberList Now(const MemberList& members) const {
    MemberList now;
    for (const Member& member : members) {
      if (const auto known = Now(member)) now.push_back(*known);
    }
    return now;
  }

  void AddValue(const Subject& of, const Term& name, const Value& before, const Value& after) {
    // Of what is there before or after alone, what is empty there says nothing.
    if (before.AsJson() == after.AsJson() || before.AsText() == after.AsText()) return;
    difference_.values.push_back({of, name, before, after});
  }

  void AddList(const Subject& of, const Term& name, const MemberList& before,
               const MemberList& after) {
    std::vector<std::optional<std::size_t>> sources(after.size());
    std::vector<bool> stays(before.size());
    for (std::size_t j = 0; j < after.size(); ++j) {
      for (std::size_t i = 0; i < before.size() && !sources[j]; ++i) {
        if (stays[i] || Now(before[i]) != after[j]) continue;
        sources[j] = i;
        stays[i] = true;
      }
    }
    ListDifference list{of, name, {}, {}};
    bool renumbered = false;
    for (std::size_t j = 0; j < after.size(); ++j) {
      const Number old = sources[j] ? before[*sources[j]].number : Number();
      list.members.push_back({sources[j] ? MemberFate::kStayed : MemberFate::kCame, old,
                              after[j].number, after[j].address});
      renumbered = renumbered || (sources[j] && old != after[j].number);
    }
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (stays[i]) continue;
      list.members.push_back({MemberFate::kWent, before[i].number, {}, before[i].address});
    }
    const bool same_members =
        list.members.size() == after.size() &&
        std::find(sources.begin(), sources.end(), std::nullopt) == sources.end();
    if (!same_members) {
      list.outcome = {"changed", "changed"};
    } else if (!std::is_sorted(sources.begin(), sources.end())) {
      list.outcome = {"reordered", "reordered"};
    } else if (renumbered) {
      list.outcome = {"renumbered", "renumbered"};
    } else {
      return;
    }
    difference_.lists.push_back(std::move(list));
  }

  void CompareDevices() {
    for (std::size_t j = 0; j < after_.devices.size(); ++j) {
      const auto i = pairing_.to_old[j];
      CompareDevice(i ? &before_.devices[*i] : nullptr, &after_.devices[j]);
    }
    for (std::size_t i = 0; i < before_.devices.size(); ++i) {
      if (!pairing_.to_new[i]) CompareDevice(&before_.devices[i], nullptr);
    }
  }

  void CompareDevice(const StoredDevice* before, const StoredDevice* after) {
    DeviceDifference device;
    Subject of{"device", {}, {}};
    if (before != nullptr) {
      device.before = *before;
      of.old_number = before->record.Number;
    }
    if (after != nullptr) {
      device.after = *after;
      of.new_number = after->record.Number;
    }
    const bool both = before != nullptr && after != nullptr;
    if (!both || of.old_number != of.new_number ||
        before->record.Address != after->record.Address) {
      difference_.devices.push_back(device);
    }
    const StoredDevice& old = before != nullptr ? *before : WithoutSettings();
    const StoredDevice& now = after != nullptr ? *after : WithoutSettings();
    if (both) {
      AddValue(of, {"description", "description"}, Value::Text(old.description),
               Value::Text(now.description));
      AddValue(of, {"serial_number", "serial number"},
               Value::Text(SerialNumberText(old.record.SerialNumber)),
               Value::Text(SerialNumberText(now.record.SerialNumber)));
      AddValue(of, {"world_wide_id", "World Wide ID"}, Value::Text(WorldWideIdText(old.record)),
               Value::Text(WorldWideIdText(now.record)));
    }
    for (const SettingInfo& setting : DeviceSettings()) {
      AddValue(of, setting.Named(), setting.Of(old.record), setting.Of(now.record));
    }
    AddList(of, {"reserved_drives", "reserved drives"}, ReservedDrives(old), ReservedDrives(now));
    AddList(of, {"disabled_drives", "disabled drives"}, DisabledDrives(old), DisabledDrives(now));
    AddList(of, {"unreserved_drives", "unreserved drives"},
            MembersOf(old.record.UnReservedDrives, old.record.UnReservedDriveCount),
            MembersOf(now.record.UnReservedDrives, now.record.UnReservedDriveCount));
  }

  static MemberList ReservedDrives(const StoredDevice& device) {
    return MembersOf(device.record.ReservedDrives, device.record.ReservedDriveCount);
  }

  static MemberList DisabledDrives(const StoredDevice& device) {
    MemberList disabled;
    for (std::uint16_t i = 0; i < device.record.ReservedDriveCount; ++i) {
      if (IsDriveDisabled(device.record.DisabledDrives, i)) {
        disabled.push_back({device.record.ReservedDrives[i], ""});
      }
    }
    return disabled;
  }

  // Compares each item before with the one of after that same says it is, of the same number if it
  // can be, or else with the one of its number.
  template <typename Item, typename Same, typename NumberOf, typename Pair>
  void ComparePairs(const std::vector<Item>& before, const std::vector<Item>& after, Same same,
                    NumberOf number_of, Pair compare) {
    std::vector<bool> done(after.size());
    std::vector<const Item*> rest;
    const auto find = [&](const Item& item, auto suits) {
      std::size_t found = done.size();
      for (std::size_t place = 0; place < done.size(); ++place) {
        if (done[place] || !suits(item, after[place])) continue;
        if (number_of(item) == number_of(after[place])) return place;
        found = std::min(found, place);
      }
      return found;
    };
    // A removal moves those above it down by one number.
    for (const Item& item : before) {
      const std::size_t place = find(item, same);
      if (place == done.size()) {
        rest.push_back(&item);
        continue;
      }
      done[place] = true;
      compare(&item, &after[place]);
    }
    for (const Item* item : rest) {
      const std::size_t place = find(*item, [&](const Item& one, const Item& other) {
        return number_of(one) == number_of(other);
      });
      if (place < done.size()) done[place] = true;
      compare(item, place < done.size() ? &after[place] : nullptr);
    }
    for (std::size_t place = 0; place < done.size(); ++place) {
      if (!done[place]) compare(nullptr, &after[place]);
    }
  }

  void CompareGroups() {
    ComparePairs(
        before_.groups, after_.groups,
        [](const GroupRecord& one, const GroupRecord& other) {
          return one.Name[0] != '\0' && std::strcmp(one.Name, other.Name) == 0;
        },
        [](const GroupRecord& group) { return group.Number; },
        [this](const GroupRecord* before, const GroupRecord* after) {
          CompareGroup(before, after);
        });
  }

  void CompareGroup(const GroupRecord* before, const GroupRecord* after) {
    Subject of{"group", {}, {}};
    if (before != nullptr) of.old_number = before->Number;
    if (after != nullptr) of.new_number = after->Number;
    if (before != nullptr && after != nullptr) {
      AddValue(of, {"number", "number"}, Value::Number(before->Number),
               Value::Number(after->Number));
    }
    const auto value = [](const GroupRecord* group, auto of_group) {
      return group == nullptr ? Value::Absent() : of_group(*group);
    };
    const auto compare = [&](const Term& name, auto of_group) {
      AddValue(of, name, value(before, of_group), value(after, of_group));
    };
    compare({"name", "name"}, [](const GroupRecord& group) {
      return Value::Text(CleanText(group.Name, sizeof group.Name));
    });
    compare({"kind", "kind"},
            [](const GroupRecord& group) { return Value::Name(GroupKindName(group.Kind)); });
    compare({"attribute", "attribute"},
            [](const GroupRecord& group) { return Value::Number(group.Attribute); });
    compare({"pairs", "pairs"}, Pairs);
    AddList(of, {"members", "members"}, GroupMembers(before), GroupMembers(after));
  }

  static Value Pairs(const GroupRecord& group) {
    const std::size_t count = group.Kind == kGroupChanger       ? group.PairCount
                              : group.Kind == kGroupRaidChanger ? group.MemberCount
                                                                : 0;
    std::vector<Value> pairs;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint16_t first = group.PairFirsts[i];
      const std::uint16_t second = group.PairSeconds[i];
      pairs.push_back(Value::Record({{"first", first}, {"second", second}},
                                    std::to_string(first) + '-' + std::to_string(second)));
    }
    return Value::List(pairs);
  }

  static MemberList GroupMembers(const GroupRecord* group) {
    if (group == nullptr) return {};
    if (group->Kind == kGroupChanger) return {{group->Changer, ""}};
    return MembersOf(group->Members, group->MemberCount);
  }

  void CompareRaids() {
    ComparePairs(
        before_.raids, after_.raids,
        [this](const StoredRaid& one, const StoredRaid& other) {
          // One without members has none to be known by.
          return !(one.tapes.empty() && one.changers.empty()) &&
                 Now(MembersOf(one.tapes)) == MembersOf(other.tapes) &&
                 Now(MembersOf(one.changers)) == MembersOf(other.changers);
        },
        [](const StoredRaid& raid) { return raid.number; },
        [this](const StoredRaid* before, const StoredRaid* after) { CompareRaid(before, after); });
  }

  void CompareRaid(const StoredRaid* before, const StoredRaid* after) {
    Subject of{"RAID", {}, {}};
    if (before != nullptr) of.old_number = before->number;
    if (after != nullptr) of.new_number = after->number;
    const auto compare = [&](const Term& name, std::uint32_t StoredRaid::*number) {
      const auto value = [number](const StoredRaid* raid) {
        return raid == nullptr ? Value::Absent() : Value::Number(raid->*number);
      };
      AddValue(of, name, value(before), value(after));
    };
    if (before != nullptr && after != nullptr) {
      AddValue(of, {"number", "number"}, Value::Number(before->number),
               Value::Number(after->number));
    }
    compare({"level", "level"}, &StoredRaid::level);
    compare({"stripe_size", "stripe size"}, &StoredRaid::stripe_size);
    compare({"link_position", "link position"}, &StoredRaid::link_position);
    const auto members = [](const StoredRaid* raid, std::vector<StoredMember> StoredRaid::*list) {
      return raid == nullptr ? MemberList() : MembersOf(raid->*list);
    };
    AddList(of, {"tapes", "tapes"}, members(before, &StoredRaid::tapes),
            members(after, &StoredRaid::tapes));
    AddList(of, {"changers", "changers"}, members(before, &StoredRaid::changers),
            members(after, &StoredRaid::changers));
  }

  void CompareKeys() {
    const bool all = difference_.Empty();
    const auto note = [&](const std::string& path) {
      if (all || !IsRecordKey(path)) difference_.other_keys.push_back(path);
    };
    for (const auto& [path, digest] : before_.keys) {
      const auto at = after_.keys.find(path);
      if (at == after_.keys.end() || at->second != digest) note(path);
    }
    for (const auto& [path, digest] : after_.keys) {
      if (!before_.keys.contains(path)) note(path);
    }
  }

  static bool IsRecordKey(std::string_view path) {
    const std::string_view engine = kTapeEngineKeyPath.text;
    if (path.size() <= engine.size() || CompareNames(path.substr(0, engine.size()), engine) != 0) {
      return false;
    }
    const std::string_view name = path.substr(engine.size() + 1);
    return std::any_of(std::begin(kRecordPrefixes), std::end(kRecordPrefixes),
                       [name](std::string_view prefix) {
                         return CompareNames(name.substr(0, prefix.size()), prefix) == 0;
                       });
  }

  static constexpr const char* kRecordPrefixes[] = {kDeviceKeyPrefix, kGroupKeyPrefix,
                                                    kRaidKeyPrefix};

  const StoredConfiguration& before_;
  const StoredConfiguration& after_;
  Pairing pairing_;
  ConfigurationDifference difference_;
};

Json NumberJson(const Number& number) { return number ? Json(*number) : Json(nullptr); }

std::string NumbersText(const Number& before, const Number& after) {
  if (!before || !after || before == after) return std::to_string(after ? *after : *before);
  return std::to_string(*before) + " -> " + std::to_string(*after);
}

Value SubjectValue(const Subject& subject) {
  std::string kind = subject.kind;
  std::transform(kind.begin(), kind.end(), kind.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return Value::Record({{"kind", kind},
                        {"old_number", NumberJson(subject.old_number)},
                        {"new_number", NumberJson(subject.new_number)}},
                       subject.kind + ' ' + NumbersText(subject.old_number, subject.new_number));
}

Term FateName(MemberFate fate) {
  switch (fate) {
    case MemberFate::kCame:
      return {"added", "+"};
    case MemberFate::kWent:
      return {"removed", "-"};
    case MemberFate::kStayed:
      break;
  }
  return {"kept", ""};
}

Value MemberValue(const MemberDifference& member) {
  const Term fate = FateName(member.fate);
  return Value::Record(
      {{"outcome", fate.identifier},
       {"old_number", NumberJson(member.old_number)},
       {"new_number", NumberJson(member.new_number)},
       {"address", member.address.empty() ? Json(nullptr) : Json(member.address)}},
      fate.text + (member.address.empty() ? NumbersText(member.old_number, member.new_number)
                                          : member.address));
}

Term DeviceOutcome(const DeviceDifference& device) {
  if (!device.before) return {"added", "added"};
  if (!device.after) return {"removed", "removed"};
  if (device.before->record.Address != device.after->record.Address) return {"moved", "moved"};
  return {"renumbered", "renumbered"};
}

Colour OutcomeColour(const Term& outcome) {
  if (outcome.identifier == "added") return Colour::kGood;
  return outcome.identifier == "removed" ? Colour::kBad : Colour::kChanged;
}

const StoredDevice& Either(const DeviceDifference& device) {
  return device.after ? *device.after : *device.before;
}

Value OfSide(const std::optional<StoredDevice>& device, Value (*of)(const StoredDevice&)) {
  return device ? of(*device) : Value::Absent();
}

Value DeviceNumber(const StoredDevice& device) { return Value::Number(device.record.Number); }
Value DevicePlace(const StoredDevice& device) {
  return device.readable ? Value::Text(AddressText(device.record.Address)) : Value::Absent();
}

const Listing<DeviceDifference>& DeviceDifferenceListing() {
  using enum Importance;
  static const Listing<DeviceDifference> listing(
      {{NumberColumn("old_number", "Old", "device number before", kKey),
        [](const DeviceDifference& d) { return OfSide(d.before, DeviceNumber); }},
       {NumberColumn("new_number", "New", "device number after", kKey),
        [](const DeviceDifference& d) { return OfSide(d.after, DeviceNumber); }},
       {TextColumn("outcome", "Outcome", "what differs", kKey),
        [](const DeviceDifference& d) { return Value::Name(DeviceOutcome(d)); }},
       {TextColumn("old_address", "Old address", "port:bus:target:lun before"),
        [](const DeviceDifference& d) { return OfSide(d.before, DevicePlace); }},
       {TextColumn("new_address", "New address", "port:bus:target:lun after", kKey),
        [](const DeviceDifference& d) { return OfSide(d.after, DevicePlace); }},
       {TextColumn("type", "Type", "device type"),
        [](const DeviceDifference& d) {
          const StoredDevice& device = Either(d);
          return device.readable ? Value::Name(TypeName(device.record.Type)) : Value::Absent();
        }},
       {WrappingColumn("description", "Description", "vendor, product and revision"),
        [](const DeviceDifference& d) {
          const StoredDevice& device = Either(d);
          return device.readable ? Value::Text(device.description)
                                 : Value::Record(nullptr, "(record cannot be read)");
        }},
       {TextColumn("serial_number", "Serial number", "serial number"),
        [](const DeviceDifference& d) {
          return Value::Text(SerialNumberText(Either(d).record.SerialNumber));
        }}},
      [](const DeviceDifference& d) { return OutcomeColour(DeviceOutcome(d)); });
  return listing;
}

template <typename Item>
Column<Item> SubjectColumn() {
  return {WrappingColumn("of", "Of", "device, group or RAID, before and after", Importance::kKey),
          [](const Item& item) { return SubjectValue(item.of); }};
}

const Listing<ValueDifference>& ValueDifferenceListing() {
  using enum Importance;
  static const Listing<ValueDifference> listing(
      {SubjectColumn<ValueDifference>(),
       {WrappingColumn("name", "Value", "name of the value", kKey),
        [](const ValueDifference& v) { return Value::Name(v.name); }},
       {WrappingColumn("before", "Before", "the value before", kKey),
        [](const ValueDifference& v) { return v.before; }},
       {WrappingColumn("after", "After", "the value after", kKey),
        [](const ValueDifference& v) { return v.after; }}});
  return listing;
}

const Listing<ListDifference>& ListDifferenceListing() {
  using enum Importance;
  static const Listing<ListDifference> listing(
      {SubjectColumn<ListDifference>(),
       {WrappingColumn("name", "List", "name of the list", kKey),
        [](const ListDifference& l) { return Value::Name(l.name); }},
       {TextColumn("outcome", "Outcome", "what differs", kKey),
        [](const ListDifference& l) { return Value::Name(l.outcome); }},
       {WrappingColumn("members", "Members", "its members, before and after", kKey),
        [](const ListDifference& l) {
          std::vector<Value> members;
          for (const MemberDifference& member : l.members) members.push_back(MemberValue(member));
          return Value::List(members);
        }}});
  return listing;
}

}  // namespace

ConfigurationDifference Compare(const StoredConfiguration& before,
                                const StoredConfiguration& after) {
  return Comparison(before, after).Run();
}

const std::vector<ColumnInfo>& DeviceDifferenceColumns() {
  return DeviceDifferenceListing().Infos();
}

void PrintDifference(const ConfigurationDifference& difference, const ListingOptions& options) {
  if (difference.Empty()) return;
  const auto count = [&difference](bool came, bool went) {
    return std::count_if(difference.devices.begin(), difference.devices.end(),
                         [came, went](const DeviceDifference& device) {
                           return device.before.has_value() != came &&
                                  device.after.has_value() != went;
                         });
  };
  std::cout << "Devices: " << count(true, false) << " added, " << count(false, true) << " removed, "
            << count(false, false)
            << " with another number or address. Values: " << difference.values.size()
            << " changed. Lists: " << difference.lists.size() << " changed.\n";
  DeviceDifferenceListing().PrintBelow(difference.devices, options);
  const ListingOptions usual = WithUsualColumns(options);
  ValueDifferenceListing().PrintBelow(difference.values, usual);
  ListDifferenceListing().PrintBelow(difference.lists, usual);
  if (difference.other_keys.empty()) return;
  std::cout << "\nOther keys that differ:\n";
  for (const std::string& path : difference.other_keys) std::cout << "  " << path << '\n';
}

Json DifferenceJson(const ConfigurationDifference& difference, const ListingOptions& options) {
  const ListingOptions all;
  return {{"devices", DeviceDifferenceListing().AsJson(difference.devices, options)},
          {"values", ValueDifferenceListing().AsJson(difference.values, all)},
          {"lists", ListDifferenceListing().AsJson(difference.lists, all)},
          {"other_keys", difference.other_keys}};
}

}  // namespace devprep::tool
