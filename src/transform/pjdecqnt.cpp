// Quantisation tables for the decoder, and dequantisation of a block (ITU-T T.81, Annexes A.3.4 and B.2.4.1).
#include "frame/checks.h"
#include "frame/support.h"
#include "frame/vec.h"
#include "transform/tables.h"

namespace ZEL_VARIANT {

ZelStatus naturalSteps(const uint8_t* pQuantRawTable, uint16_t* pTable) {
  uint16_t zigzag[64];
  if (const ZelStatus s = zeliConvert_8u16u_C1R(pQuantRawTable, 8, zigzag, 16, {8, 8})) return s;
  return zeliZigzagInv8x8_16s_C1(reinterpret_cast<const int16_t*>(zigzag), reinterpret_cast<int16_t*>(pTable));
}

ZelStatus zeliQuantInvTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantInvTable) {
  if (const ZelStatus s = firstFailure(present(pQuantInvTable), present(pQuantRawTable))) return s;
  return naturalSteps(pQuantRawTable, pQuantInvTable);
}

ZelStatus zeliQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable) {
  if (const ZelStatus s = firstFailure(present(pSrcDst), present(pQuantInvTable))) return s;
  for (int i = 0; i < 64; i += i16v::N) store(pSrcDst + i, load<i16v>(pSrcDst + i) * load<i16v>(pQuantInvTable + i));
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
