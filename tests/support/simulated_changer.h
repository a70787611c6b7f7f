// A medium changer that answers MODE SENSE and READ ELEMENT STATUS in the dialect of a maker, and
// lies where it is told to.
#ifndef DEVPREP_TESTS_SUPPORT_SIMULATED_CHANGER_H_
#define DEVPREP_TESTS_SUPPORT_SIMULATED_CHANGER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/hardware/element_pages.h"
#include "platform/hardware/scsi_pages.h"
#include "platform/hardware/scsi_transport.h"

namespace devprep {

// How a changer names a drive.
enum class DriveNaming { kNothing, kSerialNumber, kT10, kNaa };

struct SimulatedElement {
  std::uint16_t address = 0;
  std::string volume_tag = {};  // empty: the element is, too
  bool accessible = true;
  // Of a drive.
  DriveNaming naming = DriveNaming::kNothing;
  std::string name = {};  // serial number, or 8 bytes
  std::optional<std::uint8_t> target = {};
};

struct SimulatedChanger {
  std::vector<SimulatedElement> drives;
  std::vector<SimulatedElement> slots;
  std::vector<SimulatedElement> import_export;

  // Commands that it refuses with ILLEGAL REQUEST.
  std::function<bool(const ScsiCommand&)> refuses = [](const ScsiCommand&) { return false; };
  // What it makes of an answer before that is cut to the allocation length.
  std::function<std::string(std::string)> distorts = [](std::string answer) { return answer; };

  static SimulatedChanger WithSlots(std::size_t slots, std::uint16_t first = 1) {
    SimulatedChanger changer;
    for (std::size_t n = 0; n < slots; ++n) {
      changer.slots.push_back({.address = static_cast<std::uint16_t>(first + n),
                               .volume_tag = n % 2 == 0 ? std::to_string(1000 + n) : ""});
    }
    return changer;
  }

  // The answer to either command.
  FinishedCommand Answer(const ScsiCommand& command) const {
    FinishedCommand finished;
    const std::uint8_t code = command.cdb[0];
    const bool ten_bytes = code == 0x5A;
    if (refuses(command) || (code != 0x1A && !ten_bytes && code != 0xB8)) {
      finished.sense = {5, 0x24, 0};
      finished.outcome = JudgeStatus(kStatusCheckCondition, finished.sense);
      return finished;
    }
    finished.data =
        code == 0xB8 ? Status(command) : std::string(ten_bytes ? 8 : 4, '\0') + AddressPage();
    finished.data = distorts(finished.data);
    finished.data.resize(std::min(finished.data.size(), command.allocation));
    return finished;
  }

  std::string AddressPage() const {
    std::string page = std::string("\x1d\x12\0\0\0\0", 6);
    for (const auto* elements : {&slots, &import_export, &drives}) {
      page += Number(elements->empty() ? 0 : elements->front().address, 2) +
              Number(elements->size(), 2);
    }
    return page + std::string(2, '\0');
  }

  // All elements, with all that it tells of them.
  std::string Status() const {
    return Status(ElementStatusCommand{.allocation = 1U << 24}.Command());
  }

  static std::string Number(std::size_t number, int bytes) {
    std::string text;
    AppendNumber(text, number, bytes);
    return text;
  }

 private:
  static void AppendNumber(std::string& text, std::size_t number, int bytes) {
    while (bytes-- > 0) text += static_cast<char>(number >> (8 * bytes) & 0xFF);
  }

  static std::string Padded(std::string text, std::size_t size) {
    text.resize(size, ' ');
    return text;
  }

  static std::string Identification(const SimulatedElement& drive) {
    const auto header = [](int code_set, int type, std::size_t size) {
      return Number(static_cast<std::size_t>(code_set), 1) +
             Number(static_cast<std::size_t>(type), 1) + Number(size, 2);
    };
    switch (drive.naming) {
      case DriveNaming::kSerialNumber:
        return header(2, 0, drive.name.size()) + drive.name;
      case DriveNaming::kT10:
        return header(2, 1, 34) + Padded("ACME", 8) + Padded("STREAMER-9", 16) +
               Padded(drive.name, 10);
      case DriveNaming::kNaa:
        return header(1, 3, drive.name.size()) + drive.name;
      case DriveNaming::kNothing:
        break;
    }
    return std::string(4, '\0');
  }

  std::string Status(const ScsiCommand& command) const {
    const auto at = [&command](std::size_t i) { return static_cast<unsigned>(command.cdb[i]); };
    const unsigned type = at(1) & 0xF;
    const bool tags = (at(1) & 0x10) != 0;
    const unsigned first = at(2) << 8 | at(3);
    unsigned left = at(4) << 8 | at(5);
    std::string pages;
    std::size_t reported = 0;
    const auto add = [&](unsigned page_type, const std::vector<SimulatedElement>& elements) {
      if (type != 0 && type != page_type) return;
      constexpr std::size_t kIdentificationSize = 38;
      const bool of_drives = page_type == 4;
      const bool identify = (at(6) & 1) != 0 && of_drives;
      const std::size_t size = 12 + (tags ? 36 : 0) + (identify ? kIdentificationSize : 4);
      // Without texts in between: a benchmark asks for thousands of elements.
      std::string descriptors;
      descriptors.reserve(elements.size() * size);
      for (const SimulatedElement& element : elements) {
        if (element.address < first || left == 0) continue;
        --left;
        ++reported;
        const unsigned flags =
            (element.volume_tag.empty() ? 0U : 1U) | (element.accessible ? 8U : 0U);
        const std::size_t begin = descriptors.size();
        AppendNumber(descriptors, element.address, 2);
        AppendNumber(descriptors, flags, 1);
        descriptors.append(3, '\0');
        AppendNumber(descriptors, element.target ? 0x30U : 0U, 1);
        AppendNumber(descriptors, element.target.value_or(0), 1);
        descriptors.append(4, '\0');
        if (tags) {
          descriptors += element.volume_tag;
          descriptors.resize(begin + 12 + 32, ' ');
          descriptors.append(4, '\0');
        }
        if (identify) descriptors += Identification(element);
        descriptors.resize(begin + size, '\0');
      }
      if (descriptors.empty()) return;
      pages += Number(page_type, 1) + Number(tags ? 0x80U : 0U, 1) + Number(size, 2) +
               Number(descriptors.size(), 4) + descriptors;
    };
    add(2, slots);
    add(3, import_export);
    add(4, drives);
    return Number(first, 2) + Number(reported, 2) + Number(pages.size(), 4) + pages;
  }
};

}  // namespace devprep

#endif  // DEVPREP_TESTS_SUPPORT_SIMULATED_CHANGER_H_
