#include "platform/posix/iscsi_source.h"

#include <fcntl.h>
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "platform/hardware/asked_source.h"
#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_machine.h"
#include "platform/messages.h"
#include "platform/posix/file_ops.h"

namespace devprep {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kDefaultPort = "3260";
constexpr const char* kInitiatorPrefix = "iqn.2020-01.example.devprep:";
constexpr const char* kDriverName = "iscsi";
constexpr std::uint16_t kPort = 0;
constexpr std::uint16_t kBus = 0;
constexpr std::size_t kMostTargets = 128;

// REPORT LUNS (SPC-4, 6.21): a header with the length of the list, then 8 bytes for each unit.
constexpr int kReportLunsAllocation = 16384;
constexpr std::size_t kLunListHeader = 8;
constexpr std::size_t kLunSize = 8;
constexpr int kMostAttempts = 8;

// Of a unit whose session has ended.
constexpr const char* kClosed = "cannot be reached: its target closed the connection";

// A peer that closes its connection must not end this process.
class WithoutBrokenPipe {
 public:
  WithoutBrokenPipe() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  WithoutBrokenPipe(const WithoutBrokenPipe&) = delete;
  WithoutBrokenPipe& operator=(const WithoutBrokenPipe&) = delete;
  ~WithoutBrokenPipe() {
    const timespec at_once = {};
    if (!was_pending_) sigtimedwait(&pipe_, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

struct Credentials {
  std::string user;
  std::string password;
};

std::string Environment(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr ? "" : value;
}

std::string NextLine(std::string_view& text) {
  std::string line(text.substr(0, text.find('\n')));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

// An empty text when done, else the reason.
std::string ReadCredentials(Credentials& credentials) {
  credentials = {Environment(kIscsiUserVariable), Environment(kIscsiPasswordVariable)};
  const std::string file_name = Environment(kIscsiCredentialsVariable);
  if (!credentials.user.empty() || file_name.empty()) return {};
  const Result<std::string> text = ReadFile(file_name);
  if (!text) return text.Failure().Text();
  std::string_view rest = *text;
  credentials.user = NextLine(rest);
  credentials.password = NextLine(rest);
  if (credentials.user.empty()) return file_name + ": its first line is to hold the user's name";
  return {};
}

std::string InitiatorName() {
  std::array<char, HOST_NAME_MAX + 1> host{};
  if (gethostname(host.data(), host.size() - 1) != 0 || host[0] == '\0') return kInitiatorPrefix;
  return std::string(kInitiatorPrefix) + host.data();
}

// "address:port" of the other end of a connection, an IPv6 address in brackets. Empty when it has
// none.
std::string PeerOf(int connection) {
  sockaddr_storage peer = {};
  socklen_t size = sizeof peer;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getpeername(connection, reinterpret_cast<sockaddr*>(&peer), &size) != 0 ||
      getnameinfo(reinterpret_cast<sockaddr*>(&peer), size, host.data(), host.size(), port.data(),
                  port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return {};
  }
  const std::string text = host.data();
  return (peer.ss_family == AF_INET6 ? '[' + text + ']' : text) + ':' + port.data();
}

// How the step that a session took last stands.
enum class Step { kUnderWay, kDone, kFailed };

// One session with a portal, or with a target behind it.
class Session {
 public:
  // target: empty for a session that only discovers targets.
  Session(std::string portal, std::string target, const Credentials& credentials)
      : portal_(std::move(portal)),
        target_(std::move(target)),
        context_(iscsi_create_context(InitiatorName().c_str())) {
    if (context_ == nullptr) return;
    iscsi_set_noautoreconnect(context_, 1);
    iscsi_set_header_digest(context_, ISCSI_HEADER_DIGEST_NONE_CRC32C);
    iscsi_set_session_type(context_,
                           target_.empty() ? ISCSI_SESSION_DISCOVERY : ISCSI_SESSION_NORMAL);
    if (!target_.empty()) iscsi_set_targetname(context_, target_.c_str());
    if (!credentials.user.empty()) {
      iscsi_set_initiator_username_pwd(context_, credentials.user.c_str(),
                                       credentials.password.c_str());
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    if (context_ == nullptr) return;
    const WithoutBrokenPipe guard;
    // A polite end, without a wait: the target may be the reason why we go.
    if (iscsi_is_logged_in(context_) == 1 && iscsi_logout_async(
                                                 context_, [](auto...) {}, nullptr) == 0) {
      Service(POLLOUT);
    }
    iscsi_destroy_context(context_);
  }

  const std::string& Portal() const { return portal_; }
  const std::string& Target() const { return target_; }
  iscsi_context* Context() { return context_; }

  // The steps of a session's beginning. Each starts one; State tells how it went.
  void Connect() {
    Begin("cannot be reached",
          iscsi_connect_async(context_, portal_.c_str(), &Session::OnStep, this));
  }
  void LogIn() { Begin("refused the login", iscsi_login_async(context_, &Session::OnStep, this)); }
  void DiscoverTargets() {
    Begin("does not tell its targets",
          iscsi_discovery_async(context_, &Session::OnDiscovery, this));
  }
  void AskUnits() {
    scsi_task* task =
        iscsi_reportluns_task(context_, 0, kReportLunsAllocation, &Session::OnUnits, this);
    Begin("does not tell its units", task == nullptr ? -1 : 0);
  }

  Step State() const { return step_; }
  // What went wrong, about this session's portal or target.
  std::string Problem() const {
    return (target_.empty() ? "portal " + portal_ : "target " + target_) + ' ' + problem_;
  }
  void GiveUp(const std::string& reason) {
    if (step_ == Step::kUnderWay) Fail(reason);
  }

  bool Broken() const { return broken_; }
  void MarkBroken() { broken_ = true; }
  const std::map<std::string, std::string>& Targets() const { return targets_; }
  const std::vector<std::uint64_t>& Units() const { return units_; }

  pollfd Polled() {
    return {iscsi_get_fd(context_), static_cast<short>(iscsi_which_events(context_)), 0};
  }
  void Service(short events) {
    if (broken_ || iscsi_service(context_, events) >= 0) return;
    broken_ = true;
    // What the library says then is that it does not connect again, as it was told.
    GiveUp("the connection was closed");
  }

  // The library's last error in one line.
  std::string ErrorText() {
    const char* error = iscsi_get_error(context_);
    std::string text = error == nullptr ? "" : error;
    text.resize(std::min(text.find('\n'), text.size()));
    return text;
  }

 private:
  void Begin(const char* failure, int status) {
    failure_ = failure;
    step_ = Step::kUnderWay;
    if (status != 0) Fail(ErrorText());
  }
  void Fail(const std::string& reason) {
    step_ = Step::kFailed;
    problem_ = failure_ + (reason.empty() ? "" : ": " + reason);
  }

  static void OnStep(iscsi_context* /*context*/, int status, void* /*data*/, void* self) {
    auto& session = *static_cast<Session*>(self);
    if (session.step_ != Step::kUnderWay) {
      // The connection of a session that had begun: it ends.
      session.broken_ = true;
    } else if (status == SCSI_STATUS_GOOD) {
      session.step_ = Step::kDone;
    } else {
      session.Fail(session.ErrorText());
    }
  }

  static void OnDiscovery(iscsi_context* context, int status, void* data, void* self) {
    auto& session = *static_cast<Session*>(self);
    if (status == SCSI_STATUS_GOOD) {
      for (const auto* at = static_cast<const iscsi_discovery_address*>(data); at != nullptr;
           at = at->next) {
        session.AddTarget(*at);
      }
    }
    OnStep(context, status, data, self);
  }

  // A target behind several portals is reached through ours where that is one of them.
  void AddTarget(const iscsi_discovery_address& found) {
    const std::string ours = PeerOf(iscsi_get_fd(context_));
    std::string through;
    for (const auto* at = found.portals; at != nullptr; at = at->next) {
      std::string portal = at->portal;
      portal.resize(std::min(portal.find(','), portal.size()));
      if (through.empty() || portal == portal_ || portal == ours) through = portal;
    }
    targets_[found.target_name] = through.empty() ? portal_ : through;
  }

  static void OnUnits(iscsi_context* context, int status, void* data, void* self) {
    auto& session = *static_cast<Session*>(self);
    auto* task = static_cast<scsi_task*>(data);
    const bool attention = status == SCSI_STATUS_CHECK_CONDITION && task != nullptr &&
                           task->sense.key == SCSI_SENSE_UNIT_ATTENTION;
    if (status == SCSI_STATUS_GOOD && task != nullptr && task->datain.data != nullptr) {
      session.ReadUnits({reinterpret_cast<const char*>(task->datain.data),
                         static_cast<std::size_t>(std::max(task->datain.size, 0))});
    }
    if (task != nullptr) scsi_free_scsi_task(task);
    if (attention && ++session.attempts_ < kMostAttempts) {
      session.AskUnits();
    } else {
      OnStep(context, status, nullptr, self);
    }
  }

  void ReadUnits(std::string_view list) {
    const auto byte = [&list](std::size_t at) { return static_cast<std::uint8_t>(list[at]); };
    for (std::size_t at = kLunListHeader; at + kLunSize <= list.size(); at += kLunSize) {
      // Peripheral and flat space addressing (SAM-5, 4.7): everything else lies below another unit.
      const bool one_level = std::all_of(list.begin() + static_cast<std::ptrdiff_t>(at) + 2,
                                         list.begin() + static_cast<std::ptrdiff_t>(at + kLunSize),
                                         [](char c) { return c == 0; });
      const std::uint64_t number = (byte(at) & 0x3FU) << 8 | byte(at + 1);
      if (one_level && byte(at) >> 6 < 2 && number < kUnitLimit) {
        units_.push_back(number);
      } else {
        ReportMessage(Severity::kNote, "a unit of target " + target_ +
                                           " is left out: units go up to 63, in one level");
      }
    }
    std::sort(units_.begin(), units_.end());
  }

  std::string portal_;
  std::string target_;
  iscsi_context* context_;
  Step step_ = Step::kDone;
  bool broken_ = false;
  int attempts_ = 0;
  std::string failure_;  // what it means when the step under way fails
  std::string problem_;
  std::map<std::string, std::string> targets_;  // found: name, portal
  std::vector<std::uint64_t> units_;
};

using Sessions = std::vector<std::unique_ptr<Session>>;

// Waits for what any session has to say, and lets it.
void ServiceAll(const std::vector<Session*>& sessions, std::chrono::milliseconds most) {
  std::vector<pollfd> polled;
  std::vector<Session*> owners;
  for (Session* session : sessions) {
    if (session->Broken()) continue;
    polled.push_back(session->Polled());
    owners.push_back(session);
  }
  if (polled.empty()) return;
  if (poll(polled.data(), polled.size(), static_cast<int>(most.count())) <= 0) return;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    if (polled[i].revents != 0) owners[i]->Service(polled[i].revents);
  }
}

// Takes a step in all sessions at once. An empty text when all are done within the time limit, else
// the problem of the first that is not.
std::string TakeStep(const Sessions& sessions, void (Session::*step)()) {
  const Clock::time_point deadline = Clock::now() + TimeLimit();
  std::vector<Session*> under_way;
  for (const auto& session : sessions) {
    (session.get()->*step)();
    under_way.push_back(session.get());
  }
  for (;;) {
    std::erase_if(under_way, [](Session* at) { return at->State() != Step::kUnderWay; });
    const Clock::time_point now = Clock::now();
    if (under_way.empty() || now >= deadline) break;
    ServiceAll(under_way, std::chrono::ceil<std::chrono::milliseconds>(deadline - now));
  }
  for (Session* session : under_way) session->GiveUp("no answer in time");
  for (const auto& session : sessions) {
    if (session->State() == Step::kFailed) return session->Problem();
  }
  return {};
}

class IscsiMachine : public ScsiMachine {
 public:
  explicit IscsiMachine(IscsiPlace place) : place_(std::move(place)) {}
  ~IscsiMachine() override {
    const WithoutBrokenPipe guard;
    sessions_.clear();
  }

  // Logs in everywhere and learns the units. An empty text when done, else the problem.
  std::string LogIn();
  std::vector<ScsiAddress> Units() const;

  // Puts a unit into the device map by its standard inquiry data.
  void List(const ScsiAddress& unit, std::string_view inquiry_data) {
    texts_[unit] = InquiryTextIn(inquiry_data);
    AddUnit(*branch_, unit, texts_[unit], PeripheralTypeIn(inquiry_data));
  }

  // A session that ended since makes the machine useless.
  bool Renew() override {
    const WithoutBrokenPipe guard;
    // The first look at a closed connection makes the library notice, the second makes it tell.
    ServiceAll(Pointers(), std::chrono::milliseconds(0));
    ServiceAll(Pointers(), std::chrono::milliseconds(0));
    return Loss().empty();
  }

  std::string Loss() const override {
    for (const auto& session : sessions_) {
      if (session->Broken()) {
        return place_.portal + ": target " + session->Target() + " closed the connection";
      }
    }
    return {};
  }

  std::shared_ptr<RegistryKey> Branch() override { return branch_; }

  std::string NameOf(const ScsiAddress& unit) override {
    std::string name;
    if (const auto text = texts_.find(unit); text != texts_.end()) name = text->second + ' ';
    if (unit.target < sessions_.size()) {
      name += "(target " + sessions_[unit.target]->Target() + ')';
    }
    return name;
  }

  std::string Open(const ScsiAddress& unit) override {
    if (unit.port != kPort || unit.bus != kBus || unit.target >= sessions_.size()) {
      return "is not attached";
    }
    return sessions_[unit.target]->Broken() ? kClosed : "";
  }

  std::string Send(const ScsiAddress& unit, const InquiryCommand& command,
                   std::uint64_t ticket) override {
    const WithoutBrokenPipe guard;
    InquiryCommand bytes = command;
    scsi_task* task = scsi_create_task(static_cast<int>(bytes.size()), bytes.data(), SCSI_XFER_READ,
                                       kInquiryAllocation);
    if (task == nullptr) return "cannot be asked: out of memory";
    Session& session = *sessions_[unit.target];
    auto [at, added] = under_way_.emplace(ticket, UnderWay{this, ticket, unit, task});
    if (iscsi_scsi_command_async(session.Context(), unit.lun, task, &IscsiMachine::OnAnswer,
                                 nullptr, &at->second) != 0) {
      under_way_.erase(at);
      scsi_free_scsi_task(task);
      return "cannot be sent a command: " + session.ErrorText();
    }
    return {};
  }

  std::vector<FinishedCommand> Wait(std::chrono::milliseconds most) override {
    const WithoutBrokenPipe guard;
    if (finished_.empty()) ServiceAll(Pointers(), most);
    // Commands whose target is gone may not be called back.
    std::vector<std::uint64_t> lost;
    for (const auto& [ticket, command] : under_way_) {
      if (sessions_[command.unit.target]->Broken()) lost.push_back(ticket);
    }
    for (const std::uint64_t ticket : lost) {
      finished_.push_back({ticket, CommandStatus::kUnreachable, {}, kClosed});
      Forget(ticket);
    }
    return std::exchange(finished_, {});
  }

  void Close(const ScsiAddress& unit) override {
    const WithoutBrokenPipe guard;
    std::vector<std::uint64_t> tickets;
    for (const auto& [ticket, command] : under_way_) {
      if (command.unit == unit) tickets.push_back(ticket);
    }
    for (const std::uint64_t ticket : tickets) Forget(ticket);
  }

 private:
  struct UnderWay {
    IscsiMachine* machine;
    std::uint64_t ticket;
    ScsiAddress unit;
    scsi_task* task;
  };

  std::vector<Session*> Pointers() const {
    std::vector<Session*> pointers;
    for (const auto& session : sessions_) pointers.push_back(session.get());
    return pointers;
  }

  // Takes a command back. The library calls back at once, which is not to count as an answer.
  void Forget(std::uint64_t ticket) {
    const auto at = under_way_.find(ticket);
    if (at == under_way_.end()) return;
    const UnderWay command = at->second;
    at->second.machine = nullptr;
    iscsi_scsi_cancel_task(sessions_[command.unit.target]->Context(), command.task);
    under_way_.erase(ticket);
    scsi_free_scsi_task(command.task);
  }

  static void OnAnswer(iscsi_context* /*context*/, int status, void* data, void* private_data) {
    auto& command = *static_cast<UnderWay*>(private_data);
    if (command.machine == nullptr) return;
    IscsiMachine& machine = *command.machine;
    Session& session = *machine.sessions_[command.unit.target];
    auto* task = static_cast<scsi_task*>(data);
    FinishedCommand finished{command.ticket, CommandStatus::kRefused, {}, {}};
    if (status == SCSI_STATUS_GOOD) {
      finished.status = CommandStatus::kGood;
      if (task->datain.data != nullptr && task->datain.size > 0) {
        finished.data.assign(reinterpret_cast<const char*>(task->datain.data),
                             static_cast<std::size_t>(task->datain.size));
      }
    } else if (status == SCSI_STATUS_CHECK_CONDITION) {
      if (task->sense.key == SCSI_SENSE_UNIT_ATTENTION) {
        finished.status = CommandStatus::kUnitAttention;
      }
    } else if (status == SCSI_STATUS_CANCELLED) {
      // By the library, which does so with all commands of a session that ends.
      session.MarkBroken();
      finished.status = CommandStatus::kUnreachable;
      finished.reason = kClosed;
    } else if (status == SCSI_STATUS_ERROR || status == SCSI_STATUS_TIMEOUT) {
      finished.status = CommandStatus::kUnreachable;
      finished.reason = "cannot be reached: " + session.ErrorText();
    }
    machine.finished_.push_back(std::move(finished));
    machine.under_way_.erase(command.ticket);
    scsi_free_scsi_task(task);
  }

  IscsiPlace place_;
  std::shared_ptr<RegistryKey> branch_ = MakeHardwareBranch();
  std::map<ScsiAddress, std::string> texts_;
  std::map<std::uint64_t, UnderWay> under_way_;  // by ticket; their places are kept by the library
  std::vector<FinishedCommand> finished_;
  Sessions sessions_;  // by target id; they call back into the members above when they end
};

std::string IscsiMachine::LogIn() {
  const WithoutBrokenPipe guard;
  Credentials credentials;
  if (std::string problem = ReadCredentials(credentials); !problem.empty()) return problem;
  std::map<std::string, std::string> targets;
  if (place_.target.empty()) {
    Sessions discovery;
    discovery.push_back(std::make_unique<Session>(place_.portal, "", credentials));
    for (const auto step : {&Session::Connect, &Session::LogIn, &Session::DiscoverTargets}) {
      if (std::string problem = TakeStep(discovery, step); !problem.empty()) return problem;
    }
    targets = discovery.front()->Targets();
    if (targets.empty()) return "portal " + place_.portal + " has no targets for us";
  } else {
    targets[place_.target] = place_.portal;
  }
  if (targets.size() > kMostTargets) {
    return "portal " + place_.portal + " has more than " + std::to_string(kMostTargets) +
           " targets: name one of them";
  }
  for (const auto& [name, portal] : targets) {
    sessions_.push_back(std::make_unique<Session>(portal, name, credentials));
  }
  for (const auto step : {&Session::Connect, &Session::LogIn, &Session::AskUnits}) {
    if (std::string problem = TakeStep(sessions_, step); !problem.empty()) return problem;
  }
  AddPort(*branch_, kPort, kDriverName);
  return {};
}

std::vector<ScsiAddress> IscsiMachine::Units() const {
  std::vector<ScsiAddress> units;
  for (std::size_t target = 0; target < sessions_.size(); ++target) {
    for (const std::uint64_t lun : sessions_[target]->Units()) {
      units.push_back(
          {kPort, kBus, static_cast<std::uint16_t>(target), static_cast<std::uint16_t>(lun)});
    }
    if (sessions_[target]->Units().empty()) {
      ReportMessage(Severity::kNote, "target " + sessions_[target]->Target() + " has no units");
    }
  }
  return units;
}

}  // namespace

std::string ParseIscsiPlace(std::string_view url, IscsiPlace& place) {
  std::string wrong = std::string(url) + ": not of the form iscsi://HOST[:PORT][/TARGET]";
  url.remove_prefix(std::min(kIscsiScheme.size(), url.size()));
  const std::string_view portal = url.substr(0, url.find('/'));
  if (portal.find('@') != std::string_view::npos) {
    // The text itself may be a password, and is not repeated.
    return std::string("an iSCSI user and password do not belong here: set ") + kIscsiUserVariable +
           " and " + kIscsiPasswordVariable + ", or " + kIscsiCredentialsVariable;
  }
  const std::size_t host_end =
      portal.starts_with('[') ? portal.find(']') + 1 : std::min(portal.find(':'), portal.size());
  if (host_end == 0) return wrong;
  const std::string_view port = portal.substr(host_end);
  std::uint16_t number = 0;
  const auto [end, error] =
      std::from_chars(port.data() + !port.empty(), port.data() + port.size(), number);
  if (!port.empty() && (port.front() != ':' || error != std::errc() ||
                        end != port.data() + port.size() || number == 0)) {
    return wrong;
  }
  place.portal = port.empty() ? std::string(portal) + ':' + kDefaultPort : std::string(portal);
  place.target = portal.size() == url.size() ? "" : url.substr(portal.size() + 1);
  if (place.target.find('/') != std::string::npos) return wrong;
  return {};
}

OpenedSource OpenIscsi(const std::string& url) {
  IscsiPlace place;
  if (std::string problem = ParseIscsiPlace(url, place); !problem.empty()) {
    return {nullptr, problem};
  }
  auto made = std::make_unique<IscsiMachine>(place);
  IscsiMachine& machine = *made;
  auto source = std::make_unique<AskedSource>(std::move(made));
  if (std::string problem = machine.LogIn(); !problem.empty()) return {nullptr, problem};
  const std::vector<ScsiAddress> units = machine.Units();
  if (units.empty()) return {nullptr, url + ": there are no units"};
  const std::vector<std::optional<std::string>> inquiry_data = source->LookAhead(units);
  if (std::string problem = machine.Loss(); !problem.empty()) return {nullptr, problem};
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (inquiry_data[i]) machine.List(units[i], *inquiry_data[i]);
  }
  return {std::move(source), {}};
}

}  // namespace devprep
