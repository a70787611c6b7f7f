// The registry of a world is a file in a folder of its own, its machine a capture beside it.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/posix/hardware.h"
#include "platform/posix/registry_file.h"
#include "platform/registry/registry_text.h"
#include "support/world.h"

namespace devprep::backing {

std::string Open() {
  std::string folder = std::filesystem::temp_directory_path() / "devprep-test-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) std::abort();
  umask(022);  // modules are not loaded from where a group may write
  setenv(kRegistryVariable, (folder + "/registry.reg").c_str(), 1);
  setenv(kHardwareVariable, (folder + "/machine.reg").c_str(), 1);
  return folder;
}

void Close(const std::string& folder) { std::filesystem::remove_all(folder); }

void Attach(const std::string& folder, const std::vector<Key>& keys) {
  RegistryKey root("");
  for (const Key& key : keys) {
    auto at = root.FindOrAddChild(kLocalMachineName);
    std::string rest = key.path;
    while (!rest.empty()) {
      const std::size_t cut = std::min(rest.find('\\'), rest.size());
      at = at->FindOrAddChild(rest.substr(0, cut));
      rest.erase(0, cut + 1);
    }
    for (const Value& value : key.values) at->SetValue(value.name, value.type, value.data);
  }
  std::ofstream(folder + "/machine.reg", std::ios::binary) << WriteRegistryText(root);
}

void SetEnvironment(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

bool ValuesKeepTheirOrder() { return true; }

}  // namespace devprep::backing
