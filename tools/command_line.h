// The command line in our own words: help that fits the terminal, and what is wrong with a call.
#ifndef DEVPREP_TOOLS_COMMAND_LINE_H_
#define DEVPREP_TOOLS_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace devprep::tool {

// For an application without commands: those that it is given from now on use it, too.
void UseOwnHelp(CLI::App& app);

// Commands that stand together in the help, and the manual page that tells of them.
struct CommandGroup {
  const char* title;
  const char* page;
  std::vector<std::string_view> commands;
};

// Puts the commands into their groups, and the page below the help of each.
void GroupCommands(CLI::App& app, const std::vector<CommandGroup>& groups);

// What is wrong with the command line, as one line without its end.
std::string ExplainWrongUse(const CLI::App& app, const CLI::ParseError& wrong);

// The command whose help says more: "devprep raid assign --help".
std::string HelpCommand(const CLI::App& app);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_COMMAND_LINE_H_
