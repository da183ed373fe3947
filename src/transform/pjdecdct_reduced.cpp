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

// Twice those of the full size, as the shift is by 12 here and was by 11. Row 0's adds 16 to each of its sums, which
// the column pass doubles to 32 (half of what the shift by 6 takes away), and a quarter.
constexpr int32_t kRounders4[8] = {
    (16 << 12) + 1024,   2 * kDctRounders[1], 2 * kDctRounders[2], 2 * kDctRounders[3], 0,
    2 * kDctRounders[5], 2 * kDctRounders[6], 2 * kDctRounders[7]};

constexpr int16_t weight4(int row, int k, int n) {
  return k == 4 || row == 4 ? int16_t(0)
                            : toInt16(frequencyScale(row, k) * cosSixteenth((2 * n + 1) * 2 * k) * cosSixteenth(k));
}
static_assert(weight4(0, 1, 0) == 20995 && weight4(0, 6, 0) == -6270 && weight4(0, 7, 0) == -4176);
static_assert(weight4(1, 1, 1) == 12063 && weight4(0, 4, 0) == 0);

// With a row's pairs 02 46 13 57 and their exchange 46 02 57 13: even sums of outputs 0 and 1, then odd sums of both.
constexpr RowWeights<2> weights4() {
  RowWeights<2> t{};
  for (int row = 0; row < 8; ++row)
    for (int lane = 0; lane < 4; ++lane)
      for (int pair = 0; pair < 2; ++pair) {
        const int n = lane % 2, k = lane / 2 + 4 * n + 2 * pair;
        const int at = row % kRows * 8 + 2 * lane + pair;
        t.at[row / kRows][0][at] = weight4(row, k, n);
        t.at[row / kRows][1][at] = weight4(row, k ^ 4, n);
      }
  return t;
}
constexpr RowWeights<2> kWeights4 = weights4();

// Rounders of two rows (or, at 32 bytes, of two pairs of rows) that are finished together, as twoRows4 orders them.
struct alignas(kVecBytes) FourRounders {
  int32_t at[4 / kRows][i32v::N];
};
constexpr FourRounders rounders4(int first) {
  FourRounders t{};
  for (int row = 0; row < 4; ++row) {
    const int vector = kRows == 2 ? 0 : row % 2, half = kRows == 2 ? row % 2 : 0;
    for (int i = 0; i < 2; ++i) t.at[vector][4 * half + 2 * (row / 2) + i] = kRounders4[first + row];
  }
  return t;
}
constexpr FourRounders kUpperRounders4 = rounders4(0);
constexpr FourRounders kLowerRounders4 = rounders4(4);

// even0 even1 odd0 odd1 of a row
ZEL_INLINE i32v rowSums4(const int16_t* src, const uint16_t* table, int i) {
  const i16v v = dequantised(src, table, i, kDctRow.pairs);
  const i16v u = permute32x128<0xB1>(v);
  return maddPairs(v, load<i16v>(kWeights4.at[i][0])) + maddPairs(u, load<i16v>(kWeights4.at[i][1]));
}

// Outputs 0..3 of the rows of x, then of y: output n is even + odd, its mirror 3 - n is even - odd.
ZEL_INLINE i16v twoRows4(i32v x, i32v y, const int32_t (&round)[i32v::N]) {
  using Halves = Vec<int64_t>;
  const i32v even = as<i32v>(unpackLow128(as<Halves>(x), as<Halves>(y))) + load<i32v>(round);
  const i32v odd = as<i32v>(unpackHigh128(as<Halves>(x), as<Halves>(y)));
  return shuffleBytes(packI16x128((even + odd) >> 12, (even - odd) >> 12), kDctRow.mirrorPairs);
}

// Rows 0 and 2, and rows 1 and 3, of four: each in a half of a vector.
struct FourRows {
  i16x8 rows02, rows13;
};
ZEL_INLINE FourRows fourRows4(const int16_t* src, const uint16_t* table, int first, const FourRounders& round) {
#ifdef __AVX2__
  const i16v all = twoRows4(rowSums4(src, table, first / 2), rowSums4(src, table, first / 2 + 1), round.at[0]);
  return {lowHalf(all), highHalf(all)};
#else
  return {twoRows4(rowSums4(src, table, first), rowSums4(src, table, first + 2), round.at[0]),
          twoRows4(rowSums4(src, table, first + 1), rowSums4(src, table, first + 3), round.at[1])};
#endif
}

// The four outputs of a row stand in the low half of a vector; the high half is not looked at.
ZEL_INLINE i16x8 upperRow(i16x8 two) { return permute32x128<0xEE>(two); }

ZEL_INLINE void storeRow4(uint8_t* dst, int dstStep, int row, int32_t four) {
  __builtin_memcpy(rowAt(dst, dstStep, row), &four, sizeof four);
}

ZEL_INLINE void dct_quant_inv8x8To4x4_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  const FourRows upper = fourRows4(src, table, 0, kUpperRounders4);
  FourRows lower = {zero<i16x8>(), zero<i16x8>()};  // what the row pass gives for rows of zeros
  if (!lowerHalfIsZero(src)) lower = fourRows4(src, table, 4, kLowerRounders4);
  const i16x8 R0 = upper.rows02, R2 = upperRow(upper.rows02), R6 = upperRow(lower.rows02);

  // Sums of samples 0 and 1, and of 2 and 3, of the even part (R4 has no weight) and of the odd one.
  const Turned t2 = turned2(R2, R6);
  const i16x8 twiceR0 = addSat(R0, R0), sum = addSat(t2.y, t2.x);
  const i16x8 even01 = addSat(sum, twiceR0), even23 = subSat(twiceR0, sum);
  const Part odd = oddPart(oddSums(upper.rows13, upperRow(upper.rows13), lower.rows13, upperRow(lower.rows13)));
