// Decoding of DXT1, DXT3 and DXT5 blocks (S3TC) to RGBA.
//
// A group is as many blocks as a vector has 32-bit lanes. The endpoints of a group's blocks are gathered in one vector
// (C0 in the low half of a lane, C1 in the high half) and become all palettes of the group at once. A palette is 16
// bytes, four pixels, so that one 128-bit half holds the palette of a block and one permutation by index bits yields a
// row of its pixels: two neighbouring blocks in the avx2 variant, whose rows are stored together.
#include <string.h>

#include "frame/vec.h"
#include "texture/blocks.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kVectors = 4;      // of a group: in each 128-bit half of vector k one block
constexpr int kGroup = u32v::N;  // blocks
constexpr int kGroupRowBytes = kGroup * kBlockRowBytes;

// Vector constants; those of 16 bytes serve each half.
struct alignas(32) Constants {
  uint8_t swapHalves[16];                 // of 32-bit lanes
  uint8_t repeatAlphas[16];               // A0 A1 A0 A1 ...
  int8_t eightValues[16], sixValues[16];  // weights of A0 and A1 in each entry, in sevenths and fifths
  uint16_t sixValuesEnd[8];               // entry 7 is 255; entry 6, without weights, is 0
  uint8_t alphaWords[2][16];              // the two bytes that hold the index of pixel i, pixels 0..7, 8..15
  uint16_t alphaShift[8];                 // moves that index to the top of the word
  uint8_t alphaRow[kSide][16];            // alphas of a row to the fourth byte of its pixels
  uint32_t indexShift[kSide][8];          // brings the index of each pixel of a row to the lane's low bits
};

constexpr Constants makeConstants() {
  Constants c{};
  for (int i = 0; i < 16; ++i) {
    c.swapHalves[i] = uint8_t(i ^ 2);
    c.repeatAlphas[i] = uint8_t(i & 1);
    for (int half = 0; half < 2; ++half) c.alphaWords[half][i] = uint8_t(2 + 3 * half + (3 * (i / 2) >> 3) + (i & 1));
    for (int r = 0; r < kSide; ++r) c.alphaRow[r][i] = uint8_t(i % 4 == 3 ? kSide * r + i / 4 : 0x80);
  }
  for (int k = 0; k < 8; ++k) {
    const int a1 = k < 2 ? 7 * k : k - 1;
    c.eightValues[2 * k] = int8_t(7 - a1);
    c.eightValues[2 * k + 1] = int8_t(a1);
    const int b1 = k < 2 ? 5 * k : k - 1;
    c.sixValues[2 * k] = int8_t(k < 6 ? 5 - b1 : 0);
    c.sixValues[2 * k + 1] = int8_t(k < 6 ? b1 : 0);
    c.alphaShift[k] = uint16_t(1 << (13 - (3 * k & 7)));
    for (int r = 0; r < kSide; ++r) c.indexShift[r][k] = uint32_t(8 * r + 2 * (k & 3));
  }
  c.sixValuesEnd[7] = 255;
  return c;
}

constexpr Constants kC = makeConstants();

// ---- Colours --------------------------------------------------------------------------------------------------------

// Each lane's C0 and C1, or their channels, exchanged.
ZEL_INLINE u16v exchanged(u16v a) { return as<u16v>(shuffle128(as<u8v>(a), constant<u8v>(kC.swapHalves))); }

// One channel of a group: its endpoints as bytes in words, and the two colours between them.
struct Channel {
  u16v ends, sum;
  ZEL_INLINE u16v between() const { return mulHi(ends + sum, splat<u16v>(kThird)); }
  ZEL_INLINE u16v middle() const { return sum >> 1; }
};

ZEL_INLINE Channel channelOf(u16v ends) { return {ends, ends + exchanged(ends)}; }

// The palettes of a group, four pixels in each half. kOpaque: alpha 255, otherwise 0. kThreeColours: blocks with
// C0 <= C1 have the middle colour and transparent black.
template <bool kOpaque, bool kThreeColours>
ZEL_INLINE void makePalettes(u16v ends, u8v (&palette)[kVectors]) {
  const Channel r = channelOf(ends >> 8 & splat<u16v>(0xF8)), g = channelOf(ends >> 3 & splat<u16v>(0xFC)),
                b = channelOf(ends << 3 & splat<u16v>(0xF8));
  const u16v alpha = kOpaque ? splat<u16v>(0xFF00) : zero<u16v>();
  const u16v rgEnds = r.ends | g.ends << 8, baEnds = b.ends | alpha;
  u16v rgInner = r.between() | g.between() << 8, baInner = b.between() | alpha;
  if (kThreeColours) {
    const u16v notAbove = subSat(ends, exchanged(ends)) == zero<u16v>();  // in the low word: C0 <= C1
    const u16v three = as<u16v>(as<i32v>(notAbove) << 16 >> 16);
    const u16v third = as<u16v>(splat<u32v>(0xFFFF));  // entry 2 alone, entry 3 being black
    rgInner = select(three, (r.middle() | g.middle() << 8) & third, rgInner);
    baInner = select(three, (b.middle() | alpha) & third, baInner);
  }
  using u64v = Vec<uint64_t>;
  const u64v ends01 = as<u64v>(unpackLow128(rgEnds, baEnds)), ends23 = as<u64v>(unpackHigh128(rgEnds, baEnds));
  const u64v inner01 = as<u64v>(unpackLow128(rgInner, baInner)), inner23 = as<u64v>(unpackHigh128(rgInner, baInner));
  palette[0] = as<u8v>(unpackLow128(ends01, inner01));
  palette[1] = as<u8v>(unpackHigh128(ends01, inner01));
  palette[2] = as<u8v>(unpackLow128(ends23, inner23));
  palette[3] = as<u8v>(unpackHigh128(ends23, inner23));
}

