// One level of a tile: in place, and between a plane and four bands.
//
// The forward transform lifts columns, then rows (T.800, F.4.2); the inverse rows, then columns (F.3.2). Integer
// filters round after each direction, so the order shows in the coefficients.
//
// Columns are lifted in place across whole rows, which leaves low and high rows alternating. Rows are put in their
// order, low ones first, as they are transformed: each goes from where it is to where it belongs.
//
// A Filter has, for its sample type T, forwardRow(src, n, p, low, high) and inverseRow(low, high, n, p, dst) for n >=
// 1, and forwardColumns and inverseColumns(src, dst, width, height, p), from plane to plane or in place, with the rows
// of coefficients alternating.
#pragma once

#include "frame/rows.h"
#include "jpeg2000/wavelet_lanes.h"
#include "jpeg2000/wavelet_lines.h"

namespace ZEL_VARIANT {
namespace {

template <class T>
struct Plane {
  T* base;
  int64_t step;
  T* row(int64_t r) const { return rowAt(base, step, r); }
};

// Rows of strips of columns take this much, so that the few rows of one step fit the first cache together.
constexpr int kStripBytes = 4096;

// ---- In place -------------------------------------------------------------------------------------------------------

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

// A line to work in: the caller's buffer, or, in tiles of up to 2 x 2 samples, which may come without one, its own.
template <class T>
struct WorkLine {
  T small[2];
  T* in(T* buffer, const ZeliRect& tile) { return tile.width <= 2 && tile.height <= 2 ? small : buffer; }
};

template <class Filter, class T>
void forwardInPlace(Plane<T> plane, const ZeliRect& tile, T* buffer) {
  WorkLine<T> workLine;
  T* const line = workLine.in(buffer, tile);
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
  WorkLine<T> workLine;
  T* const line = workLine.in(buffer, tile);
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

// ---- To and from bands ----------------------------------------------------------------------------------------------

// The two parts of row i of a transformed plane in the four bands: LL and HL, or LH and HH. Their boundary is that of
// phase 0, whatever the phase.
template <class T>
struct BandRow {
  T *left, *right;
};
template <class T>
BandRow<T> bandRow(T* const* band, const int* step, int i, int height) {
  const int lows = lowCount(height, 0);
  const bool high = i >= lows;
  const int left = high ? zeliSubbandLH : zeliSubbandLL, right = high ? zeliSubbandHH : zeliSubbandHL;
  const int r = high ? i - lows : i;
  return {rowAt(band[left], step[left], r), rowAt(band[right], step[right], r)};
}

// From a plane to four bands: columns are lifted into the buffer, rows from there.
template <class Filter, class T>
void forwardToBands(Plane<const T> src, const ZeliRect& tile, T* const* band, const int* step, Plane<T> buffer) {
  const int w = tile.width, h = tile.height, px = phaseOf(tile.x), py = phaseOf(tile.y);
  const int left = lowCount(w, 0);
  Filter::forwardColumns(src, buffer, w, h, py);
  WorkLine<T> workLine;
  T* const line = workLine.in(buffer.row(h), tile);
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
  WorkLine<T> workLine;
  T* const line = workLine.in(buffer.row(h), tile);
  for (int i = 0; i < h; ++i) {
    const BandRow<const T> src = bandRow(band, step, i, h);
    memcpy(line, src.left, size_t(left) * sizeof(T));
    memcpy(line + left, src.right, size_t(w - left) * sizeof(T));
    Filter::inverseRow(line, line + lowCount(w, px), w, px, buffer.row(placeOf(i, h, py)));
  }
  Filter::inverseColumns(Plane<const T>{buffer.base, buffer.step}, dst, w, h, py);
}

}  // namespace
}  // namespace ZEL_VARIANT
