// Inverse photo core transform (ITU-T T.832) of 4x4 blocks in place: one operation on each quadrant, then the fold
// about the centre.
#include "hdphoto/core_transform.h"

namespace ZEL_VARIANT {
namespace {

struct Inverse {
  template <class V>
  ZEL_INLINE void operator()(Blocks<V>& b) const {
    hadamard<true>(b.x[0][0], b.x[0][1], b.x[1][0], b.x[1][1]);
    rotateOddBack(b.x[0][2], b.x[0][3], b.x[1][2], b.x[1][3]);
    rotateOddBack(b.x[2][0], b.x[3][0], b.x[2][1], b.x[3][1]);  // transposed
    rotateOddOddBack(b.x[2][2], b.x[2][3], b.x[3][2], b.x[3][3]);
    foldCentre(b);
  }
};

}  // namespace

ZelStatus zeliPCTInv_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize) {
  return transformPlane(pSrcDst, step, roiSize, Inverse());
}
ZelStatus zeliPCTInv16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32v>(pSrcDst, step, {16, 16}, Inverse());
}
ZelStatus zeliPCTInv8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32v>(pSrcDst, step, {8, 16}, Inverse());
}
ZelStatus zeliPCTInv8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32x4>(pSrcDst, step, {8, 8}, Inverse());
}

}  // namespace ZEL_VARIANT
