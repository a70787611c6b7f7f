#include "reconfig/identity.h"

#include <cstring>

#include "reconfig/outcome.h"

namespace devprep {
namespace {

bool SameSerialNumber(const DeviceRecord& a, const DeviceRecord& b) {
  return HasSerialNumber(a) && std::memcmp(a.SerialNumber, b.SerialNumber, kSerialNumberSize) == 0;
}

bool SameWorldWideId(const DeviceRecord& a, const DeviceRecord& b) {
  return HasWorldWideId(a) && std::memcmp(a.WorldWideID, b.WorldWideID, kWorldWideIdSize) == 0;
}

using SameIdentity = bool (*)(const DeviceRecord& a, const DeviceRecord& b);

// The one found device that shares an identity with record k, which no other record shares.
std::uint16_t OnlyBearer(const DeviceRecord* const* records, std::uint16_t count, std::uint16_t k,
                         SameIdentity same) {
  const DeviceRecord& record = *records[k];
  for (std::uint16_t other = 0; other < count; ++other) {
    if (other != k && records[other]->Type == record.Type && same(*records[other], record)) {
      return kDeviceGone;
    }
  }
  std::uint16_t bearer = kDeviceGone;
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    if (FoundDevices[n].Type != record.Type || !same(FoundDevices[n], record)) continue;
    if (bearer != kDeviceGone) return kDeviceGone;
    bearer = n;
  }
  return bearer;
}

std::uint16_t BearerOf(const DeviceRecord* const* records, std::uint16_t count, std::uint16_t k) {
  const std::uint16_t by_serial = OnlyBearer(records, count, k, SameSerialNumber);
  const std::uint16_t by_id = OnlyBearer(records, count, k, SameWorldWideId);
  const std::uint16_t bearer = by_serial != kDeviceGone ? by_serial : by_id;
  if (bearer == kDeviceGone || (by_id != kDeviceGone && by_id != bearer)) return kDeviceGone;
  return CompareIdentities(*records[k], FoundDevices[bearer]) == IdentityVerdict::kSame
             ? bearer
             : kDeviceGone;
}

}  // namespace

IdentityVerdict CompareIdentities(const DeviceRecord& a, const DeviceRecord& b) {
  const bool serials = HasSerialNumber(a) && HasSerialNumber(b);
  const bool ids = HasWorldWideId(a) && HasWorldWideId(b);
  if (!serials && !ids) return IdentityVerdict::kUnknown;
  return (!serials || SameSerialNumber(a, b)) && (!ids || SameWorldWideId(a, b))
             ? IdentityVerdict::kSame
             : IdentityVerdict::kOther;
}

void MapIdentities(const DeviceRecord* const* records, std::uint16_t count, IdentityMap* map) {
  std::uint16_t bearers[kMaxFoundDevices] = {};
  for (std::uint16_t k = 0; k < count; ++k) {
    map->Found[k] = BearerOf(records, count, k);
    if (map->Found[k] != kDeviceGone) ++bearers[map->Found[k]];
  }
  // One by its serial number, another by its World Wide ID: neither is beyond doubt.
  for (std::uint16_t k = 0; k < count; ++k) {
    if (map->Found[k] != kDeviceGone && bearers[map->Found[k]] > 1) map->Found[k] = kDeviceGone;
  }
}

}  // namespace devprep
