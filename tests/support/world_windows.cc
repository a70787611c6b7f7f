// The registry of a world is the machine's own, and so is its device map, a volatile branch.
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "support/world.h"

namespace devprep::backing {
namespace {

void StoreValue(HKEY key, const Value& value) {
  // Wine looks one byte past a text for its NUL: here it finds none.
  const std::string data = value.data + 'x';
  RegSetValueExA(key, value.name.c_str(), 0, value.type, reinterpret_cast<const BYTE*>(data.data()),
                 static_cast<DWORD>(value.data.size()));
}

}  // namespace

std::string Open() {
  static int worlds = 0;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("devprep-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++worlds));
  // Process numbers come again: an earlier process may have left its modules in that folder.
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder.string();
}

void Close(const std::string& folder) {
  Attach(folder, {});
  // A module that stays loaded keeps its file.
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

void Attach(const std::string& /*folder*/, const std::vector<Key>& keys) {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, kMapKey.c_str());
  for (const Key& key : keys) {
    HKEY made = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, &made, nullptr) != ERROR_SUCCESS) {
      std::abort();
    }
    for (const Value& value : key.values) StoreValue(made, value);
    RegCloseKey(made);
  }
}

void SetEnvironment(const std::string& name, const std::string& value) {
  _putenv_s(name.c_str(), value.c_str());
}

bool ValuesKeepTheirOrder() { return false; }

}  // namespace devprep::backing
