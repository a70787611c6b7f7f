// Reading and writing the registry's text.
#include <benchmark/benchmark.h>

#include "platform/registry/registry_text.h"
#include "workbench.h"

namespace devprep {
namespace {

std::string LargestRegistry() {
  const Workbench bench(kMemoryFolder);
  return BuildMachine(kMostUnits, 0, Cabling::kMoved).registry;
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

}  // namespace
}  // namespace devprep
