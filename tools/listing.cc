#include "listing.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <numeric>
#include <optional>

#include "platform/messages.h"
#include "suggestion.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kGap = 2;  // blanks between two columns

std::string Heading(const ColumnInfo& column) {
  std::string heading = column.label;
  std::transform(heading.begin(), heading.end(), heading.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return heading;
}

std::vector<std::string> SplitAt(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = text.find(separator, start);
    pieces.push_back(text.substr(start, end == std::string::npos ? end : end - start));
  }
  return pieces;
}

// The columns that -o names, or the column that is not there.
struct Chosen {
  std::vector<std::size_t> columns;
  bool added = false;  // to the usual ones
  std::optional<std::string> unknown;
};

Chosen ReadChoice(const std::vector<ColumnInfo>& columns, const std::string& choice) {
  Chosen chosen;
  if (choice.empty()) return chosen;
  chosen.added = choice.front() == '+';
  for (const std::string& name : SplitAt(choice.substr(chosen.added ? 1 : 0), ',')) {
    const auto at = std::find_if(columns.begin(), columns.end(),
                                 [&name](const ColumnInfo& column) { return column.name == name; });
    if (at == columns.end()) {
      chosen.unknown = name;
      return chosen;
    }
    chosen.columns.push_back(static_cast<std::size_t>(at - columns.begin()));
  }
  return chosen;
}

bool Holds(const std::vector<std::size_t>& columns, std::size_t column) {
  return std::find(columns.begin(), columns.end(), column) != columns.end();
}

// Of the full view and of JSON.
std::vector<std::size_t> ChosenOrAll(const std::vector<ColumnInfo>& columns,
                                     const ListingOptions& options) {
  const Chosen chosen = ReadChoice(columns, options.columns);
  if (!chosen.columns.empty() && !chosen.added) return chosen.columns;
  std::vector<std::size_t> all(columns.size());
  std::iota(all.begin(), all.end(), 0);
  return all;
}

std::size_t LongestWord(std::string_view text) {
  std::size_t longest = 0;
  while (true) {
    const std::size_t end = text.find(' ');
    longest = std::max(longest, DisplayWidth(text.substr(0, end)));
    if (end == std::string_view::npos) return longest;
    text.remove_prefix(end + 1);
  }
}

