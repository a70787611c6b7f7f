// Listing all devices and RAIDs, and editing RAIDs, on a machine that is configured to its limits.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "devprep/devprep.h"
#include "platform/posix/hardware.h"
#include "platform/registry.h"
#include "records/device_record.h"
#include "workbench.h"

namespace devprep {
namespace {

Machine ConfiguredMachine() {
  return BuildMachine(kMaxDeviceRecords, kMaxBenchRaids, Cabling::kInPlace);
}

void ReadAllRecords() {
  for (std::uint16_t n = 0; n < kMaxDeviceRecords; ++n) {
    DeviceRecord record = {};
    record.Number = n;
    if (ReadDeviceRecord(&record) != 0) std::abort();
    benchmark::DoNotOptimize(record);
  }
}

void ListAll() {
  std::uint16_t devices = 0;
  ::SetUpGetNoOfDevices(&devices);
  for (std::uint16_t n = 0; n < devices; ++n) {
    DeviceInfo info = {};
    if (::SetUpGetDeviceInfo(n, &info) != 0) std::abort();
    benchmark::DoNotOptimize(info);
  }
  std::uint16_t raids = 0;
  ::RaidSetUpGetNoOfRaids(&raids);
  for (std::uint16_t n = 0; n < raids; ++n) {
    RaidInfo info = {};
    if (::RaidSetUpGetRaidInfo(n, &info) != 0 || info.TapeCount != kTapesOfRaid ||
        info.ChangerCount != kChangersOfRaid) {
      std::abort();
    }
    benchmark::DoNotOptimize(info);
  }
  if (devices != kMaxDeviceRecords || raids != kMaxBenchRaids) std::abort();
}

// Takes every RAID's drives out one by one and puts each back. Returns the number of calls.
int EditRaids() {
  int calls = 0;
  for (std::uint16_t raid = 0; raid < kMaxBenchRaids; ++raid) {
    for (std::uint16_t i = 0; i < kTapesOfRaid; ++i) {
      const std::uint16_t tape = RaidTape(raid, i);
      if (::RaidSetUpRemoveDeviceFromRaid(raid, tape) != 0 ||
          ::RaidSetUpAssignDeviceToRaid(raid, tape, 1) != 0) {
        std::abort();
      }
      calls += 2;
    }
  }
  return calls;
}

// One transaction around a measurement, or none: each call is then one of its own.
class Transaction {
 public:
  explicit Transaction(bool wanted) : wanted_(wanted) {
    if (!wanted_) return;
    RegistryBegin();
    CurrentHardware();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (wanted_) RegistryCommit();
  }

 private:
  bool wanted_;
};

constexpr const char* kOneTransaction = "one_transaction";

void ReadEveryRecord(benchmark::State& state) {
  const Workbench bench(kMemoryFolder);
  bench.SetUp(ConfiguredMachine());
  Workbench::NewProcess();
  const Transaction transaction(true);
  for (auto _ : state) ReadAllRecords();
}
BENCHMARK(ReadEveryRecord)->Unit(benchmark::kMicrosecond);

void FullListing(benchmark::State& state) {
  const Workbench bench(kMemoryFolder);
  bench.SetUp(ConfiguredMachine());
  double listing = 0;
  double records = 0;
  for (auto _ : state) {
    Workbench::NewProcess();
    const Transaction transaction(state.range(0) != 0);
    records += Seconds(ReadAllRecords);
    const double seconds = Seconds(ListAll);
    state.SetIterationTime(seconds);
    listing += seconds;
  }
  state.counters["of_every_record"] = listing / records;
}
BENCHMARK(FullListing)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->ArgName(kOneTransaction)
    ->Arg(1)
    ->Arg(0);

// The time of one call: the library's own, and with each call's lock and file replacement.
void EditStorm(benchmark::State& state) {
  const bool one_transaction = state.range(0) != 0;
  const Workbench bench(one_transaction ? kMemoryFolder : kDiskFolder);
  bench.SetUp(ConfiguredMachine());
  Workbench::NewProcess();
  const Transaction transaction(one_transaction);
  for (auto _ : state) {
    int calls = 0;
    const auto edit = [&calls] { calls = EditRaids(); };
    const double seconds = one_transaction ? Seconds(edit) : WallSeconds(edit);
    state.SetIterationTime(seconds / calls);
  }
}
BENCHMARK(EditStorm)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->ArgName(kOneTransaction)
    ->Arg(1)
    ->Arg(0)
    ->Iterations(20);

}  // namespace
}  // namespace devprep
