// Lossless prediction against its definition, both ways.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/data.h"

namespace {

using namespace zeltest;

int prediction(int predictor, int Ra, int Rb, int Rc) {
  const int all[] = {Ra, Rb, Rc, Ra + Rb - Rc, Ra + ((Rb - Rc) >> 1), Rb + ((Ra - Rc) >> 1), (Ra + Rb) >> 1};
  return all[predictor - 1];
}

}  // namespace

TEST(Prediction, RowsAndTheirReconstruction) {
  Random rng(1);
  for (int width = 1; width <= 100; ++width)
    for (int predictor = 1; predictor <= 7; ++predictor) {
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
      ASSERT_TRUE(dst.intact() && back.intact());
    }
}

TEST(Prediction, FirstRows) {
  Random rng(2);
  for (int width = 1; width <= 70; ++width)
    for (const int precision : {2, 8, 12, 16})
      for (int pt = 0; pt < precision; pt += 1 + precision / 5) {
        const size_t n = size_t(width);
        Guarded<int16_t> src(rng.vector<int16_t>(n)), dst(n, 2), back(n);
        ASSERT_EQ(zelStsNoErr, zel().zeliDiffPredFirstRow_JPEG_16s_C1(src.data(), dst.data(), width, precision, pt));
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(int16_t(src[i] - (i ? src[i - 1] : 1 << (precision - pt - 1))), dst[i]);
        ASSERT_EQ(zelStsNoErr,
                  zel().zeliReconstructPredFirstRow_JPEG_16s_C1(dst.data(), back.data(), width, precision, pt));
        ASSERT_EQ(src.copy(), back.copy());
      }
  int16_t sample = 5, difference;
  EXPECT_EQ(zelStsNoErr, zel().zeliDiffPredFirstRow_JPEG_16s_C1(&sample, &difference, 1, 8, 200));
}

// Rows that overlap are done in ascending order, each column from what stands there then.
TEST(Prediction, OverlappingRowsOfPredictors2And3) {
  Random rng(3);
  for (const int predictor : {2, 3})
    for (int shift = -3; shift <= 3; ++shift) {
      std::vector<int16_t> memory = rng.vector<int16_t>(200), expected = memory;
      const std::vector<int16_t> src = rng.vector<int16_t>(100);
      const int base = 50;
      for (int pass = 0; pass < 2; ++pass) {  // differences, then samples
        std::vector<int16_t> work = memory;
        expected = memory;
        for (int i = 0; i < 100; ++i) {
          const int px = expected[size_t(base + (i == 0 || predictor == 2 ? i : i - 1))];
          expected[size_t(base + shift + i)] = int16_t(pass ? src[size_t(i)] + px : src[size_t(i)] - px);
        }
        const auto function = pass ? zel().zeliReconstructPredRow_JPEG_16s_C1 : zel().zeliDiffPredRow_JPEG_16s_C1;
        ASSERT_EQ(zelStsNoErr, function(src.data(), work.data() + base, work.data() + base + shift, 100, predictor));
        ASSERT_EQ(expected, work) << predictor << " shifted by " << shift;
      }
    }
}
