// mutations FOLDER COUNT: so many deterministic mutations of a target's files in fuzz/seeds: bytes overwritten, bits
// flipped, pieces cut out, repeated or taken from another file, numbers made extreme. The files themselves must be read
// whole, every mutation read or refused within a time bound; sanitizers see the rest.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "fuzz.h"
#include "inputs.h"

using Bytes = std::vector<uint8_t>;

namespace {

std::mt19937 random32(1);
size_t below(size_t n) { return random32() % n; }

Bytes mutate(const std::vector<Bytes>& files) {
  Bytes b = files[below(files.size())];
  for (size_t n = 1 + below(4); n > 0 && !b.empty(); --n) {
    const size_t at = below(b.size()), length = 1 + below(16);
    const auto here = b.begin() + long(at);
    const auto later = [&](size_t count) { return b.begin() + long(std::min(b.size(), at + count)); };
    switch (below(7)) {
      case 0:
        b[at] = uint8_t(random32());
        break;
      case 1:
        b[at] = uint8_t(b[at] ^ 1u << below(8));
        break;
      case 2:
        b.resize(at + 1);
        break;
      case 3:
        b.erase(here, later(length));
        break;
      case 4: {
        const Bytes piece(here, later(8 * length));
        b.insert(b.begin() + long(below(b.size())), piece.begin(), piece.end());
        break;
      }
      case 5: {
        const Bytes& other = files[below(files.size())];
        b.resize(at + 1);
        b.insert(b.end(), other.begin() + long(below(other.size())), other.end());
        break;
      }
      default:  // the start of a marker, sooner or later also numbers in headers
        std::fill(here, later(1 + below(4)), uint8_t(below(2) ? 0xFF : 0));
        if (at + 1 < b.size()) b[at + 1] = uint8_t(random32());
    }
  }
  return b;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::puts("mutations FOLDER COUNT"), 2;
  const int count = std::atoi(argv[2]);
  std::vector<Bytes> files;
  for (const FuzzInput& input : inputsIn(argv[1])) {
    files.push_back(input.bytes);
    LLVMFuzzerTestOneInput(input.bytes.data(), input.bytes.size());
    if (fuzzOutcome.refused || fuzzOutcome.inPart || fuzzOutcome.whole != 2 * long(files.size())) {
      std::printf("%s is not read whole\n", input.path.c_str());
      return 1;
    }
  }
  double slowest = 0;
  for (int i = 0; i < count; ++i) {
    const Bytes file = mutate(files);
    const auto start = std::chrono::steady_clock::now();
    LLVMFuzzerTestOneInput(file.data(), file.size());
    slowest = std::max(slowest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (slowest > 10) {
      std::printf("mutation %d: %.1f seconds\n", i, slowest);
      return 1;
    }
  }
  const FuzzOutcome& o = fuzzOutcome;
  std::printf("%d mutations of %zu files: %ld reads whole, %ld in part, %ld refused; the slowest took %.3f s\n", count,
              files.size(), o.whole, o.inPart, o.refused, slowest);
  // A reader that refuses everything, or nothing, is not tested by this.
  return count < 100 || (o.whole && o.inPart && o.refused) ? 0 : 1;
}
