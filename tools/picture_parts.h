// What all pictures are made of: texts, marks and the page around them.
#ifndef DEVPREP_TOOLS_PICTURE_PARTS_H_
#define DEVPREP_TOOLS_PICTURE_PARTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "markup.h"
#include "picture.h"
#include "platform/result.h"

namespace devprep::tool {

inline constexpr int kMargin = 24;  // around all
inline constexpr int kPanelGap = 14;
inline constexpr int kNumberWidth = 34;
inline constexpr int kIconSize = 16;
inline constexpr int kMarkHeight = 15;

// The text, or as much of it as fits with an ellipsis behind it.
std::string FitText(const std::string& text, TextStyle style, int room);

// Lines that fit, broken at blanks.
std::vector<std::string> BreakText(const std::string& text, TextStyle style, int room);

// As wide as its text needs. number: of a group or RAID.
PlacedMark MakeMark(MarkKind kind, const std::string& text, int x, int y, std::uint16_t number = 0);

// Opens the element svg, with styles and symbols and the ground of the page.
void OpenSvg(Markup& svg, int width, int height, const std::string& label);

void WriteText(Markup& svg, const PlacedText& text);
Markup& WriteRect(Markup& svg, const Rect& rect, const char* name, int radius);
void WriteIcon(Markup& svg, DeviceShape shape, const Rect& rect);
void WriteMark(Markup& svg, const PlacedMark& mark);

// Opens the element of a legend's entry. set: the word of data-sets that it stands for; empty: it
// explains a mark, and nothing lights up. label: what it is called where it lights something.
void OpenLegend(Markup& svg, const std::string& set, const std::string& label);

// What is wrong with the name of a picture's file, "-" being standard output. Empty: nothing.
std::string CheckPictureName(const std::string& name);

// Whether a picture of that name is a page. No: SVG alone.
bool IsHtmlName(const std::string& name);

// Saves a picture and tells so. force: whatever the file holds now.
Result<> SavePicture(const std::string& file_name, const std::string& picture, bool force);

// The page around a picture. Whatever has the class "device" there can be pointed at and found: its
// title tells what is known of it, a line "LABEL: VALUE" for each; data-number, data-serial and
// data-nodes are searched, and those that share a word of data-sets light up together, as they do
// for the legend's entry of that word.
// searched: what can be typed to find one.
std::string PicturePage(const std::string& title, const std::string& svg, bool landscape,
                        const char* searched);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_PICTURE_PARTS_H_
