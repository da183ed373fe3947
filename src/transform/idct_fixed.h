// The inverse DCT in 16-bit fixed point (ITU-T T.81, Annex A.3.3), full size and for blocks whose nonzero coefficients
// lie in the top-left corner: rows first, then columns. All give 8x8 samples; the corner forms equal the full one bit
// for bit on such blocks.
#pragma once

#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_butterflies.h"

namespace ZEL_VARIANT {
namespace {

// Row samples from a0 a1 b0 b1 and a2 a3 b2 b3: sample n is a + b, its mirror 7 - n is a - b.
ZEL_INLINE i16v rowSamples(i32v left, i32v right, i32v round) {
  using Pairs = Vec<int64_t>;
  const i32v a = as<i32v>(unpackLow128(as<Pairs>(left), as<Pairs>(right))) + round;
  const i32v b = as<i32v>(unpackHigh128(as<Pairs>(left), as<Pairs>(right)));
  return packI16x128<11>(a + b, permute32x128<0x1B>(a - b));
}

ZEL_INLINE i16v inverseRows(i16v x, const int16_t (&w)[4][i16v::N], i32v round) {
  const i16v v = shuffleBytes(x, kDctRow.pairs);  // 02 46 13 57
  const i16v u = permute32x128<0xB1>(v);          // 46 02 57 13
  return rowSamples(maddPairs(v, load<i16v>(w[0]), u, load<i16v>(w[1])),
                    maddPairs(v, load<i16v>(w[2]), u, load<i16v>(w[3])), round);
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
    v[i] = inverseRows(src.vector(i), kDctInverse.at[i], load<i32v>(kDctInverseRound.at[i]));
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
    v[i] = inverseCornerRows<kCorner>(src.vector(i), kDctInverseCorner.at[i], load<i32v>(kDctInverseRound.at[i]));
  BlockRows R;
#pragma GCC unroll 4
  for (int r = 0; r < kCorner; ++r) R.row[r] = rowOf(v, r);
  return R;
}

// The column pass, where all rows count, and where rows from 4 or from 2 on come from zeros. Rows that do not count are
// not looked at; the row pass would make zeros of them, but of row 2, whose rounder makes it 1.
ZEL_INLINE BlockSamples inverseColumns(const BlockRows& R) {
  const i16x8(&r)[8] = R.row;
  return samplesOf(evenPart(r[0], r[2], r[4], r[6]), oddPart(oddSums(r[1], r[3], r[5], r[7])));
}
ZEL_INLINE BlockSamples inverseColumnsOf4(const BlockRows& R) {
  return samplesOf(evenPart(R.row[0], R.row[2]), oddPart(oddSums(R.row[1], R.row[3])));
}
ZEL_INLINE BlockSamples inverseColumnsOf2(const BlockRows& R) {
  return samplesOf(evenPart(R.row[0]), oddPart(oddSums(R.row[1])));
}

// 8x8 samples, not level-shifted: of any block, of one whose rows 4 to 7 are zero, and of corners.
template <class Source>
ZEL_INLINE BlockSamples dct_8x8_inv_16s(Source src) {
  return inverseColumns(rowPass<8>(src));
}
template <class Source>
ZEL_INLINE BlockSamples inverseOfUpperHalf(Source src) {
  return inverseColumnsOf4(rowPass<4>(src));
}
ZEL_INLINE BlockSamples dct_8x8_inv_4x4_16s(Quantised src) { return inverseColumnsOf4(cornerRowPass<4>(src)); }
ZEL_INLINE BlockSamples dct_8x8_inv_2x2_16s(Quantised src) { return inverseColumnsOf2(cornerRowPass<2>(src)); }

// 8x8 samples to bytes: of two vectors at a time, as toBytes packs them in each 128-bit half.
template <class ToBytes>
ZEL_INLINE void storeBlock(const BlockSamples& b, uint8_t* dst, int dstStep, ToBytes toBytes) {
  uint8_t* lowerRows = rowAt(dst, dstStep, 4);
#pragma GCC unroll 2
  for (int i = 0; i < 4 / kRows; i += 2) {
    const u8v upper = toBytes(b.n[i], b.n[i + 1]), lower = toBytes(b.mirrored[i], b.mirrored[i + 1]);
#pragma GCC unroll 2
    for (int k = 0; k < kRows; ++k) {
      const int low = kSampleOrder[i * kRows + k], high = kSampleOrder[(i + 1) * kRows + k];
      storeLow8(rowAt(dst, dstStep, low), rowOf(&upper, k));
      storeHigh8(rowAt(dst, dstStep, high), rowOf(&upper, k));
      storeLow8(rowAt(lowerRows, dstStep, 3 - low), rowOf(&lower, k));
      storeHigh8(rowAt(lowerRows, dstStep, 3 - high), rowOf(&lower, k));
    }
  }
}

// Level 128, and clamped to 0..255: clamped to -128..127, and then the top bit turned over.
template <int B>
ZEL_INLINE Vec<uint8_t, B> levelled(Vec<int16_t, B> a, Vec<int16_t, B> b) {
  using Bytes = Vec<uint8_t, B>;
  return as<Bytes>(packI8x128(a, b)) ^ load<Bytes>(kDctRow.topBits);
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
