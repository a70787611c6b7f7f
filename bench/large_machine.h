// The largest machines that the tape engine configures, for measurements.
#ifndef DEVPREP_BENCH_LARGE_MACHINE_H_
#define DEVPREP_BENCH_LARGE_MACHINE_H_

#include <cstdint>
#include <string>

namespace devprep {

inline constexpr std::uint16_t kMaxUnits = 256;

// How many RAIDs a machine has, and how each of them is made up: one reserved drive after the other
// of the first changer, and that changer before some others.
inline constexpr std::uint16_t kMaxBenchRaids = 8;
inline constexpr std::uint16_t kTapesOfRaid = 2;
inline constexpr std::uint16_t kChangersOfRaid = 4;

// The units of a machine: every kUnitsPerChanger-th is a changer, the others are tape drives.
inline constexpr std::uint16_t kUnitsPerChanger = 8;

// The number of the RAID's tape i and of changer i of the machine.
std::uint16_t RaidTape(std::uint16_t raid, std::uint16_t i);
std::uint16_t ChangerNumber(std::uint16_t i);

enum class Cabling : std::uint8_t {
  kInPlace,  // every old device is where it was
  kMoved,    // a quarter of them is now on another port
};

struct Machine {
  std::string registry;  // the text of the registry file: the old configuration
  std::string hardware;  // the text of a hardware capture: what is attached now
};

// A machine of that many units, 32 to kMaxUnits. Its old configuration holds all of them, up to
// the 255 that can be configured: every setting of every device, 32 reserved drives for each
// changer, 16 groups of up to 32 members, and up to kMaxBenchRaids RAIDs. Works on the registry of
// the environment (see Workbench) and leaves it as it was.
Machine BuildMachine(std::uint16_t units, std::uint16_t raids, Cabling cabling);

}  // namespace devprep

#endif  // DEVPREP_BENCH_LARGE_MACHINE_H_
