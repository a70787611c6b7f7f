// The media changer models that the tape engine supports.
#ifndef DEVPREP_DISCOVERY_CHANGER_MODELS_H_
#define DEVPREP_DISCOVERY_CHANGER_MODELS_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

inline constexpr std::size_t kSupportedChangerCount = 263;
inline constexpr std::size_t kChangerNameSize = 28;

// Bytes of an inquiry text that a look-up reads: the vendor (8) and product (16) identification of
// standard inquiry data (SPC-4).
inline constexpr std::size_t kChangerTextSize = 24;

// The bit of ChangerModel::Attributes that tells optical libraries from tape libraries.
inline constexpr std::uint32_t kOpticalLibrary = 0x10000000;

// One model. Only Name, CompareLength and kOpticalLibrary in Attributes are read here; the other
// columns are carried for the tape engine.
struct ChangerModel {
  char Name[kChangerNameSize];  // vendor and product as the inquiry reports them, no NUL at the end
  std::uint32_t CompareLength;  // leading bytes of Name that a match compares, 4 to 24
  std::uint32_t Attributes;     // library class in the top byte, family in bits 16 to 23
  std::uint16_t OptionsA;
  std::uint16_t OptionsB;
  std::uint16_t OptionsC;
  std::uint16_t Drives;  // number of drives
  std::uint16_t Slots;   // number of storage slots
  std::uint16_t SlotsB;  // a second slot figure, never above Slots
  std::uint16_t OptionsD;
  std::uint16_t OptionsE;
  void (*Handler)();  // the model's own routine; in every row one that does nothing
};

// All models, constant. Row 0 is the blank default. The rows of one vendor (first 8 bytes equal
// without regard to ASCII case) form one unbroken run, in which the first row that fits wins.
extern const ChangerModel SupportedChangers[kSupportedChangerCount];

// Returns the row for a changer's inquiry text, of which it reads at most the first
// kChangerTextSize bytes: there need be no NUL, and none ends a comparison. ASCII case does not
// count. A vendor that is not in the table gets row 0, a product that fits no row of its vendor
// that vendor's last row.
const ChangerModel& FindChangerModel(const char* text);

}  // namespace devprep

#endif  // DEVPREP_DISCOVERY_CHANGER_MODELS_H_
