// Lives through machines with the library as it is handed out, and prints all answers and the
// registry that is left. Where the library is the same, so is the print, whatever the platform.
//   replay LIBRARY FOLDER WORLDS...
// FOLDER: for files of its own; WORLDS: folders of worlds, each a folder with a configuration.reg,
// or none, and machines to be attached one after the other.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "platform/modules.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"

#if defined(_WIN32)
#include "platform/windows/registry_tree.h"
#endif

namespace {

using devprep::RegistryKey;
using Tree = std::shared_ptr<RegistryKey>;

const std::string kVendor = R"(SOFTWARE\Tamberline)";
const std::string kEngine = kVendor + R"(\Vaultkeep\Base\TapeEngine)";
const std::string kMap = R"(HARDWARE\DEVICEMAP\Scsi)";

Tree MakePath(const Tree& root, const std::string& path) {
  Tree key = root;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find('\\', at), path.size());
    key = key->FindOrAddChild(path.substr(at, end - at));
    at = end + 1;
  }
  return key;
}

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Reads a registry text; what cannot be read is a fault of the comparison itself.
void ReadText(const std::string& name, RegistryKey& root) {
  if (!devprep::ReadRegistryText(ReadFile(name), root)) std::abort();
}

// A machine's registry, local machine only: brought in whole, and the vendor's part taken out.
#if defined(_WIN32)

void Store(HKEY parent, const Tree& key, DWORD options) {
  for (const Tree& child : key->Children()) {
    HKEY made = nullptr;
    RegCreateKeyExA(parent, child->Name().c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr,
                    &made, nullptr);
    for (const auto& value : child->Values()) {
      RegSetValueExA(made, value.name.c_str(), 0, value.type,
                     reinterpret_cast<const BYTE*>(value.data.c_str()),
                     static_cast<DWORD>(value.data.size()));
    }
    Store(made, child, options);
    RegCloseKey(made);
  }
}

void BringIn(const std::string& /*folder*/, const Tree& software, const Tree& hardware) {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, kVendor.c_str());
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, kMap.c_str());
  Store(HKEY_LOCAL_MACHINE, software, REG_OPTION_NON_VOLATILE);
  Store(HKEY_LOCAL_MACHINE, hardware, REG_OPTION_VOLATILE);
}

Tree TakeOut(const std::string& /*folder*/) {
  auto root = std::make_shared<RegistryKey>("");
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVendor.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    devprep::ReadKeyTree(key, *MakePath(root, kVendor));
    RegCloseKey(key);
  }
  return root;
}

#else

void WriteTree(const std::string& file, const Tree& tree) {
  std::ofstream(file, std::ios::binary) << "REGEDIT4\n"
                                        << devprep::WriteKeyText(devprep::kLocalMachineName, *tree);
}

void BringIn(const std::string& folder, const Tree& software, const Tree& hardware) {
  WriteTree(folder + "/registry.reg", software);
  WriteTree(folder + "/machine.reg", hardware);
  setenv("DEVPREP_REGISTRY", (folder + "/registry.reg").c_str(), 1);
  setenv("DEVPREP_HARDWARE", (folder + "/machine.reg").c_str(), 1);
}

Tree TakeOut(const std::string& folder) {
  RegistryKey root("");
  ReadText(folder + "/registry.reg", root);
  return root.FindOrAddChild(devprep::kLocalMachineName);
}

#endif

void PrintBytes(const void* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    std::printf("%02x", static_cast<const unsigned char*>(data)[i]);
  }
}

// Values in the order of their names: only some registries keep that of their creation.
void Print(const Tree& key, const std::string& path) {
  std::printf("[%s]\n", path.c_str());
  auto values = key->Values();
  std::sort(values.begin(), values.end(),
            [](const auto& a, const auto& b) { return devprep::CompareNames(a.name, b.name) < 0; });
  for (const auto& value : values) {
    std::printf("%s=%u:", value.name.c_str(), static_cast<unsigned>(value.type));
    PrintBytes(value.data.data(), value.data.size());
    std::printf("\n");
  }
  for (const Tree& child : key->Children()) Print(child, path + "\\" + child->Name());
}

