// The inverse DCT in 16-bit fixed point (ITU-T T.81, Annex A.3.3), full size and for blocks whose nonzero coefficients
// lie in the top-left corner: rows first, then columns. All give 8x8 samples; the corner forms equal the full one bit
// for bit on such blocks.
#pragma once

#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_butterflies.h"

namespace ZEL_VARIANT {
namespace {

// Rounders of the row pass. Row 0's adds 32 to every sum, which makes the final shift by 6 round to nearest; the others
// correct a small bias.
constexpr int32_t kRounders[8] = {32 << 11, 2901, 2260, 1704, 1024, 455, 512, 373};

constexpr RowLanes inverseRounders() {
  RowLanes t{};
  for (int row = 0; row < 8; ++row)
    for (int i = 0; i < 4; ++i) t.at[row / kRows][row % kRows * 4 + i] = kRounders[row];
  return t;
}
constexpr RowLanes kInverseRound = inverseRounders();

// Row-pass weights. Coefficients are taken in the pairs 02 46 13 57; with a the sums over even and b those over odd
// frequencies, multiply-adds of that vector and of 46 02 57 13 give a0 a1 b0 b1 and a2 a3 b2 b3.
constexpr RowWeights<4> inverseWeights() {
  RowWeights<4> t{};
  for (int row = 0; row < 8; ++row)
    for (int lane = 0; lane < 4; ++lane)
      for (int pair = 0; pair < 2; ++pair) {
        const int odd = lane / 2, n = lane % 2;
        const int k = odd + 4 * n + 2 * pair;  // lane 1 of each half holds the second pair, and gives sample 1
        const int at = row % kRows * 8 + 2 * lane + pair;
        int16_t(&w)[4][i16v::N] = t.at[row / kRows];
        w[0][at] = weight(row, k, n);
        w[1][at] = weight(row, k ^ 4, n);
        w[2][at] = weight(row, k, n + 2);
        w[3][at] = weight(row, k ^ 4, n + 2);
      }
  return t;
}
constexpr RowWeights<4> kInverse = inverseWeights();

// The same for rows in which only frequencies 0 to 3 count: the vector is 02 02 13 13.
constexpr RowWeights<2> inverseCornerWeights() {
  RowWeights<2> t{};
  for (int row = 0; row < 8; ++row)
    for (int lane = 0; lane < 4; ++lane)
      for (int pair = 0; pair < 2; ++pair) {
        const int k = lane / 2 + 2 * pair, n = lane % 2;
        const int at = row % kRows * 8 + 2 * lane + pair;
        t.at[row / kRows][0][at] = weight(row, k, n);
        t.at[row / kRows][1][at] = weight(row, k, n + 2);
      }
  return t;
}
constexpr RowWeights<2> kInverseCorner = inverseCornerWeights();

// Row samples from a0 a1 b0 b1 and a2 a3 b2 b3: sample n is a + b, its mirror 7 - n is a - b.
ZEL_INLINE i16v rowSamples(i32v left, i32v right, i32v round) {
  using Pairs = Vec<int64_t>;
  const i32v a = as<i32v>(unpackLow128(as<Pairs>(left), as<Pairs>(right))) + round;
  const i32v b = as<i32v>(unpackHigh128(as<Pairs>(left), as<Pairs>(right)));
  return packI16x128((a + b) >> 11, permute32x128<0x1B>((a - b) >> 11));
}

ZEL_INLINE i16v inverseRows(i16v x, const int16_t (&w)[4][i16v::N], i32v round) {
  const i16v v = shuffleBytes(x, kDctRow.pairs);  // 02 46 13 57
  const i16v u = permute32x128<0xB1>(v);          // 46 02 57 13
  return rowSamples(maddPairs(v, load<i16v>(w[0])) + maddPairs(u, load<i16v>(w[1])),
                    maddPairs(v, load<i16v>(w[2])) + maddPairs(u, load<i16v>(w[3])), round);
}

// kCorner (2 or 4): the first kCorner frequencies count, the others are not looked at.
template <int kCorner>
ZEL_INLINE i16v inverseCornerRows(i16v x, const int16_t (&w)[2][i16v::N], i32v round) {
  const u8x16 of4 = {{0, 1, 4, 5, 0, 1, 4, 5, 2, 3, 6, 7, 2, 3, 6, 7}};
  const u8x16 of2 = {{0, 1, 128, 128, 0, 1, 128, 128, 2, 3, 128, 128, 2, 3, 128, 128}};
  const i16v v = as<i16v>(shuffle128(as<u8v>(x), repeat128<u8v>(kCorner == 4 ? of4 : of2)));
  return rowSamples(maddPairs(v, load<i16v>(w[0])), maddPairs(v, load<i16v>(w[1])), round);
}

// Where the coefficients come from: block and table (low 16 bits of the products), or dequantised already.
struct Quantised {
  const int16_t* block;
  const uint16_t* table;
  ZEL_INLINE i16v vector(int i) const { return load<i16v>(block + i * i16v::N) * load<i16v>(table + i * i16v::N); }
};
struct Plain {
  const int16_t* block;
  ZEL_INLINE i16v vector(int i) const { return load<i16v>(block + i * i16v::N); }
};

// The first kCount rows after the row pass of the full inverse.
template <int kCount, class Source>
ZEL_INLINE BlockRows rowPass(Source src) {
  i16v v[kCount / kRows];
#pragma GCC unroll 8
  for (int i = 0; i < kCount / kRows; ++i)
    v[i] = inverseRows(src.vector(i), kInverse.at[i], load<i32v>(kInverseRound.at[i]));
  BlockRows R;
#pragma GCC unroll 8
  for (int r = 0; r < kCount; ++r) R.row[r] = rowOf(v, r);
  return R;
}

// The first kCorner rows after the row pass of a block that is zero outside its corner.
template <int kCorner>
ZEL_INLINE BlockRows cornerRowPass(Quantised src) {
  i16v v[kCorner / kRows];
#pragma GCC unroll 4
  for (int i = 0; i < kCorner / kRows; ++i)
    v[i] = inverseCornerRows<kCorner>(src.vector(i), kInverseCorner.at[i], load<i32v>(kInverseRound.at[i]));
  BlockRows R;
#pragma GCC unroll 4
  for (int r = 0; r < kCorner; ++r) R.row[r] = rowOf(v, r);
  return R;
}

// The column pass, where all rows count, and where rows from 4 or from 2 on come from zeros. Rows that do not count are
// not looked at; the row pass would make zeros of them, but of row 2, whose rounder makes it 1.
ZEL_INLINE BlockRows inverseColumns(const BlockRows& R) {
  const i16x8(&r)[8] = R.row;
  return samplesOf(evenPart(r[0], r[2], r[4], r[6]), oddPart(oddSums(r[1], r[3], r[5], r[7])));
}
ZEL_INLINE BlockRows inverseColumnsOf4(const BlockRows& R) {
  return samplesOf(evenPart(R.row[0], R.row[2]), oddPart(oddSums(R.row[1], R.row[3])));
}
ZEL_INLINE BlockRows inverseColumnsOf2(const BlockRows& R) {
  return samplesOf(evenPart(R.row[0]), oddPart(oddSums(R.row[1])));
}

// 8x8 samples, not level-shifted: of any block, of one whose rows 4 to 7 are zero, and of corners.
template <class Source>
ZEL_INLINE BlockRows dct_8x8_inv_16s(Source src) {
  return inverseColumns(rowPass<8>(src));
}
template <class Source>
ZEL_INLINE BlockRows inverseOfUpperHalf(Source src) {
  return inverseColumnsOf4(rowPass<4>(src));
}
ZEL_INLINE BlockRows dct_8x8_inv_4x4_16s(Quantised src) { return inverseColumnsOf4(cornerRowPass<4>(src)); }
ZEL_INLINE BlockRows dct_8x8_inv_2x2_16s(Quantised src) { return inverseColumnsOf2(cornerRowPass<2>(src)); }

// 8x8 samples to bytes: clamped to 0..255 by the pack, then to the bounds where they are narrower.
struct Clip {
  uint8_t lower, upper;
};

ZEL_INLINE void storeBlock(const BlockRows& shifted, uint8_t* dst, int dstStep, Clip clip) {
  const bool narrow = clip.lower != 0 || clip.upper != 255;
#pragma GCC unroll 4
  for (int r = 0; r < 8; r += 2) {
    u8x16 two = packU8(shifted.row[r], shifted.row[r + 1]);
    if (narrow) two = min(max(two, splat<u8x16>(clip.lower)), splat<u8x16>(clip.upper));
    storeLow8(rowAt(dst, dstStep, r), two);
    storeHigh8(rowAt(dst, dstStep, r + 1), two);
  }
}

// An exported inverse with samples as destination: its checks, then the kernel.
template <void (*kKernel)(const int16_t*, uint8_t*, int, const uint16_t*)>
ZEL_INLINE ZelStatus inverseToSamples(const int16_t* pSrc, uint8_t* pDst, int dstStep, const uint16_t* pQuantInvTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(dstStep), present(pQuantInvTable)))
    return s;
  kKernel(pSrc, pDst, dstStep, pQuantInvTable);
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
