// Lossless differences by twos (ITU-T T.81, H.1.2.2): what the next bits of a stream hold, of a Huffman table whose
// rows are long enough to pay for it.
//
// Most differences of a photograph are small, and a code with its extra bits takes four to seven bits. One look-up by
// ten bits gives a whole difference then, often two, and how many bits they take. The chain from one look-up to the
// next is that of a single symbol, but it is gone through less often, and nothing remains to be computed of a value.
#pragma once

#include "huffman/bit_reader.h"
#include "huffman/lossless.h"

namespace ZEL_VARIANT {
namespace {

struct DifferencePairs {
  static constexpr int kBits = 10;
  static constexpr int kCountShift = 8;  // of what a step holds

  uint32_t values[1 << kBits];  // the first difference in the low half, the second above it
  uint16_t steps[1 << kBits];   // the bits of both | how many they are << kCountShift; 0 where not even one is whole
};

// The differences that fit alone into the bits, then those that fit behind them. A code of more than 8 bits stays out.
[[gnu::noinline]] void makePairs(const ZeliDecodeHuffmanSpec& table, DifferencePairs* pairs) {
  constexpr int kBits = DifferencePairs::kBits, kOne = 1 << DifferencePairs::kCountShift;
  constexpr int kEach = 1 << (kBits - 8);  // entries that begin with the same 8 bits
  int16_t first[1 << kBits];
  uint8_t taken[1 << kBits];  // 0 where the bits do not hold a difference
  for (uint32_t i = 0; i < 1u << kBits; i += kEach) {
    const uint32_t entry = table.lookup[i / kEach], symbol = uint8_t(entry), length = entry >> 16;
    const uint32_t size = symbol < kCategoryWithoutBits ? symbol : 0;
    const bool whole = length != 0 && length + size <= kBits;
    const uint32_t spare = whole ? kBits - length - size : 0;  // bits behind the difference
    const int lowest = symbol < kCategoryWithoutBits ? kLowest.at[size] : INT16_MIN;
    for (uint32_t k = 0; k < kEach; ++k) {
      const uint32_t bits = (i + k) >> spare & ((1u << size) - 1);
      first[i + k] = int16_t(int(bits) + (2 * bits >> size != 0 ? 0 : lowest));
      taken[i + k] = uint8_t(whole ? length + size : 0);
    }
  }
  for (uint32_t i = 0; i < 1u << kBits; ++i) {
    const uint32_t behind = i << taken[i] & ((1u << kBits) - 1);
    const int one = taken[i], both = one + taken[behind];
    const bool two = both > one && both <= kBits;
    pairs->values[i] = uint16_t(first[i]) | uint32_t(uint16_t(first[behind])) << 16;
    pairs->steps[i] = uint16_t(one == 0 ? 0 : two ? both + 2 * kOne : one + kOne);
  }
}

}  // namespace
}  // namespace ZEL_VARIANT