// Fits and prints a table. What a row says is made once and kept as texts: making it takes longer
// than printing it, and with everything else that a value holds a large table would fill the
// memory.
class Table {
 public:
  Table(const std::vector<ColumnInfo>& columns, const ListingOptions& options)
      : headings_(!options.no_headings) {
    const Chosen chosen = ReadChoice(columns, options.columns);
    std::vector<std::size_t> places;
    if (!chosen.added) places = chosen.columns;
    if (places.empty()) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].importance != Importance::kOnRequest) places.push_back(i);
      }
      for (const std::size_t i : chosen.columns) {
        if (!Holds(places, i)) places.push_back(i);
      }
    }
    for (const std::size_t i : places) {
      const std::string heading = headings_ ? Heading(columns[i]) : "";
      shown_.push_back({&columns[i], cells_.size(), Holds(chosen.columns, i), DisplayWidth(heading),
                        0, LongestWord(heading)});
      cells_.push_back(i);
    }
  }

  void Add(const Row& row) {
    Line line;
    line.colour = row.colour;
    line.texts.append(row.branch_below).append(1, kEnd);
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      std::string text = i == 0 ? row.branch : "";
      if (!row.values.empty()) text += PrintableText(row.values[cells_[i]].AsText());
      // What is no item may run on into the other columns.
      if (!row.values.empty()) Measure(text, shown_[i]);
      line.texts.append(text).append(1, kEnd);
    }
    tree_ = tree_ || !row.branch.empty();
    line.texts.shrink_to_fit();
    lines_.push_back(std::move(line));
  }

  // First the columns that are extra go, the last of them first; then those that wrap get narrower,
  // the widest first; then the usual ones go. Columns that the user named all stay.
  void FitInto(std::size_t width) {
    for (Shown& column : shown_) {
      if (column.info->wraps && !(tree_ && column.cell == 0)) continue;
      column.least = std::max(column.least, column.texts);
    }
    while (Total(&Shown::width) > width && Drop(Importance::kExtra)) {
    }
    while (Total(&Shown::least) > width && Drop(Importance::kUsual)) {
    }
    while (Total(&Shown::width) > width && ShrinkWidest()) {
    }
  }

  void Print() const {
    if (headings_) {
      std::vector<std::string> headings;
      for (const Shown& column : shown_) headings.push_back(Heading(*column.info));
      PrintRow({headings.begin(), headings.end()}, Wrapping::kAll, Colour::kHead, "");
    }
    std::vector<std::string_view> texts;
    std::vector<std::string_view> chosen;
    for (const Line& line : lines_) {
      texts.clear();
      for (std::size_t at = 0; at < line.texts.size(); at += texts.back().size() + 1) {
        texts.push_back(std::string_view(line.texts).substr(at, line.texts.find(kEnd, at) - at));
      }
      chosen.clear();
      for (const Shown& column : shown_) chosen.push_back(texts[column.cell + 1]);
      PrintRow(chosen, Wrapping::kAsTheColumn, line.colour, texts.front());
    }
  }

 private:
  // Which texts of a row may be wrapped.
  enum class Wrapping { kAll, kAsTheColumn };

  static constexpr char kEnd = '\0';  // in no text that can be printed

  struct Line {
    std::string texts;  // what stands below the first cell, and each cell; kEnd behind each
    Colour colour = Colour::kPlain;
  };

  struct Shown {
    const ColumnInfo* info;
    std::size_t cell;   // of each line
    bool named;         // by the user
    std::size_t width;  // of what is shown
    std::size_t texts;  // of its texts, as they are
    std::size_t least;  // when all that wraps is wrapped, the heading in any case
  };

  static void Measure(const std::string& text, Shown& column) {
    column.texts = std::max(column.texts, DisplayWidth(text));
    column.width = std::max(column.width, column.texts);
    if (column.info->wraps) column.least = std::max(column.least, LongestWord(text));
  }

  std::size_t Total(std::size_t Shown::*part) const {
    std::size_t total = shown_.empty() ? 0 : kGap * (shown_.size() - 1);
    for (const Shown& column : shown_) total += column.*part;
    return total;
  }

  bool Drop(Importance importance) {
    const auto last =
        std::find_if(shown_.rbegin(), shown_.rend(), [importance](const Shown& column) {
          return column.info->importance == importance && !column.named;
        });
    if (last == shown_.rend()) return false;
    shown_.erase(std::next(last).base());
    return true;
  }

  bool ShrinkWidest() {
    Shown* widest = nullptr;
    for (Shown& column : shown_) {
      if (column.width > column.least && (widest == nullptr || column.width > widest->width)) {
        widest = &column;
      }
    }
    if (widest == nullptr) return false;
    --widest->width;
    return true;
  }

  // Wraps each text to its column's width. below: what stands before the first column in the
  // further lines.
  void PrintRow(const std::vector<std::string_view>& texts, Wrapping wrapping, Colour colour,
                std::string_view below) const {
    std::vector<std::vector<std::string>> wrapped(texts.size());  // empty: the text as it is
    std::size_t height = 1;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const bool wraps =
          wrapping == Wrapping::kAll || (shown_[i].info->wraps && (i != 0 || below.empty()));
      if (!wraps || DisplayWidth(texts[i]) <= shown_[i].width) continue;
      wrapped[i] = WrapText(std::string(texts[i]), shown_[i].width);
      height = std::max(height, wrapped[i].size());
    }
    for (std::size_t n = 0; n < height; ++n) {
      std::string line;
      for (std::size_t i = 0; i < texts.size(); ++i) {
        std::string_view text = i == 0 ? below : "";
        if (n < wrapped[i].size())
          text = wrapped[i][n];
        else if (n == 0)
          text = texts[i];
        const std::size_t used = DisplayWidth(text);
        const std::size_t room = shown_[i].width > used ? shown_[i].width - used : 0;
        const bool right = shown_[i].info->align == Align::kRight;
        line.append(i == 0 ? 0 : kGap, ' ').append(right ? room : 0, ' ').append(text);
        line.append(right ? 0 : room, ' ');
      }
      line.resize(line.find_last_not_of(' ') + 1);
      std::cout << Paint(line, colour) << '\n';
    }
  }

  bool headings_;
  bool tree_ = false;               // the first column shows one
  std::vector<std::size_t> cells_;  // the columns of each line
  std::vector<Shown> shown_;
  std::vector<Line> lines_;
};

std::vector<std::string> Names(const std::vector<ColumnInfo>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const ColumnInfo& column : columns) names.push_back(column.name);
  return names;
}

