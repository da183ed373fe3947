// The reversible component transform, ITU-T T.800, Annex G.2.
#include "jpeg2000/components.h"

namespace ZEL_VARIANT {
namespace {

// floor((a + b) / 2) of 16-bit lanes, from the unsigned average that rounds up: x ^ 0x7FFF is 0x7FFF - x, which turns
// the order and so the rounding round, and makes the lanes unsigned. `turned` lanes can be averaged on.
template <int B>
ZEL_INLINE Vec<uint16_t, B> turned(Vec<int16_t, B> x) {
  return as<Vec<uint16_t, B>>(x ^ splat<Vec<int16_t, B>>(0x7FFF));
}
template <int B>
ZEL_INLINE Vec<int16_t, B> turnedBack(Vec<uint16_t, B> x) {
  return as<Vec<int16_t, B>>(x) ^ splat<Vec<int16_t, B>>(0x7FFF);
}

// (a + 2 b + c) >> 2. 16s: ((a + c) >> 1) + b needs 18 bits, but both halvings are floors of averages.
template <int B>
ZEL_INLINE Vec<int16_t, B> weightedMean(Vec<int16_t, B> a, Vec<int16_t, B> b, Vec<int16_t, B> c) {
  return turnedBack(average(average(turned(a), turned(c)), turned(b)));
}
template <int B>
ZEL_INLINE Vec<int32_t, B> weightedMean(Vec<int32_t, B> a, Vec<int32_t, B> b, Vec<int32_t, B> c) {
  return (a + (b << 1) + c) >> 2;
}

// (a + b) >> 2
template <int B>
ZEL_INLINE Vec<int16_t, B> quarterSum(Vec<int16_t, B> a, Vec<int16_t, B> b) {
  return turnedBack(average(turned(a), turned(b))) >> 1;
}
template <int B>
ZEL_INLINE Vec<int32_t, B> quarterSum(Vec<int32_t, B> a, Vec<int32_t, B> b) {
  return (a + b) >> 2;
}

struct Forward {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    const V r = x.at[0], g = x.at[1], b = x.at[2];
    return {{weightedMean(r, g, b), b - g, r - g}};
  }
};
struct Inverse {
  template <class V>
  ZEL_INLINE static Three<V> apply(Three<V> x) {
    const V g = x.at[0] - quarterSum(x.at[1], x.at[2]);
    return {{x.at[2] + g, g, x.at[1] + g}};
  }
};

}  // namespace

ZelStatus zeliRCTFwd_JPEG2K_16s_C3P3R(const int16_t* pSrc, int srcStep, int16_t* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return pixelsToPlanes<Forward>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliRCTInv_JPEG2K_16s_P3C3R(const int16_t* const pSrc[3], int srcStep, int16_t* pDst, int dstStep,
                                      ZeliSize roiSize) {
  return planesToPixels<Inverse>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliRCTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Forward>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliRCTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Inverse>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliRCTFwd_JPEG2K_32s_C3P3R(const int32_t* pSrc, int srcStep, int32_t* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return pixelsToPlanes<Forward>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliRCTInv_JPEG2K_32s_P3C3R(const int32_t* const pSrc[3], int srcStep, int32_t* pDst, int dstStep,
                                      ZeliSize roiSize) {
  return planesToPixels<Inverse>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus zeliRCTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Forward>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus zeliRCTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<Inverse>(pSrcDst, srcDstStep, roiSize);
}

}  // namespace ZEL_VARIANT
