#include "reconfig/changer_drives.h"

namespace devprep {

constinit FoundChangerDrives FoundChangers = {};

namespace {

bool Names(const ChangerDrives& changer, std::uint16_t drive) {
  return HoldsDevice(changer.Drives, changer.DriveCount, drive);
}

}  // namespace

const ChangerDrives* DrivesOfFoundChanger(std::uint16_t number) {
  for (std::uint16_t i = 0; i < FoundChangers.Count; ++i) {
    if (FoundChangers.Items[i].Changer == number) return &FoundChangers.Items[i];
  }
  return nullptr;
}

void ResetFoundChangers() { FoundChangers.Count = 0; }

ReservationCheck CheckReservedDrives(const std::uint16_t* list, std::uint16_t count,
                                     const ChangerDrives* changers, std::uint16_t changer_count,
                                     std::uint16_t own) {
  const ChangerDrives& changer = changers[own];
  ReservationCheck check = {ReservationVerdict::kUnknown, 0, 0, kDeviceGone};
  const auto stands_wrong = [&check](std::uint16_t place, std::uint16_t expected) {
    if (check.Count++ != 0) return;
    check.Place = place;
    check.Expected = expected;
  };
  std::uint16_t order = 0;  // in the changer's drives: behind the one that was due last
  bool other_drives = false;
  for (std::uint16_t j = 0; j < count; ++j) {
    if (!Names(changer, list[j])) {
      bool elsewhere = changer.Whole && changer.DriveCount != 0;
      for (std::uint16_t i = 0; i < changer_count; ++i) {
        elsewhere = elsewhere || Names(changers[i], list[j]);
      }
      if (!elsewhere) continue;
      other_drives = true;
      stands_wrong(j, kDeviceGone);
      continue;
    }
    while (order < changer.DriveCount && !HoldsDevice(list, count, changer.Drives[order])) ++order;
    const std::uint16_t due = order < changer.DriveCount ? changer.Drives[order++] : kDeviceGone;
    if (due != list[j]) stands_wrong(j, due);
  }
  if (other_drives) {
    check.Verdict = ReservationVerdict::kOtherDrives;
  } else if (check.Count != 0) {
    check.Verdict = ReservationVerdict::kOtherOrder;
  } else if (changer.DriveCount != 0) {
    check.Verdict = ReservationVerdict::kAgrees;
    for (std::uint16_t i = 0; i < changer.DriveCount; ++i) {
      if (!HoldsDevice(list, count, changer.Drives[i])) {
        check.Verdict = ReservationVerdict::kIncomplete;
      }
    }
  }
  return check;
}

}  // namespace devprep
