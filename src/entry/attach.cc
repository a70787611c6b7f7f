// Loading and unloading the library, in the terms of the start-up. The tool and the tests are
// linked without it: they call DllMain themselves, once they have chosen their registry.
#include "entry/library.h"

namespace {

[[gnu::constructor]] void Attach() { DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr); }

[[gnu::destructor]] void Detach() { DllMain(nullptr, DLL_PROCESS_DETACH, nullptr); }

}  // namespace
