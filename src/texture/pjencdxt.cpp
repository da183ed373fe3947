// Encoding of DXT1, DXT3 and DXT5 blocks from RGBA, and of DXT5 blocks from YCoCg.
//
// Each 128-bit half of a vector handles one block. Its pixels stand as four rows of 4-byte pixels for the bounding box,
// then as one plane of 16 bytes per channel for the indices.
//
// Indices follow from comparisons of distances d0..d3 to the palette p0 >= p2 >= p3 >= p1 (channel by channel, as the
// endpoints are corners of a box). Between two neighbours of that order, lower q and upper p, a channel adds
// |x - p| - |x - q| = (p - q) - 2 y to their difference, where y = min(max(x - q, 0), p - q); so one distance exceeds
// the other exactly where the sum of y over the channels is below half the sum of p - q, rounded up. A third of the
// range is at most 85 a channel, so that these sums are bytes; where two intervals are added, saturation does no harm,
// as the threshold is at most 255.
#include <string.h>

#include "frame/vec.h"
#include "texture/blocks.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kGroup = kVecBytes / 16;  // blocks in a vector
constexpr uint8_t kNone = 0x80;         // in a byte order: zero

// Vector constants, for each half.
struct alignas(16) Constants {
  uint8_t planar[16];                  // four pixels to four bytes of each channel
  uint8_t fieldOf5[16], fieldOf6[16];  // the bits that a widened field repeats below itself: 3 or 2, for R, G, B
  uint8_t field[16];                   // the bits that a quantised channel keeps: 5, 6, 5
  uint8_t chroma5[16], chroma6[16], chromaField[16];  // the same for Co and Cg in channels 1 and 2
  int16_t toWord[8], chromaToWord[8];                 // weights of channels in a 5:6:5 word times 8
  int16_t inset[8];                                   // of chroma endpoints: the bias of the upper and of the lower one
  int8_t pairOf2Bits[16], pairOf3Bits[16], pairOf4Bits[16];  // weights that make one number of two neighbours
  int16_t quadOf2Bits[8], quadOf3Bits[8];                    // and of two pairs
  int8_t sevenths[16];                                       // weights of the alpha endpoints in thresholds 1..7
  int8_t difference[16];                                     // 1 -1 1 -1 ...
  uint8_t alphaCode[16];                                     // by the count of thresholds that an alpha does not exceed
  uint8_t colourBytes[2][16], indexBytes[2][16];             // to the lower and to the upper 8 bytes of a block
  uint8_t alphaBytes[16];                                    // 24 bits in each 64-bit lane to bytes 2..7
  uint8_t alphaEnds[2][16];  // endpoints in pairs: channel 3 of RGBA, channel 0 of YCoCg
  uint8_t fromTriples[16];   // four 3-byte pixels to 4-byte pixels
};

