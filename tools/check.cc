// devprep check: what is not as it is configured, a line each, for monitoring and after a reboot.
#include "check.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "danger_text.h"
#include "discovery/scsi_probe.h"
#include "machine.h"
#include "metrics.h"
#include "outcome_report.h"
#include "pass.h"
#include "platform/messages.h"
#include "platform/raw_scsi.h"
#include "reconfig/identity.h"
#include "reconfig/outcome.h"
#include "records/device_record.h"
#include "records/raid_records.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

// In the order of DeviationCode.
constexpr std::array<const char*, kDeviationCodeCount> kNames = {
    "gone", "moved", "replaced", "silent", "new", "reserved_drive_missing", "raid_incomplete"};

std::string DeviceText(const DeviceRecord& device) {
  std::string text = TypeName(device.Type).text + " " + AddressText(device.Address);
  const std::string serial = SerialNumberText(device.SerialNumber);
  return serial.empty() ? text : text + ", serial number " + serial;
}

CheckedDevice FoundAs(std::optional<std::uint16_t> number, const DeviceRecord& found) {
  return {.number = number,
          .up = !IsProbedType(found.Type) || FoundDeviceAnswered[found.Number] != 0,
          .address = found.Address,
          .type = found.Type,
          .description = CleanText(found.Description, sizeof found.Description),
          .serial_number = FoundSerialNumberText(found.Number),
          .world_wide_id = WorldWideIdText(found),
          .time_to_answer = TimeToAnswer(ScsiAddressOf(found.Address))};
}

CheckedDevice GoneAs(std::uint16_t number, const OldDeviceOutcome& device) {
  return {.number = number,
          .up = false,
          .address = device.Old.Address,
          .type = device.Old.Type,
          .description = CleanText(device.StoredDescription, sizeof device.StoredDescription),
          .serial_number = SerialNumberText(device.Old.SerialNumber),
          .world_wide_id = WorldWideIdText(device.Old),
          .time_to_answer = std::nullopt};
}

void CheckDevices(CheckReport& check) {
  std::vector<Deviation>& deviations = check.deviations;
  bool known[kMaxFoundDevices] = {};
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    const auto add = [&deviations, k](DeviationCode code, const std::string& text) {
      deviations.push_back({code, {"device", "device"}, k, "", text});
    };
    if (device.NewNumber == kDeviceGone) {
      add(DeviationCode::kGone, "not attached: " + DeviceText(device.Old));
      check.devices.push_back(GoneAs(k, device));
      continue;
    }
    known[device.NewNumber] = true;
    const DeviceRecord& found = FoundDevices[device.NewNumber];
    if (device.Old.Address != found.Address) {
      add(DeviationCode::kMoved, "at another place: " + AddressText(found.Address) +
                                     ", configured at " + AddressText(device.Old.Address));
    } else if (CompareIdentities(device.Old, found) == IdentityVerdict::kOther) {
      add(DeviationCode::kReplaced, "another device in its place: " + DeviceText(found) +
                                        ", configured with serial number " +
                                        SerialNumberText(device.Old.SerialNumber));
    }
    check.devices.push_back(FoundAs(k, found));
    if (!check.devices.back().up) {
      add(DeviationCode::kSilent, "does not answer: " + DeviceText(found));
    }
  }
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    if (known[n]) continue;
    deviations.push_back({DeviationCode::kNew,
                          {"unit", "unit"},
                          std::nullopt,
                          AddressText(FoundDevices[n].Address),
                          "attached, not configured: " + DeviceText(FoundDevices[n])});
    check.devices.push_back(FoundAs(std::nullopt, FoundDevices[n]));
  }
  check.devices_configured = LastPass.OldDeviceCount;
  check.devices_found = FoundDeviceCount;
}

void CheckLists(CheckReport& check) {
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    for (std::uint16_t j = 0; j < device.Old.ReservedDriveCount; ++j) {
      const std::uint16_t drive = device.Old.ReservedDrives[j];
      if (drive < LastPass.OldDeviceCount &&
          LastPass.OldDeviceMap[drive].NewNumber != kDeviceGone) {
        continue;
      }
      check.deviations.push_back({DeviationCode::kReservedDriveMissing,
                                  {"changer", "changer"},
                                  k,
                                  "",
                                  "its reserved drive " + std::to_string(drive) + " is not there"});
    }
  }
  for (std::uint16_t n = 0; n < kMaxRaids; ++n) {
    const RaidOutcome& raid = LastPass.Raids[n];
    const auto gone = [](const MemberOutcome& member) { return member.Became == Change::kGone; };
    const auto missing = std::count_if(raid.Tapes, raid.Tapes + raid.Old.TapeCount, gone) +
                         std::count_if(raid.Changers, raid.Changers + raid.Old.ChangerCount, gone) +
                         (raid.StoredTapes - raid.Old.TapeCount) +
                         (raid.StoredChangers - raid.Old.ChangerCount);
    const bool incomplete = (raid.Old.Flags & DEVPREP_RAID_CHANGER_INCOMPLETE) != 0;
    const bool complete = missing == 0 && !incomplete;
    if (raid.Read || !complete) check.raids.push_back({n, complete});
    if (complete) continue;
    check.deviations.push_back(
        {DeviationCode::kRaidIncomplete,
         {"raid", "RAID"},
         n,
         "",
         missing != 0 ? Count(static_cast<std::size_t>(missing), "member") + " not there"
                      : "not all drives of its changers are in it"});
  }
}

