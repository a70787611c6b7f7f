#include "metrics.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "devprep/version.h"
#include "machine.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr const char* kBuildInfo = "devprep_build_info";
constexpr const char* kLastGoodCheck = "devprep_last_good_check_timestamp_seconds";

// Where inquiry data, and so a description, has the product and the revision; the vendor is before
// them (SPC-4).
constexpr std::size_t kProductAt = 8;
constexpr std::size_t kRevisionAt = 24;
constexpr std::size_t kRevisionSize = 4;

using Labels = std::vector<std::pair<const char*, std::string>>;

// Between quotation marks.
std::string EscapeLabel(const std::string& value) {
  std::string escaped;
  for (const char c : value) {
    if (c == '\\' || c == '"') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string Seconds(std::chrono::duration<double> time) { return std::to_string(time.count()); }

// The text format: each metric with its lines HELP and TYPE once, then its samples. All are gauges,
// since each run stands for itself.
class MetricsWriter {
 public:
  void Metric(const char* name, const char* help) {
    name_ = name;
    text_.append("# HELP ").append(name).append(" ").append(help);
    text_.append("\n# TYPE ").append(name).append(" gauge\n");
  }
  void Sample(const Labels& labels, const std::string& value) {
    text_ += name_;
    const char* before = "{";
    for (const auto& [label, label_value] : labels) {
      text_.append(before).append(label).append("=\"");
      text_.append(EscapeLabel(label_value)).append("\"");
      before = ",";
    }
    text_.append(labels.empty() ? " " : "} ").append(value).append("\n");
  }
  void Sample(const Labels& labels, std::integral auto number) {
    Sample(labels, std::to_string(number));
  }
  std::string Result() && { return std::move(text_); }

 private:
  std::string name_;
  std::string text_;
};

// A part of a description, without blanks around it.
std::string PartOf(const std::string& description, std::size_t at, std::size_t size) {
  if (at >= description.size()) return "";
  return SerialNumberText(std::string_view(description).substr(at, size));
}

std::string NumberLabel(const CheckedDevice& device) {
  return device.number ? std::to_string(*device.number) : "";
}

void AddDevices(const CheckReport& check, MetricsWriter& metrics) {
  metrics.Metric("devprep_devices_configured", "Devices in the configuration.");
  metrics.Sample({}, check.devices_configured);
  metrics.Metric("devprep_devices_found", "Devices attached now.");
  metrics.Sample({}, check.devices_found);
  metrics.Metric("devprep_device_up", "Whether a configured device is attached and answers.");
  for (const CheckedDevice& device : check.devices) {
    if (device.number) metrics.Sample({{"device", NumberLabel(device)}}, device.up ? 1 : 0);
  }
  metrics.Metric("devprep_device_info",
                 "Identity of each configured device and, without a device number, of each that is "
                 "attached and not configured: as attached, of one that is gone as configured.");
  for (const CheckedDevice& device : check.devices) {
    metrics.Sample({{"device", NumberLabel(device)},
                    {"address", AddressText(device.address)},
                    {"type", TypeName(device.type).identifier},
                    {"vendor", PartOf(device.description, 0, kProductAt)},
                    {"product", PartOf(device.description, kProductAt, kRevisionAt - kProductAt)},
                    {"revision", PartOf(device.description, kRevisionAt, kRevisionSize)},
                    {"serial_number", device.serial_number},
                    {"world_wide_id", device.world_wide_id}},
                   1);
  }
  const auto timed = [](const CheckedDevice& device) {
    return device.number.has_value() && device.time_to_answer.has_value();
  };
  if (std::none_of(check.devices.begin(), check.devices.end(), timed)) return;
  metrics.Metric("devprep_device_answer_seconds",
                 "How long the slowest answer of a configured device took.");
  for (const CheckedDevice& device : check.devices) {
    if (!timed(device)) continue;
    metrics.Sample({{"device", NumberLabel(device)}}, Seconds(*device.time_to_answer));
  }
}

void AddFindings(const CheckReport& check, MetricsWriter& metrics) {
  metrics.Metric("devprep_deviations", "What is not as it is configured, by code.");
  for (std::size_t i = 0; i < kDeviationCodeCount; ++i) {
    const auto code = static_cast<DeviationCode>(i);
    metrics.Sample({{"code", DeviationName(code)}},
                   std::count_if(check.deviations.begin(), check.deviations.end(),
                                 [code](const Deviation& d) { return d.code == code; }));
  }
  metrics.Metric("devprep_dangers", "Dangers of a configuration pass now, by code.");
  for (std::size_t i = 0; i < kDangerCodeCount; ++i) {
    metrics.Sample({{"code", DangerName(static_cast<DangerCode>(i))}}, check.dangers_by_code[i]);
  }
}

void AddRaids(const CheckReport& check, MetricsWriter& metrics) {
  metrics.Metric("devprep_raids_configured", "Tape RAIDs in the configuration.");
  metrics.Sample({}, check.raids.size());
  metrics.Metric(
      "devprep_raids_incomplete",
      "Tape RAIDs with a member that is not there, or without a drive of their changers.");
  metrics.Sample({}, std::count_if(check.raids.begin(), check.raids.end(),
                                   [](const CheckedRaid& raid) { return !raid.complete; }));
  if (check.raids.empty()) return;
  metrics.Metric("devprep_raid_complete", "Whether a tape RAID is complete.");
  for (const CheckedRaid& raid : check.raids) {
    metrics.Sample({{"raid", std::to_string(raid.number)}}, raid.complete ? 1 : 0);
  }
}

// The time of the last good check in a file of metrics. 0 where there is none.
std::int64_t ReadLastGoodCheck(const std::string& file_name) {
  std::error_code none;
  if (!std::filesystem::is_regular_file(file_name, none)) return 0;
  std::ifstream file(file_name, std::ios::binary);
  const std::string start = std::string(kLastGoodCheck) + ' ';
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(start)) continue;
    std::int64_t time = 0;
    std::from_chars(line.data() + start.size(), line.data() + line.size(), time);
    return time;
  }
  return 0;
}

