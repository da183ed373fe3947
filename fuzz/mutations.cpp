// Deterministic mutations of a target's own files: bytes overwritten, bits flipped, pieces cut out, repeated or taken
// from another file, numbers made extreme. Every file must be read or refused within a time bound; sanitizers see the
// rest. The argument is the number of mutations; or --seeds and a directory, where the files themselves are put.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include "fuzz.h"

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
  const int count = argc > 1 ? std::atoi(argv[1]) : 2000;
  const std::vector<Bytes> files = fuzzSeeds();
  for (size_t i = 0; i < files.size(); ++i) {
    if (argc == 3)
      std::ofstream(std::string(argv[2]) + "/seed" + std::to_string(i))
          .write(reinterpret_cast<const char*>(files[i].data()), std::streamsize(files[i].size()));
    LLVMFuzzerTestOneInput(files[i].data(), files[i].size());
    if (fuzzOutcome.refused || fuzzOutcome.inPart) {
      std::printf("file %zu to start from is not read whole\n", i);
      return 1;
    }
  }
  if (argc == 3) return 0;
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
