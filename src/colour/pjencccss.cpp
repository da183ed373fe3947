// MCU conversion for the encoder: pixels to level-shifted blocks, colour conversion and chroma averaging in one pass.
//
// With the JFIF matrix in 14-bit fixed point (matrix.h), rounded to nearest,
//   Y - 128 = (4899 R + 9617 G + 1868 B + 2^13 - 128 * 2^14) >> 14
//   Cb = (-2764 R - 5428 G + 8192 B + 2^(n-1)) >> n,  Cr = (8192 R - 6860 G - 1332 B + 2^(n-1)) >> n
// where chroma takes the sums over its 1, 2 or 4 pixels and n is 14, 15 or 16. The factors of Y add up to 2^14 and
// those of chroma to 0, so that all three need only the differences R - G and B - G:
//   Y - 128 = ((4899 (R - G) + 1868 (B - G) + 2^13 - 128 * 2^14) >> 14) + G
// and every component costs one pairwise multiply-add on one common vector. Sums of 4 differences stay within +-1020.
#include "colour/mcu.h"

namespace ZEL_VARIANT {
namespace {

// factors . differences + rounding in 32-bit lanes
ZEL_INLINE i32v weigh(i16v differences, const McuTables::Words& factors, const McuTables::Dwords& rounding) {
  return maddPairs(differences, loadAligned<i16v>(factors)) + loadAligned<i32v>(rounding);
}

// ---- Readers of pixels: what a group of them gives to each component ------------------------------------------------
// A reader gives a group's luma (and key) ready for their blocks. Its chroma is written at full resolution, or summed
// over one or two rows and then averaged over pairs of columns, 2^kLog pixels in all.

// R - G and B - G in alternate lanes: pixels 0-3 and 4-7 of each half.
struct Differences {
  i16v low, high;
};

template <class C>
struct Group {
  i16v luma, key;
  C chroma;
};

struct ColourReader {
  using Chroma = Differences;

  ZEL_INLINE static i16v lumaOf(Differences d, i16v green) {
    return packI16x128<kFractionBits>(weigh(d.low, kMcu.toY, kMcu.toYAdd), weigh(d.high, kMcu.toY, kMcu.toYAdd)) +
           green;
  }

  template <int kShift>
  ZEL_INLINE static void write(i16v low, i16v high, const McuTables::Dwords& rounding, int16_t* cb, int16_t* cr) {
    store(cb, packI16x128<kShift>(weigh(low, kMcu.toCb, rounding), weigh(high, kMcu.toCb, rounding)));
    store(cr, packI16x128<kShift>(weigh(low, kMcu.toCr, rounding), weigh(high, kMcu.toCr, rounding)));
  }
  ZEL_INLINE static void writeFull(Differences d, int16_t* cb, int16_t* cr) {
    write<kFractionBits>(d.low, d.high, kMcu.toChromaAdd[0], cb, cr);
  }

  ZEL_INLINE static Differences sumOf(Differences d) { return d; }
  ZEL_INLINE static Differences sumOf(Differences d, Differences e) { return {d.low + e.low, d.high + e.high}; }
  ZEL_INLINE static i16v pairSums(Differences d) {
    const i32v low = as<i32v>(d.low), high = as<i32v>(d.high);
    return as<i16v>(evenLanes128(low, high)) + as<i16v>(oddLanes128(low, high));
  }

  template <int kLog>
  ZEL_INLINE static void writeAverage(Differences left, Differences right, int16_t* cb, int16_t* cr) {
    write<kFractionBits + kLog>(pairSums(left), pairSums(right), kMcu.toChromaAdd[kLog], cb, cr);
  }
};

// Red less green and blue less green of four pixels; or, of their complements, green less those.
ZEL_INLINE i16v differences(u8v pixels, const McuTables::Bytes& greenTwice) {
  constexpr uint16_t kPlusMinus = 0xFF01;  // 1 for the first of two bytes, -1 for the second
  return maddBytes(shuffle128(pixels, loadAligned<u8v>(greenTwice)), as<i8v>(splat<u16v>(kPlusMinus)));
}

// Interleaved bytes.
template <bool kRedFirst>
struct RgbReader : ColourReader {
  using Sample = uint8_t;
  static constexpr int kSamples = 3;
  static constexpr bool kKey = false;

  ZEL_INLINE static Group<Differences> read(const uint8_t* p, const uint8_t* q) {
    const Rgb24<u8v> pixels = loadRgb24<u8v>(p, q);
    const McuTables::Bytes(&order)[2] = kRedFirst ? kMcu.rgbGreenTwice : kMcu.bgrGreenTwice;
    const Differences d = {differences(pixels.first, order[0]), differences(pixels.last, order[1])};
    return {lumaOf(d, channelOf3<1>(pixels)), zero<i16v>(), d};
  }
};

// Interleaved C, M, Y, K: the complements of R, G and B, whose differences have the opposite sign.
struct CmykReader : ColourReader {
  using Sample = uint8_t;
  static constexpr int kSamples = 4;
  static constexpr bool kKey = true;

