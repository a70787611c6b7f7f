#include "workbench.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

#include "entry/library.h"
#include "platform/posix/hardware.h"
#include "platform/posix/registry_file.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

}  // namespace

Workbench::Workbench(const char* parent) : folder_(std::string(parent) + "/devprep-bench-XXXXXX") {
  if (::mkdtemp(folder_.data()) == nullptr) std::abort();
  registry_ = folder_ + "/registry.reg";
  hardware_ = folder_ + "/hardware.reg";
  ::setenv(kRegistryVariable, registry_.c_str(), 1);
  ::setenv(kHardwareVariable, hardware_.c_str(), 1);
}

Workbench::~Workbench() { std::filesystem::remove_all(folder_); }

void Workbench::SetUp(const Machine& machine) const {
  Write(registry_, machine.registry);
  Write(hardware_, machine.hardware);
}

void Workbench::NewProcess() {
  ResetProcessState();
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
}

ToolRun RunTool(std::initializer_list<std::string> arguments) {
  std::vector<std::string> texts = {DEVPREP_TOOL};
  texts.insert(texts.end(), arguments);
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);
  ToolRun run;
  int status = 0;
  rusage used{};
  run.seconds = WallSeconds([&] {
    const pid_t child = ::fork();
    if (child == 0) {
      const int nowhere = ::open("/dev/null", O_WRONLY);
      ::dup2(nowhere, STDOUT_FILENO);
      ::execv(DEVPREP_TOOL, argv.data());
      ::_exit(127);
    }
    ::wait4(child, &status, 0, &used);
  });
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.peak_kib = used.ru_maxrss;
  return run;
}

double ProcessorSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double ReadAndWriteSeconds(const std::string& text) {
  return Seconds([&text] {
    RegistryKey root("");
    if (!ReadRegistryText(text, root)) std::abort();
    benchmark::DoNotOptimize(WriteRegistryText(root));
  });
}

}  // namespace devprep
