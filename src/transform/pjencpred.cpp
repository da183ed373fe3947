// Differences of lossless JPEG (ITU-T T.81, Annex H.1.2): one row of one component at a time.
#include "frame/checks.h"
#include "transform/prediction.h"

namespace ZEL_VARIANT {
namespace {

// Columns 1 to width - 1. Vectors only where the output lies apart: otherwise columns are done in ascending order, and
// read what earlier ones wrote.
template <ZeliPredictor kPredictor>
void differenceColumns(const int16_t* src, const int16_t* previous, int16_t* dst, int width) {
  int i = 1;
  if (!overlap(dst, src, width) && !overlap(dst, previous, width))
    for (; i + i16v::N <= width; i += i16v::N)
      store(dst + i, load<i16v>(src + i) - predicted<kPredictor>(load<i16v>(src + i - 1), load<i16v>(previous + i),
                                                                 load<i16v>(previous + i - 1)));
  for (; i < width; ++i)
    dst[i] = int16_t(src[i] - predicted<kPredictor, int>(src[i - 1], previous[i], previous[i - 1]));
}

void ownpj_DiffPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int width, int precision,
                                        int pointTransform) {
  dst[0] = int16_t(src[0] - firstPrediction(precision, pointTransform));
  differenceColumns<zeliPredictorRa>(src, src, dst, width);
}

using Columns = void (*)(const int16_t*, const int16_t*, int16_t*, int);
constexpr Columns kColumns[7] = {  // from predictor 1 on
    differenceColumns<zeliPredictorRa>,         differenceColumns<zeliPredictorRb>,
    differenceColumns<zeliPredictorRc>,         differenceColumns<zeliPredictorRaRbRc>,
    differenceColumns<zeliPredictorRaHalfRbRc>, differenceColumns<zeliPredictorRbHalfRaRc>,
    differenceColumns<zeliPredictorHalfRaRb>};

}  // namespace

ZelStatus zeliDiffPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(width), firstRowOk(P, Pt))) return s;
  ownpj_DiffPredFirstRow_JPEG_16s_C1(pSrc, pDst, width, P, Pt);
  return zelStsNoErr;
}

ZelStatus zeliDiffPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                      int predictor) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pPrevRow), present(pDst), lengthOk(width), predictorOk(predictor)))
    return s;
  pDst[0] = int16_t(pSrc[0] - pPrevRow[0]);  // column 0 is predicted from above, whatever the predictor
  kColumns[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
