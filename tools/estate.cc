#include "estate.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "output.h"
#include "platform/messages.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kNamesTold = 4;     // of machines or devices in a sentence
constexpr std::size_t kProductSize = 24;  // vendor and product, before the revision

using WorldWideId = std::array<std::uint8_t, kWorldWideIdSize>;

bool HasId(const WorldWideId& id) { return id != WorldWideId{}; }

std::string IdText(const WorldWideId& id) {
  return Hexadecimal({reinterpret_cast<const char*>(id.data()), id.size()});
}

const std::string& KeptSerialNumber(const EstateDevice& device) {
  return device.kept_serial_number.empty() ? device.serial_number : device.kept_serial_number;
}

// Vendor and product. Blanks do not count: not every record keeps them.
std::string ProductOf(const EstateDevice& device) {
  std::string product = device.description->substr(0, kProductSize);
  std::erase(product, ' ');
  return product;
}

const char* Noun(const EstateDevice& device) {
  return device.type == kTypeChanger ? "changer" : "drive";
}

// "a, b and 3 more".
std::string Listed(const std::vector<std::string>& texts, std::size_t count) {
  std::string listed;
  for (const std::string& text : texts) listed += (listed.empty() ? "" : ", ") + text;
  if (count > texts.size()) listed += " and " + std::to_string(count - texts.size()) + " more";
  return listed;
}

// "x on a, b; y on c; and 3 more": of what has lists in it.
std::string ListedApart(const std::vector<std::string>& texts, std::size_t count) {
  std::string listed;
  for (const std::string& text : texts) listed += (listed.empty() ? "" : "; ") + text;
  if (count > texts.size()) listed += "; and " + std::to_string(count - texts.size()) + " more";
  return listed;
}

// What tells devices of one serial number apart.
struct Trait {
  std::string serial_number;
  WorldWideId world_wide_id = {};
  std::string product;

  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler makes of it compares with 0.
  auto operator<=>(const Trait&) const = default;
};

// Finds out which devices of the machines are the same.
class Joining {
 public:
  // What became of the devices: entry i of each finding's devices is one of these.
  std::vector<SharedDevice> devices;
  std::vector<Finding> twins;

  explicit Joining(std::vector<EstateMachine>& machines) : machines_(machines) {}

  void Run() {
    std::vector<Sighting> by_serial_number;
    std::vector<Sighting> by_id;
    for (std::uint32_t m = 0; m < machines_.size(); ++m) {
      for (std::uint32_t d = 0; d < machines_[m].devices.size(); ++d) {
        const EstateDevice& device = machines_[m].devices[d];
        if (!device.serial_number.empty()) {
          by_serial_number.push_back({m, d});
        } else if (HasId(device.world_wide_id)) {
          by_id.push_back({m, d});
        }
      }
    }
    JoinBySerialNumber(by_serial_number);
    JoinById(by_id);
    FindSharedIds();
  }

 private:
  EstateDevice& At(const Sighting& sighting) const {
    return machines_[sighting.machine].devices[sighting.device];
  }

  void Add(std::vector<Sighting> sightings) {
    for (const Sighting& sighting : sightings) At(sighting).device = devices.size();
    devices.push_back({std::move(sightings), {}, {}});
  }

  void JoinBySerialNumber(std::vector<Sighting>& all) {
    const auto key = [this](const Sighting& sighting) {
      const EstateDevice& device = At(sighting);
      return std::tuple(device.type, std::string_view(KeptSerialNumber(device)));
    };
    std::stable_sort(all.begin(), all.end(),
                     [&key](const Sighting& a, const Sighting& b) { return key(a) < key(b); });
    for (auto first = all.begin(); first != all.end();) {
      const auto last = std::find_if(
          first, all.end(), [&](const Sighting& other) { return key(other) != key(*first); });
      JoinGroup(std::vector<Sighting>(first, last));
      first = last;
    }
  }

