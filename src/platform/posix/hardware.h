// The hardware source in use, chosen by the environment.
#ifndef DEVPREP_PLATFORM_POSIX_HARDWARE_H_
#define DEVPREP_PLATFORM_POSIX_HARDWARE_H_

#include <memory>
#include <string>

#include "platform/hardware/hardware_source.h"

namespace devprep {

// The environment variable that chooses the source: kLiveHardware (also when unset or empty), an
// iSCSI portal (iscsi_url.h), or the path of a capture.
inline constexpr const char* kHardwareVariable = "DEVPREP_HARDWARE";
inline constexpr const char* kLiveHardware = "live";

// The name of the source that the environment chooses.
std::string HardwareName();

// Makes the next CurrentHardware look whether the choice, or the capture behind it, has changed.
// Called where a transaction begins: within one, the machine stays the same.
void HardwareMayHaveChanged();

// The source in use. Null when it cannot be opened; the reason has then been reported, once for
// each state of the capture.
HardwareSource* CurrentHardware();

// Whether the source in use was lost since, or has attached units that are in no device map because
// they did not answer: what was learnt is then no machine to store. The reason has been reported.
bool HardwareLost();

// Whether to go on without units that did not answer; not at first. HardwareSource::SilentUnits
// names them.
void SetSilentUnitsAccepted(bool accepted);

// Puts a source in the place of the one that the environment chooses, for tests and benchmarks.
// Null: the environment chooses again.
void UseHardware(std::unique_ptr<HardwareSource> source);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_HARDWARE_H_
