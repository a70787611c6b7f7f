#include "platform/hardware/inquiry_source.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "discovery/scsi_probe.h"
#include "entry/library.h"
#include "platform/posix/hardware.h"
#include "support/simulated_transport.h"
#include "support/world.h"

namespace devprep {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLimit{300};

// A source of simulated units, and the transport that it owns.
struct Simulation {
  explicit Simulation(const std::vector<SimulatedUnit>& units)
      : made(std::make_unique<SimulatedTransport>(units)),
        transport(made.get()),
        source(std::move(made)) {
    setenv(kTimeLimitVariable, "0.3", 1);
    for (std::size_t n = 0; n < units.size(); ++n) addresses.push_back(SimulatedTransport::At(n));
  }
  ~Simulation() { unsetenv(kTimeLimitVariable); }
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  // All answers of a unit: I inquiry data, S serial number, W World Wide ID.
  std::string Answers(std::size_t n) {
    std::string answers;
    if (source.StandardInquiry(SimulatedTransport::At(n))) answers += 'I';
    if (source.VitalProductData(SimulatedTransport::At(n), kUnitSerialNumberPage)) answers += 'S';
    if (source.WorldWideId(SimulatedTransport::At(n))) answers += 'W';
    return answers;
  }
  std::string Problem(std::size_t n) { return source.Condition(SimulatedTransport::At(n)).problem; }

