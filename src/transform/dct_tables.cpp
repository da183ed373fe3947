// The constant vectors of the fixed-point DCT, from their rules.
#include "transform/dct_fixed.h"

namespace ZEL_VARIANT {
namespace {

constexpr double kOne16 = 65536.0;  // 2^16, what the high half of a product divides by

template <class T, int N>
constexpr void fill(T (&lanes)[N], int value) {
  for (T& lane : lanes) lane = T(value);
}

constexpr DctConstants columnConstants() {
  DctConstants c{};
  fill(c.tg_1_16, toInt16(tanSixteenth(1) * kOne16));
  fill(c.tg_2_16, toInt16(tanSixteenth(2) * kOne16));
  fill(c.tg_3_16, toInt16((tanSixteenth(3) - 1) * kOne16));
  fill(c.ocos_4_16, toInt16(cosSixteenth(4) * kOne16 / 2));
  fill(c.one_corr, 1);
  fill(c.levelOf8, 8 * 128 << 3);
  fill(c.sum3, 1 << 3);
  for (int i = 0; i < 16; ++i) {
    c.difference3[i] = int8_t(i % 2 ? -(1 << 3) : 1 << 3);
    c.difference4[i] = int8_t(i % 2 ? -(1 << 4) : 1 << 4);
  }
  return c;
}

// The byte order that puts the 16-bit lanes of each 16 bytes in the given order; -1 gives zero.
constexpr void setOrder(uint8_t (&order)[32], const int (&lanes)[8]) {
  for (int i = 0; i < 32; ++i) {
    const int lane = lanes[i % 16 / 2];
    order[i] = lane < 0 ? 128 : uint8_t(2 * lane + i % 2);
  }
}

constexpr DctRowConstants rowConstants() {
  DctRowConstants c{};
  fill(c.cos_4_16, toInt16((cosSixteenth(4) - 1) * kOne16));
  fill(c.topBits, 128);
  setOrder(c.reverseFours, {3, 2, 1, 0, 7, 6, 5, 4});
  fill(c.eight, 8);
  fill(c.sixteenth, (1 << 15) / 16);
  fill(c.tie, 1 << 14);
  setOrder(c.pairs, {0, 2, 4, 6, 1, 3, 5, 7});
  setOrder(c.mirrorPairs, {0, 1, 5, 4, 2, 3, 7, 6});
  setOrder(c.oddThenDc, {1, 3, 5, 7, 0, -1, -1, -1});
  for (int i = 0; i < 32; ++i) c.everyFourth[i] = i % 16 < 4 ? uint8_t(4 * (i % 16)) : 128;
  return c;
}

constexpr PairWeights forwardWeights() {
  PairWeights t{};
  constexpr int frequencies[4][2] = {{0, 4}, {2, 6}, {1, 5}, {3, 7}};
  for (int pair = 0; pair < kVectors / 2; ++pair)
    for (int lane = 0; lane < i32v::N; ++lane) {
      const int vector = 2 * pair + lane % 4 / 2, row = vector * kRows + lane / 4;
      for (int f = 0; f < 4; ++f)
        for (int i = 0; i < 2; ++i) {
          const int k = frequencies[f][lane % 2], j = 2 * (lane % 2) + i;
          t.at[pair][f][0][2 * lane + i] = weight(row, k, j);
          t.at[pair][f][1][2 * lane + i] = weight(row, k, j ^ 2);
        }
    }
  return t;
}

// Rounders of the row pass. Row 0's adds 32 to every sum, which makes the final shift by 6 round to nearest; the others
// correct a small bias.
constexpr int32_t kRounders[8] = {32 << 11, 2901, 2260, 1704, 1024, 455, 512, 373};

constexpr RowLanes inverseRounders() {
  RowLanes t{};
  for (int row = 0; row < 8; ++row)
    for (int i = 0; i < 4; ++i) t.at[row / kRows][row % kRows * 4 + i] = kRounders[row];
  return t;
}

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

// ---- Reduced sizes --------------------------------------------------------------------------------------------------

// Twice those of the full size, as the shift is by 12 here and was by 11. Row 0's adds 16 to each of its sums, which
// the column pass doubles to 32 (half of what the shift by 6 takes away), and a quarter.
constexpr int32_t kRounders4[8] = {(16 << 12) + 1024, 2 * kRounders[1], 2 * kRounders[2], 2 * kRounders[3], 0,
                                   2 * kRounders[5],  2 * kRounders[6], 2 * kRounders[7]};

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

// As above; the column pass takes row 0 four times and shifts by 7, and three eighths are added.
constexpr int32_t kRounders2[8] = {(16 << 12) + 1536, 2 * kRounders[1], 0, 2 * kRounders[3], 0, 2 * kRounders[5], 0,
                                   2 * kRounders[7]};

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

constexpr ReducedTables reducedTables() {
  ReducedTables t{weights4(), weights2(), {}, {kRounders2[0], 0, 0, 0}};
  for (int row = 0; row < 8; ++row) {
    const int r = row % 4, vector = kRows == 2 ? 0 : r % 2, half = kRows == 2 ? r % 2 : 0;
    for (int i = 0; i < 2; ++i) t.round4[row / 4][vector][4 * half + 2 * (r / 2) + i] = kRounders4[row];
    if (row % 2) t.round2[4 + row / 2] = kRounders2[row];
  }
  return t;
}

}  // namespace

constexpr PairWeights kDctForward = forwardWeights();
constexpr RowWeights<4> kDctInverse = inverseWeights();
constexpr RowWeights<2> kDctInverseCorner = inverseCornerWeights();
constexpr RowLanes kDctInverseRound = inverseRounders();
constexpr ReducedTables kDctReduced = reducedTables();
constexpr DctConstants kDct = columnConstants();
constexpr DctRowConstants kDctRow = rowConstants();

static_assert(kDct.tg_1_16[0] == 13036 && kDct.tg_2_16[0] == 27146 && kDct.tg_3_16[0] == -21746);
static_assert(kDct.ocos_4_16[0] == 23170 && kDctRow.cos_4_16[0] == -19195);

}  // namespace ZEL_VARIANT