// The check, with its metrics in a file where one is named. What cannot be written there keeps
// nothing of the check back.
Result<ExitStatus> Check(const Options& options, bool json, const std::string& metrics_file) {
  const auto start = std::chrono::steady_clock::now();
  const Result<CheckReport> report = RunCheck(options);
  Result<> written;
  if (!metrics_file.empty()) {
    written = WriteMetrics(metrics_file, report, std::chrono::steady_clock::now() - start);
  }
  if (!report) {
    if (!written) ReportMessage(Severity::kError, written.Failure());
    return report.Failure();
  }
  if (json) {
    Json members = CheckJson(*report);
    if (!written) members["error"] = ErrorJson(written.Failure());
    PrintJson(members);
    return written ? report->Status() : ExitStatus::kFailed;
  }
  PrintCheck(*report);
  if (!written) return written.Failure();
  return report->Status();
}

// What is wrong with the name of a file for metrics. Empty: nothing.
std::string CheckMetricsFile(const std::string& name) {
  if (name != "-") return "";
  return "the metrics go to a file, which keeps the time of the last good check";
}

}  // namespace

const char* DeviationName(DeviationCode code) { return kNames[static_cast<std::size_t>(code)]; }

std::string Deviation::Subject() const {
  return kind.text + ' ' + (number ? std::to_string(*number) : address);
}

ExitStatus CheckReport::Status() const {
  if (std::any_of(dangers.begin(), dangers.end(),
                  [](const DangerReport& danger) { return danger.refused; })) {
    return ExitStatus::kDangers;
  }
  return deviations.empty() && dangers.empty() ? ExitStatus::kDone : ExitStatus::kWouldChange;
}

Result<CheckReport> RunCheck(const Options& options) {
  CheckReport check;
  const Result<> done = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    // Devices are followed, so that one that moved is not taken for one that is gone and a new one.
    Result<OutcomeReport> report = RunPass(true);
    if (!report) return report.Failure();
    CheckDevices(check);
    CheckLists(check);
    for (DangerReport& danger : report->dangers) {
      ++check.dangers_by_code[static_cast<std::size_t>(danger.code)];
      // Each of these is told of its device already, unless it has no number.
      const bool told = danger.code == DangerCode::kReplaced ||
                        (danger.code == DangerCode::kSilent && danger.json["unit"].is_null());
      if (!told) check.dangers.push_back(std::move(danger));
    }
    return {};
  });
  if (!done) return done.Failure();
  return check;
}

void PrintCheck(const CheckReport& report) {
  for (const DangerReport& danger : report.dangers) std::cout << DangerLine(danger) << '\n';
  for (const Deviation& deviation : report.deviations) {
    std::cout << DeviationName(deviation.code) << ' ' << deviation.Subject() << ": "
              << deviation.text << '\n';
  }
  if (report.deviations.empty() && report.dangers.empty()) {
    std::cout << "All is as it is configured.\n";
  }
}

Json CheckJson(const CheckReport& report) {
  Json deviations = Json::array();
  for (const Deviation& deviation : report.deviations) {
    deviations.push_back(
        {{"code", DeviationName(deviation.code)},
         {"of",
          {{"kind", deviation.kind.identifier},
           {"number", deviation.number ? Json(*deviation.number) : Json(nullptr)},
           {"address", deviation.address.empty() ? Json(nullptr) : Json(deviation.address)}}},
         {"message", deviation.text}});
  }
  Json dangers = Json::array();
  for (const DangerReport& danger : report.dangers) dangers.push_back(danger.json);
  return {{"deviations", deviations}, {"dangers", dangers}};
}

void AddCheckCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "check", "Tell what is not as it is configured, a line each, and change nothing");
  const auto json = std::make_shared<bool>(false);
  const auto metrics_file = std::make_shared<std::string>();
  command->add_flag("--json", *json, "Print JSON");
  command
      ->add_option("--metrics", *metrics_file,
                   "Write metrics for Prometheus to this file, for the node exporter's folder of "
                   "text files")
      ->option_text("FILE")
      ->check(CheckMetricsFile);
  OnCommand(command, invocation, [&invocation, json, metrics_file] {
    return Check(invocation.options, *json, *metrics_file);
  });
}

}  // namespace devprep::tool
