// What the single-precision DCT of 12-bit samples shares between its directions: the scaled fast transform of eight
// values by Arai, Agui and Nakajima, whose output frequency k is too large by 8^(1/2) * f(k), f(0) = 1, f(k) = sqrt(2)
// cos(k pi/16); normalisation tables undo it. No step is fused or reordered: the result is the same in every variant.
#pragma once

#include "frame/vec.h"
#include "transform/cosines.h"
#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kFloatParts = 8 / f32v::N;  // vectors a row
struct FloatRow {
  f32v part[kFloatParts];
};
struct FloatBlock {
  FloatRow row[8];
};

ZEL_INLINE FloatRow operator+(FloatRow a, FloatRow b) {
  for (int i = 0; i < kFloatParts; ++i) a.part[i].v += b.part[i].v;
  return a;
}
ZEL_INLINE FloatRow operator-(FloatRow a, FloatRow b) {
  for (int i = 0; i < kFloatParts; ++i) a.part[i].v -= b.part[i].v;
  return a;
}
ZEL_INLINE FloatRow operator*(FloatRow a, float c) {
  for (int i = 0; i < kFloatParts; ++i) a.part[i].v *= c;
  return a;
}
ZEL_INLINE FloatRow operator*(FloatRow a, FloatRow b) {
  for (int i = 0; i < kFloatParts; ++i) a.part[i].v *= b.part[i].v;
  return a;
}
ZEL_INLINE FloatRow loadFloats(const float* p) {
  FloatRow r;
  for (int i = 0; i < kFloatParts; ++i) r.part[i] = load<f32v>(p + i * f32v::N);
  return r;
}
template <class T>
ZEL_INLINE FloatRow loadAsFloats(const T* p) {  // 16-bit samples or coefficients, read as signed
  FloatRow r;
  for (int i = 0; i < kFloatParts; ++i)
    r.part[i] = toFloat(loadWiden<i32v>(reinterpret_cast<const int16_t*>(p) + i * f32v::N));
  return r;
}
ZEL_INLINE FloatRow splatFloats(float x) {
  FloatRow r;
  for (int i = 0; i < kFloatParts; ++i) r.part[i] = splat<f32v>(x);
  return r;
}

// Four rows become four columns, in each 128-bit half.
ZEL_INLINE void transposeFours(f32v& a, f32v& b, f32v& c, f32v& d) {
  const f32v ac = unpackLow128(a, c), bd = unpackLow128(b, d);
  const f32v acHigh = unpackHigh128(a, c), bdHigh = unpackHigh128(b, d);
  a = unpackLow128(ac, bd);
  b = unpackHigh128(ac, bd);
  c = unpackLow128(acHigh, bdHigh);
  d = unpackHigh128(acHigh, bdHigh);
}

// Rows become columns.
ZEL_INLINE FloatBlock transposed(const FloatBlock& b) {
  FloatBlock t;
#pragma GCC unroll 2
  for (int right = 0; right < 2; ++right) {  // the left four columns, and the right ones
    FloatRow* const row = t.row + 4 * right;
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
#ifdef ZEL_VEC32
      const f32v upper = b.row[i].part[0], lower = b.row[i + 4].part[0];
      row[i].part[0] = right ? highHalves(upper, lower) : lowHalves(upper, lower);
#else
      row[i] = {{b.row[i].part[right], b.row[i + 4].part[right]}};
#endif
    }
    for (int i = 0; i < kFloatParts; ++i)
      transposeFours(row[0].part[i], row[1].part[i], row[2].part[i], row[3].part[i]);
  }
  return t;
}

// 1 / (8 f(u) f(v)) forward, f(u) f(v) / 8 inverse; 0.125 for the DC in both.
struct alignas(32) NormTable {
  float at[64];
};
constexpr double aanFactor(int k) { return k == 0 ? 1.0 : kSqrt2 * cosSixteenth(k); }
constexpr NormTable normTable(bool forward) {
  NormTable t{};
  for (int v = 0; v < 8; ++v)
    for (int u = 0; u < 8; ++u) {
      const double f = aanFactor(u) * aanFactor(v);
      t.at[8 * v + u] = float(forward ? 0.125 / f : 0.125 * f);
    }
  return t;
}

constexpr float fLS = 2048.0f;  // level shift: half of the range of 12 bits

constexpr double kCos2 = cosSixteenth(2);
constexpr double kCos4 = cosSixteenth(4);
constexpr double kCos6 = cosSixteenth(6);

// A row as integers, saturated to 16 bits. toInt rounds or truncates.
template <class ToInt>
ZEL_INLINE i16x8 narrowed(FloatRow x, ToInt toInt) {
#ifdef ZEL_VEC32
  const i32v row = toInt(x.part[0]);
  return packI16(lowHalf(row), highHalf(row));
#else
  return packI16(toInt(x.part[0]), toInt(x.part[1]));
#endif
}

}  // namespace
}  // namespace ZEL_VARIANT
