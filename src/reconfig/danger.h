// What in the outcome of a pass can do harm: a record, a drive or a setting at another device than
// the one that it was for.
#ifndef DEVPREP_RECONFIG_DANGER_H_
#define DEVPREP_RECONFIG_DANGER_H_

#include <cstddef>
#include <cstdint>

namespace devprep {

enum class DangerCode : std::uint8_t {
  kNothingFound,  // Count configured tape drives and changers, and none of either is found
  kMassLoss,      // Count of Total configured tape drives and changers would go
  kSilent,        // found device New did not answer
  kMerged,        // old device Old, and others before it, became device New
  kCrossed,       // old device Old became New (or is gone), while Other has its identity
  kSplit,         // member Old of the list at Place went to New, its device record to Other
  kTwins,         // old device Old became New by its name alone; Count devices would do
  kSameIdentity,  // found devices New and Other bear one identity, as far as a record keeps it;
                  // Count 1: their serial numbers differ behind that
  kReplaced,   // old device Old became New, of another identity: told only where the place is one
  kMisplaced,  // of the Total drives reserved to the changer at Place Count, the first of them Old,
               // are not the changer's, or stand where it has Other: told only where the list stays
};
inline constexpr std::size_t kDangerCodeCount = 10;

// Where a list of members stands.
enum class DangerPlace : std::uint8_t {
  kNone,
  kReservedDrives,  // of old changer Number
  kDisabledDrives,  // the mark of a disabled drive in that list
  kGroup,           // group Number
  kRaidTapes,       // RAID Number
  kRaidChangers,
};

// Numbers that a code does not use are kDeviceGone, counts 0.
struct Danger {
  DangerCode Code;
  bool Refused;  // a tool that guards the configuration refuses it unless it is accepted
  DangerPlace Place;
  std::uint16_t PlaceNumber;
  std::uint16_t Old;
  std::uint16_t New;
  std::uint16_t Other;
  std::uint16_t Count;
  std::uint16_t Total;
};

inline constexpr std::size_t kMaxDangers = 1024;

// The dangers of a pass, by code and then by number. Beyond kMaxDangers they are counted alone.
struct DangerList {
  Danger Items[kMaxDangers];
  std::size_t Count;
  std::size_t LeftOut;
};

// Judges LastPass, FoundDevices and FoundChangers.
void JudgeLastPass(DangerList* dangers);

}  // namespace devprep

#endif  // DEVPREP_RECONFIG_DANGER_H_
