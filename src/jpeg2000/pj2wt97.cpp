// One level of the irreversible 9/7 wavelet on a tile: in place, and between a plane and four bands.
#include "jpeg2000/wavelet97.h"
#include "jpeg2000/wavelet_drivers.h"

namespace ZEL_VARIANT {
namespace {

// Four samples of border at each end of the line; a single sample needs none.
constexpr BufferRule kRule = {4, 2};

template <template <int> class Arithmetic, class T>
struct Filter97 {
  // A single sample is doubled where it is a high coefficient, and halved again (F.4.6, F.3.6).
  static T doubled(T x) { return T(uint32_t(x) * 2); }
  static T halved(T x) { return T(x / 2); }

  static void forwardRow(const T* src, int n, int p, T* low, T* high) {
    if (n == 1) return storeOne(p ? high : low, p ? doubled(loadOne(src)) : loadOne(src));
    forwardLine<Lifting97<Arithmetic>>(src, Readable{0, n, n}, divisionOf(n, p), low, high);
  }
  static void inverseRow(const T* low, const T* high, int n, int p, T* dst) {
    if (n == 1) return storeOne(dst, p ? halved(loadOne(high)) : loadOne(low));
    const Division division = divisionOf(n, p);
    inverseLine<Lifting97<Arithmetic>>(low, Readable{0, division.low, n}, high, Readable{0, division.high, n}, division,
                                       dst);
  }

  // Row k is high. By then its first step is due, the second one of row k - 1, the third one of row k - 2; row k - 3
  // becomes low coefficients, and row k - 4, which row k - 3 was the last to need, high ones. Rows before the first and
  // behind the last are the mirrored ones.
  static void forwardColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n == 1) return singleRow(src.row(0), dst.row(0), width, p, doubled);
    forStrips<T, kStripBytes>(width, [=](int x, int w) {
      const auto from = [=](int64_t r) { return src.row(mirrored(r, n)) + x; };
      const auto to = [=](int64_t r) { return dst.row(mirrored(r, n)) + x; };
      // Row r, where there is one: each of its columns is step(columns, own, before, behind), of rows own and its
      // neighbours.
      const auto lift = [=](int64_t r, const T* own, const T* before, const T* behind, auto step) {
        if (r < 0 || r >= n) return;
        forColumns<Arithmetic, T>(w, [=, dst = to(r)](auto c) { c.put(dst, step(c, own, before, behind)); });
      };
      for (int64_t k = 1 - p; k - 4 < n; k += 2) {
        if (k >= 4 && k + 1 < n) {
          forwardStep(from(k - 1), from(k), from(k + 1), to(k), to(k - 1), to(k - 2), to(k - 3), to(k - 4), w);
          continue;
        }
        lift(k, from(k), from(k - 1), from(k + 1),
             [](auto c, auto odd, auto e0, auto e1) { return c.lift1(c.sample(odd), c.sample(e0), c.sample(e1)); });
        lift(k - 1, from(k - 1), to(k - 2), to(k),
             [](auto c, auto even, auto d0, auto d1) { return c.lift2(c.sample(even), c.lifted(d0), c.lifted(d1)); });
        lift(k - 2, to(k - 2), to(k - 3), to(k - 1),
             [](auto c, auto odd, auto s0, auto s1) { return c.lift3(c.lifted(odd), c.lifted(s0), c.lifted(s1)); });
        lift(k - 3, to(k - 3), to(k - 4), to(k - 2),
             [](auto c, auto even, auto d0, auto d1) { return c.low(c.lifted(even), c.lifted(d0), c.lifted(d1)); });
        lift(k - 4, to(k - 4), nullptr, nullptr, [](auto c, auto odd, auto, auto) { return c.high(c.lifted(odd)); });
      }
    });
  }

