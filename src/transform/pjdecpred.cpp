// Reconstruction from differences of lossless JPEG (ITU-T T.81, Annex H.2): one row of one component at a time.
//
// Under predictors 1, 4 and 5 a sample is its left neighbour plus a term that does not depend on it, so that a row is a
// running sum, which vectors form in three or four steps. Under 2 and 3 it does not depend on its row at all. Under 6
// and 7 the left neighbour is halved with something else: these rows stay sample by sample.
#include "frame/checks.h"
#include "transform/prediction.h"

namespace ZEL_VARIANT {
namespace {

// Whether a sample is its left neighbour plus something, and whether it depends on that neighbour at all.
constexpr bool isRunningSum(ZeliPredictor p) {
  return p == zeliPredictorRa || p == zeliPredictorRaRbRc || p == zeliPredictorRaHalfRbRc;
}
constexpr bool isApart(ZeliPredictor p) { return p == zeliPredictorRb || p == zeliPredictorRc; }

// Lane i: the sum of lanes 0 to i.
ZEL_INLINE i16x8 runningSum(i16x8 a) {
  a = a + movedUp<2>(a);
  a = a + movedUp<4>(a);
  return a + movedUp<8>(a);
}

// The last lane in all lanes.
ZEL_INLINE i16x8 lastLane(i16x8 a) {
  const u8x16 last = {{14, 15, 14, 15, 14, 15, 14, 15, 14, 15, 14, 15, 14, 15, 14, 15}};
  return as<i16x8>(shuffle128(as<u8x16>(a), last));
}

// Columns 1 to width - 1; column 0 is done. Vectors only where the output lies apart from the rows that are read.
template <ZeliPredictor kPredictor>
void reconstructColumns(const int16_t* src, const int16_t* previous, int16_t* dst, int width) {
  int i = 1;
  if constexpr (isRunningSum(kPredictor) || isApart(kPredictor)) {
    if (!overlap(dst, src, width) && !overlap(dst, previous, width)) {
      i16x8 left = splat<i16x8>(dst[0]);
      for (; i + i16x8::N <= width; i += i16x8::N) {
        // As if the left neighbour were 0; a running sum adds it.
        const i16x8 term =
            predicted<kPredictor>(zero<i16x8>(), load<i16x8>(previous + i), load<i16x8>(previous + i - 1));
        i16x8 x = load<i16x8>(src + i) + term;
        if constexpr (isRunningSum(kPredictor)) {
          x = runningSum(x) + left;
          left = lastLane(x);
        }
        store(dst + i, x);
      }
    }
  }
  for (; i < width; ++i)
    dst[i] = int16_t(src[i] + predicted<kPredictor, int>(dst[i - 1], previous[i], previous[i - 1]));
}

void ownpj_ReconstructPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int width, int precision,
                                               int pointTransform) {
  dst[0] = int16_t(src[0] + firstPrediction(precision, pointTransform));
  reconstructColumns<zeliPredictorRa>(src, src, dst, width);
}

using Columns = void (*)(const int16_t*, const int16_t*, int16_t*, int);
constexpr Columns kColumns[7] = {  // from predictor 1 on
    reconstructColumns<zeliPredictorRa>,         reconstructColumns<zeliPredictorRb>,
    reconstructColumns<zeliPredictorRc>,         reconstructColumns<zeliPredictorRaRbRc>,
    reconstructColumns<zeliPredictorRaHalfRbRc>, reconstructColumns<zeliPredictorRbHalfRaRc>,
    reconstructColumns<zeliPredictorHalfRaRb>};

}  // namespace

ZelStatus zeliReconstructPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pDst), lengthOk(width), firstRowOk(P, Pt))) return s;
  ownpj_ReconstructPredFirstRow_JPEG_16s_C1(pSrc, pDst, width, P, Pt);
  return zelStsNoErr;
}

ZelStatus zeliReconstructPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                             int predictor) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pPrevRow), present(pDst), lengthOk(width), predictorOk(predictor)))
    return s;
  pDst[0] = int16_t(pSrc[0] + pPrevRow[0]);  // column 0 is predicted from above, whatever the predictor
  kColumns[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
