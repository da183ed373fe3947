// Forward DCT with quantisation of 12-bit samples in single precision (ITU-T T.81, Annexes A.3.3 and A.3.4).
#include "frame/checks.h"
#include "frame/rows.h"
#include "transform/dct_float.h"

namespace ZEL_VARIANT {
namespace {

constexpr NormTable tab_norm_frw = normTable(true);

// Eight columns of the scaled transform.
ZEL_INLINE FloatBlock forwardFloatColumns(const FloatBlock& x) {
  const FloatRow s0 = x.row[0] + x.row[7], d0 = x.row[0] - x.row[7];
  const FloatRow s1 = x.row[1] + x.row[6], d1 = x.row[1] - x.row[6];
  const FloatRow s2 = x.row[2] + x.row[5], d2 = x.row[2] - x.row[5];
  const FloatRow s3 = x.row[3] + x.row[4], d3 = x.row[3] - x.row[4];

  const FloatRow e0 = s0 + s3, e3 = s0 - s3, e1 = s1 + s2, e2 = s1 - s2;
  const FloatRow z1 = (e2 + e3) * float(kCos4);

  const FloatRow o0 = d3 + d2, o1 = d2 + d1, o2 = d1 + d0;
  const FloatRow z5 = (o0 - o2) * float(kCos6);
  const FloatRow z2 = o0 * float(kCos2 - kCos6) + z5, z4 = o2 * float(kCos2 + kCos6) + z5, z3 = o1 * float(kCos4);
  const FloatRow z11 = d0 + z3, z13 = d0 - z3;
  return {{e0 + e1, z11 + z4, e3 + z1, z13 - z2, e0 - e1, z13 + z2, e3 - z1, z11 - z4}};
}

ZEL_INLINE FloatBlock dct_8x8_fwd_32f(const FloatBlock& samples) {
  FloatBlock b = transposed(forwardFloatColumns(transposed(forwardFloatColumns(samples))));
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) b.row[r] = b.row[r] * loadFloats(tab_norm_frw.at + 8 * r);
  return b;
}

// Rounded to nearest, halves to even.
ZEL_INLINE i16x8 rounded(FloatRow x) {
  return narrowed(x, [](f32v v) { return roundToInt(v); });
}

void dct_qnt_fwd_8x8_ls(const uint16_t* src, int srcStep, int16_t* dst, const float* table) {
  FloatBlock b;
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) b.row[r] = loadAsFloats(rowAt(src, srcStep, r)) - splatFloats(fLS);
  b = dct_8x8_fwd_32f(b);
#pragma GCC unroll 8
  for (int r = 0; r < 8; ++r) store(dst + 8 * r, rounded(b.row[r] * loadFloats(table + 8 * r)));
}

}  // namespace

ZelStatus zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const uint16_t* pSrc, int srcStep, int16_t* pDst,
                                               const float* pQuantFwdTable) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), stepOk(srcStep), present(pQuantFwdTable)))
    return s;
  dct_qnt_fwd_8x8_ls(pSrc, srcStep, pDst, pQuantFwdTable);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
