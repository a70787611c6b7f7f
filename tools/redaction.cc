#include "redaction.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/hardware/element_pages.h"
#include "platform/hardware/hardware_map.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/raw_scsi.h"
#include "platform/registry/configuration_keys.h"
#include "records/device_record.h"

namespace devprep::tool {
namespace {

constexpr std::size_t kVendorSpecificOffset = 36;  // in standard inquiry data, after the revision
constexpr std::size_t kTellingSize = 4;
constexpr char kFiller = 'X';
constexpr std::string_view kLinkFolder = " /dev/tape/by-id/";  // behind the nodes

// The value in letters and digits, filled up from the left; longer than size where it takes more
// places.
std::string Numbered(std::size_t number, std::size_t size) {
  static constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::string text;
  for (; number != 0; number /= kDigits.size()) text.insert(0, 1, kDigits[number % kDigits.size()]);
  if (text.size() > size) return text;
  // A filler is no number's first digit, or two numbers could meet.
  text.insert(0, size - text.size(), text.empty() || text.front() != kFiller ? kFiller : '0');
  return text;
}

// What stands for each text, and for each piece of one that a unit's other values repeat.
class Replacements {
 public:
  // Both ends' padding stays.
  std::string Of(const std::string& text) {
    const std::string core = TrimmedText(text);
    if (core.empty()) return text;
    auto at = known_.find(core);
    if (at == known_.end()) {
      at = known_.emplace(core, Numbered(++counts_[core.size()], core.size())).first;
      overflown_ = overflown_ || at->second.size() > core.size();
    }
    std::string replaced = text;
    return replaced.replace(text.find(core), core.size(), at->second);
  }

  // Whether there were more texts of some length than replacements.
  bool Overflown() const { return overflown_; }

 private:
  bool overflown_ = false;
  std::map<std::string, std::string> known_;
  std::map<std::size_t, std::size_t> counts_;  // by length
};

const std::string* ValueOf(const RegistryKey& key, const char* name) {
  const RegistryValue* value = key.FindValue(name);
  return value == nullptr ? nullptr : &value->data;
}

void Write(RegistryKey& key, const char* name, const std::string& data) {
  const std::uint32_t type = key.FindValue(name)->type;
  key.SetValue(name, type, data);
}

// Puts the replacement wherever the original stands in a text. A short one may stand there by
// chance.
void ReplaceAll(std::string& text, const std::string& original, const std::string& replacement) {
  if (original.size() < kTellingSize) return;
  for (std::size_t at = text.find(original); at != std::string::npos;
       at = text.find(original, at + replacement.size())) {
    text.replace(at, original.size(), replacement);
  }
}

class Redactor {
 public:
  void Walk(RegistryKey& key) {
    Units(key);
    // Now the drives are known that the changers name.
    Elements(key);
  }

  // Behind the units, whose serial numbers the records repeat.
  void Records(RegistryKey& engine) {
    std::vector<std::string> others;
    for (const auto& key : engine.Children()) {
      const auto is = [&key](std::string_view prefix) {
        return CompareNames(key->Name().substr(0, prefix.size()), prefix) == 0;
      };
      if (is(kDeviceKeyPrefix)) {
        Record(*key);
      } else if (!is(kGroupKeyPrefix) && !is(kRaidKeyPrefix)) {
        others.push_back(key->Name());
      }
    }
    for (const std::string& name : others) engine.RemoveChild(name);
    while (engine.ValueCount() != 0) engine.RemoveValue(engine.Values().back().name);
  }

  bool Overflown() const { return serials_.Overflown(); }

 private:
  void Record(RegistryKey& key) {
    if (const std::string* stored = ValueOf(key, kDeviceSerialNumberValue)) {
      const std::string serial = *stored;
      const std::string replaced = SerialNumber(serial);
      Write(key, kDeviceSerialNumberValue, replaced);
      if (const std::string* info = ValueOf(key, kDeviceInfoValue)) {
        std::string text = *info;
        ReplaceAll(text, TrimmedText(serial), TrimmedText(replaced));
        Write(key, kDeviceInfoValue, text);
      }
    }
    if (const std::string* id = ValueOf(key, kDeviceWorldWideIdValue)) {
      Write(key, kDeviceWorldWideIdValue, WorldWideId(*id));
    }
  }

  // Devices are told apart by the beginning alone, and stay alike where that is alike.
  std::string SerialNumber(const std::string& serial) {
    const std::size_t told = std::min(serial.size(), kSerialNumberSize);
    return serials_.Of(serial.substr(0, told)) + serials_.Of(serial.substr(told));
  }

  void Units(RegistryKey& key) {
    Unit(key);
    for (const auto& child : key.Children()) Units(*child);
  }

