// The irreversible 9/7 filter (ITU-T T.800, F.4.8.2 forward, F.3.8.2 inverse): its lifting steps in the arithmetic of
// each sample type, and their application to lines. Forward, on a line x of samples:
//   lift1      x[2n+1] += alpha (x[2n] + x[2n+2])
//   lift2      x[2n]   += beta  (x[2n-1] + x[2n+1])
//   lift3      x[2n+1] += gamma (x[2n] + x[2n+2])
//   low        y[2n]   = KL (x[2n] + delta (x[2n-1] + x[2n+1]))
//   high       y[2n+1] = KH x[2n+1]
// Inverse:
//   scaleHigh  x[2n+1] = KL y[2n+1]
//   unlift4    x[2n]   = KH y[2n] - delta (x[2n-1] + x[2n+1])
//   unlift3    x[2n+1] -= gamma (x[2n] + x[2n+2])
//   unlift2    x[2n]   -= beta (x[2n-1] + x[2n+1])
//   unlift1    x[2n+1] -= alpha (x[2n] + x[2n+2])
//   finish     x[2n] as a sample
// KL is 1/K of Table F.4, KH is K.
//
// An arithmetic has these steps, on three types of vectors with lanes of the same size: R as samples and coefficients
// are stored, W as they are between the steps, and S, one of the two, as high coefficients enter the inverse. Where
// kScales is false scaleHigh does nothing, as unlift4 and unlift3 scale the high coefficients on their way. Where
// kFinishes is false finish does nothing.
#pragma once

#include "jpeg2000/wavelet_tiles.h"

