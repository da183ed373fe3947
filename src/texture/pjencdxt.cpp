// Encoding of DXT1, DXT3 and DXT5 blocks from RGBA, and of DXT5 blocks from YCoCg.
//
// As many blocks as a vector has bytes are encoded at a time, each in a byte of its own: a vector holds one channel of
// the pixels at one place of these blocks. So there is one box, one palette and one threshold for each block in each
// vector, and nothing is moved between lanes but where pixels are taken apart and blocks put together.
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

constexpr int kLanes = kVecBytes;  // blocks at a time

ZEL_INLINE u8v bytes(int x) { return splat<u8v>(uint8_t(x)); }

// Each byte shifted; bits that come from a neighbour are cut off.
template <int kBits>
ZEL_INLINE u8v shiftedRight(u8v a) {
  return as<u8v>(as<u16v>(a) >> kBits) & bytes(0xFF >> kBits);
}
template <int kBits>
ZEL_INLINE u8v shiftedLeft(u8v a) {
  return as<u8v>(as<u16v>(a) << kBits) & bytes(0xFF << kBits);
}

ZEL_INLINE u8v atLeast(u8v a, u8v b) { return max(a, b) == a; }

// What takes more than 8 bits: the bytes of even and of odd index as words, and back.
struct Words {
  i16v even, odd;
};
ZEL_INLINE Words wordsOf(u8v a) { return {as<i16v>(a) & splat<i16v>(255), as<i16v>(as<u16v>(a) >> 8)}; }
ZEL_INLINE u8v fromWords(Words w) { return as<u8v>(w.even | w.odd << 8); }
template <class F>
ZEL_INLINE u8v inWords(u8v a, u8v b, F f) {
  const Words p = wordsOf(a), q = wordsOf(b);
  return fromWords({f(p.even, q.even), f(p.odd, q.odd)});
}

// ---- The pixels -----------------------------------------------------------------------------------------------------
// In vectors of 32 bytes byte k of the lower half belongs to block 2 k, and of the upper half to block 2 k + 1.

struct Pixels {
  u8v at[kSide][kSide][4];  // row, column, channel
};

// One row of 4-byte pixels of each block, taken apart: sixteen vectors of sixteen bytes (in each half) transposed, by
// four times interleaving each with the one that is eight later.
ZEL_INLINE void takeApart(u8v (&v)[16], u8v (&to)[kSide][4]) {
#pragma GCC unroll 4
  for (int stage = 0; stage < 4; ++stage) {
    u8v next[16];
#pragma GCC unroll 8
    for (int i = 0; i < 8; ++i) {
      next[2 * i] = unpackLow128(v[i], v[i + 8]);
      next[2 * i + 1] = unpackHigh128(v[i], v[i + 8]);
    }
#pragma GCC unroll 16
    for (int i = 0; i < 16; ++i) v[i] = next[i];
  }
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) to[i / 4][i % 4] = v[i];
}

// The rows of the first pixels of the vectors' blocks, so many bytes a pixel.
template <int kBytes>
ZEL_INLINE u8v loadPixels(const uint8_t* p) {
  if constexpr (kBytes == 4) {
    return load<u8v>(p);
  } else {
    static const uint8_t kFromTriples[16] = {0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11, 0x80};
#ifdef ZEL_VEC32
    const u8v triples = join(load<u8x16>(p), load<u8x16>(p + kSide * kBytes));
#else
    const u8v triples = load<u8v>(p);
#endif
    return shuffle128(triples, constant<u8v>(kFromTriples));
  }
}

template <int kBytes>
ZEL_INLINE void loadBlocks(const uint8_t* src, uint32_t step, Pixels& p) {
  constexpr int kApart = kLanes / 16 * kSide * kBytes;  // bytes of a row from vector to vector
  for (int r = 0; r < kSide; ++r) {
    const uint8_t* const row = rowAt(src, step, r);
    u8v v[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; ++i) v[i] = loadPixels<kBytes>(row + i * kApart);
    takeApart(v, p.at[r]);
  }
}

// ---- Boxes ----------------------------------------------------------------------------------------------------------

// Ends of a channel's interval: of the box, or the two endpoints.
struct Ends {
  u8v high, low;
};

ZEL_INLINE Ends boxOf(const Pixels& p, int channel) {
  Ends e = {p.at[0][0][channel], p.at[0][0][channel]};
#pragma GCC unroll 15
  for (int i = 1; i < kSide * kSide; ++i) {
    const u8v x = p.at[i / kSide][i % kSide][channel];
    e = {max(e.high, x), min(e.low, x)};
  }
  return e;
}

