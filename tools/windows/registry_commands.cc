// devprep registry: on Windows the system's own editor does it.
#include <memory>
#include <string>
#include <vector>

#include "commands.h"

namespace devprep::tool {

void AddRegistryCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* registry = app.add_subcommand("registry", "Not on Windows: see regedit");
  const auto unused = std::make_shared<std::vector<std::string>>();
  registry->add_option("arguments", *unused, "Not looked at");
  OnCommand(registry, invocation, [unused]() -> Result<ExitStatus> {
    return Error{
        "the registry is the machine's own: regedit, or \"reg export\" and \"reg import\", show, "
        "write and read its key HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline"};
  });
}

}  // namespace devprep::tool
