// Many machines compared: which devices are the same, and what the machines do not agree on.
#include "estate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "estate_picture.h"
#include "picture.h"

namespace devprep::tool {
namespace {

// Machines in short, "north L(A,!B) -C": a name and its devices. Those with a list are changers
// with the drives that are reserved to them, "!" disabled; the others, and drives of a list that
// stand nowhere else, are drives. Before a device "-" stands for one that is gone, "+" for one that
// is not configured, "*" for a member of group 0, and "?" for one without serial number; behind it
// "@1" for its World Wide ID and "/X" for its product. "name~": nobody knows what is attached
// there.
class Machines {
 public:
  explicit Machines(const std::vector<std::string>& machines) {
    for (const std::string& machine : machines) Add(machine);
  }

  Estate Joined() const { return JoinMachines(machines_); }

 private:
  void Add(const std::string& text) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find(' ', at), text.size());
      words.push_back(text.substr(at, end - at));
      at = end + 1;
    }
    EstateMachine machine;
    machine.has_hardware = words[0].back() != '~';
    machine.name = words[0].substr(0, words[0].find('~'));
    machine.has_configuration = true;
    std::map<std::string, std::uint16_t> places;
    for (std::size_t i = 1; i < words.size(); ++i) {
      const std::string own = words[i].substr(0, words[i].find('('));
      places[NameIn(own)] = AddDevice(own, machine);
    }
    for (std::size_t i = 1; i < words.size(); ++i) {
      const std::size_t open = words[i].find('(');
      if (open == std::string::npos) continue;
      const std::string own = words[i].substr(0, open);
      const std::uint16_t changer = places[NameIn(own)];
      machine.devices[changer].type = kTypeChanger;
      std::string list = words[i].substr(open + 1);
      list.back() = ',';
      for (std::size_t at = 0; list != "," && at < list.size();) {
        const std::size_t end = list.find(',', at);
        std::string drive = list.substr(at, end - at);
        const bool disabled = drive[0] == '!';
        if (disabled) drive.erase(0, 1);
        const auto known = places.find(NameIn(drive));
        const std::uint16_t place =
            known == places.end() ? AddDevice(drive, machine) : known->second;
        places[NameIn(drive)] = place;
        const auto order = static_cast<std::uint16_t>(machine.devices[changer].drives.size());
        machine.devices[changer].drives.push_back(place);
        machine.devices[place].reservations.push_back({changer, order, disabled});
        at = end + 1;
      }
    }
    machines_.push_back(std::move(machine));
  }

  // A device's word without what stands before its name.
  static std::string NameIn(const std::string& word) {
    return word.substr(word.find_first_not_of("-+*?"));
  }

  std::uint16_t AddDevice(std::string word, EstateMachine& machine) {
    EstateDevice device;
    const auto place = static_cast<std::uint16_t>(machine.devices.size());
    device.address.ScsiId = place;
    device.attached = machine.has_hardware;
    device.number = place;
    for (; std::string_view("-+*?").find(word[0]) != std::string_view::npos; word.erase(0, 1)) {
      if (word[0] == '-') device.attached = false;
      if (word[0] == '+') device.number.reset();
      if (word[0] == '*') device.groups.set(0);
      if (word[0] == '?') device.serial_number = "none";
    }
    std::string product = "TAPE";
    if (const std::size_t at = word.find('/'); at != std::string::npos) {
      product = word.substr(at + 1);
      word.resize(at);
    }
    if (const std::size_t at = word.find('@'); at != std::string::npos) {
      device.world_wide_id.back() = static_cast<std::uint8_t>(word[at + 1] - '0');
      word.resize(at);
    }
    device.serial_number = device.serial_number.empty() ? word : "";
    product.resize(16, ' ');
    static TextPool texts;
    device.description = texts.Keep("ACME    " + product + "1.00");
    machine.devices.push_back(std::move(device));
    return place;
  }

  std::vector<EstateMachine> machines_;
};