// The box with a sixteenth of each side taken off at both ends.
ZEL_INLINE Ends inset(Ends box) {
  const u8v inset = shiftedRight<4>(box.high - box.low);
  return {box.high - inset, box.low + inset};
}

// ---- Colour part ----------------------------------------------------------------------------------------------------

// What a field of so many bits keeps of a channel, and that widened: its top bits repeated below it.
template <int kBits>
ZEL_INLINE u8v field(u8v a) {
  return a & bytes(0xFF << (8 - kBits));
}
template <int kBits>
ZEL_INLINE Ends widened(Ends e) {
  return {field<kBits>(e.high) | shiftedRight<kBits>(e.high), field<kBits>(e.low) | shiftedRight<kBits>(e.low)};
}

// A channel of the palette from its widened endpoints: the inner colours, and the intervals p2..p0, p3..p2 and p1..p3.
struct Palette {
  u8v p2, p3, span02, span23, span13;
};

ZEL_INLINE u8v twoToOne(u8v a, u8v b) {
  return inWords(a, b, [](i16v x, i16v y) { return as<i16v>(mulHi(as<u16v>(x + x + y), splat<u16v>(kThird))); });
}

ZEL_INLINE Palette paletteOf(Ends e) {
  const u8v p2 = twoToOne(e.high, e.low), p3 = twoToOne(e.low, e.high);
  return {p2, p3, e.high - p2, p2 - p3, p3 - e.low};
}

// The bytes of blocks: for each byte of a part, that of all blocks.
struct Part {
  u8v byte[8];
};

// 5:6:5 words of both endpoints, from the channels' upper and lower ends.
ZEL_INLINE void putWords(Part& part, u8v (&of5)[2], u8v (&of6)[2], u8v (&low5)[2]) {
  for (int i = 0; i < 2; ++i) {
    part.byte[2 * i] = shiftedLeft<3>(field<6>(of6[i])) | shiftedRight<3>(low5[i]);
    part.byte[2 * i + 1] = field<5>(of5[i]) | shiftedRight<5>(of6[i]);
  }
}

// Sums of y, as above, over the channels from kFirst on; of the intervals p1..p3 and first of p3..p2 the distance from
// the upper end instead, which lets every threshold be an upper one. A difference d is 0 where its comparison holds.
template <int kFirst, int kChannels>
ZEL_INLINE void putIndices(Part& part, const Pixels& p, const Palette (&palette)[kChannels]) {
  u8v sum02 = zero<u8v>(), sum23 = zero<u8v>(), sum13 = zero<u8v>();
  for (const Palette& c : palette) sum02 = sum02 + c.span02, sum23 = sum23 + c.span23, sum13 = sum13 + c.span13;
  const u8v half02 = average(sum02, zero<u8v>()), half23 = average(sum23, zero<u8v>());
  const u8v half13 = average(sum13, zero<u8v>()), half03 = average(sum02, sum23), half12 = average(sum23, sum13);
  for (int r = 0; r < kSide; ++r) {
    u8v not0 = zero<u8v>();
#pragma GCC unroll 4
    for (int x = 0; x < kSide; ++x) {
      u8v y02 = zero<u8v>(), z23 = zero<u8v>(), z13 = zero<u8v>();
#pragma GCC unroll 3
      for (int c = 0; c < kChannels; ++c) {
        const u8v v = p.at[r][x][kFirst + c];
        y02 = y02 + min(subSat(v, palette[c].p2), palette[c].span02);
        z23 = z23 + min(subSat(palette[c].p2, v), palette[c].span23);
        z13 = z13 + min(subSat(palette[c].p3, v), palette[c].span13);
      }
      const u8v y23 = sum23 - z23;
      const u8v not0Over3 = subSat(half03, addSat(y02, y23)), not1Over2 = subSat(half12, addSat(z13, z23));
      const u8v not0Over2 = subSat(half02, y02), not2Over3 = subSat(half23, y23), not1Over3 = subSat(half13, z13);
      const u8v noLowBit = min(not0Over3, not2Over3) == zero<u8v>();
      const u8v noHighBit = max(min(not1Over2, not0Over2), min(not0Over3, not1Over3)) == zero<u8v>();
      not0 = not0 | (noLowBit & bytes(1 << 2 * x)) | (noHighBit & bytes(2 << 2 * x));
    }
    part.byte[4 + r] = ~not0;
  }
}

