// The instruction set of the x86-64 variants: SSE4.1 at 16 bytes, and AVX2 at 32. What each operation does is told in
// vec.h.
//
// The AVX2 forms of pack, unpack and byte shuffle work inside each 128-bit half, as "128" in their names says.
#pragma once

#include <immintrin.h>

#include "frame/vec.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace ZEL_VARIANT {
namespace {

// ---- Halves of a 32-byte vector -------------------------------------------------------------------------------------

#ifdef ZEL_VEC32
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

template <class V, class T>
ZEL_INLINE V repeat128(Vec<T, 16> a) {
#ifdef ZEL_VEC32
  if constexpr (sizeof(V) == 32) return V{(typename V::Raw)_mm256_broadcastsi128_si256((__m128i)a.v)};
#endif
  if constexpr (sizeof(V) == 16) return V{(typename V::Raw)a.v};
}

// ---- Lane-wise ------------------------------------------------------------------------------------------------------
// ZEL_BINARY defines name(a, b) for one lane type at 16 bytes, and at 32 where the build has them.

#ifdef ZEL_VEC32
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
ZEL_BINARY(average, uint8_t, uint8_t, avg_epu8)
ZEL_BINARY(average, uint16_t, uint16_t, avg_epu16)
ZEL_BINARY(mulHi, int16_t, int16_t, mulhi_epi16)
ZEL_BINARY(mulHi, uint16_t, uint16_t, mulhi_epu16)
ZEL_BINARY(maddPairs, int16_t, int32_t, madd_epi16)
ZEL_BINARY(mulEven, int32_t, int64_t, mul_epi32)
ZEL_BINARY(addNeighbours, int32_t, int32_t, hadd_epi32)
ZEL_BINARY(shuffle128, uint8_t, uint8_t, shuffle_epi8)
ZEL_BINARY(packI16x128, int32_t, int16_t, packs_epi32)
ZEL_BINARY(packU16x128, int32_t, uint16_t, packus_epi32)
ZEL_BINARY(packU8x128, int16_t, uint8_t, packus_epi16)
ZEL_BINARY(packI8x128, int16_t, int8_t, packs_epi16)
ZEL_UNARY(abs, int16_t, int16_t, abs_epi16)
ZEL_UNARY(abs, int32_t, int32_t, abs_epi32)
#undef ZEL_BINARY
#undef ZEL_UNARY

template <int B>
ZEL_INLINE Vec<int16_t, B> maddBytes(Vec<uint8_t, B> a, Vec<int8_t, B> b) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return {(Vec<int16_t, 32>::Raw)_mm256_maddubs_epi16((__m256i)a.v, (__m256i)b.v)};
#endif
  if constexpr (B == 16) return {(Vec<int16_t, 16>::Raw)_mm_maddubs_epi16((__m128i)a.v, (__m128i)b.v)};
}

// Without VEX instructions GCC 12 stops at an operand that it takes from unaligned memory, so both go through
// registers.
template <int B>
ZEL_INLINE Vec<int16_t, B> mulHiRound(Vec<int16_t, B> a, Vec<int16_t, B> b) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return {(Vec<int16_t, 32>::Raw)_mm256_mulhrs_epi16((__m256i)a.v, (__m256i)b.v)};
#else
  __asm__("" : "+x"(a.v), "+x"(b.v));
#endif
  if constexpr (B == 16) return {(Vec<int16_t, 16>::Raw)_mm_mulhrs_epi16((__m128i)a.v, (__m128i)b.v)};
}

template <class T, int B>
ZEL_INLINE Vec<T, B> select(Vec<T, B> mask, Vec<T, B> a, Vec<T, B> b) {
#ifdef ZEL_VEC32
  if constexpr (B == 32)
    return {(typename Vec<T, B>::Raw)_mm256_blendv_epi8((__m256i)b.v, (__m256i)a.v, (__m256i)mask.v)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_blendv_epi8((__m128i)b.v, (__m128i)a.v, (__m128i)mask.v)};
}

template <int kMask, class T, int B>
ZEL_INLINE Vec<T, B> blend16x128(Vec<T, B> a, Vec<T, B> b) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_blend_epi16((__m256i)a.v, (__m256i)b.v, kMask)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_blend_epi16((__m128i)a.v, (__m128i)b.v, kMask)};
}

template <class T, int B>
ZEL_INLINE uint32_t byteMask(Vec<T, B> a) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return uint32_t(_mm256_movemask_epi8((__m256i)a.v));
#endif
  if constexpr (B == 16) return uint32_t(_mm_movemask_epi8((__m128i)a.v));
}

template <class T, int B>
ZEL_INLINE bool isZero(Vec<T, B> a) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return _mm256_testz_si256((__m256i)a.v, (__m256i)a.v) != 0;
#endif
  if constexpr (B == 16) return _mm_testz_si128((__m128i)a.v, (__m128i)a.v) != 0;
}

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
#ifdef ZEL_VEC32
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

template <int kOrder, class T, int B>
ZEL_INLINE Vec<T, B> permute32x128(Vec<T, B> a) {
#ifdef ZEL_VEC32
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_shuffle_epi32((__m256i)a.v, kOrder)};
#endif
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_epi32((__m128i)a.v, kOrder)};
}

#ifdef ZEL_VEC32
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

