#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/support.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// dst[i] = src[i] & value; src and dst may be equal
void andRow(const int32_t* src, int32_t value, int32_t* dst, int n) {
  const i32v mask = splat<i32v>(value);
  int i = 0;
  for (; i + i32v::N <= n; i += i32v::N) store(dst + i, load<i32v>(src + i) & mask);
  for (; i < n; ++i) storeOne(dst + i, loadOne(src + i) & value);
}

}  // namespace

ZelStatus zeliAndC_32s_C1R(const int32_t* pSrc, int srcStep, int32_t value, int32_t* pDst, int dstStep,
                           ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(srcStep), stepOk(dstStep), sizeOk(roiSize)))
    return s;
  for (int r = 0; r < roiSize.height; ++r)
    andRow(rowAt(pSrc, srcStep, r), value, rowAt(pDst, dstStep, r), roiSize.width);
  return zelStsNoErr;
}

ZelStatus zeliAndC_32s_C1IR(int32_t value, int32_t* pSrcDst, int step, ZeliSize roiSize) {
  return zeliAndC_32s_C1R(pSrcDst, step, value, pSrcDst, step, roiSize);
}

}  // namespace ZEL_VARIANT
