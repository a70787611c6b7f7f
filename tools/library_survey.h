// Asking a machine for the map of its libraries.
#ifndef DEVPREP_TOOLS_LIBRARY_SURVEY_H_
#define DEVPREP_TOOLS_LIBRARY_SURVEY_H_

#include <vector>

#include "library_map.h"
#include "platform/result.h"
#include "records/device_record.h"

namespace devprep::tool {

// The stored records of all devices that can be read. Within a session.
std::vector<DeviceRecord> ReadConfiguredDevices();

// Whether this machine's pass-through can ask a changer for its elements.
Result<> CheckElementsCanBeAsked();

// Asks every attached unit and draws the map. Moves, initialises and reserves nothing. Within a
// session that has hardware.
LibraryMap SurveyLibraries();

// For the pass: asks the changers among the found devices for their drives and fills in
// FoundChangers. Without a changer nothing is asked.
void SurveyFoundChangers();

}  // namespace devprep::tool

#endif  // DEVPREP_TOOLS_LIBRARY_SURVEY_H_
