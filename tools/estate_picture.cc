#include "estate_picture.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "markup.h"
#include "output.h"
#include "picture_parts.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr int kPadding = 10;
constexpr int kHeadWidth = 220;  // of what a row is about
constexpr int kCellWidth = 128;
constexpr int kCellHeight = 37;
constexpr int kGap = 4;
constexpr int kPanelHeading = 26;
constexpr int kFindingIndent = 76;  // behind the widest mark
constexpr int kLeastWidth = 900;
constexpr int kLineHeight = 22;  // of the legend

// What a person can look at, and a browser draws at once.
constexpr std::size_t kMaxMachines = 40;
constexpr std::size_t kMaxCells = 1200;
constexpr std::size_t kMaxFindings = 20;

// What is drawn, each ascending.
struct Selection {
  std::vector<std::uint32_t> machines;
  std::vector<std::size_t> devices;
};

// Of the machines those that most findings hold for odd, each with one that contradicts it.
std::vector<std::uint32_t> ChooseMachines(const Estate& estate) {
  std::vector<std::size_t> counts(estate.machines.size());
  for (const Finding& finding : estate.findings) {
    for (const std::uint32_t machine : finding.odd) ++counts[machine];
  }
  std::vector<std::uint32_t> chosen;
  for (std::uint32_t m = 0; m < counts.size(); ++m) {
    if (counts[m] != 0) chosen.push_back(m);
  }
  std::stable_sort(chosen.begin(), chosen.end(),
                   [&counts](std::uint32_t a, std::uint32_t b) { return counts[a] > counts[b]; });
  chosen.resize(std::min(chosen.size(), kMaxMachines));
  std::sort(chosen.begin(), chosen.end());
  for (const Finding& finding : estate.findings) {
    if (chosen.size() == kMaxMachines) break;
    const auto is_other = [&finding](std::uint32_t machine) {
      return !std::binary_search(finding.odd.begin(), finding.odd.end(), machine);
    };
    const auto& machines = finding.machines;
    const auto other = std::find_if(machines.begin(), machines.end(), is_other);
    if (other == machines.end()) continue;
    const auto at = std::lower_bound(chosen.begin(), chosen.end(), *other);
    if (at == chosen.end() || *at != *other) chosen.insert(at, *other);
  }
  return chosen;
}

// The devices of findings and their changers, until there are too many cells.
std::vector<std::size_t> ChooseDevices(const Estate& estate,
                                       const std::vector<std::uint32_t>& machines) {
  std::vector<bool> wanted(estate.devices.size());
  std::size_t cells = 0;
  const auto want = [&](std::size_t device) {
    if (wanted[device]) return;
    wanted[device] = true;
    for (const Sighting& sighting : estate.devices[device].sightings) {
      if (std::binary_search(machines.begin(), machines.end(), sighting.machine)) ++cells;
    }
  };
  for (const Finding& finding : estate.findings) {
    if (cells >= kMaxCells) break;
    for (const std::size_t device : finding.devices) {
      if (estate.devices[device].changer) want(*estate.devices[device].changer);
      want(device);
    }
  }
  std::vector<std::size_t> devices;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i]) devices.push_back(i);
  }
  return devices;
}

Selection Select(const Estate& estate) {
  Selection all;
  std::size_t cells = 0;
  for (const SharedDevice& device : estate.devices) cells += device.sightings.size();
  if (estate.machines.size() > kMaxMachines || cells > kMaxCells) {
    all.machines = ChooseMachines(estate);
    all.devices = ChooseDevices(estate, all.machines);
    return all;
  }
  for (std::uint32_t m = 0; m < estate.machines.size(); ++m) all.machines.push_back(m);
  for (std::size_t i = 0; i < estate.devices.size(); ++i) all.devices.push_back(i);
  return all;
}

class Drawing {
 public:
  Drawing(const Estate& estate, const SightingFacts& facts)
      : estate_(estate), facts_(facts), chosen_(Select(estate)), findings_(estate.devices.size()) {
    for (std::size_t k = 0; k < estate.findings.size(); ++k) {
      for (const std::size_t device : estate.findings[k].devices) findings_[device].push_back(k);
    }
  }

  std::string Draw() {
    const int columns = static_cast<int>(chosen_.machines.size());
    panel_width_ = 2 * kPadding + kHeadWidth + columns * (kCellWidth + kGap);
    width = std::max(panel_width_ + 2 * kMargin, kLeastWidth);
    DrawTop();
    for (std::size_t i = 0; i < chosen_.devices.size();) i = DrawPanel(i);
    DrawLegend();
    Markup svg;
    OpenSvg(svg, width, y_ + kMargin, Title() + ". " + SummaryOf(estate_));
    svg.Raw(body_.Result()).Close().Line();
    height = y_ + kMargin;
    return svg.Result();
  }

