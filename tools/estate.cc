#include "estate.h"

#include <algorithm>
#include <map>
#include <utility>

#include "estate_findings.h"
#include "estate_recognition.h"
#include "output.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kProductSize = 24;  // vendor and product, before the revision

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
    return {0, device.type == kTypeTape, 0, device.IdentityText()};
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

// The first of those that say most.
Sighting FindBest(const Estate& estate, const SharedDevice& device) {
  const auto score = [&estate](const Sighting& sighting) {
    const EstateDevice& one = estate.At(sighting);
    return (one.serial_number.empty() ? 0 : 4) + (one.attached ? 2 : 0) +
           (HasWorldWideId(one.world_wide_id) ? 1 : 0);
  };
  return *std::max_element(
      device.sightings.begin(), device.sightings.end(),
      [&score](const Sighting& a, const Sighting& b) { return score(a) < score(b); });
}

}  // namespace

bool HasWorldWideId(const WorldWideId& id) { return id != WorldWideId{}; }

std::string WorldWideIdText(const WorldWideId& id) {
  if (!HasWorldWideId(id)) return "";
  return Hexadecimal({reinterpret_cast<const char*>(id.data()), id.size()});
}

bool EstateDevice::HasIdentity() const {
  return !serial_number.empty() || HasWorldWideId(world_wide_id);
}

std::string EstateDevice::IdentityText() const {
  return serial_number.empty() ? WorldWideIdText(world_wide_id) : serial_number;
}

std::string EstateDevice::Product() const {
  std::string product = description->substr(0, kProductSize);
  std::erase(product, ' ');
  return product;
}

const char* EstateDevice::Noun() const { return type == kTypeChanger ? "changer" : "drive"; }

bool EstateDevice::Disabled() const {
  return std::any_of(reservations.begin(), reservations.end(),
                     [](const Reservation& reservation) { return reservation.disabled; });
}

Term DeviceStateName(DeviceState state) {
  switch (state) {
    case DeviceState::kGone:
      return {"gone", "gone"};
    case DeviceState::kDisabled:
      return {"disabled", "disabled"};
    case DeviceState::kNotConfigured:
      return {"not_configured", "not configured"};
    case DeviceState::kLoose:
      return {"loose", "loose"};
    case DeviceState::kInUse:
      break;
  }
  return {};
}

DeviceState EstateMachine::StateOf(const EstateDevice& device) const {
  if (Gone(device)) return DeviceState::kGone;
  if (device.Disabled()) return DeviceState::kDisabled;
  if (!device.number) {
    return has_configuration ? DeviceState::kNotConfigured : DeviceState::kInUse;
  }
  const bool loose = device.type == kTypeTape && device.reservations.empty();
  return loose ? DeviceState::kLoose : DeviceState::kInUse;
}

std::string Estate::NameOf(std::size_t device) const {
  const EstateDevice& best = Best(devices[device]);
  return std::string(best.Noun()) + ' ' + best.IdentityText();
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
  RecognisedDevices recognised = RecogniseDevices(estate.machines);
  estate.devices = std::move(recognised.devices);
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
  for (std::vector<std::size_t>& twins : recognised.twins) {
    for (std::size_t& device : twins) device = places[device];
    std::sort(twins.begin(), twins.end());
  }
  CompareMachines(estate, std::move(recognised.twins));
  return estate;
}

}  // namespace devprep::tool