// Inverse photo core transform (ITU-T T.832) of 4x4 blocks in place: one operation on each quadrant, then the fold
// about the centre.
#include "hdphoto/core_transform.h"

namespace ZEL_VARIANT {
namespace {

ZEL_INLINE void transformInv(Blocks& b) {
  hadamard<true>(b.x[0][0], b.x[0][1], b.x[1][0], b.x[1][1]);
  rotateOddBack(b.x[0][2], b.x[0][3], b.x[1][2], b.x[1][3]);
  rotateOddBack(b.x[2][0], b.x[3][0], b.x[2][1], b.x[3][1]);  // transposed
  rotateOddOddBack(b.x[2][2], b.x[2][3], b.x[3][2], b.x[3][3]);
  foldCentre(b);
}

void region(int32_t* base, uint32_t step, ZeliSize size) {
  transformRegion(base, step, size, [](Blocks& b) { transformInv(b); });
}

}  // namespace

ZelStatus zeliPCTInv_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize) {
  if (const ZelStatus s = checkPlane(pSrcDst, step, roiSize)) return s;
  region(pSrcDst, step, roiSize);
  return zelStsNoErr;
}

ZelStatus zeliPCTInv16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  if (const ZelStatus s = checkFixed(pSrcDst, step, 16)) return s;
  region(pSrcDst, step, {16, 16});
  return zelStsNoErr;
}

ZelStatus zeliPCTInv8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  if (const ZelStatus s = checkFixed(pSrcDst, step, 8)) return s;
  region(pSrcDst, step, {8, 16});
  return zelStsNoErr;
}

ZelStatus zeliPCTInv8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  if (const ZelStatus s = checkFixed(pSrcDst, step, 8)) return s;
  region(pSrcDst, step, {8, 8});
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
