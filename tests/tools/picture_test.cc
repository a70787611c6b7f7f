// Markup, and where a picture's layout puts things, for machines that no example has.
#include "picture.h"

#include <gtest/gtest.h>

#include <random>

#include "markup.h"

namespace devprep::tool {
namespace {

TEST(Markup, EscapesAllThatCouldBeTakenForMarkup) {
  const std::pair<std::string, std::string> cases[] = {
      {"ACME ROBOT-40", "ACME ROBOT-40"},
      {"<a b=\"c\" d='e'>&amp;", "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;amp;"},
      {std::string("a\0b\x01\x1b\x7f", 6), "a?b???"},
      {"line\nline\r\t", "line\nline??"},
      {"\xc3\xa9\xe2\x86\x92\xf0\x9f\x93\xbc", "\xc3\xa9\xe2\x86\x92\xf0\x9f\x93\xbc"},
      {"\x80 \xff \xc3 \xc3(", "? ? ? ?("},      // no letter, or half of one
      {"\xc0\xbc \xe0\x80\xbc", "?? ???"},       // "<" in too many bytes
      {"\xed\xa0\x80 \xef\xbf\xbe", "??? ???"},  // a surrogate, and no character
      {"\xc2\x85 \xe2\x80\xa8", "?? ???"},       // line ends of other kinds
      {"\xf4\x90\x80\x80", "????"},              // beyond the last
      {"cut \xe2\x86", "cut ??"},
  };
  for (const auto& [text, escaped] : cases) EXPECT_EQ(EscapeMarkup(text), escaped) << escaped;
  EXPECT_EQ(Markup().Open("a").With("b", "<").Open("c").Close().Text("&").Close().Result(),
            "<a b=\"&lt;\"><c/>&amp;</a>");
}

// Devices of every shape, with texts, marks and dangers as many and as long as they come.
class Machine {
 public:
  explicit Machine(unsigned seed) : random_(seed) {}

