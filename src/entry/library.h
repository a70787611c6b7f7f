// Start-up of the library and the configuration pass.
#ifndef DEVPREP_ENTRY_LIBRARY_H_
#define DEVPREP_ENTRY_LIBRARY_H_

#include <cstdint>

#include "platform/registry.h"

#if !defined(_WIN32)
using HINSTANCE = void*;
#define APIENTRY
inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;
#endif

// The platform's notification about processes and threads. The first process attach sets the paths;
// later ones, and detaches, are only counted. Returns 1.
extern "C" int APIENTRY DllMain(HINSTANCE module, DWORD reason, void* reserved);

namespace devprep {

// The configuration pass (devprep.h). Returns 0.
std::uint16_t SetUpInitTapesvrConfig();

// What a caller within the house may ask of the pass beside what the export does.
struct PassOptions {
  // Devices keep the settings and memberships of their numbers (follow_identity.h).
  bool FollowIdentity = false;
  // Called when the devices are found and nothing is decided yet, to ask the changers among them
  // which drives they have (FoundChangers). Null: they are not asked.
  void (*AfterProbe)() = nullptr;
};

// The pass with options; the export runs it with none. Returns 0.
std::uint16_t RunConfigurationPass(const PassOptions& options);

// Whether the key "Sim" exists under the tape engine key: while it does, the configuration is never
// rebuilt. One that cannot be opened with full access counts as absent.
bool SimKeyExists();

// Puts all process-wide state back to how a fresh load finds it, for tests that live through
// several processes.
void ResetProcessState();

}  // namespace devprep

#endif  // DEVPREP_ENTRY_LIBRARY_H_