  // Of one type, with serial numbers of which records keep the same.
  void JoinGroup(std::vector<Sighting> group) {
    const EstateDevice& one = At(group.front());
    const bool alike = std::all_of(group.begin(), group.end(), [&](const Sighting& sighting) {
      const EstateDevice& device = At(sighting);
      return device.serial_number == one.serial_number &&
             device.world_wide_id == one.world_wide_id && device.description == one.description;
    });
    if (alike) {
      Add(std::move(group));
      return;
    }
    std::map<Trait, std::vector<Sighting>> kinds;
    const std::vector<Trait> traits = TraitsOf(group);
    for (std::size_t i = 0; i < group.size(); ++i) kinds[traits[i]].push_back(group[i]);
    std::map<std::string, std::vector<std::size_t>> bearers;  // of a serial number
    for (auto& [trait, sightings] : kinds) {
      bearers[trait.serial_number].push_back(devices.size());
      Add(std::move(sightings));
    }
    for (auto& [serial_number, twin] : bearers) {
      if (twin.size() > 1) twins.push_back({FindingKind::kTwins, std::move(twin), {}, {}, ""});
    }
  }

  // What is not known of one counts as that of the others, where these agree.
  std::vector<Trait> TraitsOf(const std::vector<Sighting>& group) const {
    std::set<std::string> whole;
    for (const Sighting& sighting : group) {
      if (!At(sighting).cut) whole.insert(At(sighting).serial_number);
    }
    std::vector<Trait> traits;
    traits.reserve(group.size());
    using Model = std::pair<std::string, std::string>;
    std::map<Model, std::set<WorldWideId>> ids;
    for (const Sighting& sighting : group) {
      const EstateDevice& device = At(sighting);
      Trait trait = {device.serial_number, device.world_wide_id, ProductOf(device)};
      if (device.cut && whole.size() == 1) trait.serial_number = *whole.begin();
      if (HasId(trait.world_wide_id)) {
        ids[{trait.serial_number, trait.product}].insert(trait.world_wide_id);
      }
      traits.push_back(std::move(trait));
    }
    for (Trait& trait : traits) {
      if (HasId(trait.world_wide_id)) continue;
      const auto known = ids.find({trait.serial_number, trait.product});
      if (known != ids.end() && known->second.size() == 1) {
        trait.world_wide_id = *known->second.begin();
      }
    }
    return traits;
  }

  using IdKey = std::pair<std::uint16_t, WorldWideId>;  // with the type

  // The World Wide ID that a device's sightings tell.
  IdKey IdOf(const SharedDevice& device) const {
    IdKey key = {At(device.sightings.front()).type, {}};
    for (const Sighting& sighting : device.sightings) {
      if (HasId(At(sighting).world_wide_id)) key.second = At(sighting).world_wide_id;
    }
    return key;
  }

  // Those that give no serial number.
  void JoinById(const std::vector<Sighting>& all) {
    std::map<IdKey, std::size_t> known;
    for (std::size_t i = 0; i < devices.size() && !all.empty(); ++i) {
      const IdKey key = IdOf(devices[i]);
      if (!HasId(key.second)) continue;
      const auto [at, added] = known.emplace(key, i);
      if (!added) at->second = kNoDevice;
    }
    std::map<IdKey, std::vector<Sighting>> others;
    for (const Sighting& sighting : all) {
      EstateDevice& device = At(sighting);
      const IdKey key = {device.type, device.world_wide_id};
      const auto at = known.find(key);
      if (at == known.end() || at->second == kNoDevice) {
        others[key].push_back(sighting);
      } else {
        device.device = at->second;
        devices[at->second].sightings.push_back(sighting);
      }
    }
    for (auto& [key, sightings] : others) Add(std::move(sightings));
    for (SharedDevice& device : devices) {
      if (all.empty()) break;
      std::sort(device.sightings.begin(), device.sightings.end(),
                [](const Sighting& a, const Sighting& b) {
                  return std::tie(a.machine, a.device) < std::tie(b.machine, b.device);
                });
    }
  }

