// MCU conversion for the decoder: level-shifted blocks to pixels, chroma replication and colour conversion in one pass.
//
// With the inverse JFIF matrix in 14-bit fixed point, for any 16-bit y, cb and cr,
//   R = clamp(y + 128 + ((22970 cr + 2^13) >> 14)),  B = clamp(y + 128 + ((29032 cb + 2^13) >> 14))
//   G = clamp(y + 128 + ((-5638 cb - 11700 cr + half) >> 14))
// where half is 2^13 for RGB and BGR of 4:4:4, and 2^13 - 1 for all others: those round a green half down.
//
// All of it is done in 16-bit lanes. The terms beside y need 17 bits, so each is split in two: whole chroma samples,
// and a rest whose factor is below 16384.
//   R = y + cr + ((6586 cr + 2^13) >> 14) + 128
//   B = y + cb + ((12648 cb + 2^13) >> 14) + 128
//   G = y - cr + ((-5638 cb + 4684 cr + half) >> 14) + 128
// A rounding multiply gives the rests of red and blue: (2 f c + 2^14) >> 15 = (f c + 2^13) >> 14. Every rest with its
// 128 is within +-25425. So where the first addition saturates, the second stays outside 0..255 on the same side, as
// the true sum does: saturating additions give the clamped value for every input.
#include "colour/mcu.h"

namespace ZEL_VARIANT {
namespace {

// 16 samples of each channel in each half, as bytes.
struct Channels {
  u8v at[3];
};

// Level shift and clamp: the signed byte with its top bit inverted.
ZEL_INLINE u8v shiftedBytes(i16v a, i16v b) { return as<u8v>(packI8x128(a, b)) ^ loadAligned<u8v>(kMcu.centreByte); }

// ---- Colour models: blocks to channels ------------------------------------------------------------------------------

template <bool kHalvesUp>
struct YccToRgb {
  struct Chroma {
    i16v cb, cr, red, green, blue;  // the samples, and the rests with 128
  };

  ZEL_INLINE static i16v rest(i16v c, const McuTables::Words& factor) {
    return mulHiRound(c, loadAligned<i16v>(factor)) + loadAligned<i16v>(kMcu.centre);
  }
  ZEL_INLINE static i32v greenRest(i16v pairs) {
    return (maddPairs(pairs, loadAligned<i16v>(kMcu.greenRest)) +
            loadAligned<i32v>(kHalvesUp ? kMcu.greenHalfUp : kMcu.greenHalfDown)) >>
           kFractionBits;
  }
  ZEL_INLINE static Chroma chroma(const int16_t* pCb, const int16_t* pCr) {
    const i16v cb = load<i16v>(pCb), cr = load<i16v>(pCr);
    return {cb, cr, rest(cr, kMcu.redRest),
            packI16x128(greenRest(unpackLow128(cb, cr)), greenRest(unpackHigh128(cb, cr))), rest(cb, kMcu.blueRest)};
  }

  // Each sample twice: of the left, then of the right half of a chroma row.
  ZEL_INLINE static Chroma leftOf(const Chroma& c) {
    return {unpackLow128(c.cb, c.cb), unpackLow128(c.cr, c.cr), unpackLow128(c.red, c.red),
            unpackLow128(c.green, c.green), unpackLow128(c.blue, c.blue)};
  }
  ZEL_INLINE static Chroma rightOf(const Chroma& c) {
    return {unpackHigh128(c.cb, c.cb), unpackHigh128(c.cr, c.cr), unpackHigh128(c.red, c.red),
            unpackHigh128(c.green, c.green), unpackHigh128(c.blue, c.blue)};
  }

  ZEL_INLINE static i16v red(i16v y, const Chroma& c) { return addSat(addSat(y, c.cr), c.red); }
  ZEL_INLINE static i16v green(i16v y, const Chroma& c) { return addSat(subSat(y, c.cr), c.green); }
  ZEL_INLINE static i16v blue(i16v y, const Chroma& c) { return addSat(addSat(y, c.cb), c.blue); }

