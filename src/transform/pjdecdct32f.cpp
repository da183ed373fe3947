// Dequantisation and inverse DCT of 12-bit samples in single precision (ITU-T T.81, Annexes A.3.3 and A.3.4).
#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_float.h"

namespace ZEL_VARIANT {
namespace {

constexpr NormTable tab_norm_inv = normTable(false);
constexpr int16_t iST = 4095;  // largest sample

// Eight columns of the scaled inverse.
ZEL_INLINE FloatBlock inverseFloatColumns(const FloatBlock& F) {
  const FloatRow e0 = F.row[0] + F.row[4], e1 = F.row[0] - F.row[4];
  const FloatRow e3 = F.row[2] + F.row[6], e2 = (F.row[2] - F.row[6]) * float(2 * kCos4) - e3;
  const FloatRow t0 = e0 + e3, t3 = e0 - e3, t1 = e1 + e2, t2 = e1 - e2;

  const FloatRow z13 = F.row[5] + F.row[3], z10 = F.row[5] - F.row[3];
  const FloatRow z11 = F.row[1] + F.row[7], z12 = F.row[1] - F.row[7];
  const FloatRow o7 = z11 + z13;
  const FloatRow z5 = (z10 + z12) * float(2 * kCos2);
  const FloatRow o6 = z5 - z10 * float(2 * (kCos2 + kCos6)) - o7;
  const FloatRow o5 = (z11 - z13) * float(2 * kCos4) - o6;
  const FloatRow o4 = z5 - z12 * float(2 * (kCos2 - kCos6)) - o5;
  return {{t0 + o7, t1 + o6, t2 + o5, t3 + o4, t3 - o4, t2 - o5, t1 - o6, t0 - o7}};
}

ZEL_INLINE FloatBlock dct_8x8_inv_32f(FloatBlock b) {
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) b.row[r] = b.row[r] * loadFloats(tab_norm_inv.at + 8 * r);
  return transposed(inverseFloatColumns(transposed(inverseFloatColumns(b))));
}

// Truncated towards zero and clamped to a 12-bit sample.
ZEL_INLINE i16x8 samples(FloatRow x) {
  const i16x8 row = narrowed(x, [](f32v v) { return truncToInt(v); });
  return min(max(row, zero<i16x8>()), splat<i16x8>(iST));
}

void dct_qnt_inv_8x8_ls(const int16_t* src, uint16_t* dst, int dstStep, const float* table) {
  FloatBlock b;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) b.row[r] = loadAsFloats(src + 8 * r) * loadFloats(table + 8 * r);
  b = dct_8x8_inv_32f(b);
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) store(rowAt(dst, dstStep, r), samples(b.row[r] + splatFloats(fLS)));
}

}  // namespace

ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(const int16_t* pSrc, uint16_t* pDst, int dstStep,
                                               const float* pQuantInvTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(dstStep), present(pQuantInvTable)))
    return s;
  dct_qnt_inv_8x8_ls(pSrc, pDst, dstStep, pQuantInvTable);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
