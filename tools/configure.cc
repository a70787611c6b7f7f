// devprep plan and devprep configure: what the configuration pass would do, and doing it.
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "danger_text.h"
#include "discovery/scsi_probe.h"
#include "entry/library.h"
#include "guarded_edit.h"
#include "listing.h"
#include "outcome_report.h"
#include "pass.h"
#include "plan_file.h"
#include "reconfig/outcome.h"
#include "refusal.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Choices {
  GuardOptions guard;
  ListingOptions listing;  // of the devices; with why of the candidates
  bool follow_identity = false;
  std::string accept;     // codes, separated by commas
  std::string plan_file;  // to save or to apply
  bool why = false;
  std::optional<std::uint16_t> why_device;
};

struct PassResult {
  OutcomeReport report;
  PlanBasis basis;
};

// The pass within a session, with what it is made from.
Result<PassResult> RunPlannedPass(bool follow_identity) {
  PassResult result;
  result.basis.registry = RegistryDigests();
  Result<OutcomeReport> report = RunPass(follow_identity);
  if (!report) return report.Failure();
  result.basis.hardware = HardwareDigests();
  result.report = *std::move(report);
  return result;
}

Result<std::vector<std::string>> ParseAccepted(const std::string& text) {
  std::vector<std::string> codes;
  std::string rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(','), rest.size());
    codes.push_back(rest.substr(0, end));
    rest.erase(0, end + 1);
    if (!DangerNamed(codes.back())) {
      return Refusal({"no_such_danger", "there is no danger '" + codes.back() +
                                            "': the codes are " + AllDangerNames()});
    }
  }
  return codes;
}

// The codes of dangers that are refused and not accepted, each once.
std::vector<std::string> Refused(const OutcomeReport& report,
                                 const std::vector<std::string>& accepted) {
  std::vector<std::string> codes;
  for (const DangerReport& danger : report.dangers) {
    const std::string code = DangerName(danger.code);
    const auto known = [&code](const std::vector<std::string>& list) {
      return std::find(list.begin(), list.end(), code) != list.end();
    };
    if (danger.refused && !known(accepted) && !known(codes)) codes.push_back(code);
  }
  return codes;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ",") + text;
  return joined;
}

bool IdentityWouldMend(const std::vector<std::string>& codes) {
  return std::any_of(codes.begin(), codes.end(), [](const std::string& code) {
    return code == DangerName(DangerCode::kCrossed) || code == DangerName(DangerCode::kMerged) ||
           code == DangerName(DangerCode::kSplit) || code == DangerName(DangerCode::kReplaced);
  });
}

// What --follow-identity would make of the same configuration.
struct WhenFollowing {
  OutcomeReport report;
  std::vector<std::string> refused;
};

// Tries --follow-identity, in a process of its own state, where it would mend what is refused.
// Nothing when it would not, or cannot be tried.
std::optional<WhenFollowing> TryFollowing(const Options& options,
                                          const std::vector<std::string>& refused,
                                          const std::vector<std::string>& accepted,
                                          bool follow_identity) {
  if (follow_identity || !IdentityWouldMend(refused)) return std::nullopt;
  WhenFollowing following;
  ResetProcessState();
  const Result<> done = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    Result<OutcomeReport> report = RunPass(true);
    if (!report) return report.Failure();
    following = {*std::move(report), {}};
    return {};
  });
  if (!done) return std::nullopt;
  following.refused = Refused(following.report, accepted);
  return following;
}

// How refused dangers can be got over.
std::string Advice(const std::vector<std::string>& codes,
                   const std::optional<WhenFollowing>& following) {
  std::string advice;
  if (following && following->refused.empty()) {
    advice =
        "With --follow-identity devices keep their numbers' settings and memberships by "
        "serial number and World Wide ID, and nothing is refused: look at 'devprep plan "
        "--follow-identity'.\n";
  } else if (following) {
    advice = "With --follow-identity there is still: " + Joined(following->refused) + ".\n";
  }
  return advice + "To go on all the same: --accept " + Joined(codes) + "\n";
}

