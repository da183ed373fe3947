// The irreversible 9/7 wavelet along rows whose source carries its border.
#include "jpeg2000/wavelet97.h"
#include "jpeg2000/wavelet97_pair.h"
#include "jpeg2000/wavelet_drivers.h"

namespace ZEL_VARIANT {
namespace {

// 16-bit rows: what the kernel needs of values outside the line, at most two of each kind at each end, comes from
// weights in units of 2^-16, every value saturated.
struct Ends16 {
  static constexpr bool kNone = false;
  static constexpr int kFront = 2, kBack = 2;
  using Q = Q16<16>;
  static Q::R of(int16_t x) { return splat<Q::R>(x); }
  static int16_t cut(Q::R x) { return packI16x128(x, x).v[0]; }
  static int16_t lift1(int16_t odd, int16_t e0, int16_t e1) { return cut(Q::lift1(of(odd), of(e0), of(e1))); }
  static int16_t lift2(int16_t even, int16_t d0, int16_t d1) { return cut(Q::lift2(of(even), of(d0), of(d1))); }
  static int16_t lift3(int16_t odd, int16_t s0, int16_t s1) { return cut(Q::lift3(of(odd), of(s0), of(s1))); }
  static int16_t unlift4(int16_t l, int16_t h0, int16_t h1) { return cut(Q::unlift4(of(l), of(h0), of(h1))); }
  static int16_t unlift3(int16_t h, int16_t s0, int16_t s1) { return cut(Q::unlift3(of(h), of(s0), of(s1))); }
  static int16_t unlift2(int16_t even, int16_t d0, int16_t d1) { return cut(Q::unlift2(of(even), of(d0), of(d1))); }
};

template <class T>
struct RowLifting;
template <>
struct RowLifting<int16_t> : Lifting97<Saturating16, Ends16> {};
template <>
struct RowLifting<int32_t> : Lifting97<Q16> {};
template <>
struct RowLifting<float> : Lifting97<Float> {};

// Single pairs. Sums of integers are in 64 bits and rounded once.
ZEL_INLINE void storeRounded(int16_t* p, int64_t sum) {
  const int64_t x = (sum + (1 << 15)) >> 16;
  storeOne(p, int16_t(x < -32768 ? -32768 : x > 32767 ? 32767 : x));
}
ZEL_INLINE void storeRounded(int32_t* p, int64_t sum) { storeOne(p, int32_t((sum + (1 << 15)) >> 16)); }
ZEL_INLINE void storeRounded(float* p, f32x4 sum) { OneSample::put(p, sum); }

template <class T>
void forwardPairOf(const T* x, int p, T* low, T* high) {
  Pair97<int64_t> pair = forwardPair<int64_t>(kTapsQ16, p, [=](int i) { return int64_t(loadOne(x + i)); });
  storeRounded(low, pair.first);
  storeRounded(high, pair.second);
}
void forwardPairOf(const float* x, int p, float* low, float* high) {
  const auto pair = forwardPair<f32x4>(kTapsFloat, p, [=](int i) { return OneSample::get<f32x4>(x + i); });
  storeRounded(low, pair.first);
  storeRounded(high, pair.second);
}
template <class T>
void inversePairOf(const T* low, const T* high, int p, T* dst) {
  const auto pair = inversePair<int64_t>(
      kTapsQ16, p, [=](int j) { return int64_t(loadOne(low + j)); }, [=](int j) { return int64_t(loadOne(high + j)); });
  storeRounded(dst, pair.first);
  storeRounded(dst + 1, pair.second);
}
void inversePairOf(const float* low, const float* high, int p, float* dst) {
  const auto pair = inversePair<f32x4>(
      kTapsFloat, p, [=](int j) { return OneSample::get<f32x4>(low + j); },
      [=](int j) { return OneSample::get<f32x4>(high + j); });
  storeRounded(dst, pair.first);
  storeRounded(dst + 1, pair.second);
}

// A row of n coefficients a band reads 2n samples and seven of border: four before them and three behind with phase 0,
// three and four with phase 1. The inverse reads two high coefficients beyond each end, and low ones: one before the
// line and two behind it with phase 0, two and one with phase 1.
template <class T>
struct RowFilter97 {
  static void forwardRow(const T* x, int64_t n, int p, T* low, T* high) {
    if (n == 1) return forwardPairOf(x, p, low, high);
    forwardLine<RowLifting<T>>(x, Readable{p - 4, 2 * n + 3 + p, 0}, Division{n, n, p}, low, high);
  }
  static void inverseRow(const T* low, const T* high, int64_t n, int p, T* dst) {
    if (n == 1) return inversePairOf(low, high, p, dst);
    inverseLine<RowLifting<T>>(low, Readable{-1 - p, n + 2 - p, 0}, high, Readable{-2, n + 2, 0}, Division{n, n, p},
                               dst);
  }
};

}  // namespace

ZelStatus zeliWTFwdRow_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                          int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRows<RowFilter97<int16_t>>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus zeliWTInvRow_D97_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep, int phase) {
  return inverseRows<RowFilter97<int16_t>>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus zeliWTFwdRow_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                          int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRows<RowFilter97<int32_t>>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus zeliWTInvRow_D97_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep, int phase) {
  return inverseRows<RowFilter97<int32_t>>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus zeliWTFwdRow_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                          float* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRows<RowFilter97<float>>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus zeliWTInvRow_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh, int srcHighStep,
                                          ZeliSize srcRoiSize, float* pDst, int dstStep, int phase) {
  return inverseRows<RowFilter97<float>>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

}  // namespace ZEL_VARIANT