  // Devices of different serial numbers with one World Wide ID.
  void FindSharedIds() {
    std::unordered_map<std::string, std::vector<std::size_t>> bearers;
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const auto [type, id] = IdOf(devices[i]);
      if (!HasId(id)) continue;
      std::string key(id.begin(), id.end());
      bearers[key += static_cast<char>(type)].push_back(i);
    }
    std::map<std::size_t, std::vector<std::size_t>> shared;  // in an order that is always the same
    for (auto& [key, twin] : bearers) {
      const std::string& first = At(devices[twin.front()].sightings.front()).serial_number;
      const bool differ = std::any_of(twin.begin(), twin.end(), [&](std::size_t i) {
        return At(devices[i].sightings.front()).serial_number != first;
      });
      if (differ) shared[twin.front()] = std::move(twin);
    }
    for (auto& [first, twin] : shared) {
      twins.push_back({FindingKind::kTwins, std::move(twin), {}, {}, ""});
    }
  }

  std::vector<EstateMachine>& machines_;
};

// Puts each changer before its drives.
class Ordering {
 public:
  explicit Ordering(Estate& estate) : estate_(estate) {}

  // Where each device goes.
  std::vector<std::size_t> Run() {
    const std::size_t count = estate_.devices.size();
    std::vector<Rank> ranks(count);
    for (std::size_t i = 0; i < count; ++i) ranks[i] = NameRank(i);
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) order[i] = i;
    const auto by_rank = [&ranks](std::size_t a, std::size_t b) { return ranks[a] < ranks[b]; };
    std::stable_sort(order.begin(), order.end(), by_rank);
    std::vector<std::size_t> libraries(count, kNoDevice);
    for (std::size_t i = 0; i < count; ++i) libraries[order[i]] = i;
    for (std::size_t i = 0; i < count; ++i) {
      ranks[i].library = Best(i).type == kTypeChanger ? libraries[i] : kNoDevice;
      if (Best(i).type == kTypeTape) Reserve(i, libraries, ranks[i]);
    }
    std::stable_sort(order.begin(), order.end(), by_rank);
    std::vector<std::size_t> places(count);
    for (std::size_t i = 0; i < count; ++i) places[order[i]] = i;
    return places;
  }

 private:
  struct Rank {
    std::size_t library = 0;
    bool is_drive = false;
    std::uint16_t place = 0;
    std::string name;

    // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler makes of it compares with 0.
    auto operator<=>(const Rank&) const = default;
  };

  const EstateDevice& Best(std::size_t i) const { return estate_.Best(estate_.devices[i]); }

  Rank NameRank(std::size_t i) const {
    const EstateDevice& device = Best(i);
    return {0, device.type == kTypeTape, 0,
            device.serial_number.empty() ? IdText(device.world_wide_id) : device.serial_number};
  }

  // To the changer that most machines reserve it to.
  void Reserve(std::size_t i, const std::vector<std::size_t>& libraries, Rank& rank) {
    struct Vote {
      std::size_t machines = 0;
      std::uint16_t place = kDeviceGone;
    };
    std::map<std::size_t, Vote> votes;
    for (const Sighting& sighting : estate_.devices[i].sightings) {
      const EstateMachine& machine = estate_.machines[sighting.machine];
      for (const Reservation& reservation : estate_.At(sighting).reservations) {
        const std::size_t changer = machine.devices[reservation.changer].device;
        if (changer == kNoDevice) continue;
        Vote& vote = votes[changer];
        ++vote.machines;
        vote.place = std::min(vote.place, reservation.place);
      }
    }
    std::size_t most = 0;
    for (const auto& [changer, vote] : votes) {
      if (vote.machines < most || (vote.machines == most && libraries[changer] > rank.library)) {
        continue;
      }
      most = vote.machines;
      rank.library = libraries[changer];
      rank.place = vote.place;
      estate_.devices[i].changer = changer;
    }
  }

  Estate& estate_;
};

// What the machines do not agree on.
class Comparison {
 public:
  explicit Comparison(Estate& estate) : estate_(estate) {}

