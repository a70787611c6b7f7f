// A picture of a machine: where everything in it stands. Nothing here asks the machine, and the
// same model always gives the same picture.
#ifndef DEVPREP_TOOLS_PICTURE_H_
#define DEVPREP_TOOLS_PICTURE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "records/device_record.h"

namespace devprep::tool {

enum class DeviceShape { kDrive, kChanger, kOther };

// What becomes of a device, where before and after are drawn.
enum class Fate { kNone, kStays, kMoves, kGoes, kComes };

// "Serial number", "DRV-0001".
struct PictureFact {
  std::string label;
  std::string value;
};

struct PictureDanger {
  std::string name;  // "split"
  bool refused = false;
  std::string text;
};

struct SlotCounts {
  std::size_t full = 0;
  std::size_t total = 0;
};

struct PictureDevice {
  std::string id;  // of its place: no other of its side has it, whatever else comes and goes
  std::optional<std::uint16_t> number;  // of one that is configured
  DeviceAddress address = {};           // by which it is ordered
  std::string place;                    // where it is, "0:0:1:0"
  DeviceShape shape = DeviceShape::kOther;
  std::string type;
  std::string name;  // vendor and product
  std::string serial_number;
  std::vector<std::string> nodes;
  std::vector<std::string> states;     // "disabled", "loose"
  std::vector<std::uint16_t> groups;   // numbers
  std::vector<std::uint16_t> raids;    // numbers
  std::optional<std::size_t> changer;  // that it stands in: in the devices of its side
  std::optional<SlotCounts> slots;     // of a changer
  Fate fate = Fate::kNone;
  std::optional<std::size_t> other;  // the same device: in the devices of the other side
  std::vector<PictureDanger> dangers;
  std::vector<PictureFact> facts;  // everything known, in the order in which it is told
};

// A state of the machine. Devices of a changer are drawn in the order in which they stand here.
struct PictureSide {
  std::string title;
  std::vector<PictureDevice> devices;
};

// A group or a RAID.
struct PictureSet {
  std::uint16_t number = 0;
  std::string text;
  bool in_danger = false;
};

struct PictureModel {
  std::string title;
  std::string summary;
  std::vector<PictureSide> sides;              // one, or before and after
  std::map<std::uint16_t, std::string> ports;  // what drives them, by number
  std::vector<PictureSet> groups;
  std::vector<PictureSet> raids;
  std::vector<PictureDanger> dangers;  // of no device
  std::vector<std::string> notes;
};

// Units are those of the screen at its natural size, and y grows downwards.
struct Rect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  int Right() const { return x + width; }
  int Bottom() const { return y + height; }
};

enum class TextStyle { kTitle, kSummary, kHeading, kNumber, kName, kDetail, kMark };

// A text that fits into room, shortened if need be.
struct PlacedText {
  int x = 0;
  int baseline = 0;
  TextStyle style = TextStyle::kDetail;
  bool centred = false;  // at x
  std::string text;
};

enum class MarkKind { kState, kGroup, kRaid, kStays, kMoves, kGoes, kComes, kDanger, kNote };

// A small box with a word in it.
struct PlacedMark {
  Rect rect;
  MarkKind kind = MarkKind::kState;
  std::uint16_t number = 0;  // of a group or RAID
  std::string text;
};

struct PlacedDevice {
  std::size_t device = 0;  // in the devices of its side
  Rect rect;
  Rect number;  // the box of its number
  Rect icon;
  std::vector<PlacedText> texts;
  std::vector<PlacedMark> marks;
  std::optional<Rect> bar;  // of the slots
  int bar_full = 0;         // width of what is full
};

// A changer with its drives, or one device alone.
struct PlacedCard {
  Rect rect;
  bool frame = false;                 // a changer's
  std::vector<PlacedDevice> devices;  // the changer first
};

// A bus of a port.
struct PlacedPanel {
  Rect rect;
  std::size_t side = 0;
  PlacedText heading;
  std::vector<PlacedCard> cards;
};

// From a place before to the one after.
struct PlacedArrow {
  std::size_t from = 0;  // in the devices of the first side
  std::size_t to = 0;    // in those of the second
  int x1 = 0;
  int y1 = 0;
  int x2 = 0;
  int y2 = 0;
  bool beside = false;  // between two columns that stand side by side; else behind what is between
  bool danger = false;
};

// What a mark stands for.
struct LegendEntry {
  PlacedMark mark;
  PlacedText text;
};

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<PlacedText> headings;
  std::vector<PlacedMark> notices;  // of dangers without a place: their names
  std::vector<PlacedPanel> panels;
  std::vector<PlacedArrow> arrows;
  std::vector<LegendEntry> legend;
};

// Places everything. Changers stand at their addresses with their drives in them, other devices at
// their own, from top to bottom and then in further columns.
Picture DrawPicture(const PictureModel& model);

// How wide a text is in common sans-serif letters of that style at most, and its size.
int TextWidth(const std::string& text, TextStyle style);
int TextSize(TextStyle style);

// The picture as SVG, which stands alone. Begins with a line that IsPicture knows.
std::string PictureSvg(const PictureModel& model, const Picture& picture);

// The picture as one HTML file without any request to elsewhere: with search, and with what is
// known of a device where the pointer or the focus is.
std::string PictureHtml(const PictureModel& model, const Picture& picture);

// Whether the head of a file, 128 bytes or more, is one of those two.
bool IsPicture(const std::string& head);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_PICTURE_H_
