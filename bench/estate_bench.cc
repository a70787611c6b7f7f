// Many of the largest machines compared, by a process of the tool.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "workbench.h"

namespace devprep {
namespace {

constexpr int kDifferencesFound = 4;  // exit status

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

// Capture and registry in one text. Machines of one site see the same devices.
std::string AtSite(const Machine& machine, unsigned site) {
  std::string text = machine.hardware;
  text.append(machine.registry, machine.registry.find('\n') + 1);
  const auto digit = [site](unsigned place) {
    return "0123456789abcdef"[site >> place * 4 & 0xFU];
  };
  const std::string id = {digit(3), digit(2), ',', digit(1), digit(0)};
  ReplaceAll(text, "50,01,04,f0,00,4a", "50,01,04,f0," + id);
  const std::string serial = {'4', digit(2), ',', '4', digit(1), ',', '4', digit(0)};
  ReplaceAll(text, "43,58,42", serial);
  return text;
}

// Every other machine is cabled otherwise than it is configured.
void EstateProcess(benchmark::State& state) {
  const auto machines = static_cast<unsigned>(state.range(0));
  const auto machines_of_site = static_cast<unsigned>(state.range(1));
  const Workbench bench(kMemoryFolder);
  const Machine in_place = BuildMachine(kMaxUnits, kMaxBenchRaids, Cabling::kInPlace);
  const Machine moved = BuildMachine(kMaxUnits, kMaxBenchRaids, Cabling::kMoved);
  const std::string folder = bench.Folder() + "/estate";
  std::filesystem::create_directory(folder);
  for (unsigned n = 0; n < machines; ++n) {
    std::ofstream(folder + "/machine" + std::to_string(n) + ".reg")
        << AtSite(n % 2 == 0 ? in_place : moved, n / machines_of_site);
  }
  long peak = 0;
  for (auto _ : state) {
    const ToolRun run = RunTool({"estate", folder});
    state.SetIterationTime(run.seconds);
    if (run.status != 0 && run.status != kDifferencesFound) {
      state.SkipWithError("the process failed");
    }
    peak = std::max(peak, run.peak_kib);
  }
  std::filesystem::remove_all(folder);
  state.SetComplexityN(machines);
  state.counters["peak_MiB"] = static_cast<double>(peak) / 1024;
}
BENCHMARK(EstateProcess)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->ArgNames({"machines", "of_site"})
    ->Args({250, 4})
    ->Args({500, 4})
    ->Args({1000, 4})
    ->Args({1000, 1000});

}  // namespace
}  // namespace devprep
