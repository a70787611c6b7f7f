// The picture as SVG.
#include <algorithm>
#include <string>
#include <string_view>

#include "markup.h"
#include "picture.h"
#include "picture_parts.h"
#include "platform/hardware/hardware_map.h"

namespace devprep::tool {
namespace {

// Colours with a contrast of 4.5 and more for every text (WCAG 2.1, 1.4.3), light and dark. What a
// colour says is said by a word as well.
constexpr std::string_view kStyle = R"(
svg{--page:#fff;--panel:#f1f3f6;--card:#e3e7ed;--row:#fff;--line:#b8c0cc;--ink:#1a1f26;--muted:#4d5763;
--bad:#b01e12;--good:#126b2d;--changed:#7f4f00;--full:#2f6fb3;--focus:#0b57d0;--gone:#fbeceb;--new:#eaf6ed;
--s0:#1f5fa8;--s1:#8a3d00;--s2:#1b6b3a;--s3:#8a1f5c;--s4:#5b3fa8;--s5:#00646e;--s6:#7a5200;--s7:#8f2a2a;
background:var(--page);font-family:"Segoe UI","Helvetica Neue",Arial,"Liberation Sans","DejaVu Sans",sans-serif}
@media (prefers-color-scheme:dark){svg{--page:#0e1318;--panel:#171d25;--card:#232c37;--row:#10161d;
--line:#4a5666;--ink:#e8edf2;--muted:#a9b4c0;--bad:#ff8b80;--good:#62d487;--changed:#e8b54a;--full:#4f94dc;
--focus:#8ab8ff;--gone:#2c1614;--new:#10261a}}
@media print{svg{--page:#fff;--panel:#f1f3f6;--card:#e3e7ed;--row:#fff;--line:#b8c0cc;--ink:#1a1f26;
--muted:#4d5763;--bad:#b01e12;--good:#126b2d;--changed:#7f4f00;--full:#2f6fb3;--gone:#fbeceb;--new:#eaf6ed}}
text{fill:var(--muted);font-size:11px;white-space:pre}
.title,.heading,.name,.number,.mark{fill:var(--ink)}.title{font-size:20px;font-weight:bold}.summary{font-size:12px}
.heading,.name{font-size:12px;font-weight:bold}
.number{font-size:13px;font-weight:bold}.mark{font-size:10px}.number,.mark{text-anchor:middle}
.page{fill:var(--page)}.panel{fill:var(--panel)}.frame{fill:var(--card)}
.row{fill:var(--row);stroke:var(--line)}.box{fill:var(--panel)}
.gone .row{fill:var(--gone);stroke:var(--bad);stroke-dasharray:4 3}.new .row{fill:var(--new);stroke:var(--good)}
.moved .row{stroke:var(--changed)}use{fill:none;stroke:var(--muted);stroke-width:1.5}
.m{fill:none;stroke:var(--line)}.state .mark,.stays .mark{fill:var(--muted)}
.moves .mark{fill:var(--changed)}.moves .m{stroke:var(--changed)}
.goes .mark{fill:var(--bad)}.goes .m{stroke:var(--bad)}.comes .mark{fill:var(--good)}.comes .m{stroke:var(--good)}
.danger .m{fill:var(--bad);stroke:none}.danger .mark{fill:var(--page);font-weight:bold}
.note .m{stroke:var(--changed)}.note .mark{fill:var(--changed)}
.group .m{fill:var(--row)}.raid .m{stroke:none}.raid .mark{fill:#fff;font-weight:bold}
.k0 .m{stroke:var(--s0)}.k1 .m{stroke:var(--s1)}.k2 .m{stroke:var(--s2)}.k3 .m{stroke:var(--s3)}
.k4 .m{stroke:var(--s4)}.k5 .m{stroke:var(--s5)}.k6 .m{stroke:var(--s6)}.k7 .m{stroke:var(--s7)}
.raid.k0 .m,.k0 .swatch{fill:var(--s0)}.raid.k1 .m,.k1 .swatch{fill:var(--s1)}
.raid.k2 .m,.k2 .swatch{fill:var(--s2)}.raid.k3 .m,.k3 .swatch{fill:var(--s3)}
.raid.k4 .m,.k4 .swatch{fill:var(--s4)}.raid.k5 .m,.k5 .swatch{fill:var(--s5)}
.raid.k6 .m,.k6 .swatch{fill:var(--s6)}.raid.k7 .m,.k7 .swatch{fill:var(--s7)}
.bar{fill:none;stroke:var(--line)}.full{fill:var(--full)}
.arrow{fill:none;stroke:var(--changed);stroke-width:1.5;opacity:.75}.arrow.bad{stroke:var(--bad)}
.tip{fill:var(--changed)}.tip.bad{fill:var(--bad)}
)";

constexpr std::size_t kColours = 8;

// Changer, drive and other devices, in a square of 16.
constexpr std::string_view kSymbols =
    R"(<defs><symbol id="drive" width="16" height="16"><rect x="1" y="3" width="14" height="10" rx="2"/>)"
    R"(<circle cx="5" cy="8" r="1.8"/><circle cx="11" cy="8" r="1.8"/></symbol>)"
    R"(<symbol id="changer" width="16" height="16"><rect x="1.5" y="1" width="13" height="14" rx="1.5"/>)"
    R"(<path d="M1.5 5.5h13M1.5 10.5h13M8 5.5v9.5"/></symbol>)"
    R"(<symbol id="other" width="16" height="16"><ellipse cx="8" cy="4" rx="6" ry="2.5"/>)"
    R"(<path d="M2 4v8c0 1.4 2.7 2.5 6 2.5s6-1.1 6-2.5V4"/></symbol>)"
    R"(<marker id="tip" viewBox="0 0 8 8" refX="7" refY="4" markerUnits="userSpaceOnUse" markerWidth="10" markerHeight="10" orient="auto">)"
    R"(<path class="tip" d="M0 0l8 4l-8 4z"/></marker>)"
    R"(<marker id="badtip" viewBox="0 0 8 8" refX="7" refY="4" markerUnits="userSpaceOnUse" markerWidth="10" markerHeight="10" orient="auto">)"
    R"(<path class="tip bad" d="M0 0l8 4l-8 4z"/></marker></defs>)";

const char* StyleName(TextStyle style) {
  switch (style) {
    case TextStyle::kTitle:
      return "title";
    case TextStyle::kSummary:
      return "summary";
    case TextStyle::kHeading:
      return "heading";
    case TextStyle::kNumber:
      return "number";
    case TextStyle::kName:
      return "name";
    case TextStyle::kDetail:
      return "";
    case TextStyle::kMark:
      break;
  }
  return "mark";
}

const char* SymbolOf(DeviceShape shape) {
  switch (shape) {
    case DeviceShape::kChanger:
      return "#changer";
    case DeviceShape::kDrive:
      return "#drive";
    case DeviceShape::kOther:
      break;
  }
  return "#other";
}

const char* RowClass(const PictureDevice& device) {
  const auto& states = device.states;
  if (std::find(states.begin(), states.end(), "not attached") != states.end()) return "device gone";
  switch (device.fate) {
    case Fate::kMoves:
      return "device moved";
    case Fate::kGoes:
      return "device gone";
    case Fate::kComes:
      return "device new";
    default:
      return "device";
  }
}

// The class of the element around a mark.
std::string MarkClass(const PlacedMark& mark) {
  const std::string colour = " k" + std::to_string(mark.number % kColours);
  switch (mark.kind) {
    case MarkKind::kGroup:
      return "group" + colour;
    case MarkKind::kRaid:
      return "raid" + colour;
    case MarkKind::kStays:
      return "stays";
    case MarkKind::kMoves:
      return "moves";
    case MarkKind::kGoes:
      return "goes";
    case MarkKind::kComes:
      return "comes";
    case MarkKind::kDanger:
      return "danger";
    case MarkKind::kNote:
      return "note";
    case MarkKind::kState:
      break;
  }
  return "state";
}

class SvgWriter {
 public:
  SvgWriter(const PictureModel& model, const Picture& picture) : model_(model), picture_(picture) {}

  std::string Write() {
    OpenSvg(svg_, picture_.width, picture_.height, model_.title + ". " + model_.summary);
    WriteTexts();
    WriteArrows(false);
    for (const PlacedPanel& panel : picture_.panels) WritePanel(panel);
    WriteArrows(true);
    WriteLegend();
    svg_.Close().Line();
    return svg_.Result();
  }

 private:
  void WriteTexts() {
    for (const PlacedText& text : picture_.headings) {
      svg_.Line();
      WriteText(svg_, text);
    }
    for (const PlacedMark& notice : picture_.notices) {
      svg_.Line();
      WriteMark(svg_, notice);
    }
  }

  std::string DeviceId(std::size_t side, std::size_t device) const {
    return (side == 0 ? "a" : "b") + model_.sides[side].devices[device].id;
  }

  void WriteArrows(bool beside) {
    for (const PlacedArrow& arrow : picture_.arrows) {
      if (arrow.beside != beside) continue;
      const int bend = beside ? (arrow.x2 - arrow.x1) / 2 : 60;
      const auto point = [](int x, int y) { return std::to_string(x) + " " + std::to_string(y); };
      svg_.Line()
          .Open("path")
          .With("class", arrow.danger ? "arrow bad" : "arrow")
          .With("d", "M" + point(arrow.x1, arrow.y1) + "C" + point(arrow.x1 + bend, arrow.y1) +
                         " " + point(arrow.x2 - bend, arrow.y2) + " " + point(arrow.x2, arrow.y2))
          .With("marker-end", arrow.danger ? "url(#badtip)" : "url(#tip)")
          .With("data-from", DeviceId(0, arrow.from))
          .With("data-to", DeviceId(1, arrow.to))
          .Close();
    }
  }

  void WritePanel(const PlacedPanel& panel) {
    std::string label = panel.heading.text;
    if (model_.sides.size() > 1) label = model_.sides[panel.side].title + ": " + label;
    svg_.Line().Open("g").With("role", "group").With("aria-label", label);
    WriteRect(svg_, panel.rect, "panel", 8);
    WriteText(svg_, panel.heading);
    for (const PlacedCard& card : panel.cards) {
      svg_.Open("g").With("class", "card");
      if (card.frame) WriteRect(svg_, card.rect, "frame", 6);
      for (const PlacedDevice& device : card.devices) WriteDevice(panel.side, device);
      svg_.Close();
    }
    svg_.Close();
  }

  // What lights up together: members of one group or RAID, and a changer with its drives.
  std::string Sets(std::size_t side, std::size_t index, const PictureDevice& device) const {
    std::string sets;
    for (const std::uint16_t group : device.groups) sets += "g" + std::to_string(group) + " ";
    for (const std::uint16_t raid : device.raids) sets += "r" + std::to_string(raid) + " ";
    if (device.changer) {
      sets += "c" + DeviceId(side, *device.changer);
    } else if (device.shape == DeviceShape::kChanger) {
      sets += "c" + DeviceId(side, index);
    }
    if (!sets.empty() && sets.back() == ' ') sets.pop_back();
    return sets;
  }

  static std::string Label(const PictureDevice& device) {
    std::string label = device.number ? "Device " + std::to_string(*device.number) : device.place;
    for (const std::string* text : {&device.type, &device.name, &device.serial_number}) {
      if (!text->empty()) label += ", " + *text;
    }
    for (const std::string& state : device.states) label += ", " + state;
    return label;
  }

  static std::string Facts(const PictureDevice& device) {
    std::string facts;
    for (const PictureFact& fact : device.facts) {
      facts += (facts.empty() ? "" : "\n") + fact.label + ": " + fact.value;
    }
    for (const PictureDanger& danger : device.dangers) {
      facts += (danger.refused ? "\nDanger " : "\nNote ") + danger.name + ": " + danger.text;
    }
    return facts;
  }

  void WriteDevice(std::size_t side, const PlacedDevice& placed) {
    const PictureDevice& device = model_.sides[side].devices[placed.device];
    svg_.Line()
        .Open("g")
        .With("class", RowClass(device))
        .With("id", DeviceId(side, placed.device))
        .With("role", "img")
        .With("aria-label", Label(device));
    if (const std::string sets = Sets(side, placed.device, device); !sets.empty()) {
      svg_.With("data-sets", sets);
    }
    if (device.number) svg_.With("data-number", *device.number);
    if (!device.serial_number.empty()) svg_.With("data-serial", device.serial_number);
    if (!device.nodes.empty()) svg_.With("data-nodes", JoinNodeNames(device.nodes));
    if (device.other) svg_.With("data-other", DeviceId(1 - side, *device.other));
    svg_.Open("title").Text(Facts(device)).Close();
    WriteRect(svg_, placed.rect, "row", 4);
    WriteRect(svg_, placed.number, "box", 3);
    WriteIcon(svg_, device.shape, placed.icon);
    for (const PlacedText& text : placed.texts) WriteText(svg_, text);
    for (const PlacedMark& mark : placed.marks) WriteMark(svg_, mark);
    if (placed.bar) {
      if (placed.bar_full != 0) {
        Rect full = *placed.bar;
        full.width = placed.bar_full;
        WriteRect(svg_, full, "full", 2);
      }
      WriteRect(svg_, *placed.bar, "bar", 2);
    }
    svg_.Close();
  }

  void WriteLegend() {
    for (const LegendEntry& entry : picture_.legend) {
      const PlacedMark& mark = entry.mark;
      const std::string number = std::to_string(mark.number);
      svg_.Line();
      if (mark.kind == MarkKind::kGroup) {
        OpenLegend(svg_, "g" + number, "Group " + number + ": " + entry.text.text);
      } else if (mark.kind == MarkKind::kRaid) {
        OpenLegend(svg_, "r" + number, "RAID " + number + ": " + entry.text.text);
      } else {
        OpenLegend(svg_, "", "");
      }
      WriteMark(svg_, mark);
      WriteText(svg_, entry.text);
      svg_.Close();
    }
  }

  const PictureModel& model_;
  const Picture& picture_;
  Markup svg_;
};

}  // namespace

void OpenSvg(Markup& svg, int width, int height, const std::string& label) {
  svg.Open("svg")
      .With("xmlns", "http://www.w3.org/2000/svg")
      .With("data-picture", "devprep")
      .With("width", width)
      .With("height", height)
      .With("viewBox", "0 0 " + std::to_string(width) + " " + std::to_string(height))
      .With("role", "group")
      .With("aria-label", label);
  svg.Open("style").Raw(kStyle).Close().Line();
  svg.Raw(kSymbols).Line();
  svg.Open("rect").With("class", "page").With("width", "100%").With("height", "100%").Close();
}

void WriteText(Markup& svg, const PlacedText& text) {
  const std::string_view style = StyleName(text.style);
  svg.Open("text").With("x", text.x).With("y", text.baseline);
  if (!style.empty()) svg.With("class", style);
  svg.Text(text.text).Close();
}

Markup& WriteRect(Markup& svg, const Rect& rect, const char* name, int radius) {
  svg.Open("rect")
      .With("class", name)
      .With("x", rect.x)
      .With("y", rect.y)
      .With("width", rect.width)
      .With("height", rect.height);
  if (radius != 0) svg.With("rx", radius);
  return svg.Close();
}

void WriteIcon(Markup& svg, DeviceShape shape, const Rect& rect) {
  svg.Open("use").With("href", SymbolOf(shape)).With("x", rect.x).With("y", rect.y).Close();
}

void WriteMark(Markup& svg, const PlacedMark& mark) {
  svg.Open("g").With("class", MarkClass(mark));
  WriteRect(svg, mark.rect, "m", mark.kind == MarkKind::kRaid ? 7 : 3);
  if (mark.kind == MarkKind::kGroup) {
    WriteRect(svg, {mark.rect.x, mark.rect.y, 3, mark.rect.height}, "swatch", 1);
  }
  svg.Open("text")
      .With("x", mark.rect.x + mark.rect.width / 2 + (mark.kind == MarkKind::kGroup ? 1 : 0))
      .With("y", mark.rect.y + 11)
      .With("class", "mark")
      .Text(mark.text)
      .Close()
      .Close();
}

void OpenLegend(Markup& svg, const std::string& set, const std::string& label) {
  svg.Open("g").With("class", "legend");
  if (!set.empty()) svg.With("data-sets", set).With("role", "img").With("aria-label", label);
}

bool IsPicture(const std::string& head) {
  return (head.starts_with("<svg ") || head.starts_with("<!DOCTYPE html>")) &&
         head.find("data-picture=\"devprep\"") != std::string::npos;
}

std::string PictureSvg(const PictureModel& model, const Picture& picture) {
  return SvgWriter(model, picture).Write();
}

}  // namespace devprep::tool
