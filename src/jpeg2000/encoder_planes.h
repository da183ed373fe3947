// Work of the tier-1 encoder on whole rows of a block, many columns at a time: the bits of a plane in the order of the
// neighbourhood words, the distortion that a plane's passes take away, and the magnitude refinement pass.
#pragma once

#include "frame/rows.h"
#include "frame/vec.h"
#include "jpeg2000/refinement.h"

namespace ZEL_VARIANT {
namespace {

// Lanes of up to u32v::N samples of a row, of which n exist; nothing beyond is read.
ZEL_INLINE u32v loadSome(const int32_t* p, int n) {
  if (__builtin_expect(n >= u32v::N, 1)) return load<u32v>(p);
  uint32_t lanes[u32v::N] = {};
  __builtin_memcpy(lanes, p, size_t(n) * 4);
  return load<u32v>(lanes);
}

ZEL_INLINE uint64_t sumOf(u32v v) {
  uint64_t sum = 0;
  for (int i = 0; i < u32v::N; ++i) sum += v.v[i];
  return sum;
}

// The bits of all magnitudes together.
inline uint32_t allMagnitudes(const int32_t* src, int srcStep, ZeliSize size) {
  u32v all = zero<u32v>();
  for (int y = 0; y < size.height; ++y) {
    const int32_t* const row = rowAt(src, srcStep, y);
    for (int x = 0; x < size.width; x += u32v::N) all = all | loadSome(row + x, size.width - x);
  }
  uint32_t bits = 0;
  for (int i = 0; i < u32v::N; ++i) bits |= all.v[i];
  return bits & 0x7FFFFFFF;
}

// Bit `bit` of every sample at the places of its row, one word for a column of a stripe.
inline void gatherBits(const int32_t* src, int srcStep, int width, int rows, int bit, uint32_t* out) {
  for (int x = 0; x < width; x += u32v::N) {
    u32v column = zero<u32v>();
    for (int r = 0; r < rows; ++r)
      column = column | (loadSome(rowAt(src, srcStep, r) + x, width - x) >> bit & lanes(1)) << (4 + 3 * r);
    store(out + x, column);
  }
}

// The sums of a plane's three passes, in the order in which the passes come. A sample that becomes significant at
// v = 1 + i / 64 (in units of the plane, six bits below) takes away 8192 (v^2 - (v - 1.5)^2), or 8192 v^2 where the
// plane is the last of all; one that is refined, with j of seven bits, 8192 (|j / 64 - 1| - 1/4), or
// 8192 (j / 64 - 1)^2. With t = 64 + i, or t = j, these are whole numbers: 384 t - 18432, 2 t^2, 128 |t - 64| - 2048,
// 2 (t - 64)^2.
struct PlaneDistortion {
  int64_t propagation, refinement, cleanup;
};

// words: after significance propagation, so that what is visited and significant has become so in that pass.
template <bool kLast>
inline void addDistortion(const int32_t* src, int srcStep, int width, int rows, int plane, const uint32_t* words,
                          PlaneDistortion* sums) {
  uint32_t columns = 0;  // lanes hold at most 2^15 each time
  u32v propagation = zero<u32v>(), refinement = propagation, cleanup = propagation;
  const auto flush = [&] {
    sums->propagation += int32_t(sumOf(propagation));
    sums->refinement += int32_t(sumOf(refinement));
    sums->cleanup += int32_t(sumOf(cleanup));
    propagation = refinement = cleanup = zero<u32v>();
  };
  for (int x = 0; x < width; x += u32v::N) {
    const u32v f = load<u32v>(words + x);
    for (int r = 0; r < rows; ++r) {
      const u32v v = loadSome(rowAt(src, srcStep, r) + x, width - x) & lanes(0x7FFFFFFF);
      const u32v top = v >> plane;
      const u32v t = (plane >= 6 ? v >> (plane - 6) : v << (6 - plane)) & lanes(127);
      const u32v first = as<u32v>(top == lanes(1)), later = ~(first | as<u32v>(top == zero<u32v>()));
      const u32v visited = as<u32v>((f & lanes(placeBit(r) << kVisitedOf)) == zero<u32v>());  // its complement
      const u32v gain = (kLast ? (t * t) << 1 : t * lanes(384) - lanes(18432)) & first;
      const u32v d = t - lanes(64);
      const u32v refined = kLast ? (d * d) << 1 : (as<u32v>(abs(as<i32v>(d))) << 7) - lanes(2048);
      cleanup = cleanup + (gain & visited);
      propagation = propagation + (gain & ~visited);
      refinement = refinement + (refined & later);
    }
    if (++columns % 1024 == 0) flush();
  }
  flush();
}

// ---- Magnitude refinement ------------------------------------------------------------------------------------------

// By four bits: how to bring bytes whose bit is set together at the front of four; by eight bits of two columns, eight.
struct Compaction {
  uint8_t order[256][8];
  uint8_t count[256];
};
constexpr Compaction compactions() {
  Compaction t = {};
  for (int m = 0; m < 256; ++m)
    for (int i = 0; i < 8; ++i)
      if (m >> i & 1) t.order[m][t.count[m]++] = uint8_t(i);
  return t;
}
constexpr Compaction kCompaction = compactions();

// One stripe: marks what is refined, and logs context * 2 + bit of each sample (raw: its bit).
template <bool kRaw>
inline uint8_t* refineStripe(uint32_t* words, const uint32_t* bits, int width, uint8_t* next) {
  constexpr int kPairs = u32v::N / 2;
  for (int x = 0; x < width; x += u32v::N) {
    const RefinedColumns c = refinedColumns(words + x);
    if (isZero(c.refined)) continue;
    const u32v bitsThere = toBytes(load<u32v>(bits + x));
    const u32v entries = kRaw ? bitsThere : c.contexts << 1 | bitsThere;
    const uint32_t mask = c.mask();
    uint64_t pairs[kPairs];
    store(pairs, entries);
#pragma GCC unroll 4
    for (int i = 0; i < kPairs; ++i) {
      const uint32_t m = mask >> (8 * i) & 0xFF;
      storeLow8(next, shuffle128(loadLow8(pairs + i), loadLow8(kCompaction.order[m])));
      next += kCompaction.count[m];
    }
  }
  return next;
}

}  // namespace
}  // namespace ZEL_VARIANT
