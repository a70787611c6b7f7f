#include "machine.h"

#include <utility>

#include "metrics.h"
#include "picture.h"
#include "platform/hardware/hardware_map.h"
#include "platform/registry/registry_text.h"

namespace devprep::tool {

UnitAnswers AnswersOf(HardwareSource& hardware, const ScsiAddress& unit, Asked asked) {
  UnitAnswers answers;
  answers.inquiry_data = hardware.StandardInquiry(unit);
  answers.serial_number_page = hardware.VitalProductData(unit, kUnitSerialNumberPage);
  answers.world_wide_id = hardware.WorldWideId(unit);
  answers.nodes = hardware.NodeNames(unit);
  const std::string type = UnitTypeName(hardware.DeviceMap(), unit);
  if (asked == Asked::kLibrary && type == kChangerWord) {
    answers.element_addresses = hardware.ElementAddressPage(unit);
    answers.element_status = hardware.ElementStatusData(unit);
  } else if (asked == Asked::kLibrary && type == kTapeWord) {
    answers.drive_element = hardware.DriveElementPage(unit);
  }
  UnitCondition condition = hardware.Condition(unit);
  answers.time_to_answer = condition.time_to_answer;
  answers.problem = std::move(condition.problem);
  answers.no_elements = std::move(condition.no_elements);
  return answers;
}

std::string CheckKind(const std::string& head, FileKind kind) {
  switch (kind) {
    case FileKind::kRegistryText:
      if (IsRegistryText(head)) return "";
      return "this is neither an export nor a capture; --force replaces it all the same";
    case FileKind::kMetrics:
      if (IsMetrics(head)) return "";
      return "these are no metrics that 'devprep check' wrote: name another file";
    case FileKind::kPicture:
      break;
  }
  if (IsPicture(head)) return "";
  return "this is no picture that 'devprep picture' wrote; --force replaces it all the same";
}

}  // namespace devprep::tool