  // twins: what is known already, without texts.
  void Run(std::vector<Finding> twins) {
    for (Finding& finding : twins) {
      std::vector<Machines> sides;
      for (const std::size_t i : finding.devices) sides.push_back(MachinesOf(i));
      finding.text = TwinsText(finding);
      Add(std::move(finding), sides);
    }
    for (std::size_t i = 0; i < estate_.devices.size(); ++i) {
      CompareSightings(i);
      CompareStates(i);
      CompareChangers(i);
      CompareOrders(i);
      FindLost(i);
    }
    std::stable_sort(
        estate_.findings.begin(), estate_.findings.end(),
        [](const Finding& a, const Finding& b) { return a.devices.front() < b.devices.front(); });
  }

 private:
  using Machines = std::vector<std::uint32_t>;  // ascending

  const SharedDevice& Device(std::size_t i) const { return estate_.devices[i]; }

  static void AddMachine(Machines& machines, std::uint32_t machine) {
    if (machines.empty() || machines.back() != machine) machines.push_back(machine);
  }

  Machines MachinesOf(std::size_t device) const {
    Machines machines;
    for (const Sighting& sighting : Device(device).sightings) {
      AddMachine(machines, sighting.machine);
    }
    return machines;
  }

  std::string Names(const Machines& machines) const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(machines.size(), kNamesTold); ++i) {
      names.push_back(PrintableText(estate_.machines[machines[i]].name));
    }
    return Listed(names, machines.size());
  }

  static void SortMachines(Machines& machines) {
    std::sort(machines.begin(), machines.end());
    machines.erase(std::unique(machines.begin(), machines.end()), machines.end());
  }

  // sides: machines that say the same. All are odd, but for a side that is larger than each other.
  void Add(Finding finding, const std::vector<Machines>& sides) {
    std::size_t largest = 0;
    for (std::size_t i = 1; i < sides.size(); ++i) {
      if (sides[i].size() > sides[largest].size()) largest = i;
    }
    const bool known =
        sides.size() > 1 && std::count_if(sides.begin(), sides.end(), [&](const Machines& side) {
                              return side.size() == sides[largest].size();
                            }) == 1;
    for (std::size_t i = 0; i < sides.size(); ++i) {
      finding.machines.insert(finding.machines.end(), sides[i].begin(), sides[i].end());
      if (known && i == largest) continue;
      finding.odd.insert(finding.odd.end(), sides[i].begin(), sides[i].end());
    }
    SortMachines(finding.machines);
    SortMachines(finding.odd);
    estate_.findings.push_back(std::move(finding));
  }

  std::string TwinsText(const Finding& finding) const {
    const EstateDevice& first = estate_.Best(Device(finding.devices.front()));
    bool one_serial_number = true;
    bool one_id = true;
    bool one_product = true;
    std::vector<std::string> bearers;
    for (const std::size_t i : finding.devices) {
      const EstateDevice& device = estate_.Best(Device(i));
      one_serial_number = one_serial_number && device.serial_number == first.serial_number;
      one_id = one_id && device.world_wide_id == first.world_wide_id;
      one_product = one_product && ProductOf(device) == ProductOf(first);
    }
    for (const std::size_t i : finding.devices) {
      if (bearers.size() == kNamesTold) break;
      const EstateDevice& device = estate_.Best(Device(i));
      const std::string bearer = !one_serial_number            ? device.serial_number
                                 : one_id                      ? *device.description
                                 : HasId(device.world_wide_id) ? IdText(device.world_wide_id)
                                                               : "";
      bearers.push_back((bearer.empty() ? "none" : bearer) + " on " + Names(MachinesOf(i)));
    }
    const char* const differ = !one_serial_number ? " but differ in serial number"
                               : !one_id          ? " but differ in World Wide ID"
                               : !one_product     ? " but differ in product"
                                                  : "";
    std::string text = std::to_string(finding.devices.size()) + ' ' + Noun(first) + "s have ";
    text += one_serial_number ? "serial number " + first.serial_number
                              : "World Wide ID " + IdText(first.world_wide_id);
    text += differ;
    return text + ": " + ListedApart(bearers, finding.devices.size());
  }

  // Attached more than once to one machine.
  void CompareSightings(std::size_t i) {
    std::map<std::uint32_t, std::vector<std::string>> places;
    const auto& sightings = Device(i).sightings;
    for (std::size_t k = 0; k < sightings.size(); ++k) {
      const bool alone =
          (k == 0 || sightings[k - 1].machine != sightings[k].machine) &&
          (k + 1 == sightings.size() || sightings[k + 1].machine != sightings[k].machine);
      if (alone || !estate_.At(sightings[k]).attached) continue;
      places[sightings[k].machine].push_back(AddressText(estate_.At(sightings[k]).address));
    }
    for (auto& [machine, addresses] : places) {
      const std::size_t count = addresses.size();
      if (count < 2) continue;
      addresses.resize(std::min(count, kNamesTold));
      const Machines one = {machine};
      Add({FindingKind::kTwins,
           {i},
           {},
           {},
           estate_.NameOf(i) + " is attached to " + Names(one) + ' ' + std::to_string(count) +
               " times: at " + Listed(addresses, count)},
          {one});
    }
  }

  void CompareStates(std::size_t i) {
    Machines disabled;
    Machines used;
    for (const Sighting& sighting : Device(i).sightings) {
      const EstateDevice& device = estate_.At(sighting);
      if (device.Disabled()) {
        AddMachine(disabled, sighting.machine);
      } else if (!estate_.machines[sighting.machine].Gone(device) &&
                 (!device.reservations.empty() || device.groups.any() || device.raids.any())) {
        AddMachine(used, sighting.machine);
      }
    }
    if (disabled.empty() || used.empty()) return;
    std::string text =
        estate_.NameOf(i) + " is disabled on " + Names(disabled) + ", and used on " + Names(used);
    Add({FindingKind::kDisabled, {i}, {}, {}, std::move(text)}, {disabled, used});
  }

  // The changers that a machine reserves a drive to, by identity.
  std::vector<std::size_t> ChangersOf(const Sighting& sighting) const {
    const EstateMachine& machine = estate_.machines[sighting.machine];
    std::vector<std::size_t> changers;
    for (const Reservation& reservation : estate_.At(sighting).reservations) {
      const std::size_t changer = machine.devices[reservation.changer].device;
      if (changer != kNoDevice) changers.push_back(changer);
    }
    std::sort(changers.begin(), changers.end());
    changers.erase(std::unique(changers.begin(), changers.end()), changers.end());
    return changers;
  }

  void CompareChangers(std::size_t i) {
    std::map<std::vector<std::size_t>, Machines> choices;
    for (const Sighting& sighting : Device(i).sightings) {
      std::vector<std::size_t> changers = ChangersOf(sighting);
      if (!changers.empty()) AddMachine(choices[std::move(changers)], sighting.machine);
    }
    if (choices.size() < 2) return;
    std::vector<Machines> sides;
    std::vector<std::string> texts;
    for (const auto& [changers, machines] : choices) {
      sides.push_back(machines);
      if (texts.size() == kNamesTold) continue;
      std::vector<std::string> names;
      for (std::size_t k = 0; k < std::min(changers.size(), kNamesTold); ++k) {
        names.push_back(estate_.NameOf(changers[k]));
      }
      texts.push_back("to " + Listed(names, changers.size()) + " on " + Names(machines));
    }
    std::string text = estate_.NameOf(i) + " is reserved " + ListedApart(texts, choices.size());
    Add({FindingKind::kChanger, {i}, {}, {}, std::move(text)}, sides);
  }

  using Order = std::vector<std::size_t>;                 // drives, those without identity left out
  using DrivePair = std::pair<std::size_t, std::size_t>;  // the first one stands before the other

  static void ForEachPair(const Order& order, const auto& visit) {
    for (std::size_t a = 0; a < order.size(); ++a) {
      for (std::size_t b = a + 1; b < order.size(); ++b) {
        if (order[a] != order[b]) visit(DrivePair(order[a], order[b]));
      }
    }
  }

  void CompareOrders(std::size_t i) {
    std::map<Order, Machines> orders;
    for (const Sighting& sighting : Device(i).sightings) {
      Order order;
      for (const std::uint16_t drive : estate_.At(sighting).drives) {
        if (drive == kDeviceGone) continue;
        const std::size_t device = estate_.machines[sighting.machine].devices[drive].device;
        if (device != kNoDevice) order.push_back(device);
      }
      if (order.size() > 1) AddMachine(orders[std::move(order)], sighting.machine);
    }
    if (orders.size() < 2) return;
    std::set<DrivePair> pairs;
    for (const auto& [order, machines] : orders) {
      ForEachPair(order, [&pairs](const DrivePair& pair) { pairs.insert(pair); });
    }
    std::optional<DrivePair> first;
    std::size_t count = 0;
    for (const DrivePair& pair : pairs) {
      if (pair.first > pair.second || !pairs.contains({pair.second, pair.first})) continue;
      if (!first) first = pair;
      ++count;
    }
    if (!first) return;
    Machines one;
    Machines other;
    for (const auto& [order, machines] : orders) {
      ForEachPair(order, [&, &machines = machines](const DrivePair& pair) {
        if (pair == *first) one.insert(one.end(), machines.begin(), machines.end());
        if (pair == DrivePair(first->second, first->first)) {
          other.insert(other.end(), machines.begin(), machines.end());
        }
      });
    }
    SortMachines(one);
    SortMachines(other);
    const std::string a = estate_.NameOf(first->first);
    const std::string b = estate_.NameOf(first->second);
    std::string text = estate_.NameOf(i) + " has its drives in different orders: " + a +
                       " before " + b + " on " + Names(one) + ", and behind it on " + Names(other);
    if (count > 1) text += " (and " + Count(count - 1, "more pair") + ")";
    Add({FindingKind::kOrder, {i, first->first, first->second}, {}, {}, std::move(text)},
        {one, other});
  }

  // The changers through which a machine may reach a drive: those that it is reserved to there, or
  // else all that the machine has.
  std::vector<std::size_t> LibrariesOf(const Sighting& sighting) {
    std::vector<std::size_t> changers = ChangersOf(sighting);
    if (!changers.empty()) return changers;
    if (machine_changers_.empty()) {
      machine_changers_.resize(estate_.machines.size());
      for (std::size_t m = 0; m < estate_.machines.size(); ++m) {
        for (const EstateDevice& device : estate_.machines[m].devices) {
          if (device.type == kTypeChanger && device.device != kNoDevice) {
            machine_changers_[m].push_back(device.device);
          }
        }
      }
    }
    return machine_changers_[sighting.machine];
  }

  void FindLost(std::size_t i) {
    Machines seeing;
    std::vector<Sighting> gone;
    for (const Sighting& sighting : Device(i).sightings) {
      const EstateDevice& device = estate_.At(sighting);
      if (device.attached) AddMachine(seeing, sighting.machine);
      if (estate_.machines[sighting.machine].Gone(device)) gone.push_back(sighting);
    }
    std::erase_if(gone, [&seeing](const Sighting& sighting) {
      return std::binary_search(seeing.begin(), seeing.end(), sighting.machine);
    });
    if (gone.empty() || seeing.empty()) return;
    const bool is_changer = estate_.Best(Device(i)).type == kTypeChanger;
    std::unordered_set<std::size_t> libraries;
    for (const Sighting& sighting : Device(i).sightings) {
      if (is_changer || !estate_.At(sighting).attached) continue;
      for (const std::size_t changer : LibrariesOf(sighting)) libraries.insert(changer);
    }
    Machines lost;
    for (const Sighting& sighting : gone) {
      const std::vector<std::size_t> changers =
          is_changer ? std::vector<std::size_t>() : LibrariesOf(sighting);
      if (is_changer || std::any_of(changers.begin(), changers.end(), [&](std::size_t changer) {
            return libraries.contains(changer);
          })) {
        AddMachine(lost, sighting.machine);
      }
    }
    if (lost.empty()) return;
    std::string text = estate_.NameOf(i) + " is gone on " + Names(lost) + ", and attached to " +
                       Names(seeing) + (is_changer ? "" : ", with the same library");
    Add({FindingKind::kLost, {i}, {}, {}, std::move(text)}, {lost});
  }

  Estate& estate_;
  std::vector<std::vector<std::size_t>> machine_changers_;  // made when it is asked for
};

