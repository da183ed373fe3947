// Chroma resampling of planes and rows against its definition.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;

std::vector<uint8_t> downRow(const uint8_t* upper, const uint8_t* lower, int n, int even, int odd) {
  std::vector<uint8_t> d;
  for (int i = 0; i < n; ++i) {
    int sum = upper[2 * i] + upper[2 * i + 1] + (i % 2 ? odd : even);
    if (lower) sum += lower[2 * i] + lower[2 * i + 1];
    d.push_back(uint8_t(sum >> (lower ? 2 : 1)));
  }
  return d;
}

// far null: H2V1. The samples at -1 and at the end are read.
std::vector<uint8_t> upRow(const uint8_t* near, const uint8_t* far, int n) {
  const auto c = [&](int k) { return far ? 3 * near[k] + far[k] : near[k]; };
  std::vector<uint8_t> d;
  for (int i = 0; i < n; ++i) {
    const int sum = 3 * c(i / 2) + (i % 2 ? c(i / 2 + 1) : c(i / 2 - 1));
    d.push_back(uint8_t(far ? (sum + (i % 2 ? 7 : 8)) >> 4 : (sum + (i % 2 ? 2 : 1)) >> 2));
  }
  return d;
}

}  // namespace

TEST(Resampling, RowsDown) {
  Random rng(1);
  for (int width = 1; width <= 200; ++width) {
    const int n = (width + 1) / 2;
    Guarded<uint8_t> upper(rng.vector<uint8_t>(size_t(2 * n))), lower(rng.vector<uint8_t>(size_t(2 * n))),
        dst(size_t(n), size_t(width % 17));
    ASSERT_EQ(zelStsNoErr, zel().zeliSampleDownRowH2V1_Box_JPEG_8u_C1(upper.data(), width, dst.data()));
    ASSERT_EQ(downRow(upper.data(), nullptr, n, 0, 1), dst.copy()) << width;
    ASSERT_EQ(zelStsNoErr, zel().zeliSampleDownRowH2V2_Box_JPEG_8u_C1(upper.data(), lower.data(), width, dst.data()));
    ASSERT_EQ(downRow(upper.data(), lower.data(), n, 1, 2), dst.copy()) << width;
    ASSERT_TRUE(dst.intact());
  }
}

TEST(Resampling, RowsUp) {
  Random rng(2);
  for (int width = 1; width <= 150; ++width)
    for (const bool twoRows : {false, true}) {
      const size_t w = size_t(width);
      Guarded<uint8_t> near(rng.vector<uint8_t>(w)), far(rng.vector<uint8_t>(w)), dst(2 * w, w % 17);
      // The edge rule is the plane rule on a row whose ends are repeated, but for the outermost outputs.
      std::vector<uint8_t> n(w + 2), f(w + 2);
      for (size_t i = 0; i < w + 2; ++i) {
        const size_t k = std::min(w - 1, i ? i - 1 : 0);
        n[i] = near[k];
        f[i] = far[k];
      }
      std::vector<uint8_t> expected = upRow(n.data() + 1, twoRows ? f.data() + 1 : nullptr, 2 * width);
      const int first = 3 * near[0] + far[0], last = 3 * near[w - 1] + far[w - 1];
      expected[0] = twoRows ? uint8_t((4 * first + 8) >> 4) : near[0];
      expected[2 * w - 1] = twoRows ? uint8_t((4 * last + 7) >> 4) : near[w - 1];
      ASSERT_EQ(zelStsNoErr,
                twoRows ? zel().zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near.data(), far.data(), width, dst.data())
                        : zel().zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(near.data(), width, dst.data()));
      ASSERT_EQ(expected, dst.copy()) << width << (twoRows ? " of two rows" : " of one row");
      ASSERT_TRUE(dst.intact());
    }
}

// Planes of every small size and some that are divided among threads. Sources end at unreadable pages with exactly the
// margins that the up-samplers may read.
TEST(Resampling, PlanesInThreadsToo) {
  Random rng(3);
  const auto run = [&](int width, int height) {
    const bool even = width % 2 == 0;
    for (const bool v2 : {false, true}) {
      const ZeliSize size = {width, height}, any = {1, 1};  // the source size is only checked
      const int step = 2 * width + width % 3, dstStep = width + height % 4;
      const int rows = v2 ? 2 * height : height;
      Guarded<uint8_t> src(rng.vector<uint8_t>(size_t((rows - 1) * step + 2 * width)));
      Guarded<uint8_t> dst(size_t((height - 1) * dstStep + width));
      ASSERT_EQ(zelStsNoErr, (v2 ? zel().zeliSampleDownH2V2_JPEG_8u_C1R : zel().zeliSampleDownH2V1_JPEG_8u_C1R)(
                                 src.data(), step, any, dst.data(), dstStep, size));
      for (int r = 0; r < height; ++r) {
        const uint8_t* upper = src.data() + (v2 ? 2 * r : r) * step;
        const auto want = v2 ? downRow(upper, upper + step, width, 3, 3) : downRow(upper, nullptr, width, 1, 1);
        ASSERT_TRUE(std::equal(want.begin(), want.end(), dst.data() + r * dstStep)) << width << " row " << r;
        for (int i = width; r + 1 < height && i < dstStep; ++i) ASSERT_EQ(dst.kPattern, dst[size_t(r * dstStep + i)]);
      }

      // Sample k = width / 2 is read for its neighbour's sake (even widths) or its own.
      const int inner = width / 2 + 1, upStep = inner + 1 + width % 3;
      const int first = v2 ? 1 : 0, last = v2 ? (height + 1) / 2 + (height % 2 ? 0 : 1) : height - 1;
      Guarded<uint8_t> low(rng.vector<uint8_t>(size_t(last * upStep + 1 + inner)));
      const uint8_t* origin = low.data() + 1 + first * upStep;
      ASSERT_EQ(zelStsNoErr, (v2 ? zel().zeliSampleUpH2V2_JPEG_8u_C1R : zel().zeliSampleUpH2V1_JPEG_8u_C1R)(
                                 origin, upStep, any, dst.data(), dstStep, size));
      for (int r = 0; r < height; ++r) {
        const uint8_t* near = origin + (v2 ? r / 2 : r) * upStep;
        const auto want = upRow(near, v2 ? near + (r % 2 ? upStep : -upStep) : nullptr, width);
        ASSERT_TRUE(std::equal(want.begin(), want.end(), dst.data() + r * dstStep))
            << width << "x" << height << " row " << r << (even ? "" : ", odd") << (v2 ? " H2V2" : " H2V1");
      }
      ASSERT_TRUE(dst.intact());
    }
  };
  for (int width = 1; width <= 70; ++width) run(width, 1 + width % 5);
  if (zeltest::hooks()) zeltest::hooks()->threads = 3;
  for (const auto& [w, h] : {std::pair(128, 64), std::pair(8193, 1), std::pair(131, 77), std::pair(31, 301)}) {
    if (zeltest::hooks()) zeltest::hooks()->threadQueries = 0;
    run(w, h);
    if (zeltest::hooks())
      EXPECT_EQ(w * h > 8192 ? 3 : 0, zeltest::hooks()->threadQueries);  // all but the H2V1 up-sampler
  }
  if (zeltest::hooks()) zeltest::hooks()->reset();
}
