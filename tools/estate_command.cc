// devprep estate: a folder of captures and registries of many machines.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "commands.h"
#include "estate.h"
#include "estate_picture.h"
#include "input_file.h"
#include "listing.h"
#include "machine.h"
#include "output.h"
#include "picture_parts.h"
#include "platform/hardware/hardware_map.h"
#include "platform/messages.h"
#include "platform/registry/configuration_keys.h"
#include "platform/registry/registry_text.h"
#include "report.h"
#include "words.h"

namespace devprep::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kRegistryEnding = ".reg";
constexpr std::string_view kCaptureEnding = ".capture";

struct Choices {
  std::string folder;
  std::string picture;  // the file to write; empty: a table
  bool force = false;
  ListingOptions listing;
};

// The files of each machine, by its name.
using Files = std::map<std::string, std::vector<fs::path>>;

struct Folder {
  Files machines;
  std::size_t others = 0;       // files that are of no machine
  std::vector<Error> failures;  // what cannot be read
};

// The name of the machine that a file is of. Empty: it is of none.
std::string MachineOf(const std::string& file_name) {
  for (const std::string_view ending : {kRegistryEnding, kCaptureEnding}) {
    if (file_name.size() > ending.size() && file_name.ends_with(ending)) {
      return file_name.substr(0, file_name.size() - ending.size());
    }
  }
  return {};
}

Error FailureOf(const std::error_code& error, const fs::path& file) {
  return {error.message(), file.string()};
}