  ZEL_INLINE static Group<Differences> read(const uint8_t* p, const uint8_t* q) {
    const u8v low = loadHalves<u8v>(p, q), high = loadHalves<u8v>(p + 16, q + 16);
    const Differences d = {differences(low, kMcu.cmykGreenTwice), differences(high, kMcu.cmykGreenTwice)};
    const i16v mkLow = as<i16v>(shuffle128(low, loadAligned<u8v>(kMcu.oddOfFour)));
    const i16v mkHigh = as<i16v>(shuffle128(high, loadAligned<u8v>(kMcu.oddOfFour)));
    const i16v green = loadAligned<i16v>(kMcu.lowByte) - unpackLow64x128(mkLow, mkHigh);
    return {lumaOf(d, green), unpackHigh64x128(mkLow, mkHigh) - loadAligned<i16v>(kMcu.centre), d};
  }
  ZEL_INLINE static void writeFull(Differences d, int16_t* cb, int16_t* cr) {
    write<kFractionBits>(d.low, d.high, kMcu.cmykToChromaAdd, cb, cr);
  }
};

// 16-bit pixels; a field is widened to 8 bits by a shift.
template <class Fields>
struct PackedReader : ColourReader {
  using Sample = uint16_t;
  static constexpr int kSamples = 1;
  static constexpr bool kKey = false;

  ZEL_INLINE static Group<Differences> read(const uint16_t* p, const uint16_t* q) {
    const i16v pixel = loadHalves<i16v>(p, q);
    const i16v blue = (pixel << 3) & loadAligned<i16v>(kMcu.field5);
    const i16v green =
        (pixel >> (Fields::kRedAt - 8)) & loadAligned<i16v>(Fields::kGreenBits == 6 ? kMcu.field6 : kMcu.field5);
    const i16v red = (pixel >> (Fields::kRedAt - 3)) & loadAligned<i16v>(kMcu.field5);
    const i16v rg = red - green, bg = blue - green;
    const Differences d = {unpackLow128(rg, bg), unpackHigh128(rg, bg)};
    return {lumaOf(d, green), zero<i16v>(), d};
  }
};

// Interleaved Y, Cb, Cr: no matrix, and averages are rounded down.
struct YccReader {
  using Sample = uint8_t;
  static constexpr int kSamples = 3;
  static constexpr bool kKey = false;
  using Chroma = Rgb24<u8v>;

  ZEL_INLINE static Group<Chroma> read(const uint8_t* p, const uint8_t* q) {
    const Rgb24<u8v> pixels = loadRgb24<u8v>(p, q);
    return {channelOf3<0>(pixels) - loadAligned<i16v>(kMcu.centre), zero<i16v>(), pixels};
  }

  ZEL_INLINE static void writeFull(Rgb24<u8v> pixels, int16_t* cb, int16_t* cr) {
    store(cb, channelOf3<1>(pixels) - loadAligned<i16v>(kMcu.centre));
    store(cr, channelOf3<2>(pixels) - loadAligned<i16v>(kMcu.centre));
  }

  // Sums of neighbours: four of Cb, then four of Cr.
  ZEL_INLINE static i16v sumOf(Rgb24<u8v> pixels) {
    const u8v chroma = shuffle128(pixels.first, loadAligned<u8v>(kMcu.chroma[0])) |
                       shuffle128(pixels.last, loadAligned<u8v>(kMcu.chroma[1]));
    return maddBytes(chroma, splat<i8v>(1));
  }
  ZEL_INLINE static i16v sumOf(Rgb24<u8v> p, Rgb24<u8v> q) { return sumOf(p) + sumOf(q); }

