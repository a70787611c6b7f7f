#include "library_map.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "platform/hardware/scsi_pages.h"
#include "platform/messages.h"
#include "reconfig/identity.h"

namespace devprep::tool {
namespace {

// One attached drive, in the terms in which changers and drives speak of it.
struct Drive {
  std::size_t unit = 0;
  ScsiAddress address;
  std::string serial_number;
  std::string world_wide_id;
  std::optional<std::uint16_t> element;  // its own word
};

// An element of a changer: places in LibraryMap::changers and in its drives.
struct Place {
  std::size_t changer = 0;
  std::size_t drive = 0;
};

std::optional<std::uint16_t> NumberOf(const DeviceRecord& unit,
                                      const std::vector<DeviceRecord>& configured) {
  for (const DeviceRecord& record : configured) {
    if (record.Type == unit.Type && record.Address == unit.Address &&
        CompareIdentities(record, unit) != IdentityVerdict::kOther) {
      return record.Number;
    }
  }
  return std::nullopt;
}

Drive DescribeDrive(const AttachedUnit& unit, std::size_t index) {
  Drive drive = {index, unit.Address(), {}, {}, {}};
  if (const auto& page = unit.answers.serial_number_page; page && page->size() > kPageHeaderSize) {
    // In the form that a changer's elements have.
    drive.serial_number = PrintableText(TrimmedText(page->substr(kPageHeaderSize)));
  }
  if (HasWorldWideId(unit.record)) {
    drive.world_wide_id = {unit.record.WorldWideID, unit.record.WorldWideID + kWorldWideIdSize};
  }
  if (unit.answers.drive_element) {
    if (const auto element = DataTransferElementAddressIn(*unit.answers.drive_element)) {
      drive.element = *element;
    }
  }
  return drive;
}

void ReadElements(const AttachedUnit& unit, LibraryChanger& changer) {
  if (unit.answers.element_addresses) {
    if (const auto addresses = ParseElementAddressPage(*unit.answers.element_addresses)) {
      changer.addresses = *addresses;
    }
  }
  if (!unit.answers.element_status) return;
  Result<ElementStatus> status = ParseElementStatus(*unit.answers.element_status);
  if (!status) return;
  changer.reports_elements = true;
  changer.cut = status->cut;
  const auto before = [](const Element& a, const Element& b) { return a.address < b.address; };
  if (!std::is_sorted(status->elements.begin(), status->elements.end(), before)) {
    std::stable_sort(status->elements.begin(), status->elements.end(), before);
  }
  for (Element& element : status->elements) {
    if (element.type != ElementType::kDrive) {
      if (element.type == ElementType::kTransport) continue;
      const bool slot = element.type == ElementType::kSlot;
      (slot ? changer.slots : changer.import_export).push_back(std::move(element));
      continue;
    }
    LibraryDrive drive;
    drive.element = std::move(element);
    drive.number = changer.drives.size();
    changer.identifies_drives = changer.identifies_drives || drive.IsIdentified();
    changer.drives.push_back(std::move(drive));
  }
}

// Pairs the drives with the elements.
class Recognition {
 public:
  Recognition(LibraryMap& map, std::vector<Drive> drives) : map_(map), drives_(std::move(drives)) {}

  void Run() {
    for (std::size_t c = 0; c < map_.changers.size(); ++c) {
      for (std::size_t d = 0; d < map_.changers[c].drives.size(); ++d) RecogniseByChanger({c, d});
      ForgetDoubles(c);
    }
    RecogniseByDrives();
    for (const Drive& drive : drives_) CompareWitnesses(drive);
  }

  const std::vector<Drive>& Drives() const { return drives_; }

 private:
  using Fits = std::function<bool(const Drive&)>;

  LibraryDrive& At(const Place& place) { return map_.changers[place.changer].drives[place.drive]; }

  // Whether what the changer says of a drive speaks against this one.
  static bool Contradicts(const Element& element, const Drive& drive) {
    if (!element.serial_number.empty() && !drive.serial_number.empty()) {
      return element.serial_number != drive.serial_number;
    }
    return !element.world_wide_id.empty() && !drive.world_wide_id.empty() &&
           element.world_wide_id != drive.world_wide_id;
  }

  // The one drive that fits, if need be by its own word. Null: none, or more than one.
  const Drive* OnlyOne(const Element& element, const Fits& fits) const {
    const Drive* only = nullptr;
    const Drive* by_own_word = nullptr;
    std::size_t fitting = 0;
    std::size_t saying = 0;
    for (const Drive& drive : drives_) {
      if (!fits(drive)) continue;
      only = &drive;
      ++fitting;
      if (drive.element != element.address) continue;
      by_own_word = &drive;
      ++saying;
    }
    if (fitting == 1) return only;
    return saying == 1 ? by_own_word : nullptr;
  }

