#include "plan_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

#include "discovery/scsi_probe.h"
#include "machine.h"
#include "output.h"
#include "platform/registry.h"
#include "platform/registry/configuration_keys.h"
#include "platform/registry/registry_key.h"
#include "refusal.h"
#include "store/key_handle.h"
#include "words.h"

namespace devprep::tool {
namespace {

constexpr const char* kKind = "plan";
constexpr std::size_t kDifferencesNamed = 4;
#if defined(_WIN32)
constexpr const char* kWholeBranch = kProductBranch;
#else
constexpr const char* kWholeBranch = "SOFTWARE";
#endif

// FNV-1a, 64 bits. It notices change, not malice: who may write the plan may write the registry.
class Digest {
 public:
  void Add(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) state_ = (state_ ^ bytes[i]) * 0x100000001B3U;
  }
  void Add(std::string_view text) {
    const std::uint64_t size = text.size();
    Add(&size, sizeof size);
    Add(text.data(), text.size());
  }
  std::string Text() const {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(state_));
    return text.data();
  }

 private:
  std::uint64_t state_ = 0xCBF29CE484222325U;
};

std::string ValuesDigest(HKEY key) {
  DWORD count = 0;
  DWORD longest = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr,
                   &longest, nullptr, nullptr);
  std::vector<char> name(kMaxValueName + 1);
  std::vector<BYTE> data(longest + 2);
  // By name: not every registry keeps the order of creation.
  std::map<std::string, std::string> values;
  for (DWORD i = 0; i < count; ++i) {
    auto name_size = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    if (RegEnumValueA(key, i, name.data(), &name_size, nullptr, &type, data.data(), &size) !=
        ERROR_SUCCESS) {
      continue;
    }
    values[{name.data(), name_size}] =
        std::to_string(type) + ':' + std::string(reinterpret_cast<char*>(data.data()), size);
  }
  Digest digest;
  for (const auto& [value_name, value] : values) {
    digest.Add(value_name);
    digest.Add(value);
  }
  return digest.Text();
}

void AddKey(HKEY key, const std::string& path, Digests& digests) {
  digests[path] = ValuesDigest(key);
  std::array<char, kMaxKeyName + 1> name{};
  for (DWORD i = 0;; ++i) {
    auto size = static_cast<DWORD>(name.size());
    if (RegEnumKeyExA(key, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return;
    }
    KeyHandle child;
    if (child.Open(key, name.data(), KEY_READ) == ERROR_SUCCESS) {
      AddKey(child.Get(), path + '\\' + name.data(), digests);
    }
  }
}

Digests BranchDigests(const char* path) {
  Digests digests;
  KeyHandle branch;
  if (branch.Open(HKEY_LOCAL_MACHINE, path, KEY_READ) == ERROR_SUCCESS) {
    AddKey(branch.Get(), path, digests);
  }
  return digests;
}

std::string ReadWhole(const std::string& file_name) {
  std::ifstream file(file_name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Json Parse(const std::string& text) { return Json::parse(text, nullptr, false); }

bool IsPlan(const Json& json) { return json.is_object() && json.value("kind", "") == kKind; }

}  // namespace

Digests RegistryDigests() { return BranchDigests(kProductKeyPath.text); }

Digests WholeRegistryDigests() { return BranchDigests(kWholeBranch); }

Digests HardwareDigests() {
  Digests digests;
  for (std::uint16_t n = 0; n < FoundDeviceCount; ++n) {
    const DeviceRecord& found = FoundDevices[n];
    Digest digest;
    digest.Add(&found.Type, sizeof found.Type);
    digest.Add(CleanText(found.Description, sizeof found.Description));
    digest.Add(found.SerialNumber, sizeof found.SerialNumber);
    digest.Add(found.WorldWideID, sizeof found.WorldWideID);
    digest.Add(&FoundDeviceAnswered[n], 1);
    digests[AddressText(found.Address)] = digest.Text();
  }
  return digests;
}

Result<> SavePlan(const std::string& file_name, const PlanFile& plan, const Json& outcome) {
  Json json = {{"format", kJsonFormat},
               {"kind", kKind},
               {"follow_identity", plan.follow_identity},
               {"accepted", plan.accepted},
               {"registry", plan.basis.registry},
               {"hardware", plan.basis.hardware}};
  json.update(outcome);
  const bool over_a_plan = IsPlan(Parse(ReadWhole(file_name)));
  const auto saved = SaveFile(
      file_name, json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n', over_a_plan);
  if (!saved) return saved.Failure();
  return {};
}

Result<PlanFile> ReadPlan(const std::string& file_name) {
  std::ifstream file(file_name, std::ios::binary);
  if (!file) return Refusal({"no_plan", "cannot open the plan"}).In(file_name);
  const Json json = Parse({std::istreambuf_iterator<char>(file), {}});
  if (!IsPlan(json) || json.value("format", 0) != kJsonFormat) {
    return Refusal(
               {"not_a_plan", "is no plan of this version: make one with 'devprep plan --save'"})
        .In(file_name);
  }
  try {
    PlanFile plan;
    plan.follow_identity = json.at("follow_identity").get<bool>();
    plan.accepted = json.at("accepted").get<std::vector<std::string>>();
    plan.basis.registry = json.at("registry").get<Digests>();
    plan.basis.hardware = json.at("hardware").get<Digests>();
    return plan;
  } catch (const Json::exception&) {
    return Refusal({"damaged_plan", "is a damaged plan: make one with 'devprep plan --save'"})
        .In(file_name);
  }
}

std::string DifferenceText(const char* what, const Digests& planned, const Digests& now) {
  std::vector<std::string> names;
  for (const auto& [name, digest] : planned) {
    const auto at = now.find(name);
    if (at == now.end() || at->second != digest) names.push_back(name);
  }
  for (const auto& [name, digest] : now) {
    if (!planned.contains(name)) names.push_back(name);
  }
  if (names.empty()) return {};
  std::string text = Count(names.size(), what) + (names.size() == 1 ? " differs: " : " differ: ");
  for (std::size_t i = 0; i < std::min(names.size(), kDifferencesNamed); ++i) {
    text += (i == 0 ? "" : ", ") + names[i];
  }
  if (names.size() > kDifferencesNamed) {
    text += " and " + std::to_string(names.size() - kDifferencesNamed) + " more";
  }
  return text;
}

}  // namespace devprep::tool
