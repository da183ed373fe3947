// For processors without a file of their own: vectors of 16 bytes whose operations are written lane by lane. What each
// of them does is told in vec.h; a compiler that has vectors for the processor finds many of them again.
#pragma once

#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// Lane i of the result is what the function makes of i.
template <class V, class Lane>
ZEL_INLINE V eachLane(Lane lane) {
  V r = zero<V>();
  for (int i = 0; i < V::N; ++i) r.v[i] = typename V::Lane(lane(i));
  return r;
}

// x, not beyond what T holds.
template <class T>
ZEL_INLINE T clamped(int32_t x) {
  constexpr int32_t kBits = 8 * int32_t(sizeof(T)), kSigned = T(-1) < T(0);
  constexpr int32_t kLow = kSigned ? -(1 << (kBits - 1)) : 0, kHigh = kLow + ((1 << kBits) - 1);
  return T(x < kLow ? kLow : x > kHigh ? kHigh : x);
}

// ---- Lane-wise ------------------------------------------------------------------------------------------------------

template <class T>
ZEL_INLINE Vec<T, 16> addSat(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return clamped<T>(a.v[i] + b.v[i]); });
}
template <class T>
ZEL_INLINE Vec<T, 16> subSat(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return clamped<T>(a.v[i] - b.v[i]); });
}
template <class T>
ZEL_INLINE Vec<T, 16> min(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return a.v[i] < b.v[i] ? a.v[i] : b.v[i]; });
}
template <class T>
ZEL_INLINE Vec<T, 16> max(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return a.v[i] > b.v[i] ? a.v[i] : b.v[i]; });
}
template <class T>
ZEL_INLINE Vec<T, 16> average(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return (a.v[i] + b.v[i] + 1) >> 1; });
}
ZEL_INLINE i16x8 mulHi(i16x8 a, i16x8 b) {
  return eachLane<i16x8>([&](int i) { return (a.v[i] * b.v[i]) >> 16; });
}
ZEL_INLINE u16x8 mulHi(u16x8 a, u16x8 b) {
  return eachLane<u16x8>([&](int i) { return uint32_t(a.v[i]) * b.v[i] >> 16; });
}
ZEL_INLINE i16x8 mulHiRound(i16x8 a, i16x8 b) {
  return eachLane<i16x8>([&](int i) { return (a.v[i] * b.v[i] + (1 << 14)) >> 15; });
}
ZEL_INLINE i32x4 maddPairs(i16x8 a, i16x8 b) {
  return eachLane<i32x4>(
      [&](int i) { return uint32_t(a.v[2 * i] * b.v[2 * i]) + uint32_t(a.v[2 * i + 1] * b.v[2 * i + 1]); });
}
ZEL_INLINE i16x8 maddBytes(u8x16 a, i8x16 b) {
  return eachLane<i16x8>(
      [&](int i) { return clamped<int16_t>(a.v[2 * i] * b.v[2 * i] + a.v[2 * i + 1] * b.v[2 * i + 1]); });
}
ZEL_INLINE Vec<int64_t, 16> mulEven(i32x4 a, i32x4 b) {
  return eachLane<Vec<int64_t, 16>>([&](int i) { return int64_t(a.v[2 * i]) * b.v[2 * i]; });
}
template <class T>
ZEL_INLINE Vec<T, 16> abs(Vec<T, 16> a) {
  return max(a, zero<Vec<T, 16>>() - a);
}

template <class T>
ZEL_INLINE Vec<T, 16> select(Vec<T, 16> mask, Vec<T, 16> a, Vec<T, 16> b) {
  const auto bits = [](Vec<T, 16> v) { return as<Vec<uint64_t, 16>>(v); };
  return as<Vec<T, 16>>((bits(a) & bits(mask)) | (bits(b) & ~bits(mask)));
}
template <int kMask, class T>
ZEL_INLINE Vec<T, 16> blend16x128(Vec<T, 16> a, Vec<T, 16> b) {
  return select(as<Vec<T, 16>>(eachLane<i16x8>([](int i) { return -(kMask >> i & 1); })), b, a);
}
template <class T>
ZEL_INLINE uint32_t byteMask(Vec<T, 16> a) {
  uint32_t mask = 0;
  for (int i = 0; i < 16; ++i) mask |= uint32_t(as<u8x16>(a).v[i] >> 7) << i;
  return mask;
}
template <class T>
ZEL_INLINE bool isZero(Vec<T, 16> a) {
  const Vec<uint64_t, 16> bits = as<Vec<uint64_t, 16>>(a);
  return (bits.v[0] | bits.v[1]) == 0;
}

// ---- Order of lanes -------------------------------------------------------------------------------------------------

template <class V, class T>
ZEL_INLINE V repeat128(Vec<T, 16> a) {
  return as<V>(a);
}
ZEL_INLINE i32x4 addNeighbours(i32x4 a, i32x4 b) {
  return i32x4{{a.v[0], a.v[2], b.v[0], b.v[2]}} + i32x4{{a.v[1], a.v[3], b.v[1], b.v[3]}};
}
ZEL_INLINE u8x16 shuffle128(u8x16 a, u8x16 index) {
  return eachLane<u8x16>([&](int i) { return index.v[i] & 0x80 ? 0 : a.v[index.v[i] & 15]; });
}

