// A set-up program as it would be elsewhere: it shares no header with the library and knows only
// the module's name, ordinals, calling convention and byte offsets.
//   outside_caller EXPORTS-LIST
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;

int failures = 0;

void Expect(const char* what, unsigned actual, unsigned expected) {
  if (actual == expected) return;
  std::printf("%s: %u instead of %u\n", what, actual, expected);
  ++failures;
}

template <typename... Arguments>
auto Entry(HMODULE module, U16 ordinal) {
  return reinterpret_cast<U16(__cdecl*)(Arguments...)>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, MAKEINTRESOURCEA(ordinal))));
}

void Run(HMODULE module) {
  HKEY engine = nullptr;
  RegCreateKeyA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Tamberline\Vaultkeep\Base\TapeEngine)", &engine);
  RegCloseKey(engine);
  U16 raid = 99;
  Expect("configure", Entry(module, 100)(), 0);
  Expect("create", Entry<U16, U32, U16*>(module, 400)(3, 0xFFFFFFFF, &raid), 0);
  Expect("created", raid, 0);
  Expect("link position", Entry<U16, U16>(module, 501)(0, 7), 0);
  U8 record[144 + 4] = {};
  std::memset(record + 144, 0xA5, 4);
  Expect("RAID 0", Entry<U16, U8*>(module, 201)(0, record), 0);
  Expect("stripe size", record[68], 4);
  Expect("level", record[69], 3);
  Expect("link position", record[70], 7);
  Expect("behind the record", record[144] & record[147], 0xA5);
  Expect("assign", Entry<U16, U16, U8>(module, 300)(0, 7, 1), 65535);  // no such device
}

}  // namespace

int main(int argc, char** argv) {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Tamberline)");
  HMODULE module = LoadLibraryA("DEVPREP.dll");
  if (module == nullptr || argc != 2) return 1;
  Expect("support module loaded", GetModuleHandleA("kxtool") != nullptr ? 1 : 0, 1);
  std::ifstream list(argv[1]);
  unsigned exports = 0;
  for (std::string line; std::getline(list, line);) {
    unsigned ordinal = 0;
    char name[64];
    if (std::sscanf(line.c_str(), "%u %63s", &ordinal, name) != 2) continue;
    ++exports;
    const auto by_name = GetProcAddress(module, name);
    Expect(name, by_name != nullptr && by_name == GetProcAddress(module, MAKEINTRESOURCEA(ordinal)),
           1);
  }
  Expect("exports", exports, 11);
  if (failures == 0) Run(module);
  FreeLibrary(module);
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Tamberline)");
  return failures == 0 ? 0 : 1;
}
