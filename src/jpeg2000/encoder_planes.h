// Work of the tier-1 encoder on whole rows of a block, many columns at a time: which bit planes there are, the bits of
// a plane in the order of the neighbourhood words, and the distortion that a plane's passes take away.
#pragma once

#include "frame/rows.h"
#include "frame/vec.h"
#include "jpeg2000/neighbourhood.h"

namespace ZEL_VARIANT {
namespace {

constexpr uint32_t kMagnitude = 0x7FFFFFFF;
constexpr int kSignBit = 31;

// Up to u32v::N samples of a row, of which n exist, the others as zeros; nothing beyond is read.
ZEL_INLINE u32v loadSome(const int32_t* p, int n) {
  if (__builtin_expect(n >= u32v::N, 1)) return load<u32v>(p);
  uint32_t samples[u32v::N] = {};
  __builtin_memcpy(samples, p, size_t(n) * 4);
  return load<u32v>(samples);
}

ZEL_INLINE uint32_t sumOf(u32v v) {
  uint32_t sum = 0;
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
  return bits & kMagnitude;
}

// Bit `bit` of every sample of a stripe at the sample's place, one word for a column. It writes words up to the next
// multiple of u32v::N columns.
inline void gatherBits(const int32_t* src, int srcStep, int width, int rows, int bit, uint32_t* out) {
  for (int x = 0; x < width; x += u32v::N) {
    u32v column = zero<u32v>();
    for (int r = 0; r < rows; ++r)
      column = column | (loadSome(rowAt(src, srcStep, r) + x, width - x) >> bit & splat<u32v>(1)) << placeOf(r);
    store(out + x, column);
  }
}

// ---- Distortion -----------------------------------------------------------------------------------------------------

// What the passes of a plane take away of the squared error, where a decoder puts every sample in the middle of the
// interval that is known of it. In units of the plane, a sample that becomes significant at v in [1, 2) was taken as 0
// and is now 1.5: v^2 - (v - 1.5)^2 is gained. One that is refined, with v mod 2 = w, was taken as 1 and is now 0.5 or
// 1.5: |w - 1| - 1/4 is gained. In the last plane there is nothing below and a decoder has the sample itself: v^2 and
// (w - 1)^2.
//
// Figures are 8192 to the unit. With v = t / 64 in a sample's bits down to six below the plane, t in 64..127, and
// w = t / 64, t in 0..127, they are whole numbers:
//
//            becomes significant   refined
//   usual    384 t - 18432         128 |t - 64| - 2048
//   last     2 t^2                 2 (t - 64)^2
//
// The sums wrap at 32 bits, as do the records of them.
struct PlaneDistortion {
  uint32_t propagation, refinement, cleanup;
};

// Adds those of a stripe. words: after significance propagation, so that what is visited and becomes significant in
// this plane has become so in that pass, and otherwise does in the cleanup pass. bits: of the plane, as gatherBits has
// them. Columns without either have samples that are insignificant still: of upper planes these are most.
template <bool kIsLast>
inline void addDistortion(const int32_t* src, int srcStep, int width, int rows, int plane, const uint32_t* words,
                          const uint32_t* bits, PlaneDistortion* sums) {
  const u32v one = splat<u32v>(1), middle = splat<u32v>(64);
  u32v propagation = zero<u32v>(), refinement = propagation, cleanup = propagation;
  for (int x = 0; x < width; x += u32v::N) {
    const u32v f = load<u32v>(words + x);
    if (isZero((f | load<u32v>(bits + x)) & splat<u32v>(kSamples))) continue;
    for (int r = 0; r < rows; ++r) {
      const u32v magnitude = loadSome(rowAt(src, srcStep, r) + x, width - x) & splat<u32v>(kMagnitude);
      const u32v top = magnitude >> plane;
      const u32v t = (plane >= 6 ? magnitude >> (plane - 6) : magnitude << (6 - plane)) & splat<u32v>(127);
      const u32v becomes = as<u32v>(top == one), later = ~(becomes | as<u32v>(top == zero<u32v>()));
      const u32v notVisited = as<u32v>((f & splat<u32v>(bitOf(r) << kVisitedOf)) == zero<u32v>());
      const u32v gain = (kIsLast ? (t * t) << 1 : t * splat<u32v>(384) - splat<u32v>(18432)) & becomes;
      const u32v d = t - middle;
      const u32v refined = kIsLast ? (d * d) << 1 : (as<u32v>(abs(as<i32v>(d))) << 7) - splat<u32v>(2048);
      cleanup = cleanup + (gain & notVisited);
      propagation = propagation + (gain & ~notVisited);
      refinement = refinement + (refined & later);
    }
  }
  sums->propagation += sumOf(propagation);
  sums->refinement += sumOf(refinement);
  sums->cleanup += sumOf(cleanup);
}

}  // namespace
}  // namespace ZEL_VARIANT
