// The commands of the tool. Each function adds one command with its options to the application;
// main runs the one that the command line names.
#ifndef DEVPREP_TOOLS_COMMANDS_H_
#define DEVPREP_TOOLS_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <utility>

#include "exit_status.h"
#include "platform/result.h"
#include "session.h"

namespace devprep::tool {

// What a command does once the command line is parsed.
using Command = std::function<Result<ExitStatus>()>;

// What the command line asks for. Outlives the application.
struct Invocation {
  Options options;
  Command command;
};

// Has the command run when the command line names it.
inline void OnCommand(CLI::App* app, Invocation& invocation, Command command) {
  app->callback([&invocation, command = std::move(command)] { invocation.command = command; });
}

void AddConfigureCommand(CLI::App& app, Invocation& invocation);
void AddCheckCommand(CLI::App& app, Invocation& invocation);
void AddDevicesCommand(CLI::App& app, Invocation& invocation);
void AddTreeCommand(CLI::App& app, Invocation& invocation);
void AddHardwareCommand(CLI::App& app, Invocation& invocation);
void AddLibraryCommand(CLI::App& app, Invocation& invocation);
void AddCaptureCommand(CLI::App& app, Invocation& invocation);
void AddEstateCommand(CLI::App& app, Invocation& invocation);
void AddPictureCommand(CLI::App& app, Invocation& invocation);
void AddRaidCommands(CLI::App& app, Invocation& invocation);
void AddHistoryCommands(CLI::App& app, Invocation& invocation);
void AddReserveCommands(CLI::App& app, Invocation& invocation);
void AddSetCommand(CLI::App& app, Invocation& invocation);
void AddGroupCommands(CLI::App& app, Invocation& invocation);
void AddRegistryCommands(CLI::App& app, Invocation& invocation);
void AddCompleteCommand(CLI::App& app, Invocation& invocation);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_COMMANDS_H_
