#include "command_line.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "output.h"
#include "suggestion.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kPlainWidth = 80;  // where there is no terminal
constexpr std::size_t kLeastWidth = 40;
constexpr std::size_t kMaxIndent = 32;

// Breaks a line of help. What stands in two columns keeps to the second one.
std::string Broken(const std::string& line, std::size_t width) {
  std::size_t indent = line.find_first_not_of(' ');
  if (line.size() <= width || indent == std::string::npos) return line;
  const std::size_t gap = indent != 0 ? line.find("  ", indent) : std::string::npos;
  if (gap != std::string::npos) indent = line.find_first_not_of(' ', gap);
  if (indent > std::min(kMaxIndent, width / 2)) indent = 4;
  std::string text;
  for (const std::string& piece : WrapText(line.substr(indent), width - indent)) {
    text += text.empty() ? line.substr(0, indent) : '\n' + std::string(indent, ' ');
    text += piece;
  }
  return text;
}

class HelpFormatter : public CLI::Formatter {
 public:
  // What an option goes together with is told when it does not.
  std::string make_option_opts(const CLI::Option* option) const override {
    return option->get_option_text().empty() ? "" : ' ' + option->get_option_text();
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    const std::string help = CLI::Formatter::make_help(app, std::move(name), mode);
    const std::size_t terminal = TerminalWidth();
    const std::size_t width = terminal == 0 ? kPlainWidth : std::max(terminal, kLeastWidth);
    std::string text;
    for (std::size_t at = 0; at < help.size();) {
      const std::size_t end = std::min(help.find('\n', at), help.size());
      text += Broken(help.substr(at, end - at), width) + '\n';
      at = end + 1;
    }
    return text;
  }
};

// The command that the command line had got to.
const CLI::App& Reached(const CLI::App& app) {
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().back();
  return *at;
}

std::string FullName(const CLI::App& app) {
  return app.get_parent() == nullptr ? app.get_name()
                                     : FullName(*app.get_parent()) + ' ' + app.get_name();
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (!command->get_group().empty()) names.push_back(command->get_name());
  }
  return names;
}

// Of a command and, as they may stand behind it, of those above it.
std::vector<std::string> OptionNames(const CLI::App* app) {
  std::vector<std::string> names;
  for (; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

// What an option takes, as its help shows it.
std::string Takes(const CLI::App* app, const std::string& name) {
  for (; app != nullptr; app = app->get_parent()) {
    const CLI::Option* option = app->get_option_no_throw(name);
    if (option != nullptr && !option->get_option_text().empty()) return option->get_option_text();
  }
  return "a value";
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// The text of the parser with one of its phrases in it: what stands before that, and behind it.
struct Halves {
  std::string before;
  std::string behind;
};

Halves SplitAround(const std::string& text, std::string_view phrase) {
  const std::size_t at = text.find(phrase);
  if (at == std::string::npos) return {text, ""};
  return {text.substr(0, at), text.substr(at + phrase.size())};
}

std::string ExplainUnexpected(const CLI::App& reached, const std::string& argument) {
  if (argument.starts_with('-')) {
    return "there is no option '" + argument + "'" +
           Suggestion(argument.substr(0, argument.find('=')), OptionNames(&reached));
  }
  const std::vector<std::string> commands = CommandNames(reached);
  if (commands.empty()) {
    return "'" + argument + "' is more than '" + FullName(reached) + "' takes";
  }
  return "there is no command '" + argument + "'" + Suggestion(argument, commands);
}

void AddToFooter(CLI::App& app, const std::string& line) {
  const std::string footer = app.get_footer();
  app.footer(footer.empty() ? line : footer + "\n\n" + line);
}

}  // namespace

void GroupCommands(CLI::App& app, const std::vector<CommandGroup>& groups) {
  for (const CommandGroup& group : groups) {
    const std::string page = std::string(group.page) + "(1)";
    for (const std::string_view name : group.commands) {
      CLI::App* command = app.get_subcommand(std::string(name));
      command->group(std::string(group.title) + ", " + page);
      AddToFooter(*command, "See " + page + ".");
      for (CLI::App* part : command->get_subcommands({})) {
        part->group("Commands");
        AddToFooter(*part, "See " + page + ".");
      }
    }
  }
}

void UseOwnHelp(CLI::App& app) {
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->label("SUBCOMMAND", "COMMAND");
  formatter->label("Positionals", "Arguments");
  app.formatter(formatter);
}

std::string ExplainWrongUse(const CLI::App& app, const CLI::ParseError& wrong) {
  const CLI::App& reached = Reached(app);
  std::string text = wrong.what();
  const std::string kind = wrong.get_name();
  // The parser asks first whether all is there that has to be.
  const std::vector<std::string> unexpected = app.remaining(true);
  if (!unexpected.empty()) return ExplainUnexpected(reached, unexpected.front());
  if (kind == "RequiredError") {
    const std::vector<std::string> commands = CommandNames(reached);
    const std::string missing = SplitAround(text, " is required").before;
    if (!commands.empty()) return "a command is missing: " + Joined(commands);
    return "'" + FullName(reached) + "' needs the " +
           (missing.starts_with('-') ? "option " : "argument ") + missing;
  }
  if (kind == "ConversionError") {
    const Halves halves = SplitAround(SplitAround(text, "Could not convert: ").behind, " = ");
    return halves.before + ": '" + halves.behind + "' is not a number in range";
  }
  if (kind == "ArgumentMismatch") {
    const std::string option = SplitAround(text, ":").before;
    return option + " needs " + Takes(&reached, option);
  }
  if (kind == "ExcludesError") {
    const Halves halves = SplitAround(text, " excludes ");
    return halves.before + " and " + halves.behind + " do not go together";
  }
  if (kind == "RequiresError") {
    const Halves halves = SplitAround(text, " requires ");
    return halves.before + " needs " + halves.behind;
  }
  return text;
}

std::string HelpCommand(const CLI::App& app) { return FullName(Reached(app)) + " --help"; }

}  // namespace devprep::tool