ZEL_INLINE Part rgbPart(const Pixels& p) {
  const Ends r = inset(boxOf(p, 0)), g = inset(boxOf(p, 1)), b = inset(boxOf(p, 2));
  u8v red[2] = {r.high, r.low}, green[2] = {g.high, g.low}, blue[2] = {b.high, b.low};
  const Palette palette[3] = {paletteOf(widened<5>(r)), paletteOf(widened<6>(g)), paletteOf(widened<5>(b))};
  Part part;
  putWords(part, red, green, blue);
  putIndices<0>(part, p, palette);
  return part;
}

// ---- Alpha part -----------------------------------------------------------------------------------------------------

ZEL_INLINE Part fourBitAlphaPart(const Pixels& p) {
  Part part;
  for (int i = 0; i < 8; ++i) {
    const u8v(&two)[kSide][4] = p.at[i / 2];
    part.byte[i] = shiftedRight<4>(two[2 * (i % 2)][3]) | (two[2 * (i % 2) + 1][3] & bytes(0xF0));
  }
  return part;
}

// The thresholds between the eight alphas of a block, upper ends of intervals: (w a0 + (7 - w) a1) / 7 + (a0 - a1) / 14
// from the lowest on, each quotient rounded down.
template <int kWeight>
ZEL_INLINE u8v thresholdOf(Ends e) {
  return inWords(e.high, e.low, [](i16v high, i16v low) {
    const i16v sevenfold = high * splat<i16v>(kWeight) + low * splat<i16v>(7 - kWeight);
    return as<i16v>(mulHi(as<u16v>(sevenfold), splat<u16v>(kSeventh)) +
                    mulHi(as<u16v>(high - low), splat<u16v>(kFourteenth)));
  });
}

// Codes of three bits, so many as fill three bytes.
ZEL_INLINE void putCodes(u8v* to, const u8v (&code)[8]) {
  const auto up = [](u8v a, int n) { return as<u8v>(as<u16v>(a) << n); };  // what stays within its byte
  to[0] = code[0] | up(code[1], 3) | shiftedLeft<6>(code[2]);
  to[1] = shiftedRight<2>(code[2]) | up(code[3], 1) | up(code[4], 4) | shiftedLeft<7>(code[5]);
  to[2] = shiftedRight<1>(code[5]) | up(code[6], 2) | up(code[7], 5);
}

