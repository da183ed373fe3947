// What the bit reader and the bit writer share: byte-order-free access to eight bytes of a stream, and the test for
// 0xFF, the byte that needs stuffing (ITU-T T.81, Annex B.1.1.5).
#pragma once

#include <stdint.h>

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

// The careful path follows the standard's procedures a byte at a time, knows the ends of the buffers and gives every
// status. The fast path moves eight bytes at a time and gives up, before it has changed anything a caller sees,
// wherever the careful path would have to decide something. The unbounded path is a fast one whose caller vouches for
// the room and the codes: where it gives up it leaves what it has done.
enum class Path { careful, fast, unbounded };

constexpr int kMaxExtraBits = 15;  // behind the code of a coefficient or difference (T.81, Tables F.1, F.2 and H.2)

constexpr uint64_t kEveryByte = 0x0101010101010101;

// A byte of x is 0xFF where it is zero in ~x: the borrow of subtracting 1 then reaches its top bit. False alarms are
// impossible for the word as a whole.
inline uint64_t bytesOf0xFF(uint64_t x) { return (~x - kEveryByte) & x; }  // in the top bits of bytes
inline bool has0xFF(uint64_t x) { return (bytesOf0xFF(x) & (kEveryByte << 7)) != 0; }

// The first byte of the stream is the most significant.
inline uint64_t loadBytes(const uint8_t* p) {
  uint64_t x;
  __builtin_memcpy(&x, p, sizeof x);
  return __builtin_bswap64(x);
}
inline void storeBytes(uint8_t* p, uint64_t x) {
  x = __builtin_bswap64(x);
  __builtin_memcpy(p, &x, sizeof x);
}

constexpr uint64_t lowBits(int n) { return (uint64_t(1) << n) - 1; }  // n below 64

}  // namespace
}  // namespace ZEL_VARIANT
