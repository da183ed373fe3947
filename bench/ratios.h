// Benchmarks that put our variants beside a peer in one process and run. compare() registers one row: the same work
// done by each contender on the same data. Repetitions are interleaved at random, and the report gives medians and the
// ratio of our throughput over the peer's.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/api.h"

// A scalar yardstick, compiled at a stated level: g++ vectorises simple loops at -O3 and not at -O2. clang does at
// both, and has no such attribute.
#ifdef __clang__
#define BENCH_PLAIN(level) [[gnu::noinline]]
#else
#define BENCH_PLAIN(level) [[gnu::noinline, gnu::optimize(level)]]
#endif

namespace bench {

// Does the row's work once. Contenders of one row do the same work on the same data.
using Work = std::function<void()>;

struct Contender {
  std::string name;  // "avx2" and "sse41" are ours; any other name is the peer's
  Work work;
};

struct Target {
  double atLeast;
  double aim;
};

struct Effort {
  int repetitions = 9;
  double seconds = 0.05;  // each, at least
};

// units: how many unit (blocks, pixels) one call of the work handles; times are printed per unit.
void compare(const std::string& row, double units, const std::string& unit, Target target,
             std::vector<Contender> contenders, Effort effort = {});

// One contender for each variant that this processor runs.
template <class MakeWork>
std::vector<Contender> ours(MakeWork make) {
  std::vector<Contender> list;
  for (const zeltest::Variant& v : zeltest::variants())
    if (v.supported) list.push_back({v.name, make(v.api)});
  return list;
}

// Suites register their rows before main runs: static bench::Suite s([] { bench::compare(...); });
struct Suite {
  explicit Suite(std::function<void()> rows);
};

// 8-bit RGB photograph from images/, by name: "dandelion", "canyon", "coffee".
struct Photo {
  int width, height;
  std::vector<uint8_t> rgb;
};
const Photo& photo(const std::string& name);

}  // namespace bench
