// What the exported functions of both filters do around the transforms: sizes of work buffers, argument checks, rows of
// a region.
#pragma once

#include "frame/checks.h"
#include "jpeg2000/wavelet_tiles.h"

namespace ZEL_VARIANT {
namespace {

// ---- Work buffers ---------------------------------------------------------------------------------------------------

// What a filter asks for: `border` samples at each end of a line; no buffer where both sides are below leastSide.
struct BufferRule {
  int border, leastSide;
};

// Rows of the plane in a C1R buffer start at multiples of 32 bytes.
template <class T>
constexpr int64_t bufferStep(int width) {
  return (int64_t(width) * int64_t(sizeof(T)) + 31) & ~int64_t(31);
}

// A line as long as the longer side, with its border.
template <class T>
constexpr int64_t lineBytes(const ZeliRect& tile, BufferRule rule) {
  if (tile.width < rule.leastSide && tile.height < rule.leastSide) return 0;
  return (greatest(tile.width, tile.height) + 2 * rule.border) * int64_t(sizeof(T));
}

inline ZelStatus storeSize(int64_t bytes, int* pSize) {
  if (bytes < INT32_MIN || bytes > INT32_MAX) return zelStsSizeErr;
  *pSize = int(bytes);
  return zelStsNoErr;
}

template <class T>
ZelStatus bufferInPlace(const ZeliRect* pTileRect, int* pSize, BufferRule rule) {
  if (const ZelStatus s = firstFailure(present(pTileRect), present(pSize))) return s;
  return storeSize(lineBytes<T>(*pTileRect, rule), pSize);
}
template <class T>
ZelStatus bufferOfBands(const ZeliRect* pTileRect, int* pSize, BufferRule rule) {
  if (const ZelStatus s = firstFailure(present(pTileRect), present(pSize))) return s;
  int64_t rows = 0, bytes = 0;  // the product of the largest sizes takes 65 bits
  if (__builtin_mul_overflow(bufferStep<T>(pTileRect->width), int64_t(pTileRect->height), &rows)) return zelStsSizeErr;
  if (__builtin_add_overflow(rows, lineBytes<T>(*pTileRect, rule), &bytes)) return zelStsSizeErr;
  return storeSize(bytes, pSize);
}

// ---- Tiles ----------------------------------------------------------------------------------------------------------

template <class Transform, class T>
ZelStatus tileInPlace(T* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer, Transform transform) {
  if (const ZelStatus s = firstFailure(present(pSrcDst), stepOk(srcDstStep), present(pTileRect), present(pBuffer)))
    return s;
  if (pTileRect->width < 1 || pTileRect->height < 1) return zelStsNoErr;
  transform(Plane<T>{pSrcDst, srcDstStep}, *pTileRect, reinterpret_cast<T*>(pBuffer));
  return zelStsNoErr;
}

template <class Filter, class T>
ZelStatus forwardTile(T* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return tileInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, forwardInPlace<Filter, T>);
}
template <class Filter, class T>
ZelStatus inverseTile(T* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return tileInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer, inverseInPlace<Filter, T>);
}

template <class T>
ZelStatus bandsOk(T* const* band, const int* step, const ZeliRect& tile) {
  return firstFailure(allPresent<4>(band), stepOk(step[zeliSubbandLL]), stepOk(step[zeliSubbandLH]),
                      stepOk(step[zeliSubbandHL]), stepOk(step[zeliSubbandHH]), sizeOk({tile.width, tile.height}));
}

template <class Filter, class T>
ZelStatus forwardTileToBands(const T* pSrc, int srcStep, const ZeliRect* pTileRect, T* const* pDst, const int* dstStep,
                             uint8_t* pBuffer) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pTileRect), present(pDst), present(dstStep),
                                       present(pBuffer), stepOk(srcStep)))
    return s;
  if (const ZelStatus s = bandsOk(pDst, dstStep, *pTileRect)) return s;
  forwardToBands<Filter, T>({pSrc, srcStep}, *pTileRect, pDst, dstStep,
                            {reinterpret_cast<T*>(pBuffer), bufferStep<T>(pTileRect->width)});
  return zelStsNoErr;
}

template <class Filter, class T>
ZelStatus inverseTileFromBands(const T* const* pSrc, const int* srcStep, T* pDst, int dstStep,
                               const ZeliRect* pTileRect, uint8_t* pBuffer) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(srcStep), present(pDst), present(pTileRect),
                                       present(pBuffer), stepOk(dstStep)))
    return s;
  if (const ZelStatus s = bandsOk(pSrc, srcStep, *pTileRect)) return s;
  inverseFromBands<Filter, T>(pSrc, srcStep, *pTileRect, {pDst, dstStep},
                              {reinterpret_cast<T*>(pBuffer), bufferStep<T>(pTileRect->width)});
  return zelStsNoErr;
}

// ---- Rows and columns -----------------------------------------------------------------------------------------------

template <class T>
ZelStatus checkForward(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh, int dstHighStep,
                       ZeliSize size) {
  return firstFailure(present(pSrc), present(pDstLow), present(pDstHigh), stepOk(srcStep), stepOk(dstLowStep),
                      stepOk(dstHighStep), sizeOk(size));
}
template <class T>
ZelStatus checkInverse(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep, ZeliSize size, T* pDst,
                       int dstStep) {
  return firstFailure(present(pSrcLow), present(pSrcHigh), present(pDst), stepOk(srcLowStep), stepOk(srcHighStep),
                      stepOk(dstStep), sizeOk(size));
}

// RowFilter has, for lines of n coefficients a band, forwardRow(x, n, p, low, high) and inverseRow(low, high, n, p,
// dst).
template <class RowFilter, class T>
ZelStatus forwardRows(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh, int dstHighStep,
                      ZeliSize size, int phase) {
  if (const ZelStatus s = checkForward(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, size)) return s;
  for (int r = 0; r < size.height; ++r)
    RowFilter::forwardRow(rowAt(pSrc, srcStep, r), size.width, phaseOf(phase), rowAt(pDstLow, dstLowStep, r),
                          rowAt(pDstHigh, dstHighStep, r));
  return zelStsNoErr;
}
template <class RowFilter, class T>
ZelStatus inverseRows(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep, ZeliSize size, T* pDst,
                      int dstStep, int phase) {
  if (const ZelStatus s = checkInverse(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, size, pDst, dstStep)) return s;
  for (int r = 0; r < size.height; ++r)
    RowFilter::inverseRow(rowAt(pSrcLow, srcLowStep, r), rowAt(pSrcHigh, srcHighStep, r), size.width, phaseOf(phase),
                          rowAt(pDst, dstStep, r));
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
