// Colour conversion of planes for the encoder: RGB to YCbCr, CMYK to YCCK and RGB to luminance (JFIF: full range,
// chroma centred on 128). Each source has a fixed-point form of its own, and what stays of a row after whole vectors of
// 4 or 8 pixels has another: where one ends is part of the definition.
#include "colour/planes.h"
#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

// ---- Forms of the matrix --------------------------------------------------------------------------------------------
// Where the factors of a component add up to a power of two (luma) or to 0 (chroma), the differences from green are
// enough: r R + g G + b B = r (R - G) + b (B - G) + (r + g + b) G. They fit 16 bits, as a pairwise product asks.

// Every component rounded to nearest, in 14 bits.
constexpr int kHalf14 = 1 << 13;
constexpr int kChroma14 = (kCentre << 14) + kHalf14;

template <class V>
ZEL_INLINE Ycc<V> matrix14(const Rgb<V>& c) {
  constexpr ForwardMatrix m = kForward14;
  static_assert(sumOf(m.y) == 1 << 14 && sumOf(m.cb) == 0 && sumOf(m.cr) == 0);
  const V rg = c.r - c.g, bg = c.b - c.g;
  return {weigh<14>(rg, bg, m.y.r, m.y.b, kHalf14) + c.g, weigh<14>(rg, bg, m.cb.r, m.cb.b, kChroma14),
          weigh<14>(rg, bg, m.cr.r, m.cr.b, kChroma14)};
}

// The same for a single pixel. Chroma of pure blue and of pure red comes to 256.
Ycc<uint8_t> matrix14(Rgb<int> c) {
  constexpr ForwardMatrix m = kForward14;
  return {uint8_t((m.y.r * c.r + m.y.g * c.g + m.y.b * c.b + kHalf14) >> 14),
          clampToByte((m.cb.r * c.r + m.cb.g * c.g + m.cb.b * c.b + kChroma14) >> 14),
          clampToByte((m.cr.r * c.r + m.cr.g * c.g + m.cr.b * c.b + kChroma14) >> 14)};
}

// The 15-bit form. Luma adds a little less than half, as its factors add up to 1 more than 2^15; red chroma a little
// more.
constexpr int kLumaRounding15 = 16266;
constexpr int kCbRounding15 = 16384;
constexpr int kCrRounding15 = 16400;

// Of pixels as pairs. The sums of even and of odd pixels have their integers brought side by side.
template <bool kRedFirst, class V>
ZEL_INLINE V outerFactors(int red, int blue) {
  return kRedFirst ? pairFactors<int(sizeof(V))>(red, blue) : pairFactors<int(sizeof(V))>(blue, red);
}

template <bool kRedFirst, class V>
ZEL_INLINE V luma15(const PixelPairs<V>& p) {
  constexpr Weights w = kForward15.y;  // doubled below: with 16 fraction bits, integers are the high halves
  const auto twice = [&](int i) {
    return maddPairs(p.outer[i], outerFactors<kRedFirst, V>(2 * w.r, 2 * w.b), p.middle[i],
                     pairFactors<int(sizeof(V))>(w.g, w.g)) +
           splat<WideOf<V>>(2 * kLumaRounding15);
  };
  return bitsInTurn<16>(twice(0), twice(1));
}
uint8_t luma15(Rgb<int> c) {
  constexpr Weights w = kForward15.y;
  return uint8_t((w.r * c.r + w.g * c.g + w.b * c.b + kLumaRounding15) >> 15);
}

template <bool kRedFirst, class V>
ZEL_INLINE Ycc<V> matrix15(const PixelPairs<V>& p) {
  constexpr ForwardMatrix m = kForward15;
  static_assert(sumOf(m.cb) == 0 && sumOf(m.cr) == 0);
  const V even = p.outer[0] - p.middle[0], odd = p.outer[1] - p.middle[1];
  const auto chroma = [&](Weights w, int rounding) {
    const V factors = outerFactors<kRedFirst, V>(w.r, w.b);
    const WideOf<V> add = splat<WideOf<V>>((kCentre << 15) + rounding);
    return bitsInTurn<15>(maddPairs(even, factors) + add, maddPairs(odd, factors) + add);
  };
  return {luma15<kRedFirst>(p), chroma(m.cb, kCbRounding15), chroma(m.cr, kCrRounding15)};
}

