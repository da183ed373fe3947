// One level of the irreversible 9/7 wavelet on a tile: in place, and between a plane and four bands.
#include "jpeg2000/pj2wt97.h"

namespace ZEL_VARIANT {
namespace {

// Four samples of border at each end of the line; a single sample needs none.
constexpr int kLineBorder = 4, kLeastSide = 2;

enum Step { kLift1, kLift2, kLift3, kToLow, kToHigh, kScale, kUnlift4, kUnlift3, kUnlift2, kUnlift1, kOut };

template <template <int> class Arithmetic, class T>
struct Filter97 {
  static void forwardRow(const T* src, int n, int p, T* low, T* high) {
    if (n == 1) return storeOne(p ? high : low, p ? T(uint32_t(loadOne(src)) * 2) : loadOne(src));
    const int lows = lowCount(n, p);
    forwardLine<Lift97<Arithmetic>>(src, Readable{0, n, n}, Bands{lows, n - lows, p}, low, high);
  }
  static void inverseRow(const T* low, const T* high, int n, int p, T* dst) {
    if (n == 1) return storeOne(dst, p ? T(loadOne(high) / 2) : loadOne(low));
    const int lows = lowCount(n, p), highs = n - lows;
    inverseLine<Lift97<Arithmetic>>(low, Readable{0, lows, n}, high, Readable{0, highs, n}, Bands{lows, highs, p}, dst);
  }

  // Row k is high. By then its first step is due, the second one of row k - 1, the third one of row k - 2; row k - 3
  // becomes low coefficients, and row k - 4, which row k - 3 was the last to need, high ones. Rows before the first and
  // behind the last are the mirrored ones.
  static void forwardColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n == 1) return scaleSingle(src.row(0), dst.row(0), width, p, [](T x) { return T(uint32_t(x) * 2); });
    forStrips<T>(width, [=](int x, int w) {
      const auto from = [=](int r) { return src.row(int(mirrored(r, n))) + x; };
      const auto to = [=](int r) { return dst.row(int(mirrored(r, n))) + x; };
      const auto has = [=](int r) { return r >= 0 && r < n; };
      for (int k = 1 - p; k - 4 < n; k += 2) {
        if (k >= 4 && k + 1 < n) {
          forwardStep(from(k - 1), from(k), from(k + 1), to(k), to(k - 1), to(k - 2), to(k - 3), to(k - 4), w);
          continue;
        }
        if (has(k)) liftRow<kLift1>(to(k), from(k), from(k - 1), from(k + 1), w);
        if (has(k - 1)) liftRow<kLift2>(to(k - 1), from(k - 1), to(k - 2), to(k), w);
        if (has(k - 2)) liftRow<kLift3>(to(k - 2), to(k - 2), to(k - 3), to(k - 1), w);
        if (has(k - 3)) liftRow<kToLow>(to(k - 3), to(k - 3), to(k - 4), to(k - 2), w);
        if (has(k - 4)) liftRow<kToHigh>(to(k - 4), to(k - 4), to(k - 4), to(k - 4), w);
      }
    });
  }

