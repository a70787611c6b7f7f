#include "library_survey.h"

#include <algorithm>

#include "attached.h"
#include "discovery/scsi_probe.h"
#include "machine.h"
#include "reconfig/changer_drives.h"
#include "refusal.h"
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
  if (ElementsCanBeAsked()) return {};
  return Refusal(
      {"elements_not_asked",
       "the pass-through of this machine has three calls only, none of them for a changer's "
       "elements: make a capture where it can be asked, and give it to 'devprep library' with "
       "--hardware"});
}

void SurveyFoundChangers() {
  const std::vector<DeviceRecord> found(FoundDevices, FoundDevices + FoundDeviceCount);
  const bool any_changer = std::any_of(
      found.begin(), found.end(), [](const auto& device) { return device.Type == kTypeChanger; });
  if (!any_changer || !ElementsCanBeAsked()) return;
  const std::vector<ChangerDrives> named = NamedDrives(DrawLibraryMap(AskLibraryUnits(), found));
  for (const ChangerDrives& drives : named) {
    if (drives.Changer == kDeviceGone || FoundChangers.Count == kMaxFoundDevices) continue;
    FoundChangers.Items[FoundChangers.Count++] = drives;
  }
}

LibraryMap SurveyLibraries() {
  return DrawLibraryMap(AskAttachedUnits(Asked::kLibrary), ReadConfiguredDevices());
}

}  // namespace devprep::tool
