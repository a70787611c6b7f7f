#include "library_survey.h"

#include "attached.h"
#include "machine.h"
#include "store/registry_store.h"

namespace devprep::tool {

std::vector<DeviceRecord> ReadConfiguredDevices() {
  std::vector<DeviceRecord> configured;
  std::uint16_t count = 0;
  CountDeviceRecords(&count);
  for (std::uint16_t n = 0; n < count; ++n) {
    DeviceRecord record = {};
    record.Number = n;
    if (ReadDeviceRecord(&record) == kStatusOk) configured.push_back(record);
  }
  return configured;
}

Result<> CheckElementsCanBeAsked() {
  if (kElementsCanBeAsked) return {};
  return Error{
      "the pass-through of this machine has three calls only, none of them for a changer's "
      "elements: capture the machine where it can be asked"};
}

LibraryMap SurveyLibraries() {
  return DrawLibraryMap(AskAttachedUnits(Asked::kLibrary), ReadConfiguredDevices());
}

}  // namespace devprep::tool
