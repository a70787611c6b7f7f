#include "support/world.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "entry/library.h"

namespace devprep {
namespace {

std::string Padded(const std::string& text, std::size_t size, char filler) {
  std::string padded = text;
  padded.resize(size, filler);
  return padded;
}

std::string FullPath(const std::string& key) {
  return key.starts_with("SOFTWARE") || key.starts_with("HARDWARE") ? key : kEngineKey + "\\" + key;
}

// An open key that closes itself.
class Opened {
 public:
  explicit Opened(const std::string& key) {
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, FullPath(key).c_str(), 0, KEY_READ, &key_) != 0) {
      key_ = nullptr;
    }
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  HKEY Get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

std::vector<std::string> ChildrenOf(HKEY key) {
  std::vector<std::string> names;
  std::array<char, 256> name{};
  DWORD size = name.size();
  for (DWORD i = 0;
       RegEnumKeyExA(key, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
    names.emplace_back(name.data(), size);
    size = name.size();
  }
  return names;
}

std::vector<Value> ValuesOf(HKEY key) {
  std::vector<Value> values;
  std::array<char, 16384> name{};
  std::vector<BYTE> data(1U << 20);
  for (DWORD i = 0;; ++i) {
    DWORD name_size = name.size();
    auto size = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    if (RegEnumValueA(key, i, name.data(), &name_size, nullptr, &type, data.data(), &size) != 0) {
      return values;
    }
    values.push_back({std::string(name.data(), name_size), type,
                      std::string(reinterpret_cast<char*>(data.data()), size)});
  }
}

std::string ShowValue(const Value& value) {
  if (value.type == REG_SZ && value.data.find('\0') + 1 == value.data.size()) {
    return '"' + value.data.substr(0, value.data.size() - 1) + '"';
  }
  if (value.type == REG_SZ && value.data.find('\0') == std::string::npos) {
    return "'" + value.data + "'";
  }
  if (value.type == REG_DWORD && value.data.size() == 4) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<BYTE>(value.data[i]);
    return std::to_string(number);
  }
  return (value.type == REG_BINARY ? "" : std::to_string(value.type)) + ShowBytes(value.data);
}

void RemoveTree(HKEY parent, const std::string& name) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, name.c_str(), 0, KEY_ALL_ACCESS, &key) != 0) return;
  for (const std::string& child : ChildrenOf(key)) RemoveTree(key, child);
  RegCloseKey(key);
  RegDeleteKeyA(parent, name.c_str());
}

std::string ShowValues(HKEY key) {
  std::string out;
  for (const Value& value : ValuesOf(key)) out += value.name + "=" + ShowValue(value) + "\n";
  return out;
}

void DumpKey(HKEY key, const std::string& path, std::string& out) {
  out += "[" + path + "]\n" + ShowValues(key);
  for (const std::string& name : ChildrenOf(key)) {
    HKEY child = nullptr;
    if (RegOpenKeyExA(key, name.c_str(), 0, KEY_READ, &child) != 0) continue;
    DumpKey(child, path.empty() ? name : path + "\\" + name, out);
    RegCloseKey(child);
  }
}

}  // namespace

Value TextValue(const std::string& name, const std::string& text) {
  return {name, REG_SZ, text + '\0'};
}

Value DwordValue(const std::string& name, std::uint32_t number) {
  std::string data;
  for (int shift = 0; shift < 32; shift += 8) data.push_back(static_cast<char>(number >> shift));
  return {name, REG_DWORD, data};
}

std::string InquiryText(const Unit& unit) {
  return Padded(unit.vendor, 8, ' ') + Padded(unit.product, 16, ' ') +
         Padded(unit.revision, 4, ' ');
}

std::string UnitKey(const Unit& unit) {
  return "Scsi Port " + std::to_string(unit.port) + "\\Scsi Bus " + std::to_string(unit.bus) +
         "\\Target Id " + std::to_string(unit.target) + "\\Logical Unit Id " +
         std::to_string(unit.lun);
}

