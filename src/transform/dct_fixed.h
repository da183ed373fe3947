// The 8x8 DCT in 16-bit fixed point (ITU-T T.81, Annex A.3.3): constants, weight tables and the vector layouts that the
// forward and the inverse transform share.
//
// The column pass is a butterfly on whole rows, eight columns at a time (dct_butterflies.h). The row pass is a 4x4
// matrix product on sums and one on differences of mirrored samples, by pairwise multiply-add; its weights carry, per
// row, the factor S that the column butterfly leaves out. 16-bit additions and subtractions saturate (addSat, subSat);
// 32-bit row sums wrap.
#pragma once

#include "frame/vec.h"
#include "transform/cosines.h"
#include "variant.h"

namespace ZEL_VARIANT {

// Constants of the column passes, a vector each. They are defined in another source (dct_tables.cpp): the compiler,
// seeing their values, would build each from a general register in three instructions instead of reading it from
// memory.
struct alignas(16) DctConstants {
  int16_t tg_1_16[8];    // tan(pi/16) * 2^16
  int16_t tg_2_16[8];    // tan(2 pi/16) * 2^16
  int16_t tg_3_16[8];    // (tan(3 pi/16) - 1) * 2^16
  int16_t ocos_4_16[8];  // cos(pi/4) * 2^15
  int16_t one_corr[8];   // 1
  int16_t levelOf8[8];   // of the sum of a column, with 3 fraction bits
  // Factors of two bytes, which give their sum or their difference with 3 or with 4 fraction bits.
  int8_t sum3[16], difference3[16], difference4[16];
};
[[gnu::visibility("hidden")]] extern const DctConstants kDct;

// Constants that are used in the width of the build. Orders are byte indices for shuffle128.
struct alignas(32) DctRowConstants {
  int16_t cos_4_16[16];      // (cos(pi/4) - 1) * 2^16
  uint8_t topBits[32];       // 128
  uint8_t reverseFours[32];  // samples 3 2 1 0 7 6 5 4
  int16_t eight[16];         // half of what a shift by 4 takes away
  int16_t sixteenth[16];     // 2^11, for mulHiRound
  int16_t tie[16];           // 2^14
  uint8_t pairs[32];         // coefficients 02 46 13 57
  uint8_t mirrorPairs[32];   // samples 0 1 4 5 7 6 3 2 put right
  uint8_t oddThenDc[32];     // coefficients 13 57 0- --
  uint8_t everyFourth[32];   // bytes 0 4 8 12
};
[[gnu::visibility("hidden")]] extern const DctRowConstants kDctRow;

// How the rows of a block lie in vectors: kRows rows (1 or 2) in each of kVectors, in order.
constexpr int kRows = i16v::N / 8;
constexpr int kVectors = 8 / kRows;

// Row-pass weights of two vectors of rows, a and b, for each of the frequency pairs 0 4, 2 6, 1 5 and 3 7: first for
// the sums (or differences) of mirrored samples in order, 01 23, then for the exchanged ones, 23 01. Of a sum's four
// 32-bit lanes in 16 bytes two belong to a and two to b.
struct alignas(kVecBytes) PairWeights {
  int16_t at[kVectors / 2][4][2][i16v::N];
};
[[gnu::visibility("hidden")]] extern const PairWeights kDctForward;

// N vectors of 16-bit weights for each vector of rows.
template <int N>
struct alignas(kVecBytes) RowWeights {
  int16_t at[kVectors][N][i16v::N];
};
// One 32-bit constant a row, in all lanes of that row.
struct alignas(kVecBytes) RowLanes {
  int32_t at[kVectors][i32v::N];
};

// Weights and rounders of the inverse row pass; those of the corner are for rows in which only frequencies 0 to 3
// count.
[[gnu::visibility("hidden")]] extern const RowWeights<4> kDctInverse;
[[gnu::visibility("hidden")]] extern const RowWeights<2> kDctInverseCorner;
[[gnu::visibility("hidden")]] extern const RowLanes kDctInverseRound;

// Weights and rounders of the row passes to four and to two samples.
struct ReducedTables {
  RowWeights<2> to4;
  RowWeights<1> to2;
  alignas(
      kVecBytes) int32_t round4[2][4 / kRows][i32v::N];  // of the upper and of the lower four rows, as twoRows4 orders
  alignas(32) int32_t round2[8];                         // rows 0 - - - 1 3 5 7
};
[[gnu::visibility("hidden")]] extern const ReducedTables kDctReduced;

namespace {

// S of a row, and the scale of frequency k: 2^14 * S * sqrt(2) * C(k), C(0) = 1 / sqrt(2).
constexpr double rowFactor(int row) {
  constexpr int angle[8] = {0, 1, 2, 3, 0, 3, 2, 1};  // rows 0 4, 1 7, 2 6 and 3 5 share their weights
  return angle[row] == 0 ? 1.0 : kSqrt2 * cosSixteenth(angle[row]);
}
constexpr double frequencyScale(int row, int k) { return 16384.0 * rowFactor(row) * (k == 0 ? 1.0 : kSqrt2); }

// Weight of frequency k and sample j (0..3; the other four follow by symmetry) in a row of the full-size transform.
constexpr int16_t weight(int row, int k, int j) {
  return toInt16(frequencyScale(row, k) * cosSixteenth((2 * j + 1) * k));
}

static_assert(weight(0, 0, 3) == 16384 && weight(4, 1, 1) == 19266 && weight(0, 7, 3) == -22725);
static_assert(weight(1, 1, 0) == 31521 && weight(7, 0, 0) == 22725 && weight(2, 1, 3) == 5906 &&
              weight(5, 1, 2) == 15137);

struct BlockRows {
  i16x8 row[8];
};
struct BlockVectors {
  i16v at[kVectors];
};

ZEL_INLINE BlockVectors toVectors(const BlockRows& b) {
  BlockVectors v;
#ifdef ZEL_VEC32
#pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) v.at[i] = join(b.row[2 * i], b.row[2 * i + 1]);
#else
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) v.at[i] = b.row[i];
#endif
  return v;
}

// The 16 bytes at index r of consecutive vectors.
template <class V>
ZEL_INLINE auto rowOf(const V* v, int r) {
#ifdef ZEL_VEC32
  return r % 2 == 0 ? lowHalf(v[r / 2]) : highHalf(v[r / 2]);
#else
  return v[r];
#endif
}

// Whether rows 4 to 7 are zero, as they are in most blocks of photographs at usual qualities.
ZEL_INLINE bool lowerHalfIsZero(const int16_t* block) {
  i16v any = load<i16v>(block + 32);
#pragma GCC unroll 4
  for (int i = kVectors / 2 + 1; i < kVectors; ++i) any = any | load<i16v>(block + i * i16v::N);
  return isZero(any);
}

ZEL_INLINE i16v shuffleBytes(i16v a, const uint8_t (&order)[32]) {
  return as<i16v>(shuffle128(as<u8v>(a), load<u8v>(order)));
}

}  // namespace
}  // namespace ZEL_VARIANT
