// Lives through the example machines and a number of made-up ones with the library as it is handed
// out, and prints all answers and the registry that is left. Where the library is the same, so is
// the print, whatever the platform.
//   replay LIBRARY EXAMPLES FOLDER WORLDS   FOLDER: for files of its own
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "platform/modules.h"
#include "platform/posix/registry_text.h"
#include "platform/registry.h"

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

void SetText(const Tree& key, const char* name, const std::string& text) {
  key->SetValue(name, REG_SZ, text + '\0');
}

void SetDword(const Tree& key, const char* name, unsigned value) {
  std::string data;
  for (unsigned shift = 0; shift < 32; shift += 8) data += static_cast<char>(value >> shift);
  key->SetValue(name, REG_DWORD, data);
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

void Load(HKEY key, const Tree& tree) {
  std::array<char, 1024> name{};
  std::vector<char> data(65536);
  for (DWORD i = 0;; ++i) {
    auto name_size = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    if (RegEnumValueA(key, i, name.data(), &name_size, nullptr, &type,
                      reinterpret_cast<BYTE*>(data.data()), &size) != ERROR_SUCCESS) {
      break;
    }
    tree->SetValue({name.data(), name_size}, type, {data.data(), size});
  }
  for (DWORD i = 0;; ++i) {
    auto name_size = static_cast<DWORD>(name.size());
    if (RegEnumKeyExA(key, i, name.data(), &name_size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    HKEY child = nullptr;
    RegOpenKeyExA(key, name.data(), 0, KEY_READ, &child);
    Load(child, tree->FindOrAddChild({name.data(), name_size}));
    RegCloseKey(child);
  }
}

Tree TakeOut(const std::string& /*folder*/) {
  auto root = std::make_shared<RegistryKey>("");
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVendor.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    Load(key, MakePath(root, kVendor));
    RegCloseKey(key);
  }
  return root;
}

#else

std::string ReadFile(const std::string& name);

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
  devprep::ReadRegistryText(ReadFile(folder + "/registry.reg"), root);
  return root.FindOrAddChild(devprep::kLocalMachineName);
}

#endif

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

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
  devprep::ReadRegistryText(ReadFile(file.string()), root);
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

void LiveThroughExample(const Settings& settings, const std::filesystem::path& folder) {
  Tree software = FromFile(folder / "configuration.reg");  // none: an empty one
  PutGroupTextsFirst(software);
  std::set<std::filesystem::path> machines;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().filename().string().starts_with("machine")) machines.insert(file.path());
  }
  for (const auto& machine : machines) {
    std::printf("== %s %s\n", folder.filename().string().c_str(),
                machine.filename().string().c_str());
    software = Pass(settings, software, FromFile(machine));
  }
}

class Chance {
 public:
  explicit Chance(unsigned seed) : engine_(seed) {}
  unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
  bool OneIn(unsigned number) { return Below(number) == 0; }

 private:
  std::mt19937 engine_;  // the same numbers everywhere
};

struct MadeUpUnit {
  std::string type, text, serial, wwid;
  bool answers = true;
};

MadeUpUnit MakeUpUnit(Chance& chance) {
  static const char* const kDrives[] = {"ACME    DRIVE           1.00",
                                        "ACME    DRIVE-2         1.00",
                                        "GEMINI  TWIN            0100"};
  static const char* const kChangers[] = {"ADIC    Scalar 1000     1.00",
                                          "ACME    ROBOT           R100",
                                          "HP      C1107J          1.00"};
  static const char* const kOthers[] = {"DiskPeripheral", "OtherPeripheral", "CdRomPeripheral"};
  MadeUpUnit unit;
  const unsigned kind = chance.Below(8);
  unit.type = kind < 5   ? "TapePeripheral"
              : kind < 7 ? "MediumChangerPeripheral"
                         : kOthers[chance.Below(3)];
  unit.text = kind < 5 ? kDrives[chance.Below(3)] : kChangers[chance.Below(3)];
  if (chance.OneIn(2)) unit.serial = "SERIAL-" + std::to_string(chance.Below(30)) + "    ";
  if (chance.OneIn(3))
    unit.wwid = "\x50\x01WWID0" + std::string(1, static_cast<char>('A' + chance.Below(9)));
  unit.answers = !chance.OneIn(4);
  return unit;
}

// Puts every unit at an address of its own.
Tree MakeUpMachine(Chance& chance, const std::vector<MadeUpUnit>& units) {
  auto root = std::make_shared<RegistryKey>("");
  for (unsigned port = 0; port < 3; ++port) {
    SetText(MakePath(root, kMap + "\\Scsi Port " + std::to_string(port)), "Driver",
            chance.OneIn(3) ? "ql2200" : "sas");
  }
  for (const MadeUpUnit& unit : units) {
    Tree key;
    do {
      key = MakePath(root, kMap + "\\Scsi Port " + std::to_string(chance.Below(3)) + "\\Scsi Bus " +
                               std::to_string(chance.Below(2)) + "\\Target Id " +
                               std::to_string(chance.Below(8)) + "\\Logical Unit Id " +
                               std::to_string(chance.Below(2)));
    } while (!key->Values().empty());
    SetText(key, "Identifier", unit.text);
    SetText(key, "Type", unit.type);
    if (unit.answers) key->SetValue("InquiryData", REG_BINARY, std::string(8, '\0') + unit.text);
    if (!unit.serial.empty()) {
      key->SetValue("UnitSerialNumberPage", REG_BINARY,
                    std::string("\0\x80\0\x0c", 4) + unit.serial);
    }
    if (!unit.wwid.empty()) key->SetValue("WorldWideId", REG_BINARY, unit.wwid);
  }
  return root;
}

