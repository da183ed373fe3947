// Value types over one vector register, and the operations that the kernels use.
//
// Vec<T> is as wide as the build: 32 bytes in the avx2 variant, 16 in all others; Vec<T, 16> has 16 bytes in each.
// Arithmetic wraps in every lane type, so that a lane overflow is defined. Operations keep element order, but those
// with "128" in their names, which work inside each 128-bit half.
//
// Here is what the compiler's vectors say for any processor, and what is put together from that. What takes intrinsics
// is in one file for each instruction set, included in the middle.
#pragma once

#include <stddef.h>
#include <stdint.h>

#define ZEL_INLINE [[gnu::always_inline]] inline

// Defined where vectors of 32 bytes are there beside those of 16.
#if defined(__AVX2__) && !defined(ZEL_PORTABLE)
#define ZEL_VEC32
#endif

// The compiler's vectors and the intrinsics' registers are turned into one another by C casts, which C++ has no other
// word for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace ZEL_VARIANT {
namespace {

#ifdef ZEL_VEC32
constexpr int kVecBytes = 32;
#else
constexpr int kVecBytes = 16;
#endif

template <class T, int Bytes = kVecBytes>
struct Vec {
  static constexpr int N = Bytes / int(sizeof(T));
  using Lane = T;
  using Raw __attribute__((vector_size(Bytes))) = T;
  Raw v;
};

using u8v = Vec<uint8_t>;
using i8v = Vec<int8_t>;
using i16v = Vec<int16_t>;
using u16v = Vec<uint16_t>;
using i32v = Vec<int32_t>;
using u32v = Vec<uint32_t>;
using f32v = Vec<float>;

using u8x16 = Vec<uint8_t, 16>;
using i8x16 = Vec<int8_t, 16>;
using i16x8 = Vec<int16_t, 16>;  // a block row of eight, in every build
using u16x8 = Vec<uint16_t, 16>;
using i32x4 = Vec<int32_t, 16>;
using u32x4 = Vec<uint32_t, 16>;
using f32x4 = Vec<float, 16>;
#ifdef ZEL_VEC32
using u8x32 = Vec<uint8_t, 32>;
using i16x16 = Vec<int16_t, 32>;
using u16x16 = Vec<uint16_t, 32>;
using i32x8 = Vec<int32_t, 32>;
using f32x8 = Vec<float, 32>;
#endif

// The lane type in which + - * << of a lane type are computed: unsigned, so that they wrap.
template <class T>
struct WrapLane {
  using Type = T;
};
template <>
struct WrapLane<int8_t> {
  using Type = uint8_t;
};
template <>
struct WrapLane<int16_t> {
  using Type = uint16_t;
};
template <>
struct WrapLane<int32_t> {
  using Type = uint32_t;
};
template <>
struct WrapLane<int64_t> {
  using Type = uint64_t;
};

template <class T, int B>
using WrapRaw = typename Vec<typename WrapLane<T>::Type, B>::Raw;

// ---- Loads, stores, lane-wise arithmetic ----------------------------------------------------------------------------

// A vector in memory, at any address and whatever type the memory has. (A memcpy of 32 bytes becomes two halves.)
template <class V>
struct __attribute__((packed, may_alias)) InMemory {
  typename V::Raw v;
};

template <class V, class P>
ZEL_INLINE V load(const P* p) {
  return {reinterpret_cast<const InMemory<V>*>(p)->v};
}
template <class P, class T, int B>
ZEL_INLINE void store(P* p, Vec<T, B> a) {
  reinterpret_cast<InMemory<Vec<T, B>>*>(p)->v = a.v;
}

// A vector at an address that is a multiple of its size: a constant in a table, to be an operand in memory.
template <class V>
struct __attribute__((may_alias)) AlignedInMemory {
  typename V::Raw v;
};
template <class V, class P>
ZEL_INLINE V loadAligned(const P* p) {
  return {reinterpret_cast<const AlignedInMemory<V>*>(p)->v};
}

// One sample at any address: rows whose step is odd are not aligned even to their samples.
template <class T>
ZEL_INLINE T loadOne(const T* p) {
  T x;
  __builtin_memcpy(&x, p, sizeof x);
  return x;
}
template <class T>
ZEL_INLINE void storeOne(T* p, T x) {
  __builtin_memcpy(p, &x, sizeof x);
}

template <class V>
ZEL_INLINE V zero() {
  return V{typename V::Raw{}};
}
template <class V>
ZEL_INLINE V splat(typename V::Lane x) {
  return V{x - typename V::Raw{}};
}

// The same bits read as other lanes.
template <class To, class T, int B>
ZEL_INLINE To as(Vec<T, B> a) {
  static_assert(sizeof(To) == sizeof a, "a reinterpretation keeps the width");
  return To{(typename To::Raw)a.v};
}

template <class T, int B>
ZEL_INLINE Vec<T, B> operator+(Vec<T, B> a, Vec<T, B> b) {
  return as<Vec<T, B>>(Vec<typename WrapLane<T>::Type, B>{(WrapRaw<T, B>)a.v + (WrapRaw<T, B>)b.v});
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator-(Vec<T, B> a, Vec<T, B> b) {
  return as<Vec<T, B>>(Vec<typename WrapLane<T>::Type, B>{(WrapRaw<T, B>)a.v - (WrapRaw<T, B>)b.v});
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator*(Vec<T, B> a, Vec<T, B> b) {  // the low half of the product
  return as<Vec<T, B>>(Vec<typename WrapLane<T>::Type, B>{(WrapRaw<T, B>)a.v * (WrapRaw<T, B>)b.v});
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator<<(Vec<T, B> a, int n) {
  return as<Vec<T, B>>(Vec<typename WrapLane<T>::Type, B>{(WrapRaw<T, B>)a.v << n});
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator>>(Vec<T, B> a, int n) {
  return {a.v >> n};
}  // by lane type
template <class T, int B>
ZEL_INLINE Vec<T, B> operator&(Vec<T, B> a, Vec<T, B> b) {
  return {a.v & b.v};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator|(Vec<T, B> a, Vec<T, B> b) {
  return {a.v | b.v};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator^(Vec<T, B> a, Vec<T, B> b) {
  return {a.v ^ b.v};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator~(Vec<T, B> a) {
  return {~a.v};
}

// Comparisons give all ones or zero in each lane.
template <class T, int B>
ZEL_INLINE Vec<T, B> operator==(Vec<T, B> a, Vec<T, B> b) {
  return {(typename Vec<T, B>::Raw)(a.v == b.v)};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> operator>(Vec<T, B> a, Vec<T, B> b) {
  return {(typename Vec<T, B>::Raw)(a.v > b.v)};
}

}  // namespace
}  // namespace ZEL_VARIANT

// ---- Operations that the compiler's vectors cannot express ----------------------------------------------------------
// The file of the instruction set gives these, at 16 bytes, and those of the first four groups at 32 where the build
// has them. Results are the same in each, to the bit, for every input.
//
//   addSat subSat            8 and 16 bits, saturated
//   min max                  u8 i16 i32
//   average                  u8 u16: (a + b + 1) >> 1, no overflow
//   mulHi                    i16 u16: the high half of the 32-bit product
//   mulHiRound               i16: (a * b + 2^14) >> 15, wrapped
//   mulHiRoundInRange        the same where not both are -32768
//   maddPairs                i16 to i32: a[2i] * b[2i] + a[2i + 1] * b[2i + 1], wrapped
//   maddBytes                u8 and i8 to i16: the same, saturated
//   mulEven                  i32 to i64: a[2i] * b[2i]
//   abs                      i16 i32; that of the smallest number is itself
//   select(mask, a, b)       a where the mask is all ones, b where it is zero
//   blend16x128<kMask>       16-bit lane i of b where bit i of kMask is set, else of a
//   byteMask                 one bit for each byte: its top bit
//   isZero                   whether all bits are
//
//   addNeighbours            i32: a0+a1 a2+a3 b0+b1 b2+b3
//   shuffle128(a, b)         u8: a[b] for a b below 16, 0 for one of 128 or more; no b is between
//   packI16x128 packU16x128  i32 to 16 bits, saturated: those of a, then those of b
//   packU8x128 packI8x128    i16 to 8 bits, likewise
//   unpackLow128 ..High128   a0 b0 a1 b1 ..: the low (high) halves of a and b in turn
//   permute32x128<kOrder>    32-bit parts in the order of the four 2-bit fields of kOrder, lowest field first
//   evenLanes128 oddLanes128 16 or 32 bits: the lanes of even (odd) index of a, then those of b
//
//   repeat128<V>             the same 16 bytes in each half
//   toFloat                  i32
//   roundToInt truncToInt    to i32, ties to even or cut off; INT32_MIN where it does not fit or is no number
//
//   loadLow8 storeLow8       eight bytes in memory and in the low half; zeros above
//   storeHigh8               the eight bytes of the high half
//   widenedLow               the low half, u8 to i16 and i16 to i32
//   movedUp<kBytes>          bytes moved up, zeros below
//   storePastCache           to a multiple of 16 bytes, not kept in the cache where that can be said
//   fenceStores              after the last of such stores

#if defined(ZEL_PORTABLE)
#include "frame/vec_portable.h"
#elif defined(__SSE4_1__)
#include "frame/vec_x86.h"
#elif defined(__aarch64__)
#include "frame/vec_neon.h"
#else
#error "vectors for this processor: configure with ZELJ_PORTABLE"
#endif

namespace ZEL_VARIANT {
namespace {

// ---- Combinations of these that some instruction set has an instruction for -----------------------------------------
// What they give is told by the forms here, those of all instruction sets that do not define ZEL_OWN_COMBINATIONS.

// One factor for the lanes of even and one for those of odd index.
template <int B>
ZEL_INLINE Vec<int16_t, B> pairFactors(int even, int odd) {
  return as<Vec<int16_t, B>>(splat<Vec<int32_t, B>>(int32_t(uint32_t(uint16_t(even)) | uint32_t(odd) << 16)));
}

// 32-bit results of the 16-bit lanes in the low half (of each 128 bits), and in the high half.
template <int B>
struct Wide {
  Vec<int32_t, B> low, high;
};

#ifndef ZEL_OWN_COMBINATIONS
template <int B>
ZEL_INLINE Vec<int16_t, B> mulHiRoundInRange(Vec<int16_t, B> a, Vec<int16_t, B> b) {
  return mulHiRound(a, b);
}

template <int B>
ZEL_INLINE Vec<int32_t, B> maddPairs(Vec<int16_t, B> a, Vec<int16_t, B> b, Vec<int16_t, B> c, Vec<int16_t, B> d) {
  return maddPairs(a, b) + maddPairs(c, d);
}

// a * fa + b * fb of every lane
template <int B>
ZEL_INLINE Wide<B> weighted128(Vec<int16_t, B> a, int fa, Vec<int16_t, B> b, int fb) {
  const Vec<int16_t, B> factors = pairFactors<B>(fa, fb);
  return {maddPairs(unpackLow128(a, b), factors), maddPairs(unpackHigh128(a, b), factors)};
}

// Shifted right by kShift, 1 to 16, then packed.
template <int kShift, int B>
ZEL_INLINE Vec<int16_t, B> packI16x128(Vec<int32_t, B> a, Vec<int32_t, B> b) {
  return packI16x128(a >> kShift, b >> kShift);
}

// Bits kFrom to kFrom + 15 of the lanes of a and b in turn.
template <int kFrom, int B>
ZEL_INLINE Vec<int16_t, B> bitsInTurn(Vec<int32_t, B> a, Vec<int32_t, B> b) {
  using Lanes = Vec<int16_t, B>;
  return blend16x128<0xAA>(as<Lanes>(as<Vec<uint32_t, B>>(a) >> kFrom), as<Lanes>(b << (16 - kFrom)));
}
#endif

// ---- Width changes that keep element order --------------------------------------------------------------------------

#ifdef ZEL_VEC32
ZEL_INLINE i16x16 packI16(i32x8 a, i32x8 b) { return inOrder(packI16x128(a, b)); }
ZEL_INLINE u16x16 packU16(i32x8 a, i32x8 b) { return inOrder(packU16x128(a, b)); }
ZEL_INLINE u8x32 packU8(i16x16 a, i16x16 b) { return inOrder(packU8x128(a, b)); }
ZEL_INLINE u8x16 packU8(i16x16 a) { return packU8x128(lowHalf(a), highHalf(a)); }
#endif
ZEL_INLINE i16x8 packI16(i32x4 a, i32x4 b) { return packI16x128(a, b); }
ZEL_INLINE u16x8 packU16(i32x4 a, i32x4 b) { return packU16x128(a, b); }
ZEL_INLINE u8x16 packU8(i16x8 a, i16x8 b) { return packU8x128(a, b); }

// The samples of even and of odd index of 2 N consecutive ones, a then b; and back, stored.
template <class V>
struct EvenOdd {
  V even, odd;
};
template <class T, int B>
ZEL_INLINE EvenOdd<Vec<T, B>> deinterleave(Vec<T, B> a, Vec<T, B> b) {
  EvenOdd<Vec<T, B>> r = {evenLanes128(a, b), oddLanes128(a, b)};
#ifdef ZEL_VEC32
  if constexpr (B == 32) r = {inOrder(r.even), inOrder(r.odd)};
#endif
  return r;
}
template <class P, class T, int B>
ZEL_INLINE void storeInterleaved(P* p, Vec<T, B> even, Vec<T, B> odd) {
  constexpr int kLanes = Vec<T, B>::N;
  const Vec<T, B> low = unpackLow128(even, odd), high = unpackHigh128(even, odd);
#ifdef ZEL_VEC32
  if constexpr (B == 32) {
    store(p, lowHalves(low, high));
    store(p + kLanes, highHalves(low, high));
    return;
  }
#endif
  store(p, low);
  store(p + kLanes, high);
}

// V::N samples widened: 8u to 16 bits, 16s to 32 bits.
template <class V>
ZEL_INLINE V loadWiden(const uint8_t* p) {
#ifdef ZEL_VEC32
  if constexpr (sizeof(V) == 32) return as<V>(widened(load<u8x16>(p)));
#endif
  if constexpr (sizeof(V) == 16) return as<V>(widenedLow(loadLow8(p)));
}
template <class V>
ZEL_INLINE V loadWiden(const int16_t* p) {
#ifdef ZEL_VEC32
  if constexpr (sizeof(V) == 32) return as<V>(widened(load<i16x8>(p)));
#endif
  if constexpr (sizeof(V) == 16) return as<V>(widenedLow(as<i16x8>(loadLow8(p))));
}

// V::N samples narrowed with saturation to 0..255.
ZEL_INLINE void storeNarrow(uint8_t* p, i16x8 a) { storeLow8(p, packU8x128(a, a)); }
#ifdef ZEL_VEC32
ZEL_INLINE void storeNarrow(uint8_t* p, i16x16 a) { store(p, packU8(a)); }
#endif

}  // namespace
}  // namespace ZEL_VARIANT

#pragma GCC diagnostic pop
