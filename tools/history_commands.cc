// devprep history, devprep diff and devprep undo: what changed the registry, and the way back.
#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "check.h"
#include "commands.h"
#include "configuration_diff.h"
#include "entry/library.h"
#include "guarded_edit.h"
#include "history.h"
#include "listing.h"
#include "platform/messages.h"
#include "platform/registry/history_layout.h"
#include "refusal.h"
#include "report.h"
#include "stored_configuration.h"
#include "text_diff.h"

namespace devprep::tool {
namespace {

using Number = std::optional<std::uint64_t>;
// As somebody types it: what is larger, or less than 0, is no number.
using TypedNumber = std::optional<std::uint32_t>;

std::string LocalTimeText(std::chrono::sys_seconds time) {
  // Not through the clock, whose times end in 2262: a damaged entry may have any.
#if defined(_WIN32)
  // The usual one ends in 2038 where a time has 32 bits.
  const __time64_t seconds = time.time_since_epoch().count();
  const std::tm* parts = _localtime64(&seconds);
#else
  const std::time_t seconds = time.time_since_epoch().count();
  const std::tm* parts = std::localtime(&seconds);
#endif
  std::array<char, 32> text{};
  if (parts != nullptr) std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", parts);
  return text.data();
}

// Whoever may write the registry may write its history: what cannot be printed becomes "?".
Value TextValue(const std::string& text) { return Value::Text(PrintableText(text)); }

Value UserValue(const HistoryEntry& entry) {
  return entry.user.empty() && entry.uid ? Value::Text(std::to_string(*entry.uid))
                                         : TextValue(entry.user);
}

Value CountsValue(const HistoryEntry& entry, std::size_t RecordCounts::*count) {
  if (!entry.before || !entry.after) return Value::Absent();
  const std::size_t before = *entry.before.*count;
  const std::size_t after = *entry.after.*count;
  std::string text = std::to_string(before);
  if (after != before) text += " -> " + std::to_string(after);
  return Value::Record({{"before", before}, {"after", after}}, text);
}

const Listing<HistoryEntry>& HistoryListing() {
  using enum Importance;
  static const Listing<HistoryEntry> listing(
      {{NumberColumn("number", "Change", "number of the change", kKey),
        [](const HistoryEntry& e) { return Value::Number(e.number); }},
       {TextColumn("time", "Time", "when it was; in JSON in UTC", kKey),
        [](const HistoryEntry& e) {
          return Value::Record(UtcText(e.time), LocalTimeText(e.time));
        }},
       {TextColumn("user", "User", "who made it"), UserValue},
       {TextColumn("program", "Program", "the program that made it", kExtra),
        [](const HistoryEntry& e) { return TextValue(e.program); }},
       {WrappingColumn("command", "Command", "what it was asked to do, where it told"),
        [](const HistoryEntry& e) { return TextValue(e.command); }},
       {TextColumn("devices", "Devices", "number of devices before and after"),
        [](const HistoryEntry& e) { return CountsValue(e, &RecordCounts::devices); }},
       {TextColumn("groups", "Groups", "number of groups before and after"),
        [](const HistoryEntry& e) { return CountsValue(e, &RecordCounts::groups); }},
       {TextColumn("raids", "RAIDs", "number of RAIDs before and after"),
        [](const HistoryEntry& e) { return CountsValue(e, &RecordCounts::raids); }}});
  return listing;
}

constexpr const char* kWhyNoHistory =
    "the registry has not been changed, or no history is kept (DEVPREP_HISTORY)";

Result<ExitStatus> History(const Options& options, const ListingOptions& listing) {
  std::vector<HistoryEntry> changes;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    auto listed = ListChanges();
    if (!listed) return listed.Failure();
    changes = *std::move(listed);
    return {};
  });
  if (!read) return read.Failure();
  if (listing.json) {
    PrintJson({{"changes", HistoryListing().AsJson(changes, listing)}});
  } else if (changes.empty()) {
    std::cout << "No changes: " << kWhyNoHistory << ".\n";
  } else {
    HistoryListing().Print(changes, listing);
  }
  return ExitStatus::kDone;
}

