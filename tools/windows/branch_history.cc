#include "windows/branch_history.h"

// Needs windows.h before it.
#include "platform/registry.h"
//
#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "machine.h"
#include "platform/messages.h"
#include "platform/registry/history_cause.h"
#include "platform/registry/history_layout.h"
#include "platform/registry/record_counts.h"
#include "platform/registry/registry_text.h"
#include "platform/setting.h"
#include "platform/windows/registry_tree.h"

namespace devprep::tool {
namespace {

namespace fs = std::filesystem;

// Administrators and the system write, as they do the registry; users read.
constexpr const char* kFolderRights = "D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;FRFX;;;BU)";

// Held while a change is made: of two at once neither would keep what it replaces.
constexpr const char* kLockName = "lock";
constexpr ULONGLONG kSilentWait = 1000;  // milliseconds, as kPause
constexpr DWORD kPause = 20;

// The entry of the change that has begun and not ended. 0: none.
std::uint64_t number_under_way = 0;

Error CannotDo(const std::string& what, const std::error_code& reason) {
  return {"cannot " + what + ": " + reason.message()};
}

std::error_code LastError() { return {static_cast<int>(GetLastError()), std::system_category()}; }

Result<fs::path> HistoryFolder() {
  const std::string data = Setting("ProgramData");
  if (data.empty()) {
    return Error{"there is no place for the history: the environment lacks ProgramData"};
  }
  return fs::path(data) / "devprep" / "history";
}

bool IsThisUser(PSID user) {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return false;
  alignas(TOKEN_USER) std::array<char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> told{};
  DWORD size = 0;
  const bool read = GetTokenInformation(token, TokenUser, told.data(),
                                        static_cast<DWORD>(told.size()), &size) != 0;
  CloseHandle(token);
  return read && EqualSid(user, reinterpret_cast<const TOKEN_USER*>(told.data())->User.Sid) != 0;
}

// Everybody may create folders in %ProgramData%: what lies in another user's is not believed.
Result<> CheckOwner(const fs::path& folder) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  std::wstring name = folder.native();
  const DWORD status =
      GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                            nullptr, nullptr, nullptr, &descriptor);
  if (status != ERROR_SUCCESS) {
    return CannotDo("read the owner of " + folder.string(),
                    {static_cast<int>(status), std::system_category()});
  }
  const std::unique_ptr<void, decltype(&LocalFree)> freed(descriptor, &LocalFree);
  if (IsWellKnownSid(owner, WinBuiltinAdministratorsSid) != 0 ||
      IsWellKnownSid(owner, WinLocalSystemSid) != 0 || IsThisUser(owner)) {
    return {};
  }
  return Error{"is neither the administrators' nor this user's, so that no history is kept in it",
               folder.string()};
}

Result<> MakeFolder(const fs::path& folder) {
  SECURITY_ATTRIBUTES rights = {};
  rights.nLength = sizeof rights;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorA(
          kFolderRights, SDDL_REVISION_1, &rights.lpSecurityDescriptor, nullptr) == 0) {
    return CannotDo("create folder " + folder.string(), LastError());
  }
  const std::unique_ptr<void, decltype(&LocalFree)> descriptor(rights.lpSecurityDescriptor,
                                                               &LocalFree);
  for (const fs::path& level : {folder.parent_path(), folder}) {
    if (CreateDirectoryW(level.c_str(), &rights) == 0 && GetLastError() != ERROR_ALREADY_EXISTS) {
      return CannotDo("create folder " + level.string(), LastError());
    }
  }
  return {};
}