  // Row k is low. Row k + 1 is scaled, row k takes its first step of the inverse, and so on to row k - 3; row k - 4 has
  // served its last neighbour.
  static void inverseColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n == 1) return singleRow(src.row(0), dst.row(0), width, p, halved);
    forStrips<T, kStripBytes>(width, [=](int x, int w) {
      const auto from = [=](int64_t r) { return src.row(mirrored(r, n)) + x; };
      const auto to = [=](int64_t r) { return dst.row(mirrored(r, n)) + x; };
      const auto lift = [=](int64_t r, const T* own, const T* before, const T* behind, auto step) {  // as above
        if (r < 0 || r >= n) return;
        forColumns<Arithmetic, T>(w, [=, dst = to(r)](auto c) { c.put(dst, step(c, own, before, behind)); });
      };
      for (int64_t k = -p; k - 4 < n; k += 2) {
        if (k >= 4 && k + 1 < n) {
          inverseStep(from(k), from(k + 1), to(k + 1), to(k), to(k - 1), to(k - 2), to(k - 3), to(k - 4), w);
          continue;
        }
        lift(k + 1, from(k + 1), nullptr, nullptr,
             [](auto c, auto high, auto, auto) { return c.scaleHigh(c.sample(high)); });
        lift(k, from(k), to(k - 1), to(k + 1),
             [](auto c, auto low, auto d0, auto d1) { return c.unlift4(c.sample(low), c.lifted(d0), c.lifted(d1)); });
        lift(k - 1, to(k - 1), to(k - 2), to(k),
             [](auto c, auto odd, auto s0, auto s1) { return c.unlift3(c.lifted(odd), c.lifted(s0), c.lifted(s1)); });
        lift(k - 2, to(k - 2), to(k - 3), to(k - 1),
             [](auto c, auto even, auto d0, auto d1) { return c.unlift2(c.lifted(even), c.lifted(d0), c.lifted(d1)); });
        lift(k - 3, to(k - 3), to(k - 4), to(k - 2),
             [](auto c, auto odd, auto s0, auto s1) { return c.unlift1(c.lifted(odd), c.lifted(s0), c.lifted(s1)); });
        lift(k - 4, to(k - 4), nullptr, nullptr,
             [](auto c, auto even, auto, auto) { return c.finish(c.lifted(even)); });
      }
    });
  }

 private:
  // All steps in one pass over the rows; the numbers in the names say how many rows before row k.
  static void forwardStep(const T* even1, const T* odd0, const T* even0, T* to0, T* to1, T* to2, T* to3, T* to4,
                          int width) {
    forColumns<Arithmetic, T>(
        width, [=](auto c) __attribute__((always_inline)) {
          const auto even = c.sample(even1);
          const auto d0 = c.lift1(c.sample(odd0), even, c.sample(even0));
          const auto d2 = c.lifted(to2), s3 = c.lifted(to3), d4 = c.lifted(to4);
          const auto s1 = c.lift2(even, d2, d0), lifted2 = c.lift3(d2, s3, s1);
          c.put(to0, d0);
          c.put(to1, s1);
          c.put(to2, lifted2);
          c.put(to3, c.low(s3, d4, lifted2));
          c.put(to4, c.high(d4));
        });
  }
  static void inverseStep(const T* low, const T* high, T* toNext, T* to0, T* to1, T* to2, T* to3, T* to4, int width) {
    forColumns<Arithmetic, T>(
        width, [=](auto c) __attribute__((always_inline)) {
          const auto next = c.scaleHigh(c.sample(high)), d1 = c.lifted(to1);
          const auto s0 = c.unlift4(c.sample(low), d1, next);
          const auto s2 = c.lifted(to2), d3 = c.lifted(to3), s4 = c.lifted(to4);
          const auto lifted1 = c.unlift3(d1, s2, s0), lifted2 = c.unlift2(s2, d3, lifted1);
          c.put(toNext, next);
          c.put(to0, s0);
          c.put(to1, lifted1);
          c.put(to2, lifted2);
          c.put(to3, c.unlift1(d3, s4, lifted2));
          if constexpr (c.kFinishes) c.put(to4, c.finish(s4));
        });
  }
  template <class Scale>
  static void singleRow(const T* src, T* dst, int width, int p, Scale scale) {
    for (int i = 0; i < width; ++i) storeOne(dst + i, p ? scale(loadOne(src + i)) : loadOne(src + i));
  }
};

using Tile16 = Filter97<Q14, int16_t>;
using Tile32 = Filter97<FloatOfInt, int32_t>;

}  // namespace

ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return bufferInPlace<int16_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return bufferInPlace<int32_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return bufferOfBands<int16_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return bufferOfBands<int32_t>(pTileRect, pSize, kRule);
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
