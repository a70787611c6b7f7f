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

}  // namespace
}  // namespace devprep