// In ascending order. None without the folder.
Result<std::vector<std::uint64_t>> Numbers(const fs::path& folder) {
  std::vector<std::uint64_t> numbers;
  std::error_code failed;
  fs::directory_iterator entry(folder, failed);
  if (failed == std::errc::no_such_file_or_directory) return numbers;
  if (!failed) {
    for (const fs::path& level : {folder.parent_path(), folder}) {
      if (Result<> owned = CheckOwner(level); !owned) return owned.Failure();
    }
  }
  for (; !failed && entry != fs::directory_iterator(); entry.increment(failed)) {
    const fs::path file = entry->path().filename();
    std::string name;
    for (const wchar_t c : file.native()) name += c < 0x80 ? static_cast<char>(c) : '?';
    if (const std::uint64_t number = HistoryNumber(name); number != 0) numbers.push_back(number);
  }
  if (failed) return CannotDo("read folder " + folder.string(), failed);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::optional<std::string> ReadWhole(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string text(std::istreambuf_iterator<char>(file), {});
  if (file.bad()) return std::nullopt;
  return text;
}

// A file that is there whole or not at all, in the place of another; returns once it is on the
// disk.
Result<> WriteWhole(const fs::path& path, const std::string& text) {
  fs::path unfinished = path;
  unfinished += kUnfinishedHistoryEnding;
  const HANDLE file = CreateFileW(unfinished.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return CannotDo("write " + path.string(), LastError());
  DWORD written = 0;
  const auto size = static_cast<DWORD>(text.size());
  const bool whole = WriteFile(file, text.data(), size, &written, nullptr) != 0 &&
                     written == size && FlushFileBuffers(file) != 0;
  std::error_code reason = LastError();
  CloseHandle(file);
  if (whole) {
    if (MoveFileExW(unfinished.c_str(), path.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
      return {};
    }
    reason = LastError();
  }
  DeleteFileW(unfinished.c_str());
  return CannotDo("write " + path.string(), reason);
}

Result<> WriteCause(const fs::path& folder, const HistoryEntry& entry) {
  return WriteWhole(folder / HistoryCauseName(entry.number), HistoryCauseText(entry));
}

void RemoveEntry(const fs::path& folder, std::uint64_t number) {
  for (const std::string& name : {HistoryCauseName(number), HistoryTextName(number)}) {
    if (DeleteFileW((folder / name).c_str()) != 0 || GetLastError() == ERROR_FILE_NOT_FOUND) {
      continue;
    }
    ReportMessage(Severity::kWarning, CannotDo("remove " + (folder / name).string(), LastError()));
  }
}

HistoryEntry ReadEntry(const fs::path& folder, std::uint64_t number) {
  HistoryEntry entry;
  entry.number = number;
  struct _stat64 status {};
  if (_wstat64((folder / HistoryTextName(number)).c_str(), &status) == 0) {
    entry.time = std::chrono::sys_seconds(std::chrono::seconds(status.st_mtime));
  }
  const auto cause = ReadWhole(folder / HistoryCauseName(number));
  if (cause && cause->size() <= kMaxHistoryCause) ReadHistoryCause(*cause, entry);
  return entry;
}

// Whether the entry is that of a change whose process was ended before it stored anything. now: the
// branch as a text.
bool IsUnused(const fs::path& folder, std::uint64_t number, const std::string& now) {
  if (ReadEntry(folder, number).after) return false;
  const auto text = ReadWhole(folder / HistoryTextName(number));
  return text && *text == now;
}

unsigned EntriesKept() { return NumberSetting(kHistoryVariable, kDefaultHistory, kMaxHistory); }

// Waits until nobody else makes a change.
Result<std::shared_ptr<void>> Lock(const fs::path& folder) {
  const unsigned seconds = NumberSetting(kWaitVariable, kDefaultWaitSeconds, kMaxWaitSeconds);
  const fs::path path = folder / kLockName;
  const ULONGLONG start = GetTickCount64();
  bool said = false;
  while (true) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) return std::shared_ptr<void>(file, &CloseHandle);
    if (GetLastError() != ERROR_SHARING_VIOLATION) {
      return CannotDo("open " + path.string(), LastError());
    }
    const ULONGLONG waited = GetTickCount64() - start;
    if (waited >= seconds * ULONGLONG{1000}) {
      return Error{"the registry is being changed by another devprep; waited " +
                   std::to_string(seconds) + " s (" + kWaitVariable + ")"};
    }
    if (waited >= kSilentWait && !said) {
      ReportMessage(Severity::kNote, "waiting for another devprep that is changing the registry");
      said = true;
    }
    Sleep(kPause);
  }
}

std::string UserName() {
  std::array<char, 257> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetUserNameA(name.data(), &size) != 0 ? name.data() : "";
}

// The branch in a tree of its own, below the editor's top key.
Result<std::shared_ptr<RegistryKey>> ReadBranch() {
  auto root = std::make_shared<RegistryKey>("");
  root->FindOrAddChild(kLocalMachineName);
  if (Result<> copied = CopyRegistry(*root); !copied) return copied.Failure();
  return root;
}

std::shared_ptr<RegistryKey> BranchOf(const std::shared_ptr<RegistryKey>& root) {
  return FindPath(root, std::string(kLocalMachineName) + '\\' + kProductBranch);
}

}  // namespace

Result<std::string> BranchText() {
  const auto root = ReadBranch();
  if (!root) return root.Failure();
  return WriteRegistryText(**root);
}

