// A tree of registry keys and values in memory.
#ifndef DEVPREP_PLATFORM_REGISTRY_REGISTRY_KEY_H_
#define DEVPREP_PLATFORM_REGISTRY_REGISTRY_KEY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace devprep {

// Limits of the Windows registry, in bytes; names beyond them are refused.
inline constexpr std::size_t kMaxKeyName = 255;
inline constexpr std::size_t kMaxValueName = 16383;
inline constexpr std::size_t kMaxKeyDepth = 512;
// Limits against absurd files: the largest machine needs some hundred sub-keys
// and some dozen values in a key.
inline constexpr std::size_t kMaxSubKeys = 16384;
inline constexpr std::size_t kMaxValues = 65536;

// Orders names without regard to ASCII case: negative, 0 or positive.
int CompareNames(std::string_view a, std::string_view b);

struct RegistryValue {
  std::string name;  // empty: the nameless value
  std::uint32_t type = 0;
  std::string data;  // bytes as stored
};

class RegistryKey {
 public:
  explicit RegistryKey(std::string name) : name_(std::move(name)) {}

  const std::string& Name() const { return name_; }
  const std::vector<std::shared_ptr<RegistryKey>>& Children() const { return children_; }
  const std::vector<RegistryValue>& Values() const;
  std::size_t ValueCount() const;
  // True once the key was taken out of its tree; handles to it may still exist.
  bool Deleted() const { return deleted_; }

  // Null when there is no such child or value.
  std::shared_ptr<RegistryKey> FindChild(std::string_view name) const;
  const RegistryValue* FindValue(std::string_view name) const;

  // The child of that name, made when missing. The reference lasts until the
  // next change.
  const std::shared_ptr<RegistryKey>& FindOrAddChild(std::string_view name);
  // Takes a child out with everything below it. False when there is none.
  bool RemoveChild(std::string_view name);
  // Writes a value; one that exists keeps its place and its spelling. False
  // when nothing changed.
  bool SetValue(std::string_view name, std::uint32_t type, std::string_view data);
  bool RemoveValue(std::string_view name);

 private:
  // Where the values of a key that has many lie: a search from the first on for each of them would
  // make reading them take time in proportion to their square.
  struct ValueIndex {
    std::vector<std::uint32_t> slots;  // a hash table, open addressing: a value's place, or below
    std::vector<std::size_t> gaps;     // places of removed values
  };
  static constexpr std::uint32_t kFreeSlot = 0xFFFFFFFF;
  static constexpr std::uint32_t kRemovedSlot = 0xFFFFFFFE;

  std::size_t LowerBound(std::string_view name) const;
  // The value's place; that behind the last one when there is no such value.
  std::size_t PlaceOf(std::string_view name) const;
  // The value's slot in the index; the free one that ends the search when there is no such value.
  std::size_t SlotOf(std::string_view name) const;
  void CloseGaps() const;
  void MakeIndex() const;
  // Null when there is no such child.
  const std::shared_ptr<RegistryKey>* FindSlot(std::string_view name) const;
  void MarkDeleted();

  friend std::shared_ptr<RegistryKey> FindPath(const std::shared_ptr<RegistryKey>& root,
                                               std::string_view path);

  std::string name_;
  std::vector<std::shared_ptr<RegistryKey>> children_;  // sorted by CompareNames
  mutable std::size_t last_found_ = 0;  // among children_: most look-ups ask for it or the next one
  mutable std::vector<RegistryValue> values_;  // in order of creation; with gaps until Values()
  mutable std::unique_ptr<ValueIndex> index_;  // null: few values, no gaps
  bool deleted_ = false;
};

// Copies the values of a key, and all below it, over what another holds.
void CopyKey(const RegistryKey& from, RegistryKey& to);

// The key at a path of one or more names separated by backslashes, below root. What is missing of
// it is made.
std::shared_ptr<RegistryKey> FindOrAddPath(RegistryKey& root, std::string_view path);

// The same; null when a level is missing.
std::shared_ptr<RegistryKey> FindPath(const std::shared_ptr<RegistryKey>& root,
                                      std::string_view path);

}  // namespace devprep

#endif  // DEVPREP_PLATFORM_REGISTRY_REGISTRY_KEY_H_
