#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/posix/process_registry.h"
#include "platform/registry.h"

namespace devprep {
namespace {

constexpr LONG kRegistryIoFailed = 1016;
// Rights of a mask that allow changes: set value, create sub-key, create link, delete, change the
// security, own; the last two are the generic rights to write and to do all.
constexpr REGSAM kWriteRights =
    0x0002 | 0x0004 | 0x0020 | 0x00010000 | 0x00040000 | 0x00080000 | 0x40000000 | 0x10000000;

// A registry call: the transaction around it, and the open key that it starts from.
class Call {
 public:
  explicit Call(HKEY handle, REGSAM needed = 0) {
    TheRegistry().Begin();
    status_ = TheRegistry().Status();
    if (status_ != ERROR_SUCCESS) return;
    from_ = TheRegistry().Find(handle);
    if (from_ == nullptr) {
      status_ = ERROR_INVALID_HANDLE;
    } else if (from_->key->Deleted()) {
      status_ = ERROR_KEY_DELETED;
    } else if ((from_->access & needed) != needed) {
      status_ = ERROR_ACCESS_DENIED;
    }
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() {
    if (!finished_) TheRegistry().Commit();
  }

  LONG Status() const { return status_; }
  OpenKey& From() const { return *from_; }
  RegistryKey& Key() const { return *from_->key; }

  // To be called before a change.
  LONG PrepareChange() const {
    const bool prepared = !from_->hardware && TheRegistry().File().PrepareChange();
    return prepared ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
  }

  // Ends the transaction of a call that may have changed something.
  LONG Finish(LONG status, bool changed = true) {
    finished_ = true;
    if (changed) TheRegistry().File().MarkChanged();
    return TheRegistry().Commit() ? status : kRegistryIoFailed;
  }

 private:
  LONG status_ = ERROR_SUCCESS;
  OpenKey* from_ = nullptr;
  bool finished_ = false;
};

// A sub-key argument as a path. Null counts as empty; one backslash at the end does not matter.
std::string_view PathArgument(const char* sub_key) {
  std::string_view path = sub_key == nullptr ? "" : sub_key;
  if (path.ends_with('\\')) path.remove_suffix(1);
  return path;
}

std::string_view NameArgument(const char* name) { return name == nullptr ? "" : name; }

LONG CheckPath(std::string_view path) {
  if (path.starts_with('\\')) return ERROR_BAD_PATHNAME;
  if (path.size() <= kMaxKeyName) return ERROR_SUCCESS;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('\\'));
    if (name.size() > kMaxKeyName) return ERROR_INVALID_PARAMETER;
    path.remove_prefix(std::min(name.size() + 1, path.size()));
  }
  return ERROR_SUCCESS;
}

// The rights that a handle gets, or 0 when it may not be opened with the rights wanted.
REGSAM Grant(REGSAM wanted, bool hardware) {
  const bool as_much_as_possible = (wanted & MAXIMUM_ALLOWED) != 0;
  const bool writable = ((wanted & kWriteRights) == 0 && !as_much_as_possible) ||
                        (!hardware && TheRegistry().File().Writable());
  if (as_much_as_possible) return writable ? KEY_ALL_ACCESS : KEY_READ;
  return writable ? wanted : 0;
}

LONG Open(std::shared_ptr<RegistryKey> key, REGSAM access, bool hardware, PHKEY result) {
  const REGSAM granted = Grant(access, hardware);
  if (granted == 0 && access != 0) return ERROR_ACCESS_DENIED;
  *result = TheRegistry().Add(std::move(key), granted, hardware);
  return *result != nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// Copies a value's bytes to a caller's buffer in the manner of the value calls. Behind a text that
// was stored without NUL one is put where there is room; the size does not count it.
LONG DeliverData(const RegistryValue& value, BYTE* data, DWORD* size) {
  const std::string& bytes = value.data;
  if (size == nullptr) return data == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
  const DWORD room = *size;
  *size = static_cast<DWORD>(bytes.size());
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < bytes.size()) return ERROR_MORE_DATA;
  std::memcpy(data, bytes.data(), bytes.size());
  if (IsText(value.type) && room > bytes.size() && !bytes.empty() && bytes.back() != '\0') {
    data[bytes.size()] = 0;
  }
  return ERROR_SUCCESS;
}

// Copies a name with its NUL. Nothing is copied when it does not fit.
LONG DeliverName(const std::string& name, char* buffer, DWORD* size) {
  if (buffer == nullptr || size == nullptr) return ERROR_INVALID_PARAMETER;
  if (*size <= name.size()) return ERROR_MORE_DATA;
  std::memcpy(buffer, name.c_str(), name.size() + 1);
  *size = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

void Store(DWORD* where, std::size_t number) {
  if (where != nullptr) *where = static_cast<DWORD>(number);
}

template <typename Items, typename Length>
void StoreLongest(DWORD* where, const Items& items, Length length) {
  if (where == nullptr) return;
  std::size_t longest = 0;
  for (const auto& item : items) longest = std::max(longest, length(item));
  Store(where, longest);
}

}  // namespace

}  // namespace devprep

