// The command-line tool for the person at the machine.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "devprep/version.h"
#include "exit_status.h"
#include "report.h"
#include "session.h"

namespace {

using devprep::Error;
using devprep::Result;
using devprep::tool::ExitStatus;

constexpr const char* kAbout =
    "Prepares the tape engine's configuration: finds the SCSI tape drives and media changers "
    "attached now, and keeps device numbers, settings, groups and tape RAIDs with their devices.";

constexpr const char* kFooter =
    "Exit status: 0 done, 1 failed (the reason is on standard error), 2 wrong use,\n"
    "4 something differs or would change, 5 dangers.\n"
    "See devprep(1) for the words used here, the environment and the files.";

// The help shows them in this order.
const std::vector<devprep::tool::CommandGroup>& CommandGroups() {
  static const std::vector<devprep::tool::CommandGroup> groups = {
      {"Configure", "devprep-configure", {"plan", "configure", "check"}},
      {"Look", "devprep-devices", {"devices", "tree", "hardware", "library"}},
      {"Fill in",
       "devprep-change",
       {"reserve", "release", "disable", "enable", "set", "groups", "group"}},
      {"Tape RAIDs", "devprep-raid", {"raids", "raid"}},
      {"Take back", "devprep-history", {"history", "diff", "undo"}},
      {"Draw, and carry to other machines", "devprep-capture", {"picture", "capture", "estate"}},
      {"Registry", "devprep-registry", {"registry"}}};
  return groups;
}

// Why the tool cannot go on, when what was thrown is a standard library's.
const char* Reason(const std::exception& failure) {
  return dynamic_cast<const std::bad_alloc*>(&failure) != nullptr ? "not enough memory"
                                                                  : failure.what();
}

const char* StoredText() {
  return devprep::tool::StoredSomething() ? "; the changes were stored" : "";
}

// Needs no memory.
void PrintReason(const char* reason) {
  std::fprintf(stderr, "devprep: %s%s\n", reason, StoredText());
}

ExitStatus RunCommand(const devprep::tool::Command& command) {
  Result<ExitStatus> done = command();
  if (!done) {
    devprep::tool::PrintError(done.Failure());
    return ExitStatus::kFailed;
  }
  devprep::tool::PrintKeptMessages();
  std::cout.flush();
  if (!std::cout) {
    PrintReason("cannot write standard output");
    return ExitStatus::kFailed;
  }
  return *done;
}

// An argument without what is secret in it: the login, and whatever options follow, of a URL.
std::string WithoutSecrets(std::string argument) {
  const std::size_t scheme = argument.find("://");
  if (scheme == std::string::npos) return argument;
  argument.resize(std::min(argument.find('?', scheme), argument.size()));
  const std::size_t host = scheme + 3;
  const std::size_t at = argument.rfind('@');
  if (at != std::string::npos && at >= host) argument.replace(host, at - host, "...");
  return argument;
}

// The command line as the history tells it.
std::string CommandLine(int argc, char** argv) {
  std::string line = "devprep";
  for (int i = 1; i < argc; ++i) line.append(" ").append(WithoutSecrets(argv[i]));
  return line;
}

ExitStatus Run(int argc, char** argv) {
  CLI::App app(kAbout, "devprep");
  devprep::tool::UseOwnHelp(app);
  devprep::tool::Invocation invocation;
  devprep::tool::Options& options = invocation.options;
  options.command = CommandLine(argc, argv);
  app.add_option("--registry", options.registry,
                 "Registry file (DEVPREP_REGISTRY; /var/lib/devprep/registry.reg)")
      ->option_text("FILE");
  app.add_option("--hardware", options.hardware,
                 "Where the hardware is: live, iscsi://HOST[:PORT][/TARGET], or a capture file "
                 "(DEVPREP_HARDWARE; live)")
      ->option_text("SOURCE");
  app.add_option("--timeout", options.timeout,
                 "Time limit for each request to a device (DEVPREP_TIMEOUT; 10)")
      ->option_text("SECONDS")
      ->check(devprep::tool::CheckTimeLimit);
  app.add_flag("--no-modules", options.no_modules,
               "Leave out the library manager modules that the registry names");
  app.set_version_flag("--version", "devprep " DEVPREP_VERSION, "Print the version");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  devprep::tool::AddConfigureCommand(app, invocation);
  devprep::tool::AddCheckCommand(app, invocation);
  devprep::tool::AddDevicesCommand(app, invocation);
  devprep::tool::AddTreeCommand(app, invocation);
  devprep::tool::AddHardwareCommand(app, invocation);
  devprep::tool::AddLibraryCommand(app, invocation);
  devprep::tool::AddReserveCommands(app, invocation);
  devprep::tool::AddSetCommand(app, invocation);
  devprep::tool::AddGroupCommands(app, invocation);
  devprep::tool::AddRaidCommands(app, invocation);
  devprep::tool::AddHistoryCommands(app, invocation);
  devprep::tool::AddPictureCommand(app, invocation);
  devprep::tool::AddCaptureCommand(app, invocation);
  devprep::tool::AddEstateCommand(app, invocation);
  devprep::tool::AddRegistryCommands(app, invocation);
  devprep::tool::GroupCommands(app, CommandGroups());
  devprep::tool::AddCompleteCommand(app, invocation);
  // Known before the command line is understood, so that what is wrong with it is JSON, too.
  devprep::tool::StartReport(std::any_of(
      argv, argv + argc, [](const char* a) { return std::string_view(a) == "--json"; }));
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wanted) {
    app.exit(wanted);  // --help, --version
    return ExitStatus::kDone;
  } catch (const CLI::ParseError& wrong) {
    Error error = {devprep::tool::ExplainWrongUse(app, wrong)};
    error.code = "wrong_use";
    devprep::tool::PrintError(error);
    if (!devprep::tool::ReportsJson()) {
      std::cerr << "Try '" << devprep::tool::HelpCommand(app) << "'.\n";
    }
    return ExitStatus::kWrongUse;
  }
  return RunCommand(invocation.command);
}

void PrintUnexpected(const std::exception& failure) {
  try {
    devprep::tool::PrintError({std::string(Reason(failure)) + StoredText()});
  } catch (const std::exception&) {
    PrintReason(Reason(failure));
  }
}

// Where nothing can be caught, before main and within what must not throw, memory runs out, too.
[[noreturn]] void EndAtOnce() {
  const char* reason = "ended by an unexpected failure";
  if (std::current_exception() != nullptr) {
    try {
      throw;
    } catch (const std::exception& failure) {
      reason = Reason(failure);
    } catch (...) {
    }
  }
  PrintReason(reason);
  std::_Exit(static_cast<int>(ExitStatus::kFailed));
}

// Before all that is made before main: 101 is the first priority that is free.
[[gnu::constructor(101)]] void EndInOrderWithoutMemory() { std::set_terminate(EndAtOnce); }

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");
  try {
    return static_cast<int>(Run(argc, argv));
  } catch (const std::exception& failure) {
    PrintUnexpected(failure);
    return static_cast<int>(ExitStatus::kFailed);
  }
}
