// Lossless prediction against its definition, both ways.
#include "support/checks.h"
#include "support/data.h"

namespace {

using namespace zeltest;

int prediction(int predictor, int Ra, int Rb, int Rc) {  // T.81, Table H.1
  const int all[] = {Ra, Rb, Rc, Ra + Rb - Rc, Ra + ((Rb - Rc) >> 1), Rb + ((Ra - Rc) >> 1), (Ra + Rb) >> 1};
  return all[predictor - zeliPredictorRa];
}

}  // namespace

TEST(Prediction, RowsAndTheirReconstruction) {
  Random rng(1);
  for (int width = 1; width <= 100; ++width)
    for (int predictor = zeliPredictorRa; predictor <= zeliPredictorHalfRaRb; ++predictor) {
      const size_t n = size_t(width);
      Guarded<int16_t> src(rng.vector<int16_t>(n), size_t(width % 5 * 2)), previous(rng.vector<int16_t>(n)),
          dst(n, size_t(predictor * 2)), back(n, size_t(width % 3 * 2));
      ASSERT_EQ(zelStsNoErr,
                zel().zeliDiffPredRow_JPEG_16s_C1(src.data(), previous.data(), dst.data(), width, predictor));
      for (size_t i = 0; i < n; ++i) {
        const int px = i == 0 ? previous[0] : prediction(predictor, src[i - 1], previous[i], previous[i - 1]);
        ASSERT_EQ(int16_t(src[i] - px), dst[i]) << "predictor " << predictor << " width " << width << " at " << i;
      }
      ASSERT_EQ(zelStsNoErr,
                zel().zeliReconstructPredRow_JPEG_16s_C1(dst.data(), previous.data(), back.data(), width, predictor));
      ASSERT_EQ(src.copy(), back.copy()) << "predictor " << predictor << " width " << width;
    }
}

TEST(Prediction, FirstRows) {
  Random rng(2);
  for (int width = 1; width <= 70; ++width)
    for (const int precision : {2, 8, 12, 16})
      for (int pt = 0; pt <= precision; ++pt) {
        const size_t n = size_t(width);
        Guarded<int16_t> src(rng.vector<int16_t>(n)), dst(n, 2), back(n);
        ASSERT_EQ(zelStsNoErr, zel().zeliDiffPredFirstRow_JPEG_16s_C1(src.data(), dst.data(), width, precision, pt));
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(int16_t(src[i] - (i > 0 ? src[i - 1] : (1 << (precision - pt)) / 2)), dst[i]);
        ASSERT_EQ(zelStsNoErr,
                  zel().zeliReconstructPredFirstRow_JPEG_16s_C1(dst.data(), back.data(), width, precision, pt));
        ASSERT_EQ(src.copy(), back.copy());
      }
}

// Rows that overlap are done in ascending order, each column from what stands there then.
TEST(Prediction, OverlappingRows) {
  Random rng(3);
  constexpr int kWidth = 100, kBase = 50;
  for (int predictor = zeliPredictorRa; predictor <= zeliPredictorHalfRaRb; ++predictor)
    for (const bool isReconstruction : {false, true})
      for (const bool overSource : {false, true})  // or over the previous row
        for (int shift = -3; shift <= 3; ++shift) {
          std::vector<int16_t> work = rng.vector<int16_t>(200), apart = rng.vector<int16_t>(200), expected = work;
          const int16_t* const other = apart.data() + kBase;
          const auto inputs = [&](int16_t* row) {
            return overSource ? std::pair<const int16_t*, const int16_t*>(row, other) : std::pair(other, row);
          };
          const auto [src, previous] = inputs(&expected[kBase]);
          int16_t* const dst = &expected[size_t(kBase + shift)];
          for (int i = 0; i < kWidth; ++i) {
            const int Ra = i == 0 ? 0 : isReconstruction ? dst[i - 1] : src[i - 1];
            const int px = i == 0 ? previous[0] : prediction(predictor, Ra, previous[i], previous[i - 1]);
            dst[i] = int16_t(isReconstruction ? src[i] + px : src[i] - px);
          }
          const auto function =
              isReconstruction ? zel().zeliReconstructPredRow_JPEG_16s_C1 : zel().zeliDiffPredRow_JPEG_16s_C1;
          const auto [from, above] = inputs(&work[kBase]);
          ASSERT_EQ(zelStsNoErr, function(from, above, &work[size_t(kBase + shift)], kWidth, predictor));
          ASSERT_EQ(expected, work) << "predictor " << predictor << " shifted by " << shift;
        }
}

TEST_F(Checks, Prediction) {
  for (const int predictor : {0, 8, -1})
    for (const auto f : {z.zeliDiffPredRow_JPEG_16s_C1, z.zeliReconstructPredRow_JPEG_16s_C1})
      check(f, null<0, 1, 2>(), length<3>(), bad<4>(predictor));
  for (const int precision : {1, 17})
    for (const auto f : {z.zeliDiffPredFirstRow_JPEG_16s_C1, z.zeliReconstructPredFirstRow_JPEG_16s_C1})
      check(f, null<0, 1>(), length<2>(), bad<3>(precision), bad<4>(-1));
}