constexpr Constants makeConstants() {
  Constants c{};
  const int sixths[] = {0, 6, 5, 4, 3, 2, 1, 0};
  for (int i = 0; i < 16; ++i) {
    const int channel = i % 4, lane = i / 4;
    c.planar[i] = uint8_t(4 * channel + lane);
    c.fieldOf5[i] = channel == 0 || channel == 2 ? 7 : 0;
    c.fieldOf6[i] = channel == 1 ? 3 : 0;
    c.field[i] = channel == 3 ? 0 : channel == 1 ? 0xFC : 0xF8;
    c.chroma5[i] = channel == 1 ? 7 : 0;
    c.chroma6[i] = channel == 2 ? 3 : 0;
    c.chromaField[i] = channel == 1 ? 0xF8 : channel == 2 ? 0xFC : 0;
    c.pairOf2Bits[i] = i % 2 ? 4 : 1;
    c.pairOf3Bits[i] = i % 2 ? 8 : 1;
    c.pairOf4Bits[i] = i % 2 ? 16 : 1;
    c.sevenths[i] = int8_t(i < 2 ? 7 * i : i < 14 ? (i % 2 ? 7 - sixths[i / 2] : sixths[i / 2]) : 0);
    c.difference[i] = i % 2 ? -1 : 1;
    c.alphaCode[i] = uint8_t(i == 0 ? 0 : i == 7 ? 1 : i + 1);
    for (int upper = 0; upper < 2; ++upper) {
      const int at = i - 8 * upper;
      c.colourBytes[upper][i] = uint8_t(at < 0 || at > 3 ? kNone : at < 2 ? at : 8 + at - 2);
      c.indexBytes[upper][i] = uint8_t(at < 4 || at > 7 ? kNone : 4 * (at - 4));
    }
    c.alphaBytes[i] = uint8_t(i < 2 || i > 7 ? kNone : i < 5 ? i - 2 : 8 + i - 5);
    c.alphaEnds[0][i] = i % 2 ? 7 : 3;
    c.alphaEnds[1][i] = i % 2 ? 4 : 0;
    c.fromTriples[i] = channel == 3 ? kNone : uint8_t(3 * lane + channel);
  }
  for (int i = 0; i < 8; ++i) {
    const int rgb[] = {2048, 64, 1, 0}, chroma[] = {1, 2048, 64, 0};
    c.toWord[i] = int16_t(rgb[i % 4]);
    c.chromaToWord[i] = int16_t(chroma[i % 4]);
    c.inset[i] = i < 4 ? 7 : -7;
    c.quadOf2Bits[i] = i % 2 ? 16 : 1;
    c.quadOf3Bits[i] = i % 2 ? 64 : 1;
  }
  return c;
}

constexpr Constants kC = makeConstants();

template <class T, int N>
ZEL_INLINE u8v reordered(u8v a, const T (&order)[N]) {
  return shuffle128(a, constant<u8v>(order));
}

// Byte k of each half in all its bytes.
ZEL_INLINE u8v everywhere(u8v a, int k) { return shuffle128(a, splat<u8v>(uint8_t(k))); }

ZEL_INLINE u8v atLeast(u8v a, u8v b) { return max(a, b) == a; }

// ---- A block's pixels -----------------------------------------------------------------------------------------------

struct Rows {
  u8v row[kSide];
};

struct Planes {
  u8v channel[4];
};

ZEL_INLINE Planes planesOf(const Rows& p) {
  u32v r[kSide];
  for (int i = 0; i < kSide; ++i) r[i] = as<u32v>(reordered(p.row[i], kC.planar));
  using u64v = Vec<uint64_t>;
  const u64v low01 = as<u64v>(unpackLow128(r[0], r[1])), low23 = as<u64v>(unpackLow128(r[2], r[3]));
  const u64v high01 = as<u64v>(unpackHigh128(r[0], r[1])), high23 = as<u64v>(unpackHigh128(r[2], r[3]));
  return {as<u8v>(unpackLow128(low01, low23)), as<u8v>(unpackHigh128(low01, low23)),
          as<u8v>(unpackLow128(high01, high23)), as<u8v>(unpackHigh128(high01, high23))};
}

// Corners of the bounding box, each in every 32-bit lane.
struct Box {
  u8v low, high;
};

ZEL_INLINE Box boxOf(const Rows& p) {
  u8v low = min(min(p.row[0], p.row[1]), min(p.row[2], p.row[3]));
  u8v high = max(max(p.row[0], p.row[1]), max(p.row[2], p.row[3]));
  low = min(low, permute32x128<0x4E>(low));
  high = max(high, permute32x128<0x4E>(high));
  return {min(low, permute32x128<0xB1>(low)), max(high, permute32x128<0xB1>(high))};
}

// Endpoints: the upper corner in the even 32-bit lanes, the lower one in the odd ones.
ZEL_INLINE u8v endsOf(u8v high, u8v low) { return as<u8v>(unpackLow128(as<u32v>(high), as<u32v>(low))); }
ZEL_INLINE u8v otherEnds(u8v ends) { return permute32x128<0xB1>(ends); }

