// The devices attached now: every unit of the device map, tape drives and changers asked for their
// inquiry data, serial number and World Wide ID.
#ifndef DEVPREP_DISCOVERY_SCSI_PROBE_H_
#define DEVPREP_DISCOVERY_SCSI_PROBE_H_

#include <cstddef>
#include <cstdint>

#include "records/device_record.h"

namespace devprep {

inline constexpr std::size_t kMaxFoundDevices = 256;

// The result of the last probe, ascending by port, bus, target id and logical unit. Entry i has
// Number i; of the settings CleaningTapeSlot and DefaultBlockFactor are kNotSet, the others 0.
extern DeviceRecord FoundDevices[kMaxFoundDevices];
extern std::uint16_t FoundDeviceCount;
// Of each found device: 1 when it answered the standard inquiry, 0 when it did not or was not
// asked.
extern std::uint8_t FoundDeviceAnswered[kMaxFoundDevices];

// Of each found device: its serial number as its page has it, as far as the page is asked for. A
// record keeps the beginning.
inline constexpr std::size_t kFoundSerialNumberSize = kInquiryPageLength - kPageHeaderSize;
extern std::uint8_t FoundSerialNumbers[kMaxFoundDevices][kFoundSerialNumberSize];

// Fills FoundDevices. Returns 0.
std::uint16_t ProbeScsiDevices();

// The device type code for a SCSI peripheral device type (SPC-4).
std::uint16_t MapScsiDeviceType(std::uint8_t peripheral_type);

// Copies vendor, product, revision and 4 more bytes, bytes 8 to 39 of standard inquiry data, over
// the first 32 bytes of a description.
void CopyInquiryText(const std::uint8_t* inquiry_data, char* description);

// Sends a standard inquiry to a device. inquiry_data: kInquiryLength bytes. Whether it answered.
bool InquireDevice(const DeviceAddress& address, std::uint8_t* inquiry_data);

// Forgets the found devices, as a fresh load finds them.
void ResetFoundDevices();

}  // namespace devprep

#endif  // DEVPREP_DISCOVERY_SCSI_PROBE_H_
