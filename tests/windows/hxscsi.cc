// A stand-in for the pass-through library: a device answers with what its key in the device map
// holds in "InquiryData", "UnitSerialNumberPage" and "WorldWideId", as with a capture.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/raw_scsi.h"
#include "platform/registry.h"

namespace {

constexpr std::uint32_t kAnswered = 0;
constexpr std::uint32_t kNoAnswer = 1;
constexpr std::uint32_t kMaxBytes = 4096;

struct Address {
  std::uint16_t port, bus, target, lun;
};

std::uint32_t Answer(const Address& address, const char* value_name, std::uint32_t offset,
                     std::uint32_t most, std::uint8_t* buffer, std::uint32_t length) {
  char path[128];
  std::snprintf(
      path, sizeof path,
      R"(HARDWARE\DEVICEMAP\Scsi\Scsi Port %u\Scsi Bus %u\Target Id %u\Logical Unit Id %u)",
      address.port, address.bus, address.target, address.lun);
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
    return kNoAnswer;
  }
  BYTE data[kMaxBytes];
  DWORD size = sizeof data;
  const LONG status = RegQueryValueExA(key, value_name, nullptr, nullptr, data, &size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return kNoAnswer;
  std::memset(buffer, 0, length);
  if (offset < length) {
    std::memcpy(buffer + offset, data,
                std::min({std::uint32_t{size}, most, std::uint32_t{length - offset}}));
  }
  return kAnswered;
}

}  // namespace

extern "C" {

std::uint32_t HXSCSI_CALL ScsiInquiry(std::uint16_t port, std::uint16_t bus, std::uint16_t target,
                                      std::uint16_t lun, std::uint8_t* buffer,
                                      std::uint32_t length) {
  return Answer({port, bus, target, lun}, "InquiryData", 0, length, buffer, length);
}

std::uint32_t HXSCSI_CALL ScsiInquiryPage(std::uint16_t port, std::uint16_t bus,
                                          std::uint16_t target, std::uint16_t lun,
                                          std::uint8_t* buffer, std::uint32_t length,
                                          std::uint32_t page) {
  if (page != devprep::kUnitSerialNumberPage) return kNoAnswer;
  return Answer({port, bus, target, lun}, "UnitSerialNumberPage", 0, length, buffer, length);
}

std::uint32_t HXSCSI_CALL ScsiGetWorldWideId(std::uint16_t port, std::uint16_t bus,
                                             std::uint16_t target, std::uint16_t lun,
                                             std::uint32_t selector, std::uint8_t* buffer,
                                             std::uint32_t length) {
  if (selector != devprep::kWorldWideIdSelector) return kNoAnswer;
  return Answer({port, bus, target, lun}, "WorldWideId", devprep::kWorldWideIdOffset,
                devprep::kWorldWideIdSize, buffer, length);
}

}  // extern "C"
