// The picture of the largest machine, before and after.
#include <benchmark/benchmark.h>

#include "picture.h"
#include "picture_model.h"
#include "session.h"
#include "workbench.h"

namespace devprep {
namespace {

void DrawLargePicture(benchmark::State& state) {
  const Workbench bench(kMemoryFolder);
  bench.SetUp(BuildMachine(kMaxUnits, kMaxBenchRaids, Cabling::kMoved));
  Workbench::NewProcess();
  tool::PictureModel model;
  const Result<> made = tool::InSession({}, tool::Needs::kConfiguration, [&model]() -> Result<> {
    Result<tool::PictureModel> planned = tool::ModelPlan(false);
    if (!planned) return planned.Failure();
    model = *std::move(planned);
    return {};
  });
  if (!made) state.SkipWithError("no model");
  std::size_t size = 0;
  for (auto _ : state) size = tool::PictureHtml(model, tool::DrawPicture(model)).size();
  state.counters["KiB"] = static_cast<double>(size) / 1024;
}
BENCHMARK(DrawLargePicture)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace devprep
