// What a fuzz target offers: libFuzzer's entry point, and for runs without libFuzzer files to start from and what became
// of the inputs.
#ifndef ZELJ_FUZZ_FUZZ_H
#define ZELJ_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

std::vector<std::vector<uint8_t>> fuzzSeeds();

struct FuzzOutcome {
  long whole = 0, inPart = 0, refused = 0;
  long bright = 0;  // pictures of a certain kind, so that their samples are looked at
};
extern FuzzOutcome fuzzOutcome;

#endif
