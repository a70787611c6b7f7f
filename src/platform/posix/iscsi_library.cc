#include "platform/posix/iscsi_library.h"

#include <dlfcn.h>

#include <string>

namespace devprep {
namespace {

// The version whose structures iscsi/scsi-lowlevel.h describes.
constexpr const char* kFileName = "libiscsi.so.7";
constexpr const char* kPackage = "libiscsi7";

constinit IscsiLibrary library;
constinit bool loaded = false;

Error CannotUse(const char* reason) {
  return {std::string("cannot load ") + kFileName +
          ", which iSCSI needs: " + (reason == nullptr ? "unknown error" : reason) +
          " (install the package " + kPackage + ")"};
}

}  // namespace

Result<> LoadIscsiLibrary() {
  if (loaded) return {};
  void* module = dlopen(kFileName, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return CannotUse(dlerror());
  IscsiLibrary found;
#define DEVPREP_ISCSI_LOAD(name)                                             \
  found.name = reinterpret_cast<decltype(found.name)>(dlsym(module, #name)); \
  if (found.name == nullptr) return CannotUse(dlerror());
  DEVPREP_ISCSI_FUNCTIONS(DEVPREP_ISCSI_LOAD)
#undef DEVPREP_ISCSI_LOAD
  library = found;
  loaded = true;
  return {};
}

const IscsiLibrary& Iscsi() { return library; }

}  // namespace devprep
