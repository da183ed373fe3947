// What the wavelet filters share: lines with their borders, kernels across columns, and one level of a tile.
//
// Lines. Pair k of a line with phase p is the even place 2k - p and the odd one 2k + 1 - p: coefficient j of the low
// band is the even sample of pair j + p, coefficient j of the high band the odd sample of pair j. A line is lifted in
// chunks of pairs on the stack: the samples, with the border that the filter reaches, are split into even and odd ones,
// lifted in place by passes over whole vectors, and copied out. Borders are computed again in each chunk, so a
// coefficient never depends on where a chunk begins.
//
// Tiles. Columns are lifted in place across whole rows, which leaves low and high rows alternating. Rows are put in
// their order, low ones first, as they are transformed: each goes from where it is to where it belongs.
#pragma once

#include <string.h>

#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// ---- Places --------------------------------------------------------------------------------------------------------

constexpr int lowCount(int n, int p) { return (n - p + 1) / 2; }

// Place of coefficient i of a line of n in low-first order, and back.
constexpr int placeOf(int i, int n, int p) {
  const int low = lowCount(n, p);
  return i < low ? 2 * i + p : 2 * (i - low) + 1 - p;
}
constexpr int coefficientAt(int place, int n, int p) { return ((place + p) % 2 ? lowCount(n, p) : 0) + place / 2; }

// Whole-sample symmetric extension of a line of n >= 2 (T.800, F.3.7); short lines are reflected again and again.
inline int64_t mirrored(int64_t place, int64_t n) {
  for (;;) {
    if (place < 0) place = -place;
    if (place < n) return place;
    place = 2 * (n - 1) - place;
  }
}

// ---- Kernels across columns ----------------------------------------------------------------------------------------
// forLanes<T>(n, f) calls f(lanes, i) until n samples are done; lanes says how many from i on, and moves them.

template <int B>
struct WholeVector {
  static constexpr int kBytes = B;
  template <class V, class P>
  ZEL_INLINE static V get(const P* p) {
    return load<V>(p);
  }
  template <class V, class P>
  ZEL_INLINE static void put(P* p, V v) {
    store(p, v);
  }
};
struct OneSample {  // in every lane
  static constexpr int kBytes = 16;
  template <class V, class P>
  ZEL_INLINE static V get(const P* p) {
    typename V::Lane x;
    __builtin_memcpy(&x, p, sizeof x);
    return splat<V>(x);
  }
  template <class V, class P>
  ZEL_INLINE static void put(P* p, V v) {
    const typename V::Lane x = v.v[0];
    __builtin_memcpy(p, &x, sizeof x);
  }
};

template <class T, class F>
ZEL_INLINE void forLanes(int n, F f) {
  constexpr int kWide = kVecBytes / int(sizeof(T)), kNarrow = 16 / int(sizeof(T));
  int i = 0;
  for (; i + kWide <= n; i += kWide) f(WholeVector<kVecBytes>(), i);
  if constexpr (kWide != kNarrow)
    for (; i + kNarrow <= n; i += kNarrow) f(WholeVector<16>(), i);
  for (; i < n; ++i) f(OneSample(), i);
}

template <class T>
struct Plane {
  T* base;
  int step;
  T* row(int r) const { return rowAt(base, step, r); }
};

// Columns are lifted in strips whose rows of one step fit the first cache together.
constexpr int kStripBytes = 4096;
template <class T, class F>
ZEL_INLINE void forStrips(int width, F f) {
  constexpr int kColumns = kStripBytes / int(sizeof(T));
  for (int x = 0; x < width; x += kColumns) f(x, width - x < kColumns ? width - x : kColumns);
}

// ---- Lines ---------------------------------------------------------------------------------------------------------

constexpr int kPairs = 256;  // of a chunk

// Pairs -2 to kPairs + 2, and room for whole vectors beyond.
template <class T>
struct Chunk {
  static constexpr int kFront = 64 / int(sizeof(T)), kBack = kFront + 2 * kVecBytes / int(sizeof(T));
  alignas(64) T samples[2 * (kPairs + kBack)];
  alignas(64) T evens[kFront + kPairs + kBack];
  alignas(64) T odds[kFront + kPairs + kBack];
  T* even() { return evens + kFront; }
  T* odd() { return odds + kFront; }
};

