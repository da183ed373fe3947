// Chroma down-sampling by a box filter (as in JPEG's 4:2:2 and 4:2:0): a sample is the mean of 2 or 2x2.
#include "colour/planes.h"

namespace ZEL_VARIANT {
namespace {

// What is added before the shift, for outputs of even and of odd index.
struct Bias {
  int even, odd;
};
constexpr Bias kPlaneH2V1 = {1, 1}, kPlaneH2V2 = {3, 3};
constexpr Bias kRowH2V1 = {0, 1}, kRowH2V2 = {1, 2};  // alternating: no drift to either side

template <class V>
ZEL_INLINE V alternating(Bias bias) {
  return as<V>(splat<Vec<int32_t, int(sizeof(V))>>(bias.even | bias.odd << 16));
}

// Sums of neighbouring bytes.
template <int B>
ZEL_INLINE Vec<int16_t, B> pairSums(const uint8_t* p) {
  return maddBytes(load<Vec<uint8_t, B>>(p), splat<Vec<int8_t, B>>(1));
}

// dst[i] = (src[2i] + src[2i + 1] + bias) >> 1, or with a second row the sum of four >> 2. A sum of four and its bias
// is at most 1023.
template <bool kTwoRows>
void downRow(const uint8_t* upper, const uint8_t* lower, uint8_t* dst, int n, Bias bias) {
  constexpr int kShift = kTwoRows ? 2 : 1;
  const auto sums = [&](auto lanes, int64_t i) __attribute__((always_inline)) {
    using V = decltype(lanes);
    V s = pairSums<sizeof(V)>(upper + 2 * i);
    if constexpr (kTwoRows) s = s + pairSums<sizeof(V)>(lower + 2 * i);
    return (s + alternating<V>(bias)) >> kShift;
  };
  int64_t i = 0;  // twice as many samples can be more than an int holds
  for (; i + u8v::N <= n; i += u8v::N) store(dst + i, packU8(sums(i16v{}, i), sums(i16v{}, i + i16v::N)));
  for (; i + i16x8::N <= n; i += i16x8::N) storeNarrow(dst + i, sums(i16x8{}, i));
  for (; i < n; ++i) {
    int sum = upper[2 * i] + upper[2 * i + 1] + (i % 2 ? bias.odd : bias.even);
    if (kTwoRows) sum += lower[2 * i] + lower[2 * i + 1];
    dst[i] = uint8_t(sum >> kShift);
  }
}

// One output per pair; an odd width reads the sample behind it.
constexpr int pairs(int width) { return int((int64_t(width) + 1) / 2); }

}  // namespace

ZelStatus zeliSampleDownH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                         ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  forEachRow(dstSize, [=](int r) {
    downRow<false>(rowAt(pSrc, srcStep, r), nullptr, rowAt(pDst, dstStep, r), dstSize.width, kPlaneH2V1);
  });
  return zelStsNoErr;
}

ZelStatus zeliSampleDownH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst, int dstStep,
                                         ZeliSize dstSize) {
  if (const ZelStatus s = checkResampling(pSrc, srcStep, srcSize, pDst, dstStep, dstSize)) return s;
  forEachRow(dstSize, [=](int r) {
    const uint8_t* upper = rowAt(rowAt(pSrc, srcStep, r), srcStep, r);
    downRow<true>(upper, rowAt(upper, srcStep, 1), rowAt(pDst, dstStep, r), dstSize.width, kPlaneH2V2);
  });
  return zelStsNoErr;
}

ZelStatus zeliSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(srcWidth))) return s;
  downRow<false>(pSrc, nullptr, pDst, pairs(srcWidth), kRowH2V1);
  return zelStsNoErr;
}

ZelStatus zeliSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                               uint8_t* pDst) {
  if (const ZelStatus s = firstFailure(present(pSrc1), present(pSrc2), present(pDst), lengthOk(srcWidth))) return s;
  downRow<true>(pSrc1, pSrc2, pDst, pairs(srcWidth), kRowH2V2);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
