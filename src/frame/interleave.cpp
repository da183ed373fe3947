#include "frame/interleave.h"

namespace ZEL_VARIANT {
namespace {

// Where byte i of eight pixels stands when the 16-bit lanes of fromLast come from the second load; or no place.
constexpr uint8_t placeOf(int i, int fromLast) {
  if (i < 16 && !(fromLast >> i / 2 & 1)) return uint8_t(i);
  if (i >= 8 && (fromLast >> (i - 8) / 2 & 1)) return uint8_t(i - 8);
  return kZeroByte;
}
constexpr bool isWhole(int channel) {
  for (int i = 0; i < 8; ++i)
    if (placeOf(3 * i + channel, kLanesFromLast[channel]) == kZeroByte) return false;
  return true;
}
constexpr bool pairsAreWhole(int parity) {
  for (int i = parity; i < 8; i += 2)
    for (int c = 0; c < 3; ++c)
      if (placeOf(3 * i + c, kPairsFromLast[parity]) == kZeroByte) return false;
  return true;
}
static_assert(isWhole(0) && isWhole(1) && isWhole(2) && pairsAreWhole(0) && pairsAreWhole(1));

constexpr InterleaveTables interleaveTables() {
  InterleaveTables t{};
  for (int half = 0; half < kVecBytes; half += 16)
    for (int c = 0; c < 3; ++c) {
      for (int i = 0; i < 8; ++i) {
        const int parity = i % 2, at = half + 4 * (i / 2);
        const uint8_t place = placeOf(3 * i + c, kPairsFromLast[parity]);
        if (c == 0) t.outer[parity][at] = place;
        if (c == 1) t.middle[parity][at] = t.middle[parity][at + 2] = place;
        if (c == 2) t.outer[parity][at + 2] = place;
        t.outer[parity][at + 1] = t.outer[parity][at + 3] = kZeroByte;
        t.middle[parity][at + 1] = t.middle[parity][at + 3] = kZeroByte;
        t.widen[c][half + 2 * i] = placeOf(3 * i + c, kLanesFromLast[c]);
        t.widen[c][half + 2 * i + 1] = kZeroByte;
      }
    }
  for (int i = 0; i < 3 * kVecBytes; ++i) {
    const int vector = i / kVecBytes, at = i % kVecBytes, byte = 16 * vector + at % 16;
    const int pixel = byte / 3, channel = byte % 3;
    t.two[vector][at] = channel < 2 ? uint8_t((2 * pixel + channel) % 16) : kZeroByte;
    t.third[vector][at] = channel < 2 ? kZeroByte : uint8_t(pixel);
  }
  return t;
}

}  // namespace

constexpr InterleaveTables kInterleave = interleaveTables();

}  // namespace ZEL_VARIANT