// The box with a sixteenth of each side taken off at both ends.
ZEL_INLINE u8v insetEnds(Box box) {
  const u8v inset = as<u8v>(as<u16v>(box.high - box.low) >> 4) & splat<u8v>(15);
  return endsOf(box.high - inset, box.low + inset);
}

// ---- Colour part ----------------------------------------------------------------------------------------------------

// Fields of 5 and 6 bits as bytes, their top bits repeated below them.
template <int N>
ZEL_INLINE u8v widened(u8v ends, const uint8_t (&field)[N], const uint8_t (&low5)[N], const uint8_t (&low6)[N]) {
  return (ends & constant<u8v>(field)) | (as<u8v>(as<u16v>(ends) >> 5) & constant<u8v>(low5)) |
         (as<u8v>(as<u16v>(ends) >> 6) & constant<u8v>(low6));
}

ZEL_INLINE u16v asWords(u8v ends) { return as<u16v>(unpackLow128(ends, zero<u8v>())); }

// p0, p1, p2, p3 in the lanes of each half.
ZEL_INLINE u8v paletteOf(u8v ends) {
  const u16v own = asWords(ends), between = mulHi(own + own + permute32x128<0x4E>(own), splat<u16v>(kThird));
  return packU8x128(as<i16v>(own), as<i16v>(between));
}

// 5:6:5 words of both endpoints, in the even 32-bit lanes.
template <int N>
ZEL_INLINE u8v endpointWords(u8v quantised, const int16_t (&weights)[N]) {
  const i32v pairs = maddPairs(as<i16v>(asWords(quantised)), constant<i16v>(weights));
  return as<u8v>((pairs + permute32x128<0xF5>(pairs)) >> 3);
}

// Sums of y, as above, over the channels of the planes from kFirst on, for the intervals p2..p0, p3..p2 and p1..p3; of
// the last, and first of the second, the distance from the upper end instead, which lets every threshold be an upper
// one. The result has the eight bits of a row in each 32-bit lane.
template <int kFirst, int kChannels>
ZEL_INLINE u8v indicesOf(const Planes& p, u8v palette) {
  // Lanes: p0 - p2, p2 - p3, p3 - p1.
  const u8v span = permute32x128<0xF8>(palette) - permute32x128<0xDE>(palette);
  u8v y02 = zero<u8v>(), z23 = zero<u8v>(), z13 = zero<u8v>();
#pragma GCC unroll 3
  for (int c = kFirst; c < kFirst + kChannels; ++c) {
    const u8v x = p.channel[c], p2 = everywhere(palette, 8 + c), p3 = everywhere(palette, 12 + c);
    y02 = y02 + min(subSat(x, p2), everywhere(span, c));
    z23 = z23 + min(subSat(p2, x), everywhere(span, 4 + c));
    z13 = z13 + min(subSat(p3, x), everywhere(span, 8 + c));
  }
  const u8v sums = as<u8v>(maddPairs(maddBytes(span, splat<i8v>(1)), splat<i16v>(1)));  // of spans, in bytes 0, 4 and 8
  const u8v single = average(sums, zero<u8v>()), joint = average(sums, permute32x128<0xF9>(sums));
  const u8v y23 = everywhere(sums, 4) - z23;
  const u8v not0Over3 = atLeast(addSat(y02, y23), everywhere(joint, 0));
  const u8v not1Over2 = atLeast(addSat(z13, z23), everywhere(joint, 4));
  const u8v not0Over2 = atLeast(y02, everywhere(single, 0));
  const u8v not2Over3 = atLeast(y23, everywhere(single, 4));
  const u8v not1Over3 = atLeast(z13, everywhere(single, 8));
  const u8v noLowBit = not0Over3 | not2Over3, noHighBit = (not1Over2 | not0Over2) & (not0Over3 | not1Over3);
  const u8v index = ((noLowBit & splat<u8v>(1)) | (noHighBit & splat<u8v>(2))) ^ splat<u8v>(3);
  return as<u8v>(maddPairs(maddBytes(index, constant<i8v>(kC.pairOf2Bits)), constant<i16v>(kC.quadOf2Bits)));
}