struct WhyLine {
  std::uint16_t old_number = 0;
  std::uint16_t candidate = 0;
  MatchWitness witness = {};
  bool chosen = false;
};

Column<WhyLine> VerdictColumn(const char* name, const char* label, const char* about,
                              Verdict MatchWitness::*verdict) {
  return {TextColumn(name, label, about), [verdict](const WhyLine& line) {
            return Value::Name(VerdictName(line.witness.*verdict));
          }};
}

// The criteria stand in the order in which the pass tries them.
const Listing<WhyLine>& WhyListing() {
  static const Listing<WhyLine> listing(
      {{NumberColumn("old_number", "Old", "device number before", Importance::kKey),
        [](const WhyLine& line) { return Value::Number(line.old_number); }},
       {NumberColumn("candidate", "Candidate", "device number now", Importance::kKey),
        [](const WhyLine& line) { return Value::Number(line.candidate); }},
       {TextColumn("address", "Address", "port:bus:target:lun now"),
        [](const WhyLine& line) {
          return Value::Text(AddressText(FoundDevices[line.candidate].Address));
        }},
       VerdictColumn("wwid_in_place", "WWID in place", "World Wide ID and name, port, bus and unit",
                     &MatchWitness::WorldWideIdInPlace),
       VerdictColumn("address_and_name", "Address and name", "whole address and name",
                     &MatchWitness::Address),
       VerdictColumn("serial_number", "Serial number", "serial number",
                     &MatchWitness::SerialNumber),
       VerdictColumn("wwid", "WWID", "World Wide ID and name, anywhere",
                     &MatchWitness::WorldWideId),
       VerdictColumn("name", "Name", "type and name alone", &MatchWitness::Name),
       {TextColumn("decided", "Decided", "the criterion that chose it", Importance::kKey),
        [](const WhyLine& line) {
          if (!line.chosen) return Value::Absent();
          return Value::Name(CriterionName(LastPass.OldDeviceMap[line.old_number].RecognisedBy));
        }}},
      [](const WhyLine& line) { return line.chosen ? Colour::kGood : Colour::kPlain; });
  return listing;
}

// Of each old device the candidates of its type, and others that a criterion speaks for.
std::vector<WhyLine> Why(const std::optional<std::uint16_t>& only) {
  std::vector<WhyLine> lines;
  for (std::uint16_t k = 0; k < LastPass.OldDeviceCount; ++k) {
    if (only && *only != k) continue;
    const OldDeviceOutcome& device = LastPass.OldDeviceMap[k];
    for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
      const MatchWitness witness = WitnessOldDevice(k, n);
      const bool chosen = device.NewNumber == n;
      if (FoundDevices[n].Type != device.Old.Type && !chosen &&
          witness.Second == MatchCriterion::kNone) {
        continue;
      }
      lines.push_back({k, n, witness, chosen});
    }
  }
  return lines;
}

Json FollowingJson(const std::optional<WhenFollowing>& following, const ListingOptions& listing) {
  if (!following) return nullptr;
  Json json = OutcomeJson(following->report, listing);
  json["refused"] = following->refused;
  return json;
}

ExitStatus StatusOf(const OutcomeReport& report, const std::vector<std::string>& refused) {
  if (!refused.empty()) return ExitStatus::kDangers;
  return NothingChanged(report) ? ExitStatus::kDone : ExitStatus::kWouldChange;
}

