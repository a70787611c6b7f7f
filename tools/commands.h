// The commands of the tool. Each function adds one command with its options to the application; the
// command runs when the command line is parsed.
#ifndef DEVPREP_TOOLS_COMMANDS_H_
#define DEVPREP_TOOLS_COMMANDS_H_

#include <CLI/CLI.hpp>

#include "session.h"

namespace devprep::tool {

// options: filled before a command runs, and outlives the application.
void AddConfigureCommand(CLI::App& app, const Options& options);
void AddDevicesCommand(CLI::App& app, const Options& options);
void AddTreeCommand(CLI::App& app, const Options& options);
void AddHardwareCommand(CLI::App& app, const Options& options);
void AddCaptureCommand(CLI::App& app, const Options& options);
void AddRaidCommands(CLI::App& app, const Options& options);
void AddRegistryCommands(CLI::App& app, const Options& options);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_COMMANDS_H_
