// A library manager module. Built in several variants, which have more or fewer entries; each call
// leaves a line in the file that DEVPREP_TEST_CALLS names.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#if defined(_WIN32)
#define ENTRY extern "C" __declspec(dllexport)
#else
#define ENTRY extern "C" __attribute__((visibility("default")))
#endif

namespace {

[[gnu::format(printf, 1, 2)]] void Note(const char* format, ...) {
  const char* name = std::getenv("DEVPREP_TEST_CALLS");
  std::FILE* file = name == nullptr ? nullptr : std::fopen(name, "ab");
  if (file == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(file, format, arguments);
  va_end(arguments);
  std::fclose(file);
}

const struct Unloading {
  ~Unloading() { Note("unloaded\n"); }
} unloading;

}  // namespace

#if defined(MODULE_ACSLS)
ENTRY void InitACSLS();
ENTRY void InitACSLS() { Note("InitACSLS\n"); }
#endif

#if defined(MODULE_RESULT)
ENTRY std::uint32_t VLMLNKInitialize();
ENTRY std::uint32_t VLMLNKInitialize() {
  Note("VLMLNKInitialize\n");
  return MODULE_RESULT;
}
#endif

#if defined(MODULE_JUDGE)
// Answers with the digit that the serial number begins with.
ENTRY std::uint32_t VLMLNKIsLibraryRegular(std::uint16_t number, std::uint32_t port,
                                           std::uint32_t bus, std::uint32_t target,
                                           std::uint32_t lun, std::uint8_t* serial);
ENTRY std::uint32_t VLMLNKIsLibraryRegular(std::uint16_t number, std::uint32_t port,
                                           std::uint32_t bus, std::uint32_t target,
                                           std::uint32_t lun, std::uint8_t* serial) {
  Note("judge %u at %u,%u,%u,%u: %.32s\n", number, port, bus, target, lun,
       reinterpret_cast<char*>(serial));
  return serial[0] == 0 ? 0U : static_cast<std::uint32_t>(serial[0] - '0');
}
#endif
