#include "platform/windows/registry_tree.h"

#include <algorithm>
#include <string>
#include <vector>

namespace devprep {
namespace {

LSTATUS SetValue(HKEY key, const RegistryValue& value) {
  // A text that lacks its NUL is stored with one when there happens to be one behind it.
  std::string data = value.data;
  data += '\xFF';
  return RegSetValueExA(key, value.name.c_str(), 0, value.type,
                        reinterpret_cast<const BYTE*>(data.data()),
                        static_cast<DWORD>(value.data.size()));
}

}  // namespace

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

LSTATUS WriteKeyTree(HKEY key, const RegistryKey& now, const RegistryKey& wanted) {
  LSTATUS status = ERROR_SUCCESS;
  const auto& stored_values = now.Values();
  const auto& values = wanted.Values();
  // Values have an order, of which the first names a group: what is out of place is made anew.
  const auto [stored_rest, rest] =
      std::mismatch(stored_values.begin(), stored_values.end(), values.begin(), values.end(),
                    [](const RegistryValue& a, const RegistryValue& b) {
                      return CompareNames(a.name, b.name) == 0;
                    });
  for (auto value = stored_rest; value != stored_values.end(); ++value) {
    status = RegDeleteValueA(key, value->name.c_str());
    if (status != ERROR_SUCCESS) return status;
  }
  for (auto value = values.begin(); value != values.end(); ++value) {
    if (value < rest) {
      const RegistryValue* stored = now.FindValue(value->name);
      if (stored->type == value->type && stored->data == value->data) continue;
    }
    status = SetValue(key, *value);
    if (status != ERROR_SUCCESS) return status;
  }
  for (const auto& child : now.Children()) {
    if (wanted.FindChild(child->Name()) == nullptr) {
      status = RegDeleteTreeA(key, child->Name().c_str());
    }
    if (status != ERROR_SUCCESS) return status;
  }
  const RegistryKey none("");
  for (const auto& child : wanted.Children()) {
    HKEY opened = nullptr;
    status = RegCreateKeyExA(key, child->Name().c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                             KEY_ALL_ACCESS, nullptr, &opened, nullptr);
    if (status != ERROR_SUCCESS) return status;
    const auto stored = now.FindChild(child->Name());
    status = WriteKeyTree(opened, stored == nullptr ? none : *stored, *child);
    RegCloseKey(opened);
    if (status != ERROR_SUCCESS) return status;
  }
  return status;
}

}  // namespace devprep
