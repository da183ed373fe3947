// Forward photo core transform (ITU-T T.832) of 4x4 blocks in place: the fold about the centre, then one operation on
// each quadrant.
#include "hdphoto/core_transform.h"

namespace ZEL_VARIANT {
namespace {

struct Forward {
  template <class V>
  ZEL_INLINE void operator()(Blocks<V>& b) const {
    foldCentre(b);
    hadamard<true>(b.x[0][0], b.x[0][1], b.x[1][0], b.x[1][1]);
    rotateOdd(b.x[0][2], b.x[0][3], b.x[1][2], b.x[1][3]);
    rotateOdd(b.x[2][0], b.x[3][0], b.x[2][1], b.x[3][1]);  // transposed
    rotateOddOdd(b.x[2][2], b.x[2][3], b.x[3][2], b.x[3][3]);
  }
};

}  // namespace

ZelStatus zeliPCTFwd_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize) {
  return transformPlane(pSrcDst, step, roiSize, Forward());
}
ZelStatus zeliPCTFwd16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32v>(pSrcDst, step, {16, 16}, Forward());
}
ZelStatus zeliPCTFwd8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32v>(pSrcDst, step, {8, 16}, Forward());
}
ZelStatus zeliPCTFwd8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step) {
  return transformFixed<i32x4>(pSrcDst, step, {8, 8}, Forward());
}

}  // namespace ZEL_VARIANT