// Whether a folder is that one or one above it, as it is where a link leads back.
bool Holds(const fs::path& folder, const fs::path& one) {
  std::error_code error;
  const fs::path outer = fs::canonical(folder, error);
  const fs::path inner = error ? fs::path() : fs::canonical(one, error);
  return !error &&
         std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

// Sorts what a folder holds. machine: that all of it is of; empty: each file's name tells.
Result<> ListFolder(const fs::path& path, const std::string& machine, Folder& folder) {
  std::error_code error;
  fs::directory_iterator at(path, error);
  for (; !error && at != fs::directory_iterator(); at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (name.starts_with('.')) continue;
    std::error_code unknown;
    if (at->is_directory(unknown)) {
      if (!machine.empty()) continue;
      if (Holds(at->path(), path)) {
        folder.failures.push_back({"this link leads back to the folder", at->path().string()});
        continue;
      }
      if (const Result<> listed = ListFolder(at->path(), name, folder); !listed) {
        folder.failures.push_back(listed.Failure());
      }
    } else if (const std::string owner = MachineOf(name); owner.empty()) {
      ++folder.others;
    } else {
      folder.machines[machine.empty() ? owner : machine].push_back(at->path());
    }
  }
  if (error) return FailureOf(error, path);
  return {};
}

// Whether a registry text ends with its last line, in either encoding. One that is being written,
// or whose copying broke off, may hold half a value, which reads like a whole one.
bool EndsWithLine(std::string_view text) {
  return text.ends_with('\n') || text.ends_with(std::string_view("\n\0", 2));
}

// What the files of one machine hold of it.
struct Parts {
  std::shared_ptr<RegistryKey> device_map;
  std::shared_ptr<RegistryKey> engine;
};

Result<> TakePart(const std::shared_ptr<RegistryKey>& machine, std::string_view path,
                  const char* what, const fs::path& file, std::shared_ptr<RegistryKey>& part) {
  auto found = machine == nullptr ? nullptr : FindPath(machine, path);
  if (found == nullptr) return {};
  if (part != nullptr) {
    return Error{std::string("another file of this machine holds its ") + what + ", too",
                 file.string()};
  }
  part = std::move(found);
  return {};
}

Result<EstateMachine> ReadFiles(const std::string& name, std::vector<fs::path> files,
                                TextPool& texts) {
  std::sort(files.begin(), files.end());
  static const std::string map_path = std::string(kHardwareKey) + '\\' + DeviceMapPath();
  Parts parts;
  for (const fs::path& file : files) {
    const Result<std::string> text = ReadInputFile(file);
    if (!text) return text.Failure();
    RegistryKey root("");
    if (const Result<> read = ReadRegistryText(*text, root); !read) {
      return read.Failure().In(file.string());
    }
    if (!EndsWithLine(*text)) {
      return Error{"ends within a line: it is being written, or was cut off", file.string()};
    }
    const auto machine = root.FindChild(kLocalMachineName);
    if (Result<> taken = TakePart(machine, map_path, "hardware", file, parts.device_map); !taken) {
      return taken.Failure();
    }
    if (Result<> taken =
            TakePart(machine, kTapeEngineKeyPath.text, "configuration", file, parts.engine);
        !taken) {
      return taken.Failure();
    }
  }
  if (parts.device_map == nullptr && parts.engine == nullptr) {
    return Error{"this holds neither a capture nor a configuration", files.front().string()};
  }
  return ReadMachine(name, parts.device_map.get(), parts.engine.get(), texts);
}

// A device of a machine, as it is listed.
struct ListedSighting {
  const Estate* estate = nullptr;
  std::size_t index = 0;  // of the device, in those of the estate
  Sighting sighting;
  const std::vector<const Finding*>* findings = nullptr;  // of the device

  const EstateDevice& Device() const { return estate->At(sighting); }
  const EstateMachine& Machine() const { return estate->machines[sighting.machine]; }
};

template <std::size_t N>
Value NumbersIn(const std::bitset<N>& set) {
  std::vector<Value> numbers;
  for (std::size_t n = 0; n < N; ++n) {
    if (set.test(n)) numbers.push_back(Value::Number(n));
  }
  return Value::List(numbers);
}

Value StateOf(const ListedSighting& s) {
  return Value::Name(DeviceStateName(s.Machine().StateOf(s.Device())));
}

// The changers that the machine reserves it to.
Value ReservedTo(const ListedSighting& s) {
  std::vector<Value> changers;
  for (const Reservation& reservation : s.Device().reservations) {
    const EstateDevice& changer = s.Machine().devices[reservation.changer];
    changers.push_back(changer.device == kNoDevice ? Value::Text(AddressText(changer.address))
                                                   : Value::Text(changer.IdentityText()));
  }
  return Value::List(changers);
}

Value PlacesOf(const ListedSighting& s) {
  std::vector<Value> places;
  for (const Reservation& reservation : s.Device().reservations) {
    places.push_back(Value::Number(reservation.place));
  }
  return Value::List(places);
}

Value FindingsOf(const ListedSighting& s) {
  std::vector<std::string> codes;
  for (const Finding* finding : *s.findings) {
    const std::string code = FindingCode(finding->kind);
    const bool concerns =
        std::binary_search(finding->machines.begin(), finding->machines.end(), s.sighting.machine);
    const bool told = std::find(codes.begin(), codes.end(), code) != codes.end();
    if (concerns && !told) codes.push_back(code);
  }
  std::vector<Value> values;
  values.reserve(codes.size());
  for (const std::string& code : codes) values.push_back(Value::Text(code));
  return Value::List(values);
}

std::vector<Column<ListedSighting>> SightingColumns() {
  using enum Importance;
  using S = const ListedSighting&;
  return {
      {TextColumn("type", "Type", "device type", kKey),
       [](S s) { return Value::Name(TypeName(s.Device().type)); }},
      {TextColumn("serial_number", "Serial number", "unit serial number", kKey),
       [](S s) { return Value::Text(s.estate->Best(s.estate->devices[s.index]).serial_number); }},
      {TextColumn("world_wide_id", "World Wide ID", "World Wide ID (NAA)", kOnRequest),
       [](S s) { return Value::Text(WorldWideIdText(s.Device().world_wide_id)); }},
      {TextColumn("machine", "Machine", "machine that has it", kKey),
       [](S s) { return Value::Text(s.Machine().name); }},
      {NumberColumn("number", "Device", "its number there", kKey),
       [](S s) { return s.Device().number ? Value::Number(*s.Device().number) : Value::Absent(); }},
      {TextColumn("address", "Address", "port:bus:target:lun there", kUsual),
       [](S s) { return Value::Text(AddressText(s.Device().address)); }},
      {TextColumn("description", "Description", "vendor, product and revision", kExtra),
       [](S s) { return Value::Text(*s.Device().description); }},
      {WrappingColumn("reserved_to", "Reserved to", "changer that it is reserved to"), ReservedTo},
      {TextColumn("place", "Place", "place in that changer's list, from 0"), PlacesOf},
      {TextColumn("groups", "Groups", "numbers of its groups", kExtra),
       [](S s) { return NumbersIn(s.Device().groups); }},
      {TextColumn("raids", "RAIDs", "numbers of its tape RAIDs", kExtra),
       [](S s) { return NumbersIn(s.Device().raids); }},
      {TextColumn("state", "State", "gone, disabled, not configured or loose"), StateOf},
      {NodesColumn(kExtra), [](S s) { return NodesValue(s.Device().nodes); }},
      {WrappingColumn("differs", "Differs", "what the machines do not agree on"), FindingsOf},
  };
}

const Listing<ListedSighting>& SightingListing() {
  static const Listing<ListedSighting> listing(SightingColumns(), [](const ListedSighting& s) {
    return s.findings->empty() ? Colour::kPlain : Colour::kChanged;
  });
  return listing;
}

// Everything that is listed. Refers to the estate.
struct Listed {
  std::vector<ListedSighting> sightings;
  std::vector<std::vector<const Finding*>> findings;  // by device
};

void ListSightings(const Estate& estate, Listed& listed) {
  listed.findings.resize(estate.devices.size());
  for (const Finding& finding : estate.findings) {
    for (const std::size_t device : finding.devices) listed.findings[device].push_back(&finding);
  }
  for (std::size_t i = 0; i < estate.devices.size(); ++i) {
    for (const Sighting& sighting : estate.devices[i].sightings) {
      listed.sightings.push_back({&estate, i, sighting, &listed.findings[i]});
    }
  }
}

// The machines with devices that nothing tells from others, and how many.
std::vector<std::pair<const EstateMachine*, std::size_t>> Unidentified(const Estate& estate) {
  std::vector<std::pair<const EstateMachine*, std::size_t>> machines;
  for (const EstateMachine& machine : estate.machines) {
    const auto count = static_cast<std::size_t>(
        std::count_if(machine.devices.begin(), machine.devices.end(),
                      [](const EstateDevice& device) { return !device.HasIdentity(); }));
    if (count != 0) machines.emplace_back(&machine, count);
  }
  return machines;
}

void PrintUnidentified(const Estate& estate) {
  constexpr std::size_t kTold = 4;
  const auto machines = Unidentified(estate);
  if (machines.empty()) return;
  std::size_t devices = 0;
  std::string text;
  for (std::size_t i = 0; i < machines.size(); ++i) {
    devices += machines[i].second;
    if (i >= kTold) continue;
    text.append(i == 0 ? "" : ", ").append(std::to_string(machines[i].second)).append(" on ");
    text += PrintableText(machines[i].first->name);
  }
  if (machines.size() > kTold) {
    text += " and others on " + Count(machines.size() - kTold, "more machine");
  }
  std::cout << '\n'
            << Count(devices, "device")
            << " without serial number and World Wide ID cannot be compared: " << text << ".\n";
}

void PrintTables(const Estate& estate, const Listed& listed, const ListingOptions& options) {
  if (!listed.sightings.empty()) SightingListing().Print(listed.sightings, options);
  PrintUnidentified(estate);
  std::cout << '\n' << SummaryOf(estate) << (estate.findings.empty() ? ".\n" : ":\n");
  for (const Finding& finding : estate.findings) {
    std::cout << Paint(std::string(FindingCode(finding.kind)) + ": " + PrintableText(finding.text),
                       Colour::kChanged)
              << '\n';
  }
}

Json FindingJson(const Estate& estate, const Finding& finding) {
  Json devices = Json::array();
  for (const std::size_t i : finding.devices) {
    const EstateDevice& best = estate.Best(estate.devices[i]);
    devices.push_back(
        {{"type", TypeName(best.type).identifier},
         {"serial_number", Value::Text(best.serial_number).AsJson()},
         {"world_wide_id", Value::Text(WorldWideIdText(best.world_wide_id)).AsJson()}});
  }
  Json machines = Json::array();
  for (const std::uint32_t machine : finding.machines) {
    machines.push_back(estate.machines[machine].name);
  }
  return {{"code", FindingCode(finding.kind)},
          {"message", finding.text},
          {"devices", std::move(devices)},
          {"machines", std::move(machines)}};
}

void PrintAsJson(const Estate& estate, const Listed& listed, const std::vector<Error>& failures,
                 const ListingOptions& options) {
  Json machines = Json::array();
  for (const EstateMachine& machine : estate.machines) {
    machines.push_back({{"name", machine.name},
                        {"hardware", machine.has_hardware},
                        {"configuration", machine.has_configuration},
                        {"devices", machine.devices.size()}});
  }
  Json without = Json::array();
  for (const auto& [machine, count] : Unidentified(estate)) {
    without.push_back({{"machine", machine->name}, {"devices", count}});
  }
  Json damaged = Json::array();
  for (const Error& failure : failures) {
    damaged.push_back({{"file", failure.file},
                       {"line", failure.line == 0 ? Json(nullptr) : Json(failure.line)},
                       {"message", failure.message}});
  }
  Json findings = Json::array();
  for (const Finding& finding : estate.findings) findings.push_back(FindingJson(estate, finding));
  Json members = {{"machines", std::move(machines)},
                  {"findings", std::move(findings)},
                  {"without_identity", std::move(without)},
                  {"damaged", std::move(damaged)}};
  if (!failures.empty()) {
    Error error{Count(failures.size(), "file") + " cannot be read: see damaged"};
    error.code = "damaged_files";
    members["error"] = ErrorJson(error);
  }
  PrintJson(members, "sightings", [&](const JsonVisitor& visit) {
    for (const ListedSighting& s : listed.sightings) {
      visit(SightingListing().AsJson(s, options));
    }
  });
}

// What the listing tells of it, but for what differs: the picture tells that in full.
std::vector<PictureFact> FactsOf(const ListedSighting& sighting) {
  const std::vector<ColumnInfo>& columns = SightingListing().Infos();
  const std::vector<Value> values = SightingListing().ValuesOf(sighting);
  std::vector<PictureFact> facts;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string text = values[i].AsText();
    if (text != "-" && columns[i].name != std::string_view("differs"))
      facts.push_back({columns[i].label, PrintableText(text)});
  }
  return facts;
}