Result<> ReplaceBranch(const std::string& text) {
  const auto wanted = std::make_shared<RegistryKey>("");
  if (Result<> read = ReadRegistryText(text, *wanted); !read) return read;
  const auto now = ReadBranch();
  if (!now) return now.Failure();
  const auto wanted_branch = BranchOf(wanted);
  const auto branch_now = BranchOf(*now);
  LSTATUS status = ERROR_SUCCESS;
  if (wanted_branch == nullptr) {
    if (branch_now != nullptr) status = RegDeleteTreeA(HKEY_LOCAL_MACHINE, kProductBranch);
  } else {
    HKEY branch = nullptr;
    status = RegCreateKeyExA(HKEY_LOCAL_MACHINE, kProductBranch, 0, nullptr,
                             REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &branch, nullptr);
    const RegistryKey none("");
    if (status == ERROR_SUCCESS) {
      status = WriteKeyTree(branch, branch_now == nullptr ? none : *branch_now, *wanted_branch);
      RegCloseKey(branch);
    }
  }
  if (status == ERROR_SUCCESS) return {};
  return CannotDo(std::string("write the key ") + kProductBranch,
                  {static_cast<int>(status), std::system_category()});
}

Result<> BranchChange::Begin() {
  if (EntriesKept() == 0) return {};
  const auto folder = HistoryFolder();
  if (!folder) return folder.Failure();
  if (Result<> made = MakeFolder(*folder); !made) return made;
  if (auto numbers = Numbers(*folder); !numbers) return numbers.Failure();
  auto lock = Lock(*folder);
  if (!lock) return lock.Failure();
  lock_ = *std::move(lock);
  auto numbers = Numbers(*folder);
  if (!numbers) return numbers.Failure();
  const auto root = ReadBranch();
  if (!root) return root.Failure();
  if (Result<> storable = CheckStorable(**root); !storable) return storable;
  before_ = WriteRegistryText(**root);
  for (; !numbers->empty() && IsUnused(*folder, numbers->back(), before_); numbers->pop_back()) {
    RemoveEntry(*folder, numbers->back());
  }
  entry_.number = numbers->empty() ? 1 : numbers->back() + 1;
  entry_.time = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  entry_.user = UserName();
  entry_.program = "devprep";
  entry_.command = command_;
  entry_.before = CountRecords((*root)->FindChild(kLocalMachineName));
  Result<> kept = WriteWhole(*folder / HistoryTextName(entry_.number), before_);
  if (kept) kept = WriteCause(*folder, entry_);
  if (kept) {
    number_under_way = entry_.number;
  } else {
    RemoveEntry(*folder, std::exchange(entry_.number, 0));
  }
  return kept;
}

bool BranchChange::End() {
  const auto unlock = std::exchange(lock_, nullptr);
  const auto folder = HistoryFolder();
  if (entry_.number == 0 || !folder) return false;
  number_under_way = 0;
  const HistoryEntry entry = std::exchange(entry_, {});
  const auto root = ReadBranch();
  if (root && WriteRegistryText(**root) == before_) {
    RemoveEntry(*folder, entry.number);
    return false;
  }
  HistoryEntry whole = entry;
  if (root) whole.after = CountRecords((*root)->FindChild(kLocalMachineName));
  if (const Result<> written = WriteCause(*folder, whole); !written) {
    ReportMessage(Severity::kWarning, written.Failure());
  }
  if (const auto numbers = Numbers(*folder)) {
    for (std::size_t i = 0; i + EntriesKept() < numbers->size(); ++i) {
      RemoveEntry(*folder, (*numbers)[i]);
    }
  }
  return true;
}

Result<std::vector<HistoryEntry>> ListBranchHistory() {
  const auto folder = HistoryFolder();
  if (!folder) return folder.Failure();
  auto numbers = Numbers(*folder);
  if (!numbers) return numbers.Failure();
  std::erase(*numbers, number_under_way);
  const auto now = BranchText();
  if (!now) return now.Failure();
  while (!numbers->empty() && IsUnused(*folder, numbers->back(), *now)) numbers->pop_back();
  std::vector<HistoryEntry> entries;
  for (const std::uint64_t number : *numbers) entries.push_back(ReadEntry(*folder, number));
  return entries;
}

Result<HistoryText> BranchTextBefore(std::uint64_t number) {
  const auto folder = HistoryFolder();
  if (!folder) return folder.Failure();
  const fs::path path = *folder / HistoryTextName(number);
  auto text = ReadWhole(path);
  if (!text) return Error{"cannot be read", path.string()};
  return HistoryText{*std::move(text), path.string()};
}

}  // namespace devprep::tool