  std::string Title() const { return "Libraries of " + Count(estate_.machines.size(), "machine"); }

  int width = 0;
  int height = 0;

 private:
  void AddLines(const std::string& text, TextStyle style, int x) {
    for (const std::string& line : BreakText(text, style, width - kMargin - x)) {
      WriteText(body_.Line(), {x, y_, style, false, line});
      y_ += TextSize(style) + 5;
    }
  }

  void DrawTop() {
    y_ = kMargin + 16;
    AddLines(Title(), TextStyle::kTitle, kMargin);
    AddLines(SummaryOf(estate_) + (estate_.findings.empty() ? "." : ":"), TextStyle::kSummary,
             kMargin);
    const std::size_t told = std::min(estate_.findings.size(), kMaxFindings);
    for (std::size_t k = 0; k < told; ++k) {
      const Finding& finding = estate_.findings[k];
      const std::string code = FindingCode(finding.kind);
      const std::string text = PrintableText(finding.text);
      OpenLegend(body_.Line(), SetOf(k), std::string(code).append(": ").append(text));
      WriteMark(body_, MakeMark(MarkKind::kDanger, "! " + code, kMargin, y_ - 11));
      AddLines(text, TextStyle::kSummary, kMargin + kFindingIndent);
      body_.Close();
    }
    if (told < estate_.findings.size()) {
      AddLines("And " + std::to_string(estate_.findings.size() - told) +
                   " more, which the table of 'devprep estate' tells.",
               TextStyle::kSummary, kMargin);
    }
    const bool all = chosen_.machines.size() == estate_.machines.size() &&
                     chosen_.devices.size() == estate_.devices.size();
    if (!all) {
      AddLines("Only what does not agree is drawn, as far as there is room: " +
                   std::to_string(chosen_.devices.size()) + " of " +
                   std::to_string(estate_.devices.size()) + " drives and changers, " +
                   std::to_string(chosen_.machines.size()) + " of " +
                   Count(estate_.machines.size(), "machine") + ".",
               TextStyle::kSummary, kMargin);
    }
  }

  // The changer of a panel's rows; none for drives that are reserved to none.
  std::optional<std::size_t> LibraryOf(std::size_t device) const {
    const SharedDevice& shared = estate_.devices[device];
    return estate_.Best(shared).type == kTypeChanger ? device : shared.changer;
  }

  // Begins with row first. Returns the row behind its last one.
  std::size_t DrawPanel(std::size_t first) {
    const std::optional<std::size_t> library = LibraryOf(chosen_.devices[first]);
    std::size_t last = first;
    while (last < chosen_.devices.size() && LibraryOf(chosen_.devices[last]) == library) ++last;
    const std::string name = library ? estate_.NameOf(*library) : "drives reserved to no changer";
    const int rows = static_cast<int>(last - first);
    body_.Line().Open("g").With("role", "group").With("aria-label", name);
    WriteRect(body_,
              {kMargin, y_, panel_width_, kPanelHeading + rows * (kCellHeight + kGap) + kPadding},
              "panel", 8);
    const auto heading = [this](const std::string& text, int x, int room) {
      WriteText(body_,
                {x, y_ + 17, TextStyle::kHeading, false, FitText(text, TextStyle::kHeading, room)});
    };
    heading(name, kMargin + kPadding, kHeadWidth - kPadding);
    for (std::size_t column = 0; column < chosen_.machines.size(); ++column) {
      heading(PrintableText(estate_.machines[chosen_.machines[column]].name), CellLeft(column),
              kCellWidth);
    }
    y_ += kPanelHeading;
    for (std::size_t row = first; row < last; ++row) DrawRow(chosen_.devices[row]);
    body_.Close();
    y_ += kPadding + kPanelGap;
    return last;
  }

  static int CellLeft(std::size_t column) {
    return kMargin + kPadding + kHeadWidth + static_cast<int>(column) * (kCellWidth + kGap);
  }

