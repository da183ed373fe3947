// Row addressing, and the one place of the rule by which plane functions divide their rows among threads.
#pragma once

#include <stdint.h>

#include "variant.h"
#include "zelcore.h"

namespace ZEL_VARIANT {
namespace {

// char, as const as T.
template <class T>
struct ByteLike {
  using Type = char;
};
template <class T>
struct ByteLike<const T> {
  using Type = const char;
};

// Row r of a plane whose step is a signed or an unsigned 32-bit number; the offset is formed in 64 bits.
template <class T>
inline T* rowAt(T* base, int64_t step, int64_t r) {
  using Byte = typename ByteLike<T>::Type;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + step * r);
}

constexpr int32_t kSerialElements = 8192;

// The element count that the threading rule looks at: a 32-bit product, as callers can observe for huge regions.
inline int32_t elements32(ZeliSize size) { return int32_t(uint32_t(size.width) * uint32_t(size.height)); }

// The rows in contiguous runs, one for each thread. A function of its own: compilers put calls of the runtime at the
// beginning of a function with a parallel loop, and what runs on the calling thread shall do without one.
template <class RowFunction>
[[gnu::noinline]] void divideRows(int height, [[maybe_unused]] int threads, RowFunction row) {
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int r = 0; r < height; ++r) row(r);
}

// Calls row(r) for every row of the region: in order on this thread up to 8192 elements and where no team is to be had,
// otherwise divided.
template <class RowFunction>
inline void forEachRow(ZeliSize size, RowFunction row) {
  const int threads = elements32(size) <= kSerialElements ? 1 : ownGetNumThreads();
  if (threads >= 2) return divideRows(size.height, threads, row);
  for (int r = 0; r < size.height; ++r) row(r);
}

}  // namespace
}  // namespace ZEL_VARIANT
