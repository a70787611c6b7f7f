// Seam to the registry: the Windows registry functions under their own names and signatures. On
// Windows they are ADVAPI32's. Elsewhere src/platform/posix keeps a registry in a file and answers
// with the same results, error numbers included.
//
// Elsewhere than on Windows:
//  - Key and value names compare without regard to ASCII case and keep their first spelling.
//  - Values enumerate in order of creation: a value written again keeps its place. Sub-keys
//    enumerate sorted by name, as a Windows hive gives them.
//  - HKEY_LOCAL_MACHINE is the only predefined key. Its branch HARDWARE is read-only and comes from
//    the hardware source (hardware.h); everything else is in the registry file.
//  - Data too long for a buffer gives ERROR_MORE_DATA and leaves the buffer as it was.
#ifndef DEVPREP_PLATFORM_REGISTRY_H_
#define DEVPREP_PLATFORM_REGISTRY_H_

#include <cstdint>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else

using BYTE = std::uint8_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using REGSAM = std::uint32_t;
using HKEY = struct OpenRegistryKey*;
using PHKEY = HKEY*;
struct SECURITY_ATTRIBUTES;
struct FILETIME;

// NOLINTNEXTLINE(performance-no-int-to-ptr): the predefined handle is a number by definition.
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002U});

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline constexpr REGSAM MAXIMUM_ALLOWED = 0x02000000;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_BAD_PATHNAME = 161;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;
inline constexpr LONG ERROR_BADDB = 1009;
inline constexpr LONG ERROR_KEY_DELETED = 1018;

// Each returns ERROR_SUCCESS or one of the numbers above. Sizes are in bytes; those of names count
// the terminating NUL on the way in and leave it out on the way out.
LONG RegOpenKeyExA(HKEY key, const char* sub_key, DWORD options, REGSAM access, PHKEY result);
LONG RegOpenKeyA(HKEY key, const char* sub_key, PHKEY result);
LONG RegCreateKeyExA(HKEY key, const char* sub_key, DWORD reserved, char* class_name, DWORD options,
                     REGSAM access, const SECURITY_ATTRIBUTES* security, PHKEY result,
                     DWORD* disposition);
LONG RegCreateKeyA(HKEY key, const char* sub_key, PHKEY result);
LONG RegCloseKey(HKEY key);
LONG RegQueryInfoKeyA(HKEY key, char* class_name, DWORD* class_size, DWORD* reserved,
                      DWORD* sub_keys, DWORD* max_sub_key, DWORD* max_class, DWORD* values,
                      DWORD* max_value_name, DWORD* max_value, DWORD* security,
                      FILETIME* last_write);
LONG RegEnumKeyExA(HKEY key, DWORD index, char* name, DWORD* name_size, DWORD* reserved,
                   char* class_name, DWORD* class_size, FILETIME* last_write);
LONG RegEnumValueA(HKEY key, DWORD index, char* name, DWORD* name_size, DWORD* reserved,
                   DWORD* type, BYTE* data, DWORD* data_size);
LONG RegQueryValueExA(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* data_size);
LONG RegSetValueExA(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD data_size);
LONG RegDeleteKeyA(HKEY key, const char* sub_key);
LONG RegDeleteValueA(HKEY key, const char* name);

#endif

namespace devprep {

// A reason for RegistryFail.
inline constexpr const char* kNoMemory = "not enough memory: nothing was changed";

// One export is one transaction: between the outermost RegistryBegin and its RegistryCommit other
// processes are kept out of the registry file, changes stay in memory, and the commit replaces the
// file once if anything changed. Pairs nest; a registry call outside any pair is a transaction of
// its own. On Windows, where each registry call stands for itself, both do nothing. Throws
// std::bad_alloc, and has then begun nothing; so do the calls above, elsewhere than on Windows.
void RegistryBegin();

// Returns whether all that was changed is stored. After false the reason has gone to standard
// error, and the registry is as it was before the outermost RegistryBegin, unless RegistryInPlace.
bool RegistryCommit();

// After the outermost RegistryCommit: whether what was changed is in the registry. Also when it
// returned false because a power cut may still undo that.
bool RegistryInPlace();

// Within a transaction: what was done cannot be relied on, for reason, which goes to standard
// error. The outermost RegistryCommit then stores nothing and returns false. Does nothing on
// Windows.
void RegistryFail(const char* reason);

// The branch of HKEY_LOCAL_MACHINE that is the product's.
inline constexpr char kProductBranch[] = "SOFTWARE\\Tamberline";

// Between these two all changes are tried only: transactions within are part of the trial, and its
// end throws away what was changed. To be called while no key is open and, elsewhere than on
// Windows, outside any transaction. On Windows a copy of the product's branch and of the device map
// stands in the place of HKEY_LOCAL_MACHINE until then, for this process. Returns false when the
// trial cannot begin; the reason has been reported, and nothing is to be ended.
bool RegistryBeginTrial();

// Does nothing when there is no trial. On Windows also at the end of the process.
void RegistryEndTrial();

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_H_
