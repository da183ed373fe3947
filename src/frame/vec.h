// Value types over one vector register, and the operations that the kernels use.
//
// Vec<T> is as wide as the build: 16 bytes in the sse41 variant, 32 in avx2; Vec<T, 16> has 16 bytes in both.
// Arithmetic wraps in every lane type, so that a lane overflow is defined. The AVX2 forms of pack, unpack and byte
// shuffle work inside each 128-bit half; operations here keep element order unless "128" in their name says that they
// do not.
#pragma once

#include <immintrin.h>
#include <stdint.h>

#define ZEL_INLINE [[gnu::always_inline]] inline

// The compiler's vectors and the intrinsics' registers are turned into one another by C casts, which C++ has no other
// word for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace ZEL_VARIANT {
namespace {

#ifdef __AVX2__
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
#ifdef __AVX2__
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

// ---- Halves of a 32-byte vector -------------------------------------------------------------------------------------

#ifdef __AVX2__
template <class T>
ZEL_INLINE Vec<T, 16> lowHalf(Vec<T, 32> a) {
  return {(typename Vec<T, 16>::Raw)_mm256_castsi256_si128((__m256i)a.v)};
}
template <class T>
ZEL_INLINE Vec<T, 16> highHalf(Vec<T, 32> a) {
  return {(typename Vec<T, 16>::Raw)_mm256_extracti128_si256((__m256i)a.v, 1)};
}
template <class T>
ZEL_INLINE Vec<T, 32> join(Vec<T, 16> low, Vec<T, 16> high) {
  return {
      (typename Vec<T, 32>::Raw)_mm256_inserti128_si256(_mm256_castsi128_si256((__m128i)low.v), (__m128i)high.v, 1)};
}
#endif

// The same 16 bytes in each 128-bit half.
template <class V, class T>
ZEL_INLINE V repeat128(Vec<T, 16> a) {
#ifdef __AVX2__
  if constexpr (sizeof(V) == 32) return V{(typename V::Raw)_mm256_broadcastsi128_si256((__m128i)a.v)};
#endif
  if constexpr (sizeof(V) == 16) return V{(typename V::Raw)a.v};
}

// ---- Operations that the compiler's vectors cannot express ----------------------------------------------------------
// ZEL_BINARY defines name(a, b) for one lane type at 16 bytes, and at 32 where the build has them.

#ifdef __AVX2__
#define ZEL_BINARY(name, From, To, suffix)                                  \
  ZEL_INLINE Vec<To, 16> name(Vec<From, 16> a, Vec<From, 16> b) {           \
    return {(Vec<To, 16>::Raw)_mm_##suffix((__m128i)a.v, (__m128i)b.v)};    \
  }                                                                         \
  ZEL_INLINE Vec<To, 32> name(Vec<From, 32> a, Vec<From, 32> b) {           \
    return {(Vec<To, 32>::Raw)_mm256_##suffix((__m256i)a.v, (__m256i)b.v)}; \
  }
#define ZEL_UNARY(name, From, To, suffix)                                                                 \
  ZEL_INLINE Vec<To, 16> name(Vec<From, 16> a) { return {(Vec<To, 16>::Raw)_mm_##suffix((__m128i)a.v)}; } \
  ZEL_INLINE Vec<To, 32> name(Vec<From, 32> a) { return {(Vec<To, 32>::Raw)_mm256_##suffix((__m256i)a.v)}; }
#else
#define ZEL_BINARY(name, From, To, suffix)                               \
  ZEL_INLINE Vec<To, 16> name(Vec<From, 16> a, Vec<From, 16> b) {        \
    return {(Vec<To, 16>::Raw)_mm_##suffix((__m128i)a.v, (__m128i)b.v)}; \
  }
#define ZEL_UNARY(name, From, To, suffix) \
  ZEL_INLINE Vec<To, 16> name(Vec<From, 16> a) { return {(Vec<To, 16>::Raw)_mm_##suffix((__m128i)a.v)}; }
#endif

ZEL_BINARY(addSat, int8_t, int8_t, adds_epi8)
ZEL_BINARY(addSat, uint8_t, uint8_t, adds_epu8)
ZEL_BINARY(addSat, int16_t, int16_t, adds_epi16)
ZEL_BINARY(addSat, uint16_t, uint16_t, adds_epu16)
ZEL_BINARY(subSat, int8_t, int8_t, subs_epi8)
ZEL_BINARY(subSat, uint8_t, uint8_t, subs_epu8)
ZEL_BINARY(subSat, int16_t, int16_t, subs_epi16)
ZEL_BINARY(subSat, uint16_t, uint16_t, subs_epu16)
ZEL_BINARY(min, uint8_t, uint8_t, min_epu8)
ZEL_BINARY(max, uint8_t, uint8_t, max_epu8)
ZEL_BINARY(min, int16_t, int16_t, min_epi16)
ZEL_BINARY(max, int16_t, int16_t, max_epi16)
ZEL_BINARY(min, int32_t, int32_t, min_epi32)
ZEL_BINARY(max, int32_t, int32_t, max_epi32)
ZEL_BINARY(average, uint8_t, uint8_t, avg_epu8)  // (a + b + 1) >> 1, no overflow
ZEL_BINARY(average, uint16_t, uint16_t, avg_epu16)
ZEL_BINARY(mulHi, int16_t, int16_t, mulhi_epi16)  // the high half of the 32-bit product
ZEL_BINARY(mulHi, uint16_t, uint16_t, mulhi_epu16)
ZEL_BINARY(maddPairs, int16_t, int32_t, madd_epi16)      // a[2i] * b[2i] + a[2i + 1] * b[2i + 1]
ZEL_BINARY(mulEven, int32_t, int64_t, mul_epi32)         // a[2i] * b[2i]
ZEL_BINARY(addNeighbours, int32_t, int32_t, hadd_epi32)  // a0+a1 a2+a3 b0+b1 b2+b3, in each 128-bit half
ZEL_BINARY(withSign, int16_t, int16_t, sign_epi16)       // a, -a or 0 as b is positive, negative or 0
ZEL_BINARY(shuffle128, uint8_t, uint8_t, shuffle_epi8)   // a[b & 15], or 0 where bit 7 of b is set, in each half
ZEL_BINARY(packI16x128, int32_t, int16_t, packs_epi32)   // a0..a3 b0..b3 | a4..a7 b4..b7, saturated
ZEL_BINARY(packU16x128, int32_t, uint16_t, packus_epi32)
ZEL_BINARY(packU8x128, int16_t, uint8_t, packus_epi16)  // a0..a7 b0..b7 | a8..a15 b8..b15, saturated
ZEL_BINARY(packI8x128, int16_t, int8_t, packs_epi16)
ZEL_UNARY(abs, int16_t, int16_t, abs_epi16)
ZEL_UNARY(abs, int32_t, int32_t, abs_epi32)
#undef ZEL_BINARY
#undef ZEL_UNARY

// Unsigned bytes times signed bytes, pairs added with signed saturation.
template <int B>
ZEL_INLINE Vec<int16_t, B> maddBytes(Vec<uint8_t, B> a, Vec<int8_t, B> b) {
#ifdef __AVX2__
  if constexpr (B == 32) return {(Vec<int16_t, 32>::Raw)_mm256_maddubs_epi16((__m256i)a.v, (__m256i)b.v)};
#endif
  if constexpr (B == 16) return {(Vec<int16_t, 16>::Raw)_mm_maddubs_epi16((__m128i)a.v, (__m128i)b.v)};
}

// (a * b + 2^14) >> 15. Without VEX instructions GCC 12 stops at an operand that it takes from unaligned memory, so
// both go through registers.
template <int B>
ZEL_INLINE Vec<int16_t, B> mulHiRound(Vec<int16_t, B> a, Vec<int16_t, B> b) {
#ifdef __AVX2__
  if constexpr (B == 32) return {(Vec<int16_t, 32>::Raw)_mm256_mulhrs_epi16((__m256i)a.v, (__m256i)b.v)};
#else
  __asm__("" : "+x"(a.v), "+x"(b.v));
#endif
  if constexpr (B == 16) return {(Vec<int16_t, 16>::Raw)_mm_mulhrs_epi16((__m128i)a.v, (__m128i)b.v)};
}

// The sum of the eight bytes of each 64-bit lane.
template <int B>
ZEL_INLINE Vec<uint64_t, B> sumsOfBytes(Vec<uint8_t, B> a) {
#ifdef __AVX2__
  if constexpr (B == 32) return {(Vec<uint64_t, 32>::Raw)_mm256_sad_epu8((__m256i)a.v, __m256i{})};
#endif
  if constexpr (B == 16) return {(Vec<uint64_t, 16>::Raw)_mm_sad_epu8((__m128i)a.v, __m128i{})};
}

// a where the mask is all ones, b where it is zero.
template <class T, int B>
ZEL_INLINE Vec<T, B> select(Vec<T, B> mask, Vec<T, B> a, Vec<T, B> b) {
#ifdef __AVX2__
  if constexpr (B == 32)
    return {(typename Vec<T, B>::Raw)_mm256_blendv_epi8((__m256i)b.v, (__m256i)a.v, (__m256i)mask.v)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_blendv_epi8((__m128i)b.v, (__m128i)a.v, (__m128i)mask.v)};
}

// 16-bit lane i of b where bit i of kMask is set, else of a; the same mask in each 128-bit half.
template <int kMask, class T, int B>
ZEL_INLINE Vec<T, B> blend16x128(Vec<T, B> a, Vec<T, B> b) {
#ifdef __AVX2__
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_blend_epi16((__m256i)a.v, (__m256i)b.v, kMask)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_blend_epi16((__m128i)a.v, (__m128i)b.v, kMask)};
}

// One bit for each byte: its top bit.
template <class T, int B>
ZEL_INLINE uint32_t byteMask(Vec<T, B> a) {
#ifdef __AVX2__
  if constexpr (B == 32) return uint32_t(_mm256_movemask_epi8((__m256i)a.v));
#endif
  if constexpr (B == 16) return uint32_t(_mm_movemask_epi8((__m128i)a.v));
}

template <class T, int B>
ZEL_INLINE bool isZero(Vec<T, B> a) {
#ifdef __AVX2__
  if constexpr (B == 32) return _mm256_testz_si256((__m256i)a.v, (__m256i)a.v) != 0;
#endif
  if constexpr (B == 16) return _mm_testz_si128((__m128i)a.v, (__m128i)a.v) != 0;
}

// Interleave the low (or high) halves of a and b: a0 b0 a1 b1 ...; in the 32-byte form within each 128-bit half.
#define ZEL_UNPACK(name, op)                                                                  \
  template <class T, int B>                                                                   \
  ZEL_INLINE Vec<T, B> name(Vec<T, B> a, Vec<T, B> b) {                                       \
    using R = typename Vec<T, B>::Raw;                                                        \
    if constexpr (B == 16) {                                                                  \
      if constexpr (sizeof(T) == 1) return {(R)_mm_##op##_epi8((__m128i)a.v, (__m128i)b.v)};  \
      if constexpr (sizeof(T) == 2) return {(R)_mm_##op##_epi16((__m128i)a.v, (__m128i)b.v)}; \
      if constexpr (sizeof(T) == 4) return {(R)_mm_##op##_epi32((__m128i)a.v, (__m128i)b.v)}; \
      if constexpr (sizeof(T) == 8) return {(R)_mm_##op##_epi64((__m128i)a.v, (__m128i)b.v)}; \
    }                                                                                         \
    ZEL_UNPACK_WIDE(op)                                                                       \
  }
#ifdef __AVX2__
#define ZEL_UNPACK_WIDE(op)                                                                    \
  if constexpr (B == 32) {                                                                     \
    if constexpr (sizeof(T) == 1) return {(R)_mm256_##op##_epi8((__m256i)a.v, (__m256i)b.v)};  \
    if constexpr (sizeof(T) == 2) return {(R)_mm256_##op##_epi16((__m256i)a.v, (__m256i)b.v)}; \
    if constexpr (sizeof(T) == 4) return {(R)_mm256_##op##_epi32((__m256i)a.v, (__m256i)b.v)}; \
    if constexpr (sizeof(T) == 8) return {(R)_mm256_##op##_epi64((__m256i)a.v, (__m256i)b.v)}; \
  }
#else
#define ZEL_UNPACK_WIDE(op)
#endif
ZEL_UNPACK(unpackLow128, unpacklo)
ZEL_UNPACK(unpackHigh128, unpackhi)
#undef ZEL_UNPACK
#undef ZEL_UNPACK_WIDE

// The 32-bit lanes of each 128-bit half in the order of the four 2-bit fields of kOrder, lowest field first.
template <int kOrder, class T, int B>
ZEL_INLINE Vec<T, B> permute32x128(Vec<T, B> a) {
#ifdef __AVX2__
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_shuffle_epi32((__m256i)a.v, kOrder)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_epi32((__m128i)a.v, kOrder)};
}

#ifdef __AVX2__
// The 32-bit lanes of each 128-bit half that the low two bits of order's lanes name.
template <class T>
ZEL_INLINE Vec<T, 32> pick32x128(Vec<T, 32> a, Vec<uint32_t, 32> order) {
  return {(typename Vec<T, 32>::Raw)_mm256_permutevar_ps((__m256)a.v, (__m256i)order.v)};
}
// Each lane shifted by its own count, below 32.
ZEL_INLINE Vec<uint32_t, 32> shiftRight(Vec<uint32_t, 32> a, Vec<uint32_t, 32> n) {
  return {(Vec<uint32_t, 32>::Raw)_mm256_srlv_epi32((__m256i)a.v, (__m256i)n.v)};
}
#endif

// The lanes of even (or odd) index of each 128-bit half: of a, then of b.
#ifdef __AVX2__
#define ZEL_SHUFFLE_PAIR(a, b, order) \
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_shuffle_ps((__m256)a.v, (__m256)b.v, order)};
#else
#define ZEL_SHUFFLE_PAIR(a, b, order)
#endif
template <class T, int B>
ZEL_INLINE Vec<T, B> evenLanes32x128(Vec<T, B> a, Vec<T, B> b) {
  ZEL_SHUFFLE_PAIR(a, b, 0x88)
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_ps((__m128)a.v, (__m128)b.v, 0x88)};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> oddLanes32x128(Vec<T, B> a, Vec<T, B> b) {
  ZEL_SHUFFLE_PAIR(a, b, 0xDD)
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_ps((__m128)a.v, (__m128)b.v, 0xDD)};
}
#undef ZEL_SHUFFLE_PAIR

// ---- Width changes that keep element order --------------------------------------------------------------------------

#ifdef __AVX2__
template <class V>
ZEL_INLINE V inOrder(V a) {
  return {(typename V::Raw)_mm256_permute4x64_epi64((__m256i)a.v, 0xD8)};
}
ZEL_INLINE Vec<int16_t, 32> packI16(Vec<int32_t, 32> a, Vec<int32_t, 32> b) { return inOrder(packI16x128(a, b)); }
ZEL_INLINE Vec<uint16_t, 32> packU16(Vec<int32_t, 32> a, Vec<int32_t, 32> b) { return inOrder(packU16x128(a, b)); }
ZEL_INLINE Vec<uint8_t, 32> packU8(Vec<int16_t, 32> a, Vec<int16_t, 32> b) { return inOrder(packU8x128(a, b)); }
ZEL_INLINE Vec<uint8_t, 16> packU8(Vec<int16_t, 32> a) { return packU8x128(lowHalf(a), highHalf(a)); }
#endif
ZEL_INLINE Vec<int16_t, 16> packI16(Vec<int32_t, 16> a, Vec<int32_t, 16> b) { return packI16x128(a, b); }
ZEL_INLINE Vec<uint16_t, 16> packU16(Vec<int32_t, 16> a, Vec<int32_t, 16> b) { return packU16x128(a, b); }
ZEL_INLINE Vec<uint8_t, 16> packU8(Vec<int16_t, 16> a, Vec<int16_t, 16> b) { return packU8x128(a, b); }

// The samples of even and of odd index of 2 N consecutive ones, a then b; and back, stored.
template <class V>
struct EvenOdd {
  V even, odd;
};
template <class T, int B>
ZEL_INLINE EvenOdd<Vec<T, B>> deinterleave(Vec<T, B> a, Vec<T, B> b) {
  using V = Vec<T, B>;
  EvenOdd<V> r;
  if constexpr (sizeof(T) == 4) {
    r = {evenLanes32x128(a, b), oddLanes32x128(a, b)};
  } else {
    using Bytes = Vec<uint8_t, B>;
    using Wide = Vec<int64_t, B>;
    constexpr int64_t kEven = 0x0D0C090805040100, kOdd = 0x0F0E0B0A07060302;  // 16-bit lanes of each 8 bytes
    const Bytes index = repeat128<Bytes>(Vec<int64_t, 16>{{kEven, kOdd}});
    const Wide p = as<Wide>(shuffle128(as<Bytes>(a), index)), q = as<Wide>(shuffle128(as<Bytes>(b), index));
    r = {as<V>(unpackLow128(p, q)), as<V>(unpackHigh128(p, q))};
  }
#ifdef __AVX2__
  if constexpr (B == 32) r = {inOrder(r.even), inOrder(r.odd)};
#endif
  return r;
}
template <class P, class T, int B>
ZEL_INLINE void storeInterleaved(P* p, Vec<T, B> even, Vec<T, B> odd) {
  const Vec<T, B> low = unpackLow128(even, odd), high = unpackHigh128(even, odd);
#ifdef __AVX2__
  if constexpr (B == 32) {
    using R = typename Vec<T, B>::Raw;
    store(p, Vec<T, B>{(R)_mm256_permute2x128_si256((__m256i)low.v, (__m256i)high.v, 0x20)});
    store(p + Vec<T, B>::N, Vec<T, B>{(R)_mm256_permute2x128_si256((__m256i)low.v, (__m256i)high.v, 0x31)});
    return;
  }
#endif
  store(p, low);
  store(p + Vec<T, B>::N, high);
}

// Eight bytes in the low half, zero above.
template <class P>
ZEL_INLINE u8x16 loadLow8(const P* p) {
  return {(u8x16::Raw)_mm_loadl_epi64(reinterpret_cast<const __m128i_u*>(p))};
}
template <class P, class T>
ZEL_INLINE void storeLow8(P* p, Vec<T, 16> a) {
  _mm_storel_epi64(reinterpret_cast<__m128i_u*>(p), (__m128i)a.v);
}

template <class P, class T>
ZEL_INLINE void storeHigh8(P* p, Vec<T, 16> a) {
  _mm_storeh_pi(reinterpret_cast<__m64*>(p), (__m128)a.v);
}

// Lanes moved up by kBytes within 16 bytes, zeros below.
template <int kBytes, class T>
ZEL_INLINE Vec<T, 16> movedUp(Vec<T, 16> a) {
  return {(typename Vec<T, 16>::Raw)_mm_slli_si128((__m128i)a.v, kBytes)};
}

// Stored past the cache, to an address on a vector boundary; fenceStores() after the last of such stores.
template <class P, class T>
ZEL_INLINE void storePastCache(P* p, Vec<T, 16> a) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(p), (__m128i)a.v);
}
ZEL_INLINE void fenceStores() { _mm_sfence(); }

// V::N samples widened: 8u to 16 bits, 16s to 32 bits.
#ifdef __AVX2__
ZEL_INLINE Vec<int16_t, 32> widened(u8x16 a) { return {(Vec<int16_t, 32>::Raw)_mm256_cvtepu8_epi16((__m128i)a.v)}; }
#endif
template <class V>
ZEL_INLINE V loadWiden(const uint8_t* p) {
#ifdef __AVX2__
  if constexpr (sizeof(V) == 32) return as<V>(widened(load<u8x16>(p)));
#endif
  if constexpr (sizeof(V) == 16) return {(typename V::Raw)_mm_cvtepu8_epi16((__m128i)loadLow8(p).v)};
}
template <class V>
ZEL_INLINE V loadWiden(const int16_t* p) {
#ifdef __AVX2__
  if constexpr (sizeof(V) == 32)
    return {(typename V::Raw)_mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i_u*>(p)))};
#endif
  if constexpr (sizeof(V) == 16) return {(typename V::Raw)_mm_cvtepi16_epi32((__m128i)loadLow8(p).v)};
}

// V::N samples narrowed with saturation to 0..255.
ZEL_INLINE void storeNarrow(uint8_t* p, Vec<int16_t, 16> a) { storeLow8(p, packU8x128(a, a)); }
#ifdef __AVX2__
ZEL_INLINE void storeNarrow(uint8_t* p, Vec<int16_t, 32> a) { store(p, packU8(a)); }
#endif

// ---- Single precision -----------------------------------------------------------------------------------------------

ZEL_INLINE Vec<float, 16> toFloat(Vec<int32_t, 16> a) { return {_mm_cvtepi32_ps((__m128i)a.v)}; }
ZEL_INLINE Vec<int32_t, 16> roundToInt(Vec<float, 16> a) { return {(i32x4::Raw)_mm_cvtps_epi32(a.v)}; }  // ties to even
ZEL_INLINE Vec<int32_t, 16> truncToInt(Vec<float, 16> a) { return {(i32x4::Raw)_mm_cvttps_epi32(a.v)}; }
#ifdef __AVX2__
ZEL_INLINE Vec<float, 32> toFloat(Vec<int32_t, 32> a) { return {_mm256_cvtepi32_ps((__m256i)a.v)}; }
ZEL_INLINE Vec<int32_t, 32> roundToInt(Vec<float, 32> a) { return {(i32x8::Raw)_mm256_cvtps_epi32(a.v)}; }
ZEL_INLINE Vec<int32_t, 32> truncToInt(Vec<float, 32> a) { return {(i32x8::Raw)_mm256_cvttps_epi32(a.v)}; }
#endif

}  // namespace
}  // namespace ZEL_VARIANT

#pragma GCC diagnostic pop
