#include <gtest/gtest.h>

#include "support/world.h"

namespace devprep {
namespace {

TEST(ConfigurationPass, WritesWhatTheProbeFindsOnANewMachine) {
  World world;
  world.Attach(Machine({{.target = 4, .serial = "A1", .wwid = "\x50\x01"},
                        {.target = 5, .type = kChanger, .product = "LIBRARY"},
                        {.target = 6, .type = kDisk, .identifier = "a disk"}}));
  EXPECT_EQ(::SetUpInitTapesvrConfig(), 0);
  EXPECT_EQ(world.Dump(kEngineKey), Ordered(R"([]
[DEVICE0]
Info="board-0,bus-0,scsiid-4,lun-0,type-5,ACME    DRIVE           1.00"
SerialNumber=<A1+30>
WorldWideID=<P\01+6>
[DEVICE1]
Info="board-0,bus-0,scsiid-5,lun-0,type-17,ACME    LIBRARY         1.00"
SerialNumber=<+32>
WorldWideID=<+8>
[DEVICE2]
Info="board-0,bus-0,scsiid-6,lun-0,type-2,a disk"
SerialNumber=<+32>
WorldWideID=<+8>
)"));
}

}  // namespace
}  // namespace devprep
