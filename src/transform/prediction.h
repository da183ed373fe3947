// Lossless prediction (ITU-T T.81, Annex H.1.2.1): what the encoder's and the decoder's rows share.
//
// With Ra the left neighbour, Rb the one above and Rc the one above left, predictors 1 to 7 are Ra, Rb, Rc, Ra + Rb -
// Rc, Ra + ((Rb - Rc) >> 1), Rb + ((Ra - Rc) >> 1) and (Ra + Rb) >> 1. The operands of the halved terms are read as
// signed, and everything else is taken modulo 2^16.
#pragma once

#include "frame/vec.h"
#include "variant.h"

namespace ZEL_VARIANT {
namespace {

// In scalar form; all arithmetic is exact in int and cut to 16 bits by the caller.
template <int kPredictor>
constexpr int predicted(int16_t Ra, int16_t Rb, int16_t Rc) {
  switch (kPredictor) {
    case 1:
      return Ra;
    case 2:
      return Rb;
    case 3:
      return Rc;
    case 4:
      return Ra + Rb - Rc;
    case 5:
      return Ra + ((Rb - Rc) >> 1);
    case 6:
      return Rb + ((Ra - Rc) >> 1);
    default:
      return (Ra + Rb) >> 1;
  }
}

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

// Constant that predicts the first sample: 2^(P - Pt - 1), 0 where Pt leaves no bit.
constexpr int firstPrediction(int precision, int pointTransform) {
  const int bit = precision - pointTransform - 1;
  return bit >= 0 ? 1 << bit : 0;
}

// Whether n samples at a and at b share memory.
inline bool overlap(const int16_t* a, const int16_t* b, int n) {
  const uintptr_t x = uintptr_t(a), y = uintptr_t(b), bytes = uintptr_t(n) * sizeof(int16_t);
  return x < y + bytes && y < x + bytes;
}

}  // namespace
}  // namespace ZEL_VARIANT
