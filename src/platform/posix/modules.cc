#include "platform/modules.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/posix/heap_fault.h"

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

void FailGlobalAlloc(int nth) { allocations_until_failure = nth; }

// Nothing calls the support module, and there is none to be had here.
void LoadSupportModule() {}

std::FILE* OpenProductFile(const char* path, const char* mode) {
  return std::fopen(NativePath(path).c_str(), mode);
}

}  // namespace devprep
