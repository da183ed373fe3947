#include <string.h>

#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

template <class T>
ZelStatus copyRegion(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), sizeOk(roiSize))) return s;
  const size_t rowBytes = size_t(roiSize.width) * sizeof(T);
  for (int r = 0; r < roiSize.height; ++r) memcpy(rowAt(pDst, dstStep, r), rowAt(pSrc, srcStep, r), rowBytes);
  return zelStsNoErr;
}

}  // namespace

ZelStatus zeliCopy_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDst, int dstStep, ZeliSize roiSize) {
  return copyRegion(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus zeliCopy_32f_C1R(const float* pSrc, int srcStep, float* pDst, int dstStep, ZeliSize roiSize) {
  return copyRegion(pSrc, srcStep, pDst, dstStep, roiSize);
}

}  // namespace ZEL_VARIANT