// The lanes of a, then those of b, narrowed to T.
template <class T, class V>
ZEL_INLINE Vec<T, 16> packed(V a, V b) {
  return eachLane<Vec<T, 16>>([&](int i) { return clamped<T>(i < V::N ? a.v[i] : b.v[i - V::N]); });
}
ZEL_INLINE i16x8 packI16x128(i32x4 a, i32x4 b) { return packed<int16_t>(a, b); }
ZEL_INLINE u16x8 packU16x128(i32x4 a, i32x4 b) { return packed<uint16_t>(a, b); }
ZEL_INLINE u8x16 packU8x128(i16x8 a, i16x8 b) { return packed<uint8_t>(a, b); }
ZEL_INLINE i8x16 packI8x128(i16x8 a, i16x8 b) { return packed<int8_t>(a, b); }

template <class T>
ZEL_INLINE Vec<T, 16> unpackLow128(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return (i % 2 ? b : a).v[i / 2]; });
}
template <class T>
ZEL_INLINE Vec<T, 16> unpackHigh128(Vec<T, 16> a, Vec<T, 16> b) {
  return eachLane<Vec<T, 16>>([&](int i) { return (i % 2 ? b : a).v[Vec<T, 16>::N / 2 + i / 2]; });
}
template <int kFirst, class T>
ZEL_INLINE Vec<T, 16> everySecond(Vec<T, 16> a, Vec<T, 16> b) {
  constexpr int kHalf = Vec<T, 16>::N / 2;
  return eachLane<Vec<T, 16>>([&](int i) { return i < kHalf ? a.v[2 * i + kFirst] : b.v[2 * (i - kHalf) + kFirst]; });
}
template <class T>
ZEL_INLINE Vec<T, 16> evenLanes128(Vec<T, 16> a, Vec<T, 16> b) {
  return everySecond<0>(a, b);
}
template <class T>
ZEL_INLINE Vec<T, 16> oddLanes128(Vec<T, 16> a, Vec<T, 16> b) {
  return everySecond<1>(a, b);
}
template <int kOrder, class T>
ZEL_INLINE Vec<T, 16> permute32x128(Vec<T, 16> a) {
  return as<Vec<T, 16>>(eachLane<u32x4>([&](int i) { return as<u32x4>(a).v[kOrder >> 2 * i & 3]; }));
}
template <int kBytes, class T>
ZEL_INLINE Vec<T, 16> movedUp(Vec<T, 16> a) {
  return as<Vec<T, 16>>(eachLane<u8x16>([&](int i) { return i < kBytes ? 0 : as<u8x16>(a).v[i - kBytes]; }));
}

// ---- Parts of a vector in memory ------------------------------------------------------------------------------------

template <class P>
ZEL_INLINE u8x16 loadLow8(const P* p) {
  Vec<uint64_t, 16> a = zero<Vec<uint64_t, 16>>();
  uint64_t low;
  __builtin_memcpy(&low, p, sizeof low);
  a.v[0] = low;
  return as<u8x16>(a);
}
template <class P, class T>
ZEL_INLINE void storeLow8(P* p, Vec<T, 16> a) {
  const uint64_t low = as<Vec<uint64_t, 16>>(a).v[0];
  __builtin_memcpy(p, &low, sizeof low);
}
template <class P, class T>
ZEL_INLINE void storeHigh8(P* p, Vec<T, 16> a) {
  const uint64_t high = as<Vec<uint64_t, 16>>(a).v[1];
  __builtin_memcpy(p, &high, sizeof high);
}
template <class P, class T>
ZEL_INLINE void storePastCache(P* p, Vec<T, 16> a) {
  store(p, a);
}
ZEL_INLINE void fenceStores() {}

// ---- Widening, and single precision ---------------------------------------------------------------------------------

ZEL_INLINE i16x8 widenedLow(u8x16 a) {
  return eachLane<i16x8>([&](int i) { return a.v[i]; });
}
ZEL_INLINE i32x4 widenedLow(i16x8 a) {
  return eachLane<i32x4>([&](int i) { return a.v[i]; });
}
ZEL_INLINE f32x4 toFloat(i32x4 a) {
  return eachLane<f32x4>([&](int i) { return a.v[i]; });
}
// Below 2^31 in magnitude, or -2^31 itself; false of what is no number.
ZEL_INLINE bool fitsInt(float x) { return x >= -2147483648.0f && x < 2147483648.0f; }
ZEL_INLINE i32x4 truncToInt(f32x4 a) {
  return eachLane<i32x4>([&](int i) { return fitsInt(a.v[i]) ? int32_t(a.v[i]) : INT32_MIN; });
}
ZEL_INLINE i32x4 roundToInt(f32x4 a) {
  return eachLane<i32x4>([&](int i) { return fitsInt(a.v[i]) ? int32_t(__builtin_rintf(a.v[i])) : INT32_MIN; });
}

}  // namespace
}  // namespace ZEL_VARIANT
