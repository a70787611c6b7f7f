// Changes that are tried and shown before they are made.
#ifndef DEVPREP_TOOLS_GUARDED_EDIT_H_
#define DEVPREP_TOOLS_GUARDED_EDIT_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "exit_status.h"
#include "output.h"
#include "platform/result.h"
#include "session.h"

namespace devprep::tool {

// The choices that every such command takes from the command line.
struct GuardOptions {
  bool json = false;
  bool yes = false;
  bool dry_run = false;
};

// Adds --json, --yes and --dry-run. dry_run_help: what the last one does.
void AddGuardOptions(CLI::App& command, GuardOptions& options,
                     const char* dry_run_help = "Show what would change, and change nothing");

// Whether a person is to be asked before anything is changed.
bool AsksFirst(const GuardOptions& options);

enum class Answer { kYes, kNo, kNothingToDo };

// Asks the question below what was shown, and says what is not done.
Answer AskAboutChange(bool something_changes, const std::string& question);

// A change of the configuration within a session: returns what was done, a sentence or more. It
// runs twice, on a trial and for real.
using Edit = std::function<Result<std::string>()>;

// The error of a change that is not made since the registry is not the one that was shown.
Error RegistryChangedMeanwhile();

// What follows a change that was made.
using FollowUp = std::function<Result<ExitStatus>(Json& members)>;

// The question of edits that have no words of their own.
inline constexpr const char* kStoreQuestion = "Store this?";

// What an edit needs: the registry alone, or the library's operations and the hardware that they
// ask.
enum class EditNeeds { kRegistry, kConfiguration };

// Tries an edit, shows what it changes, asks where somebody is there to be asked, and makes it in
// one transaction, unless the registry is another by then. With --dry-run, and when the answer is
// no, nothing is changed and the status is kWouldChange.
//
// members: of the JSON, beside those of the change. then: what is to follow once the change is
// made; it prints, or adds to the members of the JSON, and gives the status.
Result<ExitStatus> RunGuardedEdit(const Options& options, const GuardOptions& guard,
                                  const std::string& question, const Edit& edit,
                                  Json members = Json::object(), const FollowUp& then = nullptr,
                                  EditNeeds needs = EditNeeds::kRegistry);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_GUARDED_EDIT_H_