// Four pixels of row r in each half. indices: the index word of the half's block in every lane.
#ifdef ZEL_VEC32
ZEL_INLINE u8v pixelRow(u8v palette, u32v indices, int r) {
  return as<u8v>(pick32x128(as<u32v>(palette), shiftRight(indices, load<u32v>(kC.indexShift[r]))));
}
#else
struct alignas(16) ByteOrders {
  uint8_t of[256][16];  // by the index byte of a row: the palette's bytes that make its pixels
};
constexpr ByteOrders makeByteOrders() {
  ByteOrders o{};
  for (int b = 0; b < 256; ++b)
    for (int i = 0; i < 16; ++i) o.of[b][i] = uint8_t(4 * (b >> 2 * (i / 4) & 3) + i % 4);
  return o;
}
constexpr ByteOrders kByteOrders = makeByteOrders();

ZEL_INLINE u8v pixelRow(u8v palette, u32v indices, int r) {
  return shuffle128(palette, loadAligned<u8v>(kByteOrders.of[as<u8v>(indices).v[r]]));
}
#endif

template <int k>
ZEL_INLINE u32v indicesOf(u32v group) {
  return permute32x128<k * 0x55>(group);
}

// ---- Alphas: the 16 values of each half's block, from its first 8 bytes ---------------------------------------------

ZEL_INLINE u8v fourBitAlphas(u8v block) {
  const u8v mask = splat<u8v>(0xF0);
  return unpackLow128(as<u8v>(as<u16v>(block) << 4) & mask, block & mask);
}

ZEL_INLINE u8v interpolatedAlphas(u8v block) {
  const u8v ends = shuffle128(block, constant<u8v>(kC.repeatAlphas));
  const i16v eight = maddBytes(ends, constant<i8v>(kC.eightValues)) + splat<i16v>(3);
  const i16v six = maddBytes(ends, constant<i8v>(kC.sixValues)) + splat<i16v>(2);
  const i16v above = (as<i16v>(ends) & splat<i16v>(255)) > as<i16v>(as<u16v>(ends) >> 8);
  const i16v values = select(above, as<i16v>(mulHi(as<u16v>(eight), splat<u16v>(kSeventh))),
                             as<i16v>(mulHi(as<u16v>(six), splat<u16v>(kFifth)) | constant<u16v>(kC.sixValuesEnd)));
  const u16v shift = constant<u16v>(kC.alphaShift);
  const u16v low = as<u16v>(shuffle128(block, constant<u8v>(kC.alphaWords[0]))) * shift >> 13;
  const u16v high = as<u16v>(shuffle128(block, constant<u8v>(kC.alphaWords[1]))) * shift >> 13;
  return shuffle128(packU8x128(values, values), packU8x128(as<i16v>(low), as<i16v>(high)));
}

// ---- Groups ---------------------------------------------------------------------------------------------------------
// A format loads a group's endpoints and index words, one block a lane (the even blocks in the lower half of a vector
// of 32 bytes, the odd ones in the upper), makes palettes, and adds alphas to rows.

struct Dxt1 {
  static constexpr int kBytes = 8;
  u16v ends;
  u32v indices;
  ZEL_INLINE explicit Dxt1(const uint8_t* src) {
    u32v a = load<u32v>(src), b = load<u32v>(src + kVecBytes);
#ifdef ZEL_VEC32
    a = inOrder(a), b = inOrder(b);  // B0 B2 | B1 B3
#endif
    ends = as<u16v>(evenLanes128(a, b));
    indices = oddLanes128(a, b);
  }
  ZEL_INLINE void palettes(u8v (&p)[kVectors]) const { makePalettes<true, true>(ends, p); }
  ZEL_INLINE u8v alphas(int) const { return zero<u8v>(); }
  ZEL_INLINE static u8v withAlpha(u8v row, u8v, int) { return row; }
};