  void DrawRow(std::size_t index) {
    const SharedDevice& shared = estate_.devices[index];
    const EstateDevice& best = estate_.Best(shared);
    const bool is_changer = best.type == kTypeChanger;
    const int x = kMargin + kPadding + (is_changer ? 0 : kIconSize);
    WriteIcon(body_, is_changer ? DeviceShape::kChanger : DeviceShape::kDrive,
              {x, y_ + 5, kIconSize, kIconSize});
    const int left = x + kIconSize + 8;
    const int room = CellLeft(0) - 8 - left;
    WriteText(body_, {left, y_ + 15, TextStyle::kName, false,
                      FitText(best.IdentityText(), TextStyle::kName, room)});
    WriteText(body_, {left, y_ + 31, TextStyle::kDetail, false,
                      FitText(*best.description, TextStyle::kDetail, room)});
    for (auto at = shared.sightings.begin(); at != shared.sightings.end();) {
      const auto last = std::find_if(at, shared.sightings.end(), [&at](const Sighting& sighting) {
        return sighting.machine != at->machine;
      });
      const auto column =
          std::lower_bound(chosen_.machines.begin(), chosen_.machines.end(), at->machine);
      if (column != chosen_.machines.end() && *column == at->machine) {
        DrawCell(index, std::vector<Sighting>(at, last),
                 CellLeft(static_cast<std::size_t>(column - chosen_.machines.begin())));
      }
      at = last;
    }
    y_ += kCellHeight + kGap;
  }

  // The findings in which a machine is odd come first.
  std::vector<const Finding*> FindingsOf(std::size_t index, std::uint32_t machine, bool odd) const {
    std::vector<const Finding*> findings;
    for (const std::size_t k : findings_[index]) {
      const Finding& finding = estate_.findings[k];
      const auto& machines = odd ? finding.odd : finding.machines;
      if (std::binary_search(machines.begin(), machines.end(), machine)) {
        findings.push_back(&finding);
      }
    }
    return findings;
  }

  // sightings: of the device on one machine.
  void DrawCell(std::size_t index, const std::vector<Sighting>& sightings, int x) {
    const std::uint32_t m = sightings.front().machine;
    const EstateMachine& machine = estate_.machines[m];
    const EstateDevice& device = estate_.At(sightings.front());
    const DeviceState device_state = machine.StateOf(device);
    // Of what is not configured its missing number tells.
    const std::string state =
        device_state == DeviceState::kNotConfigured ? "" : DeviceStateName(device_state).text;
    states_.insert(device_state);
    const std::vector<const Finding*> odd = FindingsOf(index, m, true);
    const std::string number = device.number ? std::to_string(*device.number) : "–";
    std::string label = device.number ? "Device " + number : std::string("Not configured");
    label +=
        " on " + machine.name + ", " + estate_.NameOf(index) + ", " + AddressText(device.address);
    if (!state.empty()) label += ", " + state;
    for (const Finding* finding : odd) label.append(", ").append(FindingCode(finding->kind));
    body_.Line()
        .Open("g")
        .With("class", device_state == DeviceState::kGone            ? "device gone"
                       : device_state == DeviceState::kNotConfigured ? "device new"
                                                                     : "device")
        .With("id", "d" + std::to_string(index) + "m" + std::to_string(m))
        .With("role", "img")
        .With("aria-label", label)
        .With("data-sets", SetsOf(index, m));
    if (device.number) body_.With("data-number", number);
    const std::string& serial_number = estate_.Best(estate_.devices[index]).serial_number;
    if (!serial_number.empty()) body_.With("data-serial", serial_number);
    body_.With("data-nodes",
               machine.name + (device.nodes.empty() ? "" : " ") + JoinNodeNames(device.nodes));
    body_.Open("title").Text(FactsOf(index, sightings)).Close();
    WriteRect(body_, {x, y_, kCellWidth, kCellHeight}, "row", 4);
    WriteRect(body_, {x + 4, y_ + 5, kNumberWidth, kCellHeight - 10}, "box", 3);
    WriteText(body_, {x + 4 + kNumberWidth / 2, y_ + kCellHeight / 2 + 5, TextStyle::kNumber, true,
                      number});
    const int left = x + 4 + kNumberWidth + 5;
    const int room = x + kCellWidth - 4 - left;
    if (state.empty()) {
      WriteText(body_, {left, y_ + 15, TextStyle::kDetail, false,
                        FitText(AddressText(device.address), TextStyle::kDetail, room)});
    } else {
      WriteMark(body_,
                MakeMark(device_state == DeviceState::kGone ? MarkKind::kGoes : MarkKind::kState,
                         state, left, y_ + 3));
    }
    if (!odd.empty()) {
      std::string text = std::string("! ") + FindingCode(odd.front()->kind);
      if (odd.size() > 1) text += " +" + std::to_string(odd.size() - 1);
      WriteMark(body_, MakeMark(MarkKind::kDanger, text, left, y_ + 20));
    }
    body_.Close();
  }

