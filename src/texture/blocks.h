// Images as 4x4 blocks: counts, argument checks, and the vector constants that coders share.
#pragma once

#include <stdint.h>

#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kSide = 4;        // of a block, in pixels
constexpr int kPixelBytes = 4;  // R, G, B, A
constexpr int kBlockRowBytes = kSide * kPixelBytes;

constexpr int lesser(int a, int b) { return a < b ? a : b; }

// Blocks that cover so many pixels; no overflow up to the largest int.
constexpr int blocksOver(int pixels) { return (pixels - 1) / kSide + 1; }

// ceil(2^16 / d): the high half of its product with x is x / d rounded down, as long as x * (d * this - 2^16) is below
// 2^16. The largest dividends are 3 * 255, 7 * 255 + 3, 5 * 255 + 2 and 255 for d = 3, 7, 5 and 14.
constexpr uint16_t reciprocal(int d) { return uint16_t((0x10000 + d - 1) / d); }
constexpr uint16_t kThird = reciprocal(3), kFifth = reciprocal(5), kSeventh = reciprocal(7),
                   kFourteenth = reciprocal(14);

// A constant of 16 bytes in each half of a vector.
template <class V, class T, int N>
ZEL_INLINE V constant(const T (&a)[N]) {
  return repeat128<V>(load<Vec<typename V::Lane, 16>>(a));
}

inline ZelStatus checkImage(const void* pSrc, const void* pDst, uint32_t step, ZeliSize size) {
  return firstFailure(present(pSrc), present(pDst), step ? zelStsNoErr : zelStsStepErr, sizeOk(size));
}

}  // namespace
}  // namespace ZEL_VARIANT
