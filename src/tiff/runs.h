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

// The same for pieces of kBytes, from kBytes to twice as many.
template <int kBytes, class V>
ZEL_INLINE void copyBothEnds(uint8_t* dst, const uint8_t* src, int n) {
  for (int i = 0; i < kBytes; i += V::N) store(dst + i, load<V>(src + i));
  for (int i = n - kBytes; i < n; i += V::N) store(dst + i, load<V>(src + i));
}

// At most kMaxRun bytes.
ZEL_INLINE void copyRun(uint8_t* dst, const uint8_t* src, int n) {
  if (n >= kMaxRun / 2) return copyBothEnds<kMaxRun / 2, u8v>(dst, src, n);
  if (n >= 32) return copyBothEnds<32, u8v>(dst, src, n);
  if (n >= 16) return copyBothEnds<16, u8x16>(dst, src, n);
  if (n >= 8) return copyBothEnds<uint64_t>(dst, src, n);
  if (n >= 4) return copyBothEnds<uint32_t>(dst, src, n);
  if (n >= 2) return copyBothEnds<uint16_t>(dst, src, n);
  *dst = *src;
}

template <int kBytes, class V>
ZEL_INLINE void fillBothEnds(uint8_t* dst, V value, int n) {
  for (int i = 0; i < kBytes; i += V::N) store(dst + i, value);
  for (int i = n - kBytes; i < n; i += V::N) store(dst + i, value);
}

// 2 to kMaxRun bytes.
ZEL_INLINE void fillRun(uint8_t* dst, uint8_t value, int n) {
  const u8v all = splat<u8v>(value);
  const u8x16 part = splat<u8x16>(value);
  if (n >= kMaxRun / 2) return fillBothEnds<kMaxRun / 2>(dst, all, n);
  if (n >= 32) return fillBothEnds<32>(dst, all, n);
  if (n >= 16) return fillBothEnds<16>(dst, part, n);
  const uint64_t eight = value * 0x0101010101010101u;
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
