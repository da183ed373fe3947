// The instruction set of the ARM64 variant: NEON, vectors of 16 bytes. What each operation does is told in vec.h.
//
// Where NEON's own instruction differs from what the kernels expect for some input, the difference is mended here by
// compiler's vectors, which vanish where an operand is a constant that cannot meet it.
#pragma once

#include <arm_neon.h>

#include "frame/vec.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace ZEL_VARIANT {
namespace {

// ---- Lane-wise ------------------------------------------------------------------------------------------------------

#define ZEL_BINARY(name, T, type, operation) \
  ZEL_INLINE Vec<T, 16> name(Vec<T, 16> a, Vec<T, 16> b) { return {(Vec<T, 16>::Raw)operation((type)a.v, (type)b.v)}; }
ZEL_BINARY(addSat, int8_t, int8x16_t, vqaddq_s8)
ZEL_BINARY(addSat, uint8_t, uint8x16_t, vqaddq_u8)
ZEL_BINARY(addSat, int16_t, int16x8_t, vqaddq_s16)
ZEL_BINARY(addSat, uint16_t, uint16x8_t, vqaddq_u16)
ZEL_BINARY(subSat, int8_t, int8x16_t, vqsubq_s8)
ZEL_BINARY(subSat, uint8_t, uint8x16_t, vqsubq_u8)
ZEL_BINARY(subSat, int16_t, int16x8_t, vqsubq_s16)
ZEL_BINARY(subSat, uint16_t, uint16x8_t, vqsubq_u16)
ZEL_BINARY(min, uint8_t, uint8x16_t, vminq_u8)
ZEL_BINARY(max, uint8_t, uint8x16_t, vmaxq_u8)
ZEL_BINARY(min, int16_t, int16x8_t, vminq_s16)
ZEL_BINARY(max, int16_t, int16x8_t, vmaxq_s16)
ZEL_BINARY(min, int32_t, int32x4_t, vminq_s32)
ZEL_BINARY(max, int32_t, int32x4_t, vmaxq_s32)
ZEL_BINARY(average, uint8_t, uint8x16_t, vrhaddq_u8)
ZEL_BINARY(average, uint16_t, uint16x8_t, vrhaddq_u16)
ZEL_BINARY(addNeighbours, int32_t, int32x4_t, vpaddq_s32)
#undef ZEL_BINARY

ZEL_INLINE i16x8 abs(i16x8 a) { return {(i16x8::Raw)vabsq_s16((int16x8_t)a.v)}; }
ZEL_INLINE i32x4 abs(i32x4 a) { return {(i32x4::Raw)vabsq_s32((int32x4_t)a.v)}; }

// The products of the low halves, and of the high halves.
ZEL_INLINE i32x4 productsLow(i16x8 a, i16x8 b) {
  return {(i32x4::Raw)vmull_s16(vget_low_s16((int16x8_t)a.v), vget_low_s16((int16x8_t)b.v))};
}
ZEL_INLINE i32x4 productsHigh(i16x8 a, i16x8 b) { return {(i32x4::Raw)vmull_high_s16((int16x8_t)a.v, (int16x8_t)b.v)}; }

// Whether the compiler knows that no bit of a mask is set.
template <class T>
ZEL_INLINE bool knownZero(Vec<T, 16> mask) {
  const auto halves = as<Vec<uint64_t, 16>>(mask).v;
  const uint64_t any = halves[0] | halves[1];
  return __builtin_constant_p(any) && any == 0;
}

// Two instructions where the doubled product cannot saturate.
ZEL_INLINE i16x8 mulHi(i16x8 a, i16x8 b) {
  if (knownZero(b == splat<i16x8>(INT16_MIN)))
    return i16x8{(i16x8::Raw)vqdmulhq_s16((int16x8_t)a.v, (int16x8_t)b.v)} >> 1;
  return {(i16x8::Raw)vuzp2q_s16((int16x8_t)productsLow(a, b).v, (int16x8_t)productsHigh(a, b).v)};
}
ZEL_INLINE u16x8 mulHi(u16x8 a, u16x8 b) {
  const uint16x8_t x = (uint16x8_t)a.v, y = (uint16x8_t)b.v;
  return {(u16x8::Raw)vuzp2q_u16((uint16x8_t)vmull_u16(vget_low_u16(x), vget_low_u16(y)),
                                 (uint16x8_t)vmull_high_u16(x, y))};
}

// The instruction saturates -32768 times -32768 to 32767; the product wraps to -32768 here, all bits of the other.
ZEL_INLINE i16x8 mulHiRoundInRange(i16x8 a, i16x8 b) {
  return {(i16x8::Raw)vqrdmulhq_s16((int16x8_t)a.v, (int16x8_t)b.v)};
}
ZEL_INLINE i16x8 mulHiRound(i16x8 a, i16x8 b) {
  const i16x8 smallest = splat<i16x8>(INT16_MIN);
  return mulHiRoundInRange(a, b) ^ ((a == smallest) & (b == smallest));
}

ZEL_INLINE i32x4 maddPairs(i16x8 a, i16x8 b) { return addNeighbours(productsLow(a, b), productsHigh(a, b)); }

// A product of a byte and a signed byte has 16 bits; their sum saturates. It cannot leave 16 bits where the factors are
// constants from -64 to 63.
ZEL_INLINE i16x8 maddBytes(u8x16 a, i8x16 b) {
  if (knownZero(b ^ splat<i8x16>(1))) return {(i16x8::Raw)vpaddlq_u8((uint8x16_t)a.v)};
  if (knownZero(b & splat<i8x16>(-64))) {  // from 0 to 63: products without a sign
    const uint8x16_t x = (uint8x16_t)a.v, y = (uint8x16_t)b.v;
    return {(i16x8::Raw)vpaddq_u16(vmull_u8(vget_low_u8(x), vget_low_u8(y)), vmull_high_u8(x, y))};
  }
  const i16x8 even = as<i16x8>(as<u16x8>(a) & splat<u16x8>(0xFF)) * (as<i16x8>(as<u16x8>(b) << 8) >> 8);
  const i16x8 odd = as<i16x8>(as<u16x8>(a) >> 8) * (as<i16x8>(b) >> 8);
  const bool fits = knownZero((as<u8x16>(b) + splat<u8x16>(64)) & splat<u8x16>(0x80));
  return fits ? even + odd : addSat(even, odd);
}

ZEL_INLINE Vec<int64_t, 16> mulEven(i32x4 a, i32x4 b) {
  return {(Vec<int64_t, 16>::Raw)vmull_s32(vmovn_s64((int64x2_t)a.v), vmovn_s64((int64x2_t)b.v))};
}

template <class T>
ZEL_INLINE Vec<T, 16> select(Vec<T, 16> mask, Vec<T, 16> a, Vec<T, 16> b) {
  return {(typename Vec<T, 16>::Raw)vbslq_u8((uint8x16_t)mask.v, (uint8x16_t)a.v, (uint8x16_t)b.v)};
}

template <int kMask, class T>
ZEL_INLINE Vec<T, 16> blend16x128(Vec<T, 16> a, Vec<T, 16> b) {
  const auto lane = [](int i) { return int16_t(-(kMask >> i & 1)); };
  const i16x8 mask = {{lane(0), lane(1), lane(2), lane(3), lane(4), lane(5), lane(6), lane(7)}};
  return select(as<Vec<T, 16>>(mask), b, a);
}

// Each byte's top bit becomes a bit of its own weight; three additions of neighbours bring together those of eight
// bytes.
template <class T>
ZEL_INLINE uint32_t byteMask(Vec<T, 16> a) {
  const u8x16 weight = {{1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128}};
  uint8x16_t bits = (uint8x16_t)(as<u8x16>(as<i8x16>(a) >> 7) & weight).v;
  bits = vpaddq_u8(bits, bits);
  bits = vpaddq_u8(bits, bits);
  bits = vpaddq_u8(bits, bits);
  return vgetq_lane_u16((uint16x8_t)bits, 0);
}

template <class T>
ZEL_INLINE bool isZero(Vec<T, 16> a) {
  return vmaxvq_u32((uint32x4_t)a.v) == 0;
}

// ---- Order of lanes -------------------------------------------------------------------------------------------------

template <class V, class T>
ZEL_INLINE V repeat128(Vec<T, 16> a) {
  return as<V>(a);
}

ZEL_INLINE u8x16 shuffle128(u8x16 a, u8x16 index) {
  return {(u8x16::Raw)vqtbl1q_u8((uint8x16_t)a.v, (uint8x16_t)index.v)};
}

ZEL_INLINE i16x8 packI16x128(i32x4 a, i32x4 b) {
  return {(i16x8::Raw)vqmovn_high_s32(vqmovn_s32((int32x4_t)a.v), (int32x4_t)b.v)};
}
ZEL_INLINE u16x8 packU16x128(i32x4 a, i32x4 b) {
  return {(u16x8::Raw)vqmovun_high_s32(vqmovun_s32((int32x4_t)a.v), (int32x4_t)b.v)};
}
ZEL_INLINE u8x16 packU8x128(i16x8 a, i16x8 b) {
  return {(u8x16::Raw)vqmovun_high_s16(vqmovun_s16((int16x8_t)a.v), (int16x8_t)b.v)};
}
ZEL_INLINE i8x16 packI8x128(i16x8 a, i16x8 b) {
  return {(i8x16::Raw)vqmovn_high_s16(vqmovn_s16((int16x8_t)a.v), (int16x8_t)b.v)};
}

// name(a, b) for lanes of 8, 16, 32 and 64 bits.
#define ZEL_PAIR(name, operation)                                                                 \
  template <class T>                                                                              \
  ZEL_INLINE Vec<T, 16> name(Vec<T, 16> a, Vec<T, 16> b) {                                        \
    using R = typename Vec<T, 16>::Raw;                                                           \
    if constexpr (sizeof(T) == 1) return {(R)operation##q_u8((uint8x16_t)a.v, (uint8x16_t)b.v)};  \
    if constexpr (sizeof(T) == 2) return {(R)operation##q_u16((uint16x8_t)a.v, (uint16x8_t)b.v)}; \
    if constexpr (sizeof(T) == 4) return {(R)operation##q_u32((uint32x4_t)a.v, (uint32x4_t)b.v)}; \
    if constexpr (sizeof(T) == 8) return {(R)operation##q_u64((uint64x2_t)a.v, (uint64x2_t)b.v)}; \
  }
ZEL_PAIR(unpackLow128, vzip1)
ZEL_PAIR(unpackHigh128, vzip2)
ZEL_PAIR(evenLanes128, vuzp1)
ZEL_PAIR(oddLanes128, vuzp2)
#undef ZEL_PAIR

template <int kOrder, class T>
ZEL_INLINE Vec<T, 16> permute32x128(Vec<T, 16> a) {
  const u32x4::Raw v = as<u32x4>(a).v;
  const u32x4 r = {__builtin_shufflevector(v, v, kOrder & 3, kOrder >> 2 & 3, kOrder >> 4 & 3, kOrder >> 6 & 3)};
  return as<Vec<T, 16>>(r);
}

template <int kBytes, class T>
ZEL_INLINE Vec<T, 16> movedUp(Vec<T, 16> a) {
  return {(typename Vec<T, 16>::Raw)vextq_u8(vdupq_n_u8(0), (uint8x16_t)a.v, 16 - kBytes)};
}

// ---- Parts of a vector in memory ------------------------------------------------------------------------------------

template <class P>
ZEL_INLINE u8x16 loadLow8(const P* p) {
  return {(u8x16::Raw)vcombine_u8(vld1_u8(reinterpret_cast<const uint8_t*>(p)), vdup_n_u8(0))};
}
template <class P, class T>
ZEL_INLINE void storeLow8(P* p, Vec<T, 16> a) {
  vst1_u8(reinterpret_cast<uint8_t*>(p), vget_low_u8((uint8x16_t)a.v));
}
template <class P, class T>
ZEL_INLINE void storeHigh8(P* p, Vec<T, 16> a) {
  vst1_u8(reinterpret_cast<uint8_t*>(p), vget_high_u8((uint8x16_t)a.v));
}
template <class P, class T>
ZEL_INLINE void storePastCache(P* p, Vec<T, 16> a) {
  store(p, a);
}
ZEL_INLINE void fenceStores() {}

// ---- Widening, and single precision ---------------------------------------------------------------------------------

ZEL_INLINE i16x8 widenedLow(u8x16 a) { return {(i16x8::Raw)vmovl_u8(vget_low_u8((uint8x16_t)a.v))}; }
ZEL_INLINE i32x4 widenedLow(i16x8 a) { return {(i32x4::Raw)vmovl_s16(vget_low_s16((int16x8_t)a.v))}; }

ZEL_INLINE f32x4 toFloat(i32x4 a) { return {(f32x4::Raw)vcvtq_f32_s32((int32x4_t)a.v)}; }
// The instructions saturate, and make 0 of what is no number.
ZEL_INLINE i32x4 whereItFits(f32x4 a, i32x4 converted) {
  return select(i32x4{(i32x4::Raw)(a.v < splat<f32x4>(2147483648.0f).v)}, converted, splat<i32x4>(INT32_MIN));
}
ZEL_INLINE i32x4 roundToInt(f32x4 a) { return whereItFits(a, {(i32x4::Raw)vcvtnq_s32_f32((float32x4_t)a.v)}); }
ZEL_INLINE i32x4 truncToInt(f32x4 a) { return whereItFits(a, {(i32x4::Raw)vcvtq_s32_f32((float32x4_t)a.v)}); }

// ---- Combinations ---------------------------------------------------------------------------------------------------

#define ZEL_OWN_COMBINATIONS
template <int B>
struct Wide;

// Products are added to products of the same lanes; only the sums are added to their neighbours.
ZEL_INLINE i32x4 maddPairs(i16x8 a, i16x8 b, i16x8 c, i16x8 d) {
  return addNeighbours(productsLow(a, b) + productsLow(c, d), productsHigh(a, b) + productsHigh(c, d));
}

// No lanes need to be brought side by side.
template <int B>
ZEL_INLINE Wide<B> weighted128(Vec<int16_t, B> a, int fa, Vec<int16_t, B> b, int fb) {
  const i16x8 x = splat<i16x8>(int16_t(fa)), y = splat<i16x8>(int16_t(fb));
  return {productsLow(a, x) + productsLow(b, y), productsHigh(a, x) + productsHigh(b, y)};
}

template <int kShift>
ZEL_INLINE i16x8 packI16x128(i32x4 a, i32x4 b) {
  if constexpr (kShift == 16) return oddLanes128(as<i16x8>(a), as<i16x8>(b));  // they fit
  return {(i16x8::Raw)vqshrn_high_n_s32(vqshrn_n_s32((int32x4_t)a.v, kShift), (int32x4_t)b.v, kShift)};
}

template <int kFrom>
ZEL_INLINE i16x8 bitsInTurn(i32x4 a, i32x4 b) {
  return {(i16x8::Raw)vtrn2q_s16((int16x8_t)(a << (16 - kFrom)).v, (int16x8_t)(b << (16 - kFrom)).v)};
}

}  // namespace
}  // namespace ZEL_VARIANT

#pragma GCC diagnostic pop
