// The steps of the photo core transform (ITU-T T.832), on many blocks at once, one in each 32-bit lane;
// and the walk over a region's blocks. All sums wrap and all shifts are arithmetic.
#pragma once

#include "frame/checks.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kSide = 4;         // of a block
constexpr int kLanes = i32v::N;  // blocks at once

ZEL_INLINE i32v one() { return splat<i32v>(1); }
ZEL_INLINE i32v halved(i32v a) { return a >> 1; }
ZEL_INLINE i32v halvedUp(i32v a) { return (a + one()) >> 1; }
ZEL_INLINE i32v threefold(i32v a) { return a + a + a; }
ZEL_INLINE i32v threeEighths(i32v a) { return (threefold(a) + splat<i32v>(4)) >> 3; }
// Two factors of the odd-odd rotation round otherwise.
ZEL_INLINE i32v threeEighthsLow(i32v a) { return (threefold(a) + splat<i32v>(3)) >> 3; }
ZEL_INLINE i32v threeQuarters(i32v a) { return (threefold(a) + splat<i32v>(3)) >> 2; }

// 2x2 Hadamard transform, its own inverse.
template <bool kRoundUp>
ZEL_INLINE void hadamard(i32v& a, i32v& b, i32v& c, i32v& d) {
  a = a + d;
  b = b - c;
  const i32v t = kRoundUp ? halvedUp(a - b) : halved(a - b), wasC = c;
  c = t - d;
  d = t - wasC;
  a = a - d;
  b = b + c;
}

ZEL_INLINE void rotateOdd(i32v& a, i32v& b, i32v& c, i32v& d) {
  b = b - c;
  a = a + d;
  c = c + halvedUp(b);
  d = halvedUp(a) - d;
  b = b - threeEighths(a);
  a = a + threeEighths(b);
  d = d - threeEighths(c);
  c = c + threeEighths(d);
  d = d + halved(b);
  c = c - halvedUp(a);
  b = b - d;
  a = a + c;
}

ZEL_INLINE void rotateOddBack(i32v& a, i32v& b, i32v& c, i32v& d) {
  b = b + d;
  a = a - c;
  d = d - halved(b);
  c = c + halvedUp(a);
  a = a - threeEighths(b);
  b = b + threeEighths(a);
  c = c - threeEighths(d);
  d = d + threeEighths(c);
  c = c - halvedUp(b);
  d = halvedUp(a) - d;
  b = b + c;
  a = a - d;
}

ZEL_INLINE void rotateOddOdd(i32v& a, i32v& b, i32v& c, i32v& d) {
  b = zero<i32v>() - b;
  c = zero<i32v>() - c;
  d = d + a;
  c = c - b;
  const i32v halfD = halved(d), halfC = halved(c);
  a = a - halfD;
  b = b + halfC;
  a = a + threeEighths(b);
  b = b - threeQuarters(a);
  a = a + threeEighthsLow(b);
  b = b - halfC;
  a = a + halfD;
  c = c + b;
  d = d - a;
}

ZEL_INLINE void rotateOddOddBack(i32v& a, i32v& b, i32v& c, i32v& d) {
  d = d + a;
  c = c - b;
  const i32v halfD = halved(d), halfC = halved(c);
  a = a - halfD;
  b = b + halfC;
  a = a - threeEighthsLow(b);
  b = b + threeQuarters(a);
  a = a - threeEighths(b);
  b = b - halfC;
  a = a + halfD;
  c = c + b;
  d = d - a;
  b = zero<i32v>() - b;
  c = zero<i32v>() - c;
}

// x[r][c] of every lane's block.
struct Blocks {
  i32v x[kSide][kSide];
};

// Each coefficient with its mirror images across the block's centre.
ZEL_INLINE void foldCentre(Blocks& b) {
#pragma GCC unroll 2
  for (int r = 0; r < 2; ++r) {
    hadamard<false>(b.x[r][0], b.x[r][3], b.x[3 - r][0], b.x[3 - r][3]);
    hadamard<false>(b.x[r][1], b.x[r][2], b.x[3 - r][1], b.x[3 - r][2]);
  }
}

