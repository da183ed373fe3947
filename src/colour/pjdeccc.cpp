// Colour conversion of planes for the decoder: YCbCr to RGB and YCCK to CMYK (JFIF: full range, chroma centred on 128).
//
// A row is converted in two parts. Its first 4 * floor(width / 4) pixels take vectors, in 14-bit fixed point; the
// remaining ones take tables in 16-bit fixed point. The two can differ by 1, so where one ends is part of the
// definition.
#include "colour/planes.h"
#include "colour/tables.h"

namespace ZEL_VARIANT {
namespace {

// The two forms of the vector part. Each adds a figure of its own where rounding to nearest would add a half, 8192; and
// the green sum is either subtracted from luma or, with negative factors, added to it.
struct PlanarForm {
  static constexpr int kRedRounding = 8145;
  static constexpr int kGreenRounding = 8082;
  static constexpr int kBlueRounding = 7535;
  static constexpr int kGreenSign = -1;
};
struct InterleavedForm {
  static constexpr int kRedRounding = 8145;
  static constexpr int kGreenRounding = 8302;
  static constexpr int kBlueRounding = 8135;
  static constexpr int kGreenSign = 1;
};

// Chroma in vectors: 2 c - 256, centred and with one fraction bit.
template <class V>
ZEL_INLINE V centredTwice(V c) {
  return (c - splat<V>(kCentre)) << 1;
}

// mulHiRound gives (factor * x + 8192) >> 14 for x = 2 c - 256: what a component takes from one chroma plane, but for
// the rounding. Of the 256 values of c, those for which the smaller rounding gives 1 less.
struct Misses {
  int count, twice;  // how many, and 2 c - 256 of the last one
};
constexpr Misses missesOf(int factor, int rounding) {
  Misses m{};
  for (int c = -kCentre; c < kCentre; ++c) {
    const int nearest = (factor * c + (1 << (kFractionBits - 1))) >> kFractionBits;
    const int wanted = (factor * c + rounding) >> kFractionBits;
    if (wanted != nearest) m = {wanted == nearest - 1 ? m.count + 1 : kCentre, 2 * c};
  }
  return m;
}

// What a component takes from chroma a; b stands beside it in the sums of green, which the compiler has anyway.
template <int kFactor, int kRounding, class V>
ZEL_INLINE V partOf(V a, V b, bool aFirst) {
  constexpr Misses kMisses = missesOf(kFactor, kRounding);
  if constexpr (kMisses.count == 1)
    return mulHiRound(a, splat<V>(int16_t(kFactor))) + (a == splat<V>(int16_t(kMisses.twice)));
  return aFirst ? weigh<kFractionBits>(a, b, kFactor / 2, 0, kRounding)
                : weigh<kFractionBits>(b, a, 0, kFactor / 2, kRounding);
}

// Not yet clamped; with bytes as input no sum leaves 16 bits. cb and cr are centredTwice.
template <class Form, class V>
ZEL_INLINE Rgb<V> toRgb(V y, V cb, V cr) {
  constexpr int kCbToGreen = kGreenOfCb * Form::kGreenSign, kCrToGreen = kGreenOfCr * Form::kGreenSign;
  static_assert(kCbToGreen % 2 == 0 && kCrToGreen % 2 == 0 && kRedOfCr % 2 == 0 && kBlueOfCb % 2 == 0);
  const V green = weigh<kFractionBits>(cb, cr, kCbToGreen / 2, kCrToGreen / 2, Form::kGreenRounding);
  return {y + partOf<kRedOfCr, Form::kRedRounding>(cr, cb, false), Form::kGreenSign < 0 ? y - green : y + green,
          y + partOf<kBlueOfCb, Form::kBlueRounding>(cb, cr, true)};
}

Rgb<uint8_t> toRgbByTables(int y, int cb, int cr) {
  const DecodingTables& t = kDecodingTables;
  return {clampToByte(y + t.cr_r_tbl[cr]), clampToByte(y + ((t.cb_g_tbl[cb] + t.cr_g_tbl[cr]) >> 16)),
          clampToByte(y + t.cb_b_tbl[cb])};
}

// ---- Where the pixels go: a vector part and a single pixel each -----------------------------------------------------
// Where kTakesBytes, also as many pixels as a vector has bytes.

struct ToPlanes {
  using Form = PlanarForm;
  static constexpr bool kTakesBytes = true;
  uint8_t *r, *g, *b;
  ZEL_INLINE void put(int i, const Rgb<u8v>& c) const {
    store(r + i, c.r);
    store(g + i, c.g);
    store(b + i, c.b);
  }
  template <class S>
  ZEL_INLINE void put(int i, const Rgb<typename S::V>& c) const {
    storeSamples<S>(r + i, c.r);
    storeSamples<S>(g + i, c.g);
    storeSamples<S>(b + i, c.b);
  }
  void put(int i, Rgb<uint8_t> c) const {
    r[i] = c.r;
    g[i] = c.g;
    b[i] = c.b;
  }
};

template <bool kRedFirst>
struct ToChannels {
  using Form = InterleavedForm;
  static constexpr bool kTakesBytes = true;
  uint8_t* dst;
  ZEL_INLINE void put(int i, const Rgb<u8v>& c) const {
    u8v out[3];
    interleave3(kRedFirst ? c.r : c.b, c.g, kRedFirst ? c.b : c.r, out);
    uint8_t* const p = dst + 3 * int64_t(i);
#pragma GCC unroll 3
    for (int k = 0; k < 3; ++k) {  // each half is a run of 16 pixels
      store(p + 16 * k, halfOf<0>(out[k]));
      if constexpr (kVecBytes == 32) store(p + 48 + 16 * k, halfOf<1>(out[k]));
    }
  }
  template <class S>
  ZEL_INLINE void put(int i, const Rgb<typename S::V>& c) const {
    u8x16 out[3];
    interleave3(bytesOf(kRedFirst ? c.r : c.b), bytesOf(c.g), bytesOf(kRedFirst ? c.b : c.r), out);
    storeBytes<3 * S::kCount>(dst + 3 * int64_t(i), out);
  }
  void put(int i, Rgb<uint8_t> c) const {
    uint8_t* p = dst + 3 * int64_t(i);
    p[0] = kRedFirst ? c.r : c.b;
    p[1] = c.g;
    p[2] = kRedFirst ? c.b : c.r;
  }
};

// 16-bit pixels, channels truncated to their fields: the first one, red or blue, in the lowest bits.
template <bool kRedFirst, int kGreenBits>
struct ToPacked {
  using Form = PlanarForm;
  static constexpr bool kTakesBytes = false;
  uint16_t* dst;
  template <class V>
  ZEL_INLINE static V field(V x, int bits, int at) {
    return (min(max(x, zero<V>()), splat<V>(255)) >> (8 - bits)) << at;
  }
  template <class S>
  ZEL_INLINE void put(int i, const Rgb<typename S::V>& c) const {
    const auto v = field(kRedFirst ? c.r : c.b, 5, 0) | field(c.g, kGreenBits, 5) |
                   field(kRedFirst ? c.b : c.r, 5, 5 + kGreenBits);
    if constexpr (S::kCount == 4)
      storeLow8(dst + i, v);
    else
      store(dst + i, v);
  }
  void put(int i, Rgb<uint8_t> c) const {
    const int low = kRedFirst ? c.r : c.b, high = kRedFirst ? c.b : c.r;
    storeOne(dst + i, uint16_t(low >> 3 | (c.g >> (8 - kGreenBits)) << 5 | (high >> 3) << (5 + kGreenBits)));
  }
};

// C = 255 - R and so on; K is copied from its plane.
struct ToCmykPlanes {
  using Form = PlanarForm;
  static constexpr bool kTakesBytes = false;
  uint8_t *c, *m, *y, *k;
  const uint8_t* key;
  template <class S>
  ZEL_INLINE void put(int i, const Rgb<typename S::V>& x) const {
    using V = typename S::V;
    const V full = splat<V>(255);
    storeSamples<S>(c + i, full - x.r);
    storeSamples<S>(m + i, full - x.g);
    storeSamples<S>(y + i, full - x.b);
    storeSamples<S>(k + i, loadSamples<S>(key + i));
  }
  void put(int i, Rgb<uint8_t> x) const {
    c[i] = uint8_t(255 - x.r);
    m[i] = uint8_t(255 - x.g);
    y[i] = uint8_t(255 - x.b);
    k[i] = key[i];
  }
};

struct ToCmykChannels {
  using Form = PlanarForm;
  static constexpr bool kTakesBytes = false;
  uint8_t* dst;
  const uint8_t* key;
  template <class S>
  ZEL_INLINE void put(int i, const Rgb<typename S::V>& x) const {
    u8x16 out[4];
    interleave4(~bytesOf(x.r), ~bytesOf(x.g), ~bytesOf(x.b), bytesOf(loadSamples<S>(key + i)), out);
    storeBytes<4 * S::kCount>(dst + 4 * int64_t(i), out);
  }
  void put(int i, Rgb<uint8_t> x) const {
    uint8_t* p = dst + 4 * int64_t(i);
    p[0] = uint8_t(255 - x.r);
    p[1] = uint8_t(255 - x.g);
    p[2] = uint8_t(255 - x.b);
    p[3] = key[i];
  }
};

// As many pixels as a vector has bytes, in two vectors of 16-bit lanes: the low and the high bytes of each half, which
// the packs put back in order.
template <class Target>
ZEL_INLINE void decodeBytes(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, const Target& to, int i) {
  const u8v ys = load<u8v>(y + i), cbs = load<u8v>(cb + i), crs = load<u8v>(cr + i), none = zero<u8v>();
  const auto twice = [](u8v c) { return maddBytes(c, as<i8v>(splat<u16v>(0xFE02))); };  // 2 and -2
  const u8v centre = splat<u8v>(kCentre);
  const Rgb<i16v> a = toRgb<typename Target::Form>(as<i16v>(unpackLow128(ys, none)), twice(unpackLow128(cbs, centre)),
                                                   twice(unpackLow128(crs, centre)));
  const Rgb<i16v> b = toRgb<typename Target::Form>(as<i16v>(unpackHigh128(ys, none)), twice(unpackHigh128(cbs, centre)),
                                                   twice(unpackHigh128(crs, centre)));
  to.put(i, Rgb<u8v>{packU8x128(a.r, b.r), packU8x128(a.g, b.g), packU8x128(a.b, b.b)});
}

template <class Target>
void decodeRow(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, Target to, int width) {
  int i = 0;
  if constexpr (Target::kTakesBytes)
    for (; width - i >= u8v::N; i += u8v::N) decodeBytes(y, cb, cr, to, i);
  i += inSteps<4>(width - i, [&](auto step, int at) {
    using S = decltype(step);
    at += i;
    to.template put<S>(at, toRgb<typename Target::Form>(loadSamples<S>(y + at), centredTwice(loadSamples<S>(cb + at)),
                                                        centredTwice(loadSamples<S>(cr + at))));
  });
  for (; i < width; ++i) to.put(i, toRgbByTables(y[i], cb[i], cr[i]));
}

// Rows of planar YCbCr; makeTarget(r) gives where row r goes.
template <class MakeTarget>
ZEL_INLINE void decodeRowFrom(const uint8_t* const* src, int srcStep, int r, int width, MakeTarget makeTarget) {
  decodeRow(rowAt(src[0], srcStep, r), rowAt(src[1], srcStep, r), rowAt(src[2], srcStep, r), makeTarget(r), width);
}

// ---- Interleaved 4:2:2 ----------------------------------------------------------------------------------------------

// (c * factor) >> 9, as the high half of the product with c << 7, which just fits 16 bits. Chroma is not centred here;
// the constants below take the centre off afterwards.
template <class V>
ZEL_INLINE V product(V c, int factor) {
  return mulHi(c << 7, splat<V>(int16_t(factor)));
}

template <class V>
ZEL_INLINE Rgb<V> pixelsOf422(const uint8_t* src) {
  using Bytes = Vec<uint8_t, int(sizeof(V))>;
  constexpr int kShift = kFractionBits - 9;
  constexpr int16_t kRedCentre = kCentre * kRedOfCr >> kFractionBits;                      // 179
  constexpr int16_t kGreenCentre = -kCentre * (kGreenOfCb + kGreenOfCr) >> kFractionBits;  // 135
  constexpr int16_t kBlueCentre = kCentre * kBlueOfCb >> kFractionBits;                    // 226
  static_assert(kRedCentre == 179 && kGreenCentre == 135 && kBlueCentre == 226);
  const Bytes in = load<Bytes>(src);  // y0 cb y1 cr ...
  const u8x16 cbOrder = {{1, 128, 1, 128, 5, 128, 5, 128, 9, 128, 9, 128, 13, 128, 13, 128}};
  const u8x16 crOrder = {{3, 128, 3, 128, 7, 128, 7, 128, 11, 128, 11, 128, 15, 128, 15, 128}};
  const V y = as<V>(in) & splat<V>(0xFF);
  const V cb = as<V>(shuffle128(in, repeat128<Bytes>(cbOrder)));
  const V cr = as<V>(shuffle128(in, repeat128<Bytes>(crOrder)));
  const V green = addSat(product(cb, kGreenOfCb), product(cr, kGreenOfCr)) >> kShift;
  return {y + (product(cr, kRedOfCr) >> kShift) - splat<V>(kRedCentre), y + green + splat<V>(kGreenCentre),
          y + (product(cb, kBlueOfCb) >> kShift) - splat<V>(kBlueCentre)};
}

// Pixels come in pairs that share their chroma. The last pixel of an odd width has no Cr of its own, and takes that of
// the pair before it.
void decode422Row(const uint8_t* src, uint8_t* dst, int width) {
  const ToChannels<true> to = {dst};
  int i = inSteps<8>(width, [=](auto step, int at) {
    using S = decltype(step);
    to.template put<S>(at, pixelsOf422<typename S::V>(src + 2 * int64_t(at)));
  });
  int cr = i > 0 ? src[2 * int64_t(i) - 1] : 128;
  for (; i < width; ++i) {
    const uint8_t* pair = src + 4 * int64_t(i / 2);
    if (i + 1 < width || i % 2 == 1) cr = pair[3];
    to.put(i, toRgbByTables(pair[2 * (i % 2)], pair[1], cr));
  }
}

// ---- Regions --------------------------------------------------------------------------------------------------------

template <bool kRedFirst>
ZelStatus toChannels(const uint8_t* const* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<3, 0>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    decodeRowFrom(pSrc, srcStep, r, roiSize.width,
                  [=](int at) { return ToChannels<kRedFirst>{rowAt(pDst, dstStep, at)}; });
  });
  return zelStsNoErr;
}

