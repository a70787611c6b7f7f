#include "platform/modules.h"

namespace devprep {
namespace {

constexpr const char* kSupportModule = "kxtool";

}  // namespace

void LoadSupportModule() { LoadLibraryA(kSupportModule); }

HMODULE LoadProductModule(const char* path) {
  return LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

std::FILE* OpenProductFileToAppend(const char* path) { return std::fopen(path, "ab+"); }

}  // namespace devprep