std::string ColumnsHelp(const ChoosableTable& table) {
  std::size_t width = 0;
  for (const ColumnInfo& column : table.columns) width = std::max(width, column.name.size());
  std::string text = "Columns for -o" + (table.with.empty() ? "" : " with " + table.with) + ":\n";
  for (const ColumnInfo& column : table.columns) {
    text.append("  ").append(column.name);
    text.append(width - column.name.size() + kGap, ' ').append(column.about).append("\n");
  }
  return text;
}

// The columns of the table that the command line asks for.
const std::vector<ColumnInfo>& AskedFor(const CLI::App& command,
                                        const std::vector<ChoosableTable>& tables) {
  for (const ChoosableTable& table : tables) {
    if (!table.with.empty() && command.count(table.with) != 0) return table.columns;
  }
  return tables.front().columns;
}

}  // namespace

Value Value::List(const std::vector<Value>& values) {
  Value list(Json::array(), "");
  for (const Value& value : values) {
    if (!list.text_.empty()) list.text_ += ", ";
    list.text_ += value.AsText();
    list.json_.push_back(value.AsJson());
  }
  if (values.empty()) list.text_ = "-";
  return list;
}

ColumnInfo TextColumn(const char* name, const char* label, const char* about,
                      Importance importance) {
  return {name, label, about, importance, Align::kLeft, false};
}

ColumnInfo NumberColumn(const char* name, const char* label, const char* about,
                        Importance importance) {
  return {name, label, about, importance, Align::kRight, false};
}

ColumnInfo WrappingColumn(const char* name, const char* label, const char* about,
                          Importance importance) {
  return {name, label, about, importance, Align::kLeft, true};
}

void AddTableOptions(CLI::App& command, ListingOptions& options,
                     const std::vector<ChoosableTable>& tables) {
  command
      .add_option("-o,--columns", options.columns,
                  "Show these columns; with + in addition to the usual ones")
      ->option_text("[+]COLUMN,...")
      ->check([&command, tables](const std::string& choice) {
        const std::vector<ColumnInfo>& columns = AskedFor(command, tables);
        const auto unknown = ReadChoice(columns, choice).unknown;
        if (!unknown) return std::string();
        return "there is no column '" + *unknown + "'" + Suggestion(*unknown, Names(columns));
      });
  command.add_flag("--wide", options.wide, "Full width: wrap and leave out nothing on a terminal");
  command.add_flag("--no-headings", options.no_headings, "Print no headings");
  std::string help;
  for (const ChoosableTable& table : tables)
    help += (help.empty() ? "" : "\n") + ColumnsHelp(table);
  help.pop_back();
  command.footer(help);
}

void AddListingOptions(CLI::App& command, ListingOptions& options,
                       const std::vector<ColumnInfo>& columns) {
  command.add_flag("--json", options.json, "Print JSON");
  AddTableOptions(command, options, {{columns, ""}});
}

ListingOptions WithUsualColumns(ListingOptions options) {
  options.columns.clear();
  return options;
}

void PrintTable(const std::vector<ColumnInfo>& columns, const RowSource& rows,
                const ListingOptions& options) {
  Table table(columns, options);
  rows([&table](const Row& row) { table.Add(row); });
  const std::size_t width = options.wide ? 0 : TerminalWidth();
  if (width != 0) table.FitInto(width);
  table.Print();
}

void PrintInFull(const std::vector<ColumnInfo>& columns, const std::vector<Value>& values,
                 const ListingOptions& options) {
  const std::vector<std::size_t> chosen = ChosenOrAll(columns, options);
  std::size_t width = 0;
  for (const std::size_t i : chosen) width = std::max(width, DisplayWidth(columns[i].label));
  for (const std::size_t i : chosen) {
    if (!options.no_headings) {
      std::cout << columns[i].label
                << std::string(width - DisplayWidth(columns[i].label) + kGap, ' ');
    }
    std::cout << PrintableText(values[i].AsText()) << '\n';
  }
}

Json RowJson(const std::vector<ColumnInfo>& columns, const std::vector<Value>& values,
             const ListingOptions& options) {
  Json members = Json::object();
  for (const std::size_t i : ChosenOrAll(columns, options)) {
    members[columns[i].name] = values[i].AsJson();
  }
  return members;
}

Branch BranchOf(const std::string& indent, bool last) {
  const bool unicode = WantsUnicode();
  const char* before = unicode ? (last ? "└─ " : "├─ ") : (last ? "`- " : "|- ");
  const char* below = last ? "   " : (unicode ? "│  " : "|  ");
  return {indent + before, indent + below};
}

}  // namespace devprep::tool
