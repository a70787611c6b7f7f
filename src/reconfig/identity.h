// Which attached device bears the identity, serial number or World Wide ID, that an old device
// record holds: what the pass asks last, and what tells whether it went astray.
#ifndef DEVPREP_RECONFIG_IDENTITY_H_
#define DEVPREP_RECONFIG_IDENTITY_H_

#include <cstdint>

#include "discovery/scsi_probe.h"
#include "records/device_record.h"

namespace devprep {

// What two records say of their identities.
enum class IdentityVerdict : std::uint8_t {
  kSame,     // the identities that both have agree, and there is one at least
  kOther,    // one that both have differs
  kUnknown,  // there is none that both have
};
IdentityVerdict CompareIdentities(const DeviceRecord& a, const DeviceRecord& b);

// The found devices that bear the identities of old records: entry k is that of record k, or
// kDeviceGone. Only what is beyond doubt counts: one record and one found device of a type have the
// serial number, or where there is none to go by the World Wide ID, and the other of the two does
// not speak against it.
struct IdentityMap {
  std::uint16_t Found[kMaxDeviceRecords];
};

// Fills the map for count records, which are given by their addresses.
void MapIdentities(const DeviceRecord* const* records, std::uint16_t count, IdentityMap* map);

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_IDENTITY_H_
