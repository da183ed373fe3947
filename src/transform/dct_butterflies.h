// The butterflies of the fixed-point column passes, eight columns at once.
//
// An 8-point DCT divides into an even part, of frequencies 0, 2, 4 and 6, and an odd part, of 1, 3, 5 and 7: sample n
// is the sum of what the two give, and sample 7 - n their difference, for n from 0 to 3. Both parts turn pairs of
// values by multiples of pi/16. A turn by t is (x, y) -> (x + y tan t, y - x tan t), longer by 1 / cos t than a
// rotation: those cosines are in the weights of the row pass. Only the turn by pi/4 has its cosine here, since it meets
// the values in the middle of the odd part.
//
// Every addition saturates, and saturation is not symmetric: x - y may be -32768 where y - x is 32767. So the order of
// the operands, and which results stand with their sign reversed, belong to the result.
#pragma once

#include "transform/dct_fixed.h"

namespace ZEL_VARIANT {
namespace {

ZEL_INLINE i16x8 times(i16x8 a, const int16_t (&c)[8]) { return mulHi(a, load<i16x8>(c)); }

ZEL_INLINE i16x8 timesTan1(i16x8 x) { return times(x, kDct.tg_1_16); }
ZEL_INLINE i16x8 timesTan2(i16x8 x) { return times(x, kDct.tg_2_16); }
// The high half of a product with a signed factor is at most half of x; these two factors are above 1/2, and are kept
// as their distance from 1.
ZEL_INLINE i16x8 timesTan3(i16x8 x) { return addSat(times(x, kDct.tg_3_16), x); }
template <int B>
ZEL_INLINE Vec<int16_t, B> timesCos4(Vec<int16_t, B> x) {
  return addSat(mulHi(x, load<Vec<int16_t, B>>(kDctRow.cos_4_16)), x);
}

// A turned pair. By pi/16 and 2 pi/16 the second value has its sign reversed.
struct Turned {
  i16x8 x, y;
};
ZEL_INLINE Turned turned1(i16x8 x, i16x8 y) { return {addSat(timesTan1(y), x), subSat(timesTan1(x), y)}; }
ZEL_INLINE Turned turned2(i16x8 x, i16x8 y) { return {addSat(timesTan2(y), x), subSat(timesTan2(x), y)}; }
ZEL_INLINE Turned turned3(i16x8 x, i16x8 y) {
  const i16x8 second = subSat(y, timesTan3(x));
  return {addSat(timesTan3(y), x), second};
}

// ---- Inverse: from the rows R0 to R7 of the row pass ----------------------------------------------------------------

// What a part gives to the samples of kSampleOrder, kRows of them in each vector.
struct Part {
  i16v of[4 / kRows];
};
constexpr int kSampleOrder[4] = {0, 3, 1, 2};

ZEL_INLINE Part partOf(i16x8 n0, i16x8 n1, i16x8 n2, i16x8 n3) {
#ifdef ZEL_VEC32
  return {{join(n0, n3), join(n1, n2)}};
#else
  return {{n0, n3, n1, n2}};
#endif
}

ZEL_INLINE Part evenPart(i16x8 R0, i16x8 R2, i16x8 R4, i16x8 R6) {
  const Turned t = turned2(R2, R6);
  const i16x8 sum = addSat(R4, R0), difference = subSat(R0, R4);
  return partOf(addSat(sum, t.x), addSat(difference, t.y), subSat(difference, t.y), subSat(sum, t.x));
}
// R4 and R6 are zero.
ZEL_INLINE Part evenPart(i16x8 R0, i16x8 R2) {
  const i16x8 y = timesTan2(R2);
  return partOf(addSat(R2, R0), addSat(y, R0), subSat(R0, y), subSat(R0, R2));
}
// R2 is 1, which the row pass makes of a row of zeros by that row's rounder; R4 and R6 are zero.
ZEL_INLINE Part evenPart(i16x8 R0) {
  const i16x8 R2 = load<i16x8>(kDct.one_corr);
  return partOf(addSat(R0, R2), R0, R0, subSat(R0, R2));
}

// The odd part before its turn by pi/4: first and last are what samples 0 and 3 get, x and y the pair to be turned.
struct OddSums {
  i16x8 first, x, y, last;
};
ZEL_INLINE OddSums oddSums(i16x8 R1, i16x8 R3, i16x8 R5, i16x8 R7) {
  const Turned t3 = turned3(R3, R5), t1 = turned1(R1, R7);
  return {addSat(t3.x, t1.x), subSat(t1.x, t3.x), subSat(t1.y, t3.y), addSat(t1.y, t3.y)};
}
// R5 and R7 are zero.
ZEL_INLINE OddSums oddSums(i16x8 R1, i16x8 R3) {
  const i16x8 y3 = timesTan3(R3), y1 = timesTan1(R1);
  return {addSat(R1, R3), subSat(R1, R3), addSat(y1, y3), subSat(y1, y3)};
}
// So is R3.
ZEL_INLINE OddSums oddSums(i16x8 R1) {
  const i16x8 y = timesTan1(R1);
  return {R1, R1, y, y};
}

ZEL_INLINE Part oddPart(OddSums s) {
  Part p = partOf(s.first, addSat(s.x, s.y), subSat(s.x, s.y), s.last);
#pragma GCC unroll 2
  for (int i = 2 / kRows; i < 4 / kRows; ++i) p.of[i] = timesCos4(p.of[i]);
  return p;
}

// The samples of the columns: n of kSampleOrder, and 7 - n.
struct BlockSamples {
  i16v n[4 / kRows], mirrored[4 / kRows];
};
// They lose the 6 fraction bits that they have left.
ZEL_INLINE BlockSamples samplesOf(const Part& even, const Part& odd) {
  BlockSamples b;
#pragma GCC unroll 4
  for (int i = 0; i < 4 / kRows; ++i) {
    b.n[i] = addSat(even.of[i], odd.of[i]) >> 6;
    b.mirrored[i] = subSat(even.of[i], odd.of[i]) >> 6;
  }
  return b;
}

// ---- Forward --------------------------------------------------------------------------------------------------------

// The columns folded in the middle: differences of mirrored samples, and sums and differences of mirrored sums. All
// have 3 fraction bits, the middle differences 4.
struct FoldedColumns {
  i16x8 sum03, sum12, difference03, difference12;
  i16x8 d0, d1, d2, d3;
};

ZEL_INLINE FoldedColumns foldedColumns(const BlockRows& x) {
  i16x8 s[4], d[4];
#pragma GCC unroll 4
  for (int n = 0; n < 4; ++n) {
    s[n] = addSat(x.row[n], x.row[7 - n]);
    d[n] = subSat(x.row[n], x.row[7 - n]);
  }
  const i16x8 s1 = s[1] << 3, s2 = s[2] << 3;
  return {addSat(s[0], s[3]) << 3,
          addSat(s1, s2),
          subSat(s[0], s[3]) << 3,
          subSat(s1, s2),
          d[0] << 3,
          d[1] << 4,
          d[2] << 4,
          d[3] << 3};
}

// The same of bytes, not centred, that come as rows n and 7 - n by turns. Nothing saturates.
ZEL_INLINE FoldedColumns foldedColumns(const u8x16 (&mirrored)[4]) {
  const auto times = [&](int n, const int8_t(&c)[16]) { return maddBytes(mirrored[n], load<i8x16>(c)); };
  const i16x8 s0 = times(0, kDct.sum3), s1 = times(1, kDct.sum3), s2 = times(2, kDct.sum3), s3 = times(3, kDct.sum3);
  return {s0 + s3,
          s1 + s2,
          s0 - s3,
          s1 - s2,
          times(0, kDct.difference3),
          times(1, kDct.difference4),
          times(2, kDct.difference4),
          times(3, kDct.difference3)};
}

// The frequencies F0 to F7, with 3 fraction bits. A high half of a product is rounded down; where the result has its
// lowest bit set (one_corr), that bias is halved.
ZEL_INLINE BlockRows forwardColumns(const FoldedColumns& x) {
  const i16x8 one = load<i16x8>(kDct.one_corr);
  BlockRows F;

  F.row[0] = addSat(x.sum03, x.sum12);
  F.row[4] = subSat(x.sum03, x.sum12);
  const Turned t2 = turned2(x.difference03, x.difference12);
  F.row[2] = t2.x | one;
  F.row[6] = t2.y | one;

  // cos(pi/4) of the middle pair; a factor of 2^15 on 4 fraction bits leaves 3.
  const i16x8 x4 = times(addSat(x.d1, x.d2), kDct.ocos_4_16) | one;
  const i16x8 y4 = times(subSat(x.d1, x.d2), kDct.ocos_4_16);
  const i16x8 sum3 = addSat(x.d3, y4), difference3 = subSat(x.d3, y4);
  const i16x8 sum0 = addSat(x.d0, x4), difference0 = subSat(x.d0, x4);
  const Turned t1 = turned1(sum0, sum3);
  F.row[1] = t1.x | one;
  F.row[7] = t1.y;
  const Turned t3 = turned3(difference3, difference0);
  F.row[3] = t3.y;
  F.row[5] = t3.x;
  return F;
}

}  // namespace
}  // namespace ZEL_VARIANT
