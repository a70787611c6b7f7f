// The listing model: a column is described once, and the table, the full view of one item, the tree
// and the JSON come from that description.
#ifndef DEVPREP_TOOLS_LISTING_H_
#define DEVPREP_TOOLS_LISTING_H_

#include <CLI/CLI.hpp>
#include <concepts>
#include <cstdint>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "output.h"

namespace devprep::tool {

// A value of an enumeration: the stable identifier of the JSON, and the text for people.
struct Term {
  std::string identifier;
  std::string text;
};

// What a column says of an item, with its form in JSON and its text.
class Value {
 public:
  // Nothing: null in JSON, "-" as text.
  static Value Absent() { return {nullptr, "-"}; }
  // An empty text counts as absent.
  static Value Text(const std::string& text) { return text.empty() ? Absent() : Value(text, text); }
  static Value Number(std::integral auto number) { return {number, std::to_string(number)}; }
  // A number whose text says more, as its unit.
  static Value Quantity(std::int64_t number, std::string text) { return {number, std::move(text)}; }
  static Value YesNo(bool yes) { return {yes, yes ? "yes" : "no"}; }
  // A term without identifier counts as absent.
  static Value Name(const Term& term) {
    return term.identifier.empty() ? Absent() : Value(term.identifier, term.text);
  }
  // Texts are joined with commas; an empty list is "-" as text, and [] in JSON.
  static Value List(const std::vector<Value>& values);
  // Members of its own in JSON.
  static Value Record(Json members, std::string text) {
    return {std::move(members), std::move(text)};
  }

  const Json& AsJson() const { return json_; }
  const std::string& AsText() const { return text_; }

 private:
  Value(Json json, std::string text) : json_(std::move(json)), text_(std::move(text)) {}

  Json json_;
  std::string text_;
};

enum class Align { kLeft, kRight };

// How long a column stays in a table when room gets scarce.
enum class Importance {
  kKey,       // always
  kUsual,     // goes last
  kExtra,     // shown where there is room for it
  kOnRequest  // in the full view, in JSON, and with -o
};

struct ColumnInfo {
  std::string name;   // in JSON and with -o
  std::string label;  // before the value in the full view; in capitals the heading of the table
  std::string about;  // one line of help
  Importance importance = Importance::kUsual;
  Align align = Align::kLeft;
  bool wraps = false;  // its texts may be broken at blanks
};

ColumnInfo TextColumn(const char* name, const char* label, const char* about,
                      Importance importance = Importance::kUsual);
// Aligned to the right.
ColumnInfo NumberColumn(const char* name, const char* label, const char* about,
                        Importance importance = Importance::kUsual);
// With long texts, or lists, that may be broken at blanks.
ColumnInfo WrappingColumn(const char* name, const char* label, const char* about,
                          Importance importance = Importance::kUsual);

template <typename Item>
struct Column {
  ColumnInfo info;
  std::function<Value(const Item&)> value;
};

// The choices that every listing takes from the command line.
struct ListingOptions {
  bool json = false;
  bool wide = false;
  bool no_headings = false;
  std::string columns;  // "a,b": these; "+a,b": these behind the usual ones; empty: the usual ones
};

// A table of a command whose columns -o chooses.
struct ChoosableTable {
  std::vector<ColumnInfo> columns;
  std::string with;  // the option that this table is printed for; empty: the usual one
};

// Adds --wide, --no-headings and -o, and to the help the columns that -o takes. An unknown column
// is wrong use. The usual table comes first.
void AddTableOptions(CLI::App& command, ListingOptions& options,
                     const std::vector<ChoosableTable>& tables);

// The same of one table, with --json.
void AddListingOptions(CLI::App& command, ListingOptions& options,
                       const std::vector<ColumnInfo>& columns);

// For the tables beside the one whose columns are chosen.
ListingOptions WithUsualColumns(ListingOptions options);

// The values of an item, one for each column of the listing, and what stands before the first of
// them in a tree.
struct Row {
  std::vector<Value> values;  // empty: a line of a tree that is no item
  Colour colour = Colour::kPlain;
  std::string branch;
  std::string branch_below;  // the same for the further lines of a row that wraps
};

// Visits all rows of a table, in order: those of a large one are never held at once.
using RowVisitor = std::function<void(const Row&)>;
using RowSource = std::function<void(const RowVisitor&)>;

// Prints a table fitted to the terminal. In a pipe nothing is broken or left out. Control
// characters are replaced.
void PrintTable(const std::vector<ColumnInfo>& columns, const RowSource& rows,
                const ListingOptions& options);

// Prints "label  value" lines.
void PrintInFull(const std::vector<ColumnInfo>& columns, const std::vector<Value>& values,
                 const ListingOptions& options);

// An object with a member for each column chosen, which are all when none is named.
Json RowJson(const std::vector<ColumnInfo>& columns, const std::vector<Value>& values,
             const ListingOptions& options);

// An item of a tree with the items below it. Without item a text alone, such as a port.
template <typename Item>
struct TreeNode {
  const Item* item = nullptr;
  std::string text;
  std::vector<TreeNode> children;
};

// The lines that lead to a node, and those that pass beside what stands below it.
struct Branch {
  std::string before;
  std::string below;
};
Branch BranchOf(const std::string& indent, bool last);

template <typename Item>
class Listing {
 public:
  using ColourOf = std::function<Colour(const Item&)>;

