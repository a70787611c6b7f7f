#include "platform/posix/iscsi_source.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/hardware/scsi_transport.h"
#include "platform/messages.h"
#include "platform/posix/iscsi_session.h"

namespace devprep {
namespace {

using std::chrono::milliseconds;

constexpr const char* kDriverName = "iscsi";
constexpr std::uint16_t kPort = 0;
constexpr std::uint16_t kBus = 0;
constexpr std::size_t kMaxTargets = 128;

// Of a unit whose session has ended.
constexpr const char* kClosed = "cannot be reached: its target closed the connection";

class IscsiTransport : public ScsiTransport {
 public:
  explicit IscsiTransport(IscsiUrl url) : url_(std::move(url)) {}
  ~IscsiTransport() override {
    const SigpipeGuard guard;
    sessions_.clear();
  }

  // Logs in everywhere and learns the units.
  Result<> LogIn();
  std::vector<ScsiAddress> Units() const { return {units_.begin(), units_.end()}; }

  // Puts a unit into the device map by its standard inquiry data.
  void List(const ScsiAddress& unit, std::string_view inquiry_data) {
    texts_[unit] = InquiryTextIn(inquiry_data);
    AddUnit(*branch_, unit, texts_[unit], PeripheralTypeIn(inquiry_data));
  }

  // A session that has ended since makes the transport useless.
  bool Renew() override {
    const SigpipeGuard guard;
    // The first look at a closed connection makes the library notice, the second makes it tell.
    ServiceSessions(Pointers(), milliseconds(0));
    ServiceSessions(Pointers(), milliseconds(0));
    return ConnectionError().empty();
  }

  std::string ConnectionError() const override {
    for (const auto& session : sessions_) {
      if (session->Broken()) {
        return url_.portal + ": target " + session->PrintableTarget() + " closed the connection";
      }
    }
    return {};
  }

  std::shared_ptr<RegistryKey> DeviceMap() override { return branch_; }

  bool IsAttached(const ScsiAddress& unit) override { return units_.contains(unit); }

  std::string NameOf(const ScsiAddress& unit) override {
    std::string name;
    if (const auto text = texts_.find(unit); text != texts_.end()) name = text->second + ' ';
    if (IsAttached(unit)) name += "(target " + sessions_[unit.target]->PrintableTarget() + ')';
    return name;
  }

  Result<> Open(const ScsiAddress& unit) override {
    if (sessions_[unit.target]->Broken()) return Error{kClosed};
    return {};
  }

  Result<> Send(const ScsiAddress& unit, const ScsiCommand& command,
                std::uint64_t ticket) override {
    const SigpipeGuard guard;
    ScsiCommand sent = command;
    scsi_task* task = Iscsi().scsi_create_task(sent.size, sent.cdb.data(), SCSI_XFER_READ,
                                               static_cast<int>(sent.allocation));
    if (task == nullptr) return Error{"cannot be sent a command: out of memory"};
    IscsiSession& session = *sessions_[unit.target];
    const auto at = under_way_.emplace(ticket, UnderWay{this, ticket, unit, task}).first;
    if (Iscsi().iscsi_scsi_command_async(session.Context(), unit.lun, task,
                                         &IscsiTransport::OnAnswer, nullptr, &at->second) != 0) {
      under_way_.erase(at);
      Iscsi().scsi_free_scsi_task(task);
      return Error{"cannot be sent a command: " + session.ErrorText()};
    }
    return {};
  }

  std::vector<FinishedCommand> Wait(milliseconds max) override {
    const SigpipeGuard guard;
    if (finished_.empty()) ServiceSessions(Pointers(), max);
    // Commands whose target is gone may not be called back.
    std::vector<std::uint64_t> lost;
    for (const auto& [ticket, command] : under_way_) {
      if (sessions_[command.unit.target]->Broken()) lost.push_back(ticket);
    }
    for (const std::uint64_t ticket : lost) {
      finished_.push_back({ticket, {CommandStatus::kUnreachable, kClosed}, {}, {}});
      Forget(ticket);
    }
    return std::exchange(finished_, {});
  }

  void Close(const ScsiAddress& unit) override {
    const SigpipeGuard guard;
    std::vector<std::uint64_t> tickets;
    for (const auto& [ticket, command] : under_way_) {
      if (command.unit == unit) tickets.push_back(ticket);
    }
    for (const std::uint64_t ticket : tickets) Forget(ticket);
  }

 private:
  struct UnderWay {
    IscsiTransport* transport;
    std::uint64_t ticket;
    ScsiAddress unit;
    scsi_task* task;
  };

  std::vector<IscsiSession*> Pointers() const {
    std::vector<IscsiSession*> pointers;
    for (const auto& session : sessions_) pointers.push_back(session.get());
    return pointers;
  }

  // Takes a command back. The library calls back at once, which is not to count as an answer.
  void Forget(std::uint64_t ticket) {
    const auto at = under_way_.find(ticket);
    if (at == under_way_.end()) return;
    const UnderWay command = at->second;
    at->second.transport = nullptr;
    Iscsi().iscsi_scsi_cancel_task(sessions_[command.unit.target]->Context(), command.task);
    under_way_.erase(ticket);
    Iscsi().scsi_free_scsi_task(command.task);
  }

