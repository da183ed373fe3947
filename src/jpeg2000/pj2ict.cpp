// The irreversible component transform, ITU-T T.800, Annex G.3: in single precision, and with weights in units of
// 2^-14.
#include "jpeg2000/components.h"

namespace ZEL_VARIANT {
namespace {

// ---- The matrix -----------------------------------------------------------------------------------------------------
// Of R, G, B forward, and of Cb and Cr inverse, beside Y.

constexpr float kYR = 0.299f, kYG = 0.587f, kYB = 0.114f;
constexpr float kCbR = -0.16875f, kCbG = -0.33126f, kCbB = 0.5f;
constexpr float kCrR = 0.5f, kCrG = -0.41869f, kCrB = -0.08131f;
constexpr float kRCr = 1.402f, kGCb = -0.34413f, kGCr = -0.71414f, kBCb = 1.772f;

// A weight in units of 2^-14, rounded.
constexpr int kShift = 14, kOne = 1 << kShift, kHalf = kOne / 2;
constexpr int q14(double x) { return int(x * kOne + (x < 0 ? -0.5 : 0.5)); }

// ---- Single precision: products summed from left to right -----------------------------------------------------------

template <class V>
ZEL_INLINE V weighted(Three<V> x, float a, float b, float c) {
  return splat<V>(a) * x.at[0] + splat<V>(b) * x.at[1] + splat<V>(c) * x.at[2];
}

struct ForwardFloat {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    return {{weighted(x, kYR, kYG, kYB), weighted(x, kCbR, kCbG, kCbB), weighted(x, kCrR, kCrG, kCrB)}};
  }
};
struct InverseFloat {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    const V y = x.at[0], cb = x.at[1], cr = x.at[2];
    return {{y + splat<V>(kRCr) * cr, y + splat<V>(kGCb) * cb + splat<V>(kGCr) * cr, y + splat<V>(kBCb) * cb}};
  }
};

// ---- 32-bit samples, Q14, wrapping ----------------------------------------------------------------------------------

template <class V>
ZEL_INLINE V times(int weight, V x) {
  return weight == kHalf ? x << (kShift - 1) : splat<V>(weight) * x;
}
template <class V>
ZEL_INLINE V scaled(V sum) {
  return (sum + splat<V>(kHalf)) >> kShift;
}

struct Forward32 {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    const V r = x.at[0], g = x.at[1], b = x.at[2];
    return {{scaled(times(q14(kYR), r) + times(q14(kYG), g) + times(q14(kYB), b)),
             scaled(times(q14(kCbB), b) + times(q14(kCbR), r) + times(q14(kCbG), g)),
             scaled(times(q14(kCrR), r) + times(q14(kCrG), g) + times(q14(kCrB), b))}};
  }
};
struct Inverse32 {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    const V y = x.at[0], cb = x.at[1], cr = x.at[2];
    return {{y + scaled(times(q14(kRCr), cr)), y + scaled(times(q14(kGCb), cb) + times(q14(kGCr), cr)),
             y + scaled(times(q14(kBCb), cb))}};
  }
};

// ---- 16-bit samples, Q14 --------------------------------------------------------------------------------------------

// The lanes a[i] * weightA + b[i] * weightB + c[i] * weightC + offset, in 32 bits; in the order of 128-bit unpacks,
// which the packs undo. Weights and offset up to 2^14 + 2^14 in all: no sum reaches 2^31.
template <int B>
ZEL_INLINE Wide<B> weightedSums(Vec<int16_t, B> a, Vec<int16_t, B> b, Vec<int16_t, B> c, int weightA, int weightB,
                                int weightC, int offset) {
  const Wide<B> ab = weighted128(a, weightA, b, weightB);
  const Wide<B> rest = weighted128(c, weightC, splat<Vec<int16_t, B>>(1), offset);
  return {ab.low + rest.low, ab.high + rest.high};
}
template <int B>
ZEL_INLINE Vec<int16_t, B> saturated(Wide<B> s) {
  return packI16x128<kShift>(s.low, s.high);
}
template <int B>
ZEL_INLINE Vec<int16_t, B> cut(Wide<B> s) {  // bits 14 to 29 of the sums: their low 16 bits after the shift
  return packI16x128<16>(s.low << 2, s.high << 2);
}

// (weight x + 8192) >> 14, for weights below 2^14.
template <int B>
ZEL_INLINE Vec<int16_t, B> fraction(int weight, Vec<int16_t, B> x) {
  return mulHiRound(x, splat<Vec<int16_t, B>>(int16_t(2 * weight)));
}
// Saturated y + ((weight x + 8192) >> 14), for weights from 2^14 on: x and the rest of the product have the same sign,
// so that saturating twice is saturating once.
template <int B>
ZEL_INLINE Vec<int16_t, B> plusProduct(Vec<int16_t, B> y, int weight, Vec<int16_t, B> x) {
  return addSat(addSat(y, x), fraction(weight - kOne, x));
}

struct Forward16 {
  template <int B>
  ZEL_INLINE static Three<Vec<int16_t, B>> apply(Three<Vec<int16_t, B>> x) {
    constexpr int kR = q14(kYR), kG = q14(kYG), kB = q14(kYB);
    const auto r = x.at[0], g = x.at[1], b = x.at[2];
    const auto dB = cut(weightedSums(r, g, b, -kR, -kG, kOne - kB, kHalf));
    const auto dR = cut(weightedSums(r, g, b, kOne - kR, -kG, -kB, kHalf));
    return {{saturated(weightedSums(r, g, b, kR, kG, kB, kHalf)), fraction(q14(0.5 / (1 - kYB)), dB),
             fraction(q14(0.5 / (1 - kYR)), dR)}};
  }
};
struct Inverse16 {
  template <int B>
  ZEL_INLINE static Three<Vec<int16_t, B>> apply(Three<Vec<int16_t, B>> x) {
    const auto y = x.at[0], cb = x.at[1], cr = x.at[2];
    // y - ((p + half) >> 14) is ((y << 14) - p - half + 2^14 - 1) >> 14
    const auto g = saturated(weightedSums(cb, cr, y, q14(kGCb), q14(kGCr), kOne, kOne - 1 - kHalf));
    return {{plusProduct(y, q14(kRCr), cr), g, plusProduct(y, q14(kBCb), cb)}};
  }
};

}  // namespace

ZelStatus zeliICTFwd_JPEG2K_32f_C3P3R(const float* pSrc, int srcStep, float* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return pixelsToPlanes<ForwardFloat>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliICTInv_JPEG2K_32f_P3C3R(const float* const pSrc[3], int srcStep, float* pDst, int dstStep,
                                      ZeliSize roiSize) {
  return planesToPixels<InverseFloat>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliICTFwd_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<ForwardFloat>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliICTInv_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<InverseFloat>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliICTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Forward16>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliICTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Inverse16>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliICTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Forward32>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliICTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Inverse32>(pSrcDst, srcDstStep, roiSize);
}

}  // namespace ZEL_VARIANT