namespace ZEL_VARIANT {
namespace {

// Table F.4.
constexpr float kAlpha = -1.5861343f, kBeta = -0.052980117f, kGamma = 0.8829111f, kDelta = 0.44350687f,
                kLow = 0.8128931f, kHigh = 1.2301741f, kDeltaLow = 0.36052364f;

// A constant in units of 2^-bits, rounded.
constexpr int inUnits(int bits, double x) { return int(x * (1 << bits) + (x < 0 ? -0.5 : 0.5)); }

// ---- Single precision -----------------------------------------------------------------------------------------------

template <int B>
struct Float {
  using R = Vec<float, B>;
  using W = Vec<float, B>;
  using S = Vec<float, B>;
  static constexpr bool kScales = true, kFinishes = false;
  ZEL_INLINE static W of(float x) { return splat<W>(x); }
  ZEL_INLINE static W lift1(R odd, R e0, R e1) { return odd + of(kAlpha) * (e0 + e1); }
  ZEL_INLINE static W lift2(R even, W d0, W d1) { return even + of(kBeta) * (d0 + d1); }
  ZEL_INLINE static W lift3(W odd, W s0, W s1) { return odd + of(kGamma) * (s0 + s1); }
  ZEL_INLINE static R low(W even, W d0, W d1) { return of(kLow) * (even + of(kDelta) * (d0 + d1)); }
  ZEL_INLINE static R high(W odd) { return of(kHigh) * odd; }
  ZEL_INLINE static S scaleHigh(R h) { return of(kLow) * h; }
  ZEL_INLINE static W unlift4(R l, S d0, S d1) { return of(kHigh) * l - of(kDelta) * (d0 + d1); }
  ZEL_INLINE static W unlift3(S odd, W s0, W s1) { return odd - of(kGamma) * (s0 + s1); }
  ZEL_INLINE static W unlift2(W even, W d0, W d1) { return even - of(kBeta) * (d0 + d1); }
  ZEL_INLINE static R unlift1(W odd, W s0, W s1) { return odd - of(kAlpha) * (s0 + s1); }
  ZEL_INLINE static R finish(W even) { return even; }
};

// The fourth step and the scaling in one: for single steps on rows.
template <int B>
struct FoldedFloat : Float<B> {
  using R = Vec<float, B>;
  static constexpr bool kScales = false, kFinishes = false;
  ZEL_INLINE static R low(R even, R d0, R d1) { return splat<R>(kLow) * even + splat<R>(kDeltaLow) * (d0 + d1); }
  ZEL_INLINE static R scaleHigh(R h) { return h; }
  ZEL_INLINE static R unlift4(R l, R h0, R h1) { return splat<R>(kHigh) * l - splat<R>(kDeltaLow) * (h0 + h1); }
  ZEL_INLINE static R unlift3(R h, R s0, R s1) { return splat<R>(kLow) * h - splat<R>(kGamma) * (s0 + s1); }
};

// 32-bit samples lifted in single precision. The sum of two samples is one of 32 bits.
template <int B>
struct FloatOfInt {
  using R = Vec<int32_t, B>;
  using W = Vec<float, B>;
  using S = Vec<float, B>;
  using F = Float<B>;
  static constexpr bool kScales = true, kFinishes = true;
  // Truncated and clamped. The conversion gives INT32_MIN for all that does not fit: right below the range; above it
  // all bits are inverted, which makes it INT32_MAX.
  ZEL_INLINE static R toInt(W x) { return truncToInt(x) ^ ~as<R>(splat<W>(2147483648.0f) > x); }
  ZEL_INLINE static W lift1(R odd, R e0, R e1) { return toFloat(odd) + splat<W>(kAlpha) * toFloat(e0 + e1); }
  ZEL_INLINE static W lift2(R even, W d0, W d1) { return F::lift2(toFloat(even), d0, d1); }
  ZEL_INLINE static W lift3(W odd, W s0, W s1) { return F::lift3(odd, s0, s1); }
  ZEL_INLINE static R low(W even, W d0, W d1) { return toInt(F::low(even, d0, d1)); }
  ZEL_INLINE static R high(W odd) { return toInt(F::high(odd)); }
  ZEL_INLINE static S scaleHigh(R h) { return F::scaleHigh(toFloat(h)); }
  ZEL_INLINE static W unlift4(R l, S d0, S d1) { return F::unlift4(toFloat(l), d0, d1); }
  ZEL_INLINE static W unlift3(S odd, W s0, W s1) { return F::unlift3(odd, s0, s1); }
  ZEL_INLINE static W unlift2(W even, W d0, W d1) { return F::unlift2(even, d0, d1); }
  ZEL_INLINE static R unlift1(W odd, W s0, W s1) { return toInt(F::unlift1(odd, s0, s1)); }
  ZEL_INLINE static R finish(W even) { return toInt(even); }
};

// ---- 16-bit samples, weights in units of 2^-14 ----------------------------------------------------------------------

template <int B>
struct Q14 {
  using R = Vec<int16_t, B>;
  using W = Vec<int16_t, B>;
  using S = Vec<int16_t, B>;
  static constexpr bool kScales = true, kFinishes = false;
  static constexpr int kAlphaQ = inUnits(14, kAlpha), kBetaQ = inUnits(14, kBeta), kGammaQ = inUnits(14, kGamma),
                       kDeltaQ = inUnits(14, kDelta), kLowQ = inUnits(14, kLow), kHighQ = inUnits(14, kHigh);
  // The low 16 bits of ((a + b) weight + 2^13) >> 14: bits 14 to 29 of sums that fit 32 bits.
  ZEL_INLINE static R product(int weight, R a, R b) {
    using Wide = Vec<int32_t, B>;
    const Wide half = splat<Wide>(1 << 13);
    const auto sums = weighted128(a, weight, b, weight);
    return packI16x128<16>((sums.low + half) << 2, (sums.high + half) << 2);
  }
  // (x weight + 2^13) >> 14, of a weight below 2^14 and of one between it and 2^15.
  ZEL_INLINE static R fraction(int weight, R x) { return mulHiRound(x, splat<R>(int16_t(2 * weight))); }
  ZEL_INLINE static R lowScaled(R x) { return fraction(kLowQ, x); }
  ZEL_INLINE static R highScaled(R x) { return x + fraction(kHighQ - (1 << 14), x); }
  ZEL_INLINE static R lift1(R odd, R e0, R e1) { return odd + product(kAlphaQ, e0, e1); }
  ZEL_INLINE static R lift2(R even, R d0, R d1) { return even + product(kBetaQ, d0, d1); }
  ZEL_INLINE static R lift3(R odd, R s0, R s1) { return odd + product(kGammaQ, s0, s1); }
  ZEL_INLINE static R low(R even, R d0, R d1) { return lowScaled(even + product(kDeltaQ, d0, d1)); }
  ZEL_INLINE static R high(R odd) { return highScaled(odd); }
  ZEL_INLINE static R scaleHigh(R h) { return lowScaled(h); }
  ZEL_INLINE static R unlift4(R l, R d0, R d1) { return highScaled(l) - product(kDeltaQ, d0, d1); }
  ZEL_INLINE static R unlift3(R odd, R s0, R s1) { return odd - product(kGammaQ, s0, s1); }
  ZEL_INLINE static R unlift2(R even, R d0, R d1) { return even - product(kBetaQ, d0, d1); }
  ZEL_INLINE static R unlift1(R odd, R s0, R s1) { return odd - product(kAlphaQ, s0, s1); }
  ZEL_INLINE static R finish(R even) { return even; }
};

// ---- 32-bit samples, weights in units of 2^-16 ----------------------------------------------------------------------

template <int B>
struct Q16 {
  using R = Vec<int32_t, B>;
  using W = Vec<int32_t, B>;
  using S = Vec<int32_t, B>;
  static constexpr bool kScales = false, kFinishes = false;
  static constexpr int kAlphaQ = inUnits(16, kAlpha), kBetaQ = inUnits(16, kBeta), kGammaQ = inUnits(16, kGamma),
                       kLowQ = inUnits(16, kLow), kHighQ = inUnits(16, kHigh), kDeltaLowQ = inUnits(16, kDeltaLow);
  struct Product {  // of the lanes of even and odd index, in 64 bits
    Vec<int64_t, B> even, odd;
    ZEL_INLINE friend Product operator+(Product a, Product b) { return {a.even + b.even, a.odd + b.odd}; }
    ZEL_INLINE friend Product operator-(Product a, Product b) { return {a.even - b.even, a.odd - b.odd}; }
  };
  ZEL_INLINE static Product times(int weight, R x) {
    using Bits = Vec<uint64_t, B>;
    return {mulEven(x, splat<R>(weight)), mulEven(as<R>(as<Bits>(x) >> 32), splat<R>(weight))};
  }
  // The low 32 bits of (p + 2^15) >> 16.
  ZEL_INLINE static R rounded(Product p) {
    using Long = Vec<int64_t, B>;
    const Long half = splat<Long>(1 << 15);
    return blend16x128<0xCC>(as<R>(as<Vec<uint64_t, B>>(p.even + half) >> 16), as<R>((p.odd + half) << 16));
  }
  ZEL_INLINE static R lift1(R odd, R e0, R e1) { return odd + rounded(times(kAlphaQ, e0 + e1)); }
  ZEL_INLINE static R lift2(R even, R d0, R d1) { return even + rounded(times(kBetaQ, d0 + d1)); }
  ZEL_INLINE static R lift3(R odd, R s0, R s1) { return odd + rounded(times(kGammaQ, s0 + s1)); }
  ZEL_INLINE static R low(R even, R d0, R d1) { return rounded(times(kLowQ, even) + times(kDeltaLowQ, d0 + d1)); }
  ZEL_INLINE static R high(R odd) { return rounded(times(kHighQ, odd)); }
  ZEL_INLINE static R scaleHigh(R h) { return h; }
  ZEL_INLINE static R unlift4(R l, R h0, R h1) { return rounded(times(kHighQ, l) - times(kDeltaLowQ, h0 + h1)); }
  ZEL_INLINE static R unlift3(R h, R s0, R s1) { return rounded(times(kLowQ, h) - times(kGammaQ, s0 + s1)); }
  ZEL_INLINE static R unlift2(R even, R d0, R d1) { return even - rounded(times(kBetaQ, d0 + d1)); }
  ZEL_INLINE static R unlift1(R odd, R s0, R s1) { return odd - rounded(times(kAlphaQ, s0 + s1)); }
  ZEL_INLINE static R finish(R even) { return even; }
};

// ---- 16-bit samples, 16-bit arithmetic ------------------------------------------------------------------------------
// Sums saturate; products are (a c + 2^14) >> 15. So weights are in units of 2^-15; those above 1 stand at half their
// size, and the other factor is doubled.

template <int B>
struct Saturating16 {
  using R = Vec<int16_t, B>;
  using W = Vec<int16_t, B>;
  using S = Vec<int16_t, B>;
  static constexpr bool kScales = false, kFinishes = false;
  static constexpr int kHalfAlpha = inUnits(14, kAlpha), kBetaQ = inUnits(15, kBeta), kGammaQ = inUnits(15, kGamma),
                       kLowQ = inUnits(15, kLow), kHalfHigh = inUnits(14, kHigh),
                       kTwiceDeltaLow = inUnits(16, kDeltaLow);
  ZEL_INLINE static R times(int weight, R x) { return mulHiRound(x, splat<R>(int16_t(weight))); }
  ZEL_INLINE static R twice(R x) { return addSat(x, x); }
  ZEL_INLINE static R lift1(R odd, R e0, R e1) { return addSat(odd, times(kHalfAlpha, twice(addSat(e0, e1)))); }
  ZEL_INLINE static R lift2(R even, R d0, R d1) { return addSat(even, times(kBetaQ, addSat(d0, d1))); }
  ZEL_INLINE static R lift3(R odd, R s0, R s1) { return addSat(odd, times(kGammaQ, addSat(s0, s1))); }
  ZEL_INLINE static R low(R even, R d0, R d1) {
    return addSat(times(kLowQ, even), times(kTwiceDeltaLow, addSat(d0, d1)) >> 1);
  }
  ZEL_INLINE static R high(R odd) { return times(kHalfHigh, twice(odd)); }
  ZEL_INLINE static R scaleHigh(R h) { return h; }
  ZEL_INLINE static R unlift4(R l, R h0, R h1) {
    return times(kHalfHigh, twice(l)) - times(kTwiceDeltaLow >> 1, addSat(h0, h1));
  }
  ZEL_INLINE static R unlift3(R h, R s0, R s1) { return times(kLowQ, h) - times(kGammaQ, addSat(s0, s1)); }
  ZEL_INLINE static R unlift2(R even, R d0, R d1) { return addSat(even, times(-kBetaQ, addSat(d0, d1))); }
  ZEL_INLINE static R unlift1(R odd, R s0, R s1) { return addSat(odd, times(-kHalfAlpha, twice(addSat(s0, s1)))); }
  ZEL_INLINE static R finish(R even) { return even; }
};

// ---- Columns --------------------------------------------------------------------------------------------------------

// An arithmetic at the columns from i on: its steps, and the columns' vectors from and to rows.
template <class Arithmetic, class Lanes>
struct Columns : Arithmetic {
  int i;
  ZEL_INLINE explicit Columns(int i) : i(i) {}
  template <class T>
  ZEL_INLINE typename Arithmetic::R sample(const T* row) const {  // or coefficient
    return Lanes::template get<typename Arithmetic::R>(row + i);
  }
  template <class T>
  ZEL_INLINE typename Arithmetic::W lifted(const T* row) const {  // between two steps
    return Lanes::template get<typename Arithmetic::W>(row + i);
  }
  template <class T, class V>
  ZEL_INLINE void put(T* row, V v) const {
    Lanes::put(row + i, v);
  }
};

// kernel(columns) for all columns of rows of type T.
template <template <int> class Arithmetic, class T, class Kernel>
ZEL_INLINE void forColumns(int width, Kernel kernel) {
  forLanes<T>(
      width, [=](auto lanes, int i)
                 __attribute__((always_inline)) { kernel(Columns<Arithmetic<lanes.kBytes>, decltype(lanes)>(i)); });
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

// An arithmetic of their own for values outside the line. By default there is none.
struct NoEnds {
  static constexpr bool kNone = true;
};

// x[k] = step(k) for k from begin to end - 1, in whole vectors, some of them beyond the end. What is not inside the
// line is computed by Ends.
template <class Ends, class T, class Step, class EndStep>
ZEL_INLINE void liftPass(T* x, int begin, int end, [[maybe_unused]] int insideBegin, [[maybe_unused]] int insideEnd,
                         Step step, [[maybe_unused]] EndStep endStep) {
  if constexpr (Ends::kNone) {
    for (int k = begin; k < end; k += Vec<T>::N) store(x + k, step(k));
  } else {
    const int from = insideBegin > begin ? insideBegin : begin, to = insideEnd < end ? insideEnd : end;
    T front[Ends::kFront] = {}, back[Ends::kBack];
    for (int k = begin; k < from; ++k) front[k - begin] = endStep(Ends(), k);
    for (int k = to; k < end; ++k) back[k - to] = endStep(Ends(), k);
    for (int k = from; k < to; k += Vec<T>::N) store(x + k, step(k));
    for (int k = begin; k < from; ++k) x[k] = front[k - begin];
    for (int k = to; k < end; ++k) x[k] = back[k - to];
  }
}

template <template <int> class Arithmetic, class Ends = NoEnds>
struct Lifting97 {
  static constexpr int kBorder = 2;
  using A = Arithmetic<kVecBytes>;
  using R = typename A::R;
  using W = typename A::W;
  using S = typename A::S;

  // Pairs 0 to count - 1, from pairs -2 to count + 1.
  template <class T>
  static void lift(T* even, T* odd, int count, Inside in) {
    const auto e = [=](int k) { return load<R>(even + k); };
    const auto s = [=](int k) { return load<W>(even + k); };
    const auto d = [=](int k) { return load<W>(odd + k); };
    liftPass<Ends>(
        odd, -2, count + 1, in.oddBegin, in.oddEnd, [=](int k) { return A::lift1(load<R>(odd + k), e(k), e(k + 1)); },
        [=](auto ends, int k) { return decltype(ends)::lift1(odd[k], even[k], even[k + 1]); });
    liftPass<Ends>(
        even, -1, count + 1, in.evenBegin, in.evenEnd, [=](int k) { return A::lift2(e(k), d(k - 1), d(k)); },
        [=](auto ends, int k) { return decltype(ends)::lift2(even[k], odd[k - 1], odd[k]); });
    liftPass<Ends>(
        odd, -1, count, in.oddBegin, in.oddEnd, [=](int k) { return A::lift3(d(k), s(k), s(k + 1)); },
        [=](auto ends, int k) { return decltype(ends)::lift3(odd[k], even[k], even[k + 1]); });
    for (int k = 0; k < count; k += R::N) store(even + k, A::low(s(k), d(k - 1), d(k)));
    for (int k = 0; k < count; k += R::N) store(odd + k, A::high(d(k)));
  }
  template <class T>
  static void unlift(T* even, T* odd, int count, Inside in) {
    const auto s = [=](int k) { return load<W>(even + k); };
    const auto d = [=](int k) { return load<W>(odd + k); };
    const auto h = [=](int k) { return load<S>(odd + k); };
    if constexpr (A::kScales)
      for (int k = -2; k < count + 2; k += R::N) store(odd + k, A::scaleHigh(load<R>(odd + k)));
    liftPass<Ends>(
        even, -1, count + 2, in.evenBegin, in.evenEnd,
        [=](int k) { return A::unlift4(load<R>(even + k), h(k - 1), h(k)); },
        [=](auto ends, int k) { return decltype(ends)::unlift4(even[k], odd[k - 1], odd[k]); });
    liftPass<Ends>(
        odd, -1, count + 1, in.oddBegin, in.oddEnd, [=](int k) { return A::unlift3(h(k), s(k), s(k + 1)); },
        [=](auto ends, int k) { return decltype(ends)::unlift3(odd[k], even[k], even[k + 1]); });
    liftPass<Ends>(
        even, 0, count + 1, in.evenBegin, in.evenEnd, [=](int k) { return A::unlift2(s(k), d(k - 1), d(k)); },
        [=](auto ends, int k) { return decltype(ends)::unlift2(even[k], odd[k - 1], odd[k]); });
    for (int k = 0; k < count; k += R::N) store(odd + k, A::unlift1(d(k), s(k), s(k + 1)));
    if constexpr (A::kFinishes)
      for (int k = 0; k < count; k += R::N) store(even + k, A::finish(s(k)));
  }
};

}  // namespace
}  // namespace ZEL_VARIANT