  static void OnAnswer(iscsi_context* /*context*/, int status, void* data, void* private_data) {
    auto& command = *static_cast<UnderWay*>(private_data);
    if (command.transport == nullptr) return;
    IscsiTransport& transport = *command.transport;
    IscsiSession& session = *transport.sessions_[command.unit.target];
    auto* task = static_cast<scsi_task*>(data);
    FinishedCommand finished;
    finished.ticket = command.ticket;
    if (status == SCSI_STATUS_CANCELLED) {
      // By the library, which does so with all commands of a session that ends.
      session.MarkBroken();
      finished.outcome = {CommandStatus::kUnreachable, kClosed};
    } else if (status < 0 || status > 0xFF) {
      finished.outcome = {CommandStatus::kUnreachable, "cannot be reached: " + session.ErrorText()};
    } else {
      finished.sense = {static_cast<std::uint8_t>(task->sense.key),
                        static_cast<std::uint8_t>(task->sense.ascq >> 8),
                        static_cast<std::uint8_t>(task->sense.ascq & 0xFF)};
      finished.outcome = JudgeStatus(static_cast<std::uint8_t>(status), finished.sense);
      if (status == SCSI_STATUS_GOOD && task->datain.data != nullptr && task->datain.size > 0) {
        finished.data.assign(reinterpret_cast<const char*>(task->datain.data),
                             static_cast<std::size_t>(task->datain.size));
      }
    }
    transport.finished_.push_back(std::move(finished));
    transport.under_way_.erase(command.ticket);
    Iscsi().scsi_free_scsi_task(task);
  }

  IscsiUrl url_;
  std::shared_ptr<RegistryKey> branch_ = MakeHardwareBranch();
  std::set<ScsiAddress> units_;
  std::map<ScsiAddress, std::string> texts_;
  std::map<std::uint64_t, UnderWay> under_way_;  // by ticket; their places are kept by the library
  std::vector<FinishedCommand> finished_;
  IscsiSessions sessions_;  // by target id; they call back into the members above when they end
};

Result<> IscsiTransport::LogIn() {
  const SigpipeGuard guard;
  const Result<IscsiCredentials> credentials = ReadIscsiCredentials();
  if (!credentials) return credentials.Failure();
  std::map<std::string, std::string> targets;
  if (url_.target.empty()) {
    IscsiSessions discovery;
    discovery.push_back(std::make_unique<IscsiSession>(url_.portal, "", *credentials));
    for (const auto step :
         {&IscsiSession::Connect, &IscsiSession::LogIn, &IscsiSession::DiscoverTargets}) {
      if (Result<> taken = TakeStep(discovery, step); !taken) return taken;
    }
    targets = discovery.front()->Targets();
    if (targets.empty()) return Error{"portal " + url_.portal + " offers no targets"};
  } else {
    targets[url_.target] = url_.portal;
  }
  if (targets.size() > kMaxTargets) {
    return Error{"portal " + url_.portal + " has more than " + std::to_string(kMaxTargets) +
                 " targets: name one of them in the URL"};
  }
  for (const auto& [name, portal] : targets) {
    sessions_.push_back(std::make_unique<IscsiSession>(portal, name, *credentials));
  }
  for (const auto step :
       {&IscsiSession::Connect, &IscsiSession::LogIn, &IscsiSession::ReportUnits}) {
    if (Result<> taken = TakeStep(sessions_, step); !taken) return taken;
  }
  AddPort(*branch_, kPort, kDriverName);
  for (std::size_t target = 0; target < sessions_.size(); ++target) {
    for (const std::uint16_t lun : sessions_[target]->Units()) {
      units_.insert({kPort, kBus, static_cast<std::uint16_t>(target), lun});
    }
    if (sessions_[target]->Units().empty()) {
      ReportMessage(Severity::kNote,
                    "target " + sessions_[target]->PrintableTarget() + " has no units");
    }
  }
  return {};
}

}  // namespace

Result<std::unique_ptr<HardwareSource>> OpenIscsi(const std::string& url) {
  const Result<IscsiUrl> parsed = ParseIscsiUrl(url);
  if (!parsed) return parsed.Failure();
  if (const Result<> loaded = LoadIscsiLibrary(); !loaded) return loaded.Failure();
  auto made = std::make_unique<IscsiTransport>(*parsed);
  IscsiTransport& transport = *made;
  auto source = std::make_unique<InquirySource>(std::move(made));
  if (const Result<> logged_in = transport.LogIn(); !logged_in) return logged_in.Failure();
  const std::vector<ScsiAddress> units = transport.Units();
  if (units.empty()) return Error{url + " has no units"};
  const std::vector<std::optional<std::string>> inquiry_data = source->PrefetchInquiries(units);
  if (std::string lost = transport.ConnectionError(); !lost.empty()) return Error{lost};
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (inquiry_data[i]) transport.List(units[i], *inquiry_data[i]);
  }
  return std::unique_ptr<HardwareSource>(std::move(source));
}

}  // namespace devprep
