#include "platform/windows/registry_tree.h"

#include <string>
#include <vector>

namespace devprep {

void ReadKeyTree(HKEY key, RegistryKey& tree) {
  std::vector<char> name(kMaxValueName + 1);
  DWORD longest = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                   &longest, nullptr, nullptr);
  std::vector<char> data(longest + 2);
  for (DWORD i = 0;; ++i) {
    auto name_size = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    const LSTATUS status = RegEnumValueA(key, i, name.data(), &name_size, nullptr, &type,
                                         reinterpret_cast<BYTE*>(data.data()), &size);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status == ERROR_SUCCESS) tree.SetValue({name.data(), name_size}, type, {data.data(), size});
  }
  for (DWORD i = 0;; ++i) {
    auto name_size = static_cast<DWORD>(name.size());
    if (RegEnumKeyExA(key, i, name.data(), &name_size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    HKEY child = nullptr;
    if (RegOpenKeyExA(key, name.data(), 0, KEY_READ, &child) != ERROR_SUCCESS) continue;
    ReadKeyTree(child, *tree.FindOrAddChild({name.data(), name_size}));
    RegCloseKey(child);
  }
}

}  // namespace devprep