  template <int kLog>
  ZEL_INLINE static void writeAverage(i16v left, i16v right, int16_t* cb, int16_t* cr) {
    const i16v centre = loadAligned<i16v>(kMcu.centre) << kLog;
    store(cb, (unpackLow64x128(left, right) - centre) >> kLog);
    store(cr, (unpackHigh64x128(left, right) - centre) >> kLog);
  }
};

// ---- One MCU --------------------------------------------------------------------------------------------------------

// Pixels 8 * column to 8 * column + 7 of row r, and in the 32-byte form of row rUpper.
template <class Reader>
ZEL_INLINE auto readAt(const typename Reader::Sample* src, int step, int r, int rUpper, int column) {
  const int at = 8 * Reader::kSamples * column;
  return Reader::read(rowAt(src, step, r) + at, rowAt(src, step, rUpper) + at);
}

template <class Reader>
void toBlocks444(const typename Reader::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const auto group = readAt<Reader>(src, step, r, r + 1, 0);
    store(dst[0] + 8 * r, group.luma);
    Reader::writeFull(group.chroma, dst[1] + 8 * r, dst[2] + 8 * r);
    if constexpr (Reader::kKey) store(dst[3] + 8 * r, group.key);
  }
}

template <class Reader>
void toBlocks422(const typename Reader::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const auto left = readAt<Reader>(src, step, r, r + 1, 0), right = readAt<Reader>(src, step, r, r + 1, 1);
    store(dst[0] + 8 * r, left.luma);
    store(dst[0] + 64 + 8 * r, right.luma);
    Reader::template writeAverage<1>(Reader::sumOf(left.chroma), Reader::sumOf(right.chroma), dst[1] + 8 * r,
                                     dst[2] + 8 * r);
    if constexpr (Reader::kKey) {
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
template <class Reader>
void toBlocks411(const typename Reader::Sample* src, int step, int16_t* const* dst) {
  for (int r = 0; r < 8; r += kRows) {
    const int top = 2 * r, luma = 8 * top + (top & 8) * 8;  // rows from 8 on are in the second pair of blocks
    const auto leftTop = readAt<Reader>(src, step, top, top + 2, 0);
    const auto leftBottom = readAt<Reader>(src, step, top + 1, top + 3, 0);
    const auto rightTop = readAt<Reader>(src, step, top, top + 2, 1);
    const auto rightBottom = readAt<Reader>(src, step, top + 1, top + 3, 1);
    storeAlternateRows(dst[0] + luma, leftTop.luma, leftBottom.luma);
    storeAlternateRows(dst[0] + 64 + luma, rightTop.luma, rightBottom.luma);
    Reader::template writeAverage<2>(Reader::sumOf(leftTop.chroma, leftBottom.chroma),
                                     Reader::sumOf(rightTop.chroma, rightBottom.chroma), dst[1] + 8 * r,
                                     dst[2] + 8 * r);
    if constexpr (Reader::kKey) {
      storeAlternateRows(dst[3] + luma, leftTop.key, leftBottom.key);
      storeAlternateRows(dst[3] + 64 + luma, rightTop.key, rightBottom.key);
    }
  }
}

// Bytes Y0 Cb Y1 Cr: luma is every other byte, and the rest alternates.
void split422(const uint8_t* src, int step, int16_t* const* dst) {
  const i16v centre = loadAligned<i16v>(kMcu.centre), lowByte = loadAligned<i16v>(kMcu.lowByte);
  const u8v order = loadAligned<u8v>(kMcu.oddOfFour);
  for (int r = 0; r < 8; r += kRows) {
    const uint8_t *p = rowAt(src, step, r), *q = rowAt(src, step, r + 1);
    const i16v left = loadHalves<i16v>(p, q), right = loadHalves<i16v>(p + 16, q + 16);
    store(dst[0] + 8 * r, (left & lowByte) - centre);
    store(dst[0] + 64 + 8 * r, (right & lowByte) - centre);
    const i16v chromaLeft = as<i16v>(shuffle128(as<u8v>(left), order));
    const i16v chromaRight = as<i16v>(shuffle128(as<u8v>(right), order));
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

}  // namespace

ZelStatus zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<RgbReader<true>>, pSrc, srcStep, pDst);
}
ZelStatus zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<RgbReader<true>>, pSrc, srcStep, pDst);
}
ZelStatus zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<RgbReader<true>>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<RgbReader<false>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<RgbReader<false>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<RgbReader<false>>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<PackedReader<Bgr555>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<PackedReader<Bgr555>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<PackedReader<Bgr555>>, pSrc, srcStep, pDst);
}

ZelStatus zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<PackedReader<Bgr565>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<PackedReader<Bgr565>>, pSrc, srcStep, pDst);
}
ZelStatus zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<PackedReader<Bgr565>>, pSrc, srcStep, pDst);
}

ZelStatus zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks444<CmykReader>, pSrc, srcStep, pDst);
}
ZelStatus zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks422<CmykReader>, pSrc, srcStep, pDst);
}
ZelStatus zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return convert<4>(toBlocks411<CmykReader>, pSrc, srcStep, pDst);
}

ZelStatus zeliSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks444<YccReader>, pSrc, srcStep, pDst);
}
ZelStatus zeliSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks422<YccReader>, pSrc, srcStep, pDst);
}
ZelStatus zeliSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(toBlocks411<YccReader>, pSrc, srcStep, pDst);
}

ZelStatus zeliSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return convert<3>(split422, pSrc, srcStep, pDst);
}

}  // namespace ZEL_VARIANT