struct Dxt3 {
  static constexpr int kBytes = 16;
  u8v blocks[kVectors];
  u16v ends;
  u32v indices;
  ZEL_INLINE explicit Dxt3(const uint8_t* src) {
    for (int k = 0; k < kVectors; ++k) blocks[k] = load<u8v>(src + k * kVecBytes);
    using u64v = Vec<uint64_t>;
    const u64v a = as<u64v>(unpackHigh128(as<u32v>(blocks[0]), as<u32v>(blocks[1])));
    const u64v b = as<u64v>(unpackHigh128(as<u32v>(blocks[2]), as<u32v>(blocks[3])));
    ends = as<u16v>(unpackLow128(a, b));
    indices = as<u32v>(unpackHigh128(a, b));
  }
  ZEL_INLINE void palettes(u8v (&p)[kVectors]) const { makePalettes<false, false>(ends, p); }
  ZEL_INLINE u8v alphas(int k) const { return fourBitAlphas(blocks[k]); }
  ZEL_INLINE static u8v withAlpha(u8v row, u8v alphas, int r) {
    return row | shuffle128(alphas, constant<u8v>(kC.alphaRow[r]));
  }
};

struct Dxt5 : Dxt3 {
  using Dxt3::Dxt3;
  ZEL_INLINE u8v alphas(int k) const { return interpolatedAlphas(blocks[k]); }
};

template <int k, class Format>
ZEL_INLINE void storeVector(const Format& group, u8v palette, uint8_t* dst, uint32_t step) {
  const u32v indices = indicesOf<k>(group.indices);
  const u8v alphas = group.alphas(k);
#pragma GCC unroll 4
  for (int r = 0; r < kSide; ++r)
    store(rowAt(dst, step, r) + k * kVecBytes, Format::withAlpha(pixelRow(palette, indices, r), alphas, r));
}

template <class Format>
ZEL_INLINE void decodeGroup(const uint8_t* src, uint8_t* dst, uint32_t step) {
  const Format group(src);
  u8v palette[kVectors];
  group.palettes(palette);
  storeVector<0>(group, palette[0], dst, step);
  storeVector<1>(group, palette[1], dst, step);
  storeVector<2>(group, palette[2], dst, step);
  storeVector<3>(group, palette[3], dst, step);
}

// Fewer blocks than a group, or blocks cut off by the image's edge: bytes and rows of the image to write.
template <class Format>
void decodePart(const uint8_t* src, int blocks, uint8_t* dst, uint32_t step, int bytes, int rows) {
  uint8_t whole[kGroup * Format::kBytes] = {}, pixels[kSide * kGroupRowBytes];
  memcpy(whole, src, size_t(blocks) * Format::kBytes);
  decodeGroup<Format>(whole, pixels, kGroupRowBytes);
  for (int r = 0; r < rows; ++r) memcpy(rowAt(dst, step, r), pixels + r * kGroupRowBytes, size_t(bytes));
}

template <class Format>
void decodeImage(const uint8_t* src, uint8_t* dst, uint32_t step, ZeliSize size) {
  const int across = blocksOver(size.width), down = blocksOver(size.height), wholeAcross = size.width / kSide;
  for (int by = 0; by < down; ++by) {
    const int rows = lesser(kSide, size.height - kSide * by);
    uint8_t* const row = rowAt(dst, step, kSide * by);
    int bx = 0;
    if (rows == kSide)
      for (; bx + kGroup <= wholeAcross; bx += kGroup, src += kGroup * Format::kBytes)
        decodeGroup<Format>(src, row + int64_t(bx) * kBlockRowBytes, step);
    for (int blocks; bx < across; bx += blocks, src += blocks * Format::kBytes) {
      blocks = lesser(kGroup, across - bx);
      const int pixels = lesser(kSide * blocks, size.width - kSide * bx);
      decodePart<Format>(src, blocks, row + int64_t(bx) * kBlockRowBytes, step, pixels * kPixelBytes, rows);
    }
  }
}

}  // namespace

ZelStatus zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                     ZeliSize dstSize) {
  if (const ZelStatus s = checkImage(pSrc, pDst, dstStep, dstSize)) return s;
  decodeImage<Dxt1>(pSrc, pDst, dstStep, dstSize);
  return zelStsNoErr;
}

ZelStatus zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                     ZeliSize dstSize) {
  if (const ZelStatus s = checkImage(pSrc, pDst, dstStep, dstSize)) return s;
  decodeImage<Dxt3>(pSrc, pDst, dstStep, dstSize);
  return zelStsNoErr;
}

ZelStatus zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                     ZeliSize dstSize) {
  if (const ZelStatus s = checkImage(pSrc, pDst, dstStep, dstSize)) return s;
  decodeImage<Dxt5>(pSrc, pDst, dstStep, dstSize);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
