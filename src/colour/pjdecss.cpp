// Chroma up-sampling by a triangle filter: each sample gives two, three parts of itself and one of the neighbour on
// that side; in both directions for 4:2:0.
#include "colour/planes.h"

namespace ZEL_VARIANT {
namespace {

// 16-bit lanes of three parts of a and one of b, for the low or the high samples of each 128 bits.
template <bool kHigh, int B>
ZEL_INLINE Vec<int16_t, B> threeToOne(Vec<uint8_t, B> a, Vec<uint8_t, B> b) {
  const auto pairs = kHigh ? unpackHigh128(a, b) : unpackLow128(a, b);
  return maddBytes(pairs, as<Vec<int8_t, B>>(splat<Vec<int16_t, B>>(0x0103)));
}

template <int B>
struct Sides {
  Vec<int16_t, B> left, right;
};

// One row to interpolate: the samples themselves.
struct OneRow {
  static constexpr int kShift = 2, kLeftBias = 1, kRightBias = 2;
  const uint8_t* row;
  int at(int64_t k) const { return row[k]; }
  // Three parts of sample k and one of its left or right neighbour.
  template <bool kHigh, int B>
  ZEL_INLINE Sides<B> sides(int64_t k) const {
    using V = Vec<uint8_t, B>;
    const V own = load<V>(row + k);
    return {threeToOne<kHigh>(own, load<V>(row + k - 1)), threeToOne<kHigh>(own, load<V>(row + k + 1))};
  }
};

// Two rows: columns of three parts of the nearer and one of the farther row, at most 1020.
struct TwoRows {
  static constexpr int kShift = 4, kLeftBias = 8, kRightBias = 7;
  const uint8_t *near, *far;
  int at(int64_t k) const { return 3 * near[k] + far[k]; }
  template <bool kHigh, int B>
  ZEL_INLINE Vec<int16_t, B> columns(int64_t k) const {
    using V = Vec<uint8_t, B>;
    return threeToOne<kHigh>(load<V>(near + k), load<V>(far + k));
  }
  template <bool kHigh, int B>
  ZEL_INLINE Sides<B> sides(int64_t k) const {
    const auto own = columns<kHigh, B>(k), own3 = own + own + own;
    return {own3 + columns<kHigh, B>(k - 1), own3 + columns<kHigh, B>(k + 1)};
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

// The outputs of half the samples from k on, left and right by turns.
template <bool kHigh, int B, class Source>
ZEL_INLINE Vec<uint8_t, B> doubledHalf(Source src, int64_t k) {
  using W = Vec<int16_t, B>;
  const Sides<B> s = src.template sides<kHigh, B>(k);
  const W left = (s.left + splat<W>(Source::kLeftBias)) >> Source::kShift;
  const W right = (s.right + splat<W>(Source::kRightBias)) >> Source::kShift;
  return as<Vec<uint8_t, B>>(left | right << 8);
}

// B samples from k on to twice as many.
template <int B, class Source>
ZEL_INLINE void doubleSamples(Source src, int64_t k, uint8_t* dst) {
  const Vec<uint8_t, B> low = doubledHalf<false, B>(src, k), high = doubledHalf<true, B>(src, k);
#ifdef __AVX2__
  if constexpr (B == 32) {
    store(dst, join(lowHalf(low), lowHalf(high)));
    store(dst + 32, join(highHalf(low), highHalf(high)));
    return;
  }
#endif
  store(dst, low);
  store(dst + B, high);
}

// dst[begin..end), dst[2k] and dst[2k + 1] from samples k - 1, k and k + 1; begin is even. Nothing else is read.
template <class Source>
void upRow(Source src, uint8_t* dst, int64_t begin, int64_t end) {
  int64_t i = begin;
  for (; i + 2 * kVecBytes <= end; i += 2 * kVecBytes) doubleSamples<kVecBytes>(src, i / 2, dst + i);
  for (; i + 32 <= end; i += 32) doubleSamples<16>(src, i / 2, dst + i);
  for (; i < end; ++i) dst[i] = i % 2 ? rightOf(src, i / 2) : leftOf(src, i / 2);
}

// A whole row without neighbours outside: the outermost samples are their own neighbours.
// A row may have more outputs than an int holds.
template <class Source>
void upRowInside(Source src, int width, uint8_t* dst) {
  const int64_t last = int64_t(width) - 1;
  dst[0] = ownLeft(src, 0);
  dst[2 * last + 1] = ownRight(src, last);
  if (width == 1) return;
  dst[1] = rightOf(src, 0);
  upRow(src, dst, 2, 2 * last);
  dst[2 * last] = leftOf(src, last);
}

}  // namespace

ZelStatus zeliSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                       ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  for (int r = 0; r < dstSize.height; ++r)
    upRow(OneRow{rowAt(pSrc, srcStep, r)}, rowAt(pDst, dstStep, r), 0, dstSize.width);
  return zelStsNoErr;
}

ZelStatus zeliSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                       ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  forEachRow(dstSize, [=](int r) {
    const int nearest = r >> 1, farther = r % 2 ? nearest + 1 : nearest - 1;
    upRow(TwoRows{rowAt(pSrc, srcStep, nearest), rowAt(pSrc, srcStep, farther)}, rowAt(pDst, dstStep, r), 0,
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