// The planar form: luma in 16 bits, and chroma from the rounded luma, as Cb = (B - Y) * 0.5 / (1 - 0.114) + 128 and
// Cr = (R - Y) * 0.5 / (1 - 0.299) + 128. The factors are these quotients rounded to four digits, in 15 bits.
template <class V>
ZEL_INLINE Ycc<V> planarForm(const Rgb<V>& c) {
  constexpr int kCbOfDifference = fixedPoint(0.5643, 15);  // 18491
  constexpr int kCrOfDifference = fixedPoint(0.7133, 15);  // 23373
  static_assert(kCbOfDifference == 18491 && kCrOfDifference == 23373);
  static_assert(sumOf(kForward16.y) == 1 << 16);
  const V y = weigh<16>(c.r - c.g, c.b - c.g, kForward16.y.r, kForward16.y.b, 1 << 15) + c.g;
  const V centre = splat<V>(kCentre);
  return {y, mulHiRound(c.b - y, splat<V>(kCbOfDifference)) + centre,
          mulHiRound(c.r - y, splat<V>(kCrOfDifference)) + centre};
}

uint8_t lumaByTables(Rgb<int> c) {
  const auto& t = kEncodingTables.cc_table;
  return uint8_t((t[0][c.r] + t[1][c.g] + t[2][c.b]) >> 16);
}
Ycc<uint8_t> byTables(Rgb<int> c) {
  const auto& t = kEncodingTables.cc_table;
  return {lumaByTables(c), uint8_t((t[3][c.r] + t[4][c.g] + t[5][c.b]) >> 16),
          uint8_t((t[5][c.r] + t[6][c.g] + t[7][c.b]) >> 16)};
}

// 0.299 R + 0.587 G + 0.114 B in single precision, products and sums rounded in this order.
template <class V>
ZEL_INLINE V lumaFloat(const Rgb<V>& c) {
  using Floats = Vec<float, int(sizeof(V))>;
  const auto luma = [](WideOf<V> r, WideOf<V> g, WideOf<V> b) {
    const typename Floats::Raw rg = toFloat(r).v * 0.299f + toFloat(g).v * 0.587f;
    return roundToInt(Floats{rg + toFloat(b).v * 0.114f});
  };
  const auto low = [](V x) { return as<WideOf<V>>(unpackLow128(x, zero<V>())); };
  const auto high = [](V x) { return as<WideOf<V>>(unpackHigh128(x, zero<V>())); };
  return packI16x128(luma(low(c.r), low(c.g), low(c.b)), luma(high(c.r), high(c.g), high(c.b)));
}

// ---- Sources: a vector part and a single pixel each -----------------------------------------------------------------

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

