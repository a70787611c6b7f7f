// Asking devices: an iSCSI tape library, and a machine some of whose units never answer.
#include <benchmark/benchmark.h>
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
#include <malloc.h>

#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "discovery/scsi_map.h"
#include "discovery/scsi_probe.h"
#include "library_survey.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/posix/hardware.h"
#include "platform/posix/iscsi_source.h"
#include "platform/posix/iscsi_url.h"
#include "platform/posix/process_registry.h"
#include "platform/registry.h"
#include "support/simulated_transport.h"
#include "workbench.h"

namespace devprep {
namespace {

constexpr const char* kInitiator = "iqn.2020-01.example.devprep:bench";

using Context = std::unique_ptr<iscsi_context, decltype(&iscsi_destroy_context)>;

// A session without a target discovers. Null when it does not come about.
Context LogIn(const std::string& portal, const char* target) {
  Context context(iscsi_create_context(kInitiator), iscsi_destroy_context);
  iscsi_set_session_type(context.get(),
                         target == nullptr ? ISCSI_SESSION_DISCOVERY : ISCSI_SESSION_NORMAL);
  if (target != nullptr) iscsi_set_targetname(context.get(), target);
  if (iscsi_connect_sync(context.get(), portal.c_str()) != 0 ||
      iscsi_login_sync(context.get()) != 0) {
    context.reset();
  }
  return context;
}

bool Inquire(iscsi_context* context, int lun, const ScsiCommand& command) {
  // Power on is told to each new session once.
  for (int attempt = 0; attempt < 3; ++attempt) {
    scsi_task* task =
        iscsi_inquiry_sync(context, lun, command.cdb[1], command.cdb[2], kInquiryAllocation);
    const bool done = task != nullptr && task->status == SCSI_STATUS_GOOD;
    if (task != nullptr) scsi_free_scsi_task(task);
    if (done) return true;
  }
  return false;
}

// All that the source asks, sent bare, each request after the answer to the last. The number of
// units.
std::size_t AskBare(const std::string& portal) {
  std::size_t units = 0;
  const Context discovery = LogIn(portal, nullptr);
  if (discovery == nullptr) return 0;
  iscsi_discovery_address* found = iscsi_discovery_sync(discovery.get());
  for (const auto* at = found; at != nullptr; at = at->next) {
    const Context session = LogIn(portal, at->target_name);
    if (session == nullptr) continue;
    scsi_task* task = iscsi_reportluns_sync(session.get(), 0, 16384);
    const auto* list = task == nullptr
                           ? nullptr
                           : static_cast<scsi_reportluns_list*>(scsi_datain_unmarshall(task));
    for (std::uint32_t i = 0; list != nullptr && i < list->num; ++i) {
      const int lun = list->luns[i];
      units += Inquire(session.get(), lun, StandardInquiryCommand()) ? 1U : 0U;
      Inquire(session.get(), lun, VitalProductDataCommand(kUnitSerialNumberPage));
      Inquire(session.get(), lun, VitalProductDataCommand(kDeviceIdentificationPage));
    }
    if (task != nullptr) scsi_free_scsi_task(task);
  }
  iscsi_free_discovery_data(discovery.get(), found);
  return units;
}

// From the portal's address to the answers of all its units. The number of units.
std::size_t AskThroughSource(const std::string& url) {
  const auto opened = OpenIscsi(url);
  if (!opened) return 0;
  HardwareSource& source = **opened;
  std::size_t units = 0;
  std::vector<ScsiAddress> addresses;
  for (std::uint16_t target = 0; target < 2; ++target) {
    for (std::uint16_t lun = 0; lun < kUnitLimit; ++lun) {
      const ScsiAddress at = {0, 0, target, lun};
      if (FindUnit(source.DeviceMap(), at) != nullptr) addresses.push_back(at);
    }
  }
  source.Prefetch(addresses);
  for (const ScsiAddress& at : addresses) {
    units += source.StandardInquiry(at) ? 1U : 0U;
    source.VitalProductData(at, kUnitSerialNumberPage);
    source.WorldWideId(at);
  }
  return units;
}

void IscsiLibrary(benchmark::State& state) {
  const char* url = std::getenv("DEVPREP_BENCH_LIBRARY");
  const Result<IscsiUrl> place = ParseIscsiUrl(url == nullptr ? "" : url);
  if (!place) {
    state.SkipWithError("DEVPREP_BENCH_LIBRARY names no iSCSI portal");
    return;
  }
  double through_source = 0;
  double bare = 0;
  std::size_t units = 0;
  for (auto _ : state) {
    const double seconds = WallSeconds([&] { units = AskThroughSource(url); });
    std::size_t units_bare = 0;
    bare += WallSeconds([&] { units_bare = AskBare(place->portal); });
    if (units == 0 || units != units_bare) {
      state.SkipWithError("not all units of the portal answer");
      return;
    }
    through_source += seconds;
    state.SetIterationTime(seconds);
  }
  state.counters["units"] = static_cast<double>(units);
  state.counters["to_bare_requests"] = through_source / bare;
}
BENCHMARK(IscsiLibrary)->UseManualTime()->Unit(benchmark::kMillisecond);

std::size_t HeapInUse() { return mallinfo2().uordblks; }

// 64 units, of which three never answer.
void SilentUnits(benchmark::State& state) {
  const double limit = static_cast<double>(state.range(0)) / 1000;
  ::setenv(kTimeLimitVariable, std::to_string(limit).c_str(), 1);
  std::vector<SimulatedUnit> units(64, {std::chrono::milliseconds(50)});
  for (const std::size_t silent : {5U, 30U, 63U}) units[silent].silent = true;
  std::vector<ScsiAddress> addresses;
  for (std::size_t n = 0; n < units.size(); ++n) addresses.push_back(SimulatedTransport::At(n));
  double worst = 0;
  double growth = 0;
  for (auto _ : state) {
    InquirySource source(std::make_unique<SimulatedTransport>(units, true));
    std::optional<std::size_t> begin;
    std::size_t end = 0;
    // Told of while waiting: when only the silent ones are left, and at each step from there on.
    SetProgressListener([&](const AskingProgress& progress) {
      if (progress.finished + 3 != progress.units) return;
      end = HeapInUse();
      if (!begin) begin = end;
    });
    const double seconds = WallSeconds([&] { source.Prefetch(addresses); });
    SetProgressListener(nullptr);
    worst = std::max(worst, seconds / limit);
    growth = std::max(growth, static_cast<double>(end) / static_cast<double>(begin.value_or(end)));
    state.SetIterationTime(seconds);
  }
  ::unsetenv(kTimeLimitVariable);
  state.counters["to_time_limit"] = worst;
  state.counters["heap_end_to_begin_of_wait"] = growth;
}
BENCHMARK(SilentUnits)
    ->Arg(1000)
    ->Arg(4000)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

// 64 drives and 5,000 slots, every answer after 50 ms: the map of the library.
void LibraryMapOfManySlots(benchmark::State& state) {
  constexpr std::chrono::milliseconds kDelay{50};
  std::vector<SimulatedUnit> units(65, {kDelay});
  units[0].changer = SimulatedChanger::WithSlots(5000);
  for (std::uint16_t n = 1; n < units.size(); ++n) {
    const auto element = static_cast<std::uint16_t>(6000 + n);
    units[0].changer->drives.push_back(
        {element, "", true, DriveNaming::kT10, std::string("SERIAL").append(std::to_string(n))});
    units[n].element = element;
  }
  double worst = 0;
  double bytes = 0;
  for (auto _ : state) {
    auto made = std::make_unique<SimulatedTransport>(units, true);
    SimulatedTransport& transport = *made;
    UseHardware(std::make_unique<InquirySource>(std::move(made)));
    RegistryBegin();
    ResetScsiMap();
    const std::size_t before = HeapInUse();
    tool::LibraryMap map;
    const double seconds = WallSeconds([&] { map = tool::SurveyLibraries(); });
    bytes = static_cast<double>(HeapInUse() - before) / 5064;
    const double chain = static_cast<double>(transport.longest_chain) * 0.05;
    worst = std::max(worst, seconds / chain);
    RegistryCommit();
    UseHardware(nullptr);
    if (map.changers.size() != 1 || map.unnamed.size() != 0) {
      state.SkipWithError("not all drives are recognised");
    }
    state.SetIterationTime(seconds);
  }
  state.counters["to_longest_chain"] = worst;
  state.counters["heap_bytes_per_element"] = bytes;
}
BENCHMARK(LibraryMapOfManySlots)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace devprep
