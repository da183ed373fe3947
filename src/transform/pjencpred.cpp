// Differences of lossless JPEG (ITU-T T.81, Annex H.1.2): one row of one component at a time.
#include "frame/checks.h"
#include "transform/prediction.h"

namespace ZEL_VARIANT {
namespace {

template <int kPredictor>
ZEL_INLINE i16v predicted(i16v Ra, i16v Rb, i16v Rc) {
  if constexpr (kPredictor == 1) return Ra;
  if constexpr (kPredictor == 2) return Rb;
  if constexpr (kPredictor == 3) return Rc;
  if constexpr (kPredictor == 4) return Ra + Rb - Rc;
  if constexpr (kPredictor == 5) return Ra + halfDifference(Rb, Rc);
  if constexpr (kPredictor == 6) return Rb + halfDifference(Ra, Rc);
  if constexpr (kPredictor == 7) return halfSum(Ra, Rb);
}

// Columns 1 to width - 1. Vectors only where the output lies apart: otherwise columns are done in ascending order, and
// read what earlier ones wrote.
template <int kPredictor>
void differenceColumns(const int16_t* src, const int16_t* previous, int16_t* dst, int width) {
  int i = 1;
  if (!overlap(dst, src, width) && !overlap(dst, previous, width))
    for (; i + i16v::N <= width; i += i16v::N)
      store(dst + i, load<i16v>(src + i) - predicted<kPredictor>(load<i16v>(src + i - 1), load<i16v>(previous + i),
                                                                 load<i16v>(previous + i - 1)));
  for (; i < width; ++i) dst[i] = int16_t(src[i] - predicted<kPredictor>(src[i - 1], previous[i], previous[i - 1]));
}

void ownpj_DiffPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int width, int precision,
                                        int pointTransform) {
  dst[0] = int16_t(src[0] - firstPrediction(precision, pointTransform));
  differenceColumns<1>(src, src, dst, width);
}

using Columns = void (*)(const int16_t*, const int16_t*, int16_t*, int);
constexpr Columns kColumns[7] = {differenceColumns<1>, differenceColumns<2>, differenceColumns<3>, differenceColumns<4>,
                                 differenceColumns<5>, differenceColumns<6>, differenceColumns<7>};

}  // namespace

ZelStatus zeliDiffPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pDst), lengthOk(width), valueOk(P >= 2 && P <= 16 && Pt >= 0)))
    return s;
  ownpj_DiffPredFirstRow_JPEG_16s_C1(pSrc, pDst, width, P, Pt);
  return zelStsNoErr;
}

ZelStatus zeliDiffPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                      int predictor) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pPrevRow), present(pDst), lengthOk(width),
                                       valueOk(predictor >= 1 && predictor <= 7)))
    return s;
  pDst[0] = int16_t(pSrc[0] - pPrevRow[0]);  // column 0 is predicted from above, whatever the predictor
  kColumns[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
