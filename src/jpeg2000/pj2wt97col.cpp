// The irreversible 9/7 wavelet along columns of single-precision samples, in a region whose source carries its border
// rows. Strips of columns run down the region; what the steps hand on from row to row stays on the stack, so every
// source row is read once a strip and nothing but results is written.
#include "jpeg2000/wavelet97.h"
#include "jpeg2000/wavelet97_pair.h"
#include "jpeg2000/wavelet_drivers.h"

namespace ZEL_VARIANT {
namespace {

// Of a strip, and the bytes that each row of its state has.
constexpr int kColumns = 256, kStateBytes = kColumns * int(sizeof(float));

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
  forColumns<Float, float>(width, [=](auto c) {
    const auto x0 = c.sample(rows.even), d = c.lift1(c.sample(rows.odd), x0, c.sample(rows.nextEven));
    const auto before = c.lifted(odd1), s = c.lift2(x0, before, d);
    const auto sBefore = c.lifted(even2), lifted = c.lift3(before, sBefore, s);
    if (rows.low) c.put(rows.low, c.low(sBefore, c.lifted(odd3), lifted));
    if (rows.high) c.put(rows.high, c.high(lifted));
    c.put(odd1, d);
    c.put(even2, s);
    c.put(odd3, lifted);
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
  forColumns<Float, float>(width, [=](auto c) {
    const auto d = c.scaleHigh(c.sample(rows.high)), dBefore = c.lifted(odd);
    const auto s = c.unlift4(c.sample(rows.low), dBefore, d);
    const auto sBefore = c.lifted(even1), lifted2 = c.unlift3(dBefore, sBefore, s);
    const auto d2 = c.lifted(odd2), x = c.unlift2(sBefore, d2, lifted2);
    if (rows.even) c.put(rows.even, x);
    if (rows.odd) c.put(rows.odd, c.unlift1(d2, c.lifted(even3), x));
    c.put(odd, d);
    c.put(even1, s);
    c.put(odd2, lifted2);
    c.put(even3, x);
  });
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
          forwardPair<V>(kTapsFloat, p, [=](int r) { return lanes.template get<V>(rowAt(pSrc, srcStep, r) + i); });
      lanes.put(pDstLow + i, pair.first);
      lanes.put(pDstHigh + i, pair.second);
    });
    return zelStsNoErr;
  }
  forStrips<float, kStateBytes>(dstRoiSize.width, [=](int x, int width) {
    ForwardState state = {};
    // Low row j is in pair j + p, high row j in pair j.
    for (int64_t k = p - 2; k <= int64_t(n) + p; ++k) {
      const auto row = [=](int64_t r) { return rowAt(pSrc, srcStep, r) + x; };
      const int64_t done = k - 1, place = 2 * k - p;
      const bool low = done >= p && done - p < n, high = done >= 0 && done < n;
      forwardPairRows(
          state,
          {row(place), row(place + 1), row(place + 2), low ? rowAt(pDstLow, dstLowStep, done - p) + x : nullptr,
           high ? rowAt(pDstHigh, dstHighStep, done) + x : nullptr},
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
          kTapsFloat, p, [=](int r) { return lanes.template get<V>(rowAt(pSrcLow, srcLowStep, r) + i); },
          [=](int r) { return lanes.template get<V>(rowAt(pSrcHigh, srcHighStep, r) + i); });
      lanes.put(pDst + i, pair.first);
      lanes.put(rowAt(pDst, dstStep, 1) + i, pair.second);
    });
    return zelStsNoErr;
  }
  forStrips<float, kStateBytes>(srcRoiSize.width, [=](int x, int width) {
    InverseState state = {};
    const auto low = [=](int64_t k) { return rowAt(pSrcLow, srcLowStep, k - p) + x; };
    const auto high = [=](int64_t k) { return rowAt(pSrcHigh, srcHighStep, k) + x; };
    const auto out = [=](int64_t place) {
      return place >= 0 && place < 2 * int64_t(n) ? rowAt(pDst, dstStep, place) + x : nullptr;
    };
    // Before the first even row there is only its high neighbour.
    inversePairRows(state, {high(-2), high(-2), nullptr, nullptr}, width);
    for (int64_t k = -1; k <= int64_t(n) + 1; ++k)
      inversePairRows(state, {low(k), high(k), out(2 * (k - 1) - p), out(2 * (k - 2) + 1 - p)}, width);
  });
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
