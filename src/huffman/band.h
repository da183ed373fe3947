// The parameters of a progressive scan (ITU-T T.81, G.1.1): a band of zigzag indexes and the bit that the scan codes.
#pragma once

#include "frame/checks.h"
#include "huffman/bits.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxAl = 13;  // T.81, Table B.3: the successive-approximation bit position

struct Band {
  int ss, se;  // the first and the last zigzag index
  int al;      // the lowest bit that the scan codes
};

constexpr bool isAl(int al) { return al >= 0 && al <= kMaxAl; }
constexpr ZelStatus alOk(int al) { return valueOk(isAl(al)); }
constexpr ZelStatus bandOk(Band b) { return valueOk(b.ss >= 1 && b.ss <= b.se && b.se <= 63 && isAl(b.al)); }

// The indexes of the band as a set: bit k stands for zigzag index k.
constexpr uint64_t indexesOf(Band b) { return ~uint64_t(0) >> (63 - b.se) & ~lowBits(b.ss); }

}  // namespace
}  // namespace ZEL_VARIANT
