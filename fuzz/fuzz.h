// What a fuzz target of whole files offers: libFuzzer's entry point, and for runs without libFuzzer what became of the
// inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "common/error.h"
#include "common/image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

struct FuzzOutcome {
  long whole = 0, inPart = 0, refused = 0;
  long bright = 0;  // pictures of a certain kind, so that their samples are looked at
};
inline FuzzOutcome fuzzOutcome;

// A number that the bytes choose.
inline unsigned choiceOf(const uint8_t* data, size_t size) { return std::accumulate(data, data + size, 0u); }

// Decodes the bytes as they are, then with keep-going, and counts what became of it. A refusal must say why. The
// picture of the first decoding, empty where it was refused.
template <class Options>
zelcodecs::Image decodeBothWays(zelcodecs::Image decode(const uint8_t*, size_t, const Options&), const uint8_t* data,
                                size_t size, Options options) {
  zelcodecs::Image first;
  for (const bool keepGoing : {false, true}) {
    std::vector<std::string> warnings;
    options.warnings = &warnings;
    options.keepGoing = keepGoing;
    try {
      zelcodecs::Image image = decode(data, size, options);
      // A picture that depends on memory that was never written shows here under valgrind.
      if (image.row(image.height() - 1)[image.rowBytes() - 1] > 255 - image.row(0)[0]) ++fuzzOutcome.bright;
      ++(keepGoing && !warnings.empty() ? fuzzOutcome.inPart : fuzzOutcome.whole);
      if (!keepGoing) first = std::move(image);
    } catch (const zelcodecs::Error& e) {
      if (std::string(e.what()).size() < 10) std::abort();
      ++fuzzOutcome.refused;
    }
  }
  return first;
}
