// devprep library: which drive is where in a tape library, and what is in its slots.
#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "library_map.h"
#include "library_survey.h"
#include "listing.h"
#include "output.h"
#include "refusal.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Choices {
  std::optional<std::string> changer;  // device number or address
  bool slots = false;
  ListingOptions listing;
};

// One line of each listing.
struct ChangerLine {
  const LibraryMap* map = nullptr;
  const LibraryChanger* changer = nullptr;

  const AttachedUnit& Unit() const { return map->units[changer->unit]; }
};
struct DriveLine {
  ChangerLine in;
  const LibraryDrive* drive = nullptr;

  const AttachedUnit* Unit() const { return drive->unit ? &in.map->units[*drive->unit] : nullptr; }
};
struct SlotLine {
  ChangerLine in;
  const Element* element = nullptr;
};
struct UnnamedLine {
  const LibraryMap* map = nullptr;
  const UnnamedDrive* drive = nullptr;

  const AttachedUnit& Unit() const { return map->units[drive->unit]; }
};

template <typename Number>
Value OrAbsent(const std::optional<Number>& number) {
  return number ? Value::Number(*number) : Value::Absent();
}

// The device number, or the address where there is none.
std::string NameOf(const ChangerLine& line) {
  return line.changer->device ? std::to_string(*line.changer->device)
                              : AddressText(line.Unit().record.Address);
}

Value Agreement(Witnesses witnesses) {
  if (witnesses == Witnesses::kAgree) return Value::YesNo(true);
  if (witnesses == Witnesses::kContradict) return Value::YesNo(false);
  return Value::Absent();
}

Value Counts(const LibraryChanger& changer, const std::vector<Element>& elements) {
  if (!changer.reports_elements) return Value::Absent();
  const ElementCounts counts = CountElements(elements);
  std::string text = std::to_string(counts.total);
  if (counts.total != 0) {
    text +=
        ": " + std::to_string(counts.full) + " full, " + std::to_string(counts.empty) + " empty";
  }
  if (counts.not_accessible != 0) {
    text += ", " + std::to_string(counts.not_accessible) + " not accessible";
  }
  return Value::Record({{"total", counts.total},
                        {"full", counts.full},
                        {"empty", counts.empty},
                        {"not_accessible", counts.not_accessible}},
                       text);
}

Value Reserved(const LibraryChanger& changer) {
  std::vector<Value> drives;
  for (const std::uint16_t drive : changer.reserved) drives.push_back(Value::Number(drive));
  return Value::List(drives);
}

const Listing<ChangerLine>& ChangerListing() {
  using enum Importance;
  static const Listing<ChangerLine> listing(
      {
          {NumberColumn("number", "Changer", "device number, when it is configured", kKey),
           [](const ChangerLine& l) { return OrAbsent(l.changer->device); }},
          {TextColumn("address", "Address", "port:bus:target:lun", kKey),
           [](const ChangerLine& l) { return Value::Text(AddressText(l.Unit().record.Address)); }},
          {WrappingColumn("description", "Description", "vendor, product and revision"),
           [](const ChangerLine& l) { return Value::Text(l.Unit().Description()); }},
          {TextColumn("serial_number", "Serial number", "unit serial number", kExtra),
           [](const ChangerLine& l) { return Value::Text(l.Unit().SerialNumber()); }},
          {TextColumn("answers", "Answers", "whether it reports its elements", kOnRequest),
           [](const ChangerLine& l) { return Value::YesNo(l.changer->reports_elements); }},
          {TextColumn("identifies_drives", "Identifies drives",
                      "whether it gives its drives' serial numbers or World Wide IDs", kOnRequest),
           [](const ChangerLine& l) { return Value::YesNo(l.changer->identifies_drives); }},
          {WrappingColumn("slots", "Slots", "storage elements"),
           [](const ChangerLine& l) { return Counts(*l.changer, l.changer->slots); }},
          {WrappingColumn("import_export", "Import and export", "import and export elements"),
           [](const ChangerLine& l) { return Counts(*l.changer, l.changer->import_export); }},
          {WrappingColumn("reserved_drives", "Reserved drives", "drives reserved to it, in order"),
           [](const ChangerLine& l) { return Reserved(*l.changer); }},
          {TextColumn("reservation", "Reservation",
                      "whether those are the drives of the library, in its order"),
           [](const ChangerLine& l) {
             return l.changer->device
                        ? Value::Name(ReservationVerdictName(l.changer->check.Verdict))
                        : Value::Absent();
           }},
          {NodesColumn(kExtra),
           [](const ChangerLine& l) { return NodesValue(l.Unit().answers.nodes); }},
          {LinksColumn(), [](const ChangerLine& l) { return LinksValue(l.Unit().answers.nodes); }},
      },
      [](const ChangerLine& l) {
        return l.changer->ReservationAgrees() ? Colour::kPlain : Colour::kBad;
      });
  return listing;
}

