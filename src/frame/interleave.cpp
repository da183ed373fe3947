#include "frame/interleave.h"

namespace ZEL_VARIANT {
namespace {

// Each sample is in the load that its lane is taken from.
constexpr bool isWhole(int channel) {
  for (int i = 0; i < 8; ++i) {
    const int byte = 3 * i + channel;
    const bool first = byte < 16 && !(kLanesFromLast[channel] >> byte / 2 & 1);
    const bool last = byte >= 8 && (kLanesFromLast[channel] >> (byte - 8) / 2 & 1);
    if (!first && !last) return false;
  }
  return true;
}
static_assert(isWhole(0) && isWhole(1) && isWhole(2));

constexpr InterleaveTables interleaveTables() {
  InterleaveTables t{};
  for (int half = 0; half < kVecBytes; half += 16)
    for (int c = 0; c < 3; ++c) {
      for (int i = 0; i < 8; ++i) {
        const int byte = 3 * i + c;
        const bool inFirst = byte < 16 && !(kLanesFromLast[c] >> byte / 2 & 1);
        t.widen[c][half + 2 * i] = uint8_t(inFirst ? byte : byte - 8);
        t.widen[c][half + 2 * i + 1] = kZeroByte;
      }
      for (int i = 0; i < 16; ++i) t.spread[c][half + (3 * i + c) % 16] = uint8_t(i);
      for (int i = c; i < 16 && c < 2; i += 3) t.everyThird[c][half + i] = 0xFF;
    }
  return t;
}

}  // namespace

constexpr InterleaveTables kInterleave = interleaveTables();

}  // namespace ZEL_VARIANT