// The changes of the history from one of them on. number: none: the last.
Result<std::vector<HistoryEntry>> ChangesFrom(const Number& number) {
  auto changes = ListChanges();
  if (!changes) return changes;
  if (changes->empty()) {
    return Refusal({"no_history", std::string("there is no history: ") + kWhyNoHistory});
  }
  const std::uint64_t from = number.value_or(changes->back().number);
  const auto at = std::find_if(changes->begin(), changes->end(),
                               [from](const HistoryEntry& e) { return e.number == from; });
  if (at == changes->end()) {
    const std::uint64_t oldest = changes->front().number;
    const std::uint64_t newest = changes->back().number;
    return Refusal({"no_such_change",
                    "the history has no change " + std::to_string(from) + ": " +
                        (oldest < from && from < newest ? "somebody has removed it"
                                                        : "it keeps " + std::to_string(oldest) +
                                                              " to " + std::to_string(newest))});
  }
  changes->erase(changes->begin(), at);
  return changes;
}

// The registry before one change and after another.
struct Texts {
  HistoryText before;
  HistoryText after;
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

Result<Texts> ReadTexts(const Number& first, const Number& last) {
  const auto changes = ChangesFrom(first);
  if (!changes) return changes.Failure();
  Texts texts;
  texts.first = changes->front().number;
  texts.last = last.value_or(texts.first);
  if (texts.last < texts.first) {
    return Refusal({"wrong_order", "change " + std::to_string(texts.last) +
                                       " is earlier than change " + std::to_string(texts.first) +
                                       ": name the earlier one first"});
  }
  if (const auto known = ChangesFrom(texts.last); !known) return known.Failure();
  Result<HistoryText> before = TextBeforeChange(texts.first);
  if (!before) return before.Failure();
  Result<HistoryText> after = TextAfterChange(texts.last);
  if (!after) return after.Failure();
  texts.before = *std::move(before);
  texts.after = *std::move(after);
  return texts;
}

// Puts a text that the history keeps in the place of the registry.
Result<> Restore(const HistoryText& kept, const std::string& what) {
  Result<> replaced = ReplaceRegistry(kept.text);
  if (replaced || replaced.Failure().line == 0) return replaced;
  Error error = replaced.Failure().In(kept.file);
  error.message = "the history is damaged: the registry " + what + ": " + error.message;
  error.code = "damaged_history";
  return error;
}

std::string BeforeText(std::uint64_t number) { return "before change " + std::to_string(number); }
std::string AfterText(std::uint64_t number) { return "after change " + std::to_string(number); }

Result<ExitStatus> Diff(const Options& options, const Number& first, const Number& last,
                        bool as_text, const ListingOptions& listing) {
  Texts texts;
  ConfigurationDifference difference;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    Result<Texts> found = ReadTexts(first, last);
    if (!found) return found.Failure();
    texts = *std::move(found);
    if (Result<> done = Restore(texts.before, BeforeText(texts.first)); !done) return done;
    const StoredConfiguration before = ReadStoredConfiguration();
    if (Result<> done = Restore(texts.after, AfterText(texts.last)); !done) return done;
    difference = Compare(before, ReadStoredConfiguration());
    return {};
  });
  if (!read) return read.Failure();
  std::string text;
  if (as_text) {
    text = UnifiedDifference(BeforeText(texts.first), texts.before.text, AfterText(texts.last),
                             texts.after.text);
  }
  if (listing.json) {
    Json members = {{"first", texts.first}, {"last", texts.last}};
    members["changes"] = DifferenceJson(difference, listing);
    members["text"] = as_text ? Json(text) : Json(nullptr);
    PrintJson(members);
  } else if (as_text) {
    std::cout << text;
  } else if (difference.Empty()) {
    std::cout << "The configuration is the same before and after.\n";
  } else {
    PrintDifference(difference, listing);
  }
  return ExitStatus::kDone;
}

