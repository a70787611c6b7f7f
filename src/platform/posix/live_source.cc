#include "platform/posix/live_source.h"

#include <fcntl.h>
#include <poll.h>
#include <scsi/sg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/hardware/asked_source.h"
#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_machine.h"
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

// Statuses of a command as the SCSI generic driver reports them.
constexpr unsigned kScsiGood = 0x00;
constexpr unsigned kScsiCheckCondition = 0x02;
constexpr unsigned kHostOk = 0x00;
constexpr unsigned kHostNoConnect = 0x01;
constexpr unsigned kDriverMask = 0x0F;
constexpr unsigned kDriverOk = 0x00;
constexpr unsigned kDriverSense = 0x08;
constexpr std::size_t kSenseSize = 64;

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

class LiveMachine : public ScsiMachine {
 public:
  LiveMachine(std::string sysfs, std::string devices)
      : sysfs_(std::move(sysfs)), devices_(std::move(devices)) {}

  bool Renew() override {
    branch_ = nullptr;
    return true;
  }

  std::shared_ptr<RegistryKey> Branch() override {
    if (branch_ == nullptr) Scan();
    return branch_;
  }

  std::string NameOf(const ScsiAddress& address) override {
    const KernelUnit* unit = Find(address);
    if (unit == nullptr) return {};
    return Trimmed(Trimmed(unit->vendor) + ' ' + unit->product) + " (" +
           KernelAddressText(unit->kernel_address) + (unit->node.empty() ? "" : ", " + unit->node) +
           ')';
  }

  std::string Open(const ScsiAddress& address) override;
  std::string Send(const ScsiAddress& address, const InquiryCommand& bytes,
                   std::uint64_t ticket) override;
  std::vector<FinishedCommand> Wait(std::chrono::milliseconds most) override;
  void Close(const ScsiAddress& address) override { open_.erase(address); }

 private:
  struct Command {
    InquiryCommand bytes{};
    std::array<unsigned char, kInquiryAllocation> data{};
    std::array<unsigned char, kSenseSize> sense{};
  };
  // What is under way at an open node. The driver keeps the addresses of a command's buffers, and
  // forgets them when the node is closed.
  struct OpenNode {
    FileHandle file;
    std::map<std::uint64_t, std::unique_ptr<Command>> commands;  // by ticket
  };

