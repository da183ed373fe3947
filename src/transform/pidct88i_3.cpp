// Inverse DCT of dequantised coefficients with a level and bounds of the caller's choice.
#include "frame/checks.h"
#include "transform/idct_fixed.h"

namespace ZEL_VARIANT {
namespace {

struct Clip {
  uint8_t lower, upper;
};

// Block plus level (wrapping), clamped to 0..255, then raised to the lower and lowered to the upper bound, in this
// order.
void own_8x8_LSClip_16s8u(const BlockSamples& block, uint8_t* dst, int dstStep, int16_t level, Clip clip) {
  storeBlock(block, dst, dstStep, [=](i16v x, i16v y) {
    const u8v bytes = packU8x128(x + splat<i16v>(level), y + splat<i16v>(level));
    return min(max(bytes, splat<u8v>(clip.lower)), splat<u8v>(clip.upper));
  });
}

}  // namespace

ZelStatus zeliDCT8x8InvLSClip_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep, int16_t level, uint8_t lower,
                                        uint8_t upper) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(dstStep))) return s;
  own_8x8_LSClip_16s8u(dct_8x8_inv_16s(Plain{pSrc}), pDst, dstStep, level, {lower, upper});
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
