// devprep reserve, release, disable and enable: the drives of changers.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "device_edit_text.h"
#include "entry/library.h"
#include "library_survey.h"
#include "next_pass.h"
#include "output.h"
#include "plan_file.h"
#include "refusal.h"
#include "setup/device_setup.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Arguments {
  std::uint16_t changer = 0;
  std::vector<std::uint16_t> drives;
  bool from_library = false;
  bool force = false;
  GuardOptions guard;
};

// The drives that a changer says it has, and what the registry was when it was asked.
struct LibraryDrives {
  std::vector<std::uint16_t> drives;  // configured ones, in the order of their elements
  std::vector<Term> remarks;
  Digests registry;
};

std::string DrivesText(const std::vector<std::uint16_t>& drives) {
  return (drives.size() == 1 ? "Drive " : "Drives ") + Numbers(drives);
}

std::string ElementText(const LibraryDrive& drive) {
  return "element " + std::to_string(drive.element.address);
}

// What is not taken over.
std::vector<Term> RemarksOn(const LibraryMap& map, const LibraryReservation& reservation) {
  std::vector<Term> remarks;
  for (const LibraryDrive* drive : reservation.not_configured) {
    remarks.push_back({"drive_not_configured",
                       "The drive in " + ElementText(*drive) + ", at " +
                           AddressText(map.units[*drive->unit].record.Address) +
                           ", is not configured: 'devprep configure' gives it a number."});
  }
  for (const LibraryDrive* drive : reservation.unrecognised) {
    remarks.push_back({"drive_not_recognised",
                       "No attached drive is recognised in " + ElementText(*drive) + "."});
  }
  return remarks;
}

// Whether a drive that would be released could be one that the map does not show.
Result<> CheckReleased(const LibraryChanger& changer, const LibraryReservation& reservation) {
  if (reservation.unrecognised.empty() && !changer.cut) return {};
  const auto& drives = reservation.drives;
  for (const std::uint16_t drive : changer.reserved) {
    if (std::find(drives.begin(), drives.end(), drive) != drives.end()) continue;
    return RefusalUnlessForced(
        {"maybe_not_recognised",
         Named("drive", drive) + " is reserved, and the library does not name it; but not all of "
                                 "its drives are recognised, and this may be one of them"});
  }
  return {};
}

Result<LibraryDrives> AskLibrary(const Options& options, const Arguments& given) {
  LibraryDrives asked;
  const std::string name = Named("changer", given.changer);
  const Result<> done = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    if (Result<> can = CheckElementsCanBeAsked(); !can) return can;
    const auto configured = EditResult(CheckChanger(given.changer), "");
    if (!configured) return configured.Failure();
    const LibraryMap map = SurveyLibraries();
    const LibraryChanger* const changer = map.FindChanger(given.changer);
    if (changer == nullptr) return Refusal({"not_attached", name + " is not attached"});
    if (!changer->reports_elements) {
      return Refusal({"no_elements", name + " does not say what elements it has"});
    }
    const LibraryReservation reservation = ReservationOf(*changer);
    if (reservation.drives.empty()) {
      return Refusal({"no_drives_recognised",
                      "no configured drive is recognised in the library of " + name +
                          ": see 'devprep library " + std::to_string(given.changer) + "'"});
    }
    if (const Result<> fits = CheckReleased(*changer, reservation); !fits && !given.force) {
      return fits.Failure();
    }
    asked = {reservation.drives, RemarksOn(map, reservation), RegistryDigests()};
    return {};
  });
  ResetProcessState();
  if (!done) return done.Failure();
  return asked;
}

Result<ExitStatus> ReserveFromLibrary(const Options& options, const Arguments& given) {
  const Result<LibraryDrives> asked = AskLibrary(options, given);
  if (!asked) return asked.Failure();
  ReportRemarks(asked->remarks);
  return RunMembershipEdit(options, given.guard, [&]() -> Result<std::string> {
    if (RegistryDigests() != asked->registry) return RegistryChangedMeanwhile();
    const auto& drives = asked->drives;
    return EditResult(ReserveExactly(given.changer, drives.data(),
                                     static_cast<std::uint16_t>(drives.size()), given.force),
                      DrivesText(drives) + " reserved to " + Named("changer", given.changer) +
                          ", in the order of its library.");
  });
}

Result<ExitStatus> Reserve(const Options& options, const Arguments& given) {
  if (given.from_library) return ReserveFromLibrary(options, given);
  return RunMembershipEdit(options, given.guard, [&] {
    const auto& drives = given.drives;
    return EditResult(ReserveDrives(given.changer, drives.data(),
                                    static_cast<std::uint16_t>(drives.size()), given.force),
                      DrivesText(drives) + " reserved to " + Named("changer", given.changer) + '.');
  });
}

Result<ExitStatus> Release(const Options& options, const Arguments& given) {
  return RunMembershipEdit(options, given.guard, [&] {
    const auto& drives = given.drives;
    return EditResult(ReleaseDrives(given.changer, drives.data(),
                                    static_cast<std::uint16_t>(drives.size()), given.force),
                      (drives.empty() ? "All drives" : DrivesText(drives)) + " released from " +
                          Named("changer", given.changer) + '.');
  });
}

Result<ExitStatus> Disable(const Options& options, const Arguments& given, bool disabled) {
  return RunMembershipEdit(options, given.guard, [&]() -> Result<std::string> {
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
  CLI::Option* drives = add_drives(reserve, "Device numbers");
  reserve
      ->add_flag("--from-library", a->from_library,
                 "Ask the library, and reserve exactly its drives, in the order of its elements")
      ->excludes(drives);
  reserve->parse_complete_callback([a] {
    if (a->drives.empty() && !a->from_library) throw CLI::RequiredError("DRIVE or --from-library");
  });
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
