// A trial: a copy of what matters of HKEY_LOCAL_MACHINE below a scratch key, which stands in its
// place for this process.
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/hardware/device_map_names.h"
#include "platform/messages.h"
#include "platform/registry.h"
#include "platform/result.h"

namespace devprep {
namespace {

constexpr const char* kScratchParent = "Software";             // below HKEY_CURRENT_USER
constexpr std::string_view kScratchPrefix = "DEVPREP trial ";  // before the process id
constexpr const char* kStartTimeValue = "Started";             // when the process was created
constexpr std::size_t kMaxKeyName = 256;                       // with its NUL
constexpr std::size_t kMaxRegistryValueName = 16384;           // with its NUL

class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() { Close(); }
  void Close() {
    if (key_ != nullptr) RegCloseKey(key_);
    key_ = nullptr;
  }
  operator HKEY() const { return key_; }  // NOLINT(google-explicit-constructor)
  HKEY* Receive() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

// When a process was created. 0: there is no such process. A process that exists and may not be
// looked at has no time that another one could have had.
std::uint64_t StartTime(DWORD process_id) {
  const HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id);
  if (process == nullptr) return GetLastError() == ERROR_ACCESS_DENIED ? UINT64_MAX : 0;
  FILETIME created = {};
  FILETIME exited = {};
  FILETIME kernel = {};
  FILETIME user = {};
  const bool known = GetProcessTimes(process, &created, &exited, &kernel, &user) != 0;
  // Others may hold on to a process that has ended.
  const bool ended = WaitForSingleObject(process, 0) == WAIT_OBJECT_0 ||
                     (known && (exited.dwLowDateTime | exited.dwHighDateTime) != 0);
  CloseHandle(process);
  if (ended) return 0;
  if (!known) return UINT64_MAX;
  return std::uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
}

// Copies the values of a key and all below it: types and bytes as they are, in their order.
LSTATUS CopyKey(HKEY from, HKEY to) {
  DWORD longest = 0;
  LSTATUS status = RegQueryInfoKeyW(from, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, &longest, nullptr, nullptr);
  if (status != ERROR_SUCCESS) return status;
  // A text that lacks its NUL is stored with one when there happens to be one behind it (and before
  // it, when it is shorter than a character): here there is none.
  constexpr std::size_t kGuard = sizeof(wchar_t);
  std::vector<BYTE> buffer;
  std::vector<wchar_t> name(kMaxRegistryValueName);
  for (DWORD i = 0;; ++i) {
    buffer.assign(kGuard + longest, 0);
    auto name_size = static_cast<DWORD>(name.size());
    DWORD type = 0;
    DWORD size = longest;
    status = RegEnumValueW(from, i, name.data(), &name_size, nullptr, &type, buffer.data() + kGuard,
                           &size);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status != ERROR_SUCCESS) return status;
    buffer.resize(kGuard + size);
    buffer.insert(buffer.end(), {0xFF, 0xFF});
    status = RegSetValueExW(to, name.data(), 0, type, buffer.data() + kGuard, size);
    if (status != ERROR_SUCCESS) return status;
  }
  for (DWORD i = 0;; ++i) {
    auto name_size = static_cast<DWORD>(kMaxKeyName);
    status = RegEnumKeyExW(from, i, name.data(), &name_size, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return status;
    Key child;
    Key copy;
    status = RegOpenKeyExW(from, name.data(), 0, KEY_READ, child.Receive());
    if (status == ERROR_SUCCESS) {
      status = RegCreateKeyExW(to, name.data(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                               nullptr, copy.Receive(), nullptr);
    }
    if (status == ERROR_SUCCESS) status = CopyKey(child, copy);
    if (status != ERROR_SUCCESS) return status;
  }
}

// The same for a branch of HKEY_LOCAL_MACHINE. One that is not there is no fault.
LSTATUS CopyBranch(HKEY scratch, const std::string& path) {
  Key branch;
  LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, branch.Receive());
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  Key copy;
  status = RegCreateKeyExA(scratch, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                           KEY_ALL_ACCESS, nullptr, copy.Receive(), nullptr);
  return status == ERROR_SUCCESS ? CopyKey(branch, copy) : status;
}

Error Refused(const std::string& what, LSTATUS status) {
  return {.message = "cannot try the changes on a copy of the registry: " + what + ": " +
                     std::system_category().message(status)};
}

class Trial {
 public:
  Trial() = default;
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  ~Trial() { End(); }

