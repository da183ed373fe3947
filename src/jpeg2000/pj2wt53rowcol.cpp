// The reversible 5/3 wavelet in one direction over a region whose source carries its border.
#include "jpeg2000/wavelet53.h"
#include "jpeg2000/wavelet_drivers.h"

namespace ZEL_VARIANT {
namespace {

// A row of n coefficients a band reads 2n samples and three of border: two before them and one behind with phase 0, one
// and two with phase 1. The inverse reads a high coefficient beyond each end, and a low one: behind the line with phase
// 0, before it with phase 1.
template <class T>
struct RowFilter53 {
  static void forwardRow(const T* x, int64_t n, int p, T* low, T* high) {
    forwardLine<Lifting53<T>>(x, Readable{p - 2, 2 * n + 1 + p, 0}, Division{n, n, p}, low, high);
  }
  static void inverseRow(const T* low, const T* high, int64_t n, int p, T* dst) {
    inverseLine<Lifting53<T>>(low, Readable{-p, n + 1 - p, 0}, high, Readable{-1, n + 1, 0}, Division{n, n, p}, dst);
  }
};

// Columns. Where the high row before the first, or behind the last, is in the border, it is computed on the way and
// stored nowhere: from rows a, b, c the coefficient b - ((a + c) >> 1).
template <class T>
struct BorderRows {
  const T *a, *b, *c;
  template <class V, class Lanes>
  ZEL_INLINE V high(Lanes lanes, int i) const {
    return lanes.template get<V>(b + i) - meanOf(lanes.template get<V>(a + i), lanes.template get<V>(c + i));
  }
};

template <class T>
ZelStatus forwardColumns(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh, int dstHighStep,
                         ZeliSize size, int phase) {
  if (const ZelStatus s = checkForward(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, size)) return s;
  const int p = phaseOf(phase), n = size.height, width = size.width;
  const auto x = [=](int64_t r) { return rowAt(pSrc, srcStep, r); };
  const auto border = [=](int64_t r) { return BorderRows<T>{x(r - 1), x(r), x(r + 1)}; };
  for (int64_t k = 0; k < n; ++k) {
    T *const s = rowAt(pDstLow, dstLowStep, k), *const d = rowAt(pDstHigh, dstHighStep, k);
    const int64_t place = 2 * k;
    if (p == 0 && k > 0) {
      liftRows53<T>(x(place), x(place + 1), x(place + 2), rowAt(pDstHigh, dstHighStep, k - 1), d, s, width);
    } else if (p == 0) {
      forLanes<T>(width, [=, own = border(1), before = border(-1), even = x(0)](auto lanes, int i) {
        using V = Vec<T, lanes.kBytes>;
        const V high = own.template high<V>(lanes, i);
        lanes.put(d + i, high);
        lanes.put(s + i, lanes.template get<V>(even + i) + quarterOf(before.template high<V>(lanes, i), high));
      });
    } else {  // each low row takes the high row behind it, which the next turn stores
      forLanes<T>(width, [=, own = border(place), behind = border(place + 2), even = x(place + 1)](auto lanes, int i) {
        using V = Vec<T, lanes.kBytes>;
        const V high = own.template high<V>(lanes, i);
        lanes.put(d + i, high);
        lanes.put(s + i, lanes.template get<V>(even + i) + quarterOf(high, behind.template high<V>(lanes, i)));
      });
    }
  }
  return zelStsNoErr;
}

// The even row between the high rows dPrev and d.
template <class T>
struct EvenRow {
  const T *s, *dPrev, *d;
  template <class V, class Lanes>
  ZEL_INLINE V at(Lanes lanes, int i) const {
    return lanes.template get<V>(s + i) - quarterOf(lanes.template get<V>(dPrev + i), lanes.template get<V>(d + i));
  }
};

template <class T>
ZelStatus inverseColumns(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep, ZeliSize size, T* pDst,
                         int dstStep, int phase) {
  if (const ZelStatus s = checkInverse(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, size, pDst, dstStep)) return s;
  const int p = phaseOf(phase), n = size.height, width = size.width;
  // Pair k is the even row k and the odd row behind it; the first even row of phase 1 and the last one of phase 0 are
  // in the border.
  const auto evenRow = [=](int64_t k) {
    return EvenRow<T>{rowAt(pSrcLow, srcLowStep, k - p), rowAt(pSrcHigh, srcHighStep, k - 1),
                      rowAt(pSrcHigh, srcHighStep, k)};
  };
  const auto out = [=](int64_t place) { return rowAt(pDst, dstStep, place); };
  if (p == 0)
    forLanes<T>(width, [=, first = evenRow(0)](auto lanes, int i) {
      using V = Vec<T, lanes.kBytes>;
      lanes.put(pDst + i, first.template at<V>(lanes, i));
    });
  for (int64_t k = 1; k <= n; ++k) {  // odd row k - 1 and, inside the region, even row k
    const EvenRow<T> row = evenRow(k);
    T* const odd = out(2 * k - 1 - p);
    if (p == 0 ? k < n : k > 1) {
      unliftRows53<T>(row.s, row.dPrev, row.d, out(2 * k - 2 - p), odd, out(2 * k - p), width);
    } else if (p == 0) {
      const T* const evenPrev = out(2 * k - 2);
      forLanes<T>(width, [=](auto lanes, int i) {
        using V = Vec<T, lanes.kBytes>;
        const V next = row.template at<V>(lanes, i);
        lanes.put(odd + i, lanes.template get<V>(row.dPrev + i) + meanOf(lanes.template get<V>(evenPrev + i), next));
      });
    } else {
      T* const even = out(1);
      forLanes<T>(width, [=, before = evenRow(0)](auto lanes, int i) {
        using V = Vec<T, lanes.kBytes>;
        const V x = row.template at<V>(lanes, i);
        lanes.put(even + i, x);
        lanes.put(odd + i, lanes.template get<V>(row.dPrev + i) + meanOf(before.template at<V>(lanes, i), x));
      });
    }
  }
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliWTFwdRow_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                          int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRows<RowFilter53<int16_t>>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus zeliWTInvRow_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep, int phase) {
  return inverseRows<RowFilter53<int16_t>>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus zeliWTFwdCol_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                          int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardColumns(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus zeliWTInvCol_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep, int phase) {
  return inverseColumns(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}
ZelStatus zeliWTFwdRow_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                          int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRows<RowFilter53<int32_t>>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus zeliWTInvRow_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep, int phase) {
  return inverseRows<RowFilter53<int32_t>>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus zeliWTFwdCol_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                          int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardColumns(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus zeliWTInvCol_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                          int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep, int phase) {
  return inverseColumns(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

}  // namespace ZEL_VARIANT
