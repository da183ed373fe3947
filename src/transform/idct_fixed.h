// The inverse DCT in 16-bit fixed point (ITU-T T.81, Annex A.3.3), full size and for blocks whose nonzero coefficients
// lie in the top-left corner: rows first, then columns. All give 8x8 samples; the corner forms equal the full one bit
// for bit on such blocks.
#pragma once

#include "frame/rows.h"
#include "transform/dct_fixed.h"

namespace ZEL_VARIANT {
namespace {

// Rounders of the row pass. Row 0's adds 32 to every sum, which makes the final shift by 6 round to nearest; the others
// correct a small bias.
constexpr int32_t kInverseRounders[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};
constexpr RowLanes<kVectors> kInverseRound = rowLanes<kVectors>(kInverseRounders);

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

// x + x * (cos(pi/4) - 1)
ZEL_INLINE i16x8 timesCos4(i16x8 x) { return addSat(mulHi(x, kDct.cos_4_16), x); }

// Eight columns at once.
ZEL_INLINE BlockRows inverseColumns(const BlockRows& R) {
  const i16x8 a = addSat(addSat(mulHi(R.row[5], kDct.tg_3_16), R.row[5]), R.row[3]);
  const i16x8 b = subSat(R.row[5], addSat(mulHi(R.row[3], kDct.tg_3_16), R.row[3]));
  const i16x8 c = subSat(mulHi(R.row[1], kDct.tg_1_16), R.row[7]);
  const i16x8 d = addSat(mulHi(R.row[7], kDct.tg_1_16), R.row[1]);
  const i16x8 e = addSat(a, d), f = subSat(d, a);
  const i16x8 i = subSat(c, b), j = addSat(c, b);
  const i16x8 m = timesCos4(addSat(f, i)), p = timesCos4(subSat(f, i));

  const i16x8 g = addSat(mulHi(R.row[6], kDct.tg_2_16), R.row[2]);
  const i16x8 h = subSat(mulHi(R.row[2], kDct.tg_2_16), R.row[6]);
  const i16x8 n = addSat(R.row[4], R.row[0]), o = subSat(R.row[0], R.row[4]);
  const i16x8 q = addSat(n, g), r = subSat(n, g), s = addSat(o, h), t = subSat(o, h);
  return {{addSat(q, e) >> 6, addSat(s, m) >> 6, addSat(t, p) >> 6, addSat(r, j) >> 6, subSat(r, j) >> 6,
           subSat(t, p) >> 6, subSat(s, m) >> 6, subSat(q, e) >> 6}};
}

// Rows 4 to 7 are zero after the row pass.
ZEL_INLINE BlockRows inverseColumns4(const i16x8 (&R)[4]) {
  const i16x8 a = addSat(mulHi(R[3], kDct.tg_3_16), R[3]);
  const i16x8 s1 = mulHi(R[1], kDct.tg_1_16), g = mulHi(R[2], kDct.tg_2_16);
  const i16x8 w = subSat(R[1], R[3]), sum = addSat(s1, a);
  const i16x8 M = timesCos4(addSat(w, sum)), P = timesCos4(subSat(w, sum));
  const i16x8 even0 = addSat(R[2], R[0]), odd0 = addSat(R[1], R[3]);
  const i16x8 even1 = addSat(g, R[0]), even2 = subSat(R[0], g);
  const i16x8 even3 = subSat(R[0], R[2]), odd3 = subSat(s1, a);
  return {{addSat(even0, odd0) >> 6, addSat(even1, M) >> 6, addSat(even2, P) >> 6, addSat(even3, odd3) >> 6,
           subSat(even3, odd3) >> 6, subSat(even2, P) >> 6, subSat(even1, M) >> 6, subSat(even0, odd0) >> 6}};
}

// Only rows 0 and 1 vary; row 2 is 1 after the row pass (its rounder), the others zero.
ZEL_INLINE BlockRows inverseColumns2(i16x8 R0, i16x8 R1) {
  const i16x8 one = load<i16x8>(kDct.one);
  const i16x8 t = mulHi(R1, kDct.tg_1_16);
  const i16x8 u = timesCos4(subSat(R1, t)), v = timesCos4(addSat(t, R1));
  const i16x8 up = addSat(R0, one), down = subSat(R0, one);
  return {{addSat(R1, up) >> 6, addSat(v, R0) >> 6, addSat(u, R0) >> 6, addSat(t, down) >> 6, subSat(down, t) >> 6,
           subSat(R0, u) >> 6, subSat(R0, v) >> 6, subSat(up, R1) >> 6}};
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

// Where only rows 0 to 3 are not zero; all columns count.
template <class Source>
ZEL_INLINE BlockRows inverseOfUpperHalf(Source src) {
  i16v v[kVectors / 2];
#pragma GCC unroll 4
  for (int i = 0; i < kVectors / 2; ++i)
    v[i] = inverseRows(src.vector(i), kInverse.at[i], load<i32v>(kInverseRound.at[i]));
  return inverseColumns4({rowOf(v, 0), rowOf(v, 1), rowOf(v, 2), rowOf(v, 3)});
}

// 8x8 samples, not level-shifted.
template <class Source>
ZEL_INLINE BlockRows dct_8x8_inv_16s(Source src) {
  i16v v[kVectors];
#pragma GCC unroll 8
  for (int i = 0; i < kVectors; ++i) v[i] = inverseRows(src.vector(i), kInverse.at[i], load<i32v>(kInverseRound.at[i]));
  BlockRows R;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) R.row[r] = rowOf(v, r);
  return inverseColumns(R);
}

ZEL_INLINE BlockRows dct_8x8_inv_4x4_16s(Quantised src) {
  i16v v[4 / kRows];
#pragma GCC unroll 4
  for (int i = 0; i < 4 / kRows; ++i)
    v[i] = inverseCornerRows<4>(src.vector(i), kInverseCorner.at[i], load<i32v>(kInverseRound.at[i]));
  return inverseColumns4({rowOf(v, 0), rowOf(v, 1), rowOf(v, 2), rowOf(v, 3)});
}

ZEL_INLINE BlockRows dct_8x8_inv_2x2_16s(Quantised src) {
  i16v v[2 / kRows];
#pragma GCC unroll 2
  for (int i = 0; i < 2 / kRows; ++i)
    v[i] = inverseCornerRows<2>(src.vector(i), kInverseCorner.at[i], load<i32v>(kInverseRound.at[i]));
  return inverseColumns2(rowOf(v, 0), rowOf(v, 1));
}

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

}  // namespace
}  // namespace ZEL_VARIANT
