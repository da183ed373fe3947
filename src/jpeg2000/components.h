// Rows of three components, planar or interleaved, as three vectors, and the drivers of the component transforms over a
// region. A transform is a struct whose apply() maps the three vectors of some samples; single samples at the end of a
// row are the first lane of a vector, so that each formula is written once.
#pragma once

#include "frame/checks.h"
#include "frame/interleave.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

template <class V>
struct Three {
  V at[3];
};

// ---- Interleaved samples: 3 N of them in three vectors (in each half) -----------------------------------------------
// As 3 is prime to N, the samples of a channel are in N different lanes: they are gathered by blends and put in order
// by one shuffle. Sample i of channel c is at 3 i + c.

// The lanes, in units of 16 bits, of vector m of three that hold channel c; N lanes in a half.
constexpr int lanesOf(int channel, int vector, int n) {
  int mask = 0;
  for (int i = 0; i < n; ++i)
    if ((3 * i + channel) / n == vector) mask |= (n == 8 ? 1 : 3) << (3 * i + channel) % n * (8 / n);
  return mask;
}
constexpr ShuffleBytes gatherOrder(int channel) {
  ShuffleBytes s{};
  for (int i = 0; i < 8; ++i)
    for (int byte = 0; byte < 2; ++byte) s.at[2 * i + byte] = uint8_t((3 * i + channel) % 8 * 2 + byte);
  return s;
}
constexpr ShuffleBytes scatterOrder(int channel) {
  ShuffleBytes s{};
  for (int i = 0; i < 8; ++i)
    for (int byte = 0; byte < 2; ++byte) s.at[(3 * i + channel) % 8 * 2 + byte] = uint8_t(2 * i + byte);
  return s;
}
// Of four lanes of 32 bits one order is its own inverse: lane i comes from lane (3 i + channel) % 4.
constexpr int order32(int channel) {
  int order = 0;
  for (int i = 0; i < 4; ++i) order |= (3 * i + channel) % 4 << 2 * i;
  return order;
}
constexpr ShuffleBytes kGather[3] = {gatherOrder(0), gatherOrder(1), gatherOrder(2)};
constexpr ShuffleBytes kScatter[3] = {scatterOrder(0), scatterOrder(1), scatterOrder(2)};
constexpr int kOrder32[3] = {order32(0), order32(1), order32(2)};
static_assert(kOrder32[0] == 0x6C, "lanes 0, 3, 2, 1, the last in the highest bits");

template <int kChannel, class V>
ZEL_INLINE V gather(V a, V b, V c) {
  constexpr int kLanes = 16 / int(sizeof(typename V::Lane));
  const V mixed = blend16x128<lanesOf(kChannel, 2, kLanes)>(blend16x128<lanesOf(kChannel, 1, kLanes)>(a, b), c);
  if constexpr (kLanes == 8)
    return shuffleBy(mixed, kGather[kChannel]);
  else
    return permute32x128<kOrder32[kChannel]>(mixed);
}
template <int kChannel, class V>
ZEL_INLINE V scatter(V a) {
  if constexpr (sizeof(typename V::Lane) == 2)
    return shuffleBy(a, kScatter[kChannel]);
  else
    return permute32x128<kOrder32[kChannel]>(a);
}
template <int kVector, class V>
ZEL_INLINE V mix(V r, V g, V b) {
  constexpr int kLanes = 16 / int(sizeof(typename V::Lane));
  return blend16x128<lanesOf(2, kVector, kLanes)>(blend16x128<lanesOf(1, kVector, kLanes)>(r, g), b);
}

