// The reversible 5/3 filter (ITU-T T.800, F.4.8.1 forward, F.3.8.1 inverse), in lanes that wrap:
//   y[2n+1] = x[2n+1] - floor((x[2n] + x[2n+2]) / 2)          high coefficient d[n]
//   y[2n]   = x[2n] + floor((y[2n-1] + y[2n+1] + 2) / 4)      low coefficient s[n]
// and back, the low ones first.
#pragma once

#include "jpeg2000/wavelet_tiles.h"

namespace ZEL_VARIANT {
namespace {

// floor((a + b) / 2) and floor((a + b + 2) / 4)
template <class V>
ZEL_INLINE V meanOf(V a, V b) {
  return (a + b) >> 1;
}
template <class V>
ZEL_INLINE V quarterOf(V a, V b) {
  return (a + b + splat<V>(2)) >> 2;
}

// High row d of rows x0, x1, x2, then low row s of x0 between the high rows dPrev and d. dPrev is read when d stands:
// it may be the same row, which the mirrored border before the first row makes it.
template <class T>
void liftRows53(const T* x0, const T* x1, const T* x2, const T* dPrev, T* d, T* s, int width) {
  forLanes<T>(width, [=](auto lanes, int i) {
    using V = Vec<T, lanes.kBytes>;
    const V even = lanes.template get<V>(x0 + i);
    const V high = lanes.template get<V>(x1 + i) - meanOf(even, lanes.template get<V>(x2 + i));
    lanes.put(d + i, high);
    lanes.put(s + i, even + quarterOf(lanes.template get<V>(dPrev + i), high));
  });
}

// The even row of low row s between the high rows dPrev and d, then the odd row of dPrev between evenPrev and even.
// evenPrev is read when even stands: it may be the same row, mirrored as above.
template <class T>
void unliftRows53(const T* s, const T* dPrev, const T* d, const T* evenPrev, T* odd, T* even, int width) {
  forLanes<T>(width, [=](auto lanes, int i) {
    using V = Vec<T, lanes.kBytes>;
    const V high = lanes.template get<V>(dPrev + i);
    const V x = lanes.template get<V>(s + i) - quarterOf(high, lanes.template get<V>(d + i));
    lanes.put(even + i, x);
    lanes.put(odd + i, high + meanOf(lanes.template get<V>(evenPrev + i), x));
  });
}

template <class T>
struct Lifting53 {
  static constexpr int kBorder = 1;

  // Pairs 0 to count - 1, from pairs -1 to count.
  static void lift(T* even, T* odd, int count, Inside) {
    using V = Vec<T>;
    for (int k = -1; k < count; k += V::N)
      store(odd + k, load<V>(odd + k) - meanOf(load<V>(even + k), load<V>(even + k + 1)));
    for (int k = 0; k < count; k += V::N)
      store(even + k, load<V>(even + k) + quarterOf(load<V>(odd + k - 1), load<V>(odd + k)));
  }
  static void unlift(T* even, T* odd, int count, Inside) {
    using V = Vec<T>;
    for (int k = 0; k <= count; k += V::N)
      store(even + k, load<V>(even + k) - quarterOf(load<V>(odd + k - 1), load<V>(odd + k)));
    for (int k = 0; k < count; k += V::N)
      store(odd + k, load<V>(odd + k) + meanOf(load<V>(even + k), load<V>(even + k + 1)));
  }
};

// The filter on the lines of a tile.
template <class T>
struct Filter53 {
  // Of two samples each has the other for both neighbours, so that neighbour stands for their mean, whose sum could
  // wrap. A single sample is doubled where it is a high coefficient (F.4.6, F.3.6).
  static void forwardRow(const T* src, int n, int p, T* low, T* high) {
    using V = Vec<T, 16>;
    using One = OneSample;
    if (n == 1) return One::put(p ? high : low, One::get<V>(src) << p);
    if (n > 2) return forwardLine<Lifting53<T>>(src, Readable{0, n, n}, divisionOf(n, p), low, high);
    const V even = One::get<V>(src + p), d = One::get<V>(src + 1 - p) - even;
    One::put(low, even + ((d + splat<V>(1)) >> 1));
    One::put(high, d);
  }
  static void inverseRow(const T* low, const T* high, int n, int p, T* dst) {
    using V = Vec<T, 16>;
    using One = OneSample;
    if (n == 1) return storeOne(dst, p ? T(loadOne(high) / 2) : loadOne(low));
    const Division division = divisionOf(n, p);
    if (n > 2)
      return inverseLine<Lifting53<T>>(low, Readable{0, division.low, n}, high, Readable{0, division.high, n}, division,
                                       dst);
    const V d = One::get<V>(high), even = One::get<V>(low) - ((d + splat<V>(1)) >> 1);
    One::put(dst + p, even);
    One::put(dst + 1 - p, d + even);
  }

