// What the coders of 8x8 blocks share: the zigzag walk as a byte table, magnitude categories, and the set of nonzero
// coefficients of a block as one 64-bit mask in zigzag order.
#pragma once

#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// Zigzag index -> natural position, as own_pj_izigzag_index, in two cache lines. A run of up to 8 past the last
// coefficient lands on it.
constexpr int kZigzagEnd = 72;
constexpr Table<uint8_t, kZigzagEnd> kNatural = {{0,  1,  8,  16, 9,  2,  3,  10,  //
                                                  17, 24, 32, 25, 18, 11, 4,  5,   //
                                                  12, 19, 26, 33, 40, 48, 41, 34,  //
                                                  27, 20, 13, 6,  7,  14, 21, 28,  //
                                                  35, 42, 49, 56, 57, 50, 43, 36,  //
                                                  29, 22, 15, 23, 30, 37, 44, 51,  //
                                                  58, 59, 52, 45, 38, 31, 39, 46,  //
                                                  53, 60, 61, 54, 47, 55, 62, 63,  //
                                                  63, 63, 63, 63, 63, 63, 63, 63}};

// Significant bits of a magnitude (T.81, Table F.1): 0 for 0.
ZEL_INLINE int category(uint32_t magnitude) { return 31 ^ __builtin_clz(2 * magnitude + 1); }

// The low `category` bits of the result follow a value's code: the value, or value - 1 where it is negative (T.81,
// F.1.2.1).
ZEL_INLINE uint32_t extraBits(int value) { return uint32_t(value + (value >> 31)); }

ZEL_INLINE void clearBlock(int16_t* block) {
  for (int i = 0; i < 64; i += i16v::N) store(block + i, zero<i16v>());
}

// Byte shuffles from 16-byte groups of natural order into vectors of zigzag order: at[out][source] picks, for each byte
// of output vector `out`, its byte in source vector `source`, or gives zero (0x80) where another source holds it.
// Sources are what packI8x128 makes of the rows; in the wide form it interleaves rows, and the halves are then also
// used swapped.
struct ZigzagShuffles {
  static constexpr int kOutputs = 64 / kVecBytes;
  uint8_t at[kOutputs][4][kVecBytes];
};

// Row held by the 8-byte group `group` of lane `lane` of source vector `source`.
constexpr int rowOfGroup(int source, int lane, int group) {
  if (kVecBytes == 16) return 2 * source + group;
  const int half = source % 2 ? 1 - lane : lane;  // odd sources are the swapped ones
  return 4 * (source / 2) + 2 * group + half;     // r0 r2 | r1 r3 and r4 r6 | r5 r7
}

constexpr ZigzagShuffles zigzagShuffles() {
  ZigzagShuffles t{};
  for (int out = 0; out < ZigzagShuffles::kOutputs; ++out)
    for (int source = 0; source < 4; ++source)
      for (int i = 0; i < kVecBytes; ++i) {
        const int natural = kNatural.at[out * kVecBytes + i];
        t.at[out][source][i] = 0x80;
        for (int group = 0; group < 2; ++group)
          if (rowOfGroup(source, i / 16, group) == natural / 8) t.at[out][source][i] = uint8_t(8 * group + natural % 8);
      }
  return t;
}

constexpr ZigzagShuffles kZigzagShuffles = zigzagShuffles();

// Bit k is set where the coefficient at zigzag index k is not zero.
ZEL_INLINE uint64_t nonzeroMask(const int16_t* block) {
  // Saturating packs keep zero and nonzero apart.
  u8v source[4];
#ifdef __AVX2__
  for (int i = 0; i < 2; ++i) {
    source[2 * i] = as<u8v>(packI8x128(load<i16x16>(block + 32 * i), load<i16x16>(block + 32 * i + 16)));
    source[2 * i + 1] = swapHalves(source[2 * i]);
  }
#else
  for (int i = 0; i < 4; ++i)
    source[i] = as<u8v>(packI8x128(load<i16x8>(block + 16 * i), load<i16x8>(block + 16 * i + 8)));
#endif
  uint64_t zeros = 0;
  for (int out = 0; out < ZigzagShuffles::kOutputs; ++out) {
    u8v bytes = shuffle128(source[0], load<u8v>(kZigzagShuffles.at[out][0]));
    for (int i = 1; i < 4; ++i) bytes = bytes | shuffle128(source[i], load<u8v>(kZigzagShuffles.at[out][i]));
    zeros |= uint64_t(byteMask(bytes == zero<u8v>())) << (out * kVecBytes);
  }
  return ~zeros;
}

}  // namespace
}  // namespace ZEL_VARIANT