#ifdef __AVX2__
  const i16v odd0123 = addSat(odd.of[0], odd.of[1]);
  const i16x8 odd01 = lowHalf(odd0123), odd23 = highHalf(odd0123);
#else
  const i16x8 odd01 = addSat(odd.of[0], odd.of[2]), odd23 = addSat(odd.of[1], odd.of[3]);
#endif

  using Halves = Vec<int64_t, 16>;
  const auto twoRows = [](i16x8 first, i16x8 second) {
    const i16x8 both = as<i16x8>(unpackLow128(as<Halves>(first), as<Halves>(second)));
    return addSat(both >> 6, load<i16x8>(kDct.level));
  };
  const i32x4 out = as<i32x4>(packU8(twoRows(addSat(odd01, even01), addSat(odd23, even23)),
                                     twoRows(subSat(even23, odd23), subSat(even01, odd01))));
#pragma GCC unroll 4
  for (int row = 0; row < 4; ++row) storeRow4(dst, dstStep, row, out.v[row]);
}

// ---- 2x2 ------------------------------------------------------------------------------------------------------------

// As above; the column pass takes row 0 four times and shifts by 7, and three eighths are added.
constexpr int32_t kRounders2[8] = {
    (16 << 12) + 1536, 2 * kDctRounders[1], 0, 2 * kDctRounders[3], 0, 2 * kDctRounders[5], 0, 2 * kDctRounders[7]};

constexpr int16_t weight2(int row, int k) {
  if (k == 2 || k == 4 || k == 6) return 0;
  double mean = 0;
  for (int j = 0; j < 4; ++j) mean += cosSixteenth((2 * j + 1) * k) / 4;
  return toInt16(frequencyScale(row, k) * mean);
}
static_assert(weight2(0, 1) == 14846 && weight2(0, 3) == -5213 && weight2(0, 7) == -2953);
static_assert(weight2(1, 5) == 4832 && weight2(7, 0) == 22725 && weight2(3, 1) == 17457 && weight2(5, 7) == -3472);

// A row's coefficients stand in the order 1 3 5 7 0 (and three zeros).
constexpr RowWeights<1> weights2() {
  RowWeights<1> t{};
  constexpr int order[5] = {1, 3, 5, 7, 0};
  for (int row = 0; row < 8; ++row)
    for (int i = 0; i < 5; ++i) t.at[row / kRows][0][row % kRows * 8 + i] = weight2(row, order[i]);
  return t;
}
constexpr RowWeights<1> kWeights2 = weights2();

// odd odd even 0: partial sums of a row over the odd frequencies, and its DC term
ZEL_INLINE i32v rowSums2(const int16_t* src, const uint16_t* table, int i) {
  return maddPairs(dequantised(src, table, i, kDctRow.oddThenDc), load<i16v>(kWeights2.at[i][0]));
}

// From the partial sums of four rows their left outputs, then their right ones: even + odd and even - odd.
ZEL_INLINE i16v fourRows2(i32v a, i32v b, i32v c, i32v d, const int32_t (&round)[8]) {
  const i32v ab = addNeighbours(a, b), cd = addNeighbours(c, d);  // odd even of a, of b; of c, of d
  const i32v odd = evenLanes32x128(ab, cd), even = oddLanes32x128(ab, cd) + load<i32v>(round);
  return packI16x128((even + odd) >> 12, (even - odd) >> 12);
}

// The left outputs of rows 1 3 5 7, then their right ones; and of row 0 in the first lane of each half.
struct OddAndDcRows {
  i16x8 odd, dc;
};
ZEL_INLINE OddAndDcRows allRows2(const int16_t* src, const uint16_t* table) {
#ifdef __AVX2__
  // Even rows in the low half, odd rows in the high one; of the even rows only row 0 is used.
  alignas(32) constexpr int32_t round[8] = {kRounders2[0], 0, 0, 0, kRounders2[1], kRounders2[3], kRounders2[5],
                                            kRounders2[7]};
  const i16v all = fourRows2(rowSums2(src, table, 0), rowSums2(src, table, 1), rowSums2(src, table, 2),
                             rowSums2(src, table, 3), round);
  return {highHalf(all), lowHalf(all)};
#else
  alignas(16) constexpr int32_t roundOdd[8] = {kRounders2[1], kRounders2[3], kRounders2[5], kRounders2[7]};
  alignas(16) constexpr int32_t roundDc[8] = {kRounders2[0]};
  const i32v row0 = rowSums2(src, table, 0);
  return {fourRows2(rowSums2(src, table, 1), rowSums2(src, table, 3), rowSums2(src, table, 5), rowSums2(src, table, 7),
                    roundOdd),
          fourRows2(row0, row0, row0, row0, roundDc)};
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
  const i16x8 level = load<i16x8>(kDct.level);
  const u8x16 out = packU8(addSat(addSat(evenSum, oddSum) >> 7, level), addSat(subSat(evenSum, oddSum) >> 7, level));
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
