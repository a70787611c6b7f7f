#include "picture.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "picture_parts.h"

namespace devprep::tool {
namespace {

constexpr int kRowWidth = 340;
constexpr int kRowHeight = 42;
constexpr int kLineHeight = 19;  // of a further line of a row
constexpr int kRowGap = 4;
constexpr int kCardPadding = 6;
constexpr int kCardGap = 8;
constexpr int kPanelPadding = 10;
constexpr int kPanelHeading = 24;
constexpr int kColumnWidth = kRowWidth + 2 * (kCardPadding + kPanelPadding);
constexpr int kColumnGap = 28;
constexpr int kArrowGap = 110;  // between before and after
constexpr int kIndent = 18;     // of a drive in its changer
constexpr int kMarkGap = 4;
constexpr int kTextLeft = kNumberWidth + kIconSize + 20;
constexpr int kLeastWidth = 2 * kColumnWidth + kColumnGap;
constexpr std::size_t kMaxMarks = 4;  // of groups and RAIDs at one device

// Columns grow by steps, so that a device more seldom rearranges all of them.
constexpr std::array<int, 9> kColumnHeights = {360, 520, 760, 1100, 1600, 2300, 3300, 4800, 7000};
constexpr double kWidthToHeight = 2.2;

// Advances of the letters from blank to tilde in hundredths of the letter size, of the widest of
// the fonts that systems commonly have for sans-serif: no text is wider than it is taken for.
constexpr std::array<std::uint8_t, 95> kAdvances = {
    32, 41, 46, 84, 64, 96, 78, 28, 40,  40, 50, 84, 32, 37, 32, 34, 64, 64, 64, 64, 64, 64, 64, 64,
    64, 64, 34, 34, 84, 84, 84, 54, 100, 69, 69, 70, 78, 64, 58, 78, 76, 30, 30, 66, 56, 87, 75, 79,
    61, 79, 70, 64, 62, 74, 69, 99, 69,  62, 69, 40, 34, 40, 84, 50, 50, 62, 64, 55, 64, 62, 36, 64,
    64, 28, 28, 58, 28, 98, 64, 62, 64,  64, 42, 53, 40, 64, 60, 82, 60, 60, 53, 64, 34, 64, 84};
constexpr std::array<std::uint8_t, 95> kBoldAdvances = {
    35, 46,  53, 84, 70, 101, 88, 31,  46, 46, 53, 84, 38, 42,  38, 37, 70, 70,  70,
    70, 70,  70, 70, 70, 70,  70, 40,  40, 84, 84, 84, 59, 100, 78, 77, 74, 84,  69,
    69, 83,  84, 38, 38, 78,  64, 100, 84, 86, 74, 86, 78, 73,  69, 82, 78, 111, 78,
    73, 73,  46, 37, 46, 84,  50, 50,  68, 72, 60, 72, 68, 44,  72, 72, 35, 35,  67,
    35, 105, 72, 69, 72, 72,  50, 60,  48, 72, 66, 93, 65, 66,  59, 72, 37, 72,  84};
constexpr int kWideAdvance = 105;  // of every other letter
constexpr const char* kEllipsis = "…";

bool IsBold(TextStyle style) {
  return style == TextStyle::kTitle || style == TextStyle::kHeading ||
         style == TextStyle::kNumber || style == TextStyle::kName;
}

bool BeginsLetter(char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }

MarkKind FateMark(Fate fate) {
  switch (fate) {
    case Fate::kMoves:
      return MarkKind::kMoves;
    case Fate::kGoes:
      return MarkKind::kGoes;
    case Fate::kComes:
      return MarkKind::kComes;
    default:
      return MarkKind::kStays;
  }
}

// The node by which people know a device, without what all nodes begin with: of a drive the one
// that does not rewind.
std::string ShownNode(const PictureDevice& device) {
  constexpr std::string_view kFolder = "/dev/";
  if (device.nodes.empty()) return "";
  const auto known =
      std::find_if(device.nodes.begin(), device.nodes.end(),
                   [](const std::string& node) { return node.starts_with("/dev/nst"); });
  const std::string& node = known == device.nodes.end() ? device.nodes.front() : *known;
  return node.starts_with(kFolder) ? node.substr(kFolder.size()) : node;
}

// What somebody should look at stands out.
MarkKind StateMark(const std::string& state) {
  if (state == "not attached" || state == "silent") return MarkKind::kGoes;
  if (state == "replaced" || state == "not recognised") return MarkKind::kMoves;
  return state == "not configured" ? MarkKind::kComes : MarkKind::kState;
}

std::string NumberText(const PictureDevice& device) {
  return device.number ? std::to_string(*device.number) : "–";
}

int RowHeight(const PictureDevice& device) {
  return kRowHeight + (device.slots ? kLineHeight : 0) + (device.dangers.empty() ? 0 : kLineHeight);
}

// "split", or "split ×3".
std::vector<std::string> DangerNames(const std::vector<PictureDanger>& dangers) {
  std::vector<std::pair<std::string, int>> counts;
  for (const PictureDanger& danger : dangers) {
    const auto at = std::find_if(counts.begin(), counts.end(),
                                 [&](const auto& count) { return count.first == danger.name; });
    if (at == counts.end())
      counts.emplace_back(danger.name, 1);
    else
      ++at->second;
  }
  std::vector<std::string> names;
  names.reserve(counts.size());
  for (const auto& [name, count] : counts) {
    names.push_back(count == 1 ? name : name + " ×" + std::to_string(count));
  }
  return names;
}

// One device in a row, with what is drawn in it.
class RowDrawing {
 public:
  RowDrawing(const PictureModel& model, std::size_t side, std::size_t index, int x, int y)
      : model_(model), side_(side), device_(model.sides[side].devices[index]) {
    row_.device = index;
    const int indent = device_.changer ? kIndent : 0;
    row_.rect = {x + indent, y, kRowWidth - indent, RowHeight(device_)};
  }

