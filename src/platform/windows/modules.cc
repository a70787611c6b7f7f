#include "platform/modules.h"

namespace devprep {
namespace {

constexpr const char* kSupportModule = "kxtool";

}  // namespace

void LoadSupportModule() { LoadLibraryA(kSupportModule); }

std::FILE* OpenProductFile(const char* path, const char* mode) { return std::fopen(path, mode); }

}  // namespace devprep
