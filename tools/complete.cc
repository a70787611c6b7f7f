// devprep complete: what the completions of the shells offer, a line each with a tab before what it
// is. It reads the registry alone: no device is asked while somebody types.
#include <algorithm>
#include <array>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "history.h"
#include "output.h"
#include "platform/messages.h"
#include "platform/registry.h"
#include "platform/registry/registry_key.h"
#include "platform/registry/registry_text.h"
#include "store/key_handle.h"
#include "stored_configuration.h"
#include "words.h"

namespace devprep::tool {
namespace {

struct Offer {
  std::string text;
  std::string about;
};
using Offers = std::vector<Offer>;

Offers Devices(const std::function<bool(const DeviceRecord&)>& wanted) {
  Offers offers;
  for (const StoredDevice& device : ReadStoredConfiguration().devices) {
    if (!wanted(device.record)) continue;
    offers.push_back({std::to_string(device.record.Number),
                      TypeName(device.record.Type).text + ' ' + AddressText(device.record.Address) +
                          ' ' + device.description});
  }
  return offers;
}

Offers AllDevices(const std::string&) {
  return Devices([](const DeviceRecord&) { return true; });
}
Offers Drives(const std::string&) {
  return Devices([](const DeviceRecord& device) { return device.Type == kTypeTape; });
}
Offers Changers(const std::string&) {
  return Devices([](const DeviceRecord& device) { return device.Type == kTypeChanger; });
}

Offers Groups(const std::string&) {
  Offers offers;
  for (const GroupRecord& group : ReadStoredConfiguration().groups) {
    offers.push_back({std::to_string(group.Number), CleanText(group.Name, sizeof group.Name) +
                                                        ", " + GroupKindName(group.Kind).text});
  }
  return offers;
}

Offers Raids(const std::string&) {
  Offers offers;
  for (const StoredRaid& raid : ReadStoredConfiguration().raids) {
    offers.push_back({std::to_string(raid.number), "level " + std::to_string(raid.level) + ", " +
                                                       Count(raid.tapes.size(), "tape")});
  }
  return offers;
}

Offers Changes(const std::string&) {
  Offers offers;
  const auto changes = ListChanges();
  if (!changes) return offers;
  for (const HistoryEntry& change : *changes) {
    offers.push_back(
        {std::to_string(change.number), change.command.empty() ? change.program : change.command});
  }
  return offers;
}

// The keys of one level that begin as typed does. One with others below it ends with a backslash.
Offers KeysOfLevel(const std::string& typed) {
  const std::size_t level = typed.rfind('\\') + 1;  // 0 when there is none
  const std::string above = typed.substr(0, level);
  std::string path = above;
  const std::size_t top = std::min(path.find('\\'), path.size());
  if (CompareNames(TopKeyName(path.substr(0, top)), kLocalMachineName) == 0) {
    path.erase(0, std::min(top + 1, path.size()));
  }
  KeyHandle parent;
  Offers offers;
  if (parent.Open(HKEY_LOCAL_MACHINE, path.substr(0, path.find_last_not_of('\\') + 1).c_str(),
                  KEY_READ) != ERROR_SUCCESS) {
    return offers;
  }
  std::array<char, kMaxKeyName + 1> name{};
  for (DWORD i = 0;; ++i) {
    auto size = static_cast<DWORD>(name.size());
    if (RegEnumKeyExA(parent.Get(), i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return offers;
    }
    const std::string_view begun =
        std::string_view(name.data(), size).substr(0, typed.size() - level);
    if (CompareNames(begun, typed.substr(level)) != 0) continue;
    KeyHandle key;
    DWORD below = 0;
    if (key.Open(parent.Get(), name.data(), KEY_READ) == ERROR_SUCCESS) {
      RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, &below, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr, nullptr);
    }
    offers.push_back({above + name.data() + (below != 0 ? "\\" : ""), ""});
  }
}

// Goes down as long as there is no choice.
Offers Keys(const std::string& typed) {
  Offers offers = KeysOfLevel(typed);
  while (offers.size() == 1 && offers.front().text.ends_with('\\')) {
    offers = KeysOfLevel(offers.front().text);
  }
  return offers;
}

struct Kind {
  std::string_view name;
  Offers (*offers)(const std::string& typed);
};

constexpr std::array<Kind, 7> kKinds = {{{"devices", AllDevices},
                                         {"drives", Drives},
                                         {"changers", Changers},
                                         {"groups", Groups},
                                         {"raids", Raids},
                                         {"changes", Changes},
                                         {"keys", Keys}}};

struct Asked {
  std::string kind;
  std::string typed;
};

Result<ExitStatus> Complete(const Options& options, const Asked& asked) {
  Offers offers;
  const Result<> read = InSession(options, Needs::kRegistry, [&]() -> Result<> {
    for (const Kind& kind : kKinds) {
      if (kind.name == asked.kind) offers = kind.offers(asked.typed);
    }
    return {};
  });
  if (!read) return read.Failure();
  for (const Offer& offer : offers) {
    std::cout << offer.text << '\t' << PrintableText(offer.about) << '\n';
  }
  return ExitStatus::kDone;
}

}  // namespace

void AddCompleteCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand("complete", "For the completions of the shells");
  command->group("");  // not for people
  const auto asked = std::make_shared<Asked>();
  command->add_option("kind", asked->kind)->required();
  command->add_option("typed", asked->typed);
  OnCommand(command, invocation,
            [&invocation, asked] { return Complete(invocation.options, *asked); });
}

}  // namespace devprep::tool