std::string SomeNumbers(Chance& chance, const std::string& separator) {
  std::string text = std::to_string(chance.Below(10));
  for (unsigned n = chance.Below(4); n > 0; --n)
    text += separator + std::to_string(chance.Below(10));
  return text;
}

// What a person sets up: reserved drives, settings, groups. A group's name sorts before that of its
// other value, so that its text comes first in every registry.
void SetUp(Chance& chance, const Tree& root) {
  const Tree engine = MakePath(root, kEngine);
  for (const Tree& device : engine->Children()) {
    if (!device->Name().starts_with("DEVICE")) continue;
    const auto* info = device->FindValue("Info");
    if (info != nullptr && info->data.find("type-17,") != std::string::npos) {
      SetText(device, "ReservedDrives", SomeNumbers(chance, ","));
      if (chance.OneIn(2)) SetDword(device, "DisabledDrives", chance.Below(8));
    }
    if (chance.OneIn(2)) SetDword(device, "ReadShots", chance.Below(70000));
    if (chance.OneIn(3)) SetDword(device, "CleaningTapeSlot", chance.Below(40));
  }
  for (unsigned n = chance.Below(4); n > 0; --n) {
    const Tree group = MakePath(engine, "GROUP" + std::to_string(n - 1));
    static const char* const kKinds[] = {"TAPE_GROUP,", "CHANGER_GROUP,", "raid_changer_group, "};
    const unsigned kind = chance.Below(3);
    SetText(group, "A GROUP",
            kKinds[kind] + SomeNumbers(chance, kind == 0 ? "," : ",1-" + std::to_string(n) + ","));
    SetDword(group, "GROUP_ATTRIBUTE", chance.Below(9));
  }
  if (chance.OneIn(2)) {
    const unsigned mode = chance.Below(2);
    MakePath(root, kVendor + R"(\Vaultkeep\Products)")
        ->SetValue("P", REG_BINARY, std::string("A\0\0\0more", 8));
    const Tree config = MakePath(root, kVendor + R"(\Vaultkeep\ProductsConfigInfo\65)");
    SetDword(config, "Size", 76);
    std::string record(76, '\0');
    record[24] = static_cast<char>(mode);
    config->SetValue("Slot_1", REG_BINARY, record);
  }
}

void EditRaids(Chance& chance, const Library& library) {
  for (unsigned n = chance.Below(3) + 1; n > 0; --n) {
    std::uint16_t raid = 99;
    library.Call("RaidSetUpCreateRaid", static_cast<std::uint16_t>(chance.Below(6)),
                 std::uint32_t{0}, &raid);
    std::printf("RAID %u\n", raid);
  }
  for (unsigned n = 8; n > 0; --n) {
    const auto raid = static_cast<std::uint16_t>(chance.Below(3));
    const auto device = static_cast<std::uint16_t>(chance.Below(10));
    if (chance.OneIn(4)) {
      library.Call("RaidSetUpRemoveDeviceFromRaid", raid, device);
    } else {
      library.Call("RaidSetUpAssignDeviceToRaid", raid, device,
                   static_cast<std::uint8_t>(chance.Below(2)));
    }
  }
  library.Call("RaidSetUpSetLinkPosition", std::uint16_t{0},
               static_cast<std::uint16_t>(chance.Below(9)));
  library.Call("RaidSetUpSetRaidLevel", std::uint16_t{1},
               static_cast<std::uint16_t>(chance.Below(9)));
  if (chance.OneIn(3)) library.Call("RaidSetUpRemoveRaid", std::uint16_t{0});
}

// A machine is configured, set up and given RAIDs; then it is re-cabled.
void LiveThroughMadeUpWorld(const Settings& settings, unsigned seed) {
  std::printf("== world %u\n", seed);
  Chance chance(seed);
  std::vector<MadeUpUnit> units(chance.Below(9) + 1);
  for (MadeUpUnit& unit : units) unit = MakeUpUnit(chance);
  const Tree before = MakeUpMachine(chance, units);
  Tree software = Pass(settings, std::make_shared<RegistryKey>(""), before);
  SetUp(chance, software);
  BringIn(settings.folder, software, before);
  {
    const Library library(settings.library);
    EditRaids(chance, library);
    List(library);
  }
  units[chance.Below(static_cast<unsigned>(units.size()))] = MakeUpUnit(chance);
  units.push_back(MakeUpUnit(chance));
  const bool moved = !chance.OneIn(3);
  Pass(settings, TakeOut(settings.folder), moved ? MakeUpMachine(chance, units) : before);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const Settings settings = {argv[1], argv[3]};
  std::set<std::filesystem::path> examples;
  for (const auto& folder : std::filesystem::directory_iterator(argv[2])) {
    if (folder.is_directory()) examples.insert(folder.path());
  }
  for (const auto& folder : examples) LiveThroughExample(settings, folder);
  for (int seed = 0; seed < std::atoi(argv[4]); ++seed) {
    LiveThroughMadeUpWorld(settings, static_cast<unsigned>(seed));
  }
  BringIn(settings.folder, std::make_shared<RegistryKey>(""), std::make_shared<RegistryKey>(""));
  return 0;
}
