// One line of samples to low and high coefficients and back, whatever the filter.
//
// Pairs. With phase p, pair k of a line is the even place 2k - p and the odd place 2k + 1 - p, as the reference grid
// has even and odd ones. Coefficient j of the low band comes from the even sample of pair j + p, coefficient j of the
// high band from the odd sample of pair j.
//
// Chunks. A line is lifted in chunks of pairs on the stack. The samples, with the border that the filter reaches, are
// split into even and odd ones, lifted in place by passes over whole vectors, and copied out. The border of a chunk is
// computed again in the next one, so a coefficient never depends on where a chunk begins.
#pragma once

#include <string.h>

#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// ---- Places ---------------------------------------------------------------------------------------------------------

constexpr int phaseOf(int origin) { return origin & 1; }

// Low coefficients of a line of n samples: one for each even place of the reference grid.
constexpr int lowCount(int n, int p) { return n / 2 + (n % 2 && p == 0); }

// Place of coefficient i of a line of n in low-first order, and back.
constexpr int placeOf(int i, int n, int p) {
  const int low = lowCount(n, p);
  return i < low ? 2 * i + p : 2 * (i - low) + 1 - p;
}
constexpr int coefficientAt(int place, int n, int p) { return (place % 2 == p ? 0 : lowCount(n, p)) + place / 2; }

// Whole-sample symmetric extension of a line of n >= 2 (T.800, F.3.7): where the line is shorter than its border, the
// border is reflected again at the other end.
inline int64_t mirrored(int64_t place, int64_t n) {
  for (;;) {
    if (place < 0) place = -place;
    if (place < n) return place;
    place = 2 * (n - 1) - place;
  }
}

inline int64_t least(int64_t a, int64_t b) { return a < b ? a : b; }
inline int64_t greatest(int64_t a, int64_t b) { return a > b ? a : b; }

// ---- Chunks ---------------------------------------------------------------------------------------------------------

constexpr int kPairs = 256;  // of a chunk

// Pairs -2 to kPairs + 2, and room for the whole vectors that passes read and write beyond.
template <class T>
struct Chunk {
  static constexpr int kFront = 64 / int(sizeof(T)), kBack = kFront + 2 * kVecBytes / int(sizeof(T));
  alignas(64) T samples[2 * (kPairs + kBack)];
  alignas(64) T evens[kFront + kPairs + kBack];
  alignas(64) T odds[kFront + kPairs + kBack];
  T* even() { return evens + kFront; }
  T* odd() { return odds + kFront; }
};

// The pairs of a chunk whose even place, and whose odd place, is in the line and not in its border: from begin on, to
// before end.
struct Inside {
  int evenBegin, evenEnd, oddBegin, oddEnd;
};

// How a line divides: low and high coefficients, and the phase.
struct Division {
  int64_t low, high;
  int p;
  int64_t pairs() const { return greatest(low + p, high); }
  Inside inside(int64_t k) const {  // for a chunk from pair k on
    return {int(p - k), int(low + p - k), int(-k), int(high - k)};
  }
};
inline Division divisionOf(int n, int p) { return {lowCount(n, p), n - lowCount(n, p), p}; }

// What may be read of a line or band: elements from begin on, to before end. The rest of the border is mirrored in a
// tile's line, whose length is in mirror. Where the caller supplies the border (mirror 0) the passes read beyond it, in
// their whole vectors, but no result depends on what they find; zeros stand there.
struct Readable {
  int64_t begin, end;
  int64_t mirror;
};

// Elements begin to end - 1 of src, index(i) instead of a mirrored i.
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

// ---- Lines ----------------------------------------------------------------------------------------------------------
// Lifting has kBorder, the pairs that it reaches to each side, and lift and unlift(even, odd, count, inside), which
// turn pairs 0 to count - 1 of a chunk into coefficients and back in place.

// Samples to coefficients.
template <class Lifting, class T>
void forwardLine(const T* src, Readable readable, Division division, T* low, T* high) {
  using V = Vec<T>;
  constexpr int kBorder = Lifting::kBorder;
  Chunk<T> chunk;
  T *const even = chunk.even(), *const odd = chunk.odd();
  const int p = division.p;
  for (int64_t k = 0; k < division.pairs(); k += kPairs) {
    const int count = int(least(kPairs, division.pairs() - k)), all = count + 2 * kBorder;
    const int64_t begin = 2 * (k - kBorder) - p;
    const T* x = src + begin;
    if (begin < readable.begin || begin + 2 * (all + V::N) > readable.end) {
      x = chunk.samples;
      copyWithBorder(chunk.samples, src, begin, begin + 2 * all, readable,
                     [readable](int64_t place) { return mirrored(place, readable.mirror); });
      memset(chunk.samples + 2 * all, 0, 2 * sizeof(V));
    }
    int filled = -kBorder;
    for (; filled < count + kBorder; filled += V::N, x += 2 * V::N) {
      const EvenOdd<V> pairs = deinterleave(load<V>(x), load<V>(x + V::N));
      store(even + filled, pairs.even);
      store(odd + filled, pairs.odd);
    }
    memset(even + filled, 0, sizeof(V));  // lanes that nobody uses are computed too
    memset(odd + filled, 0, sizeof(V));
    Lifting::lift(even, odd, count, division.inside(k));
    const int64_t lowBegin = greatest(k, p), lowEnd = least(k + count, division.low + p);
    if (lowBegin < lowEnd) memcpy(low + lowBegin - p, even + lowBegin - k, size_t(lowEnd - lowBegin) * sizeof(T));
    const int64_t highEnd = least(k + count, division.high);
    if (k < highEnd) memcpy(high + k, odd, size_t(highEnd - k) * sizeof(T));
  }
}

// Coefficients back to samples. What is readable of the bands is given in coefficients, the length of the mirrored line
// in samples.
template <class Lifting, class T>
void inverseLine(const T* low, Readable readableLow, const T* high, Readable readableHigh, Division division, T* dst) {
  using V = Vec<T>;
  constexpr int kBorder = Lifting::kBorder;
  Chunk<T> chunk;
  T *const even = chunk.even(), *const odd = chunk.odd();
  const int p = division.p;
  const int64_t samples = division.low + division.high;
  for (int64_t k = 0; k < division.pairs(); k += kPairs) {
    const int count = int(least(kPairs, division.pairs() - k));
    const int64_t begin = k - kBorder, end = k + count + kBorder;
    copyWithBorder(even - kBorder, low, begin - p, end - p, readableLow,
                   [=](int64_t j) { return mirrored(2 * j + p, readableLow.mirror) / 2; });
    copyWithBorder(odd - kBorder, high, begin, end, readableHigh,
                   [=](int64_t j) { return mirrored(2 * j + 1 - p, readableHigh.mirror) / 2; });
    memset(even + count + kBorder, 0, sizeof(V));
    memset(odd + count + kBorder, 0, sizeof(V));
    Lifting::unlift(even, odd, count, division.inside(k));
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

}  // namespace
}  // namespace ZEL_VARIANT