// The 16-bit lanes of even index, then those of odd index; what the two functions after it take their halves from.
template <class T, int B>
ZEL_INLINE Vec<int64_t, B> evenThenOdd16(Vec<T, B> a) {
  using Bytes = Vec<uint8_t, B>;
  constexpr int64_t kEven = 0x0D0C090805040100, kOdd = 0x0F0E0B0A07060302;
  return as<Vec<int64_t, B>>(shuffle128(as<Bytes>(a), repeat128<Bytes>(Vec<int64_t, 16>{{kEven, kOdd}})));
}

#ifdef ZEL_VEC32
#define ZEL_SHUFFLE_PAIR(a, b, order) \
  if constexpr (B == 32) return {(typename Vec<T, B>::Raw)_mm256_shuffle_ps((__m256)a.v, (__m256)b.v, order)};
#else
#define ZEL_SHUFFLE_PAIR(a, b, order)
#endif
template <class T, int B>
ZEL_INLINE Vec<T, B> evenLanes128(Vec<T, B> a, Vec<T, B> b) {
  if constexpr (sizeof(T) == 2) return as<Vec<T, B>>(unpackLow128(evenThenOdd16(a), evenThenOdd16(b)));
  ZEL_SHUFFLE_PAIR(a, b, 0x88)
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_ps((__m128)a.v, (__m128)b.v, 0x88)};
}
template <class T, int B>
ZEL_INLINE Vec<T, B> oddLanes128(Vec<T, B> a, Vec<T, B> b) {
  if constexpr (sizeof(T) == 2) return as<Vec<T, B>>(unpackHigh128(evenThenOdd16(a), evenThenOdd16(b)));
  ZEL_SHUFFLE_PAIR(a, b, 0xDD)
  if constexpr (B == 16) return {(typename Vec<T, B>::Raw)_mm_shuffle_ps((__m128)a.v, (__m128)b.v, 0xDD)};
}
#undef ZEL_SHUFFLE_PAIR

// ---- Order across the halves of 32 bytes ----------------------------------------------------------------------------

#ifdef ZEL_VEC32
template <class V>
ZEL_INLINE V inOrder(V a) {
  return {(typename V::Raw)_mm256_permute4x64_epi64((__m256i)a.v, 0xD8)};
}
template <class V>
ZEL_INLINE V lowHalves(V a, V b) {
  return {(typename V::Raw)_mm256_permute2x128_si256((__m256i)a.v, (__m256i)b.v, 0x20)};
}
template <class V>
ZEL_INLINE V highHalves(V a, V b) {
  return {(typename V::Raw)_mm256_permute2x128_si256((__m256i)a.v, (__m256i)b.v, 0x31)};
}
#endif

// ---- Parts of a vector in memory ------------------------------------------------------------------------------------

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
template <int kBytes, class T>
ZEL_INLINE Vec<T, 16> movedUp(Vec<T, 16> a) {
  return {(typename Vec<T, 16>::Raw)_mm_slli_si128((__m128i)a.v, kBytes)};
}
template <class P, class T>
ZEL_INLINE void storePastCache(P* p, Vec<T, 16> a) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(p), (__m128i)a.v);
}
ZEL_INLINE void fenceStores() { _mm_sfence(); }

// ---- Widening, and single precision ---------------------------------------------------------------------------------

ZEL_INLINE i16x8 widenedLow(u8x16 a) { return {(i16x8::Raw)_mm_cvtepu8_epi16((__m128i)a.v)}; }
ZEL_INLINE i32x4 widenedLow(i16x8 a) { return {(i32x4::Raw)_mm_cvtepi16_epi32((__m128i)a.v)}; }
ZEL_INLINE f32x4 toFloat(i32x4 a) { return {_mm_cvtepi32_ps((__m128i)a.v)}; }
ZEL_INLINE i32x4 roundToInt(f32x4 a) { return {(i32x4::Raw)_mm_cvtps_epi32(a.v)}; }
ZEL_INLINE i32x4 truncToInt(f32x4 a) { return {(i32x4::Raw)_mm_cvttps_epi32(a.v)}; }
#ifdef ZEL_VEC32
ZEL_INLINE i16x16 widened(u8x16 a) { return {(i16x16::Raw)_mm256_cvtepu8_epi16((__m128i)a.v)}; }
ZEL_INLINE i32x8 widened(i16x8 a) { return {(i32x8::Raw)_mm256_cvtepi16_epi32((__m128i)a.v)}; }
ZEL_INLINE f32x8 toFloat(i32x8 a) { return {_mm256_cvtepi32_ps((__m256i)a.v)}; }
ZEL_INLINE i32x8 roundToInt(f32x8 a) { return {(i32x8::Raw)_mm256_cvtps_epi32(a.v)}; }
ZEL_INLINE i32x8 truncToInt(f32x8 a) { return {(i32x8::Raw)_mm256_cvttps_epi32(a.v)}; }
#endif

// ---- Bits of a number -----------------------------------------------------------------------------------------------

#ifdef __BMI2__
// The lowest bits of x at the places of the set bits of places.
ZEL_INLINE uint64_t deposited(uint64_t x, uint64_t places) { return _pdep_u64(x, places); }
#endif

}  // namespace
}  // namespace ZEL_VARIANT

#pragma GCC diagnostic pop
