// Inverse DCT of dequantised coefficients with a level and bounds of the caller's choice.
#include "frame/checks.h"
#include "transform/idct_fixed.h"

namespace ZEL_VARIANT {
namespace {

// Block plus level (wrapping), clamped to 0..255, then raised to the lower and lowered to the upper bound, in this
// order.
void own_8x8_LSClip_16s8u(BlockRows block, uint8_t* dst, int dstStep, int16_t level, Clip clip) {
#pragma GCC unroll 8
  for (i16x8& row : block.row) row = row + splat<i16x8>(level);
  storeBlock(block, dst, dstStep, clip);
}

}  // namespace

ZelStatus zeliDCT8x8InvLSClip_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep, int16_t level, uint8_t lower,
                                        uint8_t upper) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(dstStep))) return s;
  own_8x8_LSClip_16s8u(dct_8x8_inv_16s(Plain{pSrc}), pDst, dstStep, level, {lower, upper});
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
