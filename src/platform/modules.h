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

// Loads a module of the product, whose path comes from the registry. Null on failure, GetLastError
// then says why. Elsewhere than on Windows only from an absolute path, and only when nobody but
// root and the user of this process can have put there what is in the module or the registry file
// (posix/trusted_path.h); a module that is there and not loaded for that is warned of.
HMODULE LoadProductModule(const char* path);

// Opens a file for appending by a path in the product's spelling (backslashes); it is created when
// missing. Null on failure. Elsewhere than on Windows a link, or what is no regular file, is one.
std::FILE* OpenProductFileToAppend(const char* path);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_MODULES_H_
