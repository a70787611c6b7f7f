#include "platform/hardware/capture_source.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/hardware/hardware_map.h"
#include "platform/raw_scsi.h"
#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

class CaptureSource : public HardwareSource {
 public:
  explicit CaptureSource(std::shared_ptr<RegistryKey> branch) : branch_(std::move(branch)) {}

  std::shared_ptr<RegistryKey> DeviceMap() override { return branch_; }

  std::optional<std::string> StandardInquiry(const ScsiAddress& address) override {
    return Answer(address, kInquiryDataValue);
  }
  std::optional<std::string> VitalProductData(const ScsiAddress& address,
                                              std::uint32_t page) override {
    if (page != kUnitSerialNumberPage) return std::nullopt;
    return Answer(address, kSerialNumberPageValue);
  }
  std::optional<std::string> WorldWideId(const ScsiAddress& address) override {
    return Answer(address, kWorldWideIdValue);
  }

  std::optional<std::string> ElementAddressPage(const ScsiAddress& changer) override {
    return Answer(changer, kElementAddressValue);
  }
  std::optional<std::string> ElementStatusData(const ScsiAddress& changer) override {
    return Answer(changer, kElementStatusValue);
  }
  std::optional<std::string> DriveElementPage(const ScsiAddress& drive) override {
    return Answer(drive, kDriveElementValue);
  }
  std::vector<std::string> NodeNames(const ScsiAddress& address) override {
    return SplitNodeNames(Answer(address, kNodeNamesValue).value_or(""));
  }

 private:
  std::optional<std::string> Answer(const ScsiAddress& address, const char* value_name) {
    if (!asked_ || *asked_ != address) {
      unit_ = FindUnit(branch_, address);
      asked_ = address;
    }
    const RegistryValue* value = unit_ == nullptr ? nullptr : unit_->FindValue(value_name);
    if (value == nullptr) return std::nullopt;
    return value->data;
  }

  std::shared_ptr<RegistryKey> branch_;
  // The unit asked last: questions come several in a row.
  std::optional<ScsiAddress> asked_;
  std::shared_ptr<RegistryKey> unit_;
};

}  // namespace

Result<std::unique_ptr<HardwareSource>> OpenCapture(const std::string& path,
                                                    const std::string& text) {
  const auto root = std::make_shared<RegistryKey>("");
  if (const Result<> read = ReadRegistryText(text, *root); !read) {
    return read.Failure().In(path);
  }
  return std::unique_ptr<HardwareSource>(std::make_unique<CaptureSource>(
      FindPath(root, std::string(kLocalMachineName) + "\\" + kHardwareKey)));
}

}  // namespace devprep
