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

// The text of a row in its place of the table; the first shows the tree.
std::string CellText(const Row& row, std::size_t column, bool first) {
  std::string text = first ? row.branch : "";
  return row.values.empty() ? text : text + PrintableText(row.values[column].AsText());
}

std::size_t LongestWord(const std::string& text) {
  std::size_t longest = 0;
  for (const std::string& word : SplitAt(text, ' ')) {
    longest = std::max(longest, DisplayWidth(word));
  }
  return longest;
}

// Fits columns one way or another.
class Fitting {
 public:
  Fitting(const std::vector<ColumnInfo>& columns, const RowSource& rows,
          const ListingOptions& options)
      : columns_(columns), rows_(rows), headings_(!options.no_headings) {
    const Chosen chosen = ReadChoice(columns, options.columns);
    if (!chosen.added) shown_ = chosen.columns;
    named_ = chosen.columns;
    if (shown_.empty()) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].importance != Importance::kOnRequest) shown_.push_back(i);
      }
      for (const std::size_t i : named_) {
        if (!Holds(shown_, i)) shown_.push_back(i);
      }
    }
    Measure();
  }

  Layout Fit(std::size_t width) {
    if (width != 0) {
      while (Total(widths_) > width && Drop(Importance::kExtra)) {
      }
      while (Total(least_) > width && Drop(Importance::kUsual)) {
      }
      while (Total(widths_) > width && ShrinkWidest()) {
      }
    }
    return {shown_, widths_};
  }

 private:
  void Measure() {
    widths_.clear();
    least_.clear();
    for (const std::size_t column : shown_) {
      widths_.push_back(headings_ ? DisplayWidth(Heading(columns_[column])) : 0);
      least_.push_back(headings_ ? LongestWord(Heading(columns_[column])) : 0);
    }
    bool tree = false;
    std::vector<std::size_t> unbroken(shown_.size());
    rows_([&](const Row& row) {
      tree = tree || !row.branch.empty();
      // What is no item may run on into the other columns.
      if (row.values.empty()) return;
      for (std::size_t i = 0; i < shown_.size(); ++i) {
        const std::string text = CellText(row, shown_[i], i == 0);
        unbroken[i] = std::max(unbroken[i], DisplayWidth(text));
        if (columns_[shown_[i]].wraps) least_[i] = std::max(least_[i], LongestWord(text));
      }
    });
    for (std::size_t i = 0; i < shown_.size(); ++i) {
      widths_[i] = std::max(widths_[i], unbroken[i]);
      if (columns_[shown_[i]].wraps && (i != 0 || !tree)) continue;
      least_[i] = std::max(least_[i], unbroken[i]);  // headings wrap in any case
    }
  }

  static std::size_t Total(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), std::size_t{0}) +
           kGap * (widths.empty() ? 0 : widths.size() - 1);
  }

  bool Drop(Importance importance) {
    for (std::size_t i = shown_.size(); i-- > 0;) {
      if (columns_[shown_[i]].importance != importance || Holds(named_, shown_[i])) continue;
      shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(i));
      Measure();
      return true;
    }
    return false;
  }

  bool ShrinkWidest() {
    std::optional<std::size_t> widest;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
      if (widths_[i] > least_[i] && (!widest || widths_[i] > widths_[*widest])) widest = i;
    }
    if (!widest) return false;
    --widths_[*widest];
    return true;
  }

  const std::vector<ColumnInfo>& columns_;
  const RowSource& rows_;
  bool headings_;
  std::vector<std::size_t> shown_;
  std::vector<std::size_t> named_;   // by the user
  std::vector<std::size_t> widths_;  // of what is shown
  std::vector<std::size_t> least_;   // when all that wraps is wrapped
};

// Which texts of a row may be wrapped.
enum class Wrapping { kAll, kAsTheColumn };

// Prints one row of texts, each wrapped to its column's width. below: what stands before the first
// column in the further lines.
void PrintCells(const std::vector<std::string>& texts, const Layout& layout,
                const std::vector<ColumnInfo>& columns, Wrapping wrapping, Colour colour,
                const std::string& below) {
  std::vector<std::vector<std::string>> cells;
  std::size_t height = 1;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const bool wraps = wrapping == Wrapping::kAll ||
                       (columns[layout.columns[i]].wraps && (i != 0 || below.empty()));
    cells.push_back(wraps ? WrapText(texts[i], layout.widths[i])
                          : std::vector<std::string>{texts[i]});
    height = std::max(height, cells.back().size());
  }
  for (std::size_t n = 0; n < height; ++n) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      std::string text = n < cells[i].size() ? cells[i][n] : (i == 0 ? below : "");
      const std::size_t used = DisplayWidth(text);
      const std::size_t room = layout.widths[i] > used ? layout.widths[i] - used : 0;
      if (columns[layout.columns[i]].align == Align::kRight)
        text.insert(0, room, ' ');
      else
        text.append(room, ' ');
      if (i != 0) line.append(kGap, ' ');
      line += text;
    }
    line.resize(line.find_last_not_of(' ') + 1);
    std::cout << Paint(line, colour) << '\n';
  }
}

RowSource Visiting(const std::vector<Row>& rows) {
  return [&rows](const RowVisitor& visit) {
    for (const Row& row : rows) visit(row);
  };
}

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

Layout FitTable(const std::vector<ColumnInfo>& columns, const std::vector<Row>& rows,
                const ListingOptions& options, std::size_t width) {
  return Fitting(columns, Visiting(rows), options).Fit(width);
}

void PrintTable(const std::vector<ColumnInfo>& columns, const std::vector<Row>& rows,
                const ListingOptions& options) {
  PrintTable(columns, Visiting(rows), options);
}

void PrintTable(const std::vector<ColumnInfo>& columns, const RowSource& rows,
                const ListingOptions& options) {
  const Layout layout = Fitting(columns, rows, options).Fit(options.wide ? 0 : TerminalWidth());
  if (!options.no_headings) {
    std::vector<std::string> headings;
    for (const std::size_t i : layout.columns) headings.push_back(Heading(columns[i]));
    PrintCells(headings, layout, columns, Wrapping::kAll, Colour::kHead, "");
  }
  std::vector<std::string> texts;
  rows([&](const Row& row) {
    texts.clear();
    for (const std::size_t i : layout.columns) texts.push_back(CellText(row, i, texts.empty()));
    PrintCells(texts, layout, columns, Wrapping::kAsTheColumn, row.colour, row.branch_below);
  });
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
