// Kernels across columns: the same steps for each sample of some rows, a vector at a time, and for what is left at the
// end of the rows with one sample in every lane. So each formula is written once.
#pragma once

#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// What a kernel is given as `lanes`: how many bytes a vector of this turn has, and how it comes from a row and goes to
// it. WholeVector moves as many samples as the vector holds, OneSample one alone.
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
struct OneSample {
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

// Calls kernel(lanes, i) until n samples of type T are done; those of one turn begin at i.
template <class T, class Kernel>
ZEL_INLINE void forLanes(int n, Kernel kernel) {
  constexpr int kWide = kVecBytes / int(sizeof(T)), kNarrow = 16 / int(sizeof(T));
  int i = 0;
  for (; i <= n - kWide; i += kWide) kernel(WholeVector<kVecBytes>(), i);
  if constexpr (kWide != kNarrow)
    for (; i <= n - kNarrow; i += kNarrow) kernel(WholeVector<16>(), i);
  for (; i < n; ++i) kernel(OneSample(), i);
}

// Calls f(x, columns) for strips of a region's columns: strips of kBytes a row, so that the rows of one step stay in
// the first cache until the next step reads them.
template <class T, int kBytes, class F>
ZEL_INLINE void forStrips(int width, F f) {
  constexpr int kColumns = kBytes / int(sizeof(T));
  for (int64_t x = 0; x < width; x += kColumns) f(int(x), width - x < kColumns ? int(width - x) : kColumns);
}

}  // namespace
}  // namespace ZEL_VARIANT
