#include "library_survey.h"

#include "attached.h"
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

LibraryMap SurveyLibraries() {
  return DrawLibraryMap(AskAttachedUnits(Asked::kLibrary), ReadConfiguredDevices());
}

}  // namespace devprep::tool