// Where pairs of a chunk are in the line itself, not in its border: [evenBegin, evenEnd) and [oddBegin, oddEnd).
struct Inside {
  int evenBegin, evenEnd, oddBegin, oddEnd;
};

// What may be read of a line or band, and what stands for the rest: a tile's lines are mirrored, a region's lines have
// no further border (zeros then reach no result).
struct Readable {
  int64_t begin, end;
  int64_t mirror;  // the line's length, or 0
};

template <class T, class MirroredIndex>
ZEL_INLINE void copyWithBorder(T* dst, const T* src, int64_t begin, int64_t end, Readable r, MirroredIndex index) {
  for (; begin < end && begin < r.begin; ++begin) *dst++ = r.mirror ? loadOne(src + index(begin)) : T(0);
  const int64_t inside = (end < r.end ? end : r.end) - begin;
  if (inside > 0) {
    memcpy(dst, src + begin, size_t(inside) * sizeof(T));
    dst += inside;
    begin += inside;
  }
  for (; begin < end; ++begin) *dst++ = r.mirror ? loadOne(src + index(begin)) : T(0);
}

inline int64_t least(int64_t a, int64_t b) { return a < b ? a : b; }
inline int64_t greatest(int64_t a, int64_t b) { return a > b ? a : b; }

struct Bands {
  int64_t low, high;  // coefficients
  int p;
  int64_t pairs() const { return greatest(low + p, high); }
  Inside inside(int64_t k) const {  // for a chunk from pair k on
    return {int(p - k), int(low + p - k), int(-k), int(high - k)};
  }
};

// A line of samples to nLow and nHigh coefficients.
template <class Filter, class T>
void forwardLine(const T* src, Readable readable, Bands bands, T* low, T* high) {
  using V = Vec<T>;
  constexpr int kBorder = Filter::kBorder;
  Chunk<T> chunk;
  T *const even = chunk.even(), *const odd = chunk.odd();
  const int p = bands.p;
  for (int64_t k = 0; k < bands.pairs(); k += kPairs) {
    const int count = int(least(kPairs, bands.pairs() - k)), all = count + 2 * kBorder;
    const int64_t begin = 2 * (k - kBorder) - p;
    const T* x = src + begin;
    if (begin < readable.begin || begin + 2 * (all + V::N) > readable.end) {
      x = chunk.samples;
      copyWithBorder(chunk.samples, src, begin, begin + 2 * all, readable,
                     [readable](int64_t place) { return mirrored(place, readable.mirror); });
      memset(chunk.samples + 2 * all, 0, 2 * sizeof(V));
    }
    for (int i = 0; i < all; i += V::N) {
      const EvenOdd<V> pairs = deinterleave(load<V>(x + 2 * i), load<V>(x + 2 * i + V::N));
      store(even - kBorder + i, pairs.even);
      store(odd - kBorder + i, pairs.odd);
    }
    Filter::lift(even, odd, count, bands.inside(k));
    const int64_t lowBegin = greatest(k, p), lowEnd = least(k + count, bands.low + p);
    if (lowBegin < lowEnd) memcpy(low + lowBegin - p, even + lowBegin - k, size_t(lowEnd - lowBegin) * sizeof(T));
    const int64_t highEnd = least(k + count, bands.high);
    if (k < highEnd) memcpy(high + k, odd, size_t(highEnd - k) * sizeof(T));
  }
}

// Coefficients back to samples. readableLow and readableHigh are in coefficients; mirror is the length of the line.
template <class Filter, class T>
void inverseLine(const T* low, Readable readableLow, const T* high, Readable readableHigh, Bands bands, T* dst) {
  using V = Vec<T>;
  constexpr int kBorder = Filter::kBorder;
  Chunk<T> chunk;
  T *const even = chunk.even(), *const odd = chunk.odd();
  const int p = bands.p;
  const int64_t samples = bands.low + bands.high;
  for (int64_t k = 0; k < bands.pairs(); k += kPairs) {
    const int count = int(least(kPairs, bands.pairs() - k));
    const int64_t begin = k - kBorder, end = k + count + kBorder;
    copyWithBorder(even - kBorder, low, begin - p, end - p, readableLow,
                   [=](int64_t j) { return mirrored(2 * j + p, readableLow.mirror) / 2; });
    copyWithBorder(odd - kBorder, high, begin, end, readableHigh,
                   [=](int64_t j) { return mirrored(2 * j + 1 - p, readableHigh.mirror) / 2; });
    memset(even + count + kBorder, 0, sizeof(V));
    memset(odd + count + kBorder, 0, sizeof(V));
    Filter::unlift(even, odd, count, bands.inside(k));
    for (int i = 0; i < count; i += V::N) {
      const int64_t place = 2 * (k + i) - p, placeEnd = least(place + 2 * least(V::N, count - i), samples);
      const V e = load<V>(even + i), o = load<V>(odd + i);
      if (place >= 0 && place + 2 * V::N == placeEnd) {
        storeInterleaved(dst + place, e, o);
      } else {
        storeInterleaved(chunk.samples, e, o);
        const int64_t from = greatest(place, 0);
        if (from < placeEnd) memcpy(dst + from, chunk.samples + (from - place), size_t(placeEnd - from) * sizeof(T));
      }
    }
  }
}

