// zelj_digest VARIANT CORPUS: one line that stands for the results of all functions on fixed inputs, the same on every
// processor. The inputs are those of the fuzz targets of primitives (CORPUS is fuzz/corpus) and pseudo-random ones; the
// targets make calls of them, and every status and every byte that a call may write goes into the digest, in order.
#include <cstdio>
#include <random>

#include "inputs.h"
#include "primitives.h"

// The entry points of the targets, each compiled under its own name.
#define DIGEST_TARGET(name) extern "C" int name(const uint8_t* data, size_t size);
#include "digest_targets.inc"
#undef DIGEST_TARGET

namespace {

const char* const kFunctions[] = {
#define ZEL_EXPORT(name) #name,
#include "exports.inc"
#undef ZEL_EXPORT
};

struct Digest : fuzz::Watcher {
  uint64_t state = 0;
  long calls[std::size(kFunctions)] = {};

  void add(uint64_t x) {  // splitmix64's finish, so that one bit changes all
    state = (state ^ x) + 0x9E3779B97F4A7C15u;
    state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
    state = (state ^ (state >> 27)) * 0x94D049BB133111EBu;
    state ^= state >> 31;
  }
  void called(size_t function, ZelStatus status) override {
    ++calls[function];
    add(function << 32 | uint32_t(status));
  }
  void wrote(const void* bytes, size_t n) override {
    for (size_t i = 0; i < n; i += 8) {
      uint64_t x = 0;
      std::memcpy(&x, static_cast<const char*>(bytes) + i, std::min(size_t{8}, n - i));
      add(x);
    }
  }
};

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> inputsOf(const std::string& folder, uint32_t seed) {
  std::vector<Bytes> inputs;
  for (const FuzzInput& input : inputsIn(folder)) inputs.push_back(input.bytes);
  std::mt19937 random32(seed);
  for (int i = 0; i < 2000; ++i) {
    Bytes b(8 + random32() % 250);
    for (uint8_t& x : b) x = uint8_t(random32());
    inputs.push_back(std::move(b));
  }
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::puts("zelj_digest VARIANT CORPUS"), 2;
  for (const zeltest::Variant& v : zeltest::variants())
    if (v.supported && std::string(argv[1]) == v.name) fuzz::only = &v;
  if (!fuzz::only) return std::fprintf(stderr, "this processor does not run %s\n", argv[1]), 77;

  Digest digest;
  fuzz::watcher = &digest;
  uint32_t seed = 0;
  const auto run = [&](const char* target, auto* call) {
    for (const Bytes& b : inputsOf(std::string(argv[2]) + "/" + target, ++seed)) call(b.data(), b.size());
  };
#define DIGEST_TARGET(name) run(#name, name);
#include "digest_targets.inc"
#undef DIGEST_TARGET

  long total = 0;
  for (size_t i = 0; i < std::size(kFunctions); ++i) {
    total += digest.calls[i];
    // The version tells of the processor.
    if (digest.calls[i] < 5 && std::string(kFunctions[i]) != "zeljGetLibVersion")
      return std::fprintf(stderr, "%s was called %ld times\n", kFunctions[i], digest.calls[i]), 1;
  }
  std::printf("%ld calls of %zu functions: %016llx\n", total, std::size(kFunctions) - 1,
              static_cast<unsigned long long>(digest.state));
  return 0;
}
