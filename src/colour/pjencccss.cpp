// MCU conversion for the encoder: pixels to level-shifted blocks, colour conversion and chroma averaging in one pass.
//
// With the JFIF matrix in 14-bit fixed point and its rounding constants,
//   Y - 128 = (4899 R + 9617 G + 1868 B - 2088960) >> 14
//   Cb = (-2764 R - 5428 G + 8192 B + half) >> n,  Cr = (8192 R - 6860 G - 1332 B + half) >> n
// where chroma takes the sums over its 1, 2 or 4 pixels and n is 14, 15 or 16. The factors of Y add up to 16384 and
// those of chroma to 0, so that all three need only the differences R - G and B - G:
//   Y - 128 = ((4899 (R - G) + 1868 (B - G) - 2088960) >> 14) + G
// and every component costs one pairwise multiply-add on one common vector. Sums of 4 differences stay within +-1020.
#include "colour/mcu.h"

namespace ZEL_VARIANT {
namespace {

struct Factors {
  int r, g, b;
};
constexpr Factors kY = {4899, 9617, 1868}, kCb = {-2764, -5428, 8192}, kCr = {8192, -6860, -1332};
static_assert(kY.r + kY.g + kY.b == 1 << kFractionBits);
static_assert(kCb.r + kCb.g + kCb.b == 0 && kCr.r + kCr.g + kCr.b == 0);

// (factors . sums of differences + rounding) >> shift in 32-bit lanes
template <int kShift>
ZEL_INLINE i32v weigh(i16v differences, Factors f, int rounding) {
  return (maddPairs(differences, pairOf(f.r, f.b)) + splat<i32v>(rounding)) >> kShift;
}

// ---- Pixel formats: what a group of pixels gives to each component
// ----------------------------------------------------- A format reads a group, with luma (and key) ready for their
// blocks. Its chroma is written at full resolution, or summed over one or two rows and then averaged over pairs of
// columns, 2^kLog pixels in all.

// R - G and B - G in alternate lanes: pixels 0-3 and 4-7 of each half.
struct Differences {
  i16v low, high;
};

template <class C>
struct Group {
  i16v luma, key;
  C chroma;
};

template <int kFullRounding>
struct ColourFormat {
  typedef Differences Chroma;

  ZEL_INLINE static i16v lumaOf(Differences d, i16v green) {
    constexpr int kLumaRounding = kRounding - kLevelShift;
    return packI16x128(weigh<kFractionBits>(d.low, kY, kLumaRounding), weigh<kFractionBits>(d.high, kY, kLumaRounding)) + green;
  }

  ZEL_INLINE static void writeFull(Differences d, int16_t* cb, int16_t* cr) {
    store(cb, packI16x128(weigh<14>(d.low, kCb, kFullRounding), weigh<14>(d.high, kCb, kFullRounding)));
    store(cr, packI16x128(weigh<14>(d.low, kCr, kFullRounding), weigh<14>(d.high, kCr, kFullRounding)));
  }

  ZEL_INLINE static Differences sumOf(Differences d) { return d; }
  ZEL_INLINE static Differences sumOf(Differences d, Differences e) { return {d.low + e.low, d.high + e.high}; }
  ZEL_INLINE static i16v pairSums(Differences d) {
    return evenLanes32x128(d.low, d.high) + oddLanes32x128(d.low, d.high);
  }

