// The irreversible 9/7 wavelet along columns of single-precision samples, in a region whose source carries its border
// rows. Strips of columns run down the region; what the steps hand on from row to row stays on the stack, so every
// source row is read once a strip and nothing but results is written.
#include "jpeg2000/pj2wt97.h"
#include "jpeg2000/pj2wt97pair.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kColumns = 256;  // of a strip

template <class T>
T* rowOf(T* base, int step, int64_t r) {
  using Byte = typename ByteLike<T>::Type;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + r * step);
}

// Pair k, of even row 2k - p and the odd row behind it: the first step of its odd row, the second of its even row, the
// third of the odd row of pair k - 1, and with that the coefficients of pair k - 1. Runs from two pairs before the
// first to one behind the last; the steps that have not enough before them yet compute what nobody takes.
struct ForwardState {
  alignas(64) float odd1[kColumns], even2[kColumns], odd3[kColumns];  // of the pair before; odd3 of the one before that
};
struct ForwardRows {
  const float *even, *odd, *nextEven;
  float *low, *high;  // of pair k - 1, null where it has none
};

void forwardPairRows(ForwardState& state, ForwardRows rows, int width) {
  float *const odd1 = state.odd1, *const even2 = state.even2, *const odd3 = state.odd3;
  forLanes<float>(width, [=](auto lanes, int i) {
    using A = Float<decltype(lanes)::kBytes>;
    using W = typename A::W;
    const auto at = [=](const float* row) { return lanes.template get<W>(row + i); };
    const W x0 = at(rows.even), d = A::lift1(at(rows.odd), x0, at(rows.nextEven)), before = at(odd1);
    const W s = A::lift2(x0, before, d), sBefore = at(even2), lifted = A::lift3(before, sBefore, s);
    if (rows.low) lanes.put(rows.low + i, A::low(sBefore, at(odd3), lifted));
    if (rows.high) lanes.put(rows.high + i, A::high(lifted));
    lanes.put(odd1 + i, d);
    lanes.put(even2 + i, s);
    lanes.put(odd3 + i, lifted);
  });
}

// Pair k of the inverse: its high row scaled, the first step of its even row, the second of the odd row of pair k - 1,
// the third of the even row of pair k - 1, the last one of the odd row of pair k - 2.
struct InverseState {
  alignas(64) float odd[kColumns], even1[kColumns], odd2[kColumns],
      even3[kColumns];  // odd2, even3: the pair before that
};
struct InverseRows {
  const float *low, *high;
  float *even, *odd;  // of pairs k - 1 and k - 2, null where they are outside
};

void inversePairRows(InverseState& state, InverseRows rows, int width) {
  float *const odd = state.odd, *const even1 = state.even1, *const odd2 = state.odd2, *const even3 = state.even3;
  forLanes<float>(width, [=](auto lanes, int i) {
    using A = Float<decltype(lanes)::kBytes>;
    using W = typename A::W;
    const auto at = [=](const float* row) { return lanes.template get<W>(row + i); };
    const W d = A::scaleHigh(at(rows.high)), dBefore = at(odd), s = A::unlift4(at(rows.low), dBefore, d);
    const W sBefore = at(even1), lifted2 = A::unlift3(dBefore, sBefore, s), d2 = at(odd2);
    const W x = A::unlift2(sBefore, d2, lifted2);
    if (rows.even) lanes.put(rows.even + i, x);
    if (rows.odd) lanes.put(rows.odd + i, A::unlift1(d2, at(even3), x));
    lanes.put(odd + i, d);
    lanes.put(even1 + i, s);
    lanes.put(odd2 + i, lifted2);
    lanes.put(even3 + i, x);
  });
}

template <class F>
void forColumns(int width, F f) {
  for (int x = 0; x < width; x += kColumns) f(x, width - x < kColumns ? width - x : kColumns);
}

}  // namespace

ZelStatus zeliWTFwdCol_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                          float* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  if (const ZelStatus s = checkForward(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize)) return s;
  const int p = phaseOf(phase), n = dstRoiSize.height;
  if (n == 1) {
    forLanes<float>(dstRoiSize.width, [=](auto lanes, int i) {
      using V = Vec<float, lanes.kBytes>;
      const auto pair =
          forwardPair<V>(kTapsFloat, p, [=](int r) { return lanes.template get<V>(rowOf(pSrc, srcStep, r) + i); });
      lanes.put(pDstLow + i, pair.first);
      lanes.put(pDstHigh + i, pair.second);
    });
    return zelStsNoErr;
  }
  forColumns(dstRoiSize.width, [=](int x, int width) {
    ForwardState state = {};
    // Low row j is in pair j + p, high row j in pair j.
    for (int64_t k = p - 2; k <= n + p; ++k) {
      const auto row = [=](int64_t r) { return rowOf(pSrc, srcStep, r) + x; };
      const int64_t done = k - 1, place = 2 * k - p;
      const bool low = done >= p && done < n + p, high = done >= 0 && done < n;
      forwardPairRows(
          state,
          {row(place), row(place + 1), row(place + 2), low ? rowOf(pDstLow, dstLowStep, done - p) + x : nullptr,
           high ? rowOf(pDstHigh, dstHighStep, done) + x : nullptr},
          width);
    }
  });
  return zelStsNoErr;
}

ZelStatus zeliWTInvCol_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh, int srcHighStep,
                                          ZeliSize srcRoiSize, float* pDst, int dstStep, int phase) {
  if (const ZelStatus s = checkInverse(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep)) return s;
  const int p = phaseOf(phase), n = srcRoiSize.height;
  if (n == 1) {
    forLanes<float>(srcRoiSize.width, [=](auto lanes, int i) {
      using V = Vec<float, lanes.kBytes>;
      const auto pair = inversePair<V>(
          kTapsFloat, p, [=](int r) { return lanes.template get<V>(rowOf(pSrcLow, srcLowStep, r) + i); },
          [=](int r) { return lanes.template get<V>(rowOf(pSrcHigh, srcHighStep, r) + i); });
      lanes.put(pDst + i, pair.first);
      lanes.put(rowOf(pDst, dstStep, 1) + i, pair.second);
    });
    return zelStsNoErr;
  }
  forColumns(srcRoiSize.width, [=](int x, int width) {
    InverseState state = {};
    const auto low = [=](int64_t k) { return rowOf(pSrcLow, srcLowStep, k - p) + x; };
    const auto high = [=](int64_t k) { return rowOf(pSrcHigh, srcHighStep, k) + x; };
    const auto out = [=](int64_t place) {
      return place >= 0 && place < 2 * int64_t(n) ? rowOf(pDst, dstStep, place) + x : nullptr;
    };
    // Before the first even row there is only its high neighbour.
    inversePairRows(state, {high(-2), high(-2), nullptr, nullptr}, width);
    for (int64_t k = -1; k <= n + 1; ++k)
      inversePairRows(state, {low(k), high(k), out(2 * (k - 1) - p), out(2 * (k - 2) + 1 - p)}, width);
  });
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