// "change 3", "changes 3 to 5".
std::string ChangesText(const std::vector<HistoryEntry>& changes) {
  const std::string first = std::to_string(changes.front().number);
  if (changes.size() == 1) return "change " + first;
  return "changes " + first + " to " + std::to_string(changes.back().number);
}

struct UndoChoices {
  GuardOptions guard;
  TypedNumber number;
  bool hardware_differs = false;
};

Result<ExitStatus> Undo(const Options& options, const UndoChoices& choices) {
  std::vector<HistoryEntry> undone;
  HistoryText kept;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    auto changes = ChangesFrom(choices.number);
    if (!changes) return changes.Failure();
    undone = *std::move(changes);
    Result<HistoryText> before = TextBeforeChange(undone.front().number);
    if (!before) return before.Failure();
    kept = *std::move(before);
    return Restore(kept, BeforeText(undone.front().number));
  });
  if (!read) return read.Failure();
  if (!choices.guard.json) {
    std::cout << "To be taken back:\n";
    HistoryListing().Print(undone, {});
    std::cout << '\n';
  }
  const Edit edit = [&]() -> Result<std::string> {
    const auto changes = ChangesFrom(choices.number);
    if (!changes) return changes.Failure();
    if (changes->back().number != undone.back().number) return RegistryChangedMeanwhile();
    const Result<> restored = Restore(kept, BeforeText(undone.front().number));
    if (!restored) return restored.Failure();
    return "Taken back: " + ChangesText(undone) + ".";
  };
  const FollowUp check = [&](Json& members) -> Result<ExitStatus> {
    ResetProcessState();
    const Result<CheckReport> report = RunCheck(options);
    if (!report) return report.Failure();
    if (choices.guard.json)
      members["check"] = CheckJson(*report);
    else
      PrintCheck(*report);
    return report->Status();
  };
  return RunGuardedEdit(options, choices.guard, "Take this back?", edit,
                        {{"undone", HistoryListing().AsJson(undone, {})}, {"check", nullptr}},
                        choices.hardware_differs ? check : FollowUp());
}

}  // namespace

void AddHistoryCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* history = app.add_subcommand("history", "List what has changed the registry");
  const auto listing = std::make_shared<ListingOptions>();
  AddListingOptions(*history, *listing, HistoryListing().Infos());
  OnCommand(history, invocation,
            [&invocation, listing] { return History(invocation.options, *listing); });

  struct DiffChoices {
    TypedNumber first;
    TypedNumber last;
    bool text = false;
    ListingOptions listing;
  };
  CLI::App* diff = app.add_subcommand(
      "diff", "Show what the last change did, change N, or all from change N to change M");
  const auto choices = std::make_shared<DiffChoices>();
  diff->add_option("first", choices->first, "Number of the change")->option_text("N");
  diff->add_option("last", choices->last, "Number of the last change")->option_text("M");
  diff->add_flag("--text", choices->text, "Show the registry's text, line by line");
  AddListingOptions(*diff, choices->listing, DeviceDifferenceColumns());
  OnCommand(diff, invocation, [&invocation, choices] {
    return Diff(invocation.options, choices->first, choices->last, choices->text, choices->listing);
  });

  CLI::App* undo = app.add_subcommand(
      "undo", "Put the registry back to how it was before the last change, or before change N");
  const auto undone = std::make_shared<UndoChoices>();
  undo->add_option("number", undone->number, "Number of the change")->option_text("N");
  AddGuardOptions(*undo, undone->guard, "Show what would change, and change nothing");
  undo->add_flag("--hardware-differs", undone->hardware_differs,
                 "Afterwards tell what is not attached as it is configured then, as 'check' does");
  OnCommand(undo, invocation, [&invocation, undone] { return Undo(invocation.options, *undone); });
}

}  // namespace devprep::tool