  Result<> Begin() {
    LSTATUS status =
        RegCreateKeyExA(HKEY_CURRENT_USER, kScratchParent, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, parent_.Receive(), nullptr);
    if (status != ERROR_SUCCESS) return Refused("HKEY_CURRENT_USER", status);
    RemoveLeftovers();
    const DWORD process_id = GetCurrentProcessId();
    name_ = std::string(kScratchPrefix) + std::to_string(process_id);
    status = RegDeleteTreeA(parent_, name_.c_str());
    if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) {
      status = RegCreateKeyExA(parent_, name_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_ALL_ACCESS, nullptr, scratch_.Receive(), nullptr);
    }
    if (status == ERROR_SUCCESS) {
      const std::uint64_t started = StartTime(process_id);
      status = RegSetValueExA(scratch_, kStartTimeValue, 0, REG_QWORD,
                              reinterpret_cast<const BYTE*>(&started), sizeof started);
    }
    if (status == ERROR_SUCCESS) status = CopyBranch(scratch_, kProductBranch);
    if (status == ERROR_SUCCESS) {
      status = CopyBranch(scratch_,
                          std::string(kHardwareKey) + '\\' + kDeviceMapKey + '\\' + kScsiMapKey);
    }
    if (status == ERROR_SUCCESS) status = RegOverridePredefKey(HKEY_LOCAL_MACHINE, scratch_);
    if (status == ERROR_SUCCESS) return {};
    End();
    return Refused("HKEY_CURRENT_USER\\" + std::string(kScratchParent) + '\\' + name_, status);
  }

  void End() {
    if (parent_ == nullptr) return;
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    scratch_.Close();
    RegDeleteTreeA(parent_, name_.c_str());
    parent_.Close();
  }

 private:
  // Of processes that were ended before they came to it.
  void RemoveLeftovers() {
    std::vector<std::string> leftovers;
    char name[kMaxKeyName];
    DWORD size = sizeof name;
    for (DWORD i = 0; RegEnumKeyExA(parent_, i, name, &size, nullptr, nullptr, nullptr, nullptr) ==
                      ERROR_SUCCESS;
         ++i, size = sizeof name) {
      const std::string_view found(name, size);
      if (!found.starts_with(kScratchPrefix)) continue;
      DWORD process_id = 0;
      const char* end = found.data() + found.size();
      const auto read = std::from_chars(found.data() + kScratchPrefix.size(), end, process_id);
      if (read.ec != std::errc() || read.ptr != end) continue;
      // Process ids come again.
      const std::uint64_t running = StartTime(process_id);
      std::uint64_t started = 0;
      DWORD started_size = sizeof started;
      RegGetValueA(parent_, name, kStartTimeValue, RRF_RT_REG_QWORD, nullptr, &started,
                   &started_size);
      const bool another = running != UINT64_MAX && started != 0 && running != started;
      if (running == 0 || another) leftovers.emplace_back(found);
    }
    for (const std::string& leftover : leftovers) RegDeleteTreeA(parent_, leftover.c_str());
  }

  Key parent_;
  Key scratch_;
  std::string name_;
};

// The end of the process ends it, too.
Trial& TheTrial() {
  static Trial trial;
  return trial;
}

}  // namespace

bool RegistryBeginTrial() {
  const auto begun = TheTrial().Begin();
  if (!begun) ReportMessage(Severity::kError, begun.Failure());
  return bool(begun);
}

void RegistryEndTrial() { TheTrial().End(); }

}  // namespace devprep