  void Elements(RegistryKey& key) {
    if (const std::string* status = ValueOf(key, kElementStatusValue)) {
      std::string data = *status;
      for (const ElementText& text : ElementTextsIn(*status)) {
        if (text.kind == ElementText::Kind::kUnknown) {
          data.replace(text.offset, text.size, text.size, '\0');
          continue;
        }
        data.replace(text.offset, text.size,
                     ElementReplacement(text.kind, status->substr(text.offset, text.size)));
      }
      Write(key, kElementStatusValue, data);
    }
    for (const auto& child : key.Children()) Elements(*child);
  }

  std::string ElementReplacement(ElementText::Kind kind, const std::string& text) {
    if (kind == ElementText::Kind::kVolumeTag) return volume_tags_.Of(text);
    if (kind == ElementText::Kind::kWorldWideId) {
      // Digits, and identifiers of other sizes, are replaced as texts; what they begin with counts.
      if (text.size() == kWorldWideIdSize) return WorldWideId(text);
      const std::string begin =
          WorldWideId(text.substr(0, std::min(text.size(), kWorldWideIdSize)));
      return begin + std::string(text.size() - begin.size(), '\0');
    }
    const auto known = whole_serials_.find(TrimmedText(text));
    if (known == whole_serials_.end()) return serials_.Of(text);
    std::string replaced = text;
    return replaced.replace(text.find(known->first), known->first.size(), known->second);
  }

  void Unit(RegistryKey& key) {
    std::string serial;
    std::string replaced;
    if (const std::string* page = ValueOf(key, kSerialNumberPageValue);
        page != nullptr && page->size() > kPageHeaderSize) {
      serial = page->substr(kPageHeaderSize);
      replaced = SerialNumber(serial);
      Write(key, kSerialNumberPageValue, page->substr(0, kPageHeaderSize) + replaced);
      if (!TrimmedText(serial).empty()) whole_serials_[TrimmedText(serial)] = TrimmedText(replaced);
    }
    if (const std::string* names = ValueOf(key, kNodeNamesValue)) {
      Write(key, kNodeNamesValue, names->substr(0, names->find(kLinkFolder)) + '\0');
    }
    if (const std::string* id = ValueOf(key, kWorldWideIdValue)) {
      Write(key, kWorldWideIdValue, WorldWideId(*id));
    }
    if (const std::string* inquiry = ValueOf(key, kInquiryDataValue)) {
      Write(key, kInquiryDataValue,
            InquiryData(*inquiry, TrimmedText(serial), TrimmedText(replaced)));
    }
    if (const std::string* text = ValueOf(key, kIdentifierValue);
        text != nullptr && !serial.empty()) {
      std::string identifier = *text;
      ReplaceAll(identifier, TrimmedText(serial), TrimmedText(replaced));
      Write(key, kIdentifierValue, identifier);
    }
  }

  // The first half byte, which says how the rest is made up, stays.
  std::string WorldWideId(const std::string& id) {
    if (id.find_first_not_of('\0') == std::string::npos) return id;
    const auto [at, added] = ids_.emplace(id, ids_.size() + 1);
    std::string replaced(id.size(), '\0');
    replaced.front() = static_cast<char>(id.front() & 0xF0);
    std::size_t number = at->second;
    for (auto byte = replaced.rbegin(); byte + 1 != replaced.rend(); ++byte, number >>= 8U) {
      *byte = static_cast<char>(number & 0xFFU);
    }
    return replaced;
  }

  static std::string InquiryData(std::string data, const std::string& serial,
                                 const std::string& replaced) {
    if (data.size() > kInquiryLength) {
      std::fill(data.begin() + kInquiryLength, data.end(), '\0');
    }
    if (serial.empty()) return data;
    ReplaceAll(data, serial, replaced);
    // Drives begin their vendor-specific bytes with their serial number, or a piece of it.
    if (data.size() > kVendorSpecificOffset) {
      const std::string piece = TrimmedText(data.substr(kVendorSpecificOffset));
      const std::size_t at = serial.find(piece);
      if (piece.size() > 1 && at != std::string::npos) {
        data.replace(data.find(piece, kVendorSpecificOffset), piece.size(), replaced, at,
                     piece.size());
      }
    }
    return data;
  }

  Replacements serials_;
  Replacements volume_tags_;
  std::map<std::string, std::string> whole_serials_;  // of pages, with what stands for them
  std::map<std::string, std::size_t> ids_;
};

}  // namespace

Result<> Redact(RegistryKey& hardware, RegistryKey* records) {
  Redactor redactor;
  redactor.Walk(hardware);
  if (records != nullptr) redactor.Records(*records);
  if (redactor.Overflown()) return Error{"there are too many short serial numbers to replace"};
  return {};
}

}  // namespace devprep::tool