// The code of an alpha follows from how many thresholds it is above. Bytes are compared as signed ones, moved by 128.
ZEL_INLINE Part interpolatedAlphaPart(const Pixels& p, int channel, Ends e) {
  static const uint8_t kCode[16] = {1, 7, 6, 5, 4, 3, 2, 0};
  const u8v sign = bytes(128);
  const u8v threshold[7] = {thresholdOf<0>(e) ^ sign, thresholdOf<1>(e) ^ sign, thresholdOf<2>(e) ^ sign,
                            thresholdOf<3>(e) ^ sign, thresholdOf<4>(e) ^ sign, thresholdOf<5>(e) ^ sign,
                            thresholdOf<6>(e) ^ sign};
  Part part = {{e.high, e.low}};
  for (int half = 0; half < 2; ++half) {
    u8v code[8];
    for (int i = 0; i < 8; ++i) {
      const i8v alpha = as<i8v>(p.at[2 * half + i / kSide][i % kSide][channel] ^ sign);
      i8v above = zero<i8v>();  // how many thresholds
#pragma GCC unroll 7
      for (int k = 0; k < 7; ++k) above = above - (alpha > as<i8v>(threshold[k]));
      code[i] = shuffle128(constant<u8v>(kCode), as<u8v>(above));
    }
    putCodes(&part.byte[2 + 3 * half], code);
  }
  return part;
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------
// An encoder makes the parts of the blocks, colours last.

struct RgbaToDxt1 {
  static constexpr int kSrcBytes = 4, kBytes = 8;
  ZEL_INLINE static void encode(const Pixels& p, Part (&to)[1]) { to[0] = rgbPart(p); }
};

struct RgbaToDxt3 {
  static constexpr int kSrcBytes = 4, kBytes = 16;
  ZEL_INLINE static void encode(const Pixels& p, Part (&to)[2]) {
    to[0] = fourBitAlphaPart(p);
    to[1] = rgbPart(p);
  }
};

struct RgbaToDxt5 {
  static constexpr int kSrcBytes = 4, kBytes = 16;
  ZEL_INLINE static void encode(const Pixels& p, Part (&to)[2]) {
    to[0] = interpolatedAlphaPart(p, 3, inset(boxOf(p, 3)));
    to[1] = rgbPart(p);
  }
};

// Chroma scaled by 1, 2 or 4 about 128: doubled where the first mask is set, once more where the second is.
struct Scale {
  u8v twice, again;
  ZEL_INLINE u8v of(u8v x) const {
    x = x ^ bytes(128);
    x = x + (x & twice);
    x = x + (x & again);
    return x ^ bytes(128);
  }
};

ZEL_INLINE u8v fromMiddle(u8v a) { return subSat(a, bytes(128)) | subSat(bytes(128), a); }

ZEL_INLINE Scale scaleOf(Ends co, Ends cg) {
  const u8v most = max(max(fromMiddle(co.high), fromMiddle(co.low)), max(fromMiddle(cg.high), fromMiddle(cg.low)));
  return {atLeast(bytes(63), most), atLeast(bytes(31), most)};
}

// (16 high - (high - low - 7)) >> 4 and (16 low + (high - low - 7)) >> 4, clamped.
ZEL_INLINE Ends insetChroma(Ends e) {
  const auto clamped = [](i16v a) { return min(max(a, zero<i16v>()), splat<i16v>(255)); };
  return {inWords(e.high, e.low,
                  [=](i16v high, i16v low) { return clamped(((high << 4) - (high - low) + splat<i16v>(7)) >> 4); }),
          inWords(e.high, e.low,
                  [=](i16v high, i16v low) { return clamped(((low << 4) + (high - low) - splat<i16v>(7)) >> 4); })};
}

// Where more than half of a block's pixels have Co and Cg on opposite sides of the middle of the box.
ZEL_INLINE u8v onOtherDiagonal(const Pixels& p, Ends co, Ends cg) {
  const u8v middleCo = average(co.high, co.low), middleCg = average(cg.high, cg.low);
  u8v count = zero<u8v>();
  for (int i = 0; i < kSide * kSide; ++i) {
    const u8v(&pixel)[4] = p.at[i / kSide][i % kSide];
    count = count - (atLeast(pixel[1], middleCo) ^ atLeast(pixel[2], middleCg));
  }
  return atLeast(count, bytes(9));
}

struct YCoCgToDxt5 {
  static constexpr int kSrcBytes = 3, kBytes = 16;
  ZEL_INLINE static void encode(Pixels& p, Part (&to)[2]) {
    const Ends boxCo = boxOf(p, 1), boxCg = boxOf(p, 2);
    const Scale scale = scaleOf(boxCo, boxCg);
    for (int i = 0; i < kSide * kSide; ++i)
      for (int c = 1; c < 3; ++c) p.at[i / kSide][i % kSide][c] = scale.of(p.at[i / kSide][i % kSide][c]);
    const Ends co = widened<5>(insetChroma({scale.of(boxCo.high), scale.of(boxCo.low)}));
    Ends cg = widened<6>(insetChroma({scale.of(boxCg.high), scale.of(boxCg.low)}));

    const u8v mirrored = onOtherDiagonal(p, co, cg);
    cg = {select(mirrored, cg.low, cg.high), select(mirrored, cg.high, cg.low)};
    const u8v blue = (scale.again & bytes(16)) | (scale.twice & bytes(8));  // 8 times the scale less 1
    u8v red[2] = {co.high, co.low}, green[2] = {cg.high, cg.low}, blues[2] = {blue, blue};
    putWords(to[1], red, green, blues);
    // Mirrored values have the palette's order again, and distances stay.
    const Palette mixed = paletteOf(cg);
    const u8v p0 = cg.high ^ mirrored, p1 = cg.low ^ mirrored, p2 = mixed.p2 ^ mirrored, p3 = mixed.p3 ^ mirrored;
    const Palette palette[2] = {paletteOf(co), {p2, p3, p0 - p2, p2 - p3, p3 - p1}};
    for (int i = 0; i < kSide * kSide; ++i) p.at[i / kSide][i % kSide][2] = p.at[i / kSide][i % kSide][2] ^ mirrored;
    putIndices<1>(to[1], p, palette);
    to[0] = interpolatedAlphaPart(p, 0, boxOf(p, 0));
  }
};

// ---- Blocks put together --------------------------------------------------------------------------------------------

// Eight bytes of sixteen blocks (in each half), from vectors of one byte of each: two neighbours in each vector.
ZEL_INLINE void putTogether(const Part& part, u8v (&to)[8]) {
  u16v pairs[8];
  for (int i = 0; i < 4; ++i) {
    pairs[i] = as<u16v>(unpackLow128(part.byte[2 * i], part.byte[2 * i + 1]));
    pairs[4 + i] = as<u16v>(unpackHigh128(part.byte[2 * i], part.byte[2 * i + 1]));
  }
  for (int i = 0; i < 2; ++i) {
    const u16v(&of)[4] = reinterpret_cast<const u16v(&)[4]>(pairs[4 * i]);
    const u32v a = as<u32v>(unpackLow128(of[0], of[1])), b = as<u32v>(unpackHigh128(of[0], of[1]));
    const u32v c = as<u32v>(unpackLow128(of[2], of[3])), d = as<u32v>(unpackHigh128(of[2], of[3]));
    to[4 * i] = as<u8v>(unpackLow128(a, c));
    to[4 * i + 1] = as<u8v>(unpackHigh128(a, c));
    to[4 * i + 2] = as<u8v>(unpackLow128(b, d));
    to[4 * i + 3] = as<u8v>(unpackHigh128(b, d));
  }
}

ZEL_INLINE void storeBlocks(const Part (&part)[1], uint8_t* dst) {
  u8v blocks[8];
  putTogether(part[0], blocks);
  for (int i = 0; i < 8; ++i) {
#ifdef ZEL_VEC32
    blocks[i] = inOrder(blocks[i]);
#endif
    store(dst + i * kVecBytes, blocks[i]);
  }
}

ZEL_INLINE void storeBlocks(const Part (&part)[2], uint8_t* dst) {
  using u64v = Vec<uint64_t>;
  u8v alphas[8], colours[8];
  putTogether(part[0], alphas);
  putTogether(part[1], colours);
  for (int i = 0; i < 8; ++i) {
    store(dst + 2 * i * kVecBytes, unpackLow128(as<u64v>(alphas[i]), as<u64v>(colours[i])));
    store(dst + (2 * i + 1) * kVecBytes, unpackHigh128(as<u64v>(alphas[i]), as<u64v>(colours[i])));
  }
}

// ---- Images ---------------------------------------------------------------------------------------------------------

template <class Encoder>
void encodeBlocks(const uint8_t* src, uint32_t step, uint8_t* dst) {
  Pixels pixels;
  Part parts[Encoder::kBytes / 8];
  loadBlocks<Encoder::kSrcBytes>(src, step, pixels);
  Encoder::encode(pixels, parts);
  storeBlocks(parts, dst);
}

// Blocks that stand alone, at the right and bottom edges and in rows of few, are gathered until there are enough.
template <class Encoder>
class Gathered {
 public:
  // A block, filled up with the last pixel of each row and the last row.
  void add(const uint8_t* src, uint32_t step, int columns, int rows, uint8_t* dst) {
    constexpr int kBytes = Encoder::kSrcBytes;
    for (int r = 0; r < kSide; ++r) {
      uint8_t* const to = pixels_[r] + count_ * kSide * kBytes;
      memcpy(to, rowAt(src, step, lesser(r, rows - 1)), size_t(columns) * kBytes);
      for (int i = columns * kBytes; i < kSide * kBytes; ++i) to[i] = to[i - kBytes];
    }
    places_[count_++] = dst;
    if (count_ == kLanes) flush();
  }

  void flush() {
    if (count_ == 0) return;
    uint8_t blocks[kLanes * Encoder::kBytes];
    encodeBlocks<Encoder>(pixels_[0], kRowBytes, blocks);
    for (int i = 0; i < count_; ++i) memcpy(places_[i], blocks + i * Encoder::kBytes, Encoder::kBytes);
    count_ = 0;
  }

 private:
  static constexpr int kRowBytes = kLanes * kSide * Encoder::kSrcBytes + 16;  // and what the last load takes besides
  uint8_t pixels_[kSide][kRowBytes] = {};
  uint8_t* places_[kLanes];
  int count_ = 0;
};

template <class Encoder>
void encodeImage(const uint8_t* src, uint32_t step, ZeliSize size, uint8_t* dst) {
  constexpr int kBytes = Encoder::kSrcBytes, kBlockRow = kSide * kBytes;
  constexpr int kReach = kLanes * kBlockRow + (kBytes == 3 ? 4 : 0);  // bytes of a row that encodeBlocks reads
  const int across = blocksOver(size.width), down = blocksOver(size.height);
  Gathered<Encoder> gathered;
  for (int by = 0; by < down; ++by) {
    const int rows = lesser(kSide, size.height - kSide * by);
    const uint8_t* const row = rowAt(src, step, kSide * by);
    int bx = 0;
    if (rows == kSide)
      for (int64_t left = int64_t(size.width) * kBytes; left >= kReach; left -= kLanes * kBlockRow) {
        encodeBlocks<Encoder>(row + int64_t(bx) * kBlockRow, step, dst);
        bx += kLanes;
        dst += kLanes * Encoder::kBytes;
      }
    for (; bx < across; ++bx, dst += Encoder::kBytes)
      gathered.add(row + int64_t(bx) * kBlockRow, step, lesser(kSide, size.width - kSide * bx), rows, dst);
  }
  gathered.flush();
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
