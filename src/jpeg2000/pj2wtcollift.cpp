// Single vertical lifting steps on rows, for callers that run the vertical transform as a pipeline: 5/3 and 9/7. Each
// column is done in the order of the steps, its results stored before the next step reads.
#include "frame/checks.h"
#include "jpeg2000/wavelet53.h"
#include "jpeg2000/wavelet97.h"

namespace ZEL_VARIANT {
namespace {

template <class... Rows>
ZelStatus checkRows(int width, Rows*... rows) {
  return firstFailure(present(rows)..., lengthOk(width));
}

// 16 bits: here the undoing of the third step saturates too, which wraps within lines.
template <int B>
struct SaturatingRows16 : Saturating16<B> {
  using R = Vec<int16_t, B>;
  using A = Saturating16<B>;
  ZEL_INLINE static R unlift3(R h, R s0, R s1) {
    return subSat(A::times(A::kLowQ, h), A::times(A::kGammaQ, addSat(s0, s1)));
  }
};

template <template <int> class Arithmetic, class T>
ZelStatus forward97(const T* src0, const T* src1, const T* src2, T* low, T* even, T* high, T* oddPrev, T* odd,
                    int width) {
  if (const ZelStatus s = checkRows(width, src0, src1, src2, low, even, high, oddPrev, odd)) return s;
  forColumns<Arithmetic, T>(width, [=](auto c) {
    const auto x0 = c.sample(src0), d = c.lift1(c.sample(src1), x0, c.sample(src2));
    c.put(odd, d);
    const auto before = c.lifted(oddPrev), s = c.lift2(x0, before, d);
    c.put(even, s);
    const auto l = c.lifted(low), lifted = c.lift3(before, l, s);
    c.put(oddPrev, lifted);
    const auto h = c.lifted(high);
    c.put(low, c.low(l, h, lifted));
    c.put(high, c.high(h));
  });
  return zelStsNoErr;
}

template <template <int> class Arithmetic, class T>
ZelStatus inverse97(const T* low, const T* highPrev, const T* high, const T* evenPrev2, T* oddPrev2, T* evenPrev,
                    T* odd, T* even, int width) {
  if (const ZelStatus s = checkRows(width, low, highPrev, high, evenPrev2, oddPrev2, evenPrev, odd, even)) return s;
  forColumns<Arithmetic, T>(width, [=](auto c) {
    const auto h = c.sample(highPrev), x0 = c.unlift4(c.sample(low), h, c.sample(high));
    c.put(even, x0);
    const auto x2 = c.lifted(evenPrev), x1 = c.unlift3(h, x2, x0);
    c.put(odd, x1);
    const auto x3 = c.lifted(oddPrev2), lifted2 = c.unlift2(x2, x3, x1);
    c.put(evenPrev, lifted2);
    c.put(oddPrev2, c.unlift1(x3, c.sample(evenPrev2), lifted2));
  });
  return zelStsNoErr;
}

template <class T>
ZelStatus forward53(const T* src0, const T* src1, const T* src2, T* low, const T* highPrev, T* high, int width) {
  if (const ZelStatus s = checkRows(width, src0, src1, src2, low, highPrev, high)) return s;
  liftRows53(src0, src1, src2, highPrev, high, low, width);
  return zelStsNoErr;
}
template <class T>
ZelStatus inverse53(const T* low, const T* highPrev, const T* high, const T* evenPrev, T* odd, T* even, int width) {
  if (const ZelStatus s = checkRows(width, low, highPrev, high, evenPrev, odd, even)) return s;
  unliftRows53(low, highPrev, high, evenPrev, odd, even, width);
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliWTFwdColLift_B53_JPEG2K_16s_C1(const int16_t* pSrc0, const int16_t* pSrc1, const int16_t* pSrc2,
                                             int16_t* pDstLow, const int16_t* pSrcHighPrev, int16_t* pDstHigh,
                                             int width) {
  return forward53(pSrc0, pSrc1, pSrc2, pDstLow, pSrcHighPrev, pDstHigh, width);
}
ZelStatus zeliWTInvColLift_B53_JPEG2K_16s_C1(const int16_t* pSrcLow, const int16_t* pSrcHighPrev,
                                             const int16_t* pSrcHigh, const int16_t* pSrcEvenPrev, int16_t* pDstOdd,
                                             int16_t* pDstEven, int width) {
  return inverse53(pSrcLow, pSrcHighPrev, pSrcHigh, pSrcEvenPrev, pDstOdd, pDstEven, width);
}
ZelStatus zeliWTFwdColLift_B53_JPEG2K_32s_C1(const int32_t* pSrc0, const int32_t* pSrc1, const int32_t* pSrc2,
                                             int32_t* pDstLow, const int32_t* pSrcHighPrev, int32_t* pDstHigh,
                                             int width) {
  return forward53(pSrc0, pSrc1, pSrc2, pDstLow, pSrcHighPrev, pDstHigh, width);
}
ZelStatus zeliWTInvColLift_B53_JPEG2K_32s_C1(const int32_t* pSrcLow, const int32_t* pSrcHighPrev,
                                             const int32_t* pSrcHigh, const int32_t* pSrcEvenPrev, int32_t* pDstOdd,
                                             int32_t* pDstEven, int width) {
  return inverse53(pSrcLow, pSrcHighPrev, pSrcHigh, pSrcEvenPrev, pDstOdd, pDstEven, width);
}

ZelStatus zeliWTFwdColLift_D97_JPEG2K_16s_C1(const int16_t* pSrc0, const int16_t* pSrc1, const int16_t* pSrc2,
                                             int16_t* pLow, int16_t* pEven, int16_t* pHigh, int16_t* pOddPrev,
                                             int16_t* pOdd, int width) {
  return forward97<SaturatingRows16>(pSrc0, pSrc1, pSrc2, pLow, pEven, pHigh, pOddPrev, pOdd, width);
}
ZelStatus zeliWTInvColLift_D97_JPEG2K_16s_C1(const int16_t* pSrcLow, const int16_t* pSrcHighPrev,
                                             const int16_t* pSrcHigh, const int16_t* pEvenPrev2, int16_t* pOddPrev2,
                                             int16_t* pEvenPrev, int16_t* pOdd, int16_t* pEven, int width) {
  return inverse97<SaturatingRows16>(pSrcLow, pSrcHighPrev, pSrcHigh, pEvenPrev2, pOddPrev2, pEvenPrev, pOdd, pEven,
                                     width);
}
ZelStatus zeliWTFwdColLift_D97_JPEG2K_32s_C1(const int32_t* pSrc0, const int32_t* pSrc1, const int32_t* pSrc2,
                                             int32_t* pLow, int32_t* pEven, int32_t* pHigh, int32_t* pOddPrev,
                                             int32_t* pOdd, int width) {
  return forward97<Q16>(pSrc0, pSrc1, pSrc2, pLow, pEven, pHigh, pOddPrev, pOdd, width);
}
ZelStatus zeliWTInvColLift_D97_JPEG2K_32s_C1(const int32_t* pSrcLow, const int32_t* pSrcHighPrev,
                                             const int32_t* pSrcHigh, const int32_t* pEvenPrev2, int32_t* pOddPrev2,
                                             int32_t* pEvenPrev, int32_t* pOdd, int32_t* pEven, int width) {
  return inverse97<Q16>(pSrcLow, pSrcHighPrev, pSrcHigh, pEvenPrev2, pOddPrev2, pEvenPrev, pOdd, pEven, width);
}
ZelStatus zeliWTFwdColLift_D97_JPEG2K_32f_C1(const float* pSrc0, const float* pSrc1, const float* pSrc2, float* pLow,
                                             float* pEven, float* pHigh, float* pOddPrev, float* pOdd, int width) {
  return forward97<FoldedFloat>(pSrc0, pSrc1, pSrc2, pLow, pEven, pHigh, pOddPrev, pOdd, width);
}
ZelStatus zeliWTInvColLift_D97_JPEG2K_32f_C1(const float* pSrcLow, const float* pSrcHighPrev, const float* pSrcHigh,
                                             const float* pEvenPrev2, float* pOddPrev2, float* pEvenPrev, float* pOdd,
                                             float* pEven, int width) {
  return inverse97<FoldedFloat>(pSrcLow, pSrcHighPrev, pSrcHigh, pEvenPrev2, pOddPrev2, pEvenPrev, pOdd, pEven, width);
}

}  // namespace ZEL_VARIANT