  template <int kLog>
  ZEL_INLINE static void writeAverage(Differences left, Differences right, int16_t* cb, int16_t* cr) {
    constexpr int kShift = kFractionBits + kLog, kHalf = 1 << (kShift - 1);
    const i16v l = pairSums(left), r = pairSums(right);
    store(cb, packI16x128(weigh<kShift>(l, kCb, kHalf), weigh<kShift>(r, kCb, kHalf)));
    store(cr, packI16x128(weigh<kShift>(l, kCr, kHalf), weigh<kShift>(r, kCr, kHalf)));
  }
};

// Bytes r g b g of four pixels, for a multiply-add of neighbours that gives r - g and b - g.
constexpr ShuffleBytes bytesOfDifferences(int firstPixel, int pixelBytes, int r, int g, int b) {
  ShuffleBytes s{};
  for (int i = 0; i < 4; ++i) {
    const int pixel = firstPixel + i * pixelBytes;
    s.at[4 * i] = uint8_t(pixel + r);
    s.at[4 * i + 1] = s.at[4 * i + 3] = uint8_t(pixel + g);
    s.at[4 * i + 2] = uint8_t(pixel + b);
  }
  return s;
}

// Even bytes minus odd bytes, or the opposite.
ZEL_INLINE i16v evenMinusOdd(u8v a) { return maddBytes(a, as<i8v>(splat<i16v>(-0xFF))); }
ZEL_INLINE i16v oddMinusEven(u8v a) { return maddBytes(a, as<i8v>(splat<i16v>(0x1FF))); }

// Interleaved bytes with red at kR and blue at kB.
template <int kR, int kB>
struct Rgb : ColourFormat<kRounding> {
  typedef uint8_t Sample;
  static constexpr int kSamples = 3;
  static constexpr bool kKey = false;
  static constexpr ShuffleBytes kLow = bytesOfDifferences(0, 3, kR, 1, kB);
  static constexpr ShuffleBytes kHigh = bytesOfDifferences(4, 3, kR, 1, kB);  // pixel 4 is byte 12, 4 of the last 16

  ZEL_INLINE static Group<Differences> read(const uint8_t* p, const uint8_t* q) {
    const Rgb24<u8v> pixels = loadRgb24<u8v>(p, q);
    const Differences d = {evenMinusOdd(shuffleBy(pixels.first, kLow)), evenMinusOdd(shuffleBy(pixels.last, kHigh))};
    return {ColourFormat::lumaOf(d, channelOf3<1>(pixels)), zero<i16v>(), d};
  }
};

// Interleaved C, M, Y, K: the complements of R, G and B, whose differences have the opposite sign.
struct Cmyk : ColourFormat<8133> {
  typedef uint8_t Sample;
  static constexpr int kSamples = 4;
  static constexpr bool kKey = true;
  static constexpr ShuffleBytes kDifferences = bytesOfDifferences(0, 4, 0, 1, 2);
  static constexpr uint8_t _ = kZeroByte;
  static constexpr ShuffleBytes kMagentaKey = {{1, _, 5, _, 9, _, 13, _, 3, _, 7, _, 11, _, 15, _}};

  ZEL_INLINE static Group<Differences> read(const uint8_t* p, const uint8_t* q) {
    const u8v low = loadHalves<u8v>(p, q), high = loadHalves<u8v>(p + 16, q + 16);
    const Differences d = {oddMinusEven(shuffleBy(low, kDifferences)), oddMinusEven(shuffleBy(high, kDifferences))};
    const i16v mkLow = as<i16v>(shuffleBy(low, kMagentaKey)), mkHigh = as<i16v>(shuffleBy(high, kMagentaKey));
    const i16v green = splat<i16v>(255) - unpackLow64x128(mkLow, mkHigh);
    return {lumaOf(d, green), unpackHigh64x128(mkLow, mkHigh) - splat<i16v>(128), d};
  }
};

// 16-bit pixels; a field is widened to 8 bits by a shift.
template <class Fields>
struct Packed : ColourFormat<kRounding> {
  typedef uint16_t Sample;
  static constexpr int kSamples = 1;
  static constexpr bool kKey = false;

  ZEL_INLINE static Group<Differences> read(const uint16_t* p, const uint16_t* q) {
    constexpr int kGreenAt = Fields::kBits[0], kRedAt = kGreenAt + Fields::kBits[1];
    const i16v pixel = loadHalves<i16v>(p, q);
    const i16v blue = (pixel << 3) & splat<i16v>(0xF8);
    const i16v green = (pixel >> (kGreenAt + Fields::kBits[1] - 8)) & splat<i16v>(0x100 - (0x100 >> Fields::kBits[1]));
    const i16v red = (pixel >> (kRedAt - 3)) & splat<i16v>(0xF8);
    const i16v rg = red - green, bg = blue - green;
    const Differences d = {unpackLow128(rg, bg), unpackHigh128(rg, bg)};
    return {ColourFormat::lumaOf(d, green), zero<i16v>(), d};
  }
};

// Interleaved Y, Cb, Cr: no matrix, and averages are rounded down.
struct Ycc {
  typedef uint8_t Sample;
  static constexpr int kSamples = 3;
  static constexpr bool kKey = false;
  typedef Rgb24<u8v> Chroma;

