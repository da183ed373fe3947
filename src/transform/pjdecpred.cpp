// Reconstruction from differences of lossless JPEG (ITU-T T.81, Annex H.2): one row of one component at a time.
//
// Under predictors 1, 4 and 5 a sample is its left neighbour plus a term that does not depend on it, so that a row is a
// running sum, which vectors form in three or four steps. Under 2 and 3 it does not depend on its row at all. Under 6
// and 7 the left neighbour is halved with something else: these rows stay sample by sample.
#include "frame/checks.h"
#include "transform/prediction.h"

namespace ZEL_VARIANT {
namespace {

// What is added to the left neighbour (predictors 1, 4, 5), or the sample itself (2, 3).
template <int kPredictor>
ZEL_INLINE i16x8 term(i16x8 difference, const int16_t* previous) {
  if constexpr (kPredictor == 1) return difference;
  const i16x8 Rb = load<i16x8>(previous), Rc = load<i16x8>(previous - 1);
  if constexpr (kPredictor == 2) return difference + Rb;
  if constexpr (kPredictor == 3) return difference + Rc;
  if constexpr (kPredictor == 4) return difference + Rb - Rc;
  if constexpr (kPredictor == 5) return difference + halfDifference(Rb, Rc);
}

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
template <int kPredictor>
void reconstructColumns(const int16_t* src, const int16_t* previous, int16_t* dst, int width) {
  int i = 1;
  if constexpr (kPredictor <= 5) {
    if (!overlap(dst, src, width) && !overlap(dst, previous, width)) {
      i16x8 left = splat<i16x8>(dst[0]);
      for (; i + i16x8::N <= width; i += i16x8::N) {
        i16x8 x = term<kPredictor>(load<i16x8>(src + i), previous + i);
        if constexpr (kPredictor != 2 && kPredictor != 3) {
          x = runningSum(x) + left;
          left = lastLane(x);
        }
        store(dst + i, x);
      }
    }
  }
  for (; i < width; ++i) dst[i] = int16_t(src[i] + predicted<kPredictor>(dst[i - 1], previous[i], previous[i - 1]));
}

void ownpj_ReconstructPredFirstRow_JPEG_16s_C1(const int16_t* src, int16_t* dst, int width, int precision,
                                               int pointTransform) {
  dst[0] = int16_t(src[0] + firstPrediction(precision, pointTransform));
  reconstructColumns<1>(src, src, dst, width);
}

using Columns = void (*)(const int16_t*, const int16_t*, int16_t*, int);
constexpr Columns kColumns[7] = {reconstructColumns<1>, reconstructColumns<2>, reconstructColumns<3>,
                                 reconstructColumns<4>, reconstructColumns<5>, reconstructColumns<6>,
                                 reconstructColumns<7>};

}  // namespace

ZelStatus zeliReconstructPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt) {
  if (const ZelStatus s =
          firstFailure(present(pSrc), present(pDst), lengthOk(width), valueOk(P >= 2 && P <= 16 && Pt >= 0)))
    return s;
  ownpj_ReconstructPredFirstRow_JPEG_16s_C1(pSrc, pDst, width, P, Pt);
  return zelStsNoErr;
}

ZelStatus zeliReconstructPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                             int predictor) {
  if (const ZelStatus s = firstFailure(present(pSrc), present(pPrevRow), present(pDst), lengthOk(width),
                                       valueOk(predictor >= 1 && predictor <= 7)))
    return s;
  pDst[0] = int16_t(pSrc[0] + pPrevRow[0]);  // column 0 is predicted from above, whatever the predictor
  kColumns[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStsNoErr;
}

}  // namespace ZEL_VARIANT