  PlacedDevice Draw() {
    const Rect& rect = row_.rect;
    row_.number = {rect.x + 5, rect.y + 6, kNumberWidth, kRowHeight - 12};
    row_.icon = {row_.number.Right() + 7, rect.y + 6, kIconSize, kIconSize};
    row_.texts.push_back({row_.number.x + kNumberWidth / 2, rect.y + kRowHeight / 2 + 5,
                          TextStyle::kNumber, true, NumberText(device_)});
    const int name_room = DrawSets() - (rect.x + kTextLeft) - kMarkGap;
    row_.texts.push_back({rect.x + kTextLeft, rect.y + 17, TextStyle::kName, false,
                          FitText(device_.name, TextStyle::kName, name_room)});
    const int detail_room = DrawStates() - (rect.x + kTextLeft) - kMarkGap;
    row_.texts.push_back({rect.x + kTextLeft, rect.y + 34, TextStyle::kDetail, false,
                          FitText(Details(), TextStyle::kDetail, detail_room)});
    int y = rect.y + kRowHeight;
    if (device_.slots) {
      DrawSlots(y);
      y += kLineHeight;
    }
    if (!device_.dangers.empty()) DrawDangers(y);
    return std::move(row_);
  }

 private:
  std::string Details() const {
    std::string details = device_.place;
    if (!device_.serial_number.empty()) details += "  " + device_.serial_number;
    if (!device_.nodes.empty()) details += "  " + ShownNode(device_);
    return details;
  }

  // From the right end of a line to the left. Returns where the leftmost one begins.
  int DrawFromRight(std::vector<PlacedMark> marks, int y) {
    int x = row_.rect.Right() - 6;
    for (std::size_t i = marks.size(); i-- > 0;) {
      Rect& rect = marks[i].rect;
      rect.x = x - rect.width;
      rect.y = y;
      x = rect.x - kMarkGap;
    }
    for (PlacedMark& mark : marks) row_.marks.push_back(std::move(mark));
    return x;
  }

