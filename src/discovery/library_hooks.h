// The library manager modules in the product's home directory: the ACSLS module, which is only
// started, and the virtual library manager, which then judges the media changers that are found.
#ifndef DEVPREP_DISCOVERY_LIBRARY_HOOKS_H_
#define DEVPREP_DISCOVERY_LIBRARY_HOOKS_H_

#include <cstdint>

namespace devprep {

#if defined(_WIN32)
#define DEVPREP_MODULE_CALL __cdecl
#else
#define DEVPREP_MODULE_CALL
#endif

// Entry "VLMLNKIsLibraryRegular". number: the device's place among the found devices; the address;
// serial_number: 32 bytes. Returns kVirtualisedLibrary when the changer is one.
using IsLibraryRegular = std::uint32_t(DEVPREP_MODULE_CALL*)(std::uint16_t number,
                                                             std::uint32_t port, std::uint32_t bus,
                                                             std::uint32_t target,
                                                             std::uint32_t lun,
                                                             std::uint8_t* serial_number);

inline constexpr std::uint32_t kVirtualisedLibrary = 3;

// The judge of the virtual library manager. Null until that has started, and when it has none.
extern IsLibraryRegular IsLibraryRegularHook;

// Loads "%s\ACSLSLNK.DLL" from the home directory and calls its InitACSLS. The key that holds the
// home directory is created when missing. A module that does not load is logged.
void StartAcslsLink();

// Loads "%s\VLMLNK.DLL", starts it and sets IsLibraryRegularHook. A module that does not load,
// start or judge is logged.
void StartVirtualLibraryManager();

// Whether from now on the two above load nothing, and log nothing of it.
void LeaveModulesOut(bool left_out);

// Forgets the judge, as a fresh load finds it. Modules stay loaded.
void ResetLibraryHooks();

}  // namespace devprep

#endif  // DEVPREP_DISCOVERY_LIBRARY_HOOKS_H_
