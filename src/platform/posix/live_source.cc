#include "platform/posix/live_source.h"

#include <fcntl.h>
#include <poll.h>
#include <scsi/sg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/hardware/scsi_transport.h"
#include "platform/messages.h"
#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

constexpr std::size_t kVendorWidth = 8;
constexpr std::size_t kProductWidth = 16;
constexpr std::size_t kRevisionWidth = 4;

// The kernel gives a command up much later than we do: when it does, it resets the device and may
// reset the bus, under the backup that runs on another drive. This is what it allows a tape drive.
constexpr unsigned kKernelTimeoutMs = 900'000;

// What became of a command on its way, as the SCSI generic driver reports it.
constexpr unsigned kHostOk = 0x00;
constexpr unsigned kHostNoConnect = 0x01;
constexpr unsigned kHostNexusFailure = 0x11;  // a reservation conflict
// The bus is busy; soft error; retry at once; requeue; the transport was disrupted.
constexpr std::array<unsigned, 5> kHostTryAgain = {0x02, 0x0B, 0x0C, 0x0D, 0x0E};
constexpr unsigned kDriverMask = 0x0F;
constexpr unsigned kDriverOk = 0x00;
constexpr unsigned kDriverSense = 0x08;
constexpr std::size_t kSenseSize = 64;

constexpr const char* kGone = "has gone";

// host:channel:target:lun, as the kernel numbers units.
using KernelAddress = std::array<std::uint64_t, 4>;

struct KernelUnit {
  KernelAddress kernel_address{};
  std::string vendor;
  std::string product;
  std::string node;  // of the SCSI generic driver, such as sg3; empty: none
};

// The numbers of a text like "2:0:1:0". Nothing for any other text.
std::optional<KernelAddress> ParseKernelAddress(std::string_view text) {
  KernelAddress address{};
  for (std::size_t i = 0; i < address.size(); ++i) {
    const bool last = i + 1 == address.size();
    const std::string_view number = text.substr(0, text.find(':'));
    const auto [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), address[i]);
    if (error != std::errc() || end != number.data() + number.size()) return std::nullopt;
    if (last != (number.size() == text.size())) return std::nullopt;
    text.remove_prefix(std::min(number.size() + 1, text.size()));
  }
  return address;
}

std::string KernelAddressText(const KernelAddress& address) {
  std::string text;
  for (const std::uint64_t number : address) {
    if (!text.empty()) text += ':';
    text += std::to_string(number);
  }
  return text;
}

// The names in a folder; none when it cannot be read.
std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
       at.increment(error)) {
    names.push_back(at->path().filename().string());
  }
  return names;
}

