// Chroma up-sampling by a triangle filter: each sample gives two, three parts of itself and one of the neighbour on
// that side; in both directions for 4:2:0.
#include "colour/planes.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

template <class V>
ZEL_INLINE V times3(V x) {
  return x + x + x;
}

// One row to interpolate: the samples themselves.
struct OneRow {
  static constexpr int kShift = 2, kLeftBias = 1, kRightBias = 2;
  const uint8_t* row;
  int at(int k) const { return row[k]; }
  template <class V>
  ZEL_INLINE V lanes(int k) const {
    return loadWiden<V>(row + k);
  }
};

// Two rows: columns of three parts of the nearer and one of the farther row, at most 1020.
struct TwoRows {
  static constexpr int kShift = 4, kLeftBias = 8, kRightBias = 7;
  const uint8_t *near, *far;
  int at(int k) const { return 3 * near[k] + far[k]; }
  template <class V>
  ZEL_INLINE V lanes(int k) const {
    return times3(loadWiden<V>(near + k)) + loadWiden<V>(far + k);
  }
};

template <class Source>
uint8_t leftOf(Source src, int k) {
  return uint8_t((3 * src.at(k) + src.at(k - 1) + Source::kLeftBias) >> Source::kShift);
}
template <class Source>
uint8_t rightOf(Source src, int k) {
  return uint8_t((3 * src.at(k) + src.at(k + 1) + Source::kRightBias) >> Source::kShift);
}

// V::N samples from k on to twice as many.
template <class V, class Source>
ZEL_INLINE V doubled(Source src, int k) {
  const V own = times3(src.template lanes<V>(k));
  const V left = (own + src.template lanes<V>(k - 1) + splat<V>(Source::kLeftBias)) >> Source::kShift;
  const V right = (own + src.template lanes<V>(k + 1) + splat<V>(Source::kRightBias)) >> Source::kShift;
  return left | right << 8;
}

// dst[begin..end), dst[2k] and dst[2k + 1] from samples k - 1, k and k + 1; begin is even. Nothing else is read.
template <class Source>
void upRow(Source src, uint8_t* dst, int begin, int end) {
  int i = begin;
  for (; i + 2 * i16v::N <= end; i += 2 * i16v::N) store(dst + i, doubled<i16v>(src, i / 2));
  for (; i + 2 * i16x8::N <= end; i += 2 * i16x8::N) store(dst + i, doubled<i16x8>(src, i / 2));
  for (; i < end; ++i) dst[i] = i % 2 ? rightOf(src, i / 2) : leftOf(src, i / 2);
}

// A whole row without neighbours outside: the outermost outputs are the outermost samples.
template <class Source>
void upRowInside(Source src, int width, uint8_t* dst) {
  constexpr int kOwn = Source::kShift == 2 ? 0 : 1;  // two rows: the column, rounded as the biases say
  const int last = width - 1;
  dst[0] = uint8_t(kOwn ? (4 * src.at(0) + Source::kLeftBias) >> 4 : src.at(0));
  dst[2 * int64_t(last) + 1] = uint8_t(kOwn ? (4 * src.at(last) + Source::kRightBias) >> 4 : src.at(last));
  if (width == 1) return;
  dst[1] = rightOf(src, 0);
  upRow(src, dst, 2, 2 * last);
  dst[2 * int64_t(last)] = leftOf(src, last);
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