  int DrawSets() {
    std::vector<PlacedMark> marks;
    for (const std::uint16_t group : device_.groups) {
      marks.push_back(MakeMark(MarkKind::kGroup, "G" + std::to_string(group), 0, 0, group));
    }
    for (const std::uint16_t raid : device_.raids) {
      marks.push_back(MakeMark(MarkKind::kRaid, "R" + std::to_string(raid), 0, 0, raid));
    }
    if (marks.size() > kMaxMarks) {
      const std::size_t more = marks.size() - kMaxMarks + 1;
      marks.resize(kMaxMarks - 1);
      marks.push_back(MakeMark(MarkKind::kState, "+" + std::to_string(more), 0, 0));
    }
    return DrawFromRight(std::move(marks), row_.rect.y + 6);
  }

  int DrawStates() {
    std::vector<PlacedMark> marks;
    for (const std::string& state : device_.states) {
      marks.push_back(MakeMark(StateMark(state), state, 0, 0));
    }
    if (device_.fate != Fate::kNone) {
      marks.push_back(MakeMark(FateMark(device_.fate), FateText(), 0, 0));
    }
    return DrawFromRight(std::move(marks), row_.rect.y + 23);
  }

  std::string FateText() const {
    switch (device_.fate) {
      case Fate::kGoes:
        return "gone";
      case Fate::kComes:
        return "new";
      case Fate::kMoves:
        break;
      default:
        return "stays";
    }
    const PictureDevice& other = model_.sides[1 - side_].devices[*device_.other];
    return (side_ == 0 ? "→ " : "was ") + NumberText(other);
  }

  void DrawSlots(int y) {
    const SlotCounts& slots = *device_.slots;
    const std::string text =
        std::to_string(slots.full) + " of " + std::to_string(slots.total) + " slots full";
    const int text_width = TextWidth(text, TextStyle::kDetail);
    const int left = row_.rect.x + kTextLeft;
    row_.bar = Rect{left, y + 2, row_.rect.Right() - 12 - text_width - left - 6, 9};
    row_.bar_full = slots.total == 0
                        ? 0
                        : static_cast<int>(static_cast<std::size_t>(row_.bar->width) *
                                           std::min(slots.full, slots.total) / slots.total);
    row_.texts.push_back(
        {row_.rect.Right() - 8 - text_width, y + 10, TextStyle::kDetail, false, text});
  }

  // As many as fit; the facts tell of all.
  void DrawDangers(int y) {
    int x = row_.rect.x + kTextLeft;
    for (const std::string& name : DangerNames(device_.dangers)) {
      PlacedMark mark = MakeMark(MarkKind::kDanger, "! " + name, x, y);
      if (mark.rect.Right() > row_.rect.Right() - 6) break;
      x = mark.rect.Right() + kMarkGap;
      const bool refused = std::any_of(device_.dangers.begin(), device_.dangers.end(),
                                       [&name](const PictureDanger& danger) {
                                         return danger.refused && name.starts_with(danger.name);
                                       });
      if (!refused) mark.kind = MarkKind::kNote;
      row_.marks.push_back(std::move(mark));
    }
  }

  const PictureModel& model_;
  std::size_t side_;
  const PictureDevice& device_;
  PlacedDevice row_;
};

// A device that stands by itself, with the drives that stand in it.
struct Block {
  std::size_t side = 0;
  std::vector<std::size_t> devices;
  DeviceAddress address = {};
  bool frame = false;
  int height = 0;
};

bool OnOneBus(const DeviceAddress& a, const DeviceAddress& b) {
  return a.Board == b.Board && a.Bus == b.Bus;
}

std::vector<Block> BlocksOf(const PictureModel& model) {
  std::vector<Block> blocks;
  for (std::size_t side = 0; side < model.sides.size(); ++side) {
    const auto& devices = model.sides[side].devices;
    std::vector<std::vector<std::size_t>> held(devices.size());
    for (std::size_t i = 0; i < devices.size(); ++i) {
      if (devices[i].changer) held[*devices[i].changer].push_back(i);
    }
    for (std::size_t i = 0; i < devices.size(); ++i) {
      if (devices[i].changer) continue;
      Block block = {side, {i}, devices[i].address, devices[i].shape == DeviceShape::kChanger, 0};
      block.devices.insert(block.devices.end(), held[i].begin(), held[i].end());
      if (block.devices.size() > 1) block.frame = true;
      for (const std::size_t n : block.devices) block.height += RowHeight(devices[n]) + kRowGap;
      block.height += (block.frame ? 2 * kCardPadding : 0) - kRowGap;
      blocks.push_back(std::move(block));
    }
  }
  std::stable_sort(blocks.begin(), blocks.end(), [](const Block& a, const Block& b) {
    return ScsiAddressOf(a.address) < ScsiAddressOf(b.address);
  });
  return blocks;
}

// How far down the columns of each side are filled.
struct Strip {
  explicit Strip(std::size_t sides) : bottom(sides, 0), last(sides, nullptr) {}

