// Reading, writing and storing the registry's text.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "devprep/devprep.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/registry_history_writer.h"
#include "platform/registry/registry_text.h"
#include "workbench.h"

namespace devprep {
namespace {

std::string LargestRegistry() {
  const Workbench bench(kMemoryFolder);
  return BuildMachine(kMaxUnits, 0, Cabling::kMoved).registry;
}

void CountBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
  state.counters["text_KiB"] = static_cast<double>(text.size()) / 1024;
}

void ReadText(benchmark::State& state) {
  const std::string text = LargestRegistry();
  for (auto _ : state) {
    RegistryKey root("");
    if (!ReadRegistryText(text, root)) state.SkipWithError("the text cannot be read");
  }
  CountBytes(state, text);
}
BENCHMARK(ReadText)->Unit(benchmark::kMicrosecond);

void WriteText(benchmark::State& state) {
  const std::string text = LargestRegistry();
  RegistryKey root("");
  if (!ReadRegistryText(text, root)) state.SkipWithError("the text cannot be read");
  for (auto _ : state) benchmark::DoNotOptimize(WriteRegistryText(root));
  CountBytes(state, text);
}
BENCHMARK(WriteText)->Unit(benchmark::kMicrosecond);

// Values of one key: the time is to grow with their number.
void ReadValues(benchmark::State& state) {
  std::string text = "REGEDIT4\n[HKEY_LOCAL_MACHINE]\n";
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    text += "\"value" + std::to_string(i) + "\"=dword:00000001\n";
  }
  for (auto _ : state) {
    RegistryKey root("");
    if (!ReadRegistryText(text, root)) state.SkipWithError("the text cannot be read");
  }
  state.SetItemsProcessed(state.range(0) * state.iterations());
}
BENCHMARK(ReadValues)->Arg(8)->Arg(256)->Arg(4096)->Unit(benchmark::kMicrosecond);

// What no replacement that survives a power cut can do without.
void ReplaceBare(const std::string& folder, const std::string& text) {
  const std::string path = folder + "/bare";
  const std::string written = folder + "/bare.new";
  {
    const Result<FileHandle> file = OpenFile(written, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (!file || !WriteAll(*file, text) || !SyncFile(*file)) std::abort();
  }
  const Result<FileHandle> opened = OpenFile(folder, O_RDONLY | O_DIRECTORY);
  if (std::rename(written.c_str(), path.c_str()) != 0 || !opened || !SyncFile(*opened)) {
    std::abort();
  }
}

double Median(std::vector<double> times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

// One edit through the library, stored, with and without history, beside the bare replacement of as
// many bytes. Medians: a disk has its moments.
void DurableEdit(benchmark::State& state) {
  const Workbench bench(kDiskFolder);
  const Machine machine = BuildMachine(kMaxUnits, 1, Cabling::kMoved);
  bench.SetUp(machine);
  Workbench::NewProcess();
  std::uint16_t level = 0;
  const auto edit = [&level](const char* history) {
    ::setenv(kHistoryVariable, history, 1);
    return WallSeconds([&level] { ::RaidSetUpSetRaidLevel(0, level = level == 5 ? 6 : 5); });
  };
  std::vector<double> without;
  std::vector<double> with;
  std::vector<double> bare;
  for (auto _ : state) {
    without.push_back(edit("0"));
    with.push_back(edit("20"));
    bare.push_back(WallSeconds([&] { ReplaceBare(bench.Folder(), machine.registry); }));
    state.SetIterationTime(with.back());
  }
  ::unsetenv(kHistoryVariable);
  state.counters["of_bare"] = Median(with) / Median(bare);
  state.counters["of_no_history"] = Median(with) / Median(without);
  state.counters["bare_us"] = Median(bare) * 1e6;
}
BENCHMARK(DurableEdit)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(300);

}  // namespace
}  // namespace devprep
