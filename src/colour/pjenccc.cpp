// Colour conversion of planes for the encoder: RGB to YCbCr, CMYK to YCCK and RGB to luminance (JFIF: full range,
// chroma centred on 128). Each source has a fixed-point form of its own, and what stays of a row after whole vectors of
// 4 or 8 pixels has another: where one ends is part of the definition.
#include <math.h>

#include "colour/planes.h"
#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

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

template <class V>
ZEL_INLINE V pairFactors(int even, int odd) {
  return as<V>(splat<WideOf<V>>(int32_t(uint32_t(uint16_t(even)) | uint32_t(odd) << 16)));
}

// (a * fa + b * fb + offset) >> kShift
template <int kShift, class V>
ZEL_INLINE V weigh(V a, V b, int fa, int fb, int offset) {
  const V factors = pairFactors<V>(fa, fb);
  const WideOf<V> add = splat<WideOf<V>>(offset);
  return packI16x128((maddPairs(unpackLow128(a, b), factors) + add) >> kShift,
                     (maddPairs(unpackHigh128(a, b), factors) + add) >> kShift);
}

// Factors of a matrix row that add up to a power of two (luma) or to zero (chroma) need only the differences from
// green: r R + g G + b B = r (R - G) + b (B - G) + (r + g + b) G.

// The 14-bit matrix: Y = (4899 R + 9617 G + 1868 B + 8192) >> 14, Cb = (-2764 R - 5428 G + 8192 B + 2105344) >> 14,
// Cr = (8192 R - 6860 G - 1332 B + 2105344) >> 14.
template <class V>
ZEL_INLINE Ycc<V> matrix14(const Rgb<V>& c) {
  static_assert(4899 + 9617 + 1868 == 1 << 14 && -2764 - 5428 + 8192 == 0 && 8192 - 6860 - 1332 == 0);
  const V rg = c.r - c.g, bg = c.b - c.g;
  return {weigh<14>(rg, bg, 4899, 1868, 8192) + c.g, weigh<14>(rg, bg, -2764, 8192, 2105344),
          weigh<14>(rg, bg, 8192, -1332, 2105344)};
}

// The 15-bit form: Y = (9798 R + 19235 G + 3736 B + 16266) >> 15, whose factors add up to 32769.
template <class V>
ZEL_INLINE V luma15(const Rgb<V>& c) {
  static_assert(9798 + 19235 + 3736 == (1 << 15) + 1);
  const V rg = c.r - c.g, bg = c.b - c.g, one = splat<V>(1);
  const V differences = pairFactors<V>(9798, 3736), green = pairFactors<V>(1, 16266);
  const auto low = maddPairs(unpackLow128(rg, bg), differences) + maddPairs(unpackLow128(c.g, one), green);
  const auto high = maddPairs(unpackHigh128(rg, bg), differences) + maddPairs(unpackHigh128(c.g, one), green);
  return packI16x128(low >> 15, high >> 15) + c.g;
}

// Cb = (-5529 R - 10855 G + 16384 B + 4210688) >> 15, Cr = (16384 R - 13720 G - 2664 B + 4210704) >> 15.
template <class V>
ZEL_INLINE Ycc<V> matrix15(const Rgb<V>& c) {
  static_assert(-5529 - 10855 + 16384 == 0 && 16384 - 13720 - 2664 == 0);
  const V rg = c.r - c.g, bg = c.b - c.g;
  return {luma15(c), weigh<15>(rg, bg, -5529, 16384, 4210688), weigh<15>(rg, bg, 16384, -2664, 4210704)};
}

// The planar form: Y = (19595 R + 38470 G + 7471 B + 32768) >> 16, and chroma from the stored Y:
// Cb = ((B - Y) * 18491 + 128.5 * 32768) >> 15, Cr likewise with R and 23373.
template <class V>
ZEL_INLINE Ycc<V> planarForm(const Rgb<V>& c) {
  static_assert(19595 + 38470 + 7471 == 1 << 16);
  const V y = weigh<16>(c.r - c.g, c.b - c.g, 19595, 7471, 32768) + c.g, centre = splat<V>(128);
  return {y, mulHiRound(c.b - y, splat<V>(18491)) + centre, mulHiRound(c.r - y, splat<V>(23373)) + centre};
}

