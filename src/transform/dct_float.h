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

// Rows become columns, through memory: the transform itself dominates.
ZEL_INLINE FloatBlock transposed(const FloatBlock& b) {
  alignas(32) float in[64], out[64];
  __builtin_memcpy(in, &b, sizeof in);
  for (int r = 0; r < 8; ++r)
    for (int c = 0; c < 8; ++c) out[8 * c + r] = in[8 * r + c];
  FloatBlock t;
  __builtin_memcpy(&t, out, sizeof out);
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
