#include "estate_findings.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_set>
#include <utility>

#include "output.h"
#include "platform/messages.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kNamesTold = 4;  // of machines or devices in a sentence

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

// What the machines do not agree on.
class Comparison {
 public:
  explicit Comparison(Estate& estate) : estate_(estate) {}

  void Run(std::vector<std::vector<std::size_t>> twins) {
    for (std::vector<std::size_t>& devices : twins) {
      std::vector<Machines> sides;
      sides.reserve(devices.size());
      for (const std::size_t i : devices) sides.push_back(MachinesOf(i));
      std::string text = TwinsText(devices);
      Add({FindingKind::kTwins, std::move(devices), {}, {}, std::move(text)}, sides);
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

  std::string TwinsText(const std::vector<std::size_t>& devices) const {
    const EstateDevice& first = estate_.Best(Device(devices.front()));
    bool one_serial_number = true;
    bool one_id = true;
    bool one_product = true;
    std::vector<std::string> bearers;
    for (const std::size_t i : devices) {
      const EstateDevice& device = estate_.Best(Device(i));
      one_serial_number = one_serial_number && device.serial_number == first.serial_number;
      one_id = one_id && device.world_wide_id == first.world_wide_id;
      one_product = one_product && device.Product() == first.Product();
    }
    for (const std::size_t i : devices) {
      if (bearers.size() == kNamesTold) break;
      const EstateDevice& device = estate_.Best(Device(i));
      const std::string bearer = !one_serial_number ? device.serial_number
                                 : one_id           ? *device.description
                                                    : WorldWideIdText(device.world_wide_id);
      bearers.push_back((bearer.empty() ? "none" : bearer) + " on " + Names(MachinesOf(i)));
    }
    const char* const differ = !one_serial_number ? " but differ in serial number"
                               : !one_id          ? " but differ in World Wide ID"
                               : !one_product     ? " but differ in product"
                                                  : "";
    std::string text = std::to_string(devices.size()) + ' ' + first.Noun() + "s have ";
    text += one_serial_number ? "serial number " + first.serial_number
                              : "World Wide ID " + WorldWideIdText(first.world_wide_id);
    text += differ;
    return text + ": " + ListedApart(bearers, devices.size());
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

}  // namespace

void CompareMachines(Estate& estate, std::vector<std::vector<std::size_t>> twins) {
  Comparison(estate).Run(std::move(twins));
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

}  // namespace devprep::tool
