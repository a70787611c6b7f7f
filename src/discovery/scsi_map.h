// The operating system's map of SCSI logical units, HARDWARE\DEVICEMAP\Scsi in the registry.
#ifndef DEVPREP_DISCOVERY_SCSI_MAP_H_
#define DEVPREP_DISCOVERY_SCSI_MAP_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

inline constexpr std::size_t kIdentifierSize = 40;
inline constexpr std::size_t kMapTypeSize = 30;  // of the word for a type, with its NUL
// The list of found devices holds no more.
inline constexpr std::size_t kMaxScsiMapEntries = 256;

// Statuses of the map.
inline constexpr std::uint16_t kMapHardwareNotOpened = 209;
inline constexpr std::uint16_t kMapNoKeyInformation = 210;
inline constexpr std::uint16_t kMapNotOpened = 212;

// SCSI peripheral device types (SPC-4).
inline constexpr std::uint8_t kPeripheralDisk = 0;
inline constexpr std::uint8_t kPeripheralTape = 1;
inline constexpr std::uint8_t kPeripheralProcessor = 3;
inline constexpr std::uint8_t kPeripheralCdRom = 5;
inline constexpr std::uint8_t kPeripheralOpticalMemory = 7;
inline constexpr std::uint8_t kPeripheralChanger = 8;

// One logical unit that the map lists.
struct ScsiMapEntry {
  std::uint32_t Port;
  std::uint32_t Bus;
  std::uint32_t TargetId;
  std::uint32_t Lun;
  char Identifier[kIdentifierSize];  // NUL-terminated
  std::uint8_t PeripheralType;
};

// The map as it was at the first lookup of this process, ascending by port, bus, target, LUN.
struct ScsiMapTable {
  ScsiMapEntry Entries[kMaxScsiMapEntries];
  std::int32_t Count;
  std::int32_t LeftOut;  // units beyond the table's end
  bool Scanned;
};
extern ScsiMapTable ScsiMap;

// Stores the number of SCSI ports, as the registry has it now, in *count. Returns 0; 209 HARDWARE
// does not open, 212 DEVICEMAP or Scsi does not, *count is then not written; 210 no key
// information, *count is then 0.
std::uint16_t CountScsiPorts(std::uint16_t* count);

// Reads the map into the table. Units beyond the table's end are counted as left out. Returns 0,
// 209 or 212.
std::uint16_t ScanScsiDeviceMap(ScsiMapTable* table);

// The number of units of ScsiMap, which is scanned when it was not yet.
std::int32_t CountScsiMapEntries();

// Forgets the map, as a fresh load finds it.
void ResetScsiMap();

}  // namespace devprep

#endif  // DEVPREP_DISCOVERY_SCSI_MAP_H_
