// Decoding of BC7 blocks (BPTC) to RGBA.
//
// All modes take the same course without a branch on the mode (which is hard to foresee): tables say where the fields
// stand. Endpoints come out of the block in 16-bit windows, become bytes, and are spread to the pixels by the
// partition; indices get the missing top bits of the anchor pixels back and become pairs of weights; each channel of a
// pixel is then one multiply-add of two bytes. The modes whose alpha has indices of its own are the one exception.
#include <string.h>

#include "frame/vec.h"
#include "texture/bc7_tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kParts = 32 / kVecBytes;  // vectors of 16 words, or of two bytes for each of 16 pixels

ZEL_INLINE u8v halves(const uint8_t* p) { return repeat128<u8v>(load<u8x16>(p)); }
ZEL_INLINE u16v halves(const uint16_t* p) { return repeat128<u16v>(load<u16x8>(p)); }

// Endpoints as bytes: eight of R and eight of B, eight of G and eight of A, in each half.
struct Endpoints {
  u8v rb, ga;
};

ZEL_INLINE Endpoints endpointsOf(u8v block, const Bc7Mode& mode) {
  const u16v pBits = as<u16v>(shuffle128(block, halves(mode.pOrder))) * halves(mode.pAlign) & splat<u16v>(0x8000);
  const u16v p = mulHi(pBits, halves(mode.pPlace));
  i16v part[2 * kParts];
#pragma GCC unroll 4
  for (int i = 0; i < 2 * kParts; ++i) {
    const int at = i * u16v::N;
    const u16v window = as<u16v>(shuffle128(block, loadAligned<u8v>(mode.order + 2 * at)));
    const u16v component = ((window * loadAligned<u16v>(mode.align + at)) & loadAligned<u16v>(mode.field + at)) | p;
    part[i] = as<i16v>((component | mulHi(component, loadAligned<u16v>(mode.repeat + at))) >> 8);
  }
#ifdef ZEL_VEC32
  const u8v bytes = packU8x128(part[0], part[1]);  // R B | G A
  return {repeat128<u8v>(lowHalf(bytes)), repeat128<u8v>(highHalf(bytes))};
#else
  return {packU8x128(part[0], part[2]), packU8x128(part[1], part[3])};
#endif
}

// For each pixel, the weights of the first and of the second endpoint.
struct Weights {
  i8v part[kParts];
};

ZEL_INLINE Weights weightsOf(uint64_t bits, const Bc7Indices& indices, const uint8_t* aboveAnchor) {
  bits += bits & indices.firstAnchor;
  bits += bits & ~uint64_t(1) << aboveAnchor[0];
  bits += bits & ~uint64_t(1) << aboveAnchor[1];
  const u8v all = as<u8v>(splat<Vec<uint64_t>>(bits));
  Weights w;
#pragma GCC unroll 2
  for (int i = 0; i < kParts; ++i) {
    const u16v window = as<u16v>(shuffle128(all, loadAligned<u8v>(indices.order + i * kVecBytes)));
    const u16v index = (window * loadAligned<u16v>(indices.align + i * u16v::N)) & halves(indices.field);
    const u16v pair = mulHi(index, halves(indices.bytePair)) + halves(indices.complement);
    w.part[i] = as<i8v>(shuffle128(halves(indices.weight), as<u8v>(pair)));
  }
  return w;
}

// (w0 e0 + w1 e1 + 32) >> 6
ZEL_INLINE u16v interpolated(u8v channels, u8v order, i8v weights) {
  return as<u16v>(mulHiRound(maddBytes(shuffle128(channels, order), weights), splat<i16v>(512)));
}

struct Pixels {
  u8v low[kParts], high[kParts];  // of the eight pixels in a half's words: the first four, the others
};

ZEL_INLINE Pixels pixelsOf(const Endpoints& ends, const uint8_t* order, const Weights& colour, const Weights& alpha,
                           u16v opaque) {
  Pixels p;
#pragma GCC unroll 2
  for (int i = 0; i < kParts; ++i) {
    const u8v first = loadAligned<u8v>(order + i * kVecBytes), second = first + splat<u8v>(8);
    const u16v r = interpolated(ends.rb, first, colour.part[i]), g = interpolated(ends.ga, first, colour.part[i]),
               b = interpolated(ends.rb, second, colour.part[i]), a = interpolated(ends.ga, second, alpha.part[i]);
    const u16v rg = r | g << 8, ba = b | a << 8 | opaque;
    p.low[i] = as<u8v>(unpackLow128(rg, ba));
    p.high[i] = as<u8v>(unpackHigh128(rg, ba));
  }
  return p;
}