  void Scan();
  void AddKernelUnit(const std::string& name, const std::map<std::uint64_t, std::uint16_t>& ports);
  const KernelUnit* Find(const ScsiAddress& address) {
    Branch();
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

void LiveMachine::Scan() {
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

void LiveMachine::AddKernelUnit(const std::string& name,
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

std::string LiveMachine::Open(const ScsiAddress& address) {
  const KernelUnit* unit = Find(address);
  if (unit == nullptr) return "is not attached";
  if (unit->node.empty()) {
    return "cannot be asked: it has no SCSI generic node (is the kernel module sg loaded?)";
  }
  const std::string path = devices_ + '/' + unit->node;
  Result<FileHandle> file = OpenFile(path, O_RDWR | O_NONBLOCK);
  if (!file) {
    const int error = file.Failure().system_error;
    if (error == ENXIO || error == ENODEV) return "has gone";
    const bool refused = error == EACCES || error == EPERM;
    return (refused ? "may not be opened: " : "cannot be opened: ") + file.Failure().Text() +
           (refused && geteuid() != 0 ? " (run as root)" : "");
  }
  open_[address] = {*std::move(file), {}};
  return {};
}

std::string LiveMachine::Send(const ScsiAddress& address, const InquiryCommand& bytes,
                              std::uint64_t ticket) {
  OpenNode& node = open_.at(address);
  auto command = std::make_unique<Command>();
  command->bytes = bytes;
  sg_io_hdr header = {};
  header.interface_id = 'S';
  header.dxfer_direction = SG_DXFER_FROM_DEV;
  header.cmd_len = static_cast<unsigned char>(command->bytes.size());
  header.cmdp = command->bytes.data();
  header.dxfer_len = static_cast<unsigned>(command->data.size());
  header.dxferp = command->data.data();
  header.mx_sb_len = static_cast<unsigned char>(command->sense.size());
  header.sbp = command->sense.data();
  header.timeout = kKernelTimeoutMs;
  // The number that comes back with the answer; tickets of one node are never that far apart.
  header.pack_id = static_cast<int>(ticket & 0x7FFFFFFF);
  ssize_t written = 0;
  do {
    written = write(node.file.Get(), &header, sizeof header);
  } while (written < 0 && errno == EINTR);
  if (written < 0) {
    return errno == ENODEV || errno == ENXIO ? "has gone"
                                             : "cannot be sent a command: " + SystemError().message;
  }
  node.commands[ticket] = std::move(command);
  return {};
}

void LiveMachine::Fail(OpenNode& node, const std::string& reason,
                       std::vector<FinishedCommand>& finished) {
  for (const auto& [ticket, command] : std::exchange(node.commands, {})) {
    finished.push_back({ticket, CommandStatus::kUnreachable, {}, reason});
  }
}

// Takes one answer from a node.
void LiveMachine::Receive(OpenNode& node, std::vector<FinishedCommand>& finished) {
  sg_io_hdr header = {};
  header.interface_id = 'S';
  header.pack_id = -1;
  if (read(node.file.Get(), &header, sizeof header) < 0) {
    if (errno != EAGAIN && errno != EINTR) {
      Fail(node, errno == ENODEV ? "has gone" : "gives no answer: " + SystemError().message,
           finished);
    }
    return;
  }
  const auto at =
      std::find_if(node.commands.begin(), node.commands.end(), [&header](const auto& command) {
        return static_cast<int>(command.first & 0x7FFFFFFF) == header.pack_id;
      });
  if (at == node.commands.end()) return;
  const std::unique_ptr<Command> command = std::move(at->second);
  FinishedCommand answer{at->first, CommandStatus::kRefused, {}, {}};
  node.commands.erase(at);
  const unsigned driver = header.driver_status & kDriverMask;
  if (header.host_status != kHostOk || (driver != kDriverOk && driver != kDriverSense)) {
    answer.status = CommandStatus::kUnreachable;
    answer.reason = header.host_status == kHostNoConnect
                        ? "has gone"
                        : "cannot be reached: host adapter status " +
                              std::to_string(header.host_status) + ", driver status " +
                              std::to_string(driver);
  } else if (header.status == kScsiGood) {
    answer.status = CommandStatus::kGood;
    const auto missing = static_cast<std::size_t>(std::max(header.resid, 0));
    answer.data.assign(
        command->data.begin(),
        command->data.end() - static_cast<std::ptrdiff_t>(std::min(missing, command->data.size())));
  } else if (header.status == kScsiCheckCondition) {
    const std::string sense(command->sense.begin(), command->sense.begin() + header.sb_len_wr);
    if (SenseKeyIn(sense) == kSenseUnitAttention) answer.status = CommandStatus::kUnitAttention;
  }
  finished.push_back(std::move(answer));
}

std::vector<FinishedCommand> LiveMachine::Wait(std::chrono::milliseconds most) {
  std::vector<pollfd> polled;
  std::vector<OpenNode*> nodes;
  for (auto& [address, node] : open_) {
    polled.push_back({node.file.Get(), POLLIN, 0});
    nodes.push_back(&node);
  }
  std::vector<FinishedCommand> finished;
  if (poll(polled.data(), polled.size(), static_cast<int>(most.count())) <= 0) return finished;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    if ((polled[i].revents & POLLIN) != 0) {
      Receive(*nodes[i], finished);
    } else if ((polled[i].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
      Fail(*nodes[i], "has gone", finished);
    }
  }
  return finished;
}

}  // namespace

OpenedSource OpenLive(const std::string& sysfs, const std::string& devices) {
  if (access((sysfs + "/bus").c_str(), R_OK | X_OK) != 0) {
    return {nullptr, sysfs + ": this machine's devices cannot be listed: " + SystemError().message};
  }
  return {std::make_unique<AskedSource>(std::make_unique<LiveMachine>(sysfs, devices)), {}};
}

}  // namespace devprep
