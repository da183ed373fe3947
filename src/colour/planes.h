// Argument checks that the resampling functions share.
#pragma once

#include "frame/checks.h"

namespace ZEL_VARIANT {
namespace {

inline ZelStatus checkResampling(const void* pSrc, int srcStep, ZeliSize srcSize, const void* pDst, int dstStep,
                                 ZeliSize dstSize) {
  return firstFailure(present(pSrc), stepOk(srcStep), sizeOk(srcSize), present(pDst), stepOk(dstStep),
                      sizeOk(dstSize));
}

}  // namespace
}  // namespace ZEL_VARIANT