  ZEL_INLINE static Channels full(i16v y0, i16v y1, const Chroma& c0, const Chroma& c1) {
    return {{packU8x128(red(y0, c0), red(y1, c1)), packU8x128(green(y0, c0), green(y1, c1)),
             packU8x128(blue(y0, c0), blue(y1, c1))}};
  }
  ZEL_INLINE static Channels doubled(i16v left, i16v right, const Chroma& c) {
    return full(left, right, leftOf(c), rightOf(c));
  }
};

// No conversion.
struct Unconverted {
  struct Chroma {
    i16v cb, cr;
  };
  ZEL_INLINE static Chroma chroma(const int16_t* pCb, const int16_t* pCr) { return {load<i16v>(pCb), load<i16v>(pCr)}; }
  ZEL_INLINE static Channels full(i16v y0, i16v y1, const Chroma& c0, const Chroma& c1) {
    return {{shiftedBytes(y0, y1), shiftedBytes(c0.cb, c1.cb), shiftedBytes(c0.cr, c1.cr)}};
  }
  ZEL_INLINE static Channels doubled(i16v left, i16v right, const Chroma& c) {
    const u8v both = shiftedBytes(c.cb, c.cr);  // cb0..cb7 cr0..cr7
    return {{shiftedBytes(left, right), unpackLow128(both, both), unpackHigh128(both, both)}};
  }
};

// ---- Writers of pixels: channels to rows ----------------------------------------------------------------------------

// Where the 16 pixels of each half go: to one row, or 8 each to two rows.
template <class Sample, int kWidth>
struct Rows {
  Sample* at[kRows][16 / kWidth];
};

template <class Sample, int kWidth>
ZEL_INLINE Rows<Sample, kWidth> rowsFrom(Sample* dst, int step, int r, int upper, int second) {
  Rows<Sample, kWidth> rows;
  for (int half = 0; half < kRows; ++half)
    for (int i = 0; i < 16 / kWidth; ++i) rows.at[half][i] = rowAt(dst, step, r + half * upper + i * second);
  return rows;
}

// The 16 pixels of one half, kVectors of 16 bytes in memory order.
template <int kHalf, class Sample, int kWidth, int kVectors>
ZEL_INLINE void writeHalf(const u8v (&v)[kVectors], const Rows<Sample, kWidth>& rows) {
  char* p = reinterpret_cast<char*>(rows.at[kHalf][0]);
  if constexpr (kWidth == 16) {
#pragma GCC unroll 4
    for (int i = 0; i < kVectors; ++i) store(p + 16 * i, halfOf<kHalf>(v[i]));
  } else {
    char* q = reinterpret_cast<char*>(rows.at[kHalf][1]);
    if constexpr (kVectors == 3) {
      store(p, halfOf<kHalf>(v[0]));
      storeLow8(p + 16, halfOf<kHalf>(v[1]));
      storeHigh8(q, halfOf<kHalf>(v[1]));
      store(q + 8, halfOf<kHalf>(v[2]));
    } else {
#pragma GCC unroll 2
      for (int i = 0; i < kVectors / 2; ++i) {
        store(p + 16 * i, halfOf<kHalf>(v[i]));
        store(q + 16 * i, halfOf<kHalf>(v[kVectors / 2 + i]));
      }
    }
  }
}
template <class Sample, int kWidth, int kVectors>
ZEL_INLINE void writeHalves(const u8v (&v)[kVectors], const Rows<Sample, kWidth>& rows) {
  writeHalf<0>(v, rows);
  if constexpr (kRows == 2) writeHalf<kRows - 1>(v, rows);
}

// The channels as bytes, the one of index kFirst first.
template <int kFirst>
struct BytesWriter {
  using Sample = uint8_t;
  static constexpr int kBlocks = 3;
  template <int kWidth>
  ZEL_INLINE static void write(const Channels& p, u8v, const Rows<Sample, kWidth>& rows) {
    u8v pixels[3];
    interleave3(p.at[kFirst], p.at[1], p.at[2 - kFirst], pixels);
    writeHalves(pixels, rows);
  }
};

// The complements of R, G and B, and K.
struct CmykWriter {
  using Sample = uint8_t;
  static constexpr int kBlocks = 4;
  template <int kWidth>
  ZEL_INLINE static void write(const Channels& p, u8v key, const Rows<Sample, kWidth>& rows) {
    u8v pixels[4];
    interleave4(~p.at[0], ~p.at[1], ~p.at[2], key, pixels);
    writeHalves(pixels, rows);
  }
};

// 16-bit pixels; a channel is cut to its field by a shift.
template <class Fields>
struct PackedWriter {
  using Sample = uint16_t;
  static constexpr int kBlocks = 3;
  static constexpr int kAboveRed = 16 - Fields::kRedAt - 5;  // bits of a pixel that stay 0

