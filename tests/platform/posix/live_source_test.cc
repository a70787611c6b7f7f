#include "platform/posix/live_source.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/registry/registry_text.h"

namespace devprep {
namespace {

// A sysfs and a folder of device nodes of their own.
class Kernel {
 public:
  Kernel() {
    folder_ = std::filesystem::temp_directory_path() / "devprep-sysfs-XXXXXX";
    if (mkdtemp(folder_.data()) == nullptr) std::abort();
    std::filesystem::create_directories(Sysfs() + "/bus/scsi/devices");
    std::filesystem::create_directories(Devices());
  }
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;
  ~Kernel() { std::filesystem::remove_all(folder_); }

  std::string Sysfs() const { return folder_ + "/sys"; }
  std::string Devices() const { return folder_ + "/dev"; }

  void Host(int number, const std::string& driver) {
    Attribute("/class/scsi_host/host" + std::to_string(number) + "/proc_name", driver);
    std::filesystem::create_directories(Sysfs() + "/bus/scsi/devices/host" +
                                        std::to_string(number));
  }
  void Unit(const std::string& address, int type, const std::string& product,
            const std::string& node = "") {
    const std::string at = "/bus/scsi/devices/" + address;
    Attribute(at + "/vendor", "ACME    ");
    Attribute(at + "/model", product);
    Attribute(at + "/rev", "1.0");
    Attribute(at + "/type", std::to_string(type));
    if (!node.empty()) std::filesystem::create_directories(Sysfs() + at + "/scsi_generic/" + node);
  }

 private:
  void Attribute(const std::string& path, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(Sysfs() + path).parent_path());
    std::ofstream(Sysfs() + path) << text << '\n';
  }

  std::string folder_;
};

TEST(LiveSource, HostsBecomeDensePortsInTheirOrder) {
  Kernel kernel;
  kernel.Host(10, "qla2xxx");
  kernel.Host(2, "mpt3sas");
  kernel.Host(4, "ahci");
  kernel.Unit("10:1:3:7", 8, "ROBOT-40");
  kernel.Unit("2:0:0:0", 1, "A DRIVE WITH 16C");
  kernel.Unit("2:0:1:0", 13, "SHELF");
  std::filesystem::create_directories(kernel.Sysfs() + "/bus/scsi/devices/target2:0:0");
  const auto live = OpenLive(kernel.Sysfs(), kernel.Devices());
  ASSERT_TRUE(live);
  EXPECT_EQ(WriteKeyText("HARDWARE", *(*live)->DeviceMap()), R"(
[HARDWARE]

[HARDWARE\DEVICEMAP]

[HARDWARE\DEVICEMAP\Scsi]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0]
"Driver"="mpt3sas"

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0\Target Id 0]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0\Target Id 0\Logical Unit Id 0]
"Identifier"="ACME    A DRIVE WITH 16C1.0 "
"Type"="TapePeripheral"

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0\Target Id 1]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 0\Scsi Bus 0\Target Id 1\Logical Unit Id 0]
"Identifier"="ACME    SHELF           1.0 "
"Type"="OtherPeripheral"

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 1]
"Driver"="ahci"

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 2]
"Driver"="qla2xxx"

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 2\Scsi Bus 1]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 2\Scsi Bus 1\Target Id 3]

[HARDWARE\DEVICEMAP\Scsi\Scsi Port 2\Scsi Bus 1\Target Id 3\Logical Unit Id 7]
"Identifier"="ACME    ROBOT-40        1.0 "
"Type"="MediumChangerPeripheral"
)");
}

TEST(LiveSource, UnitsBeyondTheMapAreNamedOnce) {
  Kernel kernel;
  kernel.Host(0, "fc");
  kernel.Unit("0:0:128:0", 1, "FAR");
  kernel.Unit("0:8:0:0", 1, "BEYOND");
  kernel.Unit("0:0:0:64", 8, "HIGH");
  kernel.Unit("0:7:127:63", 8, "LAST");
  const auto live = OpenLive(kernel.Sysfs(), kernel.Devices());
  testing::internal::CaptureStderr();
  const std::string map = WriteKeyText("H", *(*live)->DeviceMap());
  (*live)->Renew();
  (*live)->DeviceMap();
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(map.find("LAST"), std::string::npos);
  for (const char* out : {"FAR", "BEYOND", "HIGH"}) {
    EXPECT_EQ(map.find(out), std::string::npos) << out;
    EXPECT_NE(said.find(out), std::string::npos) << out;
    EXPECT_EQ(said.find(out), said.rfind(out)) << out;
  }
}

TEST(LiveSource, WhatCannotBeAskedSaysWhy) {
  Kernel kernel;
  kernel.Host(3, "mpt3sas");
  kernel.Unit("3:0:0:0", 1, "NO NODE");
  kernel.Unit("3:0:1:0", 1, "GONE", "sg1");
  kernel.Unit("3:0:2:0", 1, "NO SG", "sg2");
  std::ofstream(kernel.Devices() + "/sg2").flush();
  const auto live = OpenLive(kernel.Sysfs(), kernel.Devices());
  const ScsiAddress units[] = {{0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 9, 0}};
  testing::internal::CaptureStderr();
  (*live)->Prefetch(units);
  for (const ScsiAddress& unit : units) EXPECT_FALSE((*live)->StandardInquiry(unit));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "devprep: 0:0:0:0 ACME NO NODE (3:0:0:0): has no SCSI generic node "
            "(is the kernel module sg loaded?)\n"
            "devprep: 0:0:1:0 ACME GONE (3:0:1:0, sg1): cannot open " +
                kernel.Devices() +
                "/sg1: No such file or directory\n"
                "devprep: 0:0:9:0: is not attached\n");
}

TEST(LiveSource, NoSysfsIsNoEmptyMachine) {
  const auto live = OpenLive("/nonexistent", "/nonexistent");
  ASSERT_FALSE(live);
  EXPECT_NE(live.Failure().message, "");
}

}  // namespace
}  // namespace devprep
