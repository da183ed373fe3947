// Images as 4x4 blocks: counts, rows, argument checks.
#pragma once

#include <stdint.h>

#include "frame/checks.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kSide = 4;        // of a block, in pixels
constexpr int kPixelBytes = 4;  // R, G, B, A
constexpr int kBlockRowBytes = kSide * kPixelBytes;

constexpr int lesser(int a, int b) { return a < b ? a : b; }

// Blocks that cover so many pixels; no overflow up to the largest int.
constexpr int blocksOver(int pixels) { return (pixels - 1) / kSide + 1; }

// Row r of an image whose step is unsigned: offsets reach far beyond 32 bits.
template <class T>
inline T* imageRow(T* base, uint32_t step, int r) {
  return base + int64_t(step) * r;
}

inline ZelStatus checkImage(const void* pSrc, const void* pDst, uint32_t step, ZeliSize size) {
  return firstFailure(present(pSrc), present(pDst), step ? zelStsNoErr : zelStsStepErr, sizeOk(size));
}

}  // namespace
}  // namespace ZEL_VARIANT
