#include "next_pass.h"

#include <cstring>
#include <iostream>
#include <map>
#include <string>
#include <tuple>

#include "discovery/scsi_probe.h"
#include "entry/library.h"
#include "reconfig/outcome.h"
#include "reconfig/reconfigure.h"
#include "report.h"
#include "store/product_config.h"
#include "store/registry_store.h"
#include "words.h"

namespace devprep::tool {
namespace {

enum class Place { kReservedDrives, kGroup };

// By the list, a changer's or a group's, and the number of a member in it: what it would become.
using Exchanges = std::map<std::tuple<Place, std::uint16_t, std::uint16_t>, std::uint16_t>;

// Takes the configured devices for the found ones. False when one of them cannot be read.
bool FindConfiguredDevices() {
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    DeviceRecord record = {};
    record.Number = n;
    if (ReadDeviceRecord(&record) != kStatusOk) return false;
    DeviceRecord& found = FoundDevices[n];
    found = {};
    found.Number = n;
    found.Address = record.Address;
    found.Type = record.Type;
    ReadDeviceDescription(n, found.Description);
    std::memcpy(found.SerialNumber, record.SerialNumber, sizeof found.SerialNumber);
    std::memcpy(found.WorldWideID, record.WorldWideID, sizeof found.WorldWideID);
  }
  FoundDeviceCount = count;
  return true;
}

void Collect(Place place, std::uint16_t list, const MemberOutcome* members, std::uint16_t count,
             Exchanges& exchanges) {
  for (std::uint16_t i = 0; i < count; ++i) {
    const MemberOutcome& member = members[i];
    if (member.OldNumber < LastPass.OldDeviceCount && member.NewNumber != member.OldNumber) {
      exchanges[{place, list, member.OldNumber}] = member.NewNumber;
    }
  }
}

Exchanges TryPass(const Options& options, const Edit& edit) {
  Exchanges exchanges;
  ResetProcessState();
  const Result<> tried = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    if (const Result<std::string> done = edit(); !done) return done.Failure();
    if (!FindConfiguredDevices()) return {};
    ReadProductConfig();
    ReconfigureDevices();
    for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
      const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
      if (!device.ReservationsCarried) continue;
      Collect(Place::kReservedDrives, k, device.ReservedDrives, device.Old.ReservedDriveCount,
              exchanges);
    }
    for (std::uint16_t g = 0; g < LastPass.OldGroupCount; ++g) {
      const GroupOutcome& group = LastPass.Groups[g];
      Collect(Place::kGroup, g, group.Members, group.MemberCount, exchanges);
    }
    return {};
  });
  ResetProcessState();
  if (!tried) exchanges.clear();
  return exchanges;
}

std::vector<Term> RemarksOnNextPass(const Options& options, const Edit& edit) {
  const Exchanges after = TryPass(options, edit);
  if (after.empty()) return {};
  const Exchanges before = TryPass(options, [] { return Result<std::string>(std::string()); });
  std::vector<Term> remarks;
  for (const auto& [member, becomes] : after) {
    if (before.contains(member)) continue;
    const auto& [place, list, number] = member;
    const std::string of = Named(place == Place::kGroup ? "group" : "changer", list);
    const std::string device = Named("device", number);
    std::string what = "drop ";
    if (becomes != kDeviceGone) what = "take " + Named("device", becomes) + " for ";
    what += device;
    what += becomes == kDeviceGone ? " from " : " of ";
    what += of;
    remarks.push_back({"not_kept", "The next 'configure' would " + what +
                                       "; with --follow-identity it does not."});
  }
  return remarks;
}

}  // namespace

void ReportRemarks(const std::vector<Term>& remarks) {
  for (const Term& remark : remarks) {
    if (ReportsJson()) {
      AddJsonWarning(remark.identifier.c_str(), remark.text);
    } else {
      std::cout << remark.text << '\n';
    }
  }
}

Result<ExitStatus> RunMembershipEdit(const Options& options, const GuardOptions& guard,
                                     const Edit& edit) {
  ReportRemarks(RemarksOnNextPass(options, edit));
  return RunGuardedEdit(options, guard, kStoreQuestion, edit);
}

}  // namespace devprep::tool