using devprep::Call;
using devprep::RegistryKey;
using devprep::RegistryValue;
using devprep::TheRegistry;

LONG RegOpenKeyExA(HKEY key, const char* sub_key, DWORD /*options*/, REGSAM access, PHKEY result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  const Call call(key);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const std::string_view path = devprep::PathArgument(sub_key);
  LONG status = devprep::CheckPath(path);
  if (status != ERROR_SUCCESS) return status;
  bool hardware = false;
  auto found = TheRegistry().Walk(call.From(), path, hardware, status);
  if (found == nullptr) return status;
  return devprep::Open(std::move(found), access, hardware, result);
}

LONG RegOpenKeyA(HKEY key, const char* sub_key, PHKEY result) {
  return RegOpenKeyExA(key, sub_key, 0, MAXIMUM_ALLOWED, result);
}

LONG RegCreateKeyExA(HKEY key, const char* sub_key, DWORD /*reserved*/, char* /*class_name*/,
                     DWORD /*options*/, REGSAM access, const SECURITY_ATTRIBUTES* /*security*/,
                     PHKEY result, DWORD* disposition) {
  if (result == nullptr || sub_key == nullptr) return ERROR_INVALID_PARAMETER;
  Call call(key);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  std::string_view path = devprep::PathArgument(sub_key);
  LONG status = devprep::CheckPath(path);
  if (status != ERROR_SUCCESS) return status;
  bool hardware = false;
  auto found = TheRegistry().Walk(call.From(), path, hardware, status);
  if (found != nullptr) {
    status = devprep::Open(std::move(found), access, hardware, result);
    if (status == ERROR_SUCCESS) devprep::Store(disposition, REG_OPENED_EXISTING_KEY);
    return status;
  }
  if (status != ERROR_FILE_NOT_FOUND) return status;
  // As on Windows, whether a key may be made does not depend on how its parent's handle was opened.
  if (hardware) return ERROR_ACCESS_DENIED;
  status = call.PrepareChange();
  if (status != ERROR_SUCCESS) return status;
  auto made = call.From().key;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('\\'));
    path.remove_prefix(std::min(name.size() + 1, path.size()));
    if (!name.empty()) made = made->FindOrAddChild(name);
  }
  status = devprep::Open(std::move(made), access, false, result);
  if (status == ERROR_SUCCESS) devprep::Store(disposition, REG_CREATED_NEW_KEY);
  return call.Finish(status);
}

LONG RegCreateKeyA(HKEY key, const char* sub_key, PHKEY result) {
  return RegCreateKeyExA(key, devprep::NameArgument(sub_key).data(), 0, nullptr,
                         REG_OPTION_NON_VOLATILE, MAXIMUM_ALLOWED, nullptr, result, nullptr);
}