  // What a block needs below what is there.
  int Needs(const Block& block) const {
    const Block* above = last[block.side];
    if (above != nullptr && OnOneBus(above->address, block.address)) return block.height + kCardGap;
    return (above == nullptr ? 0 : kPanelGap) + kPanelHeading + block.height + kPanelPadding;
  }
  void Add(const Block& block) {
    bottom[block.side] += Needs(block);
    last[block.side] = &block;
  }

  std::vector<int> bottom;
  std::vector<const Block*> last;
};

// Whether all that stands on the bus of blocks[first] fits below what is there.
bool BusFits(const std::vector<Block>& blocks, std::size_t first, Strip strip, int height) {
  for (std::size_t i = first; i < blocks.size(); ++i) {
    if (!OnOneBus(blocks[i].address, blocks[first].address)) break;
    strip.Add(blocks[i]);
    if (strip.bottom[blocks[i].side] > height) return false;
  }
  return true;
}

// The strip of each block, when none is higher than height unless one block is. A bus stands in one
// strip where it fits.
std::vector<std::size_t> Distribute(const std::vector<Block>& blocks, std::size_t sides,
                                    int height) {
  std::vector<std::size_t> strips;
  Strip strip(sides);
  std::size_t number = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const Block& block = blocks[i];
    const bool new_bus = i > 0 && !OnOneBus(block.address, blocks[i - 1].address);
    const int filled = strip.bottom[block.side];
    if ((filled != 0 && filled + strip.Needs(block) > height) ||
        (new_bus && !BusFits(blocks, i, strip, height) &&
         BusFits(blocks, i, Strip(sides), height))) {
      strip = Strip(sides);
      ++number;
    }
    strip.Add(block);
    strips.push_back(number);
  }
  return strips;
}

class Drawing {
 public:
  explicit Drawing(const PictureModel& model) : model_(model) {}

  Picture Draw() {
    const std::vector<Block> blocks = BlocksOf(model_);
    const std::vector<std::size_t> strips = ChooseStrips(blocks);
    const int count = strips.empty() ? 1 : static_cast<int>(strips.back()) + 1;
    picture_.width = std::max(count * StripWidth() - kColumnGap, kLeastWidth) + 2 * kMargin;
    int y = DrawTop();
    if (model_.sides.size() > 1) y = DrawSideTitles(count, y);
    y = DrawPanels(blocks, strips, y);
    DrawArrows();
    picture_.height = DrawLegend(y + 20) + kMargin;
    return std::move(picture_);
  }

 private:
  struct Spot {
    Rect row;
    Rect panel;
    std::size_t strip = 0;
  };

  int StripWidth() const {
    const int sides = static_cast<int>(model_.sides.size());
    return sides * kColumnWidth + (sides - 1) * kArrowGap + kColumnGap;
  }

  int ColumnLeft(std::size_t strip, std::size_t side) const {
    return kMargin + static_cast<int>(strip) * StripWidth() +
           static_cast<int>(side) * (kColumnWidth + kArrowGap);
  }

  std::vector<std::size_t> ChooseStrips(const std::vector<Block>& blocks) const {
    std::vector<std::size_t> strips;
    for (const int height : kColumnHeights) {
      strips = Distribute(blocks, model_.sides.size(), height);
      if (strips.empty()) break;
      const int width = (static_cast<int>(strips.back()) + 1) * StripWidth();
      if (width <= static_cast<int>(height * kWidthToHeight)) break;
    }
    return strips;
  }