  std::unique_ptr<SimulatedTransport> made;
  SimulatedTransport* transport;
  InquirySource source;
  std::vector<ScsiAddress> addresses;
};

template <typename Work>
milliseconds TimeOf(const SimulatedTransport& transport, Work work) {
  const auto start = transport.Now();
  work();
  return std::chrono::duration_cast<milliseconds>(transport.Now() - start);
}

TEST(InquirySource, DeadUnitsHoldNobodyUp) {
  std::vector<SimulatedUnit> units(64, {milliseconds(50)});
  for (const std::size_t dead : {5U, 30U, 63U}) units[dead].silent = true;
  Simulation simulation(units);
  testing::internal::CaptureStderr();
  const milliseconds took =
      TimeOf(*simulation.transport, [&] { simulation.source.Prefetch(simulation.addresses); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "devprep: 0:0:5:0 ACME SIMULATED: did not answer within 0.3 s\n"
            "devprep: 0:0:30:0 ACME SIMULATED: did not answer within 0.3 s\n"
            "devprep: 0:0:63:0 ACME SIMULATED: did not answer within 0.3 s\n");
  EXPECT_EQ(took, kLimit);
  EXPECT_EQ(simulation.transport->max_under_way, 64U * 3);
  EXPECT_EQ(simulation.transport->UnderWay(), 0U);

  // Until the next transaction the dead ones stay dead, and every answer is there already.
  const milliseconds more = TimeOf(*simulation.transport, [&] {
    for (std::size_t n = 0; n < 64; ++n) {
      EXPECT_EQ(simulation.Answers(n), n == 5 || n == 30 || n == 63 ? "" : "IS") << n;
    }
  });
  EXPECT_EQ(more, milliseconds(0));
}

TEST(InquirySource, AnAnswerHoldsUntilTheTransactionEnds) {
  Simulation simulation({{}, {}});
  EXPECT_EQ(simulation.Answers(0), "IS");
  EXPECT_EQ(simulation.transport->sent, 3U);
  simulation.source.Prefetch(simulation.addresses);
  EXPECT_EQ(simulation.transport->sent, 6U);
  simulation.source.PrefetchLibrary(simulation.addresses);
  EXPECT_EQ(simulation.transport->sent, 8U);  // the drives' own elements alone
  for (std::size_t n = 0; n < 2; ++n) EXPECT_EQ(simulation.Answers(n), "IS");
  EXPECT_EQ(simulation.transport->sent, 8U);
  simulation.source.Renew();
  EXPECT_EQ(simulation.Answers(1), "IS");
  EXPECT_EQ(simulation.transport->sent, 11U);
}

TEST(InquirySource, ASilentUnitIsAskedAgainInTheNextTransactionOnly) {
  Simulation simulation(std::vector<SimulatedUnit>{{.silent = true}});
  EXPECT_EQ(simulation.Answers(0), "");
  EXPECT_EQ(simulation.transport->sent, 1U);
  simulation.source.Renew();
  EXPECT_EQ(simulation.Problem(0), "");
  EXPECT_EQ(simulation.Answers(0), "");
  EXPECT_EQ(simulation.transport->sent, 2U);
  EXPECT_EQ(simulation.Problem(0), "did not answer within 0.3 s");
}

TEST(InquirySource, WhatIsBusyIsAskedAgainUntilTheTimeLimitAndIsThenSilent) {
  Simulation simulation({{.unit_attentions = 3},
                         {.unit_attentions = 1000},
                         {.status = 0x08},
                         {.status = 0x18},
                         {.status = 0x28}});
  testing::internal::CaptureStderr();
  const milliseconds took =
      TimeOf(*simulation.transport, [&] { simulation.source.Prefetch(simulation.addresses); });
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(took, kLimit);
  EXPECT_LT(simulation.transport->sent, 200U);
  EXPECT_EQ(simulation.Answers(0), "IS");
  const char* reasons[] = {"", "it keeps reporting unit attentions", "it is busy",
                           "it is reserved by another machine", "its queue of commands is full"};
  std::vector<SilentUnit> silent = simulation.source.SilentUnits();
  ASSERT_EQ(silent.size(), 4U);
  for (std::size_t n = 1; n < 5; ++n) {
    EXPECT_EQ(simulation.Answers(n), "");
    EXPECT_EQ(silent[n - 1].address, SimulatedTransport::At(n));
    EXPECT_EQ(silent[n - 1].reason, std::string("did not answer within 0.3 s: ") + reasons[n]);
    EXPECT_NE(said.find(silent[n - 1].reason), std::string::npos);
    EXPECT_TRUE(silent[n - 1].listed);
  }
  simulation.source.Renew();
  EXPECT_TRUE(simulation.source.SilentUnits().empty());
}

TEST(InquirySource, UnitsThatCannotBeReachedAreNamedOnce) {
  Simulation simulation({{.unopenable = true}, {.lost = true}, {}});
  testing::internal::CaptureStderr();
  simulation.source.Prefetch(simulation.addresses);
  for (std::size_t n = 0; n < 3; ++n) simulation.Answers(n);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "devprep: 0:0:0:0 ACME SIMULATED: cannot be opened\n"
            "devprep: 0:0:1:0 ACME SIMULATED: has gone\n");
  EXPECT_FALSE(simulation.source.StandardInquiry({3, 0, 0, 9}));
}

TEST(InquirySource, ThePassAsksAllUnitsAtOnceAndListsTheDeadByTheMap) {
  World world;
  std::vector<SimulatedUnit> units(20, {milliseconds(40)});
  units[7].silent = true;
  auto made = std::make_unique<SimulatedTransport>(units);
  const SimulatedTransport& transport = *made;
  UseHardware(std::make_unique<InquirySource>(std::move(made)));
  setenv(kTimeLimitVariable, "0.3", 1);
  const milliseconds took = TimeOf(transport, [] { ::SetUpInitTapesvrConfig(); });
  unsetenv(kTimeLimitVariable);
  UseHardware(nullptr);
  EXPECT_EQ(took, kLimit);
  ASSERT_EQ(FoundDeviceCount, 20);
  for (int n = 0; n < 20; ++n) {
    EXPECT_STREQ(FoundDevices[n].Description, "ACME    SIMULATED       0001");
    EXPECT_EQ(std::string(FoundDevices[n].SerialNumber, FoundDevices[n].SerialNumber + 6),
              n == 7 ? std::string(6, '\0') : "SERIAL");
  }
}

TEST(InquirySource, OnceLostNothingLearntIsStoredAndAListingGoesOn) {
  World world;
  world.Device(0, Info(0, 0, 0, 0, kTypeTape, "STORED"));
  auto transport = std::make_unique<SimulatedTransport>(std::vector<SimulatedUnit>{{.lost = true}});
  transport->connection_error = "the way is gone";
  UseHardware(std::make_unique<InquirySource>(std::move(transport)));
  const std::string before = world.Dump();
  // A world's own transaction would share the exports' one.
  RegistryCommit();
  DeviceInfo info = {};
  testing::internal::CaptureStderr();
  EXPECT_EQ(::SetUpGetDeviceInfo(0, &info), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "devprep: the way is gone\n");
  EXPECT_STREQ(info.Description, "STORED");
  testing::internal::CaptureStderr();
  ::SetUpInitTapesvrConfig();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "devprep: the way is gone\n");
  RegistryBegin();
  UseHardware(nullptr);
  EXPECT_EQ(world.Dump(), before);
}

TEST(InquirySource, ProgressEndsWithAllFinished) {
  Simulation simulation({{}, {.silent = true}, {milliseconds(100)}});
  std::vector<AskingProgress> told;
  SetProgressListener([&told](const AskingProgress& progress) { told.push_back(progress); });
  simulation.source.Prefetch(simulation.addresses);
  simulation.source.Renew();
  simulation.Answers(0);  // one device is no progress to tell of
  SetProgressListener(nullptr);
  ASSERT_GE(told.size(), 3U);
  for (std::size_t i = 0; i < told.size(); ++i) {
    EXPECT_EQ(told[i].units, 3U);
    EXPECT_EQ(told[i].finished == 3, i + 1 == told.size());
  }
}

TEST(TimeLimits, AreNumbersOfSeconds) {
  EXPECT_EQ(*ParseTimeLimit("10"), milliseconds(10'000));
  EXPECT_EQ(*ParseTimeLimit("0.25"), milliseconds(250));
  EXPECT_EQ(*ParseTimeLimit("600"), milliseconds(600'000));
  for (const char* wrong : {"", "0", "-1", "601", "ten", "5s", "nan", "inf"}) {
    EXPECT_FALSE(ParseTimeLimit(wrong)) << wrong;
  }
}

}  // namespace
}  // namespace devprep