// What a drive element says of its attached drive, or nothing when it has none.
std::function<Value(const DriveLine&)> OfUnit(std::function<Value(const AttachedUnit&)> value) {
  return [value = std::move(value)](const DriveLine& line) {
    return line.Unit() == nullptr ? Value::Absent() : value(*line.Unit());
  };
}

std::vector<Column<DriveLine>> DriveColumns() {
  using enum Importance;
  return {
      {TextColumn("changer", "Changer", "device number or address of the changer", kKey),
       [](const DriveLine& l) { return Value::Text(NameOf(l.in)); }},
      {NumberColumn("drive", "Drive", "number in the changer, from 0", kKey),
       [](const DriveLine& l) { return Value::Number(l.drive->number); }},
      {NumberColumn("element", "Element", "element address"),
       [](const DriveLine& l) { return Value::Number(l.drive->element.address); }},
      {TextColumn("volume_tag", "Volume tag", "of the tape in it"),
       [](const DriveLine& l) { return Value::Text(l.drive->element.volume_tag); }},
      {TextColumn("full", "Full", "whether there is a tape in it", kOnRequest),
       [](const DriveLine& l) { return Value::YesNo(l.drive->element.full); }},
      {TextColumn("library_serial_number", "Serial number in library",
                  "serial number or World Wide ID that the changer gives", kExtra),
       [](const DriveLine& l) {
         const Element& element = l.drive->element;
         return Value::Text(element.serial_number.empty() ? Hexadecimal(element.world_wide_id)
                                                          : element.serial_number);
       }},
      {NumberColumn("number", "Device", "device number of the drive, when it is configured", kKey),
       [](const DriveLine& l) { return OrAbsent(l.drive->device); }},
      {TextColumn("address", "Address", "where the drive is attached: port:bus:target:lun", kKey),
       OfUnit([](const AttachedUnit& u) { return Value::Text(AddressText(u.record.Address)); })},
      {WrappingColumn("description", "Description", "vendor, product and revision", kOnRequest),
       OfUnit([](const AttachedUnit& u) { return Value::Text(u.Description()); })},
      {TextColumn("serial_number", "Serial number", "that the drive gives", kOnRequest),
       OfUnit([](const AttachedUnit& u) { return Value::Text(u.SerialNumber()); })},
      {TextColumn("recognised_by", "Recognised by", "what tells which attached drive it is"),
       [](const DriveLine& l) { return Value::Name(RecognisedByName(l.drive->by)); }},
      {TextColumn("witnesses_agree", "Agree", "whether changer and drive name one element"),
       [](const DriveLine& l) { return Agreement(l.drive->witnesses); }},
      {NumberColumn("place", "Place", "in the changer's reserved drives, from 0"),
       [](const DriveLine& l) { return OrAbsent(l.drive->place); }},
      {NodesColumn(kUsual),
       OfUnit([](const AttachedUnit& u) { return NodesValue(u.answers.nodes); })},
      {LinksColumn(), OfUnit([](const AttachedUnit& u) { return LinksValue(u.answers.nodes); })},
  };
}

const Listing<DriveLine>& DriveListing() {
  static const Listing<DriveLine> listing(DriveColumns(), [](const DriveLine& line) {
    return line.drive->witnesses == Witnesses::kContradict ? Colour::kBad : Colour::kPlain;
  });
  return listing;
}

