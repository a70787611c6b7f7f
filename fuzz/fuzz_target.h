// What every fuzz target shares.
#ifndef DEVPREP_FUZZ_FUZZ_TARGET_H_
#define DEVPREP_FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// A property that must hold for every input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", what);
  std::abort();
}

#endif  // DEVPREP_FUZZ_FUZZ_TARGET_H_