// The colour part in the upper (or lower) 8 bytes of each half, zero elsewhere.
template <bool kUpper>
ZEL_INLINE u8v colourPart(u8v words, u8v indices) {
  return reordered(words, kC.colourBytes[kUpper]) | reordered(indices, kC.indexBytes[kUpper]);
}

template <bool kUpper>
ZEL_INLINE u8v rgbPart(const Planes& planes, u8v ends) {
  const u8v palette = paletteOf(widened(ends, kC.field, kC.fieldOf5, kC.fieldOf6));
  return colourPart<kUpper>(endpointWords(ends & constant<u8v>(kC.field), kC.toWord), indicesOf<0, 3>(planes, palette));
}

// ---- Alpha part: in the lower 8 bytes of each half, zero elsewhere --------------------------------------------------

ZEL_INLINE u8v fourBitAlphaPart(u8v alphas) {
  const u8v top = as<u8v>(as<u16v>(alphas) >> 4) & splat<u8v>(15);
  return packU8x128(maddBytes(top, constant<i8v>(kC.pairOf4Bits)), zero<i16v>());
}

// ends: A0 A1 A0 A1 ..., A0 >= A1
ZEL_INLINE u8v interpolatedAlphaPart(u8v alphas, u8v ends) {
  const u16v sevenfold = as<u16v>(maddBytes(ends, constant<i8v>(kC.sevenths)));
  const u16v range = as<u16v>(maddBytes(ends, constant<i8v>(kC.difference)));
  const i16v thresholds = as<i16v>(mulHi(sevenfold, splat<u16v>(kSeventh)) + mulHi(range, splat<u16v>(kFourteenth)));
  const u8v threshold = packU8x128(thresholds, thresholds);
  u8v notAbove = zero<u8v>();  // how many thresholds
#pragma GCC unroll 7
  for (int k = 0; k < 7; ++k) notAbove = notAbove - atLeast(everywhere(threshold, k), alphas);
  const u8v code = shuffle128(constant<u8v>(kC.alphaCode), notAbove);
  using u64v = Vec<uint64_t>;
  const u64v quads = as<u64v>(
      maddPairs(maddBytes(code, constant<i8v>(kC.pairOf3Bits)), constant<i16v>(kC.quadOf3Bits)));  // 12 bits a lane
  const u8v bits = reordered(as<u8v>(quads | quads >> 20), kC.alphaBytes);
  return blend16x128<1>(bits, ends);
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------
// An encoder makes the group's blocks of its rows of 4-byte pixels, one in each half.

struct RgbaToDxt1 {
  static constexpr int kSrcBytes = 4, kBytes = 8;
  ZEL_INLINE static u8v encode(const Rows& p) { return rgbPart<false>(planesOf(p), insetEnds(boxOf(p))); }
};

struct RgbaToDxt3 {
  static constexpr int kSrcBytes = 4, kBytes = 16;
  ZEL_INLINE static u8v encode(const Rows& p) {
    const Planes planes = planesOf(p);
    return rgbPart<true>(planes, insetEnds(boxOf(p))) | fourBitAlphaPart(planes.channel[3]);
  }
};

struct RgbaToDxt5 {
  static constexpr int kSrcBytes = 4, kBytes = 16;
  ZEL_INLINE static u8v encode(const Rows& p) {
    const Planes planes = planesOf(p);
    const u8v ends = insetEnds(boxOf(p));
    return rgbPart<true>(planes, ends) | interpolatedAlphaPart(planes.channel[3], reordered(ends, kC.alphaEnds[0]));
  }
};

// Chroma scaled by 1, 2 or 4 about 128: doubled where the first mask is set, once more where the second is.
struct Scale {
  u8v twice, again;
  ZEL_INLINE u8v of(u8v x) const {
    x = x ^ splat<u8v>(128);
    x = x + (x & twice);
    x = x + (x & again);
    return x ^ splat<u8v>(128);
  }
};

ZEL_INLINE Scale scaleOf(u8v ends) {
  const u8v distance = subSat(ends, splat<u8v>(128)) | subSat(splat<u8v>(128), ends);
  const u8v larger = max(distance, otherEnds(distance)), most = max(everywhere(larger, 1), everywhere(larger, 2));
  return {atLeast(splat<u8v>(63), most), atLeast(splat<u8v>(31), most)};
}

// (16 high - (high - low - 7)) >> 4 and (16 low + (high - low - 7)) >> 4, clamped.
ZEL_INLINE u8v insetChroma(u8v ends) {
  const i16v own = as<i16v>(asWords(ends)), range = own - permute32x128<0x4E>(own);  // the lower end's is negative
  const i16v inset = ((own << 4) - range + constant<i16v>(kC.inset)) >> 4;
  return packU8x128(inset, inset);
}

// Where more than half of a block's pixels have Co and Cg on opposite sides of the middle of the box.
ZEL_INLINE u8v onOtherDiagonal(const Planes& p, u8v ends) {
  const u8v middle = average(ends, otherEnds(ends));
  const u8v differ = atLeast(p.channel[1], everywhere(middle, 1)) ^ atLeast(p.channel[2], everywhere(middle, 2));
  i32v count = as<i32v>(sumsOfBytes(differ));  // 255 for each pixel, of each 8
  count = count + permute32x128<0x4E>(count);
  return everywhere(as<u8v>(count > splat<i32v>(8 * 255)), 0);
}

struct YCoCgToDxt5 {
  static constexpr int kSrcBytes = 3, kBytes = 16;
  ZEL_INLINE static u8v encode(const Rows& p) {
    Planes planes = planesOf(p);
    const Box box = boxOf(p);
    const u8v corners = endsOf(box.high, box.low);
    const Scale scale = scaleOf(corners);
    for (int c = 1; c < 3; ++c) planes.channel[c] = scale.of(planes.channel[c]);
    u8v ends = widened(insetChroma(scale.of(corners)), kC.chromaField, kC.chroma5, kC.chroma6);

    const u8v cg = as<u8v>(splat<u32v>(0x00FF0000));
    const u8v mirrored = onOtherDiagonal(planes, ends), mirroredCg = mirrored & cg;
    ends = select(mirroredCg, otherEnds(ends), ends);
    // The scale - 1 goes in channel 0 with weight 1 in a word times 8.
    const u8v blue = (scale.again & as<u8v>(splat<u32v>(16))) | (scale.twice & as<u8v>(splat<u32v>(8)));
    const u8v words = endpointWords((ends & constant<u8v>(kC.chromaField)) | blue, kC.chromaToWord);
    // Mirrored values have the palette's order again, and distances stay.
    const u8v palette = paletteOf(ends) ^ mirroredCg;
    planes.channel[2] = planes.channel[2] ^ mirrored;
    return colourPart<true>(words, indicesOf<1, 2>(planes, palette)) |
           interpolatedAlphaPart(planes.channel[0], reordered(corners, kC.alphaEnds[1]));
  }
};

// ---- Images ---------------------------------------------------------------------------------------------------------

constexpr int kPartRowBytes = 32;  // of a group of 3- or 4-byte pixels, and of the last load from it
static_assert(kGroup * kSide * kPixelBytes <= kPartRowBytes && (kGroup - 1) * 12 + 16 <= kPartRowBytes);

// The bytes that loadRow reads.
template <int kBytes>
constexpr int kReach = kBytes == 4 ? kVecBytes : (kGroup - 1) * 12 + 16;

template <int kBytes>
ZEL_INLINE u8v loadRow(const uint8_t* p) {
  if constexpr (kBytes == 4) return load<u8v>(p);
#ifdef __AVX2__
  else
    return reordered(join(load<u8x16>(p), load<u8x16>(p + 12)), kC.fromTriples);
#else
  else
    return reordered(load<u8v>(p), kC.fromTriples);
#endif
}

template <class Encoder>
ZEL_INLINE u8v encodeGroup(const uint8_t* src, uint32_t step) {
  Rows p;
  for (int r = 0; r < kSide; ++r) p.row[r] = loadRow<Encoder::kSrcBytes>(rowAt(src, step, r));
  return Encoder::encode(p);
}

template <int kBytes>
ZEL_INLINE void storeBlock(uint8_t* dst, u8x16 block) {
  if constexpr (kBytes == 8)
    storeLow8(dst, block);
  else
    store(dst, block);
}

template <int kBytes>
ZEL_INLINE uint8_t* storeBlocks(uint8_t* dst, u8v blocks, int n) {
#ifdef __AVX2__
  storeBlock<kBytes>(dst, lowHalf(blocks));
  if (n == 2) storeBlock<kBytes>(dst + kBytes, highHalf(blocks));
#else
  storeBlock<kBytes>(dst, blocks);
#endif
  return dst + n * kBytes;
}

// A group at the right or bottom edge, filled up with its last pixel in each row and its last row.
template <class Encoder>
u8v encodePart(const uint8_t* src, uint32_t step, int columns, int rows) {
  constexpr int kBytes = Encoder::kSrcBytes;
  uint8_t part[kSide][kPartRowBytes] = {};
  for (int r = 0; r < kSide; ++r) {
    memcpy(part[r], rowAt(src, step, lesser(r, rows - 1)), size_t(columns) * kBytes);
    for (int i = columns * kBytes; i < kGroup * kSide * kBytes; ++i) part[r][i] = part[r][i - kBytes];
  }
  return encodeGroup<Encoder>(part[0], kPartRowBytes);
}

template <class Encoder>
void encodeImage(const uint8_t* src, uint32_t step, ZeliSize size, uint8_t* dst) {
  constexpr int kBytes = Encoder::kSrcBytes;
  const int across = blocksOver(size.width), down = blocksOver(size.height);
  for (int by = 0; by < down; ++by) {
    const int rows = lesser(kSide, size.height - kSide * by);
    const uint8_t* group = rowAt(src, step, kSide * by);
    int bx = 0;
    int64_t bytesLeft = int64_t(size.width) * kBytes;
    if (rows == kSide)
      for (; bytesLeft >= kReach<kBytes>; bx += kGroup, bytesLeft -= kGroup * kSide * kBytes) {
        dst = storeBlocks<Encoder::kBytes>(dst, encodeGroup<Encoder>(group, step), kGroup);
        group += kGroup * kSide * kBytes;
      }
    for (; bx < across; bx += kGroup, group += kGroup * kSide * kBytes) {
      const int columns = lesser(kGroup * kSide, size.width - kSide * bx);
      dst = storeBlocks<Encoder::kBytes>(dst, encodePart<Encoder>(group, step, columns, rows),
                                         lesser(kGroup, across - bx));
    }
  }
}

}  // namespace

ZelStatus zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                       uint8_t* pDst) {
  if (const ZelStatus s = checkImage(pSrc, pDst, srcStep, srcSize)) return s;
  encodeImage<RgbaToDxt1>(pSrc, srcStep, srcSize, pDst);
  return zelStsNoErr;
}

ZelStatus zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                       uint8_t* pDst) {
  if (const ZelStatus s = checkImage(pSrc, pDst, srcStep, srcSize)) return s;
  encodeImage<RgbaToDxt3>(pSrc, srcStep, srcSize, pDst);
  return zelStsNoErr;
}

ZelStatus zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                       uint8_t* pDst) {
  if (const ZelStatus s = checkImage(pSrc, pDst, srcStep, srcSize)) return s;
  encodeImage<RgbaToDxt5>(pSrc, srcStep, srcSize, pDst);
  return zelStsNoErr;
}

ZelStatus zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                        uint8_t* pDst) {
  if (const ZelStatus s = checkImage(pSrc, pDst, srcStep, srcSize)) return s;
  encodeImage<YCoCgToDxt5>(pSrc, srcStep, srcSize, pDst);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