// The library in a process of its own, as far as it can tell.
class Library {
 public:
  explicit Library(const std::string& path) : module_(LoadLibraryExA(path.c_str(), nullptr, 0)) {
    if (module_ == nullptr) {
      std::printf("%s does not load\n", path.c_str());
      std::exit(1);
    }
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { FreeLibrary(module_); }

  template <typename... Arguments>
  unsigned Call(const char* name, Arguments... arguments) const {
    using Entry = std::uint16_t(DEVPREP_CALL*)(Arguments...);
    const auto entry =
        reinterpret_cast<Entry>(reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
    const unsigned status = entry(arguments...);
    std::printf("%s: %u\n", name, status);
    return status;
  }

 private:
  HMODULE module_;
};

void List(const Library& library) {
  std::uint16_t count = 0;
  library.Call("SetUpGetNoOfDevices", &count);
  for (std::uint16_t n = 0; n <= count; ++n) {
    DeviceInfo info = {};
    library.Call("SetUpGetDeviceInfo", n, &info);
    PrintBytes(&info, sizeof info);
    std::printf("\n");
  }
  library.Call("RaidSetUpGetNoOfRaids", &count);
  for (std::uint16_t n = 0; n <= count; ++n) {
    RaidInfo info = {};
    library.Call("RaidSetUpGetRaidInfo", n, &info);
    PrintBytes(&info, sizeof info);
    std::printf("\n");
  }
}

struct Settings {
  std::string library, folder;
};

// One process that runs the pass on a registry and a machine. Returns the registry that is left.
Tree Pass(const Settings& settings, const Tree& software, const Tree& hardware) {
  BringIn(settings.folder, software, hardware);
  {
    const Library library(settings.library);
    library.Call("SetUpInitTapesvrConfig");
    List(library);
  }
  Tree left = TakeOut(settings.folder);
  Print(left, "");
  return left;
}

Tree FromFile(const std::filesystem::path& file) {
  RegistryKey root("");
  ReadText(file.string(), root);
  return root.FindOrAddChild(devprep::kLocalMachineName);
}

// A group's text is its key's first value. Wine enumerates by name: a sign in front of the group's
// name makes it the first there too.
void PutGroupTextsFirst(const Tree& root) {
  const Tree engine = MakePath(root, kEngine);
  const auto children = engine->Children();
  for (const Tree& group : children) {
    if (!group->Name().starts_with("GROUP") || group->Values().empty()) continue;
    engine->RemoveChild(group->Name());
    const Tree renamed = engine->FindOrAddChild(group->Name());
    for (const auto& value : group->Values()) {
      const bool text = &value == group->Values().data();
      renamed->SetValue(text ? "+" + value.name : value.name, value.type, value.data);
    }
  }
}

void EditRaids(const Library& library) {
  for (std::uint16_t level = 0; level < 3; ++level) {
    std::uint16_t raid = 99;
    library.Call("RaidSetUpCreateRaid", level, std::uint32_t{0}, &raid);
    std::printf("RAID %u\n", raid);
  }
  for (std::uint16_t device = 0; device < 10; ++device) {
    library.Call("RaidSetUpAssignDeviceToRaid", static_cast<std::uint16_t>(device % 3), device,
                 static_cast<std::uint8_t>(device % 2));
  }
  for (const std::uint16_t device : {std::uint16_t{3}, std::uint16_t{4}}) {
    library.Call("RaidSetUpRemoveDeviceFromRaid", static_cast<std::uint16_t>(device % 3), device);
  }
  library.Call("RaidSetUpSetLinkPosition", std::uint16_t{2}, std::uint16_t{7});
  library.Call("RaidSetUpSetRaidLevel", std::uint16_t{1}, std::uint16_t{4});
  library.Call("RaidSetUpRemoveRaid", std::uint16_t{0});
}

// The configuration meets one machine after the other, and gets RAIDs in between.
void LiveThrough(const Settings& settings, const std::filesystem::path& folder) {
  Tree software = FromFile(folder / "configuration.reg");  // none: an empty one
  PutGroupTextsFirst(software);
  // In the order of the names, and machine.reg before machine-recabled.reg.
  std::map<std::string, std::filesystem::path> machines;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    const std::string name = file.path().stem().string();
    if (name.starts_with("machine")) machines[name] = file.path();
  }
  for (const auto& [name, file] : machines) {
    std::printf("== %s %s\n", folder.filename().string().c_str(), name.c_str());
    const Tree hardware = FromFile(file);
    software = Pass(settings, software, hardware);
    BringIn(settings.folder, software, hardware);
    const Library library(settings.library);
    EditRaids(library);
    List(library);
    software = TakeOut(settings.folder);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const Settings settings = {argv[1], argv[2]};
  for (int i = 3; i < argc; ++i) {
    std::set<std::filesystem::path> worlds;
    for (const auto& folder : std::filesystem::directory_iterator(argv[i])) {
      if (folder.is_directory()) worlds.insert(folder.path());
    }
    for (const auto& folder : worlds) LiveThrough(settings, folder);
  }
  BringIn(settings.folder, std::make_shared<RegistryKey>(""), std::make_shared<RegistryKey>(""));
  return 0;
}
