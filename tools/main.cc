// The command-line tool for the person at the machine.
#include <CLI/CLI.hpp>
#include <clocale>
#include <exception>
#include <iostream>

#include "commands.h"
#include "devprep/version.h"
#include "session.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr const char* kAbout =
    "Prepares the tape engine's configuration: finds the SCSI tape drives and media changers "
    "attached now, and keeps device numbers, settings, groups and tape RAIDs with their devices.";

constexpr const char* kFooter =
    "Exit status: 0 done, 1 failed (the reason is on standard error), 2 wrong use.\n"
    "See devprep(1) for the commands, the formats and the environment.";

int Run(int argc, char** argv) {
  CLI::App app(kAbout, "devprep");
  devprep::tool::Options options;
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
  app.set_version_flag("--version", "devprep " DEVPREP_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  devprep::tool::AddConfigureCommand(app, options);
  devprep::tool::AddDevicesCommand(app, options);
  devprep::tool::AddTreeCommand(app, options);
  devprep::tool::AddHardwareCommand(app, options);
  devprep::tool::AddCaptureCommand(app, options);
  devprep::tool::AddRaidCommands(app, options);
  devprep::tool::AddRegistryCommands(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wanted) {
    return app.exit(wanted);  // --help, --version
  } catch (const CLI::ParseError& wrong) {
    const auto unknown = app.remaining();
    std::cerr << "devprep: "
              << (unknown.empty() ? wrong.what() : "unknown command or argument " + unknown.front())
              << "\nTry 'devprep --help'.\n";
    return kWrongUse;
  }
  std::cout.flush();
  if (!std::cout) throw devprep::tool::Failure("standard output cannot be written");
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");
  try {
    return Run(argc, argv);
  } catch (const std::exception& failure) {
    std::cout.flush();
    if (*failure.what() != '\0') std::cerr << "devprep: " << failure.what() << '\n';
    return kFailed;
  }
}