// ---- One level of a tile -------------------------------------------------------------------------------------------
// Filter has, for sample type T: forwardRow(src, n, p, low, high) and inverseRow(low, high, n, p, dst) for n >= 1, and
// forwardColumns and inverseColumns(src, dst, width, height, p) from plane to plane, or in place, rows alternating.

// Moves n rows so that row i becomes what row from(i) was: move(i, from(i)), once for each i. The cycles of the
// permutation are found by their least members; one row at a time is set aside, by save(i), and comes back as row -1.
template <class From, class Save, class Move>
ZEL_INLINE void permuteRows(int n, From from, Save save, Move move) {
  for (int first = 0; first < n; ++first) {
    int i = from(first);
    while (i > first) i = from(i);
    if (i < first) continue;
    save(first);
    for (int source = from(first); source != first; i = source, source = from(i)) move(i, source);
    move(i, -1);
  }
}

constexpr int phaseOf(int origin) { return origin & 1; }

// A line to work in: in the buffer, which tiles of up to 2 x 2 samples have no room for.
template <class T>
struct Line {
  T small[2];
  T* at(T* inBuffer, const ZeliRect& tile) { return tile.width <= 2 && tile.height <= 2 ? small : inBuffer; }
};

template <class Filter, class T>
void forwardInPlace(Plane<T> plane, const ZeliRect& tile, T* buffer) {
  Line<T> workLine;
  T* const line = workLine.at(buffer, tile);
  const int w = tile.width, h = tile.height, px = phaseOf(tile.x), py = phaseOf(tile.y);
  Filter::forwardColumns(Plane<const T>{plane.base, plane.step}, plane, w, h, py);
  permuteRows(
      h, [=](int i) { return placeOf(i, h, py); }, [=](int r) { memcpy(line, plane.row(r), size_t(w) * sizeof(T)); },
      [=](int to, int r) {
        T* const dst = plane.row(to);
        Filter::forwardRow(r < 0 ? line : plane.row(r), w, px, dst, dst + lowCount(w, px));
      });
}

template <class Filter, class T>
void inverseInPlace(Plane<T> plane, const ZeliRect& tile, T* buffer) {
  Line<T> workLine;
  T* const line = workLine.at(buffer, tile);
  const int w = tile.width, h = tile.height, px = phaseOf(tile.x), py = phaseOf(tile.y);
  permuteRows(
      h, [=](int place) { return coefficientAt(place, h, py); },
      [=](int r) { memcpy(line, plane.row(r), size_t(w) * sizeof(T)); },
      [=](int to, int r) {
        const T* const src = r < 0 ? line : plane.row(r);
        Filter::inverseRow(src, src + lowCount(w, px), w, px, plane.row(to));
      });
  Filter::inverseColumns(Plane<const T>{plane.base, plane.step}, plane, w, h, py);
}

// The two parts of row i of a transformed plane in the four bands: LL and HL, or LH and HH. Their boundary is that of
// phase 0, whatever the phase.
template <class T>
struct BandRow {
  T *left, *right;
};
template <class T>
BandRow<T> bandRow(T* const* band, const int* step, int i, int height) {
  const int low = lowCount(height, 0), lower = i >= low, r = lower ? i - low : i;
  return {rowAt(band[lower], step[lower], r), rowAt(band[2 + lower], step[2 + lower], r)};
}

