#include "device_edit_text.h"

#include "output.h"
#include "refusal.h"
#include "words.h"

namespace devprep::tool {
namespace {

Term ExplainRefusal(const DeviceEdit& edit) {
  const std::string device = Named("device", edit.device);
  const std::string drive = Named("drive", edit.device);
  const std::string changer = Named("changer", edit.device);
  const std::string other = Named("changer", edit.other);
  switch (edit.refusal) {
    case DeviceRefusal::kNone:
      break;
    case DeviceRefusal::kNoDevice:
      return {"no_device", NotConfiguredText(edit.device)};
    case DeviceRefusal::kDeviceNotReadable:
      return {"device_not_readable", device + " has a malformed stored record"};
    case DeviceRefusal::kDeviceNotStored:
      return {"device_not_stored", device + " cannot be stored"};
    case DeviceRefusal::kNotAChanger:
      return {"not_a_changer", TypedDevice(edit.device) + " is not a changer"};
    case DeviceRefusal::kNotADrive:
      return {"not_a_drive", TypedDevice(edit.device) + " is not a drive"};
    case DeviceRefusal::kAlreadyReserved:
      return {"already_reserved", drive + " is reserved to " + other + " already"};
    case DeviceRefusal::kGivenTwice:
      return {"given_twice", drive + " is given twice"};
    case DeviceRefusal::kReservedToOther:
      return {"reserved_to_another", drive + " is reserved to " + other + "; 'devprep release " +
                                         std::to_string(edit.other) + ' ' +
                                         std::to_string(edit.device) +
                                         "' takes it away from there"};
    case DeviceRefusal::kNotReserved:
      return {"not_reserved", drive + " is not reserved to " + other};
    case DeviceRefusal::kNothingReserved:
      return {"nothing_reserved", changer + " has no reserved drives"};
    case DeviceRefusal::kInRaid:
      return {"in_raid", drive + " is in " + Named("RAID", edit.raid) + ", which is backed by " +
                             other + "; 'devprep raid release " + std::to_string(edit.raid) + ' ' +
                             std::to_string(edit.device) + "' takes it out"};
    case DeviceRefusal::kDriveListFull:
      return {"drive_list_full",
              changer + " would have more than " + Count(kMaxDriveListEntries, "reserved drive")};
    case DeviceRefusal::kDriveListLong:
      return {"drive_list_long",
              "the numbers of the drives of " + changer + " do not fit into its record"};
    case DeviceRefusal::kNoChangersDrive:
      return {"no_changers_drive",
              device + " is reserved to no changer: only a reserved drive is disabled or enabled"};
    case DeviceRefusal::kSettingOfChangers:
      return {"setting_of_changers",
              TypedDevice(edit.device) + " is not a changer, and only changers have this setting"};
  }
  return {};
}

}  // namespace

std::string TypedDevice(std::uint16_t number) {
  DeviceRecord record = {};
  record.Number = number;
  ReadDeviceRecord(&record);
  return Named("device", number) + " (" + TypeName(record.Type).text + ')';
}

std::string NotConfiguredText(std::uint16_t number) {
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  return NotConfiguredText(number, count);
}

Result<std::string> EditResult(const DeviceEdit& edit, const std::string& done) {
  if (edit.refusal == DeviceRefusal::kNone) return done;
  const Term reason = ExplainRefusal(edit);
  return CanBeForced(edit.refusal) ? RefusalUnlessForced(reason) : Refusal(reason);
}

}  // namespace devprep::tool