  // Bytes shifted right and masked: lanes of 16 bits do the shift, the mask drops what crosses.
  ZEL_INLINE static u8v field(u8v a, int shift, int mask) {
    return as<u8v>(as<u16v>(a) >> shift) & splat<u8v>(uint8_t(mask));
  }
  template <int kWidth>
  ZEL_INLINE static void write(const Channels& p, u8v, const Rows<Sample, kWidth>& rows) {
    const u8v high = field(p.at[0], kAboveRed, 0xF8 >> kAboveRed);  // red in the high byte
    const u8v low = field(p.at[2], 3, 0x1F);
    const u8v green = p.at[1] & splat<u8v>(uint8_t(Fields::kGreenMask));
    u8v redBlue[2], greens[2];
    interleave2(low, high, redBlue);
    interleave2(zero<u8v>(), green, greens);  // green << 8
    u8v pixels[2];
#pragma GCC unroll 2
    for (int i = 0; i < 2; ++i) pixels[i] = redBlue[i] | as<u8v>(as<u16v>(greens[i]) >> (16 - Fields::kRedAt));
    writeHalves(pixels, rows);
  }
};

// ---- One MCU --------------------------------------------------------------------------------------------------------

// The block pointers, where stores to pixels cannot change them.
template <int kBlocks>
struct Components {
  const int16_t* at[kBlocks];
  ZEL_INLINE explicit Components(const int16_t* const* blocks) {
    for (int c = 0; c < kBlocks; ++c) at[c] = blocks[c];
  }
};

template <class Writer>
ZEL_INLINE u8v keyOf(const Components<Writer::kBlocks>& src, int first, int second) {
  if constexpr (Writer::kBlocks == 4)
    return shiftedBytes(load<i16v>(src.at[3] + first), load<i16v>(src.at[3] + second));
  return zero<u8v>();
}

template <class Model, class Writer>
void toPixels444(const int16_t* const* blocks, typename Writer::Sample* dst, int step) {
  const Components<Writer::kBlocks> src(blocks);
  for (int r = 0; r < 8; r += 2 * kRows) {
    const int at = 8 * r, next = at + i16v::N;
    const Channels pixels =
        Model::full(load<i16v>(src.at[0] + at), load<i16v>(src.at[0] + next),
                    Model::chroma(src.at[1] + at, src.at[2] + at), Model::chroma(src.at[1] + next, src.at[2] + next));
    Writer::template write<8>(pixels, keyOf<Writer>(src, at, next),
                              rowsFrom<typename Writer::Sample, 8>(dst, step, r, 1, kRows));
  }
}

template <class Model, class Writer>
void toPixels422(const int16_t* const* blocks, typename Writer::Sample* dst, int step) {
  const Components<Writer::kBlocks> src(blocks);
  for (int r = 0; r < 8; r += kRows) {
    const int at = 8 * r;
    const Channels pixels = Model::doubled(load<i16v>(src.at[0] + at), load<i16v>(src.at[0] + 64 + at),
                                           Model::chroma(src.at[1] + at, src.at[2] + at));
    Writer::template write<16>(pixels, keyOf<Writer>(src, at, at + 64),
                               rowsFrom<typename Writer::Sample, 16>(dst, step, r, 1, 0));
  }
}

// A chroma row serves two rows of pixels, so the rows of a group are two apart.
template <class Model, class Writer>
void toPixels411(const int16_t* const* blocks, typename Writer::Sample* dst, int step) {
  const Components<Writer::kBlocks> src(blocks);
  for (int r = 0; r < 8; r += kRows, dst = rowAt(dst, step, 2 * kRows)) {
    const int luma = 16 * r + (r & 4) * 16;  // rows from 8 on are in the second pair of blocks
    const auto chroma = Model::chroma(src.at[1] + 8 * r, src.at[2] + 8 * r);
#pragma GCC unroll 2  // both rows take the same doubled chroma from registers
    for (int i = 0; i < 2; ++i) {
      const int at = luma + 8 * i;
      const auto group = [&](int component, int first) {
        return loadHalves<i16v>(src.at[component] + first, src.at[component] + first + 16);
      };
      const Channels pixels = Model::doubled(group(0, at), group(0, at + 64), chroma);
      u8v key = zero<u8v>();
      if constexpr (Writer::kBlocks == 4) key = shiftedBytes(group(3, at), group(3, at + 64));
      Writer::template write<16>(pixels, key, rowsFrom<typename Writer::Sample, 16>(dst, step, i, 2, 0));
    }
  }
}

// Bytes Y0 Cb Y1 Cr.
void join422(const int16_t* const* blocks, uint8_t* dst, int step) {
  const Components<3> src(blocks);
  for (int r = 0; r < 8; r += kRows) {
    const int at = 8 * r;
    const u8v luma = shiftedBytes(load<i16v>(src.at[0] + at), load<i16v>(src.at[0] + 64 + at));
    const u8v cb = shiftedBytes(load<i16v>(src.at[1] + at), zero<i16v>());
    const u8v cr = shiftedBytes(load<i16v>(src.at[2] + at), zero<i16v>());
    u8v pixels[2];
    interleave2(luma, unpackLow128(cb, cr), pixels);
    writeHalves(pixels, rowsFrom<uint8_t, 16>(dst, step, r, 1, 0));
  }
}

// The checks in their order, then the conversion.
template <int kComponents, class T>
ZelStatus convert(void (*toPixels)(const int16_t* const*, T*, int), const int16_t* const* src, T* dst, int step) {
  if (const ZelStatus s = firstFailure(present(src), present(dst))) return s;
  if (const ZelStatus s = firstFailure(allPresent<kComponents>(src), stepOk(step))) return s;
  toPixels(src, dst, step);
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels444<YccToRgb<true>, BytesWriter<0>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels422<YccToRgb<false>, BytesWriter<0>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels411<YccToRgb<false>, BytesWriter<0>>, pSrc, pDst, dstStep);
}

ZelStatus zeliYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels444<YccToRgb<true>, BytesWriter<2>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels422<YccToRgb<false>, BytesWriter<2>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels411<YccToRgb<false>, BytesWriter<2>>, pSrc, pDst, dstStep);
}

