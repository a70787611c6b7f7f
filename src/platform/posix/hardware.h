// The hardware source in use, chosen by the environment.
#ifndef DEVPREP_PLATFORM_POSIX_HARDWARE_H_
#define DEVPREP_PLATFORM_POSIX_HARDWARE_H_

#include <memory>
#include <string>

#include "platform/hardware/hardware_source.h"

namespace devprep {

// The environment variable that chooses the source: kLiveHardware (also when unset or empty), an
// iSCSI portal (iscsi_source.h), or the path of a capture.
inline constexpr const char* kHardwareVariable = "DEVPREP_HARDWARE";
inline constexpr const char* kLiveHardware = "live";

// The name of the source that the environment chooses.
std::string HardwareName();

// Makes the next CurrentHardware look whether the choice, or the capture behind it, has changed.
// Called where a transaction begins: within one, the machine stays the same.
void HardwareMayHaveChanged();

// The source in use. Null when it cannot be had; the reason has then gone to standard error, once
// for each state of the capture.
HardwareSource* CurrentHardware();

// Whether the source in use was lost since. The reason has then gone to standard error.
bool HardwareLost();

// Puts a source in the place of the one that the environment chooses, for tests and benchmarks.
// Null: the environment chooses again.
void UseHardware(std::unique_ptr<HardwareSource> source);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_HARDWARE_H_