LONG RegCloseKey(HKEY key) {
  return TheRegistry().Close(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegQueryInfoKeyA(HKEY key, char* /*class_name*/, DWORD* class_size, DWORD* /*reserved*/,
                      DWORD* sub_keys, DWORD* max_sub_key, DWORD* max_class, DWORD* values,
                      DWORD* max_value_name, DWORD* max_value, DWORD* security,
                      FILETIME* /*last_write*/) {
  const Call call(key, KEY_QUERY_VALUE);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const RegistryKey& asked = call.Key();
  devprep::Store(class_size, 0);
  devprep::Store(sub_keys, asked.Children().size());
  devprep::StoreLongest(max_sub_key, asked.Children(),
                        [](const auto& child) { return child->Name().size(); });
  devprep::Store(max_class, 0);
  devprep::Store(values, asked.Values().size());
  devprep::StoreLongest(max_value_name, asked.Values(),
                        [](const auto& value) { return value.name.size(); });
  devprep::StoreLongest(max_value, asked.Values(),
                        [](const auto& value) { return value.data.size(); });
  devprep::Store(security, 0);
  return ERROR_SUCCESS;
}

LONG RegEnumKeyExA(HKEY key, DWORD index, char* name, DWORD* name_size, DWORD* /*reserved*/,
                   char* /*class_name*/, DWORD* class_size, FILETIME* /*last_write*/) {
  const Call call(key, KEY_ENUMERATE_SUB_KEYS);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const auto& children = call.Key().Children();
  if (index >= children.size()) return ERROR_NO_MORE_ITEMS;
  devprep::Store(class_size, 0);
  return devprep::DeliverName(children[index]->Name(), name, name_size);
}

LONG RegEnumValueA(HKEY key, DWORD index, char* name, DWORD* name_size, DWORD* /*reserved*/,
                   DWORD* type, BYTE* data, DWORD* data_size) {
  const Call call(key, KEY_QUERY_VALUE);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const auto& values = call.Key().Values();
  if (index >= values.size()) return ERROR_NO_MORE_ITEMS;
  const RegistryValue& value = values[index];
  if (name == nullptr || name_size == nullptr) return ERROR_INVALID_PARAMETER;
  if (*name_size <= value.name.size()) return ERROR_MORE_DATA;
  devprep::Store(type, value.type);
  const LONG status = devprep::DeliverData(value, data, data_size);
  if (status != ERROR_SUCCESS) return status;
  return devprep::DeliverName(value.name, name, name_size);
}

LONG RegQueryValueExA(HKEY key, const char* name, DWORD* /*reserved*/, DWORD* type, BYTE* data,
                      DWORD* data_size) {
  const Call call(key, KEY_QUERY_VALUE);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const RegistryValue* value = call.Key().FindValue(devprep::NameArgument(name));
  if (value == nullptr) return ERROR_FILE_NOT_FOUND;
  devprep::Store(type, value->type);
  return devprep::DeliverData(*value, data, data_size);
}

LONG RegSetValueExA(HKEY key, const char* name, DWORD /*reserved*/, DWORD type, const BYTE* data,
                    DWORD data_size) {
  Call call(key, KEY_SET_VALUE);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const std::string_view value_name = devprep::NameArgument(name);
  if (value_name.size() > devprep::kMaxValueName) return ERROR_INVALID_PARAMETER;
  if (data == nullptr && data_size != 0) return ERROR_INVALID_PARAMETER;
  const LONG status = call.PrepareChange();
  if (status != ERROR_SUCCESS) return status;
  const std::string_view bytes(reinterpret_cast<const char*>(data), data_size);
  const bool changed = call.Key().SetValue(value_name, type, bytes);
  return call.Finish(ERROR_SUCCESS, changed);
}

LONG RegDeleteKeyA(HKEY key, const char* sub_key) {
  if (sub_key == nullptr) return ERROR_INVALID_PARAMETER;
  Call call(key);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const std::string_view path = devprep::PathArgument(sub_key);
  LONG status = devprep::CheckPath(path);
  if (status != ERROR_SUCCESS) return status;
  if (path.empty()) return ERROR_ACCESS_DENIED;
  bool hardware = false;
  if (TheRegistry().Walk(call.From(), path, hardware, status) == nullptr) return status;
  if (hardware) return ERROR_ACCESS_DENIED;
  status = call.PrepareChange();
  if (status != ERROR_SUCCESS) return status;
  const std::size_t cut = path.rfind('\\');
  const auto parent = cut == std::string_view::npos
                          ? call.From().key
                          : devprep::FindPath(call.From().key, path.substr(0, cut));
  const std::string_view name = cut == std::string_view::npos ? path : path.substr(cut + 1);
  const auto target = parent == nullptr ? nullptr : parent->FindChild(name);
  if (target == nullptr) return ERROR_FILE_NOT_FOUND;
  if (!target->Children().empty()) return ERROR_ACCESS_DENIED;
  parent->RemoveChild(name);
  return call.Finish(ERROR_SUCCESS);
}

LONG RegDeleteValueA(HKEY key, const char* name) {
  Call call(key, KEY_SET_VALUE);
  if (call.Status() != ERROR_SUCCESS) return call.Status();
  const std::string_view value_name = devprep::NameArgument(name);
  if (call.Key().FindValue(value_name) == nullptr) return ERROR_FILE_NOT_FOUND;
  const LONG status = call.PrepareChange();
  if (status != ERROR_SUCCESS) return status;
  call.Key().RemoveValue(value_name);
  return call.Finish(ERROR_SUCCESS);
}
