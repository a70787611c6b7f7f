#include "estate_recognition.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace devprep::tool {
namespace {

const std::string& KeptSerialNumber(const EstateDevice& device) {
  return device.kept_serial_number.empty() ? device.serial_number : device.kept_serial_number;
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
  explicit Joining(std::vector<EstateMachine>& machines) : machines_(machines) {}

  void Run() {
    std::vector<Sighting> by_serial_number;
    std::vector<Sighting> by_id;
    for (std::uint32_t m = 0; m < machines_.size(); ++m) {
      for (std::uint32_t d = 0; d < machines_[m].devices.size(); ++d) {
        const EstateDevice& device = machines_[m].devices[d];
        if (!device.serial_number.empty()) {
          by_serial_number.push_back({m, d});
        } else if (HasWorldWideId(device.world_wide_id)) {
          by_id.push_back({m, d});
        }
      }
    }
    JoinBySerialNumber(by_serial_number);
    JoinById(by_id);
    FindSharedIds();
  }

  RecognisedDevices Result() && { return std::move(result_); }

 private:
  EstateDevice& At(const Sighting& sighting) const {
    return machines_[sighting.machine].devices[sighting.device];
  }

  void Add(std::vector<Sighting> sightings) {
    for (const Sighting& sighting : sightings) At(sighting).device = result_.devices.size();
    result_.devices.push_back({std::move(sightings), {}, {}});
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
      bearers[trait.serial_number].push_back(result_.devices.size());
      Add(std::move(sightings));
    }
    for (auto& [serial_number, twin] : bearers) {
      if (twin.size() > 1) result_.twins.push_back(std::move(twin));
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
      Trait trait = {device.serial_number, device.world_wide_id, device.Product()};
      if (device.cut && whole.size() == 1) trait.serial_number = *whole.begin();
      if (HasWorldWideId(trait.world_wide_id)) {
        ids[{trait.serial_number, trait.product}].insert(trait.world_wide_id);
      }
      traits.push_back(std::move(trait));
    }
    for (Trait& trait : traits) {
      if (HasWorldWideId(trait.world_wide_id)) continue;
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
      if (HasWorldWideId(At(sighting).world_wide_id)) key.second = At(sighting).world_wide_id;
    }
    return key;
  }

  // Those that give no serial number.
  void JoinById(const std::vector<Sighting>& all) {
    if (all.empty()) return;
    std::vector<SharedDevice>& devices = result_.devices;
    std::map<IdKey, std::size_t> known;
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const IdKey key = IdOf(devices[i]);
      if (!HasWorldWideId(key.second)) continue;
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
      std::sort(device.sightings.begin(), device.sightings.end(),
                [](const Sighting& a, const Sighting& b) {
                  return std::tie(a.machine, a.device) < std::tie(b.machine, b.device);
                });
    }
  }

  // Devices of different serial numbers with one World Wide ID.
  void FindSharedIds() {
    const std::vector<SharedDevice>& devices = result_.devices;
    std::unordered_map<std::string, std::vector<std::size_t>> bearers;
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const auto [type, id] = IdOf(devices[i]);
      if (!HasWorldWideId(id)) continue;
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
    for (auto& [first, twin] : shared) result_.twins.push_back(std::move(twin));
  }

  std::vector<EstateMachine>& machines_;
  RecognisedDevices result_;
};

}  // namespace

RecognisedDevices RecogniseDevices(std::vector<EstateMachine>& machines) {
  Joining joining(machines);
  joining.Run();
  return std::move(joining).Result();
}

}  // namespace devprep::tool
