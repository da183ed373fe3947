// PackBits runs (TIFF 6.0, section 9): limits, and exact copies of few bytes.
//
// Nothing beyond a run's bytes is read or written: copies of n bytes are two of the same size that overlap.
#pragma once

#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxRun = 128;
constexpr int8_t kNoOperation = -128;

// The first and the last sizeof(T) bytes of n, from sizeof(T) to twice as many.
template <class T>
ZEL_INLINE void copyBothEnds(uint8_t* dst, const uint8_t* src, int n) {
  const int last = n - int(sizeof(T));
  T head, tail;
  __builtin_memcpy(&head, src, sizeof head);
  __builtin_memcpy(&tail, src + last, sizeof tail);
  __builtin_memcpy(dst, &head, sizeof head);
  __builtin_memcpy(dst + last, &tail, sizeof tail);
}

ZEL_INLINE void copyRun(uint8_t* dst, const uint8_t* src, int n) {
  if (n >= 16) {
    int i = 0;
    for (; i + u8v::N <= n; i += u8v::N) store(dst + i, load<u8v>(src + i));
    if (n >= u8v::N) return store(dst + n - u8v::N, load<u8v>(src + n - u8v::N));
    store(dst, load<u8x16>(src));
    return store(dst + n - 16, load<u8x16>(src + n - 16));
  }
  if (n >= 8) return copyBothEnds<uint64_t>(dst, src, n);
  if (n >= 4) return copyBothEnds<uint32_t>(dst, src, n);
  if (n >= 2) return copyBothEnds<uint16_t>(dst, src, n);
  *dst = *src;
}

// n >= 2
ZEL_INLINE void fillRun(uint8_t* dst, uint8_t value, int n) {
  const uint64_t eight = value * 0x0101010101010101u;
  if (n >= 16) {
    int i = 0;
    for (; i + u8v::N <= n; i += u8v::N) store(dst + i, splat<u8v>(value));
    if (n >= u8v::N) return store(dst + n - u8v::N, splat<u8v>(value));
    store(dst, splat<u8x16>(value));
    return store(dst + n - 16, splat<u8x16>(value));
  }
  const auto both = [=](auto x) {
    __builtin_memcpy(dst, &x, sizeof x);
    __builtin_memcpy(dst + n - int(sizeof x), &x, sizeof x);
  };
  if (n >= 8) return both(eight);
  if (n >= 4) return both(uint32_t(eight));
  both(uint16_t(eight));
}

}  // namespace
}  // namespace ZEL_VARIANT