  // What lights up together: one device on all machines, and what a finding is about.
  std::string SetsOf(std::size_t index, std::uint32_t machine) const {
    std::string sets = "d" + std::to_string(index);
    for (const Finding* finding : FindingsOf(index, machine, false)) {
      sets += " " + SetOf(static_cast<std::size_t>(finding - estate_.findings.data()));
    }
    return sets;
  }

  // Of a finding, by its place.
  static std::string SetOf(std::size_t finding) { return "f" + std::to_string(finding); }

  std::string FactsOf(std::size_t index, const std::vector<Sighting>& sightings) const {
    std::string facts;
    for (const Sighting& sighting : sightings) {
      for (const PictureFact& fact : facts_(index, sighting)) {
        facts += (facts.empty() ? "" : "\n") + fact.label + ": " + fact.value;
      }
    }
    for (const Finding* finding : FindingsOf(index, sightings.front().machine, false)) {
      facts.append("\nDiffers, ").append(FindingCode(finding->kind)).append(": ");
      facts += PrintableText(finding->text);
    }
    return facts;
  }

  void AddEntry(const PlacedMark& mark, const char* meaning, int& x) {
    const int text_width = TextWidth(meaning, TextStyle::kDetail);
    if (x != kMargin && x + mark.rect.width + 6 + text_width > width - kMargin) {
      x = kMargin;
      y_ += kLineHeight;
    }
    PlacedMark placed = mark;
    placed.rect.x = x;
    placed.rect.y = y_;
    OpenLegend(body_.Line(), "", "");
    WriteMark(body_, placed);
    WriteText(body_, {placed.rect.Right() + 6, y_ + 11, TextStyle::kDetail, false, meaning});
    body_.Close();
    x += mark.rect.width + 6 + text_width + 22;
  }

  void DrawLegend() {
    int x = kMargin;
    AddEntry(MakeMark(MarkKind::kState, "–", 0, 0), "attached, not configured there", x);
    AddEntry(MakeMark(MarkKind::kState, "0:0:1:0", 0, 0), "port, bus, target, logical unit", x);
    if (states_.contains(DeviceState::kGone)) {
      AddEntry(MakeMark(MarkKind::kGoes, "gone", 0, 0), "configured, not attached", x);
    }
    if (states_.contains(DeviceState::kDisabled)) {
      AddEntry(MakeMark(MarkKind::kState, "disabled", 0, 0), "reserved, but not used", x);
    }
    if (states_.contains(DeviceState::kLoose)) {
      AddEntry(MakeMark(MarkKind::kState, "loose", 0, 0), "reserved to no changer", x);
    }
    static constexpr std::array<std::pair<FindingKind, const char*>, 5> kMeanings = {{
        {FindingKind::kDisabled, "disabled here and used there"},
        {FindingKind::kOrder, "the drives of one changer in different orders"},
        {FindingKind::kChanger, "reserved to different changers"},
        {FindingKind::kLost, "gone here, attached where machines share its library"},
        {FindingKind::kTwins, "more than one device has the identity"},
    }};
    for (const auto& [kind, meaning] : kMeanings) {
      const bool used =
          std::any_of(estate_.findings.begin(), estate_.findings.end(),
                      [kind = kind](const Finding& finding) { return finding.kind == kind; });
      if (!used) continue;
      AddEntry(MakeMark(MarkKind::kDanger, std::string("! ") + FindingCode(kind), 0, 0), meaning,
               x);
    }
    y_ += kMarkHeight;
  }

  const Estate& estate_;
  const SightingFacts& facts_;
  Selection chosen_;
  std::vector<std::vector<std::size_t>> findings_;  // of each device
  std::set<DeviceState> states_;                    // drawn
  Markup body_;
  int panel_width_ = 0;
  int y_ = 0;
};

}  // namespace

std::string EstateSvg(const Estate& estate, const SightingFacts& facts) {
  return Drawing(estate, facts).Draw();
}

std::string EstateHtml(const Estate& estate, const SightingFacts& facts) {
  Drawing drawing(estate, facts);
  const std::string svg = drawing.Draw();
  return PicturePage(drawing.Title(), svg, drawing.width > drawing.height,
                     "machine, serial number");
}

}  // namespace devprep::tool