  void AddLines(const std::string& text, TextStyle style, int x, int& baseline) {
    const int room = picture_.width - kMargin - x;
    for (const std::string& line : BreakText(text, style, room)) {
      picture_.headings.push_back({x, baseline, style, false, line});
      baseline += TextSize(style) + 5;
    }
  }

  int DrawTop() {
    int baseline = kMargin + 16;
    AddLines(model_.title, TextStyle::kTitle, kMargin, baseline);
    AddLines(model_.summary, TextStyle::kSummary, kMargin, baseline);
    for (const PictureDanger& danger : model_.dangers) {
      const MarkKind kind = danger.refused ? MarkKind::kDanger : MarkKind::kNote;
      picture_.notices.push_back(MakeMark(kind, "! " + danger.name, kMargin, baseline - 10));
      AddLines(danger.text, TextStyle::kSummary, picture_.notices.back().rect.Right() + 8,
               baseline);
    }
    for (const std::string& note : model_.notes) {
      AddLines(note, TextStyle::kSummary, kMargin, baseline);
    }
    return baseline;
  }

  int DrawSideTitles(int strips, int y) {
    for (int strip = 0; strip < strips; ++strip) {
      for (std::size_t side = 0; side < model_.sides.size(); ++side) {
        picture_.headings.push_back({ColumnLeft(static_cast<std::size_t>(strip), side), y + 12,
                                     TextStyle::kHeading, false, model_.sides[side].title});
      }
    }
    return y + 22;
  }

  PlacedText PanelHeading(const DeviceAddress& at, bool continued, int x, int y) const {
    std::string text = "Port " + std::to_string(at.Board) + ", bus " + std::to_string(at.Bus);
    const auto driver = model_.ports.find(at.Board);
    if (driver != model_.ports.end() && !driver->second.empty()) {
      text += " (" + driver->second + ")";
    }
    if (continued) text += ", continued";
    return {x + kPanelPadding, y + 17, TextStyle::kHeading, false,
            FitText(text, TextStyle::kHeading, kColumnWidth - 2 * kPanelPadding)};
  }

  PlacedCard DrawBlock(const Block& block, int x, int y) {
    PlacedCard card;
    card.frame = block.frame;
    card.rect = {x, y, kRowWidth + 2 * kCardPadding, block.height};
    int row_y = y + (block.frame ? kCardPadding : 0);
    for (const std::size_t device : block.devices) {
      card.devices.push_back(
          RowDrawing(model_, block.side, device, x + kCardPadding, row_y).Draw());
      row_y = card.devices.back().rect.Bottom() + kRowGap;
    }
    return card;
  }

  // Returns the lowest line of all.
  int DrawPanels(const std::vector<Block>& blocks, const std::vector<std::size_t>& strips,
                 int top) {
    const std::size_t sides = model_.sides.size();
    for (std::size_t side = 0; side < sides; ++side) {
      spots_.emplace_back(model_.sides[side].devices.size());
    }
    int lowest = top;
    std::vector<PlacedPanel*> panels(sides, nullptr);
    std::vector<const Block*> above(sides, nullptr);  // in the same strip
    std::vector<const Block*> before(sides, nullptr);
    picture_.panels.reserve(blocks.size());
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      const Block& block = blocks[i];
      if (i > 0 && strips[i] != strips[i - 1]) above.assign(sides, nullptr);
      const int x = ColumnLeft(strips[i], block.side);
      if (above[block.side] == nullptr || !OnOneBus(above[block.side]->address, block.address)) {
        const int y =
            above[block.side] == nullptr ? top : panels[block.side]->rect.Bottom() + kPanelGap;
        const Block* last = before[block.side];
        const bool continued = last != nullptr && OnOneBus(last->address, block.address);
        picture_.panels.push_back({{x, y, kColumnWidth, kPanelHeading},
                                   block.side,
                                   PanelHeading(block.address, continued, x, y),
                                   {}});
        panels[block.side] = &picture_.panels.back();
      }
      PlacedPanel& panel = *panels[block.side];
      const int y = panel.cards.empty() ? panel.rect.y + kPanelHeading
                                        : panel.cards.back().rect.Bottom() + kCardGap;
      panel.cards.push_back(DrawBlock(block, x + kPanelPadding, y));
      panel.rect.height = panel.cards.back().rect.Bottom() + kPanelPadding - panel.rect.y;
      lowest = std::max(lowest, panel.rect.Bottom());
      for (const PlacedDevice& row : panel.cards.back().devices) {
        spots_[block.side][row.device] = {row.rect, panel.rect, strips[i]};
      }
      above[block.side] = before[block.side] = &block;
    }
    return lowest;
  }