ZEL_INLINE void storePixels(const Pixels& p, uint8_t* dst, uint32_t step) {
#ifdef ZEL_VEC32
  store(dst, lowHalf(p.low[0]));
  store(rowAt(dst, step, 1), lowHalf(p.high[0]));
  store(rowAt(dst, step, 2), highHalf(p.low[0]));
  store(rowAt(dst, step, 3), highHalf(p.high[0]));
#else
  for (int i = 0; i < kParts; ++i) {
    store(rowAt(dst, step, 2 * i), p.low[i]);
    store(rowAt(dst, step, 2 * i + 1), p.high[i]);
  }
#endif
}

// Alpha indices of their own, and alpha exchanged with a channel (modes 4 and 5).
ZEL_INLINE Pixels separateAlphaPixels(const Bc7Mode& mode, const Endpoints& ends, const uint8_t* order, Weights colour,
                                      uint64_t low, uint64_t high) {
  const uint8_t noAnchors[2] = {kBc7NoAnchor, kBc7NoAnchor};
  Weights alpha = weightsOf(high >> mode.alphaIndexShift, kBc7.indices[mode.alphaIndexSet], noAnchors);
  const bool exchanged = mode.alphaIndexSet == 1 && (low >> 7 & 1);  // the index selection bit of mode 4
  const i8v mask = splat<i8v>(exchanged ? -1 : 0);
  for (int i = 0; i < kParts; ++i) {
    const i8v difference = (colour.part[i] ^ alpha.part[i]) & mask;
    colour.part[i] = colour.part[i] ^ difference;
    alpha.part[i] = alpha.part[i] ^ difference;
  }
  Pixels p = pixelsOf(ends, order, colour, alpha, zero<u16v>());
  const u8v rotation = halves(kBc7.rotation[low >> mode.headerBits & 3]);
  for (int i = 0; i < kParts; ++i) {
    p.low[i] = shuffle128(p.low[i], rotation);
    p.high[i] = shuffle128(p.high[i], rotation);
  }
  return p;
}

ZEL_INLINE void decodeBlock(const uint8_t* src, uint8_t* dst, uint32_t step) {
  const uint64_t low = loadOne(reinterpret_cast<const uint64_t*>(src));
  const uint64_t high = loadOne(reinterpret_cast<const uint64_t*>(src + 8));
  const Bc7Mode& mode = kBc7.mode[__builtin_ctz(uint32_t(low) | 0x100)];
  const int partition = mode.partitionBase + int(low >> mode.headerBits & mode.partitionMask);
  const uint8_t* const order = kBc7.ends[partition];

  const Endpoints ends = endpointsOf(repeat128<u8v>(load<u8x16>(src)), mode);
  const uint64_t indexBits = loadOne(reinterpret_cast<const uint64_t*>(src + mode.indexByte)) >> mode.indexShift;
  const Weights weights = weightsOf(indexBits, kBc7.indices[mode.indexSet], kBc7.aboveAnchor[mode.indexSet][partition]);
  const Pixels pixels = mode.separateAlpha ? separateAlphaPixels(mode, ends, order, weights, low, high)
                                           : pixelsOf(ends, order, weights, weights, halves(mode.opaque));
  storePixels(pixels, dst, step);
}

void decodeBlockPart(const uint8_t* src, uint8_t* dst, uint32_t step, int columns, int rows) {
  uint8_t pixels[kSide * kBlockRowBytes];
  decodeBlock(src, pixels, kBlockRowBytes);
  for (int r = 0; r < rows; ++r)
    memcpy(rowAt(dst, step, r), pixels + r * kBlockRowBytes, size_t(columns) * kPixelBytes);
}

void decodeImage(const uint8_t* src, uint8_t* dst, uint32_t step, ZeliSize size) {
  const int across = blocksOver(size.width), down = blocksOver(size.height), wholeAcross = size.width / kSide;
  for (int by = 0; by < down; ++by) {
    const int rows = lesser(kSide, size.height - kSide * by);
    uint8_t* at = rowAt(dst, step, kSide * by);
    int bx = 0;
    if (rows == kSide)
      for (; bx < wholeAcross; ++bx, src += 16, at += kBlockRowBytes) decodeBlock(src, at, step);
    for (; bx < across; ++bx, src += 16, at += kBlockRowBytes)
      decodeBlockPart(src, at, step, lesser(kSide, size.width - kSide * bx), rows);
  }
}

}  // namespace

ZelStatus zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                    ZeliSize dstSize) {
  if (const ZelStatus s = checkImage(pSrc, pDst, dstStep, dstSize)) return s;
  decodeImage(pSrc, pDst, dstStep, dstSize);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