  // Row k is high, row k - 1 low; the rows before the first and behind the last are the mirrored ones. In place, a row
  // is read as a neighbour before it is lifted itself.
  static void forwardColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n <= 2) return shortColumns<true>(src, dst, width, n, p);
    forStrips<T, kStripBytes>(width, [=](int x, int w) {
      const auto from = [=](int64_t r) { return src.row(mirrored(r, n)) + x; };
      const auto to = [=](int64_t r) { return dst.row(mirrored(r, n)) + x; };
      for (int64_t k = 1 - p; k <= n; k += 2) {
        if (k > 0 && k < n) {
          liftRows53(from(k - 1), from(k), from(k + 1), to(k - 2), to(k), to(k - 1), w);
        } else if (k == 0) {
          forLanes<T>(w, [=, a = from(1), b = from(0), d = to(0)](auto lanes, int i) {
            using V = Vec<T, lanes.kBytes>;
            const V even = lanes.template get<V>(a + i);
            lanes.put(d + i, lanes.template get<V>(b + i) - meanOf(even, even));
          });
        } else {
          forLanes<T>(w, [=, a = from(n - 1), d = to(n - 2), s = to(n - 1)](auto lanes, int i) {
            using V = Vec<T, lanes.kBytes>;
            const V high = lanes.template get<V>(d + i);
            lanes.put(s + i, lanes.template get<V>(a + i) + quarterOf(high, high));
          });
        }
      }
    });
  }
  static void inverseColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n <= 2) return shortColumns<false>(src, dst, width, n, p);
    forStrips<T, kStripBytes>(width, [=](int x, int w) {
      const auto from = [=](int64_t r) { return src.row(mirrored(r, n)) + x; };
      const auto to = [=](int64_t r) { return dst.row(mirrored(r, n)) + x; };
      for (int64_t k = p; k <= n; k += 2) {
        if (k > 0 && k < n) {
          unliftRows53(from(k), from(k - 1), from(k + 1), to(k - 2), to(k - 1), to(k), w);
        } else if (k == 0) {
          forLanes<T>(w, [=, s = from(0), d = from(1), even = to(0)](auto lanes, int i) {
            using V = Vec<T, lanes.kBytes>;
            const V high = lanes.template get<V>(d + i);
            lanes.put(even + i, lanes.template get<V>(s + i) - quarterOf(high, high));
          });
        } else {
          forLanes<T>(w, [=, d = from(n - 1), even = to(n - 2), odd = to(n - 1)](auto lanes, int i) {
            using V = Vec<T, lanes.kBytes>;
            const V x0 = lanes.template get<V>(even + i);
            lanes.put(odd + i, lanes.template get<V>(d + i) + meanOf(x0, x0));
          });
        }
      }
    });
  }

 private:
  // Columns of one or two samples.
  template <bool kForward>
  static void shortColumns(Plane<const T> src, Plane<T> dst, int width, int n, int p) {
    if (n == 1) {
      for (int i = 0; i < width; ++i) {
        const T x = loadOne(src.row(0) + i);
        storeOne(dst.row(0) + i, !p ? x : kForward ? T(uint32_t(x) * 2) : T(x / 2));
      }
      return;
    }
    const T *const a = src.row(p), *const b = src.row(1 - p);
    T *const even = dst.row(p), *const odd = dst.row(1 - p);
    forLanes<T>(width, [=](auto lanes, int i) {
      using V = Vec<T, lanes.kBytes>;
      const V x = lanes.template get<V>(a + i), y = lanes.template get<V>(b + i);
      const V d = kForward ? y - x : y, half = (d + splat<V>(1)) >> 1, s = kForward ? x + half : x - half;
      lanes.put(even + i, s);
      lanes.put(odd + i, kForward ? d : d + s);
    });
  }
};

}  // namespace
}  // namespace ZEL_VARIANT