// An attribute of one line. Nothing when it cannot be read: the device has just gone.
std::optional<std::string> ReadAttribute(const std::string& path) {
  Result<std::string> text = ReadFile(path);
  if (!text) return std::nullopt;
  if (text->ends_with('\n')) text->pop_back();
  return *std::move(text);
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

std::string Trimmed(std::string text) {
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

CommandOutcome OutcomeOf(const sg_io_hdr& header, const Sense& sense) {
  const unsigned driver = header.driver_status & kDriverMask;
  const bool conflict = header.host_status == kHostNexusFailure && header.status != kStatusGood;
  if ((header.host_status == kHostOk && (driver == kDriverOk || driver == kDriverSense)) ||
      conflict) {
    return JudgeStatus(header.status, sense);
  }
  if (header.host_status == kHostNoConnect) return {CommandStatus::kUnreachable, kGone};
  const std::string statuses = "host adapter status " + std::to_string(header.host_status) +
                               ", driver status " + std::to_string(driver);
  if (std::find(kHostTryAgain.begin(), kHostTryAgain.end(), header.host_status) !=
      kHostTryAgain.end()) {
    return {CommandStatus::kTryAgain, statuses};
  }
  return {CommandStatus::kUnreachable, "cannot be reached: " + statuses};
}

class LiveTransport : public ScsiTransport {
 public:
  LiveTransport(std::string sysfs, std::string devices)
      : sysfs_(std::move(sysfs)), devices_(std::move(devices)) {}

  bool Renew() override {
    branch_ = nullptr;
    return true;
  }

  std::shared_ptr<RegistryKey> DeviceMap() override {
    if (branch_ == nullptr) Scan();
    return branch_;
  }

  bool IsAttached(const ScsiAddress& address) override { return Find(address) != nullptr; }

  std::string NameOf(const ScsiAddress& address) override {
    const KernelUnit* unit = Find(address);
    if (unit == nullptr) return {};
    return Trimmed(Trimmed(unit->vendor) + ' ' + unit->product) + " (" +
           KernelAddressText(unit->kernel_address) + (unit->node.empty() ? "" : ", " + unit->node) +
           ')';
  }

  std::vector<std::string> NodeNames(const ScsiAddress& address) override;
  Result<> Open(const ScsiAddress& address) override;
  Result<> Send(const ScsiAddress& address, const ScsiCommand& command,
                std::uint64_t ticket) override;
  std::vector<FinishedCommand> Wait(std::chrono::milliseconds max) override;
  void Close(const ScsiAddress& address) override { open_.erase(address); }

 private:
  struct UnderWay {
    ScsiCommand command;
    std::string data;
    std::array<unsigned char, kSenseSize> sense{};
  };
  // What is under way at an open node. The driver keeps the addresses of a command's buffers, and
  // forgets them when the node is closed.
  struct OpenNode {
    FileHandle file;
    std::map<std::uint64_t, std::unique_ptr<UnderWay>> commands;  // by ticket
  };

  void Scan();
  void AddKernelUnit(const std::string& name, const std::map<std::uint64_t, std::uint16_t>& ports);
  const KernelUnit* Find(const ScsiAddress& address) {
    DeviceMap();
    const auto at = units_.find(address);
    return at == units_.end() ? nullptr : &at->second;
  }
  static void Receive(OpenNode& node, std::vector<FinishedCommand>& finished);
  static void Fail(OpenNode& node, const std::string& reason,
                   std::vector<FinishedCommand>& finished);

  std::string sysfs_;
  std::string devices_;
  std::shared_ptr<RegistryKey> branch_;  // null: to be read from sysfs
  std::map<ScsiAddress, KernelUnit> units_;
  std::set<KernelAddress> left_out_;  // reported
  std::map<ScsiAddress, OpenNode> open_;
};

void LiveTransport::Scan() {
  branch_ = MakeHardwareBranch();
  units_.clear();
  std::set<std::uint64_t> hosts;
  const std::string host_folder = sysfs_ + "/class/scsi_host";
  for (const std::string& name : NamesIn(host_folder)) {
    const std::string_view number = std::string_view(name).substr(
        std::min<std::size_t>(std::string_view("host").size(), name.size()));
    std::uint64_t host = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), host);
    if (error == std::errc() && end == number.data() + number.size()) hosts.insert(host);
  }
  std::map<std::uint64_t, std::uint16_t> ports;
  for (const std::uint64_t host : hosts) {
    const auto port = static_cast<std::uint16_t>(ports.size());
    ports[host] = port;
    const std::string driver = host_folder + "/host" + std::to_string(host) + "/proc_name";
    AddPort(*branch_, port, ReadAttribute(driver).value_or(""));
  }
  for (const std::string& name : NamesIn(sysfs_ + "/bus/scsi/devices")) {
    AddKernelUnit(name, ports);
  }
}