// From a plane to four bands: columns are lifted into the buffer, rows from there.
template <class Filter, class T>
void forwardToBands(Plane<const T> src, const ZeliRect& tile, T* const* band, const int* step, Plane<T> buffer) {
  const int w = tile.width, h = tile.height, px = phaseOf(tile.x), py = phaseOf(tile.y);
  const int left = lowCount(w, 0);
  Filter::forwardColumns(src, buffer, w, h, py);
  Line<T> workLine;
  T* const line = workLine.at(buffer.row(h), tile);
  for (int i = 0; i < h; ++i) {
    const BandRow<T> dst = bandRow(band, step, i, h);
    Filter::forwardRow(buffer.row(placeOf(i, h, py)), w, px, line, line + lowCount(w, px));
    memcpy(dst.left, line, size_t(left) * sizeof(T));
    memcpy(dst.right, line + left, size_t(w - left) * sizeof(T));
  }
}

template <class Filter, class T>
void inverseFromBands(const T* const* band, const int* step, const ZeliRect& tile, Plane<T> dst, Plane<T> buffer) {
  const int w = tile.width, h = tile.height, px = phaseOf(tile.x), py = phaseOf(tile.y);
  const int left = lowCount(w, 0);
  Line<T> workLine;
  T* const line = workLine.at(buffer.row(h), tile);
  for (int i = 0; i < h; ++i) {
    const BandRow<const T> src = bandRow(band, step, i, h);
    memcpy(line, src.left, size_t(left) * sizeof(T));
    memcpy(line + left, src.right, size_t(w - left) * sizeof(T));
    Filter::inverseRow(line, line + lowCount(w, px), w, px, buffer.row(placeOf(i, h, py)));
  }
  Filter::inverseColumns(Plane<const T>{buffer.base, buffer.step}, dst, w, h, py);
}

// ---- Exported functions on tiles -----------------------------------------------------------------------------------

// Rows of the plane in a C1R buffer: a multiple of 32 bytes apart. 32-bit arithmetic, as for all sizes of buffers.
template <class T>
constexpr int bufferStep(int width) {
  return int((uint32_t(width) * uint32_t(sizeof(T)) + 31) & ~31u);
}

// A line of the longer side with `border` samples at each end; 0 where both sides are below `least`.
template <class T>
ZelStatus lineBytes(const ZeliRect* pTileRect, int* pSize, int border, int least) {
  if (const ZelStatus s = firstFailure(present(pTileRect), present(pSize))) return s;
  const int w = pTileRect->width, h = pTileRect->height;
  *pSize = w < least && h < least ? 0 : int((uint32_t(w > h ? w : h) + 2 * uint32_t(border)) * uint32_t(sizeof(T)));
  return zelStsNoErr;
}
template <class T>
ZelStatus planeBytes(const ZeliRect* pTileRect, int* pSize, int border, int least) {
  if (const ZelStatus s = lineBytes<T>(pTileRect, pSize, border, least)) return s;
  *pSize = int(uint32_t(*pSize) + uint32_t(bufferStep<T>(pTileRect->width)) * uint32_t(pTileRect->height));
  return zelStsNoErr;
}

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

inline ZelStatus bandsOk(const void* const* band, const int* step, const ZeliRect& tile) {
  for (int b = 0; b < 4; ++b)
    if (const ZelStatus s = present(band[b])) return s;
  return firstFailure(stepOk(step[0]), stepOk(step[1]), stepOk(step[2]), stepOk(step[3]),
                      sizeOk({tile.width, tile.height}));
}

template <class Filter, class T>
ZelStatus forwardTileToBands(const T* pSrc, int srcStep, const ZeliRect* pTileRect, T* const* pDst, const int* dstStep,
                             uint8_t* pBuffer) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pTileRect), present(pDst), present(dstStep),
                                       present(pBuffer), stepOk(srcStep)))
    return s;
  const void* const band[4] = {pDst[0], pDst[1], pDst[2], pDst[3]};
  if (const ZelStatus s = bandsOk(band, dstStep, *pTileRect)) return s;
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
  const void* const band[4] = {pSrc[0], pSrc[1], pSrc[2], pSrc[3]};
  if (const ZelStatus s = bandsOk(band, srcStep, *pTileRect)) return s;
  inverseFromBands<Filter, T>(pSrc, srcStep, *pTileRect, {pDst, dstStep},
                              {reinterpret_cast<T*>(pBuffer), bufferStep<T>(pTileRect->width)});
  return zelStsNoErr;
}

// ---- Exported functions on rows and columns ------------------------------------------------------------------------

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

}  // namespace
}  // namespace ZEL_VARIANT