  // colour_of: of the line of an item; none: plain.
  explicit Listing(std::vector<Column<Item>> columns, ColourOf colour_of = nullptr)
      : columns_(std::move(columns)), colour_of_(std::move(colour_of)) {
    for (const Column<Item>& column : columns_) infos_.push_back(column.info);
  }

  const std::vector<ColumnInfo>& Infos() const { return infos_; }

  // One for each column.
  std::vector<Value> ValuesOf(const Item& item) const {
    std::vector<Value> values;
    values.reserve(columns_.size());
    for (const Column<Item>& column : columns_) values.push_back(column.value(item));
    return values;
  }

  void Print(const std::vector<Item>& items, const ListingOptions& options) const {
    const RowSource rows = [this, &items](const RowVisitor& visit) {
      for (const Item& item : items) visit(RowOf(item));
    };
    PrintTable(infos_, rows, options);
  }

  // Behind what is printed already, with an empty line between; of no items nothing.
  void PrintBelow(const std::vector<Item>& items, const ListingOptions& options) const {
    if (items.empty()) return;
    std::cout << '\n';
    Print(items, options);
  }

  // The first column shows the tree.
  void PrintTree(const std::vector<TreeNode<Item>>& roots, const ListingOptions& options) const {
    const RowSource rows = [this, &roots](const RowVisitor& visit) {
      for (const TreeNode<Item>& root : roots) VisitTree(root, {}, visit);
    };
    PrintTable(infos_, rows, options);
  }

  void PrintInFull(const Item& item, const ListingOptions& options) const {
    tool::PrintInFull(infos_, ValuesOf(item), options);
  }

  Json AsJson(const Item& item, const ListingOptions& options) const {
    return RowJson(infos_, ValuesOf(item), options);
  }

  Json AsJson(const std::vector<Item>& items, const ListingOptions& options) const {
    Json list = Json::array();
    for (const Item& item : items) list.push_back(AsJson(item, options));
    return list;
  }

  // The items with those below each in the member children.
  Json TreeAsJson(const std::vector<TreeNode<Item>>& nodes, const char* children,
                  const ListingOptions& options) const {
    Json list = Json::array();
    for (const TreeNode<Item>& node : nodes) {
      Json members = AsJson(*node.item, options);
      members[children] = TreeAsJson(node.children, children, options);
      list.push_back(std::move(members));
    }
    return list;
  }

  // Some of the columns, by name, for items that hold one of these.
  template <typename Outer>
  std::vector<Column<Outer>> ColumnsFor(std::initializer_list<std::string_view> names,
                                        std::function<const Item&(const Outer&)> inner) const {
    std::vector<Column<Outer>> columns;
    for (const std::string_view name : names) {
      for (const Column<Item>& column : columns_) {
        if (column.info.name != name) continue;
        columns.push_back({column.info, [value = column.value, inner](const Outer& outer) {
                             return value(inner(outer));
                           }});
      }
    }
    return columns;
  }

 private:
  Row RowOf(const Item& item) const {
    return {ValuesOf(item), colour_of_ ? colour_of_(item) : Colour::kPlain, "", ""};
  }

  void VisitTree(const TreeNode<Item>& node, const Branch& branch, const RowVisitor& visit) const {
    Row row = node.item == nullptr ? Row() : RowOf(*node.item);
    row.branch = branch.before + node.text;
    row.branch_below = branch.below;
    visit(row);
    for (const TreeNode<Item>& child : node.children) {
      VisitTree(child, BranchOf(branch.below, &child == &node.children.back()), visit);
    }
  }

  std::vector<Column<Item>> columns_;
  std::vector<ColumnInfo> infos_;
  ColourOf colour_of_;
};

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_LISTING_H_
