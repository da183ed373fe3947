// Level shift of planes for the encoder: unsigned 8-bit samples to signed ones centred on zero (T.81, Annex A.3.1).
#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// dst[i] = src[i] - 128
void ownpj_Sub128_JPEG_8u16s_C1(const uint8_t* src, int16_t* dst, int n) {
  int i = 0;
  for (; i + i16v::N <= n; i += i16v::N) store(dst + i, loadWiden<i16v>(src + i) - splat<i16v>(128));
  for (; i < n; ++i) storeOne(dst + i, int16_t(src[i] - 128));
}

}  // namespace

ZelStatus zeliSub128_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), stepOk(srcStep), present(pDst), stepOk(dstStep), sizeOk(roiSize)))
    return s;
  forEachRow(roiSize, [=](int r) {
    ownpj_Sub128_JPEG_8u16s_C1(rowAt(pSrc, srcStep, r), rowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
