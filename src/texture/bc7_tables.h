// What differs between BC7 modes, partitions and index widths, as data: one course of vector operations decodes them
// all.
#pragma once

#include <stdint.h>

#include "texture/blocks.h"

namespace ZEL_VARIANT {

constexpr int kBc7NoPartition = 128;  // after the 64 partitions of two subsets and the 64 of three
constexpr int kBc7NoAnchor = 63;

// How endpoints and indices are cut out of a block. Vectors have a word for each endpoint: 8 (6 are used) of R, then of
// G, B, A. A window of two bytes holds any field; a product moves it to the top of its word.
struct alignas(32) Bc7Mode {
  uint8_t order[64];  // bytes of the block that make the windows
  uint16_t align[32];
  uint16_t field[32];   // the bits that the field then has
  uint16_t repeat[32];  // a factor whose high product is the word shifted right by the component's bits
  uint8_t pOrder[16];   // windows of the P-bits of each endpoint
  uint16_t pAlign[8];
  uint16_t pPlace[8];  // a factor that moves the P-bit from the top to behind the component
  uint16_t opaque[8];  // 255 as the upper byte in the modes without alpha
  uint8_t headerBits, partitionMask, partitionBase;
  uint8_t indexByte, indexShift, indexSet;  // the first index: where 8 bytes of the block start, and its bit in them
  uint8_t separateAlpha, alphaIndexShift, alphaIndexSet;  // its bit in the block's upper 8 bytes
};

// How 16 indices of a width, without gaps, become weights.
struct alignas(32) Bc7Indices {
  uint8_t order[32];
  uint16_t align[16];
  uint16_t field[8];
  uint16_t bytePair[8];    // a factor whose high product is 255 times the index
  uint16_t complement[8];  // the largest index; added, it makes the bytes largest - i, i
  uint8_t weight[16];      // of 64; that of largest - i is 64 less that of i
  uint64_t firstAnchor;    // the bits from the missing one of pixel 0 on
};

struct Bc7Tables {
  Bc7Mode mode[9];                                    // 8: reserved
  Bc7Indices indices[3];                              // of 2, 3 and 4 bits
  alignas(32) uint8_t ends[kBc7NoPartition + 1][32];  // bytes of a channel's endpoints, two for each pixel
  // For each width, the two anchors besides pixel 0: the bits from the missing one on are ~1 shifted left by this.
  uint8_t aboveAnchor[3][kBc7NoPartition + 1][2];
  alignas(16) uint8_t rotation[4][16];  // byte orders of four pixels that exchange alpha with a channel
};

extern const Bc7Tables kBc7 __attribute__((visibility("hidden")));

}  // namespace ZEL_VARIANT
