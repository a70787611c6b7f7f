#include "guarded_edit.h"

#include <iostream>

#include "configuration_diff.h"
#include "entry/library.h"
#include "question.h"
#include "refusal.h"
#include "report.h"
#include "stored_configuration.h"

namespace devprep::tool {
namespace {

// What an edit does.
struct Change {
  Digests before;
  ConfigurationDifference difference;
  std::string done;
};

Result<Change> Try(const Options& options, const Edit& edit, EditNeeds needs) {
  Change change;
  const Needs session = needs == EditNeeds::kRegistry ? Needs::kRegistry : Needs::kConfiguration;
  const Result<> tried = InSession(options, session, [&]() -> Result<> {
    const StoredConfiguration before = ReadStoredConfiguration();
    Result<std::string> done = edit();
    if (!done) return done.Failure();
    change = {before.keys, Compare(before, ReadStoredConfiguration()), *std::move(done)};
    return {};
  });
  if (!tried) return tried.Failure();
  return change;
}

Result<> Make(const Options& options, const Change& change, const Edit& edit, EditNeeds needs) {
  ResetProcessState();
  const Needs session =
      needs == EditNeeds::kRegistry ? Needs::kRegistryToChange : Needs::kConfigurationToChange;
  return InSession(options, session, [&]() -> Result<> {
    if (WholeRegistryDigests() != change.before) return RegistryChangedMeanwhile();
    const Result<std::string> done = edit();
    if (!done) return done.Failure();
    return {};
  });
}

void AddToJson(const Change& change, bool stored, Json& members) {
  members["stored"] = stored;
  members["message"] = change.done;
  members["changes"] = DifferenceJson(change.difference, {});
}

}  // namespace

void AddGuardOptions(CLI::App& command, GuardOptions& options, const char* dry_run_help) {
  command.add_flag("--json", options.json, "Print JSON");
  auto* const yes = command.add_flag("--yes", options.yes, "Do not ask before anything is changed");
  command.add_flag("--dry-run", options.dry_run, dry_run_help)->excludes(yes);
}

bool AsksFirst(const GuardOptions& options) {
  return !options.yes && !options.json && SomebodyIsThere();
}

Answer AskAboutChange(bool something_changes, const std::string& question) {
  if (!something_changes) {
    std::cout << "\nNothing changes.\n";
    return Answer::kNothingToDo;
  }
  if (Confirm('\n' + question)) return Answer::kYes;
  std::cout << "Nothing was changed.\n";
  return Answer::kNo;
}

Error RegistryChangedMeanwhile() {
  return Refusal(
      {"registry_changed",
       "the registry was changed in the meantime; nothing was changed here. Look again"});
}

Result<ExitStatus> RunGuardedEdit(const Options& options, const GuardOptions& guard,
                                  const std::string& question, const Edit& edit, Json members,
                                  const FollowUp& then, EditNeeds needs) {
  const Result<Change> change = Try(options, edit, needs);
  if (!change) return change.Failure();
  const bool changes = !change->difference.Empty();
  if (!guard.json) PrintDifference(change->difference, {});
  if (guard.dry_run || !changes) {
    if (guard.json) {
      AddToJson(*change, false, members);
      PrintJson(members);
    } else if (!changes) {
      std::cout << "Nothing changes.\n";
    }
    return changes ? ExitStatus::kWouldChange : ExitStatus::kDone;
  }
  if (AsksFirst(guard) && AskAboutChange(true, question) != Answer::kYes) {
    return ExitStatus::kWouldChange;
  }
  if (const Result<> made = Make(options, *change, edit, needs); !made) return made.Failure();
  AddToJson(*change, true, members);
  if (!guard.json) std::cout << '\n' << change->done << '\n';
  ExitStatus status = ExitStatus::kDone;
  if (then) {
    const Result<ExitStatus> followed = then(members);
    if (!followed) {
      Error error = followed.Failure();
      error.message = "stored, but then: " + error.message;
      return error;
    }
    status = *followed;
  }
  if (guard.json) PrintJson(members);
  return status;
}

}  // namespace devprep::tool
