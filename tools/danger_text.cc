#include "danger_text.h"

#include <array>
#include <cstddef>

#include "discovery/scsi_probe.h"
#include "platform/hardware/hardware_map.h"
#include "reconfig/outcome.h"
#include "words.h"

namespace devprep::tool {
namespace {

// In the order of DangerCode.
constexpr std::array<const char*, kDangerCodeCount> kNames = {
    "nothing-found", "mass-loss", "silent",        "merged",   "crossed",
    "split",         "twins",     "same-identity", "replaced", "misplaced"};

std::string Named(const char* noun, std::uint16_t number) {
  return std::string(noun) + " " + std::to_string(number);
}

std::string OldDevice(std::uint16_t number) { return Named("old device", number); }

// "device 3 (0:0:4:0)", or "no device".
std::string FoundDevice(std::uint16_t number) {
  if (number == kDeviceGone) return "no device";
  return Named("device", number) + " (" + AddressText(FoundDevices[number].Address) + ")";
}

std::string Fate(std::uint16_t number) {
  return number == kDeviceGone ? "is gone" : "becomes " + FoundDevice(number);
}

std::string PlaceText(const Danger& danger) {
  switch (danger.Place) {
    case DangerPlace::kReservedDrives:
    case DangerPlace::kDisabledDrives:
      return "of old changer " + std::to_string(danger.PlaceNumber);
    case DangerPlace::kGroup:
      return "of group " + std::to_string(danger.PlaceNumber);
    case DangerPlace::kRaidTapes:
    case DangerPlace::kRaidChangers:
      return "of RAID " + std::to_string(danger.PlaceNumber);
    case DangerPlace::kNone:
      break;
  }
  return "";
}

std::string SplitText(const Danger& danger) {
  if (danger.Place == DangerPlace::kDisabledDrives) {
    return "the disabled mark of reserved drive " + std::to_string(danger.Old) + " " +
           PlaceText(danger) + " goes to another drive";
  }
  const char* member = danger.Place == DangerPlace::kReservedDrives ? "reserved drive" : "member";
  return std::string(member) + " " + std::to_string(danger.Old) + " " + PlaceText(danger) + " " +
         Fate(danger.New) + ", but the device itself " + Fate(danger.Other);
}

std::string MisplacedText(const Danger& danger) {
  std::string text = "reserved drive " + std::to_string(danger.Old) + " " + PlaceText(danger) +
                     ", " + FoundDevice(danger.New) + ", ";
  text += danger.Other == kDeviceGone ? "is not in its library"
                                      : "stands where its library has " + FoundDevice(danger.Other);
  if (danger.Count > 1) text += " (and " + std::to_string(danger.Count - 1) + " more)";
  return text + ": look at 'devprep library'";
}

Json NumberOrNull(std::uint16_t number) {
  return number == kDeviceGone ? Json(nullptr) : Json(number);
}

std::string DangerText(const Danger& danger) {
  switch (danger.Code) {
    case DangerCode::kNothingFound:
      return "none of the " + std::to_string(danger.Count) +
             " configured tape drives and changers is attached: is the host adapter's driver "
             "loaded, and the hardware source the right one?";
    case DangerCode::kMassLoss:
      return std::to_string(danger.Count) + " of " + std::to_string(danger.Total) +
             " configured tape drives and changers gone: is the host adapter's driver loaded, is "
             "every library switched on?";
    case DangerCode::kSilent:
      return FoundDevice(danger.New) +
             " is attached but does not answer: look at 'devprep hardware', and try again when it "
             "is ready";
    case DangerCode::kMerged:
      return OldDevice(danger.Other) + " and " + OldDevice(danger.Old) + " become one, " +
             FoundDevice(danger.New) + ", with the settings of both";
    case DangerCode::kCrossed:
      return OldDevice(danger.Old) + " " + Fate(danger.New) + ", but " + FoundDevice(danger.Other) +
             " has its identity";
    case DangerCode::kSplit:
      return SplitText(danger);
    case DangerCode::kTwins:
      return OldDevice(danger.Old) + " " + Fate(danger.New) + " by its name alone, and " +
             std::to_string(danger.Count) + " devices would do: check which drive is which";
    case DangerCode::kSameIdentity:
      if (danger.Count != 0) {
        return FoundDevice(danger.Other) + " and " + FoundDevice(danger.New) +
               " have serial numbers that differ behind the 32nd byte only, where their records "
               "end: they cannot be told apart";
      }
      return FoundDevice(danger.Other) + " and " + FoundDevice(danger.New) +
             " have one identity and cannot be told apart";
    case DangerCode::kReplaced:
      return FoundDevice(danger.New) + " takes over from " + OldDevice(danger.Old) +
             ", but has another identity";
    case DangerCode::kMisplaced:
      return MisplacedText(danger);
  }
  return "";
}

Json MakeJson(const Danger& danger, const std::string& text) {
  const bool placed = danger.Place != DangerPlace::kNone;
  return {{"code", DangerName(danger.Code)},
          {"refused", danger.Refused},
          {"message", text},
          {"old_number", NumberOrNull(danger.Old)},
          {"new_number", NumberOrNull(danger.New)},
          {"other_number", NumberOrNull(danger.Other)},
          {"place", placed ? Json(DangerPlaceName(danger.Place)) : Json(nullptr)},
          {"place_number", placed ? NumberOrNull(danger.PlaceNumber) : Json(nullptr)},
          {"count", danger.Count},
          {"total", danger.Total},
          {"unit", nullptr}};
}

}  // namespace

const char* DangerPlaceName(DangerPlace place) {
  switch (place) {
    case DangerPlace::kReservedDrives:
      return "reserved_drives";
    case DangerPlace::kDisabledDrives:
      return "disabled_drives";
    case DangerPlace::kGroup:
      return "group";
    case DangerPlace::kRaidTapes:
      return "raid_tapes";
    case DangerPlace::kRaidChangers:
      return "raid_changers";
    case DangerPlace::kNone:
      break;
  }
  return "";
}

std::string DangerName(DangerCode code) { return kNames[static_cast<std::size_t>(code)]; }

std::optional<DangerCode> DangerNamed(const std::string& name) {
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (name == kNames[i]) return static_cast<DangerCode>(i);
  }
  return std::nullopt;
}

std::string AllDangerNames() {
  std::string names;
  for (const char* name : kNames) names += (names.empty() ? "" : ", ") + std::string(name);
  return names;
}

DangerReport ReportDanger(const Danger& danger) {
  return {danger.Code, danger.Refused, MakeJson(danger, DangerText(danger))};
}

DangerReport ReportUnidentifiedUnit(const SilentUnit& unit) {
  Danger danger = {};
  danger.Code = DangerCode::kSilent;
  danger.Refused = true;
  danger.Old = danger.New = danger.Other = danger.PlaceNumber = kDeviceGone;
  const std::string address = devprep::AddressText(unit.address);
  std::string text = "unit " + address;
  if (!unit.name.empty()) text += " " + unit.name;
  text += " is attached but does not say what it is: " + unit.reason +
          ". What is configured for it would go: try again when it is ready";
  DangerReport report = {danger.Code, danger.Refused, MakeJson(danger, text)};
  report.json["unit"] = address;
  return report;
}

std::string DangerLine(const DangerReport& danger) {
  return (danger.refused ? "danger " : "note ") + DangerName(danger.code) + ": " +
         danger.json["message"].get<std::string>();
}

}  // namespace devprep::tool
