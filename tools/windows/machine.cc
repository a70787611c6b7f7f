#include "machine.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <system_error>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/registry.h"
#include "platform/registry/registry_text.h"
#include "platform/windows/registry_tree.h"
#include "windows/captured_machine.h"

namespace devprep::tool {
namespace {

// Enough for the first line of a registry text in any encoding.
constexpr std::size_t kHeadSize = 128;

// One request, with a buffer of the length that the library gives it. Nothing when the device does
// not answer.
std::optional<std::string> Ask(
    std::uint32_t length,
    const std::function<std::uint32_t(std::uint8_t* buffer, std::uint32_t length)>& request) {
  std::vector<std::uint8_t> buffer(length);
  if (request(buffer.data(), length) != 0) return std::nullopt;
  return std::string(buffer.begin(), buffer.end());
}

}  // namespace

// The registry has more below HARDWARE than the device map, none of it for us.
std::shared_ptr<RegistryKey> HardwareBranch() {
  if (CapturedMachine() != nullptr) return CapturedMachine()->DeviceMap();
  auto branch = MakeHardwareBranch();
  const std::string path = std::string(kHardwareKey) + '\\' + DeviceMapPath();
  HKEY map = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &map) != ERROR_SUCCESS) {
    return nullptr;
  }
  ReadKeyTree(map, *FindPath(branch, DeviceMapPath()));
  RegCloseKey(map);
  return branch;
}

// The system lists what it has identified.
std::vector<SilentUnit> TakeUnidentifiedUnits() { return {}; }

// The pass-through answers each call by itself.
void PrefetchUnits(const std::vector<ScsiAddress>& /*units*/, Asked /*asked*/) {}

bool ElementsCanBeAsked() { return CapturedMachine() != nullptr; }

std::optional<std::string> AskSerialNumberPage(const ScsiAddress& unit) {
  if (CapturedMachine() != nullptr) {
    return CapturedMachine()->VitalProductData(unit, kUnitSerialNumberPage);
  }
  auto page = Ask(kInquiryPageLength, [&unit](auto* buffer, auto length) {
    return ScsiInquiryPage(unit.port, unit.bus, unit.target, unit.lun, buffer, length,
                           kUnitSerialNumberPage);
  });
  if (page) {
    const std::size_t declared = kPageHeaderSize + static_cast<std::uint8_t>((*page)[3]);
    page->resize(std::min(page->size(), declared));
  }
  return page;
}

std::vector<std::string> NodeNamesOf(const ScsiAddress& unit) {
  return CapturedMachine() == nullptr ? std::vector<std::string>()
                                      : CapturedMachine()->NodeNames(unit);
}

// The pass-through does not tell.
std::optional<std::chrono::microseconds> TimeToAnswer(const ScsiAddress& /*unit*/) {
  return std::nullopt;
}

// The pass-through has no call for a changer's elements.
UnitAnswers AskUnit(const ScsiAddress& unit, Asked asked) {
  if (CapturedMachine() != nullptr) return AnswersOf(*CapturedMachine(), unit, asked);
  const auto start = std::chrono::steady_clock::now();
  UnitAnswers answers;
  answers.inquiry_data = Ask(kInquiryLength, [&unit](auto* buffer, auto length) {
    return ScsiInquiry(unit.port, unit.bus, unit.target, unit.lun, buffer, length);
  });
  answers.serial_number_page = AskSerialNumberPage(unit);
  answers.world_wide_id = Ask(kWorldWideIdLength, [&unit](auto* buffer, auto length) {
    return ScsiGetWorldWideId(unit.port, unit.bus, unit.target, unit.lun, kWorldWideIdSelector,
                              buffer, length);
  });
  if (auto& id = answers.world_wide_id) *id = id->substr(kWorldWideIdOffset, kWorldWideIdSize);
  if (answers.inquiry_data) {
    answers.time_to_answer = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
  }
  return answers;
}

Result<> CopyRegistry(RegistryKey& to) {
  HKEY branch = nullptr;
  const LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, kProductBranch, 0, KEY_READ, &branch);
  if (status == ERROR_FILE_NOT_FOUND) return {};
  if (status != ERROR_SUCCESS) {
    return Error{std::string("cannot read the key ") + kProductBranch + ": " +
                 std::system_category().message(static_cast<int>(status))};
  }
  ReadKeyTree(branch, *FindOrAddPath(*to.FindOrAddChild(kLocalMachineName), kProductBranch));
  RegCloseKey(branch);
  return {};
}

Result<bool> SaveFile(const std::string& file_name, const std::string& text, bool force,
                      FileKind kind) {
  if (file_name == "-") {
    std::cout << text;
    return true;
  }
  std::error_code none;
  if (!force && std::filesystem::is_regular_file(file_name, none) &&
      std::filesystem::file_size(file_name, none) != 0) {
    std::string head(kHeadSize, '\0');
    std::ifstream old(file_name, std::ios::binary);
    old.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(old.gcount()));
    if (const std::string wrong = CheckKind(head, kind); !wrong.empty()) {
      return Error{wrong, file_name};
    }
  }
  const std::string written = file_name + ".devprep-new";
  std::ofstream file(written, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(written, file_name, error);
  if (file && !error) return false;
  std::error_code ignored;
  std::filesystem::remove(written, ignored);
  return Error{"cannot be written" + (error ? ": " + error.message() : ""), file_name};
}

}  // namespace devprep::tool
