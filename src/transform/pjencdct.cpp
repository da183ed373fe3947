// Forward DCT with quantisation of 8-bit samples (ITU-T T.81, Annexes A.3.3 and A.3.4).
#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_butterflies.h"

namespace ZEL_VARIANT {
namespace {

// Row-pass weights. With s and d the sums and differences of mirrored samples, a row's vector is s0 s1 d0 d1 s2 s3 d2
// d3, and the same with its halves exchanged; four multiply-adds give F0..F3 and F4..F7 in order.
constexpr RowWeights<4> forwardWeights() {
  RowWeights<4> t{};
  for (int row = 0; row < 8; ++row)
    for (int lane = 0; lane < 4; ++lane)
      for (int pair = 0; pair < 2; ++pair) {
        const int j = 2 * (lane / 2) + pair;  // lanes 0 and 1 hold samples 0 and 1, lanes 2 and 3 samples 2 and 3
        const int at = row % kRows * 8 + 2 * lane + pair;
        int16_t(&w)[4][i16v::N] = t.at[row / kRows];
        w[0][at] = weight(row, lane, j);
        w[1][at] = weight(row, lane, j ^ 2);
        w[2][at] = weight(row, lane + 4, j);
        w[3][at] = weight(row, lane + 4, j ^ 2);
      }
  return t;
}
constexpr RowWeights<4> kForward = forwardWeights();

// kRows rows: F_k = (sum of weights times s or d + 2^19) >> 20, saturated.
ZEL_INLINE i16v forwardRows(i16v x, const int16_t (&w)[4][i16v::N]) {
  const i16v mirrored = shuffleBytes(x, kDctRow.reverse);
  const i32v sum = as<i32v>(addSat(x, mirrored)), difference = as<i32v>(subSat(x, mirrored));
  const i16v v = as<i16v>(unpackLow128(sum, difference));  // s0s1 d0d1 s2s3 d2d3
  const i16v u = permute32x128<0x4E>(v);                   // s2s3 d2d3 s0s1 d0d1
  const i32v round = load<i32v>(kDctRow.round_frw_row);
  const i32v low = maddPairs(v, load<i16v>(w[0])) + maddPairs(u, load<i16v>(w[1])) + round;
  const i32v high = maddPairs(v, load<i16v>(w[2])) + maddPairs(u, load<i16v>(w[3])) + round;
  return packI16x128(low >> 20, high >> 20);
}

// y * R / 32768 rounded to nearest, halves to even, saturated. With p = y * R = hi * 2^16 + lo and odd the parity of
// floor(p / 2^15), which is the top bit of lo: the result is 2 hi + ((lo + 16383 + odd) >> 15).
ZEL_INLINE i16v scale15(i16v y, i16v reciprocal) {
  const i16v hi = mulHi(y, reciprocal) + (y & (reciprocal >> 15));  // a reciprocal of 32768 and above is not negative
  const u16v lo = as<u16v>(y * reciprocal);
  const u16v bias = load<u16v>(kDctRow.tieBias) + (lo >> 15);
  const i16v carry = as<i16v>(average(lo, bias) >> 14);
  return addSat(hi, addSat(hi, carry));
}

// Samples, centred on zero, to quantised coefficients.
ZEL_INLINE void transformAndQuantise(const BlockRows& samples, int16_t* dst, const uint16_t* table) {
  const BlockVectors columns = toVectors(forwardColumns(samples));
#pragma GCC unroll 8
  for (int i = 0; i < kVectors; ++i)
    store(dst + i * i16v::N, scale15(forwardRows(columns.at[i], kForward.at[i]), load<i16v>(table + i * i16v::N)));
}

void dctQuantFwd(const int16_t* src, int16_t* dst, const uint16_t* table) {
  BlockRows samples;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) samples.row[r] = load<i16x8>(src + 8 * r);
  transformAndQuantise(samples, dst, table);
}

void dctQuantFwdLS(const uint8_t* src, int srcStep, int16_t* dst, const uint16_t* table) {
  BlockRows samples;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) samples.row[r] = loadWiden<i16x8>(rowAt(src, srcStep, r)) - load<i16x8>(kDct.level);
  transformAndQuantise(samples, dst, table);
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
