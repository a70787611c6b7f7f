// What is attached now: every unit of the device map with its answers.
#ifndef DEVPREP_TOOLS_ATTACHED_H_
#define DEVPREP_TOOLS_ATTACHED_H_

#include <string>
#include <vector>

#include "machine.h"
#include "records/device_record.h"

namespace devprep::tool {

struct AttachedUnit {
  DeviceRecord record = {};  // address, type, description, serial number and World Wide ID
  std::string driver;        // of its port
  UnitAnswers answers;

  ScsiAddress Address() const;
  // Vendor, product and revision.
  std::string Description() const;
  // The whole text of its page, however much of it a record keeps. Empty without one.
  std::string SerialNumber() const;
};

// Says how many units stand beyond what the library takes of the device map, once: a command may
// list the map more than once. Within a session that has listed it.
void NoteUnitsLeftOut();

// Asks every unit. Within a session that has hardware.
std::vector<AttachedUnit> AskAttachedUnits(Asked asked = Asked::kIdentity);

// Asks the tape drives and changers alone, for what a library's map is drawn from.
std::vector<AttachedUnit> AskLibraryUnits();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_ATTACHED_H_
