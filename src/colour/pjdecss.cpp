// Chroma up-sampling by a triangle filter: each sample gives two, three parts of itself and one of the neighbour on
// that side; in both directions for 4:2:0.
#include "colour/planes.h"

namespace ZEL_VARIANT {
namespace {

// Weights of two bytes, as maddBytes wants them.
template <class V>
ZEL_INLINE V weights(int even, int odd) {
  return as<V>(splat<Vec<int16_t, int(sizeof(V))>>(int16_t(even | odd << 8)));
}

// The weighted sums for the two outputs between samples k and k + 1: right of the one and left of the other.
template <int B>
struct Between {
  Vec<int16_t, B> right, left;
};
// With the weights of the nearer and the farther of both samples; for the low or the high samples of each 128 bits.
template <bool kHigh, int B>
ZEL_INLINE Between<B> between(const uint8_t* row, int64_t k, int nearer, int farther) {
  using Bytes = Vec<uint8_t, B>;
  using Factors = Vec<int8_t, B>;
  const Bytes a = load<Bytes>(row + k), b = load<Bytes>(row + k + 1);
  const Bytes both = kHigh ? unpackHigh128(a, b) : unpackLow128(a, b);
  return {maddBytes(both, weights<Factors>(nearer, farther)), maddBytes(both, weights<Factors>(farther, nearer))};
}

// One row to interpolate: sums are at most 1020.
struct OneRow {
  static constexpr int kShift = 2, kLeftBias = 1, kRightBias = 2;
  const uint8_t* row;
  int at(int64_t k) const { return row[k]; }
  template <bool kHigh, int B>
  ZEL_INLINE Between<B> sums(int64_t k) const {
    return between<kHigh, B>(row, k, 3, 1);
  }
};

// Two rows, three parts of the nearer and one of the farther: sums are at most 4080.
struct TwoRows {
  static constexpr int kShift = 4, kLeftBias = 8, kRightBias = 7;
  const uint8_t *near, *far;
  int at(int64_t k) const { return 3 * near[k] + far[k]; }
  template <bool kHigh, int B>
  ZEL_INLINE Between<B> sums(int64_t k) const {
    const Between<B> n = between<kHigh, B>(near, k, 9, 3), f = between<kHigh, B>(far, k, 3, 1);
    return {n.right + f.right, n.left + f.left};
  }
};

template <class Source>
uint8_t leftOf(Source src, int64_t k) {
  return uint8_t((3 * src.at(k) + src.at(k - 1) + Source::kLeftBias) >> Source::kShift);
}
template <class Source>
uint8_t rightOf(Source src, int64_t k) {
  return uint8_t((3 * src.at(k) + src.at(k + 1) + Source::kRightBias) >> Source::kShift);
}

// Of an outermost sample: it is its own neighbour.
template <class Source>
uint8_t ownLeft(Source src, int64_t k) {
  return uint8_t((4 * src.at(k) + Source::kLeftBias) >> Source::kShift);
}
template <class Source>
uint8_t ownRight(Source src, int64_t k) {
  return uint8_t((4 * src.at(k) + Source::kRightBias) >> Source::kShift);
}

// The outputs behind half of the B samples from k on, right and left by turns. mulHiRound divides by 2^kShift with
// halves up: (x + half) >> kShift. With a negative factor the result is the negative of what halves down give, which is
// (x + half - 1) >> kShift.
template <bool kHigh, int B, class Source>
ZEL_INLINE Vec<uint8_t, B> outputsOfHalf(Source src, int64_t k) {
  using W = Vec<int16_t, B>;
  constexpr int kFactor = (1 << 15) >> Source::kShift, kHalf = 1 << (Source::kShift - 1);
  constexpr bool kRightUp = Source::kRightBias == kHalf;
  static_assert((kRightUp ? Source::kLeftBias : Source::kRightBias) == kHalf - 1);
  const Between<B> sums = src.template sums<kHigh, B>(k);
  const W right = mulHiRound(sums.right, splat<W>(int16_t(kRightUp ? kFactor : -kFactor)));
  const W left = mulHiRound(sums.left, splat<W>(int16_t(kRightUp ? -kFactor : kFactor))) << 8;
  return as<Vec<uint8_t, B>>(kRightUp ? right - left : left - right);
}

// The outputs behind B samples from k on.
template <int B, class Source>
ZEL_INLINE void storeOutputs(Source src, int64_t k, uint8_t* dst) {
  const Vec<uint8_t, B> low = outputsOfHalf<false, B>(src, k), high = outputsOfHalf<true, B>(src, k);
#ifdef ZEL_VEC32
  if constexpr (B == 32) {
    store(dst, lowHalf(low));
    store(dst + 16, lowHalf(high));
    store(dst + 32, highHalf(low));
    store(dst + 48, highHalf(high));
    return;
  }
#endif
  store(dst, low);
  store(dst + B, high);
}

// The 2 n outputs between the first n + 1 samples. The last step may repeat some.
template <int B = kVecBytes, class Source>
void betweenSamples(Source src, uint8_t* dst, int64_t n) {
  if (n >= B) {
    for (int64_t k = 0; k + B <= n; k += B) storeOutputs<B>(src, k, dst + 2 * k);
    if (n % B) storeOutputs<B>(src, n - B, dst + 2 * (n - B));
  } else if constexpr (B > 16) {
    betweenSamples<16>(src, dst, n);
  } else {
    for (int64_t k = 0; k < n; ++k) {
      dst[2 * k] = rightOf(src, k);
      dst[2 * k + 1] = leftOf(src, k + 1);
    }
  }
}

// The first n outputs of a row, whose outermost samples have neighbours outside: dst[2k] and dst[2k + 1] from samples
// k - 1, k and k + 1. Nothing else is read.
template <class Source>
void upRow(Source src, uint8_t* dst, int64_t n) {
  dst[0] = leftOf(src, 0);
  betweenSamples(src, dst + 1, (n - 1) / 2);
  if (n % 2 == 0) dst[n - 1] = rightOf(src, n / 2 - 1);
}

// A whole row without neighbours outside: the outermost samples are their own neighbours.
// A row may have more outputs than an int holds.
template <class Source>
void upRowInside(Source src, int width, uint8_t* dst) {
  const int64_t last = int64_t(width) - 1;
  dst[0] = ownLeft(src, 0);
  betweenSamples(src, dst + 1, last);
  dst[2 * last + 1] = ownRight(src, last);
}

}  // namespace

ZelStatus zeliSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                       ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  for (int r = 0; r < dstSize.height; ++r)
    upRow(OneRow{rowAt(pSrc, srcStep, r)}, rowAt(pDst, dstStep, r), dstSize.width);
  return zelStsNoErr;
}

ZelStatus zeliSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                       ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  forEachRow(dstSize, [=](int r) {
    const int nearest = r >> 1, farther = r % 2 ? nearest + 1 : nearest - 1;
    upRow(TwoRows{rowAt(pSrc, srcStep, nearest), rowAt(pSrc, srcStep, farther)}, rowAt(pDst, dstStep, r),
          dstSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(srcWidth))) return s;
  upRowInside(OneRow{pSrc}, srcWidth, pDst);
  return zelStsNoErr;
}

ZelStatus zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                  uint8_t* pDst) {
  if (const ZelStatus s = firstFailure(present(pSrc1), present(pSrc2), present(pDst), lengthOk(srcWidth))) return s;
  upRowInside(TwoRows{pSrc1, pSrc2}, srcWidth, pDst);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
