// Forward DCT with quantisation of 8-bit samples (ITU-T T.81, Annexes A.3.3 and A.3.4).
#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_butterflies.h"

namespace ZEL_VARIANT {
namespace {

// The row pass of two vectors of rows: F_k = (sum of weights times s or d + 2^19) >> 20. The sum's high 16 bits are
// enough for that: those of even and of odd frequencies stand side by side, and are rounded and shifted together.
//
// Columns of bytes stay so small that s can be folded once more (the weights of even frequencies are symmetric, too)
// and that the rounding cannot overflow.
template <bool kOfBytes>
ZEL_INLINE void forwardRows(i16v& a, i16v& b, const int16_t (&w)[4][2][i16v::N]) {
  using Halves = Vec<int64_t>;
  const i16v first = as<i16v>(unpackLow128(as<Halves>(a), as<Halves>(b)));
  const i16v last = shuffleBytes(as<i16v>(unpackHigh128(as<Halves>(a), as<Halves>(b))), kDctRow.reverseFours);
  const i16v s = addSat(first, last), d = subSat(first, last);

  const auto sums = [&](i16v v, i16v exchanged, int f) {
    return maddPairs(v, load<i16v>(w[f][0]), exchanged, load<i16v>(w[f][1]));
  };
  i32v of04, of26;
  if constexpr (kOfBytes) {
    const i16v reversed = shuffleBytes(s, kDctRow.reverseFours);
    of04 = maddPairs(s + reversed, load<i16v>(w[0][0]));
    of26 = maddPairs(s - reversed, load<i16v>(w[1][0]));
  } else {
    const i16v exchanged = permute32x128<0xB1>(s);
    of04 = sums(s, exchanged, 0);
    of26 = sums(s, exchanged, 1);
  }
  const i16v exchanged = permute32x128<0xB1>(d);
  const i32v of15 = sums(d, exchanged, 2), of37 = sums(d, exchanged, 3);

  const auto rounded = [](i32v even, i32v odd) {
    const i16v high = bitsInTurn<16>(even, odd);
    return as<i32v>(kOfBytes ? mulHiRoundInRange(high, load<i16v>(kDctRow.sixteenth))
                             : (high + load<i16v>(kDctRow.eight)) >> 4);
  };
  const i32v of0145 = rounded(of04, of15), of2367 = rounded(of26, of37);
  a = as<i16v>(unpackLow128(of0145, of2367));
  b = as<i16v>(unpackHigh128(of0145, of2367));
}

// y * R / 32768 rounded to nearest, halves to even, saturated. mulHiRound rounds halves up: where it should have
// rounded down, the low half of the product is 2^14. It takes R as signed, too: a reciprocal of 32768 or more counts
// 65536 less than it is, so that 2 y are missing.
template <bool kLarge>
ZEL_INLINE i16v scale15(i16v y, i16v reciprocal) {
  const i16v product = kLarge ? mulHiRound(y, reciprocal) : mulHiRoundInRange(y, reciprocal);
  const i16v q = product + (y * reciprocal == load<i16v>(kDctRow.tie));
  if constexpr (!kLarge) return q;
  const i16v missing = y & (reciprocal >> 15);
  return addSat(addSat(q, missing), missing);
}
template <bool kLarge>
ZEL_INLINE void quantise(const BlockVectors& y, int16_t* dst, const uint16_t* table) {
#pragma GCC unroll 8
  for (int i = 0; i < kVectors; ++i)
    store(dst + i * i16v::N, scale15<kLarge>(y.at[i], load<i16v>(table + i * i16v::N)));
}

// Whether a reciprocal is 32768 or more, as that of a step of 1 is.
ZEL_INLINE bool hasLarge(const uint16_t* table) {
  u16v any = load<u16v>(table);
#pragma GCC unroll 8
  for (int i = 1; i < kVectors; ++i) any = any | load<u16v>(table + i * u16v::N);
  return (byteMask(any) & 0xAAAAAAAA) != 0;
}

// Columns of frequencies to quantised coefficients.
template <bool kOfBytes>
ZEL_INLINE void finish(const BlockRows& columns, int16_t* dst, const uint16_t* table) {
  BlockVectors v = toVectors(columns);
#pragma GCC unroll 4
  for (int i = 0; i < kVectors; i += 2) forwardRows<kOfBytes>(v.at[i], v.at[i + 1], kDctForward.at[i / 2]);
  if (hasLarge(table)) return quantise<true>(v, dst, table);
  quantise<false>(v, dst, table);
}

ZEL_INLINE void dctQuantFwd(const int16_t* src, int16_t* dst, const uint16_t* table) {
  BlockRows samples;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) samples.row[r] = load<i16x8>(src + 8 * r);
  finish<false>(forwardColumns(foldedColumns(samples)), dst, table);
}

ZEL_INLINE void dctQuantFwdLS(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
  const uint8_t* lower = rowAt(src, srcStep, 4);
  u8x16 mirrored[4];
#pragma GCC unroll 4
  for (int r = 0; r < 4; ++r)
    mirrored[r] = unpackLow128(loadLow8(rowAt(src, srcStep, r)), loadLow8(rowAt(lower, srcStep, 3 - r)));
  BlockRows columns = forwardColumns(foldedColumns(mirrored));
  columns.row[0] = columns.row[0] - load<i16x8>(kDct.levelOf8);
  finish<true>(columns, dst, table);
}

}  // namespace

ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantFwdTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), present(pQuantFwdTable))) return s;
  dctQuantFwd(pSrc, pDst, pQuantFwdTable);
  return zelStsNoErr;
}

ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable) {
  return zeliDCTQuantFwd8x8_JPEG_16s_C1(pSrcDst, pSrcDst, pQuantFwdTable);
}

ZelStatus zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst,
                                              const uint16_t* pQuantFwdTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(srcStep), present(pQuantFwdTable)))
    return s;
  dctQuantFwdLS(pSrc, srcStep, pDst, pQuantFwdTable);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
