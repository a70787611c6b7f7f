// devprep reserve, release, disable and enable: the drives of changers.
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "device_edit_text.h"
#include "guarded_edit.h"
#include "output.h"
#include "refusal.h"
#include "setup/device_setup.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Arguments {
  std::uint16_t changer = 0;
  std::vector<std::uint16_t> drives;
  bool force = false;
  GuardOptions guard;
};

std::string DrivesText(const std::vector<std::uint16_t>& drives) {
  return (drives.size() == 1 ? "Drive " : "Drives ") + Numbers(drives);
}

Result<ExitStatus> Reserve(const Options& options, const Arguments& given) {
  return RunGuardedEdit(options, given.guard, kStoreQuestion, [&] {
    const auto& drives = given.drives;
    return EditResult(ReserveDrives(given.changer, drives.data(),
                                    static_cast<std::uint16_t>(drives.size()), given.force),
                      DrivesText(drives) + " reserved to " + Named("changer", given.changer) + '.');
  });
}

Result<ExitStatus> Release(const Options& options, const Arguments& given) {
  return RunGuardedEdit(options, given.guard, kStoreQuestion, [&] {
    const auto& drives = given.drives;
    return EditResult(ReleaseDrives(given.changer, drives.data(),
                                    static_cast<std::uint16_t>(drives.size()), given.force),
                      (drives.empty() ? "All drives" : DrivesText(drives)) + " released from " +
                          Named("changer", given.changer) + '.');
  });
}

Result<ExitStatus> Disable(const Options& options, const Arguments& given, bool disabled) {
  return RunGuardedEdit(options, given.guard, kStoreQuestion, [&]() -> Result<std::string> {
    for (const std::uint16_t drive : given.drives) {
      Result<std::string> done = EditResult(SetDriveDisabled(drive, disabled), "");
      if (!done) return done;
    }
    return DrivesText(given.drives) + (disabled ? " disabled." : " enabled.");
  });
}

}  // namespace

void AddReserveCommands(CLI::App& app, Invocation& invocation) {
  const auto arguments = std::make_shared<Arguments>();
  Arguments* const a = arguments.get();
  const auto add = [&](const char* name, const char* about, auto run) {
    CLI::App* command = app.add_subcommand(name, about);
    AddGuardOptions(*command, a->guard);
    OnCommand(command, invocation,
              [&invocation, arguments, run] { return run(invocation.options, *arguments); });
    return command;
  };
  const auto add_changer = [a](CLI::App* command) {
    command->add_option("changer", a->changer, "Device number")->required()->option_text("CHANGER");
    command->add_flag("--force", a->force, kForceHelp);
  };
  const auto add_drives = [a](CLI::App* command, const char* about) {
    return command->add_option("drives", a->drives, about)->option_text("DRIVE...");
  };
  CLI::App* reserve =
      add("reserve", "Reserve drives to a changer, behind those that it has", Reserve);
  add_changer(reserve);
  add_drives(reserve, "Device numbers")->required();
  CLI::App* release =
      add("release", "Release a changer's reserved drives, or all of them", Release);
  add_changer(release);
  add_drives(release, "Device numbers; none: all drives of the changer");
  add_drives(add("disable", "Disable drives: they stay reserved, but are not used",
                 [](const Options& o, const Arguments& given) { return Disable(o, given, true); }),
             "Device numbers")
      ->required();
  add_drives(add("enable", "Enable drives that are disabled",
                 [](const Options& o, const Arguments& given) { return Disable(o, given, false); }),
             "Device numbers")
      ->required();
}

}  // namespace devprep::tool