Result<ExitStatus> Plan(const Options& options, const Choices& choices) {
  const auto accepted = ParseAccepted(choices.accept);
  if (!accepted) return accepted.Failure();
  PassResult pass;
  std::vector<WhyLine> why;
  const Result<> done = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    Result<PassResult> run = RunPlannedPass(choices.follow_identity);
    if (!run) return run.Failure();
    pass = std::move(*run);
    if (choices.why_device && *choices.why_device >= LastPass.OldDeviceCount) {
      return Refusal({"no_device", Named("device", *choices.why_device) +
                                       " is not configured: there is nothing to explain"});
    }
    if (choices.why) why = Why(choices.why_device);
    return {};
  });
  if (!done) return done.Failure();
  const std::vector<std::string> refused = Refused(pass.report, *accepted);
  const ExitStatus status = StatusOf(pass.report, refused);
  if (!choices.plan_file.empty()) {
    const Result<> saved =
        SavePlan(choices.plan_file, {choices.follow_identity, *accepted, pass.basis},
                 OutcomeJson(pass.report, {}));
    if (!saved) return saved.Failure();
  }
  if (choices.guard.json) {
    const ListingOptions devices =
        choices.why ? WithUsualColumns(choices.listing) : choices.listing;
    Json json = OutcomeJson(pass.report, devices);
    json["would_change"] = !NothingChanged(pass.report);
    json["refused"] = refused;
    json["with_follow_identity"] =
        FollowingJson(TryFollowing(options, refused, *accepted, choices.follow_identity), devices);
    json["why"] = choices.why ? WhyListing().AsJson(why, choices.listing) : Json(nullptr);
    PrintJson(json);
    return status;
  }
  if (choices.why) {
    WhyListing().Print(why, choices.listing);
    return status;
  }
  PrintOutcome(pass.report, choices.listing);
  if (NothingChanged(pass.report)) std::cout << "\nNothing would change.\n";
  if (!refused.empty()) {
    const auto following = TryFollowing(options, refused, *accepted, choices.follow_identity);
    std::cout << "\n'devprep configure' would refuse this. " << Advice(refused, following);
    if (following) {
      std::cout << "\nWith --follow-identity:\n";
      PrintDevices(following->report, choices.listing);
    }
  }
  return status;
}

// What keeps the pass from being stored.
struct Objections {
  std::vector<std::string> codes;
  std::string difference;  // from the plan that it is to be
  bool declined = false;
  bool Any() const { return !codes.empty() || !difference.empty() || declined; }
};

// The pass in one session, stored unless it is refused.
Result<> RunGuarded(const Options& options, Needs needs, bool follow_identity,
                    const std::vector<std::string>& accepted, const PlanBasis* planned,
                    PassResult& pass, Objections& objections) {
  return InSession(options, needs, [&]() -> Result<> {
    Result<PassResult> run = RunPlannedPass(follow_identity);
    if (!run) return run.Failure();
    pass = std::move(*run);
    if (planned != nullptr) {
      objections.difference =
          DifferenceText("registry key", planned->registry, pass.basis.registry);
      const std::string hardware = DifferenceText("unit", planned->hardware, pass.basis.hardware);
      if (!objections.difference.empty() && !hardware.empty()) objections.difference += "; ";
      objections.difference += hardware;
    }
    objections.codes = Refused(pass.report, accepted);
    if (objections.Any()) return Error{"refused"};
    return {};
  });
}

Result<ExitStatus> Refuse(const Options& options, const Choices& choices, const PassResult& pass,
                          const Objections& objections, const std::vector<std::string>& accepted,
                          bool follow_identity) {
  if (!objections.difference.empty()) {
    return Refusal({"not_as_planned", "not as planned: " + objections.difference +
                                          "; nothing was changed. Plan anew"})
        .In(choices.plan_file);
  }
  if (choices.guard.json) {
    Json json = OutcomeJson(pass.report, choices.listing);
    json["stored"] = false;
    json["refused"] = objections.codes;
    json["with_follow_identity"] = FollowingJson(
        TryFollowing(options, objections.codes, accepted, follow_identity), choices.listing);
    PrintJson(json);
    return ExitStatus::kDangers;
  }
  PrintOutcome(pass.report, choices.listing);
  std::cout.flush();
  PrintKeptMessages();
  std::cerr << "devprep: refused, nothing was changed: " << Joined(objections.codes) << '\n'
            << Advice(objections.codes,
                      TryFollowing(options, objections.codes, accepted, follow_identity));
  return ExitStatus::kDangers;
}

