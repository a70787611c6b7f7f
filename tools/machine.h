// The machine under the tool, which each platform reaches in its own way: the device map, what the
// devices answer, and files.
#ifndef DEVPREP_TOOLS_MACHINE_H_
#define DEVPREP_TOOLS_MACHINE_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/hardware/hardware_source.h"
#include "platform/raw_scsi.h"
#include "platform/registry/registry_key.h"
#include "platform/result.h"

namespace devprep::tool {

// What a unit answers. Nothing where it does not.
struct UnitAnswers {
  std::optional<std::string> inquiry_data;
  std::optional<std::string> serial_number_page;
  std::optional<std::string> world_wide_id;
  // Asked for the library's map alone (platform/hardware/element_pages.h).
  std::optional<std::string> element_addresses;  // of a changer
  std::optional<std::string> element_status;     // of a changer
  std::optional<std::string> drive_element;      // of a tape drive
  std::vector<std::string> nodes;  // paths such as /dev/nst0; where the machine has such names
  std::optional<std::chrono::microseconds> time_to_answer;  // of the slowest, where that is known
  std::string problem;      // why it gave no answer, or one that is not believed; empty: none
  std::string no_elements;  // why a changer does not report its elements; empty: not known
};

// The key HARDWARE. Null when this machine has none. Within a session that has hardware.
std::shared_ptr<RegistryKey> HardwareBranch();

// The attached units that the device map does not list because they did not say what they are.
// Whoever asks answers for them: they do not fail the session any more.
std::vector<SilentUnit> TakeUnidentifiedUnits();

// What a unit is asked: what it is, or, of changers and drives, where the library's elements are as
// well.
enum class Asked { kIdentity, kLibrary };

// Asks these units at once. Within a session that has hardware.
void PrefetchUnits(const std::vector<ScsiAddress>& units, Asked asked);

// Whether the devices can be asked where a library's elements are. Within a session that has
// hardware.
bool ElementsCanBeAsked();

// What a source answers of one unit.
UnitAnswers AnswersOf(HardwareSource& hardware, const ScsiAddress& unit, Asked asked);

// Asks one unit. Within a session that has hardware.
UnitAnswers AskUnit(const ScsiAddress& unit, Asked asked);

// The serial number page and the node names of a unit alone. Within a session that has hardware.
std::optional<std::string> AskSerialNumberPage(const ScsiAddress& unit);
std::vector<std::string> NodeNamesOf(const ScsiAddress& unit);

// How long a unit took when it was last asked, where that is known. Asks nothing. Within a session
// that has hardware.
std::optional<std::chrono::microseconds> TimeToAnswer(const ScsiAddress& unit);

// Copies the registry below to, the root of a tree: all of it where it is in a file, or else the
// product's branch. Within a session.
Result<> CopyRegistry(RegistryKey& to);

// What a file of this tool holds.
enum class FileKind { kRegistryText, kPicture, kMetrics };

// What is wrong with replacing a file that begins with head by one of that kind. Empty: nothing,
// since it is one of that kind.
std::string CheckKind(const std::string& head, FileKind kind);

// Writes a file that somebody asked for. "-", and what is no regular file (a device, a pipe), is
// written to. A regular file is replaced whole, a link followed. Without force that is refused for
// the registry in use, and for a file of another kind. Returns whether the text went to
// standard output. After an error an old file is still there.
Result<bool> SaveFile(const std::string& file_name, const std::string& text, bool force,
                      FileKind kind = FileKind::kRegistryText);

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_MACHINE_H_
