// The 8x8 DCT in 16-bit fixed point (ITU-T T.81, Annex A.3.3): constants, weight tables and the vector layouts that the
// forward and the inverse transform share.
//
// The column pass is a butterfly on whole rows, eight columns at a time. The row pass is a 4x4 matrix product on sums
// and one on differences of mirrored samples, by pairwise multiply-add; its weights carry, per row, the factor S that
// the column butterfly leaves out. 16-bit additions and subtractions saturate (addSat, subSat); 32-bit row sums wrap.
#pragma once

#include "frame/checks.h"
#include "frame/vec.h"
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
  int16_t cos_4_16[8];   // (cos(pi/4) - 1) * 2^16
  int16_t one[8];
  int16_t level[8];  // 128
};
[[gnu::visibility("hidden")]] extern const DctConstants kDct;

// Constants of the row pass and of quantisation, in the width of the build.
struct alignas(32) DctRowConstants {
  uint8_t reverse[32];       // byte order: eight 16-bit samples mirrored
  int32_t round_frw_row[8];  // 2^19
  uint16_t tieBias[16];      // 2^14 - 2
  uint8_t pairs[32];         // byte order: coefficients 02 46 13 57
  uint8_t mirrorPairs[32];   // byte order: samples 0 1 4 5 7 6 3 2 put right
  uint8_t oddThenDc[32];     // byte order: coefficients 13 57 0- --
  uint8_t everyFourth[32];   // byte order: bytes 0 4 8 12
};
[[gnu::visibility("hidden")]] extern const DctRowConstants kDctRow;

namespace {

constexpr double kSqrt2 = 1.41421356237309504880;

// cos(n pi/16)
constexpr double cosSixteenth(int n) {
  constexpr double quarter[9] = {1.0,
                                 0.98078528040323044913,
                                 0.92387953251128675613,
                                 0.83146961230254523708,
                                 0.70710678118654752440,
                                 0.55557023301960222474,
                                 0.38268343236508977173,
                                 0.19509032201612826785,
                                 0.0};
  n %= 32;
  if (n > 16) n = 32 - n;
  return n <= 8 ? quarter[n] : -quarter[16 - n];
}

constexpr int16_t roundWeight(double x) { return int16_t(x < 0 ? x - 0.5 : x + 0.5); }

// S of a row, and the scale of frequency k: 2^14 * S * sqrt(2) * C(k), C(0) = 1 / sqrt(2).
constexpr double rowFactor(int row) {
  constexpr int angle[8] = {0, 1, 2, 3, 0, 3, 2, 1};  // rows 0 4, 1 7, 2 6 and 3 5 share their weights
  return angle[row] == 0 ? 1.0 : kSqrt2 * cosSixteenth(angle[row]);
}
constexpr double frequencyScale(int row, int k) { return 16384.0 * rowFactor(row) * (k == 0 ? 1.0 : kSqrt2); }

// Weight of frequency k and sample j (0..3; the other four follow by symmetry) in a row of the full-size transform.
constexpr int16_t weight(int row, int k, int j) {
  return roundWeight(frequencyScale(row, k) * cosSixteenth((2 * j + 1) * k));
}

static_assert(weight(0, 0, 3) == 16384 && weight(4, 1, 1) == 19266 && weight(0, 7, 3) == -22725);
static_assert(weight(1, 1, 0) == 31521 && weight(7, 0, 0) == 22725 && weight(2, 1, 3) == 5906 &&
              weight(5, 1, 2) == 15137);

// How the rows of a block lie in vectors: kRows rows (1 or 2) in each of kVectors, in order.
constexpr int kRows = i16v::N / 8;
constexpr int kVectors = 8 / kRows;

// One constant vector of 16-bit weights for each group of rows; N constants a group.
template <int N, int Vectors = kVectors>
struct alignas(kVecBytes) RowWeights {
  int16_t at[Vectors][N][i16v::N];
};
// One 32-bit lane constant a row.
template <int Vectors = kVectors>
struct alignas(kVecBytes) RowLanes {
  int32_t at[Vectors][i32v::N];
};

template <int Vectors>
constexpr RowLanes<Vectors> rowLanes(const int32_t (&perRow)[8]) {
  RowLanes<Vectors> t{};
  for (int row = 0; row < Vectors * kRows; ++row)
    for (int i = 0; i < 4; ++i) t.at[row / kRows][row % kRows * 4 + i] = perRow[row];
  return t;
}

struct BlockRows {
  i16x8 row[8];
};
struct BlockVectors {
  i16v at[kVectors];
};

ZEL_INLINE BlockVectors toVectors(const BlockRows& b) {
  BlockVectors v;
#ifdef __AVX2__
#pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) v.at[i] = join(b.row[2 * i], b.row[2 * i + 1]);
#else
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) v.at[i] = b.row[i];
#endif
  return v;
}

ZEL_INLINE i16x8 rowOf(const i16v* v, int r) {
#ifdef __AVX2__
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

ZEL_INLINE i16x8 mulHi(i16x8 a, const int16_t (&c)[8]) { return mulHi(a, load<i16x8>(c)); }
ZEL_INLINE i16v shuffleBytes(i16v a, const uint8_t (&order)[32]) {
  return as<i16v>(shuffle128(as<u8v>(a), load<u8v>(order)));
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
