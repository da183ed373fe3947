#include "frame/checks.h"
#include "frame/support.h"

namespace ZEL_VARIANT {

ZelStatus zeliZigzagInv8x8_16s_C1(const int16_t* pSrc, int16_t* pDst) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst))) return s;
  for (int i = 0; i < 64; ++i) pDst[i] = pSrc[zigzag_index_Fwd.at[i]];
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