  void RecogniseByChanger(const Place& place) {
    LibraryDrive& drive = At(place);
    const Element& element = drive.element;
    const ScsiAddress changer = map_.units[map_.changers[place.changer].unit].Address();
    const std::pair<RecognisedBy, Fits> criteria[] = {
        {RecognisedBy::kSerialNumber,
         [&](const Drive& d) {
           return !element.serial_number.empty() && d.serial_number == element.serial_number;
         }},
        {RecognisedBy::kWorldWideId,
         [&](const Drive& d) {
           return !element.world_wide_id.empty() && d.world_wide_id == element.world_wide_id &&
                  !Contradicts(element, d);
         }},
        {RecognisedBy::kAddress,
         [&](const Drive& d) {
           return element.scsi_target && d.address.port == changer.port &&
                  d.address.bus == changer.bus && d.address.target == *element.scsi_target &&
                  d.address.lun == element.lun.value_or(0) && !Contradicts(element, d);
         }},
    };
    for (const auto& [by, fits] : criteria) {
      if (const Drive* found = OnlyOne(element, fits)) {
        drive.unit = found->unit;
        drive.by = by;
        return;
      }
    }
  }

  // A drive that a changer has in two elements is in the one that it names itself, or in neither.
  void ForgetDoubles(std::size_t changer) {
    for (const Drive& drive : drives_) {
      std::vector<Place> places;
      for (std::size_t d = 0; d < map_.changers[changer].drives.size(); ++d) {
        if (At({changer, d}).unit == drive.unit) places.push_back({changer, d});
      }
      if (places.size() < 2) continue;
      for (const Place& place : places) {
        if (At(place).element.address == drive.element) continue;
        At(place).unit.reset();
        At(place).by = RecognisedBy::kNothing;
      }
    }
  }

  bool IsPlaced(const Drive& drive) const {
    return std::any_of(map_.changers.begin(), map_.changers.end(), [&](const auto& changer) {
      return std::any_of(changer.drives.begin(), changer.drives.end(),
                         [&](const LibraryDrive& at) { return at.unit == drive.unit; });
    });
  }

  // Drives that no changer has named, where one element and one drive are left for an address.
  void RecogniseByDrives() {
    std::map<std::uint16_t, std::vector<const Drive*>> speaking;
    for (const Drive& drive : drives_) {
      if (drive.element && !IsPlaced(drive)) speaking[*drive.element].push_back(&drive);
    }
    for (const auto& [address, drives] : speaking) {
      std::vector<Place> places;
      for (std::size_t c = 0; c < map_.changers.size(); ++c) {
        for (std::size_t d = 0; d < map_.changers[c].drives.size(); ++d) {
          const LibraryDrive& at = At({c, d});
          if (!at.unit && at.element.address == address &&
              !Contradicts(at.element, *drives.front())) {
            places.push_back({c, d});
          }
        }
      }
      if (drives.size() != 1 || places.size() != 1) continue;
      LibraryDrive& at = At(places.front());
      at.unit = drives.front()->unit;
      at.by = RecognisedBy::kDriveElement;
    }
  }

  // Two changers with addresses of their own may share a drive, which knows the one of them: it
  // contradicts the other only when it agrees with neither.
  void CompareWitnesses(const Drive& drive) {
    std::vector<LibraryDrive*> places;
    bool agrees = false;
    for (LibraryChanger& changer : map_.changers) {
      for (LibraryDrive& at : changer.drives) {
        if (at.unit != drive.unit) continue;
        places.push_back(&at);
        agrees = agrees || drive.element == at.element.address;
      }
    }
    for (LibraryDrive* at : places) {
      if (at->by == RecognisedBy::kDriveElement || !drive.element) {
        at->witnesses = Witnesses::kOne;
      } else if (drive.element == at->element.address) {
        at->witnesses = Witnesses::kAgree;
      } else {
        at->witnesses = agrees ? Witnesses::kOne : Witnesses::kContradict;
      }
    }
  }

