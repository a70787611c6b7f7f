#include "platform/posix/iscsi_session.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/messages.h"

namespace devprep {
namespace {

using std::chrono::milliseconds;

constexpr const char* kInitiatorPrefix = "iqn.2020-01.example.devprep:";

// REPORT LUNS (SPC-4, 6.21): a header with the length of the list, then 8 bytes for each unit.
constexpr int kReportLunsAllocation = 16384;
constexpr std::size_t kLunListHeader = 8;
constexpr std::size_t kLunSize = 8;
constexpr milliseconds kFirstPause{10};
constexpr milliseconds kMaxPause{1000};

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

}  // namespace

SigpipeGuard::SigpipeGuard() {
  sigemptyset(&pipe_);
  sigaddset(&pipe_, SIGPIPE);
  sigset_t pending;
  sigpending(&pending);
  was_pending_ = sigismember(&pending, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
}

SigpipeGuard::~SigpipeGuard() {
  const timespec at_once = {};
  if (!was_pending_) sigtimedwait(&pipe_, nullptr, &at_once);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

IscsiSession::IscsiSession(std::string portal, std::string target,
                           const IscsiCredentials& credentials)
    : portal_(std::move(portal)),
      target_(std::move(target)),
      printable_target_(PrintableText(target_)),
      context_(Iscsi().iscsi_create_context(InitiatorName().c_str())) {
  if (context_ == nullptr) return;
  Iscsi().iscsi_set_noautoreconnect(context_, 1);
  Iscsi().iscsi_set_header_digest(context_, ISCSI_HEADER_DIGEST_NONE_CRC32C);
  Iscsi().iscsi_set_session_type(context_,
                                 target_.empty() ? ISCSI_SESSION_DISCOVERY : ISCSI_SESSION_NORMAL);
  if (!target_.empty()) Iscsi().iscsi_set_targetname(context_, target_.c_str());
  const auto& [initiator, proof] = credentials;
  if (initiator.user.empty()) return;
  Iscsi().iscsi_set_initiator_username_pwd(context_, initiator.user.c_str(),
                                           initiator.password.c_str());
  if (proof.user.empty()) return;
  Iscsi().iscsi_set_target_username_pwd(context_, proof.user.c_str(), proof.password.c_str());
}

IscsiSession::~IscsiSession() {
  if (context_ == nullptr) return;
  // A polite end, without a wait: the target may be the reason why we go.
  if (Iscsi().iscsi_is_logged_in(context_) == 1 && Iscsi().iscsi_logout_async(
                                                       context_, [](auto...) {}, nullptr) == 0) {
    Service(POLLOUT);
  }
  Iscsi().iscsi_destroy_context(context_);
}

void IscsiSession::Connect() {
  if (context_ == nullptr) {
    Begin("cannot be reached", 0);
    Fail("out of memory");
    return;
  }
  Begin("cannot be reached",
        Iscsi().iscsi_connect_async(context_, portal_.c_str(), &IscsiSession::OnStep, this));
}

void IscsiSession::LogIn() {
  Begin("refused the login", Iscsi().iscsi_login_async(context_, &IscsiSession::OnStep, this));
}

void IscsiSession::DiscoverTargets() {
  Begin("does not report its targets",
        Iscsi().iscsi_discovery_async(context_, &IscsiSession::OnDiscovery, this));
}

void IscsiSession::ReportUnits() {
  pause_ = milliseconds{0};
  try_again_reason_.clear();
  Begin("does not report its units", 0);
  SendReportLuns();
}

void IscsiSession::SendReportLuns() {
  retry_at_.reset();
  if (Iscsi().iscsi_reportluns_task(context_, 0, kReportLunsAllocation, &IscsiSession::OnUnits,
                                    this) == nullptr) {
    Fail(ErrorText());
  }
}

Error IscsiSession::Problem() const {
  return {(target_.empty() ? "portal " + portal_ : "target " + printable_target_) + ' ' + problem_};
}

void IscsiSession::GiveUp(const std::string& reason) {
  if (step_ != Step::kUnderWay) return;
  Fail(reason + (try_again_reason_.empty() ? "" : ": " + try_again_reason_));
}

pollfd IscsiSession::Polled() {
  return {Iscsi().iscsi_get_fd(context_), static_cast<short>(Iscsi().iscsi_which_events(context_)),
          0};
}

void IscsiSession::Service(short events) {
  if (broken_ || Iscsi().iscsi_service(context_, events) >= 0) return;
  broken_ = true;
  // What the library says then is that it does not connect again, as it was told.
  GiveUp("the connection was closed");
}

std::string IscsiSession::ErrorText() {
  const char* error = Iscsi().iscsi_get_error(context_);
  std::string text = error == nullptr ? "" : error;
  text.resize(std::min(text.find('\n'), text.size()));
  return text;
}

void IscsiSession::Begin(const char* failure, int status) {
  failure_ = failure;
  step_ = Step::kUnderWay;
  if (status != 0) Fail(ErrorText());
}

void IscsiSession::Fail(const std::string& reason) {
  step_ = Step::kFailed;
  problem_ = failure_ + (reason.empty() ? "" : ": " + reason);
}

void IscsiSession::OnStep(iscsi_context* /*context*/, int status, void* /*data*/, void* self) {
  auto& session = *static_cast<IscsiSession*>(self);
  if (session.step_ != Step::kUnderWay) {
    // The connection of a session that had begun: it ends.
    session.broken_ = true;
  } else if (status == SCSI_STATUS_GOOD) {
    session.step_ = Step::kDone;
  } else {
    session.Fail(session.ErrorText());
  }
}

void IscsiSession::OnDiscovery(iscsi_context* context, int status, void* data, void* self) {
  auto& session = *static_cast<IscsiSession*>(self);
  if (status == SCSI_STATUS_GOOD) {
    for (const auto* at = static_cast<const iscsi_discovery_address*>(data); at != nullptr;
         at = at->next) {
      session.AddTarget(*at);
    }
  }
  OnStep(context, status, data, self);
}

// A target behind several portals is reached through ours where that is one of them.
void IscsiSession::AddTarget(const iscsi_discovery_address& found) {
  const std::string ours = PeerOf(Iscsi().iscsi_get_fd(context_));
  std::string through;
  for (const auto* at = found.portals; at != nullptr; at = at->next) {
    std::string portal = at->portal;
    portal.resize(std::min(portal.find(','), portal.size()));
    if (through.empty() || portal == portal_ || portal == ours) through = portal;
  }
  targets_[found.target_name] = through.empty() ? portal_ : through;
}

void IscsiSession::OnUnits(iscsi_context* context, int status, void* data, void* self) {
  auto& session = *static_cast<IscsiSession*>(self);
  auto* task = static_cast<scsi_task*>(data);
  const bool by_unit = status >= 0 && status <= 0xFF && task != nullptr;
  const CommandOutcome outcome =
      by_unit ? JudgeStatus(static_cast<std::uint8_t>(status),
                            {static_cast<std::uint8_t>(task->sense.key), 0, 0})
              : CommandOutcome{CommandStatus::kUnreachable, {}};
  if (outcome.status == CommandStatus::kGood && task->datain.data != nullptr) {
    session.ReadUnits({reinterpret_cast<const char*>(task->datain.data),
                       static_cast<std::size_t>(std::max(task->datain.size, 0))});
  }
  if (task != nullptr) Iscsi().scsi_free_scsi_task(task);
  if (outcome.status != CommandStatus::kTryAgain) {
    OnStep(context, status, nullptr, self);
    return;
  }
  session.try_again_reason_ = outcome.reason;
  session.retry_at_ = Clock::now() + session.pause_;
  session.pause_ = std::clamp(session.pause_ * 2, kFirstPause, kMaxPause);
}

void IscsiSession::ReadUnits(std::string_view list) {
  std::size_t left_out = 0;
  for (std::size_t at = kLunListHeader; at + kLunSize <= list.size(); at += kLunSize) {
    // Peripheral and flat space addressing (SAM-5, 4.7): everything else lies below another unit.
    const std::string_view entry = list.substr(at, kLunSize);
    const auto number = static_cast<std::uint16_t>(BigEndian(entry.substr(0, 2)));
    const std::uint16_t lun = number & 0x3FFFU;
    if (BigEndian(entry.substr(2)) == 0 && number >> 14 < 2 && lun < kUnitLimit) {
      units_.push_back(lun);
    } else {
      ++left_out;
    }
  }
  if (left_out != 0) {
    ReportMessage(Severity::kNote, std::to_string(left_out) + " of the units of target " + target_ +
                                       " left out: units go up to 63, in one level");
  }
  std::sort(units_.begin(), units_.end());
  units_.erase(std::unique(units_.begin(), units_.end()), units_.end());
}

void ServiceSessions(const std::vector<IscsiSession*>& sessions, milliseconds max) {
  std::vector<pollfd> polled;
  std::vector<IscsiSession*> owners;
  for (IscsiSession* session : sessions) {
    if (session->Broken()) continue;
    if (session->retry_at_) {
      const auto pause =
          std::chrono::ceil<milliseconds>(*session->retry_at_ - IscsiSession::Clock::now());
      if (pause.count() <= 0) {
        session->SendReportLuns();
      } else {
        max = std::min(max, pause);
      }
    }
    polled.push_back(session->Polled());
    owners.push_back(session);
  }
  if (polled.empty()) return;
  if (poll(polled.data(), polled.size(), static_cast<int>(max.count())) <= 0) return;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    if (polled[i].revents != 0) owners[i]->Service(polled[i].revents);
  }
}

Result<> TakeStep(const IscsiSessions& sessions, void (IscsiSession::*step)()) {
  using Clock = std::chrono::steady_clock;
  const milliseconds limit = TimeLimit();
  const Clock::time_point deadline = Clock::now() + limit;
  std::vector<IscsiSession*> under_way;
  for (const auto& session : sessions) {
    (session.get()->*step)();
    under_way.push_back(session.get());
  }
  for (;;) {
    std::erase_if(under_way,
                  [](IscsiSession* at) { return at->State() != IscsiSession::Step::kUnderWay; });
    const Clock::time_point now = Clock::now();
    if (under_way.empty() || now >= deadline) break;
    ServiceSessions(under_way, std::chrono::ceil<milliseconds>(deadline - now));
  }
  for (IscsiSession* session : under_way) session->GiveUp("no answer in time");
  for (const auto& session : sessions) {
    if (session->State() == IscsiSession::Step::kFailed) return session->Problem();
  }
  return {};
}

}  // namespace devprep