const Listing<SlotLine>& SlotListing() {
  static const Listing<SlotLine> listing({
      {TextColumn("changer", "Changer", "", Importance::kKey),
       [](const SlotLine& l) { return Value::Text(NameOf(l.in)); }},
      {NumberColumn("element", "Element", "", Importance::kKey),
       [](const SlotLine& l) { return Value::Number(l.element->address); }},
      {TextColumn("type", "Type", ""),
       [](const SlotLine& l) {
         return Value::Name(l.element->type == ElementType::kSlot
                                ? Term{"slot", "slot"}
                                : Term{"import_export", "import and export"});
       }},
      {TextColumn("full", "Full", ""),
       [](const SlotLine& l) { return Value::YesNo(l.element->full); }},
      {TextColumn("volume_tag", "Volume tag", ""),
       [](const SlotLine& l) { return Value::Text(l.element->volume_tag); }},
      {TextColumn("alternate_volume_tag", "Alternate tag", "", Importance::kOnRequest),
       [](const SlotLine& l) { return Value::Text(l.element->alternate_volume_tag); }},
      {TextColumn("accessible", "Accessible", ""),
       [](const SlotLine& l) { return Value::YesNo(l.element->accessible); }},
      {TextColumn("exception", "Exception", "", Importance::kOnRequest),
       [](const SlotLine& l) { return Value::YesNo(l.element->exception); }},
      {NumberColumn("source", "From", ""),
       [](const SlotLine& l) { return OrAbsent(l.element->source); }},
  });
  return listing;
}

const Listing<UnnamedLine>& UnnamedListing() {
  static const Listing<UnnamedLine> listing({
      {NumberColumn("number", "Device", "", Importance::kKey),
       [](const UnnamedLine& l) { return OrAbsent(l.drive->device); }},
      {TextColumn("address", "Address", "", Importance::kKey),
       [](const UnnamedLine& l) { return Value::Text(AddressText(l.Unit().record.Address)); }},
      {WrappingColumn("description", "Description", ""),
       [](const UnnamedLine& l) { return Value::Text(l.Unit().Description()); }},
      {TextColumn("serial_number", "Serial number", ""),
       [](const UnnamedLine& l) { return Value::Text(l.Unit().SerialNumber()); }},
      {NumberColumn("element", "Says it is in", ""),
       [](const UnnamedLine& l) { return OrAbsent(l.drive->element); }},
      {NodesColumn(Importance::kUsual),
       [](const UnnamedLine& l) { return NodesValue(l.Unit().answers.nodes); }},
      {LinksColumn(), [](const UnnamedLine& l) { return LinksValue(l.Unit().answers.nodes); }},
  });
  return listing;
}

// What is chosen of a map. The map stays where it is as long as this lives.
struct Shown {
  std::vector<ChangerLine> changers;
  std::vector<UnnamedLine> unnamed;
};

std::vector<DriveLine> DrivesOf(const ChangerLine& line) {
  std::vector<DriveLine> drives;
  for (const LibraryDrive& drive : line.changer->drives) drives.push_back({line, &drive});
  return drives;
}

std::vector<SlotLine> SlotsOf(const ChangerLine& line) {
  std::vector<SlotLine> slots;
  for (const auto* elements : {&line.changer->slots, &line.changer->import_export}) {
    for (const Element& element : *elements) slots.push_back({line, &element});
  }
  return slots;
}

Result<Shown> Choose(const LibraryMap& map, const std::optional<std::string>& name) {
  Shown shown;
  std::string known;
  for (const LibraryChanger& changer : map.changers) {
    const ChangerLine line = {&map, &changer};
    const std::string address = AddressText(line.Unit().record.Address);
    if (!name || *name == address || *name == NameOf(line)) shown.changers.push_back(line);
    known += (known.empty() ? "" : ", ") + NameOf(line);
  }
  if (name && shown.changers.empty()) {
    return Refusal({"no_changer",
                    known.empty() ? "no changer is attached"
                                  : "'" + *name + "' is no attached changer: there is " + known});
  }
  if (!name) {
    for (const UnnamedDrive& drive : map.unnamed) shown.unnamed.push_back({&map, &drive});
  }
  return shown;
}

// What to say of a changer beside the tables, with a stable code.
struct Remark {
  const char* code;
  std::string text;
};

