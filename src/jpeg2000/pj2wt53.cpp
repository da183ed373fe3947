// One level of the reversible 5/3 wavelet on a tile: in place, and between a plane and four bands.
#include "jpeg2000/wavelet53.h"
#include "jpeg2000/wavelet_drivers.h"

namespace ZEL_VARIANT {
namespace {

// Two samples of border at each end of the line; tiles of up to 2 x 2 need none.
constexpr BufferRule kRule = {2, 3};

}  // namespace

ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return bufferInPlace<int16_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return bufferInPlace<int32_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return bufferOfBands<int16_t>(pTileRect, pSize, kRule);
}
ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return bufferOfBands<int32_t>(pTileRect, pSize, kRule);
}

ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return forwardTile<Filter53<int16_t>>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTInv_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTile<Filter53<int16_t>>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return forwardTile<Filter53<int32_t>>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTInv_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTile<Filter53<int32_t>>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                       int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return forwardTileToBands<Filter53<int16_t>>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus zeliWTInv_B53_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst, int dstStep,
                                       const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTileFromBands<Filter53<int16_t>>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                       int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return forwardTileToBands<Filter53<int32_t>>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus zeliWTInv_B53_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst, int dstStep,
                                       const ZeliRect* pTileRect, uint8_t* pBuffer) {
  return inverseTileFromBands<Filter53<int32_t>>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

}  // namespace ZEL_VARIANT
