#include "platform/modules.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/messages.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/heap_fault.h"
#include "platform/posix/registry_file.h"
#include "platform/posix/trusted_path.h"
#include "platform/result.h"

namespace {

constinit DWORD last_error = 0;
constinit int allocations_until_failure = 0;

std::string NativePath(const char* path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

}  // namespace

HMODULE LoadLibraryExA(const char* path, HANDLE /*file*/, DWORD /*flags*/) {
  const std::string native = NativePath(path);
  // Without a name dlopen would give the program itself.
  HMODULE module = native.empty() ? nullptr : dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) last_error = ERROR_MOD_NOT_FOUND;
  return module;
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  auto entry = reinterpret_cast<FARPROC>(dlsym(module, name));
  if (entry == nullptr) last_error = ERROR_PROC_NOT_FOUND;
  return entry;
}

int FreeLibrary(HMODULE module) { return dlclose(module) == 0 ? 1 : 0; }

DWORD GetLastError() { return last_error; }

void* GlobalAlloc(DWORD flags, std::size_t size) {
  if (allocations_until_failure > 0 && --allocations_until_failure == 0) return nullptr;
  return (flags & GMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
}

void* GlobalFree(void* memory) {
  std::free(memory);
  return nullptr;
}

namespace devprep {
namespace {

// The module to load, links resolved, or why it is not to be loaded.
Result<std::string> CheckModule(const std::string& path) {
  if (!path.starts_with('/')) return Error{"its path is not absolute"};
  const std::string registry = RegistryFilePath();
  // A registry that is yet to be stored has been filled by this process.
  if (::access(registry.c_str(), F_OK) == 0) {
    if (Result<std::string> named = TrustedPath(registry); !named) return named;
  }
  return TrustedPath(path);
}

}  // namespace

void FailGlobalAlloc(int nth) { allocations_until_failure = nth; }

// Nothing calls the support module, and there is none to be had here.
void LoadSupportModule() {}

HMODULE LoadProductModule(const char* path) {
  const std::string native = NativePath(path);
  last_error = ERROR_MOD_NOT_FOUND;
  if (native.empty() || ::access(native.c_str(), F_OK) != 0) return nullptr;
  const Result<std::string> module = CheckModule(native);
  if (!module) {
    ReportMessage(Severity::kWarning,
                  "module " + native + " is not loaded: " + module.Failure().Text());
    return nullptr;
  }
  return LoadLibraryExA(module->c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

std::FILE* OpenProductFileToAppend(const char* path) {
  constexpr mode_t kMode = 0666;
  // Without O_NONBLOCK the opening of a FIFO would wait for its reader.
  const Result<FileHandle> file =
      OpenFile(NativePath(path), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, kMode);
  struct stat status {};
  if (!file || ::fstat(file->Get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  return ::fdopen(::fcntl(file->Get(), F_DUPFD_CLOEXEC, 0), "ab+");
}

}  // namespace devprep
