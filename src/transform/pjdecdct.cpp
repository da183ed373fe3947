// Dequantisation and inverse DCT of 8-bit samples, full size (ITU-T T.81, Annexes A.3.3 and A.3.4).
#include "frame/checks.h"
#include "transform/idct_fixed.h"

namespace ZEL_VARIANT {
namespace {

ZEL_INLINE void storeSigned(const BlockSamples& b, int16_t* dst) {
#pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) {
    store(dst + 8 * kSampleOrder[i], rowOf(b.n, i));
    store(dst + 8 * (7 - kSampleOrder[i]), rowOf(b.mirrored, i));
  }
}

ZEL_INLINE void storeLevelled(const BlockSamples& b, uint8_t* dst, int dstStep) {
  storeBlock(b, dst, dstStep, [](i16v x, i16v y) { return levelled(x, y); });
}

ZEL_INLINE BlockSamples inverseOf(const int16_t* src, const uint16_t* table) {
  const Quantised block = {src, table};
  return lowerHalfIsZero(src) ? inverseOfUpperHalf(block) : dct_8x8_inv_16s(block);
}

void dctQuantInv(const int16_t* src, int16_t* dst, const uint16_t* table) { storeSigned(inverseOf(src, table), dst); }

ZEL_INLINE void dctQuantInvLS(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  storeLevelled(inverseOf(src, table), dst, dstStep);
}

ZEL_INLINE void dct_quant_inv8x8_4x4_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  storeLevelled(dct_8x8_inv_4x4_16s(Quantised{src, table}), dst, dstStep);
}

ZEL_INLINE void dct_quant_inv8x8_2x2_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  storeLevelled(dct_8x8_inv_2x2_16s(Quantised{src, table}), dst, dstStep);
}

// (DC * q0 >> 3) + 128, reduced to a signed 16-bit value and then clamped: it truncates where the full inverse rounds.
ZEL_INLINE void dct_quant_inv8x8_1x1_ls(const int16_t* src, uint8_t* dst, int dstStep, const uint16_t* table) {
  const int16_t v = int16_t(((int32_t(src[0]) * table[0]) >> 3) + 128);
  const u8x16 flat = splat<u8x16>(uint8_t(v < 0 ? 0 : v > 255 ? 255 : v));
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) storeLow8(rowAt(dst, dstStep, r), flat);
}

}  // namespace

ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantInvTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), present(pQuantInvTable))) return s;
  dctQuantInv(pSrc, pDst, pQuantInvTable);
  return zelStsNoErr;
}

ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable) {
  return zeliDCTQuantInv8x8_JPEG_16s_C1(pSrcDst, pSrcDst, pQuantInvTable);
}

ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                              const uint16_t* pQuantInvTable) {
  return inverseToSamples<dctQuantInvLS>(pSrc, pDst, dstStep, pQuantInvTable);
}

ZelStatus zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                  const uint16_t* pQuantInvTable) {
  return inverseToSamples<dct_quant_inv8x8_1x1_ls>(pSrc, pDst, dstStep, pQuantInvTable);
}

ZelStatus zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                  const uint16_t* pQuantInvTable) {
  return inverseToSamples<dct_quant_inv8x8_2x2_ls>(pSrc, pDst, dstStep, pQuantInvTable);
}

ZelStatus zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                  const uint16_t* pQuantInvTable) {
  return inverseToSamples<dct_quant_inv8x8_4x4_ls>(pSrc, pDst, dstStep, pQuantInvTable);
}

}  // namespace ZEL_VARIANT