Machine::Machine(std::initializer_list<Unit> units) {
  for (const Unit& unit : units) Add(unit);
}

std::vector<Value>& Machine::ValuesOf(const std::string& key) {
  const std::string path = kMapKey + "\\" + key;
  const auto at = std::find_if(keys_.begin(), keys_.end(),
                               [&path](const Key& known) { return known.path == path; });
  if (at != keys_.end()) return at->values;
  keys_.push_back({path, {}});
  return keys_.back().values;
}

Machine& Machine::Add(const Unit& unit) {
  std::vector<Value>& values = ValuesOf(UnitKey(unit));
  values.push_back(
      TextValue("Identifier", unit.identifier.empty() ? InquiryText(unit) : unit.identifier));
  values.push_back(TextValue("Type", unit.type));
  if (unit.answers) {
    values.push_back({"InquiryData", REG_BINARY, std::string(8, '\0') + InquiryText(unit)});
  }
  if (!unit.serial.empty()) {
    values.push_back({"UnitSerialNumberPage", REG_BINARY,
                      Padded(std::string("\0\x80\0\x20", 4) + unit.serial, 36, '\0')});
  }
  if (!unit.wwid.empty()) {
    values.push_back({"WorldWideId", REG_BINARY, Padded(unit.wwid, 8, '\0')});
  }
  return *this;
}

Machine& Machine::Driver(int port, const std::string& name) {
  return Set("Scsi Port " + std::to_string(port), TextValue("Driver", name));
}

Machine& Machine::Set(const std::string& key, const Value& value) {
  std::vector<Value>& values = ValuesOf(key);
  const auto at = std::find_if(values.begin(), values.end(),
                               [&value](const Value& known) { return known.name == value.name; });
  if (value.type == REG_NONE && value.data.empty()) {
    if (at != values.end()) values.erase(at);
  } else if (at != values.end()) {
    *at = value;
  } else {
    values.push_back(value);
  }
  return *this;
}

World::World() : folder_(backing::Open()) {
  backing::Attach(folder_, {});
  // Everything that happens in a process is one transaction: logic needs no file in between.
  RegistryBegin();
  RemoveTree(HKEY_LOCAL_MACHINE, kVendorKey);
  NewProcess();
}

World::~World() {
  ResetProcessState();
  RemoveTree(HKEY_LOCAL_MACHINE, kVendorKey);
  RegistryCommit();
  backing::Close(folder_);
}

void World::Attach(const Machine& machine) {
  RegistryCommit();
  std::vector<Key> keys = {{kMapKey, {}}};
  keys.insert(keys.end(), machine.Keys().begin(), machine.Keys().end());
  backing::Attach(folder_, keys);
  RegistryBegin();
}

void World::NewProcess() {
  EXPECT_TRUE(RegistryCommit());
  RegistryBegin();
  ResetProcessState();
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
}

std::string World::MakeHome() {
  const std::filesystem::path home = std::filesystem::path(folder_) / "home";
  std::filesystem::create_directories(home / "TEMP");
  Text(kBaseKey + "\\Path", "HOME", home.string());
  Dword("Debug", "Level", 1);
  return home.string();
}

std::string World::ReadFile(const std::string& name) const {
  std::ifstream file(std::filesystem::path(folder_) / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void World::Make(const std::string& key) {
  HKEY made = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, FullPath(key).c_str(), 0, nullptr,
                            REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &made, nullptr),
            ERROR_SUCCESS)
      << key;
  RegCloseKey(made);
}

void World::Set(const std::string& key, const Value& value) {
  Make(key);
  HKEY opened = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, FullPath(key).c_str(), 0, KEY_ALL_ACCESS, &opened),
            ERROR_SUCCESS);
  // Some registries look one byte past a text for its NUL: here they find none.
  const std::string data = value.data + 'x';
  EXPECT_EQ(RegSetValueExA(opened, value.name.c_str(), 0, value.type,
                           reinterpret_cast<const BYTE*>(data.data()),
                           static_cast<DWORD>(value.data.size())),
            ERROR_SUCCESS);
  RegCloseKey(opened);
}

