#include "library_survey.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "entry/library.h"
#include "picture_model.h"
#include "platform/hardware/inquiry_source.h"
#include "platform/posix/hardware.h"
#include "platform/registry.h"
#include "reconfig/danger.h"
#include "reconfig/outcome.h"
#include "support/simulated_transport.h"
#include "support/world.h"

namespace devprep::tool {
namespace {

using std::chrono::milliseconds;

// A changer with drives 1 and 2 in its elements 257 and 256, by serial number, and a spare drive 3.
std::vector<SimulatedUnit> Library(std::size_t slots) {
  SimulatedChanger changer = SimulatedChanger::WithSlots(slots);
  changer.drives = {{256, "IN0001", true, DriveNaming::kT10, "SERIAL2"},
                    {257, "", true, DriveNaming::kSerialNumber, "  SERIAL1 "}};
  std::vector<SimulatedUnit> units(4);
  units[0].changer = changer;
  units[1].element = 257;
  units[2].element = 300;
  return units;
}

// Within its life this machine is attached.
class Attached {
 public:
  explicit Attached(const std::vector<SimulatedUnit>& units) {
    auto made = std::make_unique<SimulatedTransport>(units);
    transport = made.get();
    UseHardware(std::make_unique<InquirySource>(std::move(made)));
    setenv(kTimeLimitVariable, "0.3", 1);
  }
  ~Attached() {
    unsetenv(kTimeLimitVariable);
    UseHardware(nullptr);
  }
  Attached(const Attached&) = delete;
  Attached& operator=(const Attached&) = delete;

