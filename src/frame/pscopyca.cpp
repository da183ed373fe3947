#include <string.h>

#include "frame/checks.h"
#include "frame/support.h"

namespace ZEL_VARIANT {

ZelStatus zelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int len) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(len))) return s;
  memcpy(pDst, pSrc, size_t(len));
  return zelStsNoErr;
}

ZelStatus zelsSet_8u(uint8_t val, uint8_t* pDst, int len) {
  if (const ZelStatus s = firstFailure(present(pDst), lengthOk(len))) return s;
  memset(pDst, val, size_t(len));
  return zelStsNoErr;
}

ZelStatus zelsZero_8u(uint8_t* pDst, int len) { return zelsSet_8u(0, pDst, len); }

ZelStatus zelsZero_16s(int16_t* pDst, int len) {
  if (const ZelStatus s = firstFailure(present(pDst), lengthOk(len))) return s;
  memset(pDst, 0, size_t(len) * sizeof *pDst);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
