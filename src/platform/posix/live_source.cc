#include "platform/posix/live_source.h"

#include "platform/posix/problem.h"

namespace devprep {
namespace {

// A machine with a device map that lists nothing.
class EmptySource : public HardwareSource {
 public:
  EmptySource() { branch_->FindOrAddChild("DEVICEMAP")->FindOrAddChild("Scsi"); }

  std::shared_ptr<RegistryKey> Branch() override { return branch_; }
  std::optional<std::string> StandardInquiry(const ScsiAddress&) override { return std::nullopt; }
  std::optional<std::string> VitalProductData(const ScsiAddress&, std::uint32_t) override {
    return std::nullopt;
  }
  std::optional<std::string> WorldWideId(const ScsiAddress&) override { return std::nullopt; }

 private:
  std::shared_ptr<RegistryKey> branch_ = std::make_shared<RegistryKey>("HARDWARE");
};

}  // namespace

OpenedSource OpenLive() {
  ReportProblem(
      "note: this machine's own SCSI devices cannot be asked yet, so it counts as a machine "
      "without "
      "any; name a capture in DEVPREP_HARDWARE");
  return {std::make_unique<EmptySource>(), {}};
}

}  // namespace devprep
