// Lossless prediction (ITU-T T.81, Annex H.1.2.1): what the encoder's and the decoder's rows share.
//
// Ra is the left neighbour of a sample, Rb the one above and Rc the one above left. The operands of the halved terms
// are read as signed, and everything else is taken modulo 2^16.
#pragma once

#include "frame/checks.h"
#include "frame/vec.h"
#include "variant.h"

namespace ZEL_VARIANT {
namespace {

// (a - b) >> 1 and (a + b) >> 1 of signed lanes without losing the 17th bit: shifted by 2^15 the lanes are unsigned,
// and the rounding average of a and the complement of b, (a + 65535 - b + 1) >> 1, is the halved difference plus 2^15.
template <int B>
using Signed16 = Vec<int16_t, B>;
template <int B>
ZEL_INLINE Signed16<B> flipped(Signed16<B> a) {
  return a ^ splat<Signed16<B>>(-32768);
}
template <int B>
ZEL_INLINE Signed16<B> averageUnsigned(Signed16<B> a, Signed16<B> b) {
  return as<Signed16<B>>(average(as<Vec<uint16_t, B>>(a), as<Vec<uint16_t, B>>(b)));
}
template <int B>
ZEL_INLINE Signed16<B> halfDifference(Signed16<B> a, Signed16<B> b) {
  return flipped(averageUnsigned(flipped(a), ~flipped(b)));
}
template <int B>
ZEL_INLINE Signed16<B> halfSum(Signed16<B> a, Signed16<B> b) {
  return flipped(~averageUnsigned(~flipped(a), ~flipped(b)));  // rounded down: of the complements, complemented
}

constexpr int halfDifference(int a, int b) { return (a - b) >> 1; }
constexpr int halfSum(int a, int b) { return (a + b) >> 1; }

// Px for one column (V is int: exact, to be cut to 16 bits by the caller) or for a vector of columns.
template <ZeliPredictor kPredictor, class V>
ZEL_INLINE V predicted(V Ra, V Rb, V Rc) {
  switch (kPredictor) {
    case zeliPredictorRa:
      return Ra;
    case zeliPredictorRb:
      return Rb;
    case zeliPredictorRc:
      return Rc;
    case zeliPredictorRaRbRc:
      return Ra + Rb - Rc;
    case zeliPredictorRaHalfRbRc:
      return Ra + halfDifference(Rb, Rc);
    case zeliPredictorRbHalfRaRc:
      return Rb + halfDifference(Ra, Rc);
    case zeliPredictorHalfRaRb:
      return halfSum(Ra, Rb);
  }
}

// Constant that predicts the first sample: 2^(P - Pt - 1), 0 where Pt leaves no bit.
constexpr int firstPrediction(int precision, int pointTransform) {
  const int bit = precision - pointTransform - 1;
  return bit >= 0 ? 1 << bit : 0;
}

constexpr ZelStatus predictorOk(int predictor) {
  return valueOk(predictor >= zeliPredictorRa && predictor <= zeliPredictorHalfRaRb);
}
// The precision P of the samples, and the point transform Pt.
constexpr ZelStatus firstRowOk(int precision, int pointTransform) {
  return valueOk(precision >= 2 && precision <= 16 && pointTransform >= 0);
}

// Whether n samples at a and at b share memory.
inline bool overlap(const int16_t* a, const int16_t* b, int n) {
  const uintptr_t x = uintptr_t(a), y = uintptr_t(b), bytes = uintptr_t(n) * sizeof(int16_t);
  return x < y + bytes && y < x + bytes;
}

}  // namespace
}  // namespace ZEL_VARIANT