Result<ExitStatus> Configure(const Options& options, const Choices& choices) {
  if (choices.guard.dry_run) return Plan(options, choices);
  PlanFile plan;
  if (!choices.plan_file.empty()) {
    Result<PlanFile> read = ReadPlan(choices.plan_file);
    if (!read) return read.Failure();
    plan = std::move(*read);
  }
  const auto given = ParseAccepted(choices.accept);
  if (!given) return given.Failure();
  std::vector<std::string> accepted = plan.accepted;
  accepted.insert(accepted.end(), given->begin(), given->end());
  const bool follow_identity = choices.follow_identity || plan.follow_identity;
  const PlanBasis* planned = choices.plan_file.empty() ? nullptr : &plan.basis;
  PassResult pass;
  Objections objections;
  // Where a person is asked, the registry is not held while the person thinks; and where a session
  // cannot be taken back, what is refused must be known before it begins.
  const bool ask = planned == nullptr && AsksFirst(choices.guard);
  PlanBasis shown;
  if (ask || !kSessionsAreWhole) {
    const Result<> tried = RunGuarded(options, Needs::kConfiguration, follow_identity, accepted,
                                      planned, pass, objections);
    if (objections.Any()) {
      return Refuse(options, choices, pass, objections, accepted, follow_identity);
    }
    if (!tried) return tried.Failure();
    if (ask) {
      PrintOutcome(pass.report, choices.listing);
      const Answer answer =
          AskAboutChange(!NothingChanged(pass.report), "Store this configuration?");
      if (answer == Answer::kNothingToDo) return ExitStatus::kDone;
      if (answer == Answer::kNo) return ExitStatus::kWouldChange;
    }
    shown = pass.basis;
    planned = &shown;
    ResetProcessState();
  }
  const Result<> done = RunGuarded(options, Needs::kConfigurationToChange, follow_identity,
                                   accepted, planned, pass, objections);
  if (objections.Any()) {
    return Refuse(options, choices, pass, objections, accepted, follow_identity);
  }
  if (!done) return done.Failure();
  if (choices.guard.json) {
    Json json = OutcomeJson(pass.report, choices.listing);
    json["stored"] = true;
    json["refused"] = Json::array();
    json["with_follow_identity"] = nullptr;
    PrintJson(json);
  } else if (ask) {
    std::cout << "Stored.\n";
  } else {
    PrintOutcome(pass.report, choices.listing);
  }
  return ExitStatus::kDone;
}

void AddCommonOptions(CLI::App* command, Choices* choices) {
  command->add_flag("--follow-identity", choices->follow_identity,
                    "Keep each number's settings and memberships with its device, by serial number "
                    "and World Wide ID, wherever the device went");
  command
      ->add_option("--accept", choices->accept,
                   "Go on in spite of these dangers: " + AllDangerNames())
      ->option_text("CODE[,CODE...]");
}

}  // namespace

void AddConfigureCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* plan = app.add_subcommand(
      "plan", "Show what 'configure' would do, with its dangers, and change nothing");
  const auto planned = std::make_shared<Choices>();
  plan->add_flag("--json", planned->guard.json, "Print JSON");
  AddCommonOptions(plan, planned.get());
  plan->add_option("--save", planned->plan_file, "Write the plan for 'configure --plan'")
      ->option_text("FILE");
  plan->add_option("--why", planned->why_device,
                   "Show what each criterion says of each candidate; of device N before alone")
      ->option_text("[N]")
      ->expected(0, 1);
  AddTableOptions(*plan, planned->listing,
                  {{DeviceOutcomeColumns(), ""}, {WhyListing().Infos(), "--why"}});
  OnCommand(plan, invocation, [&invocation, plan, planned] {
    planned->why = plan->count("--why") != 0;
    return Plan(invocation.options, *planned);
  });

  CLI::App* configure = app.add_subcommand(
      "configure",
      "Rebuild the configuration from the devices attached now, and tell what became of each old "
      "device, group and tape RAID");
  const auto choices = std::make_shared<Choices>();
  AddGuardOptions(*configure, choices->guard, "Do as 'devprep plan'");
  AddCommonOptions(configure, choices.get());
  configure->add_option("--plan", choices->plan_file, "Apply this plan, and nothing else")
      ->option_text("FILE");
  AddTableOptions(*configure, choices->listing, {{DeviceOutcomeColumns(), ""}});
  OnCommand(configure, invocation,
            [&invocation, choices] { return Configure(invocation.options, *choices); });
}

}  // namespace devprep::tool
