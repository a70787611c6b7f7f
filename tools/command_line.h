// The command line in our own words: help that fits the terminal, and what is wrong with a call.
#ifndef DEVPREP_TOOLS_COMMAND_LINE_H_
#define DEVPREP_TOOLS_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <span>
#include <string>
#include <string_view>

namespace devprep::tool {

// For an application without commands: those that it is given from now on use it, too.
void UseOwnHelp(CLI::App& app);

// Tells the commands that change the configuration, by their names, from the others in the help.
void GroupCommands(CLI::App& app, std::span<const std::string_view> changing);

// What is wrong with the command line, as one line without its end.
std::string ExplainWrongUse(const CLI::App& app, const CLI::ParseError& wrong);

// The command whose help says more: "devprep raid assign --help".
std::string HelpCommand(const CLI::App& app);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_COMMAND_LINE_H_