void LiveTransport::AddKernelUnit(const std::string& name,
                                  const std::map<std::uint64_t, std::uint16_t>& ports) {
  const auto kernel_address = ParseKernelAddress(name);
  if (!kernel_address) return;  // a host or a target
  const auto& [host, channel, target, lun] = *kernel_address;
  const auto port = ports.find(host);
  const std::string folder = sysfs_ + "/bus/scsi/devices/" + name;
  const auto vendor = ReadAttribute(folder + "/vendor");
  const auto product = ReadAttribute(folder + "/model");
  const auto revision = ReadAttribute(folder + "/rev");
  const auto type = ReadAttribute(folder + "/type");
  if (port == ports.end() || !vendor || !product || !revision || !type) return;
  if (channel >= kBusLimit || target >= kTargetLimit || lun >= kUnitLimit) {
    if (left_out_.insert(*kernel_address).second) {
      ReportMessage(Severity::kNote,
                    "unit " + name + " (" + Trimmed(Trimmed(*vendor) + ' ' + *product) +
                        ") is left out: channels go up to 7, targets to 127, units to 63");
    }
    return;
  }
  const ScsiAddress address = {port->second, static_cast<std::uint16_t>(channel),
                               static_cast<std::uint16_t>(target), static_cast<std::uint16_t>(lun)};
  std::uint8_t peripheral_type = 0;
  std::from_chars(type->data(), type->data() + type->size(), peripheral_type);
  AddUnit(*branch_, address,
          Padded(*vendor, kVendorWidth) + Padded(*product, kProductWidth) +
              Padded(*revision, kRevisionWidth),
          peripheral_type);
  const std::vector<std::string> nodes = NamesIn(folder + "/scsi_generic");
  units_[address] = {*kernel_address, *vendor, *product, nodes.empty() ? "" : nodes.front()};
}

// The generic node, the drivers' own, and the links that keep their names over a restart.
std::vector<std::string> LiveTransport::NodeNames(const ScsiAddress& address) {
  const KernelUnit* unit = Find(address);
  if (unit == nullptr) return {};
  const std::string folder =
      sysfs_ + "/bus/scsi/devices/" + KernelAddressText(unit->kernel_address);
  std::vector<std::string> names;
  const auto add = [this, &folder, &names](const char* driver, const auto& wanted) {
    std::vector<std::string> nodes = NamesIn(folder + '/' + driver);
    std::sort(nodes.begin(), nodes.end());
    for (const std::string& node : nodes) {
      if (wanted(node)) names.push_back(devices_ + '/' + node);
    }
  };
  const auto any = [](const std::string& /*node*/) { return true; };
  add("scsi_generic", any);
  // A drive has more nodes, for its other modes: st0l, nst0a and so on.
  add("scsi_tape", [](const std::string& node) { return std::isdigit(node.back()) != 0; });
  add("scsi_changer", any);
  const std::size_t nodes = names.size();
  const std::string links = devices_ + "/tape/by-id";
  std::vector<std::string> found = NamesIn(links);
  std::sort(found.begin(), found.end());
  for (const std::string& link : found) {
    std::error_code error;
    std::string name = links;
    name.append("/").append(link);
    const auto target = std::filesystem::read_symlink(name, error);
    const std::string path = devices_ + '/' + target.filename().string();
    if (!error && std::find(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(nodes),
                            path) != names.begin() + static_cast<std::ptrdiff_t>(nodes)) {
      names.push_back(std::move(name));
    }
  }
  return names;
}

Result<> LiveTransport::Open(const ScsiAddress& address) {
  const KernelUnit* unit = Find(address);
  if (unit->node.empty()) {
    return Error{"has no SCSI generic node (is the kernel module sg loaded?)"};
  }
  const std::string path = devices_ + '/' + unit->node;
  Result<FileHandle> file = OpenFile(path, O_RDWR | O_NONBLOCK);
  if (!file) {
    const int error = file.Failure().system_error;
    if (error == ENXIO || error == ENODEV) return Error{kGone};
    const bool refused = error == EACCES || error == EPERM;
    return Error{"cannot open " + file.Failure().Text() +
                 (refused && geteuid() != 0 ? " (run as root)" : "")};
  }
  open_[address] = {*std::move(file), {}};
  return {};
}

