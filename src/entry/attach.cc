// Loading and unloading the shared library, in the terms of the start-up. It is no part of the
// static library: a program that links that calls DllMain itself, once it has chosen its registry.
#include "entry/library.h"

namespace {

[[gnu::constructor]] void Attach() { DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr); }

[[gnu::destructor]] void Detach() { DllMain(nullptr, DLL_PROCESS_DETACH, nullptr); }

}  // namespace