// Row of four coefficients of each half's block k, to lanes and back.
ZEL_INLINE void transpose(i32v (&r)[kSide]) {
  using i64v = Vec<int64_t>;
  const i64v low01 = as<i64v>(unpackLow128(r[0], r[1])), low23 = as<i64v>(unpackLow128(r[2], r[3]));
  const i64v high01 = as<i64v>(unpackHigh128(r[0], r[1])), high23 = as<i64v>(unpackHigh128(r[2], r[3]));
  r[0] = as<i32v>(unpackLow128(low01, low23));
  r[1] = as<i32v>(unpackHigh128(low01, low23));
  r[2] = as<i32v>(unpackLow128(high01, high23));
  r[3] = as<i32v>(unpackHigh128(high01, high23));
}

// Top left coefficients of kLanes blocks: blocks k and k + 4 share a vector's row.
struct Corners {
  char* at[kLanes];
};

ZEL_INLINE Blocks loadBlocks(const Corners& p, int64_t step) {
  Blocks b;
#pragma GCC unroll 4
  for (int r = 0; r < kSide; ++r) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
#ifdef ZEL_VEC32
      b.x[r][k] = join(load<i32x4>(p.at[k] + r * step), load<i32x4>(p.at[k + 4] + r * step));
#else
      b.x[r][k] = load<i32x4>(p.at[k] + r * step);
#endif
    transpose(b.x[r]);
  }
  return b;
}

ZEL_INLINE void storeBlocks(Blocks& b, const Corners& p, int64_t step) {
#pragma GCC unroll 4
  for (int r = 0; r < kSide; ++r) {
    transpose(b.x[r]);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
#ifdef ZEL_VEC32
      store(p.at[k] + r * step, lowHalf(b.x[r][k]));
      store(p.at[k + 4] + r * step, highHalf(b.x[r][k]));
#else
      store(p.at[k] + r * step, b.x[r][k]);
#endif
    }
  }
}

// All blocks of a region in raster order, kLanes at once whatever the width. Where the last ones are fewer, the others
// of their lanes repeat the last block: all loads come before any store, and equal lanes store the same.
template <class Transform>
ZEL_INLINE void transformRegion(int32_t* base, uint32_t step, ZeliSize size, Transform transform) {
  const int64_t across = size.width / kSide, blocks = across * (size.height / kSide);
  const int64_t blockBytes = kSide * sizeof(int32_t), toNextRow = int64_t(step) * kSide - across * blockBytes;
  char* corner = reinterpret_cast<char*>(base);
  int64_t column = 0;
  for (int64_t done = 0; done < blocks; done += kLanes) {
    Corners p;
    for (int k = 0; k < kLanes; ++k) {
      p.at[k] = corner;
      if (done + k + 1 >= blocks) continue;
      corner += blockBytes;
      if (++column == across) column = 0, corner += toNextRow;
    }
    Blocks b = loadBlocks(p, step);
    transform(b);
    storeBlocks(b, p, step);
  }
}

template <class Transform>
ZelStatus transformPlane(int32_t* p, uint32_t step, ZeliSize size, Transform transform) {
  if (const ZelStatus s =
          firstFailure(present(p), sizeOk(size), int64_t(size.width) * 4 > step ? zelStsStepErr : zelStsNoErr,
                       size.width % kSide || size.height % kSide ? zelStsSizeErr : zelStsNoErr))
    return s;
  transformRegion(p, step, size, transform);
  return zelStsNoErr;
}

// A macroblock's plane, whose size is known.
template <class Transform>
ZelStatus transformFixed(int32_t* p, uint32_t step, ZeliSize size, Transform transform) {
  if (const ZelStatus s = firstFailure(present(p), step < uint32_t(4 * size.width) ? zelStsStepErr : zelStsNoErr))
    return s;
  transformRegion(p, step, size, transform);
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
