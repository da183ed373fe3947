// Quantisation tables for the encoder, and quantisation of a block (ITU-T T.81, Annexes A.3.4 and B.2.4.1).
#include "frame/checks.h"
#include "frame/support.h"
#include "frame/vec.h"
#include "transform/tables.h"

namespace ZEL_VARIANT {
namespace {

constexpr uint16_t kReciprocalOne = 32768;
constexpr int kHighestQuality = 100;  // where the scale reaches 0 and every step becomes 1

int scalePercent(int quality) { return quality < 50 ? 5000 / quality : 200 - 2 * quality; }

// x / q rounded to nearest, halves up: (x << 3) * (R >> 1) >> 16 is 2 x / q, R being 32768 / q.
void ownpj_QuantFwd_8x8_Sfs15_16s(const int16_t* src, int16_t* dst, const uint16_t* table) {
  for (int i = 0; i < 64; i += i16v::N) {
    const i16v halfReciprocal = as<i16v>(load<u16v>(table + i) >> 1);
    const i16v twice = mulHi(load<i16v>(src + i) << 3, halfReciprocal);
    store(dst + i, (twice + splat<i16v>(1)) >> 1);
  }
}

}  // namespace

ZelStatus zeliQuantFwdRawTableInit_JPEG_8u(uint8_t* pQuantRawTable, int qualityFactor) {
  if (const ZelStatus s = firstFailure(present(pQuantRawTable), valueOk(qualityFactor >= 1))) return s;
  const int scale = scalePercent(qualityFactor < kHighestQuality ? qualityFactor : kHighestQuality);
  for (int i = 0; i < 64; ++i) {
    const int step = (pQuantRawTable[i] * scale + 50) / 100;
    pQuantRawTable[i] = uint8_t(step < 1 ? 1 : step > 255 ? 255 : step);
  }
  return zelStsNoErr;
}

ZelStatus zeliQuantFwdTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantFwdTable) {
  if (const ZelStatus s = firstFailure(present(pQuantRawTable), present(pQuantFwdTable))) return s;
  if (const ZelStatus s = naturalSteps(pQuantRawTable, pQuantFwdTable)) return s;
  return zelsDivCRev_16u_I(kReciprocalOne, pQuantFwdTable, 64);
}

ZelStatus zeliQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable) {
  if (const ZelStatus s = firstFailure(present(pSrcDst), present(pQuantFwdTable))) return s;
  ownpj_QuantFwd_8x8_Sfs15_16s(pSrcDst, pSrcDst, pQuantFwdTable);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