// The first of those that say most.
Sighting FindBest(const Estate& estate, const SharedDevice& device) {
  const auto score = [&estate](const Sighting& sighting) {
    const EstateDevice& one = estate.At(sighting);
    return (one.serial_number.empty() ? 0 : 4) + (one.attached ? 2 : 0) +
           (HasId(one.world_wide_id) ? 1 : 0);
  };
  return *std::max_element(
      device.sightings.begin(), device.sightings.end(),
      [&score](const Sighting& a, const Sighting& b) { return score(a) < score(b); });
}

}  // namespace

bool EstateDevice::HasIdentity() const { return !serial_number.empty() || HasId(world_wide_id); }

bool EstateDevice::Disabled() const {
  return std::any_of(reservations.begin(), reservations.end(),
                     [](const Reservation& reservation) { return reservation.disabled; });
}

const char* FindingCode(FindingKind kind) {
  switch (kind) {
    case FindingKind::kDisabled:
      return "disabled";
    case FindingKind::kOrder:
      return "order";
    case FindingKind::kChanger:
      return "changer";
    case FindingKind::kLost:
      return "lost";
    case FindingKind::kTwins:
      break;
  }
  return "twins";
}

std::string Estate::NameOf(std::size_t device) const {
  const EstateDevice& best = Best(devices[device]);
  return std::string(Noun(best)) + ' ' +
         (best.serial_number.empty() ? IdText(best.world_wide_id) : best.serial_number);
}