void World::Text(const std::string& key, const std::string& name, const std::string& text) {
  Set(key, TextValue(name, text));
}

void World::Dword(const std::string& key, const std::string& name, std::uint32_t number) {
  Set(key, DwordValue(name, number));
}

void World::Binary(const std::string& key, const std::string& name, const std::string& bytes) {
  Set(key, {name, REG_BINARY, bytes});
}

void World::Remove(const std::string& key) { RemoveTree(HKEY_LOCAL_MACHINE, FullPath(key)); }

bool World::Exists(const std::string& key) const { return Opened(key).Get() != nullptr; }

std::string World::Show(const std::string& key, const std::string& name) const {
  const Opened opened(key);
  if (opened.Get() != nullptr) {
    for (const Value& value : ValuesOf(opened.Get())) {
      if (value.name == name) return ShowValue(value);
    }
  }
  return "-";
}

std::string World::Values(const std::string& key) const {
  const Opened opened(key);
  return opened.Get() == nullptr ? "no such key\n" : ShowValues(opened.Get());
}

std::string World::Dump(const std::string& key) const {
  const Opened opened(key);
  std::string out;
  if (opened.Get() != nullptr) DumpKey(opened.Get(), "", out);
  return out;
}

void World::Device(int number, const std::string& info, const std::string& serial,
                   const std::string& wwid) {
  Text(DeviceKey(number), "Info", info);
  Binary(DeviceKey(number), "SerialNumber", Padded(serial, 32, '\0'));
  Binary(DeviceKey(number), "WorldWideID", Padded(wwid, 8, '\0'));
}

void World::Group(int number, const std::string& name, const std::string& text,
                  std::uint32_t attribute) {
  Text(GroupKey(number), name, text);
  Dword(GroupKey(number), "GROUP_ATTRIBUTE", attribute);
}

void World::Raid(int number, const std::string& tapes, const std::string& changers,
                 std::uint32_t level) {
  Text(RaidKey(number), "Info", tapes);
  Dword(RaidKey(number), "Level", level);
  Dword(RaidKey(number), "StripeSize", 4);
  Dword(RaidKey(number), "LinkPosition", 1);
  if (!changers.empty()) Text(RaidKey(number), "ChangerDevices", changers);
}

std::string Ordered(const std::string& dump) {
  if (backing::ValuesKeepTheirOrder()) return dump;
  std::vector<std::string> lines;
  std::istringstream in(dump);
  auto first = lines.size();
  const auto sort_key = [&] {
    std::sort(lines.begin() + static_cast<std::ptrdiff_t>(first), lines.end());
  };
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with('[')) sort_key();
    lines.push_back(line);
    if (line.starts_with('[')) first = lines.size();
  }
  sort_key();
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}

std::string Info(int board, int bus, int target, int lun, int type,
                 const std::string& description) {
  return "board-" + std::to_string(board) + ",bus-" + std::to_string(bus) + ",scsiid-" +
         std::to_string(target) + ",lun-" + std::to_string(lun) + ",type-" + std::to_string(type) +
         "," + description;
}

std::string DeviceKey(int number) { return "DEVICE" + std::to_string(number); }
std::string GroupKey(int number) { return "GROUP" + std::to_string(number); }
std::string RaidKey(int number) { return "RAID" + std::to_string(number); }

std::string Repeated(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

std::string ShowBytes(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const std::size_t zeros = bytes.size() - (bytes.find_last_not_of('\0') + 1);
  std::string out = "<";
  for (const char c : bytes.substr(0, bytes.size() - zeros)) {
    if (c > ' ' && c <= '~') {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'\\', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  if (zeros != 0) out += "+" + std::to_string(zeros);
  return out + ">";
}

std::string CaptureOutput(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

}  // namespace devprep