ZelStatus zeliYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels444<YccToRgb<false>, PackedWriter<Bgr555>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels422<YccToRgb<false>, PackedWriter<Bgr555>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels411<YccToRgb<false>, PackedWriter<Bgr555>>, pSrc, pDst, dstStep);
}

ZelStatus zeliYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels444<YccToRgb<false>, PackedWriter<Bgr565>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels422<YccToRgb<false>, PackedWriter<Bgr565>>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return convert<3>(toPixels411<YccToRgb<false>, PackedWriter<Bgr565>>, pSrc, pDst, dstStep);
}

ZelStatus zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return convert<4>(toPixels444<YccToRgb<false>, CmykWriter>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return convert<4>(toPixels422<YccToRgb<false>, CmykWriter>, pSrc, pDst, dstStep);
}
ZelStatus zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return convert<4>(toPixels411<YccToRgb<false>, CmykWriter>, pSrc, pDst, dstStep);
}

ZelStatus zeliSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels444<Unconverted, BytesWriter<0>>, pSrc, pDst, dstStep);
}
ZelStatus zeliSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels422<Unconverted, BytesWriter<0>>, pSrc, pDst, dstStep);
}
ZelStatus zeliSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(toPixels411<Unconverted, BytesWriter<0>>, pSrc, pDst, dstStep);
}

ZelStatus zeliJoin422LS_MCU_16s8u_P3C2R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return convert<3>(join422, pSrc, pDst, dstStep);
}

}  // namespace ZEL_VARIANT
