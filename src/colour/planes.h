// What the functions on planes share: argument checks, pixels in vectors, weighted sums of two channels, and rows taken
// in steps of a whole vector, of 8 and of 4 samples.
#pragma once

#include "colour/matrix.h"
#include "frame/checks.h"
#include "frame/interleave.h"
#include "frame/rows.h"

namespace ZEL_VARIANT {
namespace {

// ---- Checks ---------------------------------------------------------------------------------------------------------

inline ZelStatus checkResampling(const void* pSrc, int srcStep, ZeliSize srcSize, const void* pDst, int dstStep,
                                 ZeliSize dstSize) {
  return firstFailure(present(pSrc), stepOk(srcStep), sizeOk(srcSize), present(pDst), stepOk(dstStep), sizeOk(dstSize));
}

// Source and destination are arrays of kSrcPlanes and kDstPlanes pointers, or one pointer each where that is 0.
template <int kSrcPlanes, int kDstPlanes, class Src, class Dst>
ZelStatus checkColours(const Src* pSrc, int srcStep, const Dst* pDst, int dstStep, ZeliSize roi) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  if constexpr (kSrcPlanes > 0)
    if (const ZelStatus s = allPresent<kSrcPlanes>(pSrc)) return s;
  if constexpr (kDstPlanes > 0)
    if (const ZelStatus s = allPresent<kDstPlanes>(pDst)) return s;
  return firstFailure(stepOk(srcStep), stepOk(dstStep), sizeOk(roi));
}

// ---- Pixels and weighted sums ---------------------------------------------------------------------------------------

// One pixel, or as many as a vector has lanes.
template <class V>
struct Rgb {
  V r, g, b;
};
template <class V>
struct Ycc {
  V y, cb, cr;
};

template <class V>
using WideOf = Vec<int32_t, int(sizeof(V))>;

// (a * fa + b * fb + offset) >> kShift
template <int kShift, class V>
ZEL_INLINE V weigh(V a, V b, int fa, int fb, int offset) {
  const auto sums = weighted128(a, fa, b, fb);
  const WideOf<V> add = splat<WideOf<V>>(offset);
  return packI16x128<kShift>(sums.low + add, sums.high + add);
}

constexpr uint8_t clampToByte(int x) { return uint8_t(x < 0 ? 0 : x > 255 ? 255 : x); }

// ---- Rows in steps --------------------------------------------------------------------------------------------------

// How many pixels one step of a row kernel takes, in which lanes.
template <class Lanes, int kPixels>
struct Step {
  using V = Lanes;
  static constexpr int kCount = kPixels;
};

// Calls body(step, i) for pixels 0 to n - 1 in steps of a vector, of 8 and, where kSmallest is 4, of 4. Returns how
// many pixels that were; fewer than kSmallest stay.
template <int kSmallest, class Body>
ZEL_INLINE int inSteps(int n, Body body) {
  const int whole = n - n % i16v::N;
  int i = 0;
  for (; i < whole; i += i16v::N) body(Step<i16v, i16v::N>{}, i);
  if constexpr (i16v::N > 8) {
    if (n - i >= 8) {
      body(Step<i16x8, 8>{}, i);
      i += 8;
    }
  }
  if constexpr (kSmallest == 4) {
    if (n - i >= 4) {
      body(Step<i16x8, 4>{}, i);
      i += 4;
    }
  }
  return i;
}

ZEL_INLINE void store4(uint8_t* p, u8x16 a) {
  const int32_t x = as<i32x4>(a).v[0];
  __builtin_memcpy(p, &x, sizeof x);
}
ZEL_INLINE u8x16 load4(const uint8_t* p) {
  int32_t x;
  __builtin_memcpy(&x, p, sizeof x);
  return as<u8x16>(i32x4{{x, 0, 0, 0}});
}

// Samples of one plane as 16-bit lanes, and back with saturation to 0..255.
template <class S>
ZEL_INLINE typename S::V loadSamples(const uint8_t* p) {
  if constexpr (S::kCount == 4) return as<i16x8>(unpackLow128(load4(p), zero<u8x16>()));
  if constexpr (S::kCount != 4) return loadWiden<typename S::V>(p);
}
template <class S>
ZEL_INLINE void storeSamples(uint8_t* p, typename S::V a) {
  if constexpr (S::kCount == 4) store4(p, packU8x128(a, a));
  if constexpr (S::kCount != 4) storeNarrow(p, a);
}

// Lanes saturated to bytes, in the low bytes of a 16-byte vector.
ZEL_INLINE u8x16 bytesOf(Vec<int16_t, 16> a) { return packU8x128(a, a); }
#ifdef ZEL_VEC32
ZEL_INLINE u8x16 bytesOf(Vec<int16_t, 32> a) { return packU8(a); }
#endif

// The first kBytes of the vectors, which hold consecutive bytes.
template <int kBytes, int N>
ZEL_INLINE void storeBytes(uint8_t* p, const u8x16 (&v)[N]) {
  static_assert(kBytes <= 16 * N && kBytes % 4 == 0);
#pragma GCC unroll 4
  for (int i = 0; i < kBytes / 16; ++i) store(p + 16 * i, v[i]);
  constexpr int kWhole = kBytes / 16 * 16;
  constexpr int kRest = kBytes % 16;
  if constexpr (kRest >= 8) storeLow8(p + kWhole, v[kWhole / 16]);
  if constexpr (kRest == 12) store4(p + kWhole + 8, permute32x128<0xEE>(v[kWhole / 16]));
}

}  // namespace
}  // namespace ZEL_VARIANT