std::string SummaryOf(const Estate& estate) {
  const auto changers = static_cast<std::size_t>(std::count_if(
      estate.devices.begin(), estate.devices.end(),
      [&estate](const SharedDevice& device) { return estate.Best(device).type == kTypeChanger; }));
  std::string text = Count(estate.machines.size(), "machine") + ", " + Count(changers, "changer") +
                     " and " + Count(estate.devices.size() - changers, "drive");
  if (estate.findings.empty()) return text + ", on which all agree";
  return text + "; " + std::to_string(estate.findings.size()) +
         (estate.findings.size() == 1 ? " thing does" : " things do") + " not agree";
}

Estate JoinMachines(std::vector<EstateMachine> machines) {
  Estate estate;
  std::sort(machines.begin(), machines.end(),
            [](const EstateMachine& a, const EstateMachine& b) { return a.name < b.name; });
  estate.machines = std::move(machines);
  Joining joining(estate.machines);
  joining.Run();
  estate.devices = std::move(joining.devices);
  for (SharedDevice& device : estate.devices) device.best = FindBest(estate, device);
  const std::vector<std::size_t> places = Ordering(estate).Run();
  std::vector<SharedDevice> ordered(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    SharedDevice& device = estate.devices[i];
    if (device.changer) device.changer = places[*device.changer];
    for (const Sighting& sighting : device.sightings) {
      estate.machines[sighting.machine].devices[sighting.device].device = places[i];
    }
    ordered[places[i]] = std::move(device);
  }
  estate.devices = std::move(ordered);
  for (Finding& finding : joining.twins) {
    for (std::size_t& device : finding.devices) device = places[device];
    std::sort(finding.devices.begin(), finding.devices.end());
  }
  Comparison(estate).Run(std::move(joining.twins));
  return estate;
}

}  // namespace devprep::tool
