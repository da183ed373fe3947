// The state of a code block's samples, shared by encoder and decoder, and the contexts that follow from it.
//
// A block is walked in stripes of four rows, column by column (ITU-T T.800, Figure D.1). One word holds a column of a
// stripe: four samples, with the significance of everything around them, so that the context of a sample is one shift,
// one mask and one look-up, and a column without anything significant in or around it is 0.
//
// Rows of a stripe count 0..3; -1 and 4 are the rows above and below it. Columns count -1 (left), 0 (the word's own)
// and 1 (right). The bits of a word, with the functions and masks below that name them:
//
//   0..17   significance by row and column, three bits to a row, rows -1..4       bitOf(row, column)
//   18 + 3 (row + 1)  sign in the own column, rows -1..3                          place + kSignOf
//   31      sign of row 4, for which that formula has no bit left
//   19 + 3 row        the sample has been refined before, rows 0..3               place + kRefinedOf
//   20 + 3 row        visited in this bit plane's propagation pass, rows 0..3     place + kVisitedOf
//
// A sample is named by its place, the number of the bit of its own significance: 4, 7, 10 or 13.
//
// The words of a block stand in rows of a fixed pitch, a row for each stripe, with a guard word on both sides and a
// guard row above and below. Samples at the border report to guards as to any neighbour, so no step asks where the
// block ends. Nothing but the significance and sign of neighbours is ever written to a guard.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {

#pragma GCC visibility push(hidden)
extern const Table<uint8_t, 512> ZeroCodingLUT_LxHy;  // by the nine bits around a sample; its own is not looked at
extern const Table<uint8_t, 512> ZeroCodingLUT_HxLy;
extern const Table<uint8_t, 512> ZeroCodingLUT_HxHy;
extern const Table<uint8_t, 256> SignCodingLUT;  // see signCodingEntry: context * 2 + the predicted sign
#pragma GCC visibility pop

namespace {

constexpr int kStripe = 4;  // rows
constexpr int kRow = 3;     // bits from a row to the next

constexpr int placeOf(int row, int column = 0) { return kRow * (row + 1) + column + 1; }
constexpr uint32_t bitOf(int row, int column = 0) { return 1u << placeOf(row, column); }
ZEL_INLINE int rowOf(int place) { return int(uint32_t(place) / kRow) - 1; }

constexpr int kFirstPlace = placeOf(0), kLastPlace = placeOf(kStripe - 1);

// From a sample's place to its other bits.
constexpr int kSignOf = 17, kVisitedOf = 16, kRefinedOf = 15;
constexpr int kSignBelow = 31;  // the sign of row 4

// The places of the samples of a stripe that has only n rows in the block.
constexpr uint32_t samplesOf(int rows) {
  uint32_t places = 0;
  for (int r = 0; r < rows; ++r) places |= bitOf(r);
  return places;
}
constexpr uint32_t kSamples = samplesOf(kStripe);
constexpr uint32_t kVisited = kSamples << kVisitedOf;
constexpr uint32_t kSignificance = 2 * bitOf(kStripe, 1) - 1;  // everything below the first sign

// The neighbours of the sample of row 0. A shift by place - kFirstPlace brings those of any other there.
constexpr uint32_t kStraight = bitOf(-1) | bitOf(0, -1) | bitOf(0, 1) | bitOf(1);
constexpr uint32_t kDiagonal = bitOf(-1, -1) | bitOf(-1, 1) | bitOf(1, -1) | bitOf(1, 1);

static_assert(kSamples << kSignOf >> kSignOf == kSamples && kLastPlace + kSignOf < kSignBelow);
static_assert((kSamples << kSignOf & kVisited) == 0 && (kSamples << kRefinedOf & (kVisited | kSignificance)) == 0);

inline const uint8_t* zeroCodingTable(int subband) {
  if (subband == zeliSubbandHL) return ZeroCodingLUT_HxLy.at;
  if (subband == zeliSubbandHH) return ZeroCodingLUT_HxHy.at;
  return ZeroCodingLUT_LxHy.at;
}

// Bytes of a row of words, and the number of rows that a state has room for. The words need one row for four rows of
// samples; callers are told a size with one for two.
inline int64_t statePitch(int width) { return (4 * int64_t(width) + 8 + 31) / 32 * 32; }
inline int64_t stateRows(int height) { return (int64_t(height) + 1) / 2 + 2; }

inline int64_t stripesOf(int height) { return (int64_t(height) + kStripe - 1) / kStripe; }

// From the significance of a column, or of several in the lanes of a vector: what has a significant neighbour, at the
// places of the samples. Other bits of the result mean nothing.
template <class Words>
ZEL_INLINE Words besideSignificance(Words significance) {
  const Words sides = significance << 1 | significance >> 1, rows = sides | significance;
  return sides | rows << kRow | rows >> kRow;
}

// The samples of a column that have a significant neighbour.
ZEL_INLINE uint32_t withNeighbours(uint32_t f) { return besideSignificance(f & kSignificance) & kSamples; }

ZEL_INLINE uint32_t zeroCodingContext(const uint8_t* table, uint32_t f, int place) {
  return table[f >> (place - kFirstPlace) & (kStraight | kDiagonal)];
}

// The sign context of a sample whose column is f, times two, and the predicted sign (T.800, Tables D.2 and D.3). The
// index of the table has the significance of the straight neighbours where the word has it, in bits 1, 3, 5 and 7
// (above, left, right, below), and the sign of each in the bit under its significance. word: where the column stands.
ZEL_INLINE uint32_t signCodingEntry(uint32_t f, const uint32_t* word, int place) {
  const int sign = place + kSignOf;
  const uint64_t column = f | uint64_t(f >> kSignBelow)
                                  << (kLastPlace + kSignOf + kRow);  // row 4 in line with the rest
  const uint32_t above = f >> (sign - kRow) & 1, left = word[-1] >> sign & 1;
  const uint32_t right = word[1] >> sign & 1, below = uint32_t(column >> (sign + kRow)) & 1;
  return SignCodingLUT.at[(f >> (place - kFirstPlace) & kStraight) | above | left << 2 | right << 4 | below << 6];
}

// Makes a sample significant for its neighbours; the result is what it adds to its own column. With vertically causal
// contexts (T.800, D.7) the stripe above never learns of it.
template <bool kIsCausal>
ZEL_INLINE uint32_t becomeSignificant(uint32_t* word, int64_t pitch, int place, uint32_t sign) {
  const uint32_t own = 1u << place;
  word[-1] |= own << 1;
  word[1] |= own >> 1;
  if (place == kFirstPlace && !kIsCausal) {
    uint32_t* const above = word - pitch;
    above[-1] |= bitOf(kStripe, 1);
    above[0] |= bitOf(kStripe) | sign << kSignBelow;
    above[1] |= bitOf(kStripe, -1);
  }
  if (place == kLastPlace) {
    uint32_t* const below = word + pitch;
    below[-1] |= bitOf(-1, 1);
    below[0] |= bitOf(-1) | sign << (placeOf(-1) + kSignOf);
    below[1] |= bitOf(-1, -1);
  }
  return own | sign << (place + kSignOf);
}

}  // namespace
}  // namespace ZEL_VARIANT
