// The state of a code block's samples, shared by encoder and decoder, and the contexts that follow from it.
//
// One word holds a column of a stripe: four samples, with the significance of everything around them, so that the
// context of a sample is one shift, one mask and one look-up, and a column without anything significant near it is 0.
// Rows of a stripe count 0..3; -1 and 4 are the rows above and below it.
//
//   bit 3 (r + 1) + c   significance, row r = -1..4, column c = 0 left, 1 own, 2 right
//   bit 18 + 3 (r + 1)  sign of the own sample, row r = -1..3; bit 31: row 4
//   bit 19 + 3 r        refined before
//   bit 20 + 3 r        visited in this bit plane
//
// A sample is named by the place p = 4 + 3 r of its own significance. The words of a block stand in rows of a fixed
// pitch, with a guard word on both sides and a guard row above and below; nothing but neighbours of samples is ever
// written there.
#pragma once

#include "jpeg2000/mq.h"

namespace ZEL_VARIANT {

#pragma GCC visibility push(hidden)
extern const Table<uint8_t, 512> ZeroCodingLUT_LxHy;  // by the nine bits around a sample; its own is not looked at
extern const Table<uint8_t, 512> ZeroCodingLUT_HxLy;
extern const Table<uint8_t, 512> ZeroCodingLUT_HxHy;
extern const Table<uint8_t, 256> SignCodingLUT;  // context * 2 + the predicted sign
#pragma GCC visibility pop

namespace {

constexpr int kStripe = 4;
constexpr uint32_t kOwn = 0x2490;                              // the places of the four samples
constexpr uint32_t kAround = 0x1EF;                            // eight neighbours, of nine bits
constexpr int kSignOf = 17, kVisitedOf = 16, kRefinedOf = 15;  // from a sample's place to its bits
constexpr uint32_t kVisited = kOwn << kVisitedOf;

ZEL_INLINE constexpr uint32_t placeBit(int row) { return 16u << (3 * row); }

// The places in a stripe of n rows.
inline uint32_t rowsOf(int n) { return kOwn & ((2u << (3 * n + 1)) - 1); }

ZEL_INLINE int rowOf(int place) { return (place * 11 >> 5) - 1; }

inline const uint8_t* zeroCodingTable(int subband) {
  return subband == 2 ? ZeroCodingLUT_HxLy.at : subband == 3 ? ZeroCodingLUT_HxHy.at : ZeroCodingLUT_LxHy.at;
}

// Bytes of a row of words and their number of rows: what a block of the largest size may take. The words need only one
// row for four rows of samples.
inline int64_t statePitch(int width) { return (4 * int64_t(width) + 8 + 31) / 32 * 32; }
inline int64_t stateRows(int height) { return (int64_t(height) + 1) / 2 + 2; }

// The samples of a column that have a significant neighbour.
ZEL_INLINE uint32_t withNeighbours(uint32_t f) {
  const uint32_t sides = (f & 0x3FFFF) << 1 | (f & 0x3FFFF) >> 1, rows = sides | (f & 0x3FFFF);
  return (sides | rows << 3 | rows >> 3) & kOwn;
}

ZEL_INLINE uint32_t zeroCodingContext(const uint8_t* table, uint32_t f, int place) {
  return table[f >> (place - 4) & kAround];
}

// The sign context of a sample whose column is f, and the predicted sign. word: where the column stands.
ZEL_INLINE uint32_t signCodingEntry(uint32_t f, const uint32_t* word, int place) {
  const uint64_t column = f | uint64_t(f >> 31) << 33;  // the sign of row 4 to where the others lead
  const uint32_t index = (f >> (place - 4) & 0xAA) | (f >> (place + kSignOf - 3) & 1) |
                         (word[-1] >> (place + kSignOf) & 1) << 2 | (word[1] >> (place + kSignOf) & 1) << 4 |
                         uint32_t(column >> (place + kSignOf + 3) & 1) << 6;
  return SignCodingLUT.at[index];
}

// Makes a sample significant for its neighbours; the result is what it adds to its own column. With causal contexts
// the stripe above never learns of it.
template <bool kIsCausal>
ZEL_INLINE uint32_t becomeSignificant(uint32_t* word, int64_t pitch, int place, uint32_t sign) {
  word[-1] |= 2u << place;
  word[1] |= 1u << place >> 1;
  if (place == 4 && !kIsCausal) {
    uint32_t* const above = word - pitch;
    above[-1] |= 1u << 17;
    above[0] |= 1u << 16 | sign << 31;
    above[1] |= 1u << 15;
  }
  if (place == 13) {
    uint32_t* const below = word + pitch;
    below[-1] |= 1u << 2;
    below[0] |= 1u << 1 | sign << 18;
    below[1] |= 1u;
  }
  return 1u << place | sign << (place + kSignOf);
}

}  // namespace
}  // namespace ZEL_VARIANT