template <class T>
struct PixelRow {
  T* row;
  template <class V>
  ZEL_INLINE Three<V> get(int64_t i) const {
    constexpr int kLanes = 16 / int(sizeof(T));
    const T *low = row + 3 * i, *high = low + 3 * kLanes;
    const V a = loadHalves<V>(low, high), b = loadHalves<V>(low + kLanes, high + kLanes),
            c = loadHalves<V>(low + 2 * kLanes, high + 2 * kLanes);
    return {{gather<0>(a, b, c), gather<1>(a, b, c), gather<2>(a, b, c)}};
  }
  template <class V>
  ZEL_INLINE void put(int64_t i, Three<V> x) const {
    constexpr int kLanes = 16 / int(sizeof(T));
    const V r = scatter<0>(x.at[0]), g = scatter<1>(x.at[1]), b = scatter<2>(x.at[2]);
    const V out[3] = {mix<0>(r, g, b), mix<1>(r, g, b), mix<2>(r, g, b)};
#pragma GCC unroll 3
    for (int m = 0; m < 3; ++m) {
      store(row + 3 * i + m * kLanes, halfOf<0>(out[m]));
      if constexpr (sizeof(V) == 32) store(row + 3 * i + (3 + m) * kLanes, halfOf<1>(out[m]));
    }
  }
  ZEL_INLINE T* sample(int64_t i, int channel) const { return row + 3 * i + channel; }
};

template <class T>
struct PlanarRows {
  T* row[3];
  template <class V>
  ZEL_INLINE Three<V> get(int64_t i) const {
    return {{load<V>(row[0] + i), load<V>(row[1] + i), load<V>(row[2] + i)}};
  }
  template <class V>
  ZEL_INLINE void put(int64_t i, Three<V> x) const {
    store(row[0] + i, x.at[0]);
    store(row[1] + i, x.at[1]);
    store(row[2] + i, x.at[2]);
  }
  ZEL_INLINE T* sample(int64_t i, int channel) const { return row[channel] + i; }
};

// ---- Drivers --------------------------------------------------------------------------------------------------------

template <class Transform, class T, class Source, class Target>
void transformRow(Source src, Target dst, int n) {
  using V = Vec<T>;
  using Half = Vec<T, 16>;
  int i = 0;
  for (; i <= n - V::N; i += V::N) dst.put(i, Transform::apply(src.template get<V>(i)));
  if constexpr (V::N != Half::N)
    for (; i <= n - Half::N; i += Half::N) dst.put(i, Transform::apply(src.template get<Half>(i)));
  for (; i < n; ++i) {
    Three<Half> x;
    for (int c = 0; c < 3; ++c) x.at[c] = splat<Half>(loadOne(src.sample(i, c)));
    x = Transform::apply(x);
    for (int c = 0; c < 3; ++c) storeOne<T>(dst.sample(i, c), x.at[c].v[0]);
  }
}

template <class T>
PlanarRows<T> planeRows(T* const* plane, int step, int r) {
  return {{rowAt(plane[0], step, r), rowAt(plane[1], step, r), rowAt(plane[2], step, r)}};
}

template <class Transform, class T>
ZelStatus pixelsToPlanes(const T* pSrc, int srcStep, T* const* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  if (const ZelStatus s = firstFailure(allPresent<3>(pDst), stepOk(srcStep), stepOk(dstStep), sizeOk(roiSize)))
    return s;
  for (int r = 0; r < roiSize.height; ++r)
    transformRow<Transform, T>(PixelRow<const T>{rowAt(pSrc, srcStep, r)}, planeRows(pDst, dstStep, r), roiSize.width);
  return zelStsNoErr;
}

template <class Transform, class T>
ZelStatus planesToPixels(const T* const* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = present(pSrc)) return s;
  if (const ZelStatus s =
          firstFailure(allPresent<3>(pSrc), present(pDst), stepOk(srcStep), stepOk(dstStep), sizeOk(roiSize)))
    return s;
  for (int r = 0; r < roiSize.height; ++r)
    transformRow<Transform, T>(planeRows(pSrc, srcStep, r), PixelRow<T>{rowAt(pDst, dstStep, r)}, roiSize.width);
  return zelStsNoErr;
}

template <class Transform, class T>
ZelStatus planesInPlace(T* const* pSrcDst, int step, ZeliSize roiSize) {
  if (const ZelStatus s = present(pSrcDst)) return s;
  if (const ZelStatus s = firstFailure(allPresent<3>(pSrcDst), stepOk(step), sizeOk(roiSize))) return s;
  for (int r = 0; r < roiSize.height; ++r) {
    const PlanarRows<T> rows = planeRows(pSrcDst, step, r);
    transformRow<Transform, T>(rows, rows, roiSize.width);
  }
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