// Each finding in a line: its code, the odd machines, and what it says.
std::string Told(const Estate& estate) {
  std::string told;
  for (const Finding& finding : estate.findings) {
    told.append(told.empty() ? "" : "\n").append(FindingCode(finding.kind)).append(" [");
    for (const std::uint32_t machine : finding.odd) {
      told += (told.back() == '[' ? "" : " ") + estate.machines[machine].name;
    }
    told += "] " + finding.text;
  }
  return told;
}

TEST(Estate, EachRuleSpeaksWhereItMustAndNowhereElse) {
  const struct {
    const char* about;
    std::vector<std::string> machines;
    const char* told;
  } cases[] = {
      {"nothing at all", {"a"}, ""},
      {"one view", {"a L(A,B)", "b L(A,B)"}, ""},

      {"disabled here and used there",
       {"a L(!A,B)", "b L(A,B)"},
       "disabled [a b] drive A is disabled on a, and used on b"},
      {"the one that differs is odd",
       {"a L(!A)", "b L(A)", "c L(A)"},
       "disabled [a] drive A is disabled on a, and used on b, c"},
      {"disabled wherever it is", {"a L(!A)", "b L(!A)"}, ""},
      {"where it is not configured it is not used", {"a L(!A)", "b L() +A"}, ""},
      {"where it is loose neither", {"a L(!A)", "b A"}, ""},
      {"but where a group has it",
       {"a L(!A)", "b *A"},
       "disabled [a b] drive A is disabled on a, and used on b"},
      {"gone there: it is not used",
       {"a L(!A)", "b L(-A)"},
       "lost [b] drive A is gone on b, and attached to a, with the same library"},
      {"known from its configuration alone it counts",
       {"a L(!A)", "b~ L(A)"},
       "disabled [a b] drive A is disabled on a, and used on b"},

      {"two orders",
       {"a L(A,B)", "b L(B,A)"},
       "order [a b] changer L has its drives in different orders: drive A before drive B on a, and "
       "behind it on b"},
      {"the order of most is right",
       {"a L(A,B,C)", "b L(A,B)", "c L(B,A)"},
       "order [c] changer L has its drives in different orders: drive A before drive B on a, b, "
       "and "
       "behind it on c"},
      {"turned round altogether",
       {"a L(A,B,C)", "b L(C,B,A)"},
       "order [a b] changer L has its drives in different orders: drive A before drive C on a, and "
       "behind it on b (and 2 more pairs)"},
      {"a part in the same order", {"a L(A,B,C)", "b L(A,C)", "c L(C)"}, ""},
      {"other drives", {"a L(A,B)", "b L(C,D)"}, ""},
      {"what has no identity has no place", {"a L(?x,A,B)", "b L(A,?x,B)"}, ""},
      {"each library has its own order",
       {"a L(A,B)", "b L(A) M(B)", "c N(B) L(A)"},
       "changer [a b c] drive B is reserved to changer L on a; to changer M on b; to changer N on "
       "c"},

      {"reserved to one and to another",
       {"a L(A)", "b M(A)", "c M(A)"},
       "changer [a] drive A is reserved to changer L on a; to changer M on b, c"},
      {"reserved to both there",
       {"a L(A)", "b L(A) M(A)"},
       "changer [a b] drive A is reserved to changer L on a; to changer L, changer M on b"},
      {"reserved to nothing there", {"a L(A)", "b L() A"}, ""},
      {"who knows what a changer without identity is", {"a L(A)", "b ?x(A)"}, ""},

      {"gone where the library is shared",
       {"a L(A,B)", "b L(-A,B)", "c L(A,B)"},
       "lost [b] drive A is gone on b, and attached to a, c, with the same library"},
      {"the library is seen, whatever is reserved",
       {"a L(A)", "b L() -A"},
       "lost [b] drive A is gone on b, and attached to a, with the same library"},
      {"gone where there is no library", {"a L(A)", "b -A"}, ""},
      {"gone with another library",
       {"a L(A)", "b M(-A)"},
       "changer [a b] drive A is reserved to changer L on a; to changer M on b"},
      {"gone for all", {"a L(-A)", "b L(-A)"}, ""},
      {"nobody knows what is attached", {"a L(A)", "b~ L(A)"}, ""},
      {"gone at its old place, and attached to the same machine at another",
       {"a L(A)", "b L(-A) A@0"},
       ""},
      {"a changer", {"a L(A)", "b -L(A)"}, "lost [b] changer L is gone on b, and attached to a"},

      {"two with one serial number, and one that tells no more",
       {"a A@1", "b A@2", "c A"},
       "twins [a b c] 3 drives have serial number A but differ in World Wide ID: none on c; "
       "0000000000000001 on a; 0000000000000002 on b"},
      {"of which most have one",
       {"a A@1", "b A@1", "c A@2"},
       "twins [c] 2 drives have serial number A but differ in World Wide ID: 0000000000000001 on "
       "a, "
       "b; 0000000000000002 on c"},
      {"one that is told with and without", {"a A@1", "b A", "c A@1"}, ""},
      {"two products",
       {"a A@1/X", "b A@1/Y"},
       "twins [a b] 2 drives have serial number A but differ in product: ACME    X               "
       "1.00 "
       "on a; ACME    Y               1.00 on b"},
      {"one World Wide ID of two",
       {"a A@1", "b B@1"},
       "twins [a b] 2 drives have World Wide ID 0000000000000001 but differ in serial number: A on "
       "a; "
       "B on b"},
      {"a changer is no drive", {"a A@1()", "b A@1"}, ""},
      {"by its World Wide ID alone it is the same", {"a A@1", "b ?x@1", "c ?y@1"}, ""},
      {"twice on one machine",
       {"a A +A", "b A"},
       "twins [a] drive A is attached to a 2 times: at 0:0:0:0, 0:0:1:0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Told(Machines(c.machines).Joined()), c.told) << c.about;
  }
}

TEST(Estate, TheOddMachineAmongManyIsNamedWhereverItStands) {
  constexpr std::uint32_t kCount = 300;
  for (const std::uint32_t odd : {0U, 150U, kCount - 1}) {
    std::vector<std::string> machines;
    for (std::uint32_t m = 0; m < kCount; ++m) {
      machines.push_back("m" + std::to_string(1000 + m) + (m == odd ? " L(B,!A,-C)" : " L(A,B,C)"));
    }
    std::reverse(machines.begin(), machines.end());
    const Estate estate = Machines(machines).Joined();
    ASSERT_EQ(estate.findings.size(), 3U);
    for (const Finding& finding : estate.findings) {
      EXPECT_EQ(finding.odd, std::vector<std::uint32_t>{odd}) << finding.text;
      EXPECT_NE(finding.text.find(std::to_string(1000 + odd)), std::string::npos) << finding.text;
      EXPECT_LT(finding.text.size(), 250U) << finding.text;
    }
    EXPECT_EQ(estate.findings[0].machines.size(), kCount);
  }
}

TEST(Estate, NeitherTheOrderOfTheMachinesNorThatOfTheirDevicesCounts) {
  std::vector<std::string> machines = {"a L(A,!B) M(C) D@2", "b M(C,A) L(B) -D@3", "c +L +A +B@1",
                                       "d E@1 L(B@1,A) ?x ?y@3", "e~ M(C)"};
  const Estate first = Machines(machines).Joined();
  EXPECT_FALSE(first.findings.empty());
  do {
    const Estate other = Machines(machines).Joined();
    ASSERT_EQ(Told(other), Told(first));
    ASSERT_EQ(other.devices.size(), first.devices.size());
    for (std::size_t i = 0; i < first.devices.size(); ++i) {
      ASSERT_EQ(other.NameOf(i), first.NameOf(i));
      ASSERT_EQ(other.devices[i].changer, first.devices[i].changer);
    }
  } while (std::next_permutation(machines.begin(), machines.end()));
}

// The devices in their order, each with the machines that see it.
std::string Devices(const Estate& estate) {
  std::string text;
  for (std::size_t i = 0; i < estate.devices.size(); ++i) {
    text += (text.empty() ? "" : "; ") + estate.NameOf(i) + ":";
    for (const Sighting& sighting : estate.devices[i].sightings) {
      EXPECT_EQ(estate.At(sighting).device, i);
      text += " " + estate.machines[sighting.machine].name;
    }
  }
  return text;
}

TEST(Estate, AChangerStandsBeforeTheDrivesThatMostReserveToIt) {
  const struct {
    std::vector<std::string> machines;
    const char* devices;
  } cases[] = {
      {{"b L(B,A)", "a L(B,A) C"}, "changer L: a b; drive B: a b; drive A: a b; drive C: a"},
      {{"a L(A) M(B)", "b M(A,B)", "c M(A)"},
       "changer L: a; changer M: a b c; drive A: a b c; drive B: a b"},
      // Where as many reserve it to each, the changer that comes first has it.
      {{"a M(A)", "b L(A)"}, "changer L: b; drive A: a b; changer M: a"},
      {{"a ?x(A) ?y", "b ?z@7(B)"}, "changer 0000000000000007: b; drive B: b; drive A: a"},
  };
  for (const auto& c : cases) EXPECT_EQ(Devices(Machines(c.machines).Joined()), c.devices);
}

// A picture says of each drawn cell what is known there.
std::vector<PictureFact> NoFacts(std::size_t /*device*/, const Sighting& /*sighting*/) {
  return {};
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

TEST(EstatePicture, OfAnEstateThatIsTooLargeTheOddMachinesAreDrawnWithOthersBesideThem) {
  std::string drives = "D00";
  for (int n = 10; n < 60; ++n) drives += ",D" + std::to_string(n);
  std::vector<std::string> machines;
  for (int m = 100; m < 300; ++m) {
    machines.push_back("m" + std::to_string(m) + " L(" + (m == 250 ? "!" : "") + drives + ")");
  }
  const std::string svg = EstateSvg(Machines(machines).Joined(), NoFacts);
  EXPECT_EQ(CountOf(svg, "class=\"device"), 4U);  // changer and drive, of the odd one and another
  EXPECT_NE(svg.find("Device 0 on m250"), std::string::npos);
  EXPECT_NE(svg.find("2 of 52 drives and changers, 2 of 200 machines"), std::string::npos);
  EXPECT_NE(svg.find("data-sets=\"f0\" role=\"img\" aria-label=\"disabled: drive D00"),
            std::string::npos);
}

TEST(EstatePicture, HoweverMuchDoesNotAgreeItStaysAPictureThatABrowserOpens) {
  std::vector<std::string> machines;
  for (int m = 0; m < 120; ++m) {
    std::string machine = std::string(200, 'm') + std::to_string(100 + m) + " L(";
    for (int d = 0; d < 60; ++d) {
      machine += (d == 0 ? "" : ",") + std::string((d + m) % 7 == 0 ? "!" : "") +
                 std::string(100, 'W') + std::to_string(100 + (d + m) % 60);
    }
    machines.push_back(machine + ")");
  }
  const Estate estate = Machines(machines).Joined();
  EXPECT_EQ(estate.findings.size(), 27U);
  const std::string html = EstateHtml(estate, NoFacts);
  EXPECT_LE(CountOf(html, "class=\"device"), 1300U);
  EXPECT_LE(CountOf(html, "class=\"legend\" data-sets"), 20U);
  EXPECT_NE(html.find("And 7 more"), std::string::npos);
  EXPECT_LT(html.size(), std::size_t{4} << 20U);
}

}  // namespace
}  // namespace devprep::tool
