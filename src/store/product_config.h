// Which products are installed beside this one, and how product 65 wants devices treated.
#ifndef DEVPREP_STORE_PRODUCT_CONFIG_H_
#define DEVPREP_STORE_PRODUCT_CONFIG_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

inline constexpr std::size_t kProductDataSize = 49;

// Set by the configuration pass; at most one of the two is 1, both are 0 before it.
extern std::uint32_t MatchByWorldWideId;  // devices are also paired by World Wide ID
extern std::uint32_t MaskFibreDevices;    // fibre-attached devices are reported as unknown

// Looks for the value of the products key whose data begins with code. data: kProductDataSize bytes
// that get the value's data. Returns 0; -1 without a buffer; else the registry error that ended the
// search, such as 259 at the end of the list.
std::int32_t FindInstalledProduct(std::uint32_t code, void* data);

// Reads the product's configuration record. reserved: must be 0. *size: room in bytes, then the
// record's size. Returns 0; -1 when reserved is not 0; 234 when the record is larger than the room
// (*size is then the size needed); else the registry error of the step that failed.
std::int32_t ReadProductConfigSlot(std::uint32_t reserved, std::uint32_t code, void* record,
                                   std::uint32_t* size);

// Sets the two flags from the configuration record of product 65. Returns 0; 65535 when the product
// is not listed or its record cannot be read, both flags are then 0.
std::uint16_t ReadProductConfig();

// Puts the flags back to how a fresh load finds them.
void ResetProductConfig();

}  // namespace devprep

#endif  // DEVPREP_STORE_PRODUCT_CONFIG_H_