  ZEL_INLINE static Group<Chroma> read(const uint8_t* p, const uint8_t* q) {
    const Rgb24<u8v> pixels = loadRgb24<u8v>(p, q);
    return {channelOf3<0>(pixels) - splat<i16v>(128), zero<i16v>(), pixels};
  }

  ZEL_INLINE static void writeFull(Rgb24<u8v> pixels, int16_t* cb, int16_t* cr) {
    store(cb, channelOf3<1>(pixels) - splat<i16v>(128));
    store(cr, channelOf3<2>(pixels) - splat<i16v>(128));
  }

  // Sums of neighbours: four of Cb, then four of Cr.
  static constexpr uint8_t _ = kZeroByte;
  static constexpr ShuffleBytes kFirst = {{1, 4, 7, 10, 13, _, _, _, 2, 5, 8, 11, 14, _, _, _}};
  static constexpr ShuffleBytes kLast = {{_, _, _, _, _, 8, 11, 14, _, _, _, _, _, 9, 12, 15}};
  ZEL_INLINE static i16v sumOf(Rgb24<u8v> pixels) {
    return maddBytes(shuffleBy(pixels.first, kFirst) | shuffleBy(pixels.last, kLast), splat<i8v>(1));
  }
  ZEL_INLINE static i16v sumOf(Rgb24<u8v> p, Rgb24<u8v> q) { return sumOf(p) + sumOf(q); }

  template <int kLog>
  ZEL_INLINE static void writeAverage(i16v left, i16v right, int16_t* cb, int16_t* cr) {
    const i16v centre = splat<i16v>(128 << kLog);
    store(cb, (unpackLow64x128(left, right) - centre) >> kLog);
    store(cr, (unpackHigh64x128(left, right) - centre) >> kLog);
  }
};

// ---- One MCU
// -----------------------------------------------------------------------------------------------------------

// Pixels 8 * column to 8 * column + 7 of row r, and in the 32-byte form of row rUpper.
template <class Format>
ZEL_INLINE auto readAt(const typename Format::Sample* src, int step, int r, int rUpper, int column) {
  const int at = 8 * Format::kSamples * column;
  return Format::read(rowAt(src, step, r) + at, rowAt(src, step, rUpper) + at);
}

template <class Format>
void toBlocks444(const typename Format::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const auto group = readAt<Format>(src, step, r, r + 1, 0);
    store(dst[0] + 8 * r, group.luma);
    Format::writeFull(group.chroma, dst[1] + 8 * r, dst[2] + 8 * r);
    if constexpr (Format::kKey) store(dst[3] + 8 * r, group.key);
  }
}

template <class Format>
void toBlocks422(const typename Format::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const auto left = readAt<Format>(src, step, r, r + 1, 0), right = readAt<Format>(src, step, r, r + 1, 1);
    store(dst[0] + 8 * r, left.luma);
    store(dst[0] + 64 + 8 * r, right.luma);
    Format::template writeAverage<1>(Format::sumOf(left.chroma), Format::sumOf(right.chroma), dst[1] + 8 * r,
                                     dst[2] + 8 * r);
    if constexpr (Format::kKey) {
      store(dst[3] + 8 * r, left.key);
      store(dst[3] + 64 + 8 * r, right.key);
    }
  }
}

// Block rows of which the upper halves are two rows further down: 0, 2 and 1, 3 (or 0 and 1).
ZEL_INLINE void storeAlternateRows(int16_t* p, i16v even, i16v odd) {
  store(p, halfOf<0>(even));
  store(p + 8, halfOf<0>(odd));
  if constexpr (kRows == 2) {
    store(p + 16, halfOf<1>(even));
    store(p + 24, halfOf<1>(odd));
  }
}