Result<> DrawEstate(const Estate& estate, const Listed& listed, const Choices& choices) {
  const SightingFacts facts = [&](std::size_t device, const Sighting& sighting) {
    return FactsOf({&estate, device, sighting, &listed.findings[device]});
  };
  return SavePicture(
      choices.picture,
      IsHtmlName(choices.picture) ? EstateHtml(estate, facts) : EstateSvg(estate, facts),
      choices.force);
}

Result<ExitStatus> ShowEstate(const Choices& choices) {
  Folder folder;
  if (const Result<> listed = ListFolder(choices.folder, "", folder); !listed) {
    return listed.Failure();
  }
  if (folder.others != 0) {
    ReportMessage(Severity::kNote, Count(folder.others, "file") + " in " + choices.folder +
                                       " left out: named neither .reg nor .capture");
  }
  TextPool texts;
  std::vector<EstateMachine> machines;
  for (auto& [name, files] : folder.machines) {
    Result<EstateMachine> machine = ReadFiles(name, std::move(files), texts);
    if (!machine) {
      folder.failures.push_back(machine.Failure());
      continue;
    }
    if (machine->left_out != 0) {
      ReportMessage(Severity::kNote, name + ": " + Count(machine->left_out, "unit") +
                                         " beyond the first of the device map left out");
    }
    machines.push_back(*std::move(machine));
  }
  if (machines.empty() && folder.failures.empty()) {
    return Error{
        "no file in it is named .reg or .capture, as 'devprep capture --with-registry' writes them",
        choices.folder};
  }
  std::sort(folder.failures.begin(), folder.failures.end(),
            [](const Error& a, const Error& b) { return a.file < b.file; });
  const Estate estate = JoinMachines(std::move(machines));
  Listed listed;
  ListSightings(estate, listed);
  const bool any = !estate.machines.empty();  // else what cannot be read says all
  if (choices.listing.json) {
    PrintAsJson(estate, listed, folder.failures, choices.listing);
  } else if (any && choices.picture.empty()) {
    PrintTables(estate, listed, choices.listing);
  } else if (any) {
    if (const Result<> saved = DrawEstate(estate, listed, choices); !saved) return saved.Failure();
  }
  std::cout.flush();
  if (!choices.listing.json) {
    for (const Error& failure : folder.failures) {
      std::cerr << "devprep: " << PrintableText(failure.Text()) << "; this machine is left out\n";
    }
  }
  if (!folder.failures.empty()) return ExitStatus::kFailed;
  return estate.findings.empty() ? ExitStatus::kDone : ExitStatus::kWouldChange;
}

}  // namespace

void AddEstateCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "estate", "Compare many machines, from a folder of their captures and registries");
  const auto choices = std::make_shared<Choices>();
  command
      ->add_option("folder", choices->folder,
                   "Folder of files NAME.reg or NAME.capture, or of folders NAME with such files")
      ->required()
      ->option_text("FOLDER");
  AddListingOptions(*command, choices->listing, SightingListing().Infos());
  auto* picture =
      command
          ->add_option("--picture", choices->picture,
                       "Draw a picture instead: a file named .svg or .html; - for SVG on standard "
                       "output")
          ->option_text("FILE")
          ->check(CheckPictureName);
  for (const char* other : {"--json", "--columns", "--wide", "--no-headings"}) {
    picture->excludes(command->get_option(other));
  }
  command->add_flag("--force", choices->force, "Replace whatever file is there")->needs(picture);
  OnCommand(command, invocation, [choices] { return ShowEstate(*choices); });
}

}  // namespace devprep::tool
