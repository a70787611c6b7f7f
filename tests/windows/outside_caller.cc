// A set-up program as it would be elsewhere: it shares no header with the library and knows only
// the module's name, ordinals and byte offsets.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;

constexpr std::size_t kRecordSize = 144;
constexpr U32 kHasChanger = 0x01000000;
constexpr U32 kChangerComplete = 0x02000000;

int failures = 0;

void Expect(const char* what, U32 actual, U32 expected) {
  if (actual == expected) return;
  std::printf("%s: %lu instead of %lu\n", what, static_cast<unsigned long>(actual),
              static_cast<unsigned long>(expected));
  ++failures;
}

// A record with guard bytes behind it.
struct Record {
  U8 bytes[kRecordSize + 16] = {};

  Record() { std::memset(bytes + kRecordSize, 0xA5, sizeof bytes - kRecordSize); }
  ~Record() {
    for (std::size_t i = kRecordSize; i < sizeof bytes; ++i) Expect("guard", bytes[i], 0xA5);
  }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  U16 Word(std::size_t at) const {
    return static_cast<U16>(bytes[at] | static_cast<unsigned>(bytes[at + 1]) << 8);
  }
  U32 Long(std::size_t at) const { return Word(at) | static_cast<U32>(Word(at + 2)) << 16; }
};

HKEY MakeKey(const std::string& path, DWORD options) {
  HKEY key = nullptr;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS,
                      nullptr, &key, nullptr) != ERROR_SUCCESS) {
    std::printf("cannot create %s\n", path.c_str());
    ++failures;
  }
  return key;
}

void SetText(HKEY key, const char* name, const std::string& text) {
  RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                 static_cast<DWORD>(text.size() + 1));
}

void AddUnit(int target, const char* type, const std::string& text) {
  HKEY key = MakeKey(R"(HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0\Target Id )" +
                         std::to_string(target) + R"(\Logical Unit Id 0)",
                     REG_OPTION_VOLATILE);
  SetText(key, "Identifier", text);
  SetText(key, "Type", type);
  const std::string inquiry = std::string(8, '\0') + text;
  RegSetValueExA(key, "InquiryData", 0, REG_BINARY, reinterpret_cast<const BYTE*>(inquiry.data()),
                 static_cast<DWORD>(inquiry.size()));
  RegCloseKey(key);
}

template <typename... Arguments>
class Entry {
 public:
  Entry(HMODULE module, U16 ordinal)
      : call_(reinterpret_cast<Call>(
            reinterpret_cast<void (*)()>(GetProcAddress(module, MAKEINTRESOURCEA(ordinal))))) {
    if (call_ == nullptr) {
      std::printf("no entry %u\n", static_cast<unsigned>(ordinal));
      std::exit(1);
    }
  }
  U16 operator()(Arguments... arguments) const { return call_(arguments...); }

 private:
  using Call = U16(__cdecl*)(Arguments...);
  Call call_;
};

void Run(HMODULE module) {
  const Entry<> configure(module, 100);
  const Entry<U16*> count_devices(module, 101);
  const Entry<U16, U8*> device_info(module, 102);
  const Entry<U16*> count_raids(module, 200);
  const Entry<U16, U8*> raid_info(module, 201);
  const Entry<U16, U16, U8> assign(module, 300);
  const Entry<U16, U16> remove(module, 301);
  const Entry<U16, U32, U16*> create_raid(module, 400);
  const Entry<U16> remove_raid(module, 401);
  const Entry<U16, U16> set_level(module, 500);
  const Entry<U16, U16> set_link_position(module, 501);

  Expect("configure", configure(), 0);
  U16 count = 0;
  Expect("count devices", count_devices(&count), 0);
  Expect("devices", count, 3);
  {
    Record device;
    Expect("device 2", device_info(2, device.bytes), 0);
    Expect("target", device.Word(6), 6);
    Expect("type", device.Word(10), 5);
    Expect("description", device.Word(14), 'A' | 'C' << 8);
    Record none;
    Expect("device 3", device_info(3, none.bytes), 3);
  }

  HKEY changer = MakeKey(R"(SOFTWARE\Tamberline\Vaultkeep\Base\TapeEngine\DEVICE0)", 0);
  SetText(changer, "ReservedDrives", "1,2");
  RegCloseKey(changer);
  Record unused;
  Expect("empty the cache", raid_info(65535, unused.bytes), 65535);

  U16 raid = 99;
  Expect("create", create_raid(3, 0xFFFFFFFF, &raid), 0);
  Expect("created", raid, 0);
  Expect("create another", create_raid(5, 0, &raid), 0);
  Expect("created", raid, 1);
  Expect("assign the changer", assign(1, 0, 1), 0);
  Expect("assign again", assign(1, 1, 0), 204);
  Expect("level", set_level(1, 4), 0);
  Expect("link position", set_link_position(1, 7), 0);
  Expect("remove the first", remove_raid(0), 0);
  Expect("count RAIDs", count_raids(&count), 0);
  Expect("RAIDs", count, 1);
  {
    Record record;
    Expect("RAID 0", raid_info(0, record.bytes), 0);
    Expect("tapes", record.Long(2), 2U | 1U << 16);  // two, the first is device 1
    Expect("stripe size, level, link position", record.Long(68), 0x00070404);
    Expect("flags", record.Long(72), kHasChanger | kChangerComplete);
    Record device;
    Expect("device 0", device_info(0, device.bytes), 0);
    Expect("changer's RAID", device.Long(140), kHasChanger | kChangerComplete);
  }
  Expect("remove the changer", remove(0, 0), 0);
  Expect("remove a drive again", remove(0, 1), 201);
}

}  // namespace

int main() {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Tamberline)");
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(HARDWARE\DEVICEMAP\Scsi)");
  AddUnit(4, "MediumChangerPeripheral", "ACME    LIBRARY         0001ABCD");
  AddUnit(5, "TapePeripheral", "ACME    DRIVE           0002ABCD");
  AddUnit(6, "TapePeripheral", "ACME    DRIVE           0002ABCD");
  HMODULE module = LoadLibraryA("DEVPREP.dll");
  if (module == nullptr) {
    std::printf("DEVPREP.dll: error %lu\n", GetLastError());
    return 1;
  }
  Expect("support module loaded", GetModuleHandleA("kxtool") != nullptr ? 1 : 0, 1);
  Run(module);
  FreeLibrary(module);
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Tamberline)");
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, R"(HARDWARE\DEVICEMAP\Scsi)");
  return failures == 0 ? 0 : 1;
}
