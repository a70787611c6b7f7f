// Seam to modules, to files named in the product's own spelling, and to the process heap. On
// Windows KERNEL32's own; elsewhere a module is an ELF shared object and backslashes in its path
// are taken as slashes.
#ifndef DEVPREP_PLATFORM_MODULES_H_
#define DEVPREP_PLATFORM_MODULES_H_

#include <cstddef>
#include <cstdio>

#include "platform/registry.h"

#if !defined(_WIN32)

using HMODULE = void*;
using HANDLE = void*;
using FARPROC = void (*)();

inline constexpr DWORD LOAD_WITH_ALTERED_SEARCH_PATH = 8;
inline constexpr DWORD GMEM_ZEROINIT = 64;
inline constexpr LONG ERROR_MOD_NOT_FOUND = 126;
inline constexpr LONG ERROR_PROC_NOT_FOUND = 127;

// Loads the module at path. Null on failure, GetLastError then gives 126.
HMODULE LoadLibraryExA(const char* path, HANDLE file, DWORD flags);
// Finds an entry by name. Null on failure, GetLastError then gives 127.
FARPROC GetProcAddress(HMODULE module, const char* name);
int FreeLibrary(HMODULE module);
DWORD GetLastError();

// Memory from the process heap, zeroed with GMEM_ZEROINIT. Null when there is none.
void* GlobalAlloc(DWORD flags, std::size_t size);
void* GlobalFree(void* memory);

#endif

namespace devprep {

// Loads the support module that installations expect in the process, without looking at the
// outcome; nothing in it is called. Where there is no such module nothing is loaded.
void LoadSupportModule();

// fopen for a path in the product's spelling (backslashes).
std::FILE* OpenProductFile(const char* path, const char* mode);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_MODULES_H_
