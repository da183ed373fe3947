// Reduced-size decoding: from 8x8 coefficients to 4x4 or 2x2 samples, each the mean of its group of the block's inverse
// DCT.
//
// The mean over two neighbouring samples of frequency k is cos((2n + 1) k pi/8) cos(k pi/16) times the basis value, so
// frequency 4 drops out; over four, only frequencies 0, 1, 3, 5 and 7 stay. Rows first, then columns, as at full size.
#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/idct_fixed.h"

namespace ZEL_VARIANT {
namespace {

// Vector i (kRows rows) of the dequantised block, low 16 bits of the products, its coefficients put in another order.
ZEL_INLINE i16v dequantised(const int16_t* src, const uint16_t* table, int i, const uint8_t (&order)[32]) {
  return shuffleBytes(load<i16v>(src + i * i16v::N) * load<i16v>(table + i * i16v::N), order);
}

// ---- 4x4 ------------------------------------------------------------------------------------------------------------

// even0 even1 odd0 odd1 of a row
ZEL_INLINE i32v rowSums4(const int16_t* src, const uint16_t* table, int i) {
  const i16v v = dequantised(src, table, i, kDctRow.pairs);
  const i16v u = permute32x128<0xB1>(v);
  return maddPairs(v, load<i16v>(kDctReduced.to4.at[i][0]), u, load<i16v>(kDctReduced.to4.at[i][1]));
}

// Outputs 0..3 of the rows of x, then of y: output n is even + odd, its mirror 3 - n is even - odd.
ZEL_INLINE i16v twoRows4(i32v x, i32v y, const int32_t (&round)[i32v::N]) {
  using Halves = Vec<int64_t>;
  const i32v even = as<i32v>(unpackLow128(as<Halves>(x), as<Halves>(y))) + load<i32v>(round);
  const i32v odd = as<i32v>(unpackHigh128(as<Halves>(x), as<Halves>(y)));
  return shuffleBytes(packI16x128<12>(even + odd, even - odd), kDctRow.mirrorPairs);
}

// Rows 0 and 2, and rows 1 and 3, of four: each in a half of a vector.
struct FourRows {
  i16x8 rows02, rows13;
};
ZEL_INLINE FourRows fourRows4(const int16_t* src, const uint16_t* table, int first,
                              const int32_t (&round)[4 / kRows][i32v::N]) {
#ifdef ZEL_VEC32
  const i16v all = twoRows4(rowSums4(src, table, first / 2), rowSums4(src, table, first / 2 + 1), round[0]);
  return {lowHalf(all), highHalf(all)};
#else
  return {twoRows4(rowSums4(src, table, first), rowSums4(src, table, first + 2), round[0]),
          twoRows4(rowSums4(src, table, first + 1), rowSums4(src, table, first + 3), round[1])};
#endif
}

// The four outputs of a row stand in the low half of a vector; the high half is not looked at.
ZEL_INLINE i16x8 upperRow(i16x8 two) { return permute32x128<0xEE>(two); }

ZEL_INLINE void storeRow4(uint8_t* dst, int dstStep, int row, int32_t four) {
  __builtin_memcpy(rowAt(dst, dstStep, row), &four, sizeof four);
}

// The column pass of rows 0 and 2, which stand in rows02 and of which row 2 is turned with row 6, and of the odd rows.
ZEL_INLINE void finish4x4(i16x8 rows02, Turned t2, OddSums sums, uint8_t* dst, int dstStep) {
  // Sums of samples 0 and 1, and of 2 and 3, of the even part (R4 has no weight) and of the odd one.
  const i16x8 twiceR0 = addSat(rows02, rows02), sum = addSat(t2.y, t2.x);
  const i16x8 even01 = addSat(sum, twiceR0), even23 = subSat(twiceR0, sum);
  const Part odd = oddPart(sums);
#ifdef ZEL_VEC32
  const i16v odd0123 = addSat(odd.of[0], odd.of[1]);
  const i16x8 odd01 = lowHalf(odd0123), odd23 = highHalf(odd0123);
#else
  const i16x8 odd01 = addSat(odd.of[0], odd.of[2]), odd23 = addSat(odd.of[1], odd.of[3]);
#endif

  using Halves = Vec<int64_t, 16>;
  const auto twoRows = [](i16x8 first, i16x8 second) {
    return as<i16x8>(unpackLow128(as<Halves>(first), as<Halves>(second))) >> 6;
  };
  const i32x4 out = as<i32x4>(levelled(twoRows(addSat(odd01, even01), addSat(odd23, even23)),
                                       twoRows(subSat(even23, odd23), subSat(even01, odd01))));
#pragma GCC unroll 4
  for (int row = 0; row < 4; ++row) storeRow4(dst, dstStep, row, out.v[row]);
}

ZEL_INLINE void dct_quant_inv8x8To4x4_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  const FourRows upper = fourRows4(src, table, 0, kDctReduced.round4[0]);
  const i16x8 R1 = upper.rows13, R2 = upperRow(upper.rows02), R3 = upperRow(upper.rows13);
  if (lowerHalfIsZero(src)) return finish4x4(upper.rows02, {R2, timesTan2(R2)}, oddSums(R1, R3), dst, dstStep);
  const FourRows lower = fourRows4(src, table, 4, kDctReduced.round4[1]);
  finish4x4(upper.rows02, turned2(R2, upperRow(lower.rows02)), oddSums(R1, R3, lower.rows13, upperRow(lower.rows13)),
            dst, dstStep);
}

// ---- 2x2 ------------------------------------------------------------------------------------------------------------

// odd odd even 0: partial sums of a row over the odd frequencies, and its DC term
ZEL_INLINE i32v rowSums2(const int16_t* src, const uint16_t* table, int i) {
  return maddPairs(dequantised(src, table, i, kDctRow.oddThenDc), load<i16v>(kDctReduced.to2.at[i][0]));
}

// From the partial sums of four rows their left outputs, then their right ones: even + odd and even - odd.
ZEL_INLINE i16v fourRows2(i32v a, i32v b, i32v c, i32v d, const int32_t* round) {
  const i32v ab = addNeighbours(a, b), cd = addNeighbours(c, d);  // odd even of a, of b; of c, of d
  const i32v odd = evenLanes128(ab, cd), even = oddLanes128(ab, cd) + load<i32v>(round);
  return packI16x128<12>(even + odd, even - odd);
}

// The left outputs of rows 1 3 5 7, then their right ones; and of row 0 in the first lane of each half.
struct OddAndDcRows {
  i16x8 odd, dc;
};
ZEL_INLINE OddAndDcRows allRows2(const int16_t* src, const uint16_t* table) {
#ifdef ZEL_VEC32
  // Even rows in the low half, odd rows in the high one; of the even rows only row 0 is used.
  const i16v all = fourRows2(rowSums2(src, table, 0), rowSums2(src, table, 1), rowSums2(src, table, 2),
                             rowSums2(src, table, 3), kDctReduced.round2);
  return {highHalf(all), lowHalf(all)};
#else
  const i32v row0 = rowSums2(src, table, 0);
  return {fourRows2(rowSums2(src, table, 1), rowSums2(src, table, 3), rowSums2(src, table, 5), rowSums2(src, table, 7),
                    kDctReduced.round2 + 4),
          fourRows2(row0, row0, row0, row0, kDctReduced.round2)};
#endif
}

ZEL_INLINE void dct_quant_inv8x8To2x2_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  const OddAndDcRows rows = allRows2(src, table);
  // Left in lane 0, right in lane 4; the others are not looked at.
  const auto next = [&](int n) { return as<i16x8>(as<Vec<uint64_t, 16>>(rows.odd) >> (16 * n)); };
  const i16x8 R0 = rows.dc;
  // The sum of all four samples of the odd part: cos(pi/4) times x + y and x - y are together twice that of x.
  const OddSums odd = oddSums(rows.odd, next(1), next(2), next(3));
  const i16x8 middle = timesCos4(odd.x);
  const i16x8 oddSum = addSat(addSat(odd.first, odd.last), addSat(middle, middle));
  const i16x8 evenSum = addSat(addSat(R0, R0), addSat(R0, R0));
  const u8x16 out = levelled(addSat(evenSum, oddSum) >> 7, subSat(evenSum, oddSum) >> 7);
  const uint32_t four = as<u32x4>(shuffle128(out, load<u8x16>(kDctRow.everyFourth))).v[0];
  const uint16_t upper = uint16_t(four), lower = uint16_t(four >> 16);
  __builtin_memcpy(dst, &upper, 2);
  __builtin_memcpy(rowAt(dst, dstStep, 1), &lower, 2);
}

}  // namespace

ZelStatus zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                   const uint16_t* pQuantInvTable) {
  return inverseToSamples<dct_quant_inv8x8To2x2_ls>(pSrc, pDst, dstStep, pQuantInvTable);
}

ZelStatus zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                   const uint16_t* pQuantInvTable) {
  return inverseToSamples<dct_quant_inv8x8To4x4_ls>(pSrc, pDst, dstStep, pQuantInvTable);
}

}  // namespace ZEL_VARIANT