// On the calling thread alone.
template <bool kRedFirst, int kGreenBits>
ZelStatus toPacked(const uint8_t* const* pSrc, int srcStep, uint16_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<3, 0>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  for (int r = 0; r < roiSize.height; ++r)
    decodeRowFrom(pSrc, srcStep, r, roiSize.width,
                  [=](int at) { return ToPacked<kRedFirst, kGreenBits>{rowAt(pDst, dstStep, at)}; });
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliYCbCrToRGB_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<3, 3>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    decodeRowFrom(pSrc, srcStep, r, roiSize.width, [=](int at) {
      return ToPlanes{rowAt(pDst[0], dstStep, at), rowAt(pDst[1], dstStep, at), rowAt(pDst[2], dstStep, at)};
    });
  });
  return zelStsNoErr;
}

ZelStatus zeliYCbCrToRGB_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                       ZeliSize roiSize) {
  return toChannels<true>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCbCrToBGR_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                       ZeliSize roiSize) {
  return toChannels<false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCbCrToRGB555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZeliSize roiSize) {
  return toPacked<true, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCbCrToBGR555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZeliSize roiSize) {
  return toPacked<false, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCbCrToRGB565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZeliSize roiSize) {
  return toPacked<true, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCbCrToBGR565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZeliSize roiSize) {
  return toPacked<false, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliYCCKToCMYK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4], int dstStep,
                                     ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<4, 4>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    decodeRowFrom(pSrc, srcStep, r, roiSize.width, [=](int at) {
      return ToCmykPlanes{rowAt(pDst[0], dstStep, at), rowAt(pDst[1], dstStep, at), rowAt(pDst[2], dstStep, at),
                          rowAt(pDst[3], dstStep, at), rowAt(pSrc[3], srcStep, at)};
    });
  });
  return zelStsNoErr;
}

ZelStatus zeliYCCKToCMYK_JPEG_8u_P4C4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* pDst, int dstStep,
                                       ZeliSize roiSize) {
  if (const ZelStatus s = checkColours<4, 0>(pSrc, srcStep, pDst, dstStep, roiSize)) return s;
  forEachRow(roiSize, [=](int r) {
    decodeRowFrom(pSrc, srcStep, r, roiSize.width, [=](int at) {
      return ToCmykChannels{rowAt(pDst, dstStep, at), rowAt(pSrc[3], srcStep, at)};
    });
  });
  return zelStsNoErr;
}

// Steps are signed distances here; they are not checked.
ZelStatus zeliYCbCr422ToRGB_JPEG_8u_C2C3R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                          ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), sizeOk(roiSize))) return s;
  forEachRow(roiSize, [=](int r) { decode422Row(rowAt(pSrc, srcStep, r), rowAt(pDst, dstStep, r), roiSize.width); });
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
