// Worlds that tests live in: an empty private registry and a machine of their own. They are built
// and looked at through the seams alone, so that the same tests run wherever the seams do;
// world_posix.cc is what stands behind them elsewhere than on Windows.
#ifndef DEVPREP_TESTS_SUPPORT_WORLD_H_
#define DEVPREP_TESTS_SUPPORT_WORLD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "platform/registry.h"

namespace devprep {

inline const std::string kVendorKey = R"(SOFTWARE\Tamberline)";
inline const std::string kProductKey = kVendorKey + R"(\Vaultkeep)";
inline const std::string kBaseKey = kProductKey + R"(\Base)";
inline const std::string kEngineKey = kBaseKey + R"(\TapeEngine)";
inline const std::string kMapKey = R"(HARDWARE\DEVICEMAP\Scsi)";

// A value of a registry key, and a key with its values in order.
struct Value {
  std::string name;
  DWORD type = REG_NONE;
  std::string data;
};
struct Key {
  std::string path;  // below HKEY_LOCAL_MACHINE
  std::vector<Value> values;
};

Value TextValue(const std::string& name, const std::string& text);  // with its NUL
Value DwordValue(const std::string& name, std::uint32_t number);

inline const std::string kDisk = "DiskPeripheral";
inline const std::string kTape = "TapePeripheral";
inline const std::string kChanger = "MediumChangerPeripheral";

// One logical unit of a machine. What is empty the device does not answer; without identifier it is
// listed by its vendor, product and revision.
struct Unit {
  std::uint16_t port = 0;
  std::uint16_t bus = 0;
  std::uint16_t target = 0;
  std::uint16_t lun = 0;
  std::string type = kTape;
  std::string vendor = "ACME";  // with product and revision: the standard inquiry data
  std::string product = "DRIVE";
  std::string revision = "1.00";
  std::string serial = {};  // from byte 4 of the page on, filled up with zeros to 36 bytes
  std::string wwid = {};    // 8 bytes
  std::string identifier = {};
  bool answers = true;  // the standard inquiry
};

// The text that the inquiry of a unit gives: vendor (8), product (16) and revision (4), blanks.
std::string InquiryText(const Unit& unit);

// The keys HARDWARE\DEVICEMAP\Scsi\... of a machine.
class Machine {
 public:
  Machine() = default;
  Machine(std::initializer_list<Unit> units);

  Machine& Add(const Unit& unit);
  Machine& Driver(int port, const std::string& name);
  // Replaces, adds or, with a value without type and data, removes a value of any key of the map;
  // key: path below "Scsi".
  Machine& Set(const std::string& key, const Value& value);

  const std::vector<Key>& Keys() const { return keys_; }

 private:
  std::vector<Value>& ValuesOf(const std::string& key);
  std::vector<Key> keys_;
};

// The path of a unit's key below "Scsi".
std::string UnitKey(const Unit& unit);

// One world at a time. The library under test has just been loaded into a process.
class World {
 public:
  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();

  // Puts a machine in the place of the one before. A process that has seen its device map still
  // goes by that.
  void Attach(const Machine& machine);

  // Ends this process and loads the library into a new one.
  void NewProcess();

  // An existing folder of this world.
  const std::string& Folder() const { return folder_; }

  // Makes "home" the home directory, with a folder TEMP in it; NewProcess reads it. Switches the
  // log on. Returns its path.
  std::string MakeHome();
  // What is in a file below the world's folder; empty without one.
  std::string ReadFile(const std::string& name) const;

  // A key named below starts at SOFTWARE, or else is one below the tape engine key. Keys are made
  // as needed.
  void Make(const std::string& key);
  void Set(const std::string& key, const Value& value);
  void Text(const std::string& key, const std::string& name, const std::string& text);
  void Dword(const std::string& key, const std::string& name, std::uint32_t number);
  void Binary(const std::string& key, const std::string& name, const std::string& bytes);
  void Remove(const std::string& key);  // with everything below

  bool Exists(const std::string& key) const;
  // A value as Dump shows it; "-" when there is none.
  std::string Show(const std::string& key, const std::string& name) const;
  // The values of a key, one a line, in order: name="text", name='text without NUL', name=number,
  // name=<bytes> (zeros at the end counted: <AB+30>), name=type<bytes> for all others.
  std::string Values(const std::string& key) const;
  // A key with everything below it: "[path]" lines, relative to the key, and values.
  std::string Dump(const std::string& key = kVendorKey) const;

  // Records in stored form. info: see Info(); serial and wwid are filled up with zeros.
  void Device(int number, const std::string& info, const std::string& serial = "",
              const std::string& wwid = "");
  void Group(int number, const std::string& name, const std::string& text,
             std::uint32_t attribute = 0);
  void Raid(int number, const std::string& tapes, const std::string& changers = "",
            std::uint32_t level = 5);

 private:
  std::string folder_;
};

// Values in the order in which Dump and Values show them where the registry does not keep the order
// of creation; unchanged where it does. For what a test expects of them.
std::string Ordered(const std::string& dump);

// A stored "Info" text.
std::string Info(int board, int bus, int target, int lun, int type,
                 const std::string& description = "ACME    DRIVE           1.00");

// Key names.
std::string DeviceKey(int number);
std::string GroupKey(int number);
std::string RaidKey(int number);

std::string Repeated(const std::string& text, int times);

// Bytes as Dump shows them.
std::string ShowBytes(const std::string& bytes);

// What goes to standard output during an action.
std::string CaptureOutput(const std::function<void()>& action);

namespace backing {

// The platform's part of a world: gives it an empty registry and an empty folder, and takes them
// away again.
std::string Open();
void Close(const std::string& folder);
void Attach(const std::string& folder, const std::vector<Key>& keys);
// For the modules that this process loads.
void SetEnvironment(const std::string& name, const std::string& value);
bool ValuesKeepTheirOrder();

}  // namespace backing
}  // namespace devprep

#endif  // DEVPREP_TESTS_SUPPORT_WORLD_H_
