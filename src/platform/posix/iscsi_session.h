// One iSCSI session, and the steps that several take at once.
#ifndef DEVPREP_PLATFORM_POSIX_ISCSI_SESSION_H_
#define DEVPREP_PLATFORM_POSIX_ISCSI_SESSION_H_

#include <poll.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/iscsi_library.h"
#include "platform/posix/iscsi_url.h"
#include "platform/result.h"

namespace devprep {

// A peer that closes its connection does not end this process while one of these lives.
class SigpipeGuard {
 public:
  SigpipeGuard();
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;
  ~SigpipeGuard();

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

// A session with a portal, or with a target behind it. libiscsi must be loaded, and a SigpipeGuard
// alive at every call.
class IscsiSession {
 public:
  // How the step that was taken last stands.
  enum class Step { kUnderWay, kDone, kFailed };

  // target: empty for a session that only discovers targets.
  IscsiSession(std::string portal, std::string target, const IscsiCredentials& credentials);
  IscsiSession(const IscsiSession&) = delete;
  IscsiSession& operator=(const IscsiSession&) = delete;
  ~IscsiSession();

  // For messages.
  const std::string& PrintableTarget() const { return printable_target_; }
  iscsi_context* Context() { return context_; }

  // The steps of a session's beginning. Each starts one; State tells how it goes.
  void Connect();
  void LogIn();
  void DiscoverTargets();
  void ReportUnits();

  Step State() const { return step_; }
  // What went wrong, about this session's portal or target.
  Error Problem() const;
  // Ends a step that is under way.
  void GiveUp(const std::string& reason);

  // Whether the connection has ended.
  bool Broken() const { return broken_; }
  void MarkBroken() { broken_ = true; }

  // Found by DiscoverTargets: each target's name and portal.
  const std::map<std::string, std::string>& Targets() const { return targets_; }
  // Found by ReportUnits, ascending. Those that a device map cannot list are left out with a note.
  const std::vector<std::uint16_t>& Units() const { return units_; }

  // What to poll for, and what to do when that comes.
  pollfd Polled();
  void Service(short events);

  // The library's last error in one line.
  std::string ErrorText();

 private:
  using Clock = std::chrono::steady_clock;

  void Begin(const char* failure, int status);
  void Fail(const std::string& reason);
  void SendReportLuns();
  void AddTarget(const iscsi_discovery_address& found);
  void ReadUnits(std::string_view list);
  static void OnStep(iscsi_context* context, int status, void* data, void* self);
  static void OnDiscovery(iscsi_context* context, int status, void* data, void* self);
  static void OnUnits(iscsi_context* context, int status, void* data, void* self);

  friend void ServiceSessions(const std::vector<IscsiSession*>& sessions,
                              std::chrono::milliseconds max);

  std::string portal_;
  std::string target_;
  std::string printable_target_;
  iscsi_context* context_;
  Step step_ = Step::kDone;
  bool broken_ = false;
  std::chrono::milliseconds pause_{0};         // before the next try to learn the units
  std::optional<Clock::time_point> retry_at_;  // of that try
  std::string try_again_reason_;
  std::string failure_;  // what it means when the step under way fails
  std::string problem_;
  std::map<std::string, std::string> targets_;
  std::vector<std::uint16_t> units_;
};

using IscsiSessions = std::vector<std::unique_ptr<IscsiSession>>;

// Waits until any session has something to say, at most so long, and lets it.
void ServiceSessions(const std::vector<IscsiSession*>& sessions, std::chrono::milliseconds max);

// Takes a step in all sessions at once. Fails with the problem of the first session in which it is
// not done within the time limit.
Result<> TakeStep(const IscsiSessions& sessions, void (IscsiSession::*step)());

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_POSIX_ISCSI_SESSION_H_