std::vector<Remark> RemarksOn(const ChangerLine& line) {
  const LibraryChanger& changer = *line.changer;
  const std::string name = "changer " + NameOf(line);
  std::vector<Remark> remarks;
  if (!changer.reports_elements) {
    const UnitAnswers& answers = line.Unit().answers;
    const std::string& problem = answers.problem.empty() ? answers.no_elements : answers.problem;
    remarks.push_back({"no_elements", name + " does not report its elements" +
                                          (problem.empty() ? "" : ": " + problem)});
    return remarks;
  }
  if (changer.cut) remarks.push_back({"elements_cut", name + " announces more than it sends"});
  if (!changer.drives.empty() && !changer.identifies_drives) {
    remarks.push_back({"drives_not_identified",
                       name + " gives no serial numbers of its drives: they are recognised by "
                              "address or by their own word, or not at all"});
  }
  const ReservationCheck& check = changer.check;
  const auto drive = [&changer](std::size_t place) {
    return std::to_string(changer.reserved[place]);
  };
  const std::string next = "; 'devprep reserve " + NameOf(line) + " --from-library' mends that";
  switch (changer.device ? check.Verdict : ReservationVerdict::kUnknown) {
    case ReservationVerdict::kOtherDrives:
    case ReservationVerdict::kOtherOrder: {
      std::string text = "reserved drive " + drive(check.Place) + " of " + name;
      text += check.Expected == kDeviceGone
                  ? " is not in its library"
                  : " stands where drive " + std::to_string(check.Expected) + " belongs";
      if (check.Count > 1) text += " (and " + std::to_string(check.Count - 1) + " more)";
      remarks.push_back({"reservation_differs", text + next});
      break;
    }
    case ReservationVerdict::kIncomplete:
      remarks.push_back(
          {"reservation_incomplete", "not all drives of " + name + " are reserved to it" + next});
      break;
    case ReservationVerdict::kAgrees:
    case ReservationVerdict::kUnknown:
      break;
  }
  return remarks;
}

void PrintJsonOf(const Shown& shown, const Choices& choices) {
  const ListingOptions all;
  Json changers = Json::array();
  for (const ChangerLine& line : shown.changers) {
    Json changer = ChangerListing().AsJson(line, all);
    changer["drives"] = DriveListing().AsJson(DrivesOf(line), choices.listing);
    changer["elements"] = choices.slots ? SlotListing().AsJson(SlotsOf(line), all) : Json(nullptr);
    changers.push_back(std::move(changer));
    for (const Remark& remark : RemarksOn(line)) AddJsonWarning(remark.code, remark.text);
  }
  PrintJson(
      {{"changers", changers}, {"unnamed_drives", UnnamedListing().AsJson(shown.unnamed, all)}});
}

void PrintTables(const Shown& shown, const Choices& choices) {
  if (shown.changers.empty()) std::cout << "No changer is attached.\n";
  const ListingOptions usual = WithUsualColumns(choices.listing);
  std::vector<DriveLine> drives;
  std::vector<SlotLine> slots;
  std::vector<Remark> remarks;
  for (const ChangerLine& line : shown.changers) {
    for (const DriveLine& drive : DrivesOf(line)) drives.push_back(drive);
    for (const SlotLine& slot : SlotsOf(line)) slots.push_back(slot);
    for (const Remark& remark : RemarksOn(line)) remarks.push_back(remark);
  }
  if (!shown.changers.empty()) ChangerListing().Print(shown.changers, usual);
  DriveListing().PrintBelow(drives, choices.listing);
  if (choices.slots) SlotListing().PrintBelow(slots, usual);
  if (!shown.unnamed.empty()) {
    std::cout << "\nDrives that no changer names:\n";
    UnnamedListing().Print(shown.unnamed, usual);
  }
  if (!remarks.empty()) std::cout << '\n';
  for (const Remark& remark : remarks) {
    std::string text = remark.text + '.';
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    std::cout << Paint(text, Colour::kChanged) << '\n';
  }
}

Result<ExitStatus> ShowLibrary(const Options& options, const Choices& choices) {
  LibraryMap map;
  const Result<> surveyed = InSession(options, Needs::kLibraryMap, [&]() -> Result<> {
    if (Result<> can = CheckElementsCanBeAsked(); !can) return can;
    map = SurveyLibraries();
    return {};
  });
  if (!surveyed) return surveyed.Failure();
  const Result<Shown> shown = Choose(map, choices.changer);
  if (!shown) return shown.Failure();
  if (choices.listing.json) {
    PrintJsonOf(*shown, choices);
  } else {
    PrintTables(*shown, choices);
  }
  const bool agree =
      std::all_of(shown->changers.begin(), shown->changers.end(),
                  [](const ChangerLine& line) { return line.changer->ReservationAgrees(); });
  return agree ? ExitStatus::kDone : ExitStatus::kWouldChange;
}

}  // namespace

void AddLibraryCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "library", "Show which drive is where in the tape libraries, by what they themselves say");
  const auto choices = std::make_shared<Choices>();
  command->add_option("changer", choices->changer, "Show this changer's library only")
      ->option_text("CHANGER");
  command->add_flag("--slots", choices->slots,
                    "Show each slot, and each import and export element");
  AddListingOptions(*command, choices->listing, DriveListing().Infos());
  OnCommand(command, invocation,
            [&invocation, choices] { return ShowLibrary(invocation.options, *choices); });
}

}  // namespace devprep::tool