// Interleaved bytes; pixels come in eights, in one half of a vector each: from i on, and 16 behind.
template <bool kRedFirst>
struct FromChannels {
  const uint8_t* src;
  template <class V>
  ZEL_INLINE PixelPairs<V> pairs(int i) const {
    using Bytes = Vec<uint8_t, int(sizeof(V))>;
    const uint8_t* p = src + 3 * int64_t(i);
    return pairsOf3(loadRgb24<Bytes>(p, p + 3 * 16));
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
  template <class S>
  ZEL_INLINE void put(int i, const Ycc<typename S::V>& c) const {
    storeSamples<S>(y + i, c.y);
    storeSamples<S>(cb + i, c.cb);
    storeSamples<S>(cr + i, c.cr);
  }
  void put(int i, Ycc<uint8_t> c) const {
    y[i] = c.y;
    cb[i] = c.cb;
    cr[i] = c.cr;
  }
};

YccRow yccRowAt(uint8_t* const* pDst, int dstStep, int r) {
  return {rowAt(pDst[0], dstStep, r), rowAt(pDst[1], dstStep, r), rowAt(pDst[2], dstStep, r)};
}

// Planar sources: whole fours in vectors, then tables.
template <class Source>
void planarRow(Source from, YccRow to, int width) {
  int i = inSteps<4>(width, [&](auto step, int at) {
    using S = decltype(step);
    to.put<S>(at, planarForm(from.template get<S>(at)));
  });
  for (; i < width; ++i) to.put(i, byTables(from.get(i)));
}

// Interleaved sources: whole eights in vectors, by the matrix of 15 or of 14 bits; the rest by that of 14 bits.
template <class Source>
void interleavedRow(Source from, YccRow to, int width) {
  int i = inSteps<8>(width, [&](auto step, int at) {
    using S = decltype(step);
    to.put<S>(at, matrix14(from.template get<S>(at)));
  });
  for (; i < width; ++i) to.put(i, matrix14(from.get(i)));
}

template <bool kRedFirst>
void channelsRow(FromChannels<kRedFirst> from, YccRow to, int width) {
  const int whole = width - width % u8v::N;
  int i = 0;
  for (; i < whole; i += u8v::N) {
    const auto a = matrix15<kRedFirst>(from.template pairs<i16v>(i));
    const auto b = matrix15<kRedFirst>(from.template pairs<i16v>(i + 8));
    store(to.y + i, packU8x128(a.y, b.y));
    store(to.cb + i, packU8x128(a.cb, b.cb));
    store(to.cr + i, packU8x128(a.cr, b.cr));
  }
  for (; width - i >= 8; i += 8) to.put<Step<i16x8, 8>>(i, matrix15<kRedFirst>(from.template pairs<i16x8>(i)));
  for (; i < width; ++i) to.put(i, matrix14(from.get(i)));
}

template <bool kRedFirst>
void lumaRow(FromChannels<kRedFirst> from, uint8_t* y, int width) {
  const int whole = width - width % u8v::N;
  int i = 0;
  for (; i < whole; i += u8v::N) {
    const i16v a = luma15<kRedFirst>(from.template pairs<i16v>(i));
    store(y + i, packU8x128(a, luma15<kRedFirst>(from.template pairs<i16v>(i + 8))));
  }
  for (; width - i >= 8; i += 8) storeNarrow(y + i, luma15<kRedFirst>(from.template pairs<i16x8>(i)));
  for (; i < width; ++i) y[i] = luma15(from.get(i));
}

void lumaRowOfPlanes(FromPlanes from, uint8_t* y, int width) {
  const int whole = inSteps<4>(width, [=](auto step, int i) {
    using S = decltype(step);
    storeSamples<S>(y + i, lumaFloat(from.get<S>(i)));
  });
  for (int i = whole; i < width; ++i) y[i] = lumaByTables(from.get(i));
}

void copyRow(const uint8_t* src, uint8_t* dst, int n) {
  const int whole = n - n % u8v::N;
  int i = 0;
  for (; i < whole; i += u8v::N) store(dst + i, load<u8v>(src + i));
  for (; i < n; ++i) dst[i] = src[i];
}
void copyKey(const uint8_t* cmyk, uint8_t* dst, int n) {
  for (int i = 0; i < n; ++i) dst[i] = cmyk[4 * int64_t(i) + 3];
}

// ---- Regions --------------------------------------------------------------------------------------------------------

template <bool kRedFirst>
ZelStatus fromChannels(const uint8_t* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<0, 3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    channelsRow(FromChannels<kRedFirst>{rowAt(pSrc, srcStep, r)}, yccRowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

// On the calling thread alone.
template <bool kRedFirst, int kGreenBits>
ZelStatus fromPacked(const uint16_t* pSrc, int srcStep, uint8_t* const* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<0, 3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  for (int r = 0; r < roiSize.height; ++r)
    interleavedRow(FromPacked<kRedFirst, kGreenBits>{rowAt(pSrc, srcStep, r)}, yccRowAt(pDst, dstStep, r),
                   roiSize.width);
  return zelStsNoErr;
}

template <bool kRedFirst>
ZelStatus lumaOfChannels(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<0, 0>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    lumaRow(FromChannels<kRedFirst>{rowAt(pSrc, srcStep, r)}, rowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<3, 3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
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
  if (const ZelStatus s = checkColours<4, 4>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    planarRow(FromCmyPlanes{rowAt(pSrc[0], srcStep, r), rowAt(pSrc[1], srcStep, r), rowAt(pSrc[2], srcStep, r)},
              yccRowAt(pDst, dstStep, r), roiSize.width);
    copyRow(rowAt(pSrc[3], srcStep, r), rowAt(pDst[3], dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[4], int dstStep,
                                       ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<0, 4>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    const uint8_t* row = rowAt(pSrc, srcStep, r);
    interleavedRow(FromCmykChannels{row}, yccRowAt(pDst, dstStep, r), roiSize.width);
    copyKey(row, rowAt(pDst[3], dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

ZelStatus zeliRGBToY_JPEG_8u_P3C1R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                   ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<3, 0>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
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
