#include "machine.h"

#include "platform/posix/hardware.h"
#include "platform/posix/registry_file.h"
#include "session.h"

namespace devprep::tool {

std::shared_ptr<RegistryKey> HardwareBranch() { return CurrentHardware()->DeviceMap(); }

UnitAnswers AskUnit(const ScsiAddress& unit) {
  HardwareSource& hardware = *CurrentHardware();
  UnitAnswers answers;
  answers.inquiry_data = hardware.StandardInquiry(unit);
  answers.serial_number_page = hardware.VitalProductData(unit, kUnitSerialNumberPage);
  answers.world_wide_id = hardware.WorldWideId(unit);
  UnitCondition condition = hardware.Condition(unit);
  answers.time_to_answer = condition.time_to_answer;
  answers.problem = std::move(condition.problem);
  return answers;
}

void SaveFile(const std::string& file_name, const std::string& text) {
  if (const Result<> replaced = ReplaceFile(file_name, text); !replaced) {
    throw Failure(replaced.Failure().Text());
  }
}

}  // namespace devprep::tool
