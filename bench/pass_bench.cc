// The configuration pass: its work in memory, and whole processes that do nothing else.
#include <benchmark/benchmark.h>

#include <algorithm>

#include "entry/library.h"
#include "platform/posix/hardware.h"
#include "platform/posix/process_registry.h"
#include "platform/registry.h"
#include "workbench.h"

namespace devprep {
namespace {

// A process of the tool from start to end, the file's replacement included. Its peak counts this
// program's own size too, from which it is forked: that is why it is measured first.
void ConfigureProcess(benchmark::State& state) {
  const Workbench bench(kDiskFolder);
  const Machine machine = BuildMachine(kMaxUnits, kMaxBenchRaids, Cabling::kMoved);
  long peak = 0;
  for (auto _ : state) {
    bench.SetUp(machine);
    const ToolRun run = RunTool({"configure"});
    state.SetIterationTime(run.seconds);
    if (run.status != 0) state.SkipWithError("the process failed");
    peak = std::max(peak, run.peak_kib);
  }
  state.counters["peak_MiB"] = static_cast<double>(peak) / 1024;
}
BENCHMARK(ConfigureProcess)->UseManualTime()->Unit(benchmark::kMillisecond);

// Only the work between the start and the end of the transaction is timed.
void PassInMemory(benchmark::State& state) {
  const auto units = static_cast<std::uint16_t>(state.range(0));
  const Workbench bench(kMemoryFolder);
  const auto raids = static_cast<std::uint16_t>(state.range(1));
  const Machine machine = BuildMachine(units, raids, Cabling::kMoved);
  bench.SetUp(machine);
  double pass = 0;
  double text = 0;
  for (auto _ : state) {
    Workbench::NewProcess();
    RegistryBegin();
    CurrentHardware();
    const double seconds = Seconds([] { devprep::SetUpInitTapesvrConfig(); });
    RegistryAbandon();
    state.SetIterationTime(seconds);
    pass += seconds;
    text += ReadAndWriteSeconds(machine.registry);
  }
  state.SetComplexityN(units);
  state.counters["of_read_and_write"] = pass / text;
}
BENCHMARK(PassInMemory)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->ArgNames({"units", "raids"})
    ->Args({32, 0})
    ->Args({64, 0})
    ->Args({128, 0})
    ->Args({kMaxUnits, 0})
    ->Complexity(benchmark::oN);
BENCHMARK(PassInMemory)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->ArgNames({"units", "raids"})
    ->Args({kMaxUnits, kMaxBenchRaids});

}  // namespace
}  // namespace devprep