  void DrawArrows() {
    if (model_.sides.size() < 2) return;
    const auto& devices = model_.sides[0].devices;
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const PictureDevice& device = devices[i];
      if (device.fate != Fate::kMoves || !device.other) continue;
      const Spot& from = spots_[0][i];
      const Spot& to = spots_[1][*device.other];
      PlacedArrow arrow;
      arrow.from = i;
      arrow.to = *device.other;
      arrow.beside = from.strip == to.strip;
      arrow.x1 = arrow.beside ? from.row.Right() : from.panel.Right();
      arrow.x2 = (arrow.beside ? to.row.x : to.panel.x) - 1;
      arrow.y1 = from.row.y + kRowHeight / 2;
      arrow.y2 = to.row.y + kRowHeight / 2;
      arrow.danger = std::any_of(device.dangers.begin(), device.dangers.end(),
                                 [](const PictureDanger& danger) { return danger.refused; });
      picture_.arrows.push_back(arrow);
    }
  }

  // Behind the entry before it, or in a new line.
  void AddEntry(PlacedMark mark, const std::string& text, int& x, int& y) {
    const int left = kMargin + 60;
    const int room = picture_.width - kMargin - left - mark.rect.width - 6;
    const std::string fitted = FitText(text, TextStyle::kDetail, room);
    const int width = mark.rect.width + 6 + TextWidth(fitted, TextStyle::kDetail);
    if (x != left && x + width > picture_.width - kMargin) {
      x = left;
      y += kLineHeight + 3;
    }
    mark.rect.x = x;
    mark.rect.y = y;
    picture_.legend.push_back(
        {mark, {mark.rect.Right() + 6, y + 11, TextStyle::kDetail, false, fitted}});
    x += width + 22;
  }

  // A line with its name, and further ones below it.
  template <typename AddEntries>
  void AddSection(const char* name, int& y, AddEntries add) {
    picture_.headings.push_back({kMargin, y + 12, TextStyle::kHeading, false, name});
    int x = kMargin + 60;
    add(x, y);
    y += kLineHeight + 7;
  }

  int DrawLegend(int y) {
    if (!model_.groups.empty()) {
      AddSection("Groups", y, [this](int& x, int& line) {
        for (const PictureSet& group : model_.groups) {
          AddEntry(
              MakeMark(MarkKind::kGroup, "G" + std::to_string(group.number), 0, 0, group.number),
              group.text + (group.in_danger ? "  !" : ""), x, line);
        }
      });
    }
    if (!model_.raids.empty()) {
      AddSection("RAIDs", y, [this](int& x, int& line) {
        for (const PictureSet& raid : model_.raids) {
          AddEntry(MakeMark(MarkKind::kRaid, "R" + std::to_string(raid.number), 0, 0, raid.number),
                   raid.text + (raid.in_danger ? "  !" : ""), x, line);
        }
      });
    }
    AddSection("Marks", y, [this](int& x, int& line) { AddUsedMarks(x, line); });
    return y;
  }

  bool HasState(const std::string& state) const {
    for (const PictureSide& side : model_.sides) {
      for (const PictureDevice& device : side.devices) {
        if (std::find(device.states.begin(), device.states.end(), state) != device.states.end()) {
          return true;
        }
      }
    }
    return false;
  }

  bool HasDanger() const {
    return std::any_of(picture_.arrows.begin(), picture_.arrows.end(),
                       [](const PlacedArrow& arrow) { return arrow.danger; }) ||
           !model_.dangers.empty();
  }

  void AddUsedMarks(int& x, int& y) {
    AddEntry(MakeMark(MarkKind::kState, "0:0:1:0", 0, 0), "port, bus, target, logical unit", x, y);
    static constexpr std::array<std::pair<const char*, const char*>, 9> kStates = {{
        {"disabled", "reserved to its changer, but not used"},
        {"loose", "reserved to no changer"},
        {"silent", "attached, does not answer"},
        {"masked", "set-up programs see it as unknown"},
        {"not attached", "configured, not found"},
        {"not configured", "found, not configured"},
        {"not recognised", "in the changer, not found attached"},
        {"replaced", "another device stands in its place"},
        {"not reserved", "in the changer, not reserved to it"},
    }};
    for (const auto& [state, meaning] : kStates) {
      if (HasState(state)) AddEntry(MakeMark(StateMark(state), state, 0, 0), meaning, x, y);
    }
    if (model_.sides.size() < 2) return;
    AddEntry(MakeMark(MarkKind::kMoves, "→ 2", 0, 0), "moves, number after", x, y);
    AddEntry(MakeMark(MarkKind::kGoes, "gone", 0, 0), "not found any more", x, y);
    AddEntry(MakeMark(MarkKind::kComes, "new", 0, 0), "found for the first time", x, y);
    if (HasDanger()) {
      AddEntry(MakeMark(MarkKind::kDanger, "! split", 0, 0), "danger: 'configure' refuses it", x,
               y);
    }
  }

  const PictureModel& model_;
  Picture picture_;
  std::vector<std::vector<Spot>> spots_;  // by side and device
};

}  // namespace