int lumaByTables(int r, int g, int b) {
  const auto& t = kEncodingTables.cc_table;
  return (t[0][r] + t[1][g] + t[2][b]) >> 16;
}
Ycc<uint8_t> byTables(int r, int g, int b) {
  const auto& t = kEncodingTables.cc_table;
  return {uint8_t(lumaByTables(r, g, b)), uint8_t((t[3][r] + t[4][g] + t[5][b]) >> 16),
          uint8_t((t[5][r] + t[6][g] + t[7][b]) >> 16)};
}

// Scalar 14-bit matrix; the results need no clamp.
Ycc<uint8_t> matrix14(int r, int g, int b) {
  return {uint8_t((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
          clampToByte((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
          clampToByte((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
}

// ---- Sources: a vector part and a single pixel each -----------------------------------------------------------------

template <class S>
ZEL_INLINE Rgb<typename S::V> widened(u8x16 r, u8x16 g, u8x16 b) {
  using V = typename S::V;
#ifdef __AVX2__
  if constexpr (sizeof(V) == 32) {
    return {widened(r), widened(g), widened(b)};
  }
#endif
  if constexpr (sizeof(V) == 16) {
    const auto wide = [](u8x16 x) { return as<V>(unpackLow128(x, zero<u8x16>())); };
    return {wide(r), wide(g), wide(b)};
  }
}

struct FromPlanes {
  const uint8_t *r, *g, *b;
  template <class S>
  ZEL_INLINE Rgb<typename S::V> get(int i) const {
    return {loadSamples<S>(r + i), loadSamples<S>(g + i), loadSamples<S>(b + i)};
  }
  Rgb<int> get(int i) const { return {r[i], g[i], b[i]}; }
};

struct FromCmyPlanes {
  const uint8_t *c, *m, *y;
  template <class S>
  ZEL_INLINE Rgb<typename S::V> get(int i) const {
    const auto full = splat<typename S::V>(255);
    return {full - loadSamples<S>(c + i), full - loadSamples<S>(m + i), full - loadSamples<S>(y + i)};
  }
  Rgb<int> get(int i) const { return {255 - c[i], 255 - m[i], 255 - y[i]}; }
};

// Interleaved bytes; pixels come in eights, in one half of a vector each.
template <bool kRedFirst>
struct FromChannels {
  const uint8_t* src;
  template <class S>
  ZEL_INLINE Rgb<typename S::V> get(int i) const {
    static_assert(S::kCount >= 8);
    using Bytes = Vec<uint8_t, int(sizeof(typename S::V))>;
    const uint8_t* p = src + 3 * int64_t(i);
    const Rgb24<Bytes> pixels = loadRgb24<Bytes>(p, p + 24);
    const auto first = channelOf3<0>(pixels), last = channelOf3<2>(pixels);
    return {kRedFirst ? first : last, channelOf3<1>(pixels), kRedFirst ? last : first};
  }
  Rgb<int> get(int i) const {
    const uint8_t* p = src + 3 * int64_t(i);
    return {p[kRedFirst ? 0 : 2], p[1], p[kRedFirst ? 2 : 0]};
  }
};

struct FromCmykChannels {
  const uint8_t* src;
  template <class S>
  ZEL_INLINE Rgb<typename S::V> get(int i) const {
    static_assert(S::kCount >= 8);
    using V = typename S::V;
    using Bytes = Vec<uint8_t, int(sizeof(V))>;
    static constexpr uint8_t _ = kZeroByte;
    static constexpr ShuffleBytes kCyan = {{0, _, 4, _, 8, _, 12, _, 2, _, 6, _, 10, _, 14, _}};  // then yellow
    static constexpr ShuffleBytes kMagenta = {{1, _, 5, _, 9, _, 13, _, _, _, _, _, _, _, _, _}};
    const uint8_t* p = src + 4 * int64_t(i);
    const Bytes low = loadHalves<Bytes>(p, p + 32), high = loadHalves<Bytes>(p + 16, p + 48);
    const V cyLow = as<V>(shuffleBy(low, kCyan)), cyHigh = as<V>(shuffleBy(high, kCyan));
    const V mLow = as<V>(shuffleBy(low, kMagenta)), mHigh = as<V>(shuffleBy(high, kMagenta)), full = splat<V>(255);
    return {full - unpackLow64x128(cyLow, cyHigh), full - unpackLow64x128(mLow, mHigh),
            full - unpackHigh64x128(cyLow, cyHigh)};
  }
  Rgb<int> get(int i) const {
    const uint8_t* p = src + 4 * int64_t(i);
    return {255 - p[0], 255 - p[1], 255 - p[2]};
  }
};

// 16-bit pixels, the first channel in the lowest bits; fields are widened by shifts.
template <bool kRedFirst, int kGreenBits>
struct FromPacked {
  const uint16_t* src;
  template <class V>
  ZEL_INLINE static Rgb<V> split(V x) {
    const V first = (x << 3) & splat<V>(0xF8), last = (x >> (2 + kGreenBits)) & splat<V>(0xF8);
    const V green = (x >> (kGreenBits - 3)) & splat<V>(0x100 - (0x100 >> kGreenBits));
    return {kRedFirst ? first : last, green, kRedFirst ? last : first};
  }
  template <class S>
  ZEL_INLINE Rgb<typename S::V> get(int i) const {
    return split(load<typename S::V>(src + i));
  }
  Rgb<int> get(int i) const {
    const int x = loadOne(src + i), first = (x & 31) << 3, last = ((x >> (5 + kGreenBits)) & 31) << 3;
    const int green = ((x >> 5) & ((1 << kGreenBits) - 1)) << (8 - kGreenBits);
    return {kRedFirst ? first : last, green, kRedFirst ? last : first};
  }
};

// ---- Rows -----------------------------------------------------------------------------------------------------------

struct YccRow {
  uint8_t *y, *cb, *cr;
};

template <class S>
ZEL_INLINE void storeYcc(YccRow to, int i, const Ycc<typename S::V>& c) {
  storeSamples<S>(to.y + i, c.y), storeSamples<S>(to.cb + i, c.cb), storeSamples<S>(to.cr + i, c.cr);
}
void storeYcc(YccRow to, int i, Ycc<uint8_t> c) { to.y[i] = c.y, to.cb[i] = c.cb, to.cr[i] = c.cr; }

// Planar sources: whole fours in vectors, then tables.
template <class Source>
void planarRow(Source from, YccRow to, int width) {
  int i = inSteps<4>(width, [&](auto step, int at) {
    using S = decltype(step);
    storeYcc<S>(to, at, planarForm(from.template get<S>(at)));
  });
  for (; i < width; ++i) {
    const Rgb<int> c = from.get(i);
    storeYcc(to, i, byTables(c.r, c.g, c.b));
  }
}

// Interleaved sources: whole eights in vectors, by the 15-bit form or the matrix; the rest by the 14-bit matrix.
template <bool k15Bit, class Source>
void interleavedRow(Source from, YccRow to, int width) {
  int i = inSteps<8>(width, [&](auto step, int at) {
    using S = decltype(step);
    const auto c = from.template get<S>(at);
    if constexpr (k15Bit)
      storeYcc<S>(to, at, matrix15(c));
    else
      storeYcc<S>(to, at, matrix14(c));
  });
  for (; i < width; ++i) {
    const Rgb<int> c = from.get(i);
    storeYcc(to, i, matrix14(c.r, c.g, c.b));
  }
}

template <bool kRedFirst>
void lumaRow(FromChannels<kRedFirst> from, uint8_t* y, int width) {
  int i = inSteps<8>(width, [&](auto step, int at) {
    using S = decltype(step);
    storeSamples<S>(y + at, luma15(from.template get<S>(at)));
  });
  for (; i < width; ++i) {
    const Rgb<int> c = from.get(i);
    y[i] = uint8_t((9798 * c.r + 19235 * c.g + 3736 * c.b + 16266) >> 15);
  }
}

// 0.299 R + 0.587 G + 0.114 B in single precision, products and sums rounded in this order; four pixels.
ZEL_INLINE i32x4 lumaFloat(i32x4 r, i32x4 g, i32x4 b) {
  const f32x4::Raw rg = toFloat(r).v * 0.299f + toFloat(g).v * 0.587f;
  return roundToInt(f32x4{rg + toFloat(b).v * 0.114f});
}

void lumaRowOfPlanes(FromPlanes from, uint8_t* y, int width) {
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    const Rgb<i16x8> c = from.get<Step<i16x8, 4>>(i);
    const auto wide = [](i16x8 x) { return as<i32x4>(unpackLow128(x, zero<i16x8>())); };
    const i32x4 luma = lumaFloat(wide(c.r), wide(c.g), wide(c.b));
    store4(y + i, bytesOf(packI16(luma, luma)));
  }
  for (; i < width; ++i) y[i] = uint8_t(lumaByTables(from.r[i], from.g[i], from.b[i]));
}

void copyRow(const uint8_t* src, uint8_t* dst, int n) {
  int i = 0;
  for (; i + u8v::N <= n; i += u8v::N) store(dst + i, load<u8v>(src + i));
  for (; i < n; ++i) dst[i] = src[i];
}
void copyKey(const uint8_t* cmyk, uint8_t* dst, int n) {
  for (int i = 0; i < n; ++i) dst[i] = cmyk[4 * int64_t(i) + 3];
}

YccRow yccRowAt(uint8_t* const* pDst, int dstStep, int r) {
  return {rowAt(pDst[0], dstStep, r), rowAt(pDst[1], dstStep, r), rowAt(pDst[2], dstStep, r)};
}

ZelStatus checkSizes(int srcStep, int dstStep, ZeliSize roi) {
  return firstFailure(stepOk(srcStep), stepOk(dstStep), sizeOk(roi));
}
template <int N>
ZelStatus checkToPlanes(const void* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roi) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  return firstFailure(allPresent<N>(pDst), checkSizes(srcStep, dstStep, roi));
}
template <int N>
ZelStatus checkPlanes(const uint8_t* const* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roi) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  return firstFailure(allPresent<N>(pSrc), allPresent<N>(pDst), checkSizes(srcStep, dstStep, roi));
}

template <bool kRedFirst>
ZelStatus fromChannels(const uint8_t* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkToPlanes<3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    interleavedRow<true>(FromChannels<kRedFirst>{rowAt(pSrc, srcStep, r)}, yccRowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

// On the calling thread alone.
template <bool kRedFirst, int kGreenBits>
ZelStatus fromPacked(const uint16_t* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkToPlanes<3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  for (int r = 0; r < roiSize.height; ++r)
    interleavedRow<false>(FromPacked<kRedFirst, kGreenBits>{rowAt(pSrc, srcStep, r)}, yccRowAt(pDst, dstStep, r),
                          roiSize.width);
  return zelStsNoErr;
}

template <bool kRedFirst>
ZelStatus lumaOfChannels(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), checkSizes(srcStep, dstStep, roiSize))) return s;
  forEachRow(roiSize, [=](int r) {
    lumaRow(FromChannels<kRedFirst>{rowAt(pSrc, srcStep, r)}, rowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  if (const ZelStatus s = checkPlanes<3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    planarRow(FromPlanes{rowAt(pSrc[0], srcStep, r), rowAt(pSrc[1], srcStep, r), rowAt(pSrc[2], srcStep, r)},
              yccRowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliRGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                       ZeliSize roiSize) {
  return fromChannels<true>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliBGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                       ZeliSize roiSize) {
  return fromChannels<false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZeliSize roiSize) {
  return fromPacked<true, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZeliSize roiSize) {
  return fromPacked<false, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZeliSize roiSize) {
  return fromPacked<true, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZeliSize roiSize) {
  return fromPacked<false, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliCMYKToYCCK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4], int dstStep,
                                     ZeliSize roiSize) {
  if (const ZelStatus s = checkPlanes<4>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    planarRow(FromCmyPlanes{rowAt(pSrc[0], srcStep, r), rowAt(pSrc[1], srcStep, r), rowAt(pSrc[2], srcStep, r)},
              yccRowAt(pDst, dstStep, r), roiSize.width);
    copyRow(rowAt(pSrc[3], srcStep, r), rowAt(pDst[3], dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[4], int dstStep,
                                       ZeliSize roiSize) {
  if (const ZelStatus s = checkToPlanes<4>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    const uint8_t* row = rowAt(pSrc, srcStep, r);
    interleavedRow<false>(FromCmykChannels{row}, yccRowAt(pDst, dstStep, r), roiSize.width);
    copyKey(row, rowAt(pDst[3], dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliRGBToY_JPEG_8u_P3C1R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                   ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  if (const ZelStatus s = firstFailure(allPresent<3>(pSrc), checkSizes(srcStep, dstStep, roiSize))) return s;
  forEachRow(roiSize, [=](int r) {
    lumaRowOfPlanes({rowAt(pSrc[0], srcStep, r), rowAt(pSrc[1], srcStep, r), rowAt(pSrc[2], srcStep, r)},
                    rowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliRGBToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  return lumaOfChannels<true>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliBGRToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  return lumaOfChannels<false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

}  // namespace ZEL_VARIANT