// A chroma row takes two rows of pixels, so the rows of a group are two apart.
template <class Format>
void toBlocks411(const typename Format::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const int top = 2 * r, luma = 8 * top + (top & 8) * 8;  // rows from 8 on are in the second pair of blocks
    const auto leftTop = readAt<Format>(src, step, top, top + 2, 0);
    const auto leftBottom = readAt<Format>(src, step, top + 1, top + 3, 0);
    const auto rightTop = readAt<Format>(src, step, top, top + 2, 1);
    const auto rightBottom = readAt<Format>(src, step, top + 1, top + 3, 1);
    storeAlternateRows(dst[0] + luma, leftTop.luma, leftBottom.luma);
    storeAlternateRows(dst[0] + 64 + luma, rightTop.luma, rightBottom.luma);
    Format::template writeAverage<2>(Format::sumOf(leftTop.chroma, leftBottom.chroma),
                                     Format::sumOf(rightTop.chroma, rightBottom.chroma), dst[1] + 8 * r,
                                     dst[2] + 8 * r);
    if constexpr (Format::kKey) {
      storeAlternateRows(dst[3] + luma, leftTop.key, leftBottom.key);
      storeAlternateRows(dst[3] + 64 + luma, rightTop.key, rightBottom.key);
    }
  }
}

// Bytes Y0 Cb Y1 Cr: luma is every other byte, and the rest alternates.
void split422(const uint8_t* src, int step, int16_t* const* dst) {
  constexpr uint8_t z = kZeroByte;
  static constexpr ShuffleBytes kChroma = {{1, z, 5, z, 9, z, 13, z, 3, z, 7, z, 11, z, 15, z}};
  const i16v centre = splat<i16v>(128);
  for (int r = 0; r < 8; r += kRows) {
    const uint8_t *p = rowAt(src, step, r), *q = rowAt(src, step, r + 1);
    const i16v left = loadHalves<i16v>(p, q), right = loadHalves<i16v>(p + 16, q + 16);
    store(dst[0] + 8 * r, (left & splat<i16v>(255)) - centre);
    store(dst[0] + 64 + 8 * r, (right & splat<i16v>(255)) - centre);
    const i16v chromaLeft = shuffleBy(left, kChroma), chromaRight = shuffleBy(right, kChroma);
    store(dst[1] + 8 * r, unpackLow64x128(chromaLeft, chromaRight) - centre);
    store(dst[2] + 8 * r, unpackHigh64x128(chromaLeft, chromaRight) - centre);
  }
}

// The checks in their order, then the conversion.
template <int kComponents, class T>
ZelStatus convert(void (*toBlocks)(const T*, int, int16_t* const*), const T* src, int step, int16_t* const* dst) {
  if (const ZelStatus s = firstFailure(present(src), present(dst), stepOk(step))) return s;
  if (const ZelStatus s = allPresent<kComponents>(dst)) return s;
  toBlocks(src, step, dst);
  return zelStsNoErr;
}

typedef Rgb<0, 2> RgbBytes;
typedef Rgb<2, 0> BgrBytes;

}  // namespace

ZelStatus zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<RgbBytes>, pSrc, srcStep, pDst);
}
ZelStatus zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<RgbBytes>, pSrc, srcStep, pDst);
}
ZelStatus zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<RgbBytes>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<BgrBytes>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<BgrBytes>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<BgrBytes>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<Packed<Bgr555>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<Packed<Bgr555>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<Packed<Bgr555>>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<Packed<Bgr565>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<Packed<Bgr565>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<Packed<Bgr565>>, pSrc, srcStep, pDst);
}

ZelStatus zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks444<Cmyk>, pSrc, srcStep, pDst);
}
ZelStatus zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks422<Cmyk>, pSrc, srcStep, pDst);
}
ZelStatus zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks411<Cmyk>, pSrc, srcStep, pDst);
}

ZelStatus zeliSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<Ycc>, pSrc, srcStep, pDst);
}
ZelStatus zeliSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<Ycc>, pSrc, srcStep, pDst);
}
ZelStatus zeliSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<Ycc>, pSrc, srcStep, pDst);
}

ZelStatus zeliSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(split422, pSrc, srcStep, pDst);
}

}  // namespace ZEL_VARIANT