  PictureModel Make(std::size_t units, std::size_t sides, std::size_t ports) {
    PictureModel model;
    model.title = "A machine";
    model.summary = std::string(300, 'x') + " and words that are to be broken somewhere";
    model.dangers.push_back({"mass-loss", true, "many devices would go"});
    for (std::uint16_t n = 0; n < 16; ++n) model.groups.push_back({n, Word(60), Below(2) == 0});
    for (std::size_t side = 0; side < sides; ++side) {
      model.sides.push_back({side == 0 ? "Before" : "After", {}});
      std::optional<std::size_t> changer;
      for (std::size_t i = 0; i < units; ++i) {
        PictureDevice device = MakeDevice(i, static_cast<std::uint16_t>(i * ports / units));
        if (device.shape == DeviceShape::kChanger) {
          changer = i;
        } else if (Below(8) != 0) {
          device.changer = changer;
        }
        model.sides.back().devices.push_back(std::move(device));
      }
    }
    if (sides == 2) Move(model);
    return model;
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
  std::string Word(unsigned most) { return std::string(Below(most), Below(2) == 0 ? 'W' : 'i'); }

  PictureDevice MakeDevice(std::size_t i, std::uint16_t port) {
    PictureDevice device;
    if (Below(20) != 0) device.number = static_cast<std::uint16_t>(i);
    device.address = {port, 0, static_cast<std::uint16_t>(i), 0};
    device.place = "65535:65535:65535:65535";
    device.shape = Below(8) == 0 ? DeviceShape::kChanger : DeviceShape::kDrive;
    device.name = Word(60);
    device.serial_number = Word(40);
    for (unsigned k = Below(4); k > 0; --k) device.nodes.push_back("/dev/" + Word(20));
    for (const char* state : {"masked", "disabled", "not attached"}) {
      if (Below(5) == 0) device.states.emplace_back(state);
    }
    for (std::uint16_t n = 0; n < 16; ++n) {
      if (Below(10) == 0) device.groups.push_back(n);
      if (n < 8 && Below(20) == 0) device.raids.push_back(n);
    }
    if (Below(4) == 0) device.slots = SlotCounts{Below(20), Below(10)};
    for (const char* name : {"split", "crossed", "same-identity", "replaced", "twins", "merged"}) {
      if (Below(6) == 0) device.dangers.insert(device.dangers.end(), 2, {name, true, "text"});
    }
    device.facts.push_back({"Serial number", device.serial_number});
    return device;
  }

  void Move(PictureModel& model) {
    for (std::size_t i = 0; i < model.sides[0].devices.size(); ++i) {
      const std::size_t to = (i * 7 + 3) % model.sides[0].devices.size();
      if (Below(3) == 0 || model.sides[1].devices[to].other) continue;
      for (auto* device : {&model.sides[0].devices[i], &model.sides[1].devices[to]}) {
        device->fate = Fate::kMoves;
      }
      model.sides[0].devices[i].other = to;
      model.sides[1].devices[to].other = i;
    }
  }

  std::mt19937 random_;
};

bool Inside(const Rect& a, const Rect& b) {
  return a.x >= b.x && a.y >= b.y && a.Right() <= b.Right() && a.Bottom() <= b.Bottom();
}

bool Meet(const Rect& a, const Rect& b) {
  return a.x < b.Right() && b.x < a.Right() && a.y < b.Bottom() && b.y < a.Bottom();
}

Rect BoxOf(const PlacedText& text) {
  const int width = TextWidth(text.text, text.style);
  const int size = TextSize(text.style);
  return {text.centred ? text.x - width / 2 : text.x, text.baseline - size * 8 / 10, width, size};
}

void ExpectApart(const std::vector<Rect>& rects, const char* what) {
  for (std::size_t i = 0; i < rects.size(); ++i) {
    for (std::size_t k = i + 1; k < rects.size(); ++k) {
      ASSERT_FALSE(Meet(rects[i], rects[k])) << what << " " << i << " and " << k;
    }
  }
}

void CheckRow(const PlacedDevice& row) {
  std::vector<Rect> parts = {row.icon};
  for (const PlacedText& text : row.texts) parts.push_back(BoxOf(text));
  for (const PlacedMark& mark : row.marks) {
    parts.push_back(mark.rect);
    ASSERT_LE(TextWidth(mark.text, TextStyle::kMark), mark.rect.width);
  }
  if (row.bar) parts.push_back(*row.bar);
  for (const Rect& part : parts) ASSERT_TRUE(Inside(part, row.rect)) << part.x << ' ' << part.y;
  ExpectApart(parts, "parts of a row");
}

void CheckLayout(const PictureModel& model) {
  const Picture picture = DrawPicture(model);
  const Rect page = {0, 0, picture.width, picture.height};
  std::vector<Rect> all;
  std::size_t drawn = 0;
  for (const PlacedPanel& panel : picture.panels) {
    ASSERT_TRUE(Inside(panel.rect, page));
    all.push_back(panel.rect);
    std::vector<Rect> cards = {BoxOf(panel.heading)};
    for (const PlacedCard& card : panel.cards) {
      cards.push_back(card.rect);
      std::vector<Rect> rows;
      for (const PlacedDevice& row : card.devices) {
        ASSERT_TRUE(Inside(row.rect, card.rect));
        rows.push_back(row.rect);
        CheckRow(row);
        ++drawn;
      }
      ExpectApart(rows, "rows");
    }
    for (const Rect& card : cards) ASSERT_TRUE(Inside(card, panel.rect));
    ExpectApart(cards, "cards");
  }
  std::size_t devices = 0;
  for (const PictureSide& side : model.sides) devices += side.devices.size();
  EXPECT_EQ(drawn, devices);
  for (const PlacedText& text : picture.headings) all.push_back(BoxOf(text));
  for (const PlacedMark& notice : picture.notices) all.push_back(notice.rect);
  for (const LegendEntry& entry : picture.legend) {
    all.push_back(entry.mark.rect);
    all.push_back(BoxOf(entry.text));
  }
  for (const Rect& rect : all) ASSERT_TRUE(Inside(rect, page));
  ExpectApart(all, "panels and texts");
  constexpr std::size_t kMiB = 1024 * 1024;
  EXPECT_LT(PictureHtml(model, picture).size(), kMiB);
  EXPECT_EQ(PictureSvg(model, picture), PictureSvg(model, DrawPicture(model)));
}

TEST(Picture, NothingOverlapsAndNothingStandsOutside) {
  const struct {
    std::size_t units;
    std::size_t sides;
    std::size_t ports;
  } machines[] = {{0, 1, 1}, {0, 2, 1}, {1, 1, 1}, {1, 2, 1}, {40, 2, 3}, {256, 1, 1}, {256, 2, 4}};
  for (const auto& machine : machines) {
    for (unsigned seed = 0; seed < 5; ++seed) {
      SCOPED_TRACE(std::to_string(machine.units) + " units, seed " + std::to_string(seed));
      CheckLayout(Machine(seed).Make(machine.units, machine.sides, machine.ports));
      if (HasFatalFailure()) return;
    }
  }
}

// What is added at the end moves nothing that stands before it.
TEST(Picture, ADeviceMoreLeavesTheOthersInPlace) {
  PictureModel model = Machine(1).Make(100, 1, 4);
  const Picture before = DrawPicture(model);
  PictureDevice more;
  more.address = {3, 0, 200, 0};
  model.sides[0].devices.push_back(more);
  const Picture after = DrawPicture(model);
  ASSERT_LE(before.panels.size(), after.panels.size());
  for (std::size_t i = 0; i < before.panels.size(); ++i) {
    EXPECT_EQ(before.panels[i].rect.x, after.panels[i].rect.x);
    EXPECT_EQ(before.panels[i].rect.y, after.panels[i].rect.y);
  }
}

}  // namespace
}  // namespace devprep::tool