  SimulatedTransport* transport;
};

// For each drive element the unit recognised, and the slots: "2,1 +5".
std::string Found(const LibraryMap& map) {
  std::string text;
  for (const LibraryChanger& changer : map.changers) {
    if (!changer.reports_elements) return "nothing";
    for (const LibraryDrive& drive : changer.drives) {
      text += (text.empty() ? "" : ",") + (drive.unit ? std::to_string(*drive.unit) : "?");
    }
    text += " +" + std::to_string(changer.slots.size());
  }
  return text;
}

int Type(const ScsiCommand& command) { return command.cdb[1] & 0xF; }
int Count(const ScsiCommand& command) { return command.cdb[4] << 8 | command.cdb[5]; }
bool IsStatus(const ScsiCommand& command) { return command.cdb[0] == 0xB8; }

// Twice as much announced as sent, in the header alone or in each page, too.
std::string Doubled(std::string answer) {
  if (answer.size() > 8 && answer[0] == 0) answer[5] = 1;
  return answer;
}

TEST(LibrarySurvey, ADialectCostsCommandsAndALieCostsWhatItHidesAtMost) {
  const struct {
    const char* name;
    std::size_t slots;
    std::function<bool(const ScsiCommand&)> refuses;
    std::function<std::string(std::string)> distorts;
    const char* found;
  } cases[] = {
      {"obliging", 5, {}, {}, "2,1 +5"},
      {"more than fits at once", 5000, {}, {}, "2,1 +5000"},
      {"no mode page", 5, [](const auto& c) { return !IsStatus(c); }, {}, "2,1 +5"},
      {"no CURDATA",
       5,
       [](const auto& c) { return IsStatus(c) && (c.cdb[6] & 2) != 0; },
       {},
       "2,1 +5"},
      {"no DVCID: the drive that names its element is known",
       5,
       [](const auto& c) { return IsStatus(c) && (c.cdb[6] & 1) != 0; },
       {},
       "?,1 +5"},
      {"no VOLTAG",
       5,
       [](const auto& c) { return IsStatus(c) && (c.cdb[1] & 0x10) != 0; },
       {},
       "2,1 +5"},
      {"one type at a time",
       5,
       [](const auto& c) { return IsStatus(c) && Type(c) == 0; },
       {},
       "2,1 +5"},
      {"at most 64 elements",
       300,
       [](const auto& c) { return IsStatus(c) && Count(c) > 64; },
       {},
       "2,1 +300"},
      {"nothing at all", 5, [](const auto&) { return true; }, {}, "nothing"},
      {"more announced than sent", 5, {}, Doubled, "2,1 +5"},
      {"an answer of zeros",
       5,
       {},
       [](const auto& a) { return std::string(a.size(), '\0'); },
       " +0"},
      {"an answer of ones",
       5,
       {},
       [](const auto& a) { return std::string(a.size(), '\xff'); },
       " +0"},
      {"nothing sent", 5, {}, [](const auto&) { return std::string(); }, "nothing"},
      {"cut in the last drive, which says itself where it is",
       5,
       {},
       [](const auto& a) { return a.size() > 100 ? a.substr(0, a.size() - 60) : a; },
       "2,1 +5"},
  };
  for (const auto& c : cases) {
    World world;
    std::vector<SimulatedUnit> units = Library(c.slots);
    if (c.refuses) units[0].changer->refuses = c.refuses;
    if (c.distorts) units[0].changer->distorts = c.distorts;
    const Attached attached(units);
    EXPECT_EQ(Found(SurveyLibraries()), c.found) << c.name;
  }
}

TEST(LibrarySurvey, AChangerThatIsNotReadyIsAskedAgainAndOneThatIsSilentHoldsNobodyUp) {
  World world;
  std::vector<SimulatedUnit> units = Library(5);
  for (SimulatedUnit& unit : units) unit.unit_attentions = 2;
  {
    const Attached attached(units);
    EXPECT_EQ(Found(SurveyLibraries()), "2,1 +5");
  }
  units[0].silent = true;
  const Attached attached(units);
  testing::internal::CaptureStderr();
  const auto start = attached.transport->Now();
  const LibraryMap map = SurveyLibraries();
  EXPECT_EQ(attached.transport->Now() - start, milliseconds(300));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(Found(map), "nothing");
  EXPECT_EQ(map.units[0].answers.problem, "did not answer within 0.3 s");
  EXPECT_EQ(map.unnamed.size(), 3U);
}

TEST(LibrarySurvey, ALargeLibraryIsAskedInTwoStepsWithAllElseInFlight) {
  World world;
  std::vector<SimulatedUnit> units(65, {milliseconds(5)});
  units[0].changer = SimulatedChanger::WithSlots(5000);
  for (std::uint16_t n = 1; n < units.size(); ++n) {
    const auto element = static_cast<std::uint16_t>(6000 + n);
    units[0].changer->drives.push_back(
        {element, "", true, DriveNaming::kT10, "SERIAL" + std::to_string(n)});
    units[n].element = element;
  }
  const Attached attached(units);
  const LibraryMap map = SurveyLibraries();
  EXPECT_EQ(attached.transport->longest_chain, 2U);
  EXPECT_EQ(attached.transport->max_under_way, 65U * 3 + 64 + 2);
  ASSERT_EQ(map.changers.size(), 1U);
  EXPECT_EQ(map.changers.front().slots.size(), 5000U);
  for (const LibraryDrive& drive : map.changers.front().drives) {
    EXPECT_EQ(drive.unit, drive.number + 1);
    EXPECT_EQ(drive.witnesses, Witnesses::kAgree);
  }
}

// The codes of dangers, "!" behind those that are refused.
std::string Dangers() {
  static DangerList dangers;
  JudgeLastPass(&dangers);
  std::string codes;
  for (std::size_t i = 0; i < dangers.Count; ++i) {
    codes += std::to_string(static_cast<int>(dangers.Items[i].Code)) +
             (dangers.Items[i].Refused ? "! " : " ");
  }
  return codes;
}

TEST(LibrarySurvey, ThePassIsToldWhichDrivesTheChangersHave) {
  const std::string misplaced = std::to_string(static_cast<int>(DangerCode::kMisplaced));
  for (const auto& [reserved, dangers] :
       {std::pair{"2,1", std::string()}, std::pair{"2", std::string()},
        std::pair{"1,2", misplaced + ' '}, std::pair{"2,3", misplaced + ' '}}) {
    World world;
    const Attached attached(Library(5));
    ::SetUpInitTapesvrConfig();
    world.Text("DEVICE0", "ReservedDrives", reserved);
    world.NewProcess();
    RunConfigurationPass({.FollowIdentity = false, .AfterProbe = SurveyFoundChangers});
    EXPECT_EQ(Dangers(), dangers) << reserved;
  }
}

TEST(LibrarySurvey, ThePassGoesOnWithAChangerThatRefusesAndAsksNoDriveWithoutOne) {
  World world;
  std::vector<SimulatedUnit> units = Library(5);
  units[0].changer->refuses = [](const auto&) { return true; };
  {
    const Attached attached(units);
    RunConfigurationPass({.FollowIdentity = true, .AfterProbe = SurveyFoundChangers});
    EXPECT_EQ(FoundDeviceCount, 4);
    EXPECT_EQ(Dangers(), "");
    EXPECT_EQ(SurveyLibraries().units[0].answers.no_elements,
              "it refuses the command (sense 5h/24h/00h)");
  }
  const Attached attached(std::vector<SimulatedUnit>(3));
  world.NewProcess();
  RunConfigurationPass({.FollowIdentity = true, .AfterProbe = SurveyFoundChangers});
  EXPECT_EQ(attached.transport->sent, 9U);
}

TEST(LibrarySurvey, NoUnitIsAskedTheSameTwiceForOnePicture) {
  const auto commands_of = [](const std::function<void()>& ask) {
    World world;
    const Attached attached(Library(5));
    ::SetUpInitTapesvrConfig();
    world.NewProcess();
    const std::size_t before = attached.transport->sent;
    RegistryBeginTrial();
    ask();
    RegistryEndTrial();
    return attached.transport->sent - before;
  };
  const std::size_t once = commands_of([] { SurveyLibraries(); });
  EXPECT_GT(once, 12U);
  EXPECT_EQ(commands_of([] { EXPECT_EQ(ModelMachine().sides.size(), 1U); }), once);
  EXPECT_EQ(commands_of([] { EXPECT_EQ(ModelPlan(false)->sides.size(), 2U); }), once);
}

}  // namespace
}  // namespace devprep::tool
