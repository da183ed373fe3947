// Lines of one low and one high coefficient by direct convolution with the filters that the 9/7 lifting amounts to.
#pragma once

#include "jpeg2000/wavelet97.h"

namespace ZEL_VARIANT {
namespace {

// Taps from the centre outwards. A synthesis filter has the taps of the analysis filter of the other band with every
// second sign changed.
template <class W>
struct Taps97 {
  W forwardLow[5], forwardHigh[4], inverseLow[4], inverseHigh[5];
};
constexpr Taps97<float> kTapsFloat = {{0.602949f, 0.26686412f, -0.078223266f, -0.01686412f, 0.026748758f},
                                      {1.115087f, -0.59127176f, -0.057543527f, 0.091271766f},
                                      {1.115087f, 0.59127176f, -0.057543527f, -0.091271766f},
                                      {0.602949f, -0.26686412f, -0.078223266f, 0.01686412f, 0.026748758f}};

// In units of 2^-16, rounded; but the largest side tap, 0.59127176 * 2^16 = 38749.6, is cut.
constexpr int64_t inUnits16(double tap) { return inUnits(16, tap); }
constexpr int64_t kSideTap = 38749;
constexpr Taps97<int64_t> kTapsQ16 = {{inUnits16(0.602949), inUnits16(0.26686412), inUnits16(-0.078223266),
                                       inUnits16(-0.01686412), inUnits16(0.026748758)},
                                      {inUnits16(1.115087), -kSideTap, inUnits16(-0.057543527), inUnits16(0.091271766)},
                                      {inUnits16(1.115087), kSideTap, inUnits16(-0.057543527), inUnits16(-0.091271766)},
                                      {inUnits16(0.602949), inUnits16(-0.26686412), inUnits16(-0.078223266),
                                       inUnits16(0.01686412), inUnits16(0.026748758)}};

template <int B>
ZEL_INLINE Vec<float, B> weighed(float tap, Vec<float, B> x) {
  return splat<Vec<float, B>>(tap) * x;
}
ZEL_INLINE int64_t weighed(int64_t tap, int64_t x) { return tap * x; }

template <class V>
struct Pair97 {
  V first, second;
};

// x(place) is a sample of the source line; low, then high.
template <class V, class W, class Sample>
ZEL_INLINE Pair97<V> forwardPair(const Taps97<W>& taps, int p, Sample x) {
  V low = weighed(taps.forwardLow[0], x(p)), high = weighed(taps.forwardHigh[0], x(1 - p));
#pragma GCC unroll 4
  for (int i = 1; i < 5; ++i) low = low + weighed(taps.forwardLow[i], x(p - i) + x(p + i));
#pragma GCC unroll 4
  for (int i = 1; i < 4; ++i) high = high + weighed(taps.forwardHigh[i], x(1 - p - i) + x(1 - p + i));
  return {low, high};
}

// l(j) and h(j) are coefficients; the samples at places 0 and 1. Around a sample its own band and the other alternate.
template <class V, class W, class Low, class High>
ZEL_INLINE Pair97<V> inversePair(const Taps97<W>& taps, int p, Low l, High h) {
  // The even sample has low 0 at its place, and high -1 and 0 (phase 1: 0 and 1) beside it; the odd one high 0, and low
  // 0 and 1 (phase 1: -1 and 0).
  const V even = weighed(taps.inverseLow[0], l(0)) + weighed(taps.inverseHigh[1], h(p - 1) + h(p)) +
                 weighed(taps.inverseLow[2], l(-1) + l(1)) + weighed(taps.inverseHigh[3], h(p - 2) + h(p + 1));
  const V odd = weighed(taps.inverseHigh[0], h(0)) + weighed(taps.inverseLow[1], l(-p) + l(1 - p)) +
                weighed(taps.inverseHigh[2], h(-1) + h(1)) + weighed(taps.inverseLow[3], l(-p - 1) + l(2 - p)) +
                weighed(taps.inverseHigh[4], h(-2) + h(2));
  return p ? Pair97<V>{odd, even} : Pair97<V>{even, odd};
}

}  // namespace
}  // namespace ZEL_VARIANT