  LibraryMap& map_;
  std::vector<Drive> drives_;
};

void AddReservations(LibraryMap& map, const std::vector<DeviceRecord>& configured) {
  for (LibraryChanger& changer : map.changers) {
    for (const DeviceRecord& record : configured) {
      if (changer.device != record.Number) continue;
      changer.reserved.assign(record.ReservedDrives,
                              record.ReservedDrives + record.ReservedDriveCount);
    }
    for (LibraryDrive& drive : changer.drives) {
      const auto at =
          drive.device ? std::find(changer.reserved.begin(), changer.reserved.end(), *drive.device)
                       : changer.reserved.end();
      if (at != changer.reserved.end()) {
        drive.place = static_cast<std::size_t>(at - changer.reserved.begin());
      }
    }
  }
  const std::vector<ChangerDrives> named = NamedDrives(map);
  for (std::size_t c = 0; c < map.changers.size(); ++c) {
    LibraryChanger& changer = map.changers[c];
    if (!changer.device) continue;
    changer.check = CheckReservedDrives(
        changer.reserved.data(), static_cast<std::uint16_t>(changer.reserved.size()), named.data(),
        static_cast<std::uint16_t>(named.size()), static_cast<std::uint16_t>(c));
  }
}

}  // namespace

Term RecognisedByName(RecognisedBy by) {
  switch (by) {
    case RecognisedBy::kSerialNumber:
      return {"serial_number", "serial number"};
    case RecognisedBy::kWorldWideId:
      return {"world_wide_id", "World Wide ID"};
    case RecognisedBy::kAddress:
      return {"address", "address"};
    case RecognisedBy::kDriveElement:
      return {"drive_element", "the drive alone"};
    case RecognisedBy::kNothing:
      break;
  }
  return {};
}

Term ReservationVerdictName(ReservationVerdict verdict) {
  switch (verdict) {
    case ReservationVerdict::kAgrees:
      return {"agrees", "agrees"};
    case ReservationVerdict::kIncomplete:
      return {"incomplete", "incomplete"};
    case ReservationVerdict::kOtherOrder:
      return {"other_order", "another order"};
    case ReservationVerdict::kOtherDrives:
      return {"other_drives", "other drives"};
    case ReservationVerdict::kUnknown:
      break;
  }
  return {};
}

bool LibraryDrive::IsIdentified() const {
  return !element.serial_number.empty() || !element.world_wide_id.empty();
}

ElementCounts CountElements(const std::vector<Element>& elements) {
  ElementCounts counts;
  counts.total = elements.size();
  for (const Element& element : elements) {
    ++(element.full ? counts.full : counts.empty);
    if (!element.accessible) ++counts.not_accessible;
  }
  return counts;
}

bool LibraryChanger::ReservationAgrees() const {
  return check.Verdict == ReservationVerdict::kUnknown ||
         check.Verdict == ReservationVerdict::kAgrees;
}

const LibraryChanger* LibraryMap::FindChanger(std::uint16_t device) const {
  const auto at =
      std::find_if(changers.begin(), changers.end(),
                   [device](const LibraryChanger& changer) { return changer.device == device; });
  return at == changers.end() ? nullptr : &*at;
}

LibraryMap DrawLibraryMap(std::vector<AttachedUnit> units,
                          const std::vector<DeviceRecord>& configured) {
  LibraryMap map;
  map.units = std::move(units);
  std::vector<Drive> drives;
  for (std::size_t i = 0; i < map.units.size(); ++i) {
    const AttachedUnit& unit = map.units[i];
    if (unit.record.Type == kTypeTape) drives.push_back(DescribeDrive(unit, i));
    if (unit.record.Type != kTypeChanger) continue;
    LibraryChanger changer;
    changer.unit = i;
    changer.device = NumberOf(unit.record, configured);
    ReadElements(unit, changer);
    map.changers.push_back(std::move(changer));
  }
  Recognition recognition(map, std::move(drives));
  recognition.Run();
  std::vector<bool> named(map.units.size());
  for (LibraryChanger& changer : map.changers) {
    for (LibraryDrive& drive : changer.drives) {
      if (!drive.unit) continue;
      named[*drive.unit] = true;
      drive.device = NumberOf(map.units[*drive.unit].record, configured);
    }
  }
  for (const Drive& drive : recognition.Drives()) {
    if (named[drive.unit]) continue;
    map.unnamed.push_back(
        {drive.unit, NumberOf(map.units[drive.unit].record, configured), drive.element});
  }
  AddReservations(map, configured);
  return map;
}

std::vector<ChangerDrives> NamedDrives(const LibraryMap& map) {
  std::vector<ChangerDrives> named;
  for (const LibraryChanger& changer : map.changers) {
    ChangerDrives drives = {};
    drives.Changer = changer.device.value_or(kDeviceGone);
    drives.Whole = !changer.cut;
    for (const LibraryDrive& drive : changer.drives) {
      drives.Whole = drives.Whole && (drive.unit || drive.IsIdentified());
      if (drive.device && drives.DriveCount < kMaxFoundDevices) {
        drives.Drives[drives.DriveCount++] = *drive.device;
      }
    }
    named.push_back(drives);
  }
  return named;
}

LibraryReservation ReservationOf(const LibraryChanger& changer) {
  LibraryReservation reservation;
  for (const LibraryDrive& drive : changer.drives) {
    if (drive.device) {
      reservation.drives.push_back(*drive.device);
    } else {
      (drive.unit ? reservation.not_configured : reservation.unrecognised).push_back(&drive);
    }
  }
  return reservation;
}

}  // namespace devprep::tool
