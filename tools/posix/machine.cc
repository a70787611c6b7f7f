#include "machine.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>

#include "platform/hardware/hardware_map.h"
#include "platform/posix/file_ops.h"
#include "platform/posix/hardware.h"
#include "platform/posix/process_registry.h"
#include "platform/posix/registry_file.h"
#include "platform/posix/replace_file.h"
#include "report.h"

namespace devprep::tool {
namespace {

// Enough for the first line of a registry text in any encoding.
constexpr std::size_t kHeadSize = 128;

bool IsSameFile(const struct stat& file, int descriptor) {
  struct stat open {};
  return fstat(descriptor, &open) == 0 && open.st_dev == file.st_dev && open.st_ino == file.st_ino;
}

// Fails when the regular file that is there is nothing to be replaced in passing.
Result<> CheckReplaceable(const std::string& file_name, const struct stat& file, FileKind kind) {
  const Result<FileHandle> registry = OpenFile(RegistryFilePath(), O_RDONLY);
  if (registry && IsSameFile(file, registry->Get())) {
    return Error{"this is the registry in use; --force replaces it all the same", file_name};
  }
  if (file.st_size == 0) return {};
  const Result<FileHandle> old = OpenFile(file_name, O_RDONLY);
  if (!old) return old.Failure();
  std::array<char, kHeadSize> head{};
  const ssize_t size = read(old->Get(), head.data(), head.size());
  const std::string wrong =
      CheckKind({head.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))}, kind);
  if (!wrong.empty()) return Error{wrong, file_name};
  return {};
}

}  // namespace

std::shared_ptr<RegistryKey> HardwareBranch() { return CurrentHardware()->DeviceMap(); }

std::vector<SilentUnit> TakeUnidentifiedUnits() {
  std::vector<SilentUnit> units = CurrentHardware()->SilentUnits();
  std::erase_if(units, [](const SilentUnit& unit) { return unit.listed; });
  SetSilentUnitsAccepted(true);
  return units;
}

void PrefetchUnits(const std::vector<ScsiAddress>& units, Asked asked) {
  if (asked == Asked::kLibrary) {
    CurrentHardware()->PrefetchLibrary(units);
  } else {
    CurrentHardware()->Prefetch(units);
  }
}

bool ElementsCanBeAsked() { return true; }

std::optional<std::string> AskSerialNumberPage(const ScsiAddress& unit) {
  return CurrentHardware()->VitalProductData(unit, kUnitSerialNumberPage);
}

std::vector<std::string> NodeNamesOf(const ScsiAddress& unit) {
  return CurrentHardware()->NodeNames(unit);
}

std::optional<std::chrono::microseconds> TimeToAnswer(const ScsiAddress& unit) {
  return CurrentHardware()->Condition(unit).time_to_answer;
}

UnitAnswers AskUnit(const ScsiAddress& unit, Asked asked) {
  return AnswersOf(*CurrentHardware(), unit, asked);
}

Result<> CopyRegistry(RegistryKey& to) {
  const auto root = RegistryRoot();
  if (root == nullptr)
    return TakeReportedError("registry_not_readable", "the registry cannot be read");
  CopyKey(*root, to);
  return {};
}

Result<bool> SaveFile(const std::string& file_name, const std::string& text, bool force,
                      FileKind kind) {
  const Result<struct stat> there = StatusOf(file_name);
  if (file_name == "-" || (there && IsSameFile(*there, STDOUT_FILENO))) {
    std::cout << text;
    return true;
  }
  if (there && !S_ISREG(there->st_mode)) {
    Result<FileHandle> file = OpenFile(file_name, O_WRONLY | O_NOCTTY);
    Result<> written = file ? WriteAll(*file, text) : file.Failure();
    if (written) written = CloseFile(*std::move(file));
    if (!written) return written.Failure().In(file_name);
    return false;
  }
  if (there && !force) {
    if (const Result<> fit = CheckReplaceable(file_name, *there, kind); !fit) return fit.Failure();
  }
  if (const Result<> replaced = ReplaceFile(FollowLinks(file_name), text); !replaced) {
    return replaced.Failure();
  }
  return false;
}

}  // namespace devprep::tool