int TextSize(TextStyle style) {
  switch (style) {
    case TextStyle::kTitle:
      return 20;
    case TextStyle::kNumber:
      return 13;
    case TextStyle::kDetail:
      return 11;
    case TextStyle::kMark:
      return 10;
    default:
      return 12;
  }
}

int TextWidth(const std::string& text, TextStyle style) {
  const auto& advances = IsBold(style) ? kBoldAdvances : kAdvances;
  int width = 0;
  for (const char c : text) {
    if (c >= ' ' && c <= '~')
      width += advances[static_cast<std::size_t>(c - ' ')];
    else if (BeginsLetter(c))
      width += kWideAdvance;
  }
  return (width * TextSize(style) + 99) / 100;
}

std::string FitText(const std::string& text, TextStyle style, int room) {
  if (TextWidth(text, style) <= room) return text;
  std::string fitted = text;
  while (!fitted.empty()) {
    while (!fitted.empty() && !BeginsLetter(fitted.back())) fitted.pop_back();
    if (!fitted.empty()) fitted.pop_back();
    while (!fitted.empty() && fitted.back() == ' ') fitted.pop_back();
    if (TextWidth(fitted + kEllipsis, style) <= room) return fitted + kEllipsis;
  }
  return "";
}

std::vector<std::string> BreakText(const std::string& text, TextStyle style, int room) {
  std::vector<std::string> lines;
  std::string line;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    std::string longer = line;
    if (!line.empty()) longer += ' ';
    longer.append(text, at, end - at);
    if (!line.empty() && TextWidth(longer, style) > room) {
      lines.push_back(FitText(line, style, room));
      longer.erase(0, line.size() + 1);
    }
    line = std::move(longer);
    at = end + 1;
  }
  lines.push_back(FitText(line, style, room));
  return lines;
}

PlacedMark MakeMark(MarkKind kind, const std::string& text, int x, int y, std::uint16_t number) {
  const int width = TextWidth(text, TextStyle::kMark) + 10;
  return {{x, y, width, kMarkHeight}, kind, number, text};
}

Picture DrawPicture(const PictureModel& model) { return Drawing(model).Draw(); }

}  // namespace devprep::tool
