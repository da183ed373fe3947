// Level shift of planes for the decoder: signed samples centred on zero to unsigned 8-bit ones (T.81, Annex A.3.1).
#include "frame/checks.h"
#include "frame/rows.h"
#include "frame/vec.h"

namespace ZEL_VARIANT {
namespace {

// dst[i] = src[i] + 128, clamped to 0..255
void ownpj_Add128_JPEG_16s8u_C1(const int16_t* src, uint8_t* dst, int n) {
  const i16v level = splat<i16v>(128);
  int i = 0;
  for (; i + u8v::N <= n; i += u8v::N)
    store(dst + i, packU8(addSat(load<i16v>(src + i), level), addSat(load<i16v>(src + i + i16v::N), level)));
  for (; i + 8 <= n; i += 8) storeNarrow(dst + i, addSat(load<i16x8>(src + i), splat<i16x8>(128)));
  for (; i < n; ++i) {
    const int sum = loadOne(src + i) + 128;
    dst[i] = uint8_t(sum < 0 ? 0 : sum > 255 ? 255 : sum);
  }
}

}  // namespace

ZelStatus zeliAdd128_JPEG_16s8u_C1R(const int16_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZeliSize roiSize) {
  if (const ZelStatus s = firstFailure(present(pSrc), stepOk(srcStep), present(pDst), stepOk(dstStep), sizeOk(roiSize)))
    return s;
  forEachRow(roiSize, [=](int r) {
    ownpj_Add128_JPEG_16s8u_C1(rowAt(pSrc, srcStep, r), rowAt(pDst, dstStep, r), roiSize.width);
  });
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
