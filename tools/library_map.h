// The map of a machine's tape libraries: which attached drive sits in which drive element of which
// changer, by what the changers say of their drives and the drives of their places.
#ifndef DEVPREP_TOOLS_LIBRARY_MAP_H_
#define DEVPREP_TOOLS_LIBRARY_MAP_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "attached.h"
#include "listing.h"
#include "platform/hardware/element_pages.h"
#include "reconfig/changer_drives.h"
#include "records/device_record.h"

namespace devprep::tool {

// What a drive was recognised by in a drive element.
enum class RecognisedBy : std::uint8_t {
  kNothing,
  kSerialNumber,  // that the changer gives
  kWorldWideId,   // that the changer gives
  kAddress,       // target and logical unit that the changer gives
  kDriveElement   // the drive's own word alone
};

// Without identifier for kNothing.
Term RecognisedByName(RecognisedBy by);

// Whether the reserved drives of a changer are those of its library; without identifier for
// kUnknown.
Term ReservationVerdictName(ReservationVerdict verdict);

// Changer and drive both say where the drive is.
enum class Witnesses {
  kNone,
  kOne,         // only one of them does
  kAgree,       // both, and they say the same
  kContradict,  // the drive names another element
};

// A drive element of a changer.
struct LibraryDrive {
  Element element;
  std::size_t number = 0;           // in the order of addresses, from 0
  std::optional<std::size_t> unit;  // the drive in it: in LibraryMap::units
  RecognisedBy by = RecognisedBy::kNothing;
  Witnesses witnesses = Witnesses::kNone;
  std::optional<std::uint16_t> device;  // the drive's number, when it is configured
  std::optional<std::size_t> place;     // of that number in the changer's reserved drives, from 0

  // Whether the changer gives a serial number or World Wide ID of the drive.
  bool IsIdentified() const;
};

// Storage elements, or import and export elements, in numbers.
struct ElementCounts {
  std::size_t total = 0;
  std::size_t full = 0;
  std::size_t empty = 0;
  std::size_t not_accessible = 0;  // of either
};
ElementCounts CountElements(const std::vector<Element>& elements);

struct LibraryChanger {
  std::size_t unit = 0;                 // in LibraryMap::units
  std::optional<std::uint16_t> device;  // its number, when it is configured
  std::optional<ElementAddressAssignment> addresses;
  bool reports_elements = false;
  bool identifies_drives = false;  // one of them at least
  bool cut = false;                // it announced more than it sent
  // In the order of their addresses.
  std::vector<LibraryDrive> drives;
  std::vector<Element> slots;
  std::vector<Element> import_export;
  // Of a configured one: the drives that are reserved to it, held against those it has.
  std::vector<std::uint16_t> reserved;
  ReservationCheck check = {};

  // Whether the reserved drives are those that the changer has, in their order, or that cannot be
  // told.
  bool ReservationAgrees() const;
};

// A tape drive that no changer names.
struct UnnamedDrive {
  std::size_t unit = 0;
  std::optional<std::uint16_t> device;
  std::optional<std::uint16_t> element;  // that it says it is in
};

struct LibraryMap {
  std::vector<AttachedUnit> units;
  std::vector<LibraryChanger> changers;
  std::vector<UnnamedDrive> unnamed;

  // The changer with that device number. Null when it is not attached.
  const LibraryChanger* FindChanger(std::uint16_t device) const;
};

// Draws the map. units: what is attached, asked with Asked::kLibrary. configured: the stored
// records; a unit is the device whose record has its type and address, unless their serial numbers
// or World Wide IDs differ.
//
// A drive is recognised in an element by the serial number that the changer gives, without blanks
// around it, else by World Wide ID, else by address, and where the changer gives none of these by
// the drive's own word. What would do for two drives or two elements of a changer is decided by the
// drives' own words, or not at all.
LibraryMap DrawLibraryMap(std::vector<AttachedUnit> units,
                          const std::vector<DeviceRecord>& configured);

// What the changers say, by device numbers. Entry i is that of map.changers[i].
std::vector<ChangerDrives> NamedDrives(const LibraryMap& map);

// What the drives reserved to a changer should be.
struct LibraryReservation {
  std::vector<std::uint16_t> drives;                // device numbers, in the order of elements
  std::vector<const LibraryDrive*> not_configured;  // attached, but no device of the configuration
  std::vector<const LibraryDrive*> unrecognised;    // with no attached drive that it could be
};
LibraryReservation ReservationOf(const LibraryChanger& changer);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_LIBRARY_MAP_H_
