// Many machines at once: which of them see each tape drive and changer, and what they do not agree
// on. Nothing here reads a file or asks a machine.
#ifndef DEVPREP_TOOLS_ESTATE_H_
#define DEVPREP_TOOLS_ESTATE_H_

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "listing.h"
#include "platform/registry/registry_key.h"
#include "platform/result.h"
#include "records/device_record.h"
#include "records/group_record.h"
#include "records/raid_limits.h"

namespace devprep::tool {

// Texts that many devices share, each kept once.
class TextPool {
 public:
  // Lasts as long as the pool.
  const std::string* Keep(std::string text) { return &*texts_.insert(std::move(text)).first; }

 private:
  std::unordered_set<std::string> texts_;  // its elements stay where they are
};

using WorldWideId = std::array<std::uint8_t, kWorldWideIdSize>;

// Whether it is one: zeros are none.
bool HasWorldWideId(const WorldWideId& id);

// As hexadecimal digits. Empty for none.
std::string WorldWideIdText(const WorldWideId& id);

// A place in a changer's list of reserved drives.
struct Reservation {
  std::uint16_t changer = 0;  // in the devices of the machine
  std::uint16_t place = 0;
  bool disabled = false;
};

inline constexpr std::size_t kNoDevice = std::numeric_limits<std::size_t>::max();

// A tape drive or changer of one machine: attached, configured or both.
struct EstateDevice {
  std::uint16_t type = kTypeTape;
  DeviceAddress address = {};  // where it is attached, or else configured
  bool attached = false;
  std::optional<std::uint16_t> number;  // of one that is configured
  // Blanks trimmed, what cannot be printed in hexadecimal. Empty: none.
  std::string serial_number;
  std::string kept_serial_number;  // what a record keeps of it; empty: all
  bool cut = false;                // the serial number may go on: a record keeps the beginning
  WorldWideId world_wide_id = {};
  const std::string* description = nullptr;  // vendor, product and revision
  std::vector<std::string> nodes;            // paths, without links
  std::bitset<kMaxGroups> groups;
  std::bitset<kMaxRaids> raids;
  std::vector<Reservation> reservations;  // of a drive
  std::vector<std::uint16_t> drives;      // of a changer: its reserved drives, in order, in the
                                          // devices of the machine; kDeviceGone: not configured
  std::size_t device = kNoDevice;         // in the devices of the estate; none without identity

  bool HasIdentity() const;
  // The serial number, or else the World Wide ID.
  std::string IdentityText() const;
  // Vendor and product, without blanks: not every record keeps them.
  std::string Product() const;
  // "changer" or "drive".
  const char* Noun() const;
  bool Disabled() const;
};

// How a device stands on a machine.
enum class DeviceState : std::uint8_t {
  kInUse,          // or nothing speaks against it
  kGone,           // configured, but not attached any more
  kDisabled,       // where it is reserved
  kNotConfigured,  // attached alone, though the configuration is known
  kLoose           // a drive that is reserved to no changer
};

// Without identifier and text for one in use.
Term DeviceStateName(DeviceState state);

struct EstateMachine {
  std::string name;
  bool has_hardware = false;       // what is attached is known
  bool has_configuration = false;  // what is configured is known
  std::size_t left_out = 0;        // units beyond what the library takes of the device map
  std::vector<EstateDevice> devices;

  // Configured, but not attached any more.
  bool Gone(const EstateDevice& device) const { return has_hardware && !device.attached; }
  DeviceState StateOf(const EstateDevice& device) const;
};

// What there is of one machine. device_map: the key of its device map with what its devices answer;
// engine: the tape engine key. Each may be null. Whatever these hold, what makes no sense is passed
// over as the library does.
EstateMachine ReadMachine(const std::string& name, const RegistryKey* device_map,
                          const RegistryKey* engine, TextPool& texts);

// A device of a machine.
struct Sighting {
  std::uint32_t machine = 0;  // in the machines of the estate
  std::uint32_t device = 0;   // in the devices of the machine
};

// One drive or changer, whoever sees it.
struct SharedDevice {
  std::vector<Sighting> sightings;     // in the order of the machines
  Sighting best;                       // the one that says most of it
  std::optional<std::size_t> changer;  // that most machines reserve it to, in the devices
};

enum class FindingKind : std::uint8_t {
  kDisabled,  // disabled here and used there
  kOrder,     // the drives of one library are reserved in different orders
  kChanger,   // reserved to one changer here, and to another there
  kLost,      // gone here, and there where machines share its library
  kTwins,     // more than one device has the identity
};

struct Finding {
  FindingKind kind = FindingKind::kDisabled;
  std::vector<std::size_t> devices;     // in the devices of the estate; the first is its subject
  std::vector<std::uint32_t> machines;  // that it is about, ascending
  std::vector<std::uint32_t> odd;       // those of them that most others contradict; all where
                                        // it is not known who is right
  std::string text;
};

// "disabled" and so on.
const char* FindingCode(FindingKind kind);

struct Estate {
  std::vector<EstateMachine> machines;  // by name
  // Each changer is followed by the drives that are reserved to it, in order; loose drives are
  // last.
  std::vector<SharedDevice> devices;
  std::vector<Finding> findings;  // by device

  const EstateDevice& At(const Sighting& sighting) const {
    return machines[sighting.machine].devices[sighting.device];
  }
  const EstateDevice& Best(const SharedDevice& device) const { return At(device.best); }
  // "drive DRV-0001".
  std::string NameOf(std::size_t device) const;
};

// "4 machines, 2 changers and 6 drives; 5 things do not agree".
std::string SummaryOf(const Estate& estate);

// Recognises devices by serial number, else by World Wide ID, and compares what the machines say.
// Takes time in proportion to the devices of all machines.
Estate JoinMachines(std::vector<EstateMachine> machines);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ESTATE_H_