Result<> LiveTransport::Send(const ScsiAddress& address, const ScsiCommand& command,
                             std::uint64_t ticket) {
  OpenNode& node = open_.at(address);
  auto under_way = std::make_unique<UnderWay>();
  under_way->command = command;
  under_way->data.resize(command.allocation);
  sg_io_hdr header = {};
  header.interface_id = 'S';
  header.dxfer_direction = SG_DXFER_FROM_DEV;
  header.cmd_len = command.size;
  header.cmdp = under_way->command.cdb.data();
  header.dxfer_len = static_cast<unsigned>(under_way->data.size());
  header.dxferp = under_way->data.data();
  header.mx_sb_len = static_cast<unsigned char>(under_way->sense.size());
  header.sbp = under_way->sense.data();
  header.timeout = kKernelTimeoutMs;
  // The number that comes back with the answer; tickets of one node are never that far apart.
  header.pack_id = static_cast<int>(ticket & 0x7FFFFFFF);
  ssize_t written = 0;
  do {
    written = write(node.file.Get(), &header, sizeof header);
  } while (written < 0 && errno == EINTR);
  if (written < 0) {
    return Error{errno == ENODEV || errno == ENXIO
                     ? kGone
                     : "cannot be sent a command: " + SystemError().message};
  }
  node.commands[ticket] = std::move(under_way);
  return {};
}

void LiveTransport::Fail(OpenNode& node, const std::string& reason,
                         std::vector<FinishedCommand>& finished) {
  for (const auto& [ticket, command] : std::exchange(node.commands, {})) {
    finished.push_back({ticket, {CommandStatus::kUnreachable, reason}, {}, {}});
  }
}

// Takes one answer from a node.
void LiveTransport::Receive(OpenNode& node, std::vector<FinishedCommand>& finished) {
  sg_io_hdr header = {};
  header.interface_id = 'S';
  header.pack_id = -1;
  if (read(node.file.Get(), &header, sizeof header) < 0) {
    if (errno != EAGAIN && errno != EINTR) {
      Fail(node, errno == ENODEV ? kGone : "does not answer: " + SystemError().message, finished);
    }
    return;
  }
  const auto at =
      std::find_if(node.commands.begin(), node.commands.end(), [&header](const auto& command) {
        return static_cast<int>(command.first & 0x7FFFFFFF) == header.pack_id;
      });
  if (at == node.commands.end()) return;
  const std::unique_ptr<UnderWay> command = std::move(at->second);
  FinishedCommand answer;
  answer.ticket = at->first;
  node.commands.erase(at);
  answer.sense = SenseIn({reinterpret_cast<const char*>(command->sense.data()),
                          std::min<std::size_t>(header.sb_len_wr, command->sense.size())});
  answer.outcome = OutcomeOf(header, answer.sense);
  if (answer.outcome.status == CommandStatus::kGood) {
    const auto missing = static_cast<std::size_t>(std::max(header.resid, 0));
    command->data.resize(command->data.size() - std::min(missing, command->data.size()));
    answer.data = std::move(command->data);
  }
  finished.push_back(std::move(answer));
}

std::vector<FinishedCommand> LiveTransport::Wait(std::chrono::milliseconds max) {
  std::vector<pollfd> polled;
  std::vector<OpenNode*> nodes;
  for (auto& [address, node] : open_) {
    polled.push_back({node.file.Get(), POLLIN, 0});
    nodes.push_back(&node);
  }
  std::vector<FinishedCommand> finished;
  if (poll(polled.data(), polled.size(), static_cast<int>(max.count())) <= 0) return finished;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    if ((polled[i].revents & POLLIN) != 0) {
      Receive(*nodes[i], finished);
    } else if ((polled[i].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
      Fail(*nodes[i], kGone, finished);
    }
  }
  return finished;
}

}  // namespace

Result<std::unique_ptr<HardwareSource>> OpenLive(const std::string& sysfs,
                                                 const std::string& devices) {
  if (access((sysfs + "/bus").c_str(), R_OK | X_OK) != 0) {
    return Error{"cannot list this machine's devices in " + sysfs + ": " + SystemError().message};
  }
  return std::unique_ptr<HardwareSource>(
      std::make_unique<InquirySource>(std::make_unique<LiveTransport>(sysfs, devices)));
}

}  // namespace devprep