ExitStatus StatusOf(const Result<CheckReport>& check) {
  return check ? check->Status() : ExitStatus::kFailed;
}

}  // namespace

std::string MetricsText(const Result<CheckReport>& check, const CheckRun& run) {
  MetricsWriter metrics;
  metrics.Metric(kBuildInfo, "The version of devprep that checked.");
  metrics.Sample({{"version", DEVPREP_VERSION}}, 1);
  metrics.Metric("devprep_last_check_timestamp_seconds", "When the last check ended.");
  metrics.Sample({}, run.ended);
  metrics.Metric(kLastGoodCheck,
                 "When the last check ended that found all as it is configured; 0: none yet.");
  metrics.Sample({}, run.last_good);
  metrics.Metric("devprep_check_exit_status",
                 "How the last check ended: 0 all is as it is configured, 1 the check failed, 4 "
                 "something differs, 5 dangers.");
  metrics.Sample({}, static_cast<int>(StatusOf(check)));
  metrics.Metric("devprep_check_duration_seconds", "How long the last check took.");
  metrics.Sample({}, Seconds(run.duration));
  if (check) {
    AddFindings(*check, metrics);
    AddDevices(*check, metrics);
    AddRaids(*check, metrics);
  }
  return std::move(metrics).Result();
}

bool IsMetrics(const std::string& head) {
  return head.starts_with(std::string("# HELP ") + kBuildInfo + ' ');
}

Result<> WriteMetrics(const std::string& file_name, const Result<CheckReport>& check,
                      std::chrono::steady_clock::duration duration) {
  CheckRun run;
  run.ended = std::chrono::duration_cast<std::chrono::seconds>(
                  std::chrono::system_clock::now().time_since_epoch())
                  .count();
  run.duration = duration;
  run.last_good = StatusOf(check) == ExitStatus::kDone ? run.ended : ReadLastGoodCheck(file_name);
  const Result<bool> saved =
      SaveFile(file_name, MetricsText(check, run), false, FileKind::kMetrics);
  if (!saved) return saved.Failure();
  return {};
}

}  // namespace devprep::tool
