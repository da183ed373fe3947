// What the coders of 8x8 blocks share: the zigzag walk as a byte table, magnitude categories, and a block's
// coefficients in zigzag order with the set of nonzero ones as one 64-bit mask.
#pragma once

#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// The AC symbols without a coefficient (T.81, F.1.2.2.1); any other is run << 4 | category.
constexpr int kZeroRun = 0xF0;  // sixteen zeros
constexpr int kEndOfBlock = 0x00;

// Zigzag index -> natural position, as own_pj_izigzag_index, in two cache lines. A run of up to 8 past the last
// coefficient lands on it; further ones are errors, but reach no other memory.
constexpr int kZigzagEnd = 72;
constexpr Table<uint8_t, 64 + 16> kNatural = {{0,  1,  8,  16, 9,  2,  3,  10,  //
                                               17, 24, 32, 25, 18, 11, 4,  5,   //
                                               12, 19, 26, 33, 40, 48, 41, 34,  //
                                               27, 20, 13, 6,  7,  14, 21, 28,  //
                                               35, 42, 49, 56, 57, 50, 43, 36,  //
                                               29, 22, 15, 23, 30, 37, 44, 51,  //
                                               58, 59, 52, 45, 38, 31, 39, 46,  //
                                               53, 60, 61, 54, 47, 55, 62, 63,  //
                                               63, 63, 63, 63, 63, 63, 63, 63,  //
                                               63, 63, 63, 63, 63, 63, 63, 63}};

// Significant bits of a magnitude (T.81, Table F.1): 0 for 0.
ZEL_INLINE int category(uint32_t magnitude) { return 31 ^ __builtin_clz(2 * magnitude + 1); }

// What follows the code of a value: its category's number of bits, the value or, where it is negative, the value - 1
// (T.81, F.1.2.1).
struct ExtraBits {
  uint64_t bits;
  uint64_t size;
};

ZEL_INLINE ExtraBits extraBits(int value) {
  const int size = category(uint32_t(value < 0 ? -value : value));
  return {uint32_t(value + (value >> 31)) & ((1u << size) - 1), uint32_t(size)};
}

// The same by table for a coefficient saturated to a byte. Size 0 for the two bytes that may stand for more.
struct SmallExtraBits {
  uint8_t size, bits;
};
constexpr Table<SmallExtraBits, 256> smallExtraBits() {
  Table<SmallExtraBits, 256> t{};
  for (int value = -127; value < 127; ++value) {
    int size = 0;
    while ((value < 0 ? -value : value) >> size != 0) ++size;
    t.at[uint8_t(value)] = {uint8_t(size), uint8_t((value < 0 ? value - 1 : value) & ((1 << size) - 1))};
  }
  return t;
}
constexpr Table<SmallExtraBits, 256> kSmallExtraBits = smallExtraBits();
static_assert(kSmallExtraBits.at[256 - 3].size == 2 && kSmallExtraBits.at[256 - 3].bits == 0);

ZEL_INLINE void clearBlock(int16_t* block) {
#pragma GCC unroll 8  // a loop would become rep stos, which takes longer than the rest of a block
  for (int i = 0; i < 64; i += i16v::N) store(block + i, zero<i16v>());
}

// Byte shuffles from natural order into vectors of zigzag order: at[out][pair] picks, for each byte of output vector
// `out`, its byte in the 16 bytes of row pair `pair`, or gives zero (0x80) where another pair holds it.
struct ZigzagShuffles {
  static constexpr int kOutputs = 64 / kVecBytes;
  uint8_t at[kOutputs][4][kVecBytes];
};

constexpr ZigzagShuffles zigzagShuffles() {
  ZigzagShuffles t{};
  for (int out = 0; out < ZigzagShuffles::kOutputs; ++out)
    for (int pair = 0; pair < 4; ++pair)
      for (int i = 0; i < kVecBytes; ++i) {
        const int natural = kNatural.at[out * kVecBytes + i];
        t.at[out][pair][i] = uint8_t(natural / 16 == pair ? natural % 16 : 0x80);
      }
  return t;
}

constexpr ZigzagShuffles kZigzagShuffles = zigzagShuffles();

// The coefficients in zigzag order, saturated to signed bytes, and a mask whose bit k is set where number k is not
// zero.
ZEL_INLINE uint64_t zigzagBytes(const int16_t* block, uint8_t* bytes) {
  // Two rows in each 128-bit half, loaded so: a permutation of what was packed would take longer.
  const auto rowPair = [block](int pair) {
    const int16_t* rows = block + 16 * pair;
    return as<u8v>(packI8x128(repeat128<i16v>(load<i16x8>(rows)), repeat128<i16v>(load<i16x8>(rows + 8))));
  };
  const u8v a = rowPair(0), b = rowPair(1), c = rowPair(2), d = rowPair(3);
  uint64_t zeros = 0;
#pragma GCC unroll 4
  for (int out = 0; out < ZigzagShuffles::kOutputs; ++out) {
    const auto& shuffle = kZigzagShuffles.at[out];
    const u8v ordered = (shuffle128(a, load<u8v>(shuffle[0])) | shuffle128(b, load<u8v>(shuffle[1]))) |
                        (shuffle128(c, load<u8v>(shuffle[2])) | shuffle128(d, load<u8v>(shuffle[3])));
    store(bytes + out * kVecBytes, ordered);
    zeros |= uint64_t(byteMask(ordered == zero<u8v>())) << (out * kVecBytes);
  }
  return ~zeros;
}

}  // namespace
}  // namespace ZEL_VARIANT
