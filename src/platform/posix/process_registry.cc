#include "platform/posix/process_registry.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/hardware/device_map_names.h"
#include "platform/messages.h"
#include "platform/posix/hardware.h"

namespace devprep {
namespace {

constexpr std::uintptr_t kHandleStep = 4;  // never the number of a predefined key
constexpr std::size_t kMaxHandles = 4096;
constexpr std::uintptr_t kSerials = 0x10000;

// Finds the path of a key in the tree below top. False when it is not there.
bool PathOf(const RegistryKey& top, const RegistryKey& wanted, std::string& path) {
  for (const auto& child : top.Children()) {
    const std::size_t length = path.size();
    if (length != 0) path += '\\';
    path += child->Name();
    if (child.get() == &wanted || PathOf(*child, wanted, path)) return true;
    path.resize(length);
  }
  return false;
}

}  // namespace

void ProcessRegistry::Begin(bool on_copy) {
  if (depth_ == 0) {
    HardwareMayHaveChanged();
    no_hardware_ = false;
    failed_ = false;
    try {
      status_ = file_.Begin(on_copy);
    } catch (...) {  // out of memory: no transaction has begun
      file_.MarkChanged();
      file_.Abandon();
      throw;
    }
  }
  ++depth_;
}

bool ProcessRegistry::Commit() {
  if (--depth_ != 0) return true;
  try {
    // What was learnt without the machine, or of half of it, is not stored: to go on as if nothing
    // were attached would empty the configuration. What was only read stands.
    const bool half_known = (HardwareLost() || no_hardware_) && file_.Changed();
    if (!failed_ && !half_known) return file_.Commit();
  } catch (const std::bad_alloc&) {
    Fail(kNoMemory);
  }
  // A change may have been begun without having been marked as one.
  file_.MarkChanged();
  file_.Abandon();
  return false;
}

void ProcessRegistry::Fail(const char* reason) {
  if (failed_) return;
  failed_ = true;
  try {
    ReportMessage(Severity::kError, reason);
  } catch (const std::bad_alloc&) {  // there is no memory to say so
  }
}

void ProcessRegistry::Abandon() {
  if (--depth_ == 0) file_.Abandon();
}

bool ProcessRegistry::BeginTrial() {
  Begin(true);
  trial_ = status_ == ERROR_SUCCESS;
  if (!trial_) Abandon();
  return trial_;
}

void ProcessRegistry::EndTrial() {
  if (trial_) Abandon();
  trial_ = false;
}

OpenKey* ProcessRegistry::Find(HKEY handle) {
  if (handle == HKEY_LOCAL_MACHINE) {
    local_machine_.key = file_.LocalMachine();
    return &local_machine_;
  }
  const auto number = reinterpret_cast<std::uintptr_t>(handle);
  const std::size_t slot = (number / kHandleStep) % kMaxHandles;
  if (number == 0 || slot >= open_.size() || open_[slot].handle != number) return nullptr;
  return &open_[slot];
}

HKEY ProcessRegistry::Add(std::shared_ptr<RegistryKey> key, REGSAM access, bool hardware) {
  std::size_t slot = 0;
  if (!free_.empty()) {
    slot = free_.back();
    free_.pop_back();
  } else if (open_.size() == kMaxHandles) {
    return nullptr;
  } else {
    slot = open_.size();
    // Closing, which destructors do, then needs no memory.
    if (free_.capacity() <= slot) free_.reserve(2 * slot + 16);
    open_.emplace_back();
  }
  // A slot's next handle differs from the last, so that a handle used after close is noticed. The
  // serial number begins at 1: no handle is 0.
  serial_ = serial_ % kSerials + 1;
  const std::uintptr_t number = (serial_ * kMaxHandles + slot) * kHandleStep;
  open_[slot] = {std::move(key), access, hardware, number};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): handles are opaque numbers.
  return reinterpret_cast<HKEY>(number);
}

bool ProcessRegistry::Close(HKEY handle) {
  if (handle == HKEY_LOCAL_MACHINE) return true;
  OpenKey* open = Find(handle);
  if (open == nullptr) return false;
  free_.push_back(static_cast<std::size_t>(open - open_.data()));
  *open = {};
  return true;
}

std::shared_ptr<RegistryKey> ProcessRegistry::Walk(const OpenKey& from, std::string_view path,
                                                   bool& hardware, LONG& status) {
  status = ERROR_FILE_NOT_FOUND;
  hardware = from.hardware;
  const bool from_top = from.key == file_.LocalMachine();
  if (from_top && memo_key_ != nullptr && path.starts_with(memo_path_) && !memo_key_->Deleted()) {
    const std::string_view rest = path.substr(memo_path_.size());
    if (rest.empty()) return memo_key_;
    if (rest.front() == '\\') return FindPath(memo_key_, rest.substr(1));
  }
  const std::string_view first = path.substr(0, path.find('\\'));
  if (from_top && CompareNames(first, kHardwareKey) == 0) {
    hardware = true;
    HardwareSource* source = CurrentHardware();
    if (source == nullptr) {
      no_hardware_ = true;
      status = ERROR_BADDB;
      return nullptr;
    }
    const auto branch = source->DeviceMap();
    if (branch == nullptr) return nullptr;
    return FindPath(branch, path.substr(std::min(first.size() + 1, path.size())));
  }
  auto key = FindPath(from.key, path);
  if (key != nullptr && from_top && first.size() != path.size()) {
    memo_path_ = path;
    memo_key_ = key;
  }
  return key;
}

// Handles outlive a reload of the file: each goes on with the key that is now at its path.
void ProcessRegistry::MoveHandles(const std::shared_ptr<RegistryKey>& from,
                                  const std::shared_ptr<RegistryKey>& to) {
  memo_key_ = nullptr;
  for (OpenKey& open : open_) {
    if (open.handle == 0 || open.hardware) continue;
    std::string path;
    auto moved = PathOf(*from, *open.key, path) ? FindPath(to, path) : nullptr;
    if (moved != nullptr) {
      open.key = std::move(moved);
    } else {
      // A key of its own that counts as deleted.
      auto parent = std::make_shared<RegistryKey>("");
      open.key = parent->FindOrAddChild(open.key->Name());
      parent->RemoveChild(open.key->Name());
    }
  }
}

ProcessRegistry& TheRegistry() {
  static ProcessRegistry registry;
  return registry;
}

void RegistryBegin() { TheRegistry().Begin(); }
bool RegistryCommit() { return TheRegistry().Commit(); }
bool RegistryInPlace() { return TheRegistry().File().InPlace(); }
void RegistryFail(const char* reason) { TheRegistry().Fail(reason); }
void RegistryAbandon() { TheRegistry().Abandon(); }
bool RegistryBeginTrial() { return TheRegistry().BeginTrial(); }
void RegistryEndTrial() { TheRegistry().EndTrial(); }

bool RegistryChanged() { return TheRegistry().File().Changed(); }

bool RegistryReadable() { return TheRegistry().Status() == ERROR_SUCCESS; }
bool RegistryWritable() { return TheRegistry().File().Writable(); }

std::shared_ptr<RegistryKey> RegistryRoot() {
  return RegistryReadable() ? TheRegistry().File().Root() : nullptr;
}

std::shared_ptr<RegistryKey> RegistryRootForChange() {
  RegistryFile& file = TheRegistry().File();
  if (!RegistryReadable() || !file.Writable() || !file.PrepareChange()) return nullptr;
  file.MarkChanged();
  return file.Root();
}

}  // namespace devprep
