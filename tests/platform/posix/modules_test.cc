// Files that the registry names: modules are loaded, and the log is written, only where nobody else
// can have a hand in it.
#include "platform/modules.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include "platform/messages.h"
#include "support/world.h"

namespace devprep {
namespace {

namespace fs = std::filesystem;

TEST(ProductModule, IsLoadedOnlyFromWhereNobodyElseMayWrite) {
  const struct {
    std::function<void(const fs::path& world, const fs::path& module)> prepare;
    std::string warning;  // behind the module's path; "-": it is loaded
  } cases[] = {
      {[](const fs::path&, const fs::path&) {}, "-"},
      {[](const fs::path&, const fs::path& module) { ::chmod(module.c_str(), 0775); },
       "home/M.DLL may be written by other users"},
      {[](const fs::path& world, const fs::path&) { ::chmod((world / "home").c_str(), 0757); },
       "home may be written by other users"},
      {[](const fs::path& world, const fs::path&) { ::chmod((world / "home").c_str(), 01777); },
       "-"},
      {[](const fs::path& world, const fs::path&) {
         ::chmod((world / "registry.reg").c_str(), 0664);
       },
       "registry.reg may be written by other users"},
      {[](const fs::path& world, const fs::path& module) {
         fs::create_directory(world / "open");
         ::chmod((world / "open").c_str(), 0777);
         fs::rename(module, world / "open/M.DLL");
         fs::create_symlink(world / "open/M.DLL", module);
       },
       "open may be written by other users"},
      {[](const fs::path&, const fs::path& module) {
         if (::geteuid() != 0 || ::chown(module.c_str(), 1, 1) != 0) ::chmod(module.c_str(), 0777);
       },
       ::geteuid() == 0 ? "home/M.DLL belongs to another user"
                        : "home/M.DLL may be written by other users"},
      {[](const fs::path&, const fs::path& module) { fs::remove(module); }, ""},
  };
  for (const auto& c : cases) {
    World world;
    world.Make(kEngineKey);
    RegistryCommit();
    const fs::path folder = fs::canonical(world.Folder());
    fs::create_directory(folder / "home");
    fs::copy_file(DEVPREP_TEST_MODULES "/no_entries.module", folder / "home/M.DLL");
    c.prepare(folder, folder / "home/M.DLL");
    std::string warning;
    SetMessageSink([&](Severity, const Error& message) { warning += message.Text(); });
    const HMODULE module = LoadProductModule((folder.string() + "\\home\\M.DLL").c_str());
    SetMessageSink(nullptr);
    EXPECT_EQ(module != nullptr, c.warning == "-") << c.warning;
    if (module != nullptr) FreeLibrary(module);
    const std::size_t at = c.warning.find(' ');
    EXPECT_EQ(warning, at == std::string::npos
                           ? ""
                           : "module " + (folder / "home/M.DLL").string() +
                                 " is not loaded: " + (folder / c.warning.substr(0, at)).string() +
                                 ":" + c.warning.substr(at));
    EXPECT_TRUE(module != nullptr || GetLastError() == ERROR_MOD_NOT_FOUND);
    RegistryBegin();
  }
}

TEST(ProductLog, IsWrittenToRegularFilesAlone) {
  World world;
  const fs::path folder = world.Folder();
  std::FILE* file = OpenProductFileToAppend((world.Folder() + "\\log").c_str());
  ASSERT_NE(file, nullptr);
  std::fclose(file);
  fs::create_symlink(folder / "log", folder / "link");
  ::mkfifo((folder / "fifo").c_str(), 0600);
  for (const char* name : {"link", "fifo", "."}) {
    EXPECT_EQ(OpenProductFileToAppend((folder / name).c_str()), nullptr) << name;
  }
}

}  // namespace
}  // namespace devprep
