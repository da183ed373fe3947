// The steps of the photo core transform (ITU-T T.832), on many blocks at once, one in each 32-bit lane;
// and the walk over a region's blocks. All sums wrap and all shifts are arithmetic.
#pragma once

#include "frame/checks.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kSide = 4;  // of a block

template <class V>
ZEL_INLINE V halved(V a) {
  return a >> 1;
}
template <class V>
ZEL_INLINE V halvedUp(V a) {
  return (a + splat<V>(1)) >> 1;
}
template <class V>
ZEL_INLINE V threefold(V a) {
  return a + a + a;
}
template <class V>
ZEL_INLINE V threeEighths(V a) {
  return (threefold(a) + splat<V>(4)) >> 3;
}
// Two factors of the odd-odd rotation round otherwise.
template <class V>
ZEL_INLINE V threeEighthsLow(V a) {
  return (threefold(a) + splat<V>(3)) >> 3;
}
template <class V>
ZEL_INLINE V threeQuarters(V a) {
  return (threefold(a) + splat<V>(3)) >> 2;
}

// 2x2 Hadamard transform, its own inverse.
template <bool kRoundUp, class V>
ZEL_INLINE void hadamard(V& a, V& b, V& c, V& d) {
  a = a + d;
  b = b - c;
  const V t = kRoundUp ? halvedUp(a - b) : halved(a - b), wasC = c;
  c = t - d;
  d = t - wasC;
  a = a - d;
  b = b + c;
}

template <class V>
ZEL_INLINE void rotateOdd(V& a, V& b, V& c, V& d) {
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

template <class V>
ZEL_INLINE void rotateOddBack(V& a, V& b, V& c, V& d) {
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

template <class V>
ZEL_INLINE void rotateOddOdd(V& a, V& b, V& c, V& d) {
  b = zero<V>() - b;
  c = zero<V>() - c;
  d = d + a;
  c = c - b;
  const V halfD = halved(d), halfC = halved(c);
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

template <class V>
ZEL_INLINE void rotateOddOddBack(V& a, V& b, V& c, V& d) {
  d = d + a;
  c = c - b;
  const V halfD = halved(d), halfC = halved(c);
  a = a - halfD;
  b = b + halfC;
  a = a - threeEighthsLow(b);
  b = b + threeQuarters(a);
  a = a - threeEighths(b);
  b = b - halfC;
  a = a + halfD;
  c = c + b;
  d = d - a;
  b = zero<V>() - b;
  c = zero<V>() - c;
}

// x[r][c] of every lane's block.
template <class V>
struct Blocks {
  V x[kSide][kSide];
};

// Each coefficient with its mirror images across the block's centre.
template <class V>
ZEL_INLINE void foldCentre(Blocks<V>& b) {
#pragma GCC unroll 2
  for (int r = 0; r < 2; ++r) {
    hadamard<false>(b.x[r][0], b.x[r][3], b.x[3 - r][0], b.x[3 - r][3]);
    hadamard<false>(b.x[r][1], b.x[r][2], b.x[3 - r][1], b.x[3 - r][2]);
  }
}

// Row of four coefficients of each half's block k, to lanes and back.
template <class V>
ZEL_INLINE void transpose(V (&r)[kSide]) {
  using Wide = Vec<int64_t, int(sizeof(V))>;
  const Wide low01 = as<Wide>(unpackLow128(r[0], r[1])), low23 = as<Wide>(unpackLow128(r[2], r[3]));
  const Wide high01 = as<Wide>(unpackHigh128(r[0], r[1])), high23 = as<Wide>(unpackHigh128(r[2], r[3]));
  r[0] = as<V>(unpackLow128(low01, low23));
  r[1] = as<V>(unpackHigh128(low01, low23));
  r[2] = as<V>(unpackLow128(high01, high23));
  r[3] = as<V>(unpackHigh128(high01, high23));
}

// Top left coefficients of as many blocks as a vector has lanes: blocks k and k + 4 share a row of 32 bytes.
template <class V>
struct Corners {
  char* at[V::N];
};

template <class V>
ZEL_INLINE Blocks<V> loadBlocks(const Corners<V>& p, int64_t step) {
  Blocks<V> b;
#pragma GCC unroll 4
  for (int r = 0; r < kSide; ++r) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
#ifdef ZEL_VEC32
      if constexpr (V::N == 8) b.x[r][k] = join(load<i32x4>(p.at[k] + r * step), load<i32x4>(p.at[k + 4] + r * step));
#endif
      if constexpr (V::N == 4) b.x[r][k] = load<i32x4>(p.at[k] + r * step);
    }
    transpose(b.x[r]);
  }
  return b;
}

template <class V>
ZEL_INLINE void storeBlocks(Blocks<V>& b, const Corners<V>& p, int64_t step) {
#pragma GCC unroll 4
  for (int r = 0; r < kSide; ++r) {
    transpose(b.x[r]);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
#ifdef ZEL_VEC32
      if constexpr (V::N == 8) {
        store(p.at[k] + r * step, lowHalf(b.x[r][k]));
        store(p.at[k + 4] + r * step, highHalf(b.x[r][k]));
      }
#endif
      if constexpr (V::N == 4) store(p.at[k] + r * step, b.x[r][k]);
    }
  }
}

// All blocks of a region in raster order, as many at once as V has lanes, whatever the width. Where the last ones are
// fewer, the others of their lanes repeat the last block: all loads come before any store, and equal lanes store the
// same.
template <class V, class Transform>
ZEL_INLINE void transformRegion(int32_t* base, uint32_t step, ZeliSize size, Transform transform) {
  const int64_t across = size.width / kSide, blocks = across * (size.height / kSide);
  const int64_t blockBytes = kSide * sizeof(int32_t), toNextRow = int64_t(step) * kSide - across * blockBytes;
  char* corner = reinterpret_cast<char*>(base);
  int64_t column = 0;
  for (int64_t done = 0; done < blocks; done += V::N) {
    Corners<V> p;
    for (int k = 0; k < V::N; ++k) {
      p.at[k] = corner;
      if (done + k + 1 >= blocks) continue;
      corner += blockBytes;
      if (++column == across) column = 0, corner += toNextRow;
    }
    Blocks<V> b = loadBlocks(p, step);
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
  transformRegion<i32v>(p, step, size, transform);
  return zelStsNoErr;
}

// A macroblock's plane, whose size is known, by vectors that it fills.
template <class V, class Transform>
ZelStatus transformFixed(int32_t* p, uint32_t step, ZeliSize size, Transform transform) {
  if (const ZelStatus s = firstFailure(present(p), step < uint32_t(4 * size.width) ? zelStsStepErr : zelStsNoErr))
    return s;
  transformRegion<V>(p, step, size, transform);
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