  // Row k is low. Row k + 1 is scaled, row k takes its first step of the inverse, and so on to row k - 3; row k - 4 has
  // served its last neighbour.
  static void inverseColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n == 1) return scaleSingle(src.row(0), dst.row(0), width, p, [](T x) { return T(x / 2); });
    forStrips<T>(width, [=](int x, int w) {
      const auto from = [=](int r) { return src.row(int(mirrored(r, n))) + x; };
      const auto to = [=](int r) { return dst.row(int(mirrored(r, n))) + x; };
      const auto has = [=](int r) { return r >= 0 && r < n; };
      for (int k = -p; k - 4 < n; k += 2) {
        if (k >= 4 && k + 1 < n) {
          inverseStep(from(k), from(k + 1), to(k + 1), to(k), to(k - 1), to(k - 2), to(k - 3), to(k - 4), w);
          continue;
        }
        if (has(k + 1)) liftRow<kScale>(to(k + 1), from(k + 1), from(k + 1), from(k + 1), w);
        if (has(k)) liftRow<kUnlift4>(to(k), from(k), to(k - 1), to(k + 1), w);
        if (has(k - 1)) liftRow<kUnlift3>(to(k - 1), to(k - 1), to(k - 2), to(k), w);
        if (has(k - 2)) liftRow<kUnlift2>(to(k - 2), to(k - 2), to(k - 3), to(k - 1), w);
        if (has(k - 3)) liftRow<kUnlift1>(to(k - 3), to(k - 3), to(k - 4), to(k - 2), w);
        if (has(k - 4)) liftRow<kOut>(to(k - 4), to(k - 4), to(k - 4), to(k - 4), w);
      }
    });
  }

 private:
  // One step of each sample of a row, a, with its neighbours.
  template <Step kStep>
  static void liftRow(T* out, const T* a, const T* b, const T* c, int width) {
    forLanes<T>(width, [=](auto lanes, int i) {
      using A = Arithmetic<decltype(lanes)::kBytes>;
      const auto r = [=](const T* row) { return lanes.template get<typename A::R>(row + i); };
      const auto w = [=](const T* row) { return lanes.template get<typename A::W>(row + i); };
      if constexpr (kStep == kLift1) lanes.put(out + i, A::lift1(r(a), r(b), r(c)));
      if constexpr (kStep == kLift2) lanes.put(out + i, A::lift2(r(a), w(b), w(c)));
      if constexpr (kStep == kLift3) lanes.put(out + i, A::lift3(w(a), w(b), w(c)));
      if constexpr (kStep == kToLow) lanes.put(out + i, A::low(w(a), w(b), w(c)));
      if constexpr (kStep == kToHigh) lanes.put(out + i, A::high(w(a)));
      if constexpr (kStep == kScale) lanes.put(out + i, A::scaleHigh(r(a)));
      if constexpr (kStep == kUnlift4) lanes.put(out + i, A::unlift4(r(a), w(b), w(c)));
      if constexpr (kStep == kUnlift3) lanes.put(out + i, A::unlift3(w(a), w(b), w(c)));
      if constexpr (kStep == kUnlift2) lanes.put(out + i, A::unlift2(w(a), w(b), w(c)));
      if constexpr (kStep == kUnlift1) lanes.put(out + i, A::unlift1(w(a), w(b), w(c)));
      if constexpr (kStep == kOut) lanes.put(out + i, A::out(w(a)));
    });
  }

  // All steps in one pass over the rows; names say which row before k.
  static void forwardStep(const T* even1, const T* odd0, const T* even0, T* to0, T* to1, T* to2, T* to3, T* to4,
                          int width) {
    forLanes<T>(
        width, [=](auto lanes, int i) __attribute__((always_inline)) {
          using A = Arithmetic<decltype(lanes)::kBytes>;
          using R = typename A::R;
          using W = typename A::W;
          const R even = lanes.template get<R>(even1 + i);
          const W d0 = A::lift1(lanes.template get<R>(odd0 + i), even, lanes.template get<R>(even0 + i));
          const W d2 = lanes.template get<W>(to2 + i), s3 = lanes.template get<W>(to3 + i),
                  d4 = lanes.template get<W>(to4 + i);
          const W s1 = A::lift2(even, d2, d0), lifted2 = A::lift3(d2, s3, s1);
          lanes.put(to0 + i, d0);
          lanes.put(to1 + i, s1);
          lanes.put(to2 + i, lifted2);
          lanes.put(to3 + i, A::low(s3, d4, lifted2));
          lanes.put(to4 + i, A::high(d4));
        });
  }
  static void inverseStep(const T* low, const T* high, T* toNext, T* to0, T* to1, T* to2, T* to3, T* to4, int width) {
    forLanes<T>(
        width, [=](auto lanes, int i) __attribute__((always_inline)) {
          using A = Arithmetic<decltype(lanes)::kBytes>;
          using R = typename A::R;
          using W = typename A::W;
          const W next = A::scaleHigh(lanes.template get<R>(high + i)), d1 = lanes.template get<W>(to1 + i);
          const W s0 = A::unlift4(lanes.template get<R>(low + i), d1, next);
          const W s2 = lanes.template get<W>(to2 + i), d3 = lanes.template get<W>(to3 + i),
                  s4 = lanes.template get<W>(to4 + i);
          const W lifted1 = A::unlift3(d1, s2, s0), lifted2 = A::unlift2(s2, d3, lifted1);
          lanes.put(toNext + i, next);
          lanes.put(to0 + i, s0);
          lanes.put(to1 + i, lifted1);
          lanes.put(to2 + i, lifted2);
          lanes.put(to3 + i, A::unlift1(d3, s4, lifted2));
          if constexpr (A::kConverts) lanes.put(to4 + i, A::out(s4));
        });
  }
  template <class Scale>
  static void scaleSingle(const T* src, T* dst, int width, int p, Scale scale) {
    for (int i = 0; i < width; ++i) storeOne(dst + i, p ? scale(loadOne(src + i)) : loadOne(src + i));
  }
};

using Tile16 = Filter97<Q14, int16_t>;
using Tile32 = Filter97<Mixed, int32_t>;

}  // namespace

ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBytes<int16_t>(pTileRect, pSize, kLineBorder, kLeastSide);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBytes<int32_t>(pTileRect, pSize, kLineBorder, kLeastSide);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return planeBytes<int16_t>(pTileRect, pSize, kLineBorder, kLeastSide);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return planeBytes<int32_t>(pTileRect, pSize, kLineBorder, kLeastSide);
}

ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return forwardTile<Tile16>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTInv_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTile<Tile16>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return forwardTile<Tile32>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTInv_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTile<Tile32>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                       int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return forwardTileToBands<Tile16>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus zeliWTInv_D97_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst, int dstStep,
                                       const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTileFromBands<Tile16>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                       int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return forwardTileToBands<Tile32>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus zeliWTInv_D97_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst, int dstStep,
                                       const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTileFromBands<Tile32>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

}  // namespace ZEL_VARIANT
