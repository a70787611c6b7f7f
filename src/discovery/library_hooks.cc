#include "discovery/library_hooks.h"

#include <cstddef>
#include <cstdio>

#include "platform/modules.h"
#include "store/diagnostic_log.h"
#include "store/key_handle.h"
#include "store/product_paths.h"

namespace devprep {

constinit IsLibraryRegular IsLibraryRegularHook = nullptr;

namespace {

constinit bool ModulesLeftOut = false;

constexpr std::size_t kModulePathSize = 256;
constexpr const char* kAcslsModule = "ACSLSLNK.DLL";
constexpr const char* kVirtualLibraryModule = "VLMLNK.DLL";

using InitAcsls = void(DEVPREP_MODULE_CALL*)();
using Initialize = std::uint32_t(DEVPREP_MODULE_CALL*)();
using OpenHomeKey = decltype(&KeyHandle::Open);

template <typename Entry>
Entry FindEntry(HMODULE module, const char* name) {
  return reinterpret_cast<Entry>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

int LastError() { return static_cast<int>(GetLastError()); }

// Loads a module from the home directory. Without a home directory, or with one so long that the
// path does not fit, the path stays empty and the load fails.
HMODULE LoadFromHome(OpenHomeKey open_home_key, const char* module_name) {
  char module_path[kModulePathSize] = "";
  KeyHandle key;
  if ((key.*open_home_key)(HKEY_LOCAL_MACHINE, kHomeKeyPath.text, MAXIMUM_ALLOWED) ==
      ERROR_SUCCESS) {
    char home[kHomePathSize];
    if (ReadHomeValue(key.Get(), home)) {
      const int length =
          std::snprintf(module_path, sizeof module_path, "%s\\%s", home, module_name);
      if (length < 0 || static_cast<std::size_t>(length) >= sizeof module_path) {
        module_path[0] = '\0';
      }
    }
  }
  return ModulesLeftOut ? nullptr : LoadProductModule(module_path);
}

}  // namespace

void StartAcslsLink() {
  HMODULE module = LoadFromHome(&KeyHandle::Create, kAcslsModule);
  if (module == nullptr) {
    if (!ModulesLeftOut) LogMessage("Unable to load ACSLSLNK.DLL library EC %d", LastError());
    return;
  }
  const auto init = FindEntry<InitAcsls>(module, "InitACSLS");
  if (init != nullptr) init();
}

void StartVirtualLibraryManager() {
  HMODULE module = LoadFromHome(&KeyHandle::Open, kVirtualLibraryModule);
  if (module == nullptr) {
    if (!ModulesLeftOut) LogMessage("Unable to load VLMLNK.DLL library EC %d", LastError());
    return;
  }
  const auto initialize = FindEntry<Initialize>(module, "VLMLNKInitialize");
  if (initialize == nullptr) {
    LogMessage("GetProcAddress Failed for VLMLNKInitialize. EC = %d", LastError());
    FreeLibrary(module);
    return;
  }
  const std::uint32_t failure = initialize();
  if (failure != 0) {
    FreeLibrary(module);
    LogMessage("Failed to initialise the virtual library manager EC %d", static_cast<int>(failure));
    return;
  }
  IsLibraryRegularHook = FindEntry<IsLibraryRegular>(module, "VLMLNKIsLibraryRegular");
  if (IsLibraryRegularHook == nullptr) {
    LogMessage("GetProcAddress Failed for VLMLNKIsLibraryRegular. EC = %d", LastError());
  }
}

void LeaveModulesOut(bool left_out) { ModulesLeftOut = left_out; }

void ResetLibraryHooks() { IsLibraryRegularHook = nullptr; }

}  // namespace devprep
