#include "platform/registry/registry_key.h"

#include <algorithm>
#include <utility>

namespace devprep {
namespace {

constexpr unsigned char FoldCase(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - ('a' - 'A')) : byte;
}

// FNV-1a, without regard to case.
std::size_t HashName(std::string_view name) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : name) hash = (hash ^ FoldCase(c)) * 0x100000001B3;
  return static_cast<std::size_t>(hash ^ hash >> 32);
}

// Names differ at their ends rather than at their beginnings: most are numbered.
bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = a.size(); i-- > 0;) {
    if (a[i] != b[i] && FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

constexpr std::size_t kFewValues = 64;
constexpr std::size_t kUsualValues = 8;

}  // namespace

int CompareNames(std::string_view a, std::string_view b) {
  const std::size_t shared = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < shared; ++i) {
    if (a[i] == b[i]) continue;
    const int difference = FoldCase(a[i]) - FoldCase(b[i]);
    if (difference != 0) return difference;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::size_t RegistryKey::LowerBound(std::string_view name) const {
  const auto at = std::lower_bound(children_.begin(), children_.end(), name,
                                   [](const auto& child, std::string_view wanted) {
                                     return CompareNames(child->name_, wanted) < 0;
                                   });
  return static_cast<std::size_t>(at - children_.begin());
}

const std::shared_ptr<RegistryKey>* RegistryKey::FindSlot(std::string_view name) const {
  const auto is_at = [this, name](std::size_t at) {
    return at < children_.size() && SameName(children_[at]->name_, name);
  };
  std::size_t at = last_found_;
  if (!is_at(at) && !is_at(++at)) {
    at = LowerBound(name);
    if (!is_at(at)) return nullptr;
  }
  last_found_ = at;
  return &children_[at];
}

std::shared_ptr<RegistryKey> RegistryKey::FindChild(std::string_view name) const {
  const std::shared_ptr<RegistryKey>* slot = FindSlot(name);
  return slot != nullptr ? *slot : nullptr;
}

const std::vector<RegistryValue>& RegistryKey::Values() const {
  if (index_ != nullptr && !index_->gaps.empty()) CloseGaps();
  return values_;
}

std::size_t RegistryKey::ValueCount() const {
  return values_.size() - (index_ == nullptr ? 0 : index_->gaps.size());
}

void RegistryKey::CloseGaps() const {
  std::sort(index_->gaps.begin(), index_->gaps.end());
  auto gap = index_->gaps.begin();
  std::size_t kept = *gap;
  for (std::size_t at = kept; at < values_.size(); ++at) {
    if (gap != index_->gaps.end() && *gap == at) {
      ++gap;
    } else {
      values_[kept++] = std::move(values_[at]);
    }
  }
  values_.resize(kept);
  index_.reset();
  if (values_.size() > kFewValues) MakeIndex();
}

void RegistryKey::MakeIndex() const {
  index_ = std::make_unique<ValueIndex>();
  std::size_t size = kFewValues;
  while (size < values_.size() * 4) size *= 2;
  index_->slots.assign(size, kFreeSlot);
  for (std::size_t at = 0; at < values_.size(); ++at) {
    index_->slots[SlotOf(values_[at].name)] = static_cast<std::uint32_t>(at);
  }
}

std::size_t RegistryKey::SlotOf(std::string_view name) const {
  const auto& slots = index_->slots;
  std::size_t slot = HashName(name) & (slots.size() - 1);
  while (slots[slot] != kFreeSlot &&
         (slots[slot] == kRemovedSlot || !SameName(values_[slots[slot]].name, name))) {
    slot = (slot + 1) & (slots.size() - 1);
  }
  return slot;
}

std::size_t RegistryKey::PlaceOf(std::string_view name) const {
  if (index_ != nullptr) {
    const std::uint32_t at = index_->slots[SlotOf(name)];
    return at != kFreeSlot ? at : values_.size();
  }
  std::size_t at = 0;
  while (at < values_.size() && !SameName(values_[at].name, name)) ++at;
  return at;
}

const RegistryValue* RegistryKey::FindValue(std::string_view name) const {
  const std::size_t at = PlaceOf(name);
  return at < values_.size() ? &values_[at] : nullptr;
}

const std::shared_ptr<RegistryKey>& RegistryKey::FindOrAddChild(std::string_view name) {
  if (const std::shared_ptr<RegistryKey>* slot = FindSlot(name)) return *slot;
  const std::size_t at = LowerBound(name);
  last_found_ = at;
  return *children_.insert(children_.begin() + static_cast<std::ptrdiff_t>(at),
                           std::make_shared<RegistryKey>(std::string(name)));
}

bool RegistryKey::RemoveChild(std::string_view name) {
  const std::shared_ptr<RegistryKey>* slot = FindSlot(name);
  if (slot == nullptr) return false;
  (*slot)->MarkDeleted();
  children_.erase(children_.begin() + (slot - children_.data()));
  return true;
}

void RegistryKey::MarkDeleted() {
  deleted_ = true;
  for (const auto& child : children_) child->MarkDeleted();
}

bool RegistryKey::SetValue(std::string_view name, std::uint32_t type, std::string_view data) {
  const std::size_t at = PlaceOf(name);
  if (at < values_.size()) {
    RegistryValue& value = values_[at];
    if (value.type == type && value.data == data) return false;
    value.data = data;
    value.type = type;
    return true;
  }
  if (values_.empty()) values_.reserve(kUsualValues);
  values_.push_back({std::string(name), type, std::string(data)});
  if (index_ == nullptr) {
    if (values_.size() > kFewValues) MakeIndex();
  } else if (values_.size() * 2 <= index_->slots.size()) {
    index_->slots[SlotOf(name)] = static_cast<std::uint32_t>(at);
  } else if (index_->gaps.empty()) {
    MakeIndex();
  } else {
    CloseGaps();
  }
  return true;
}

bool RegistryKey::RemoveValue(std::string_view name) {
  const std::size_t at = PlaceOf(name);
  if (at == values_.size()) return false;
  if (index_ == nullptr) {
    values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(at));
  } else {
    index_->gaps.push_back(at);
    index_->slots[SlotOf(name)] = kRemovedSlot;
  }
  return true;
}

void CopyKey(const RegistryKey& from, RegistryKey& to) {
  for (const RegistryValue& value : from.Values()) to.SetValue(value.name, value.type, value.data);
  for (const auto& child : from.Children()) CopyKey(*child, *to.FindOrAddChild(child->Name()));
}

std::shared_ptr<RegistryKey> FindOrAddPath(RegistryKey& root, std::string_view path) {
  std::shared_ptr<RegistryKey> key;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    key = (key == nullptr ? root : *key).FindOrAddChild(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return key;
}

std::shared_ptr<RegistryKey> FindPath(const std::shared_ptr<RegistryKey>& root,
                                      std::string_view path) {
  const std::shared_ptr<RegistryKey>* key = &root;
  while (key != nullptr && *key != nullptr && !path.empty()) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    key = (*key)->FindSlot(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return key != nullptr ? *key : nullptr;
}

}  // namespace devprep
