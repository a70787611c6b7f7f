// The shared library as a caller meets it: loaded, used and unloaded, several times over.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "devprep/devprep.h"
#include "support/world.h"

namespace devprep {
namespace {

class Loaded {
 public:
  Loaded() : library_(dlopen(DEVPREP_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(library_, nullptr) << dlerror();
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;
  ~Loaded() {
    dlclose(library_);
    EXPECT_EQ(dlopen(DEVPREP_SHARED_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  }
  template <typename Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(library_, name));
  }

 private:
  void* library_;
};

TEST(SharedLibrary, EveryLoadStartsAfresh) {
  World world;
  world.Attach({{.target = 1, .type = kChanger}});
  world.Make(kEngineKey);
  // From here on this process leaves the registry to the library.
  for (const int devices : {0, 1}) {
    RegistryCommit();
    {
      const Loaded library;
      std::uint16_t count = 9;
      library.Find<decltype(::SetUpGetNoOfDevices)>("SetUpGetNoOfDevices")(&count);
      EXPECT_EQ(count, devices);  // a cached count would be that of the load before
      library.Find<decltype(::SetUpInitTapesvrConfig)>("SetUpInitTapesvrConfig")();
    }
    RegistryBegin();
    EXPECT_TRUE(world.Exists("DEVICE0"));  // the pass ran in each load
    world.Remove("DEVICE0");
    if (devices == 0) world.Device(0, Info(0, 0, 7, 0, 5));
  }
}

TEST(SharedLibrary, ARaidIsFilledByOneLoadAndSeenByTheNext) {
  World world;
  world.Device(0, Info(0, 0, 1, 0, 5));
  RegistryCommit();
  {
    const Loaded library;
    std::uint16_t number = 9;
    EXPECT_EQ(library.Find<decltype(::RaidSetUpCreateRaid)>("RaidSetUpCreateRaid")(5, 0, &number),
              0);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(library.Find<decltype(::RaidSetUpAssignDeviceToRaid)>("RaidSetUpAssignDeviceToRaid")(
                  0, 0, 0),
              0);
  }
  {
    const Loaded library;
    RaidInfo raid = {};
    EXPECT_EQ(library.Find<decltype(::RaidSetUpGetRaidInfo)>("RaidSetUpGetRaidInfo")(0, &raid), 0);
    EXPECT_EQ(raid.TapeCount, 1);
  }
  RegistryBegin();
}

}  // namespace
}  // namespace devprep
