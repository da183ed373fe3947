// Level shift of planes: values, and the rule by which plane functions divide their rows among threads.
#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/picture.h"

namespace {

using namespace zeltest;

void shiftBothWays(int width, int height, int srcPad, int dstPad, Random& rng) {
  Plane<uint8_t> samples(width, height, srcPad), clamped(width, height, dstPad);
  Plane<int16_t> words(width, height, srcPad), shifted(width, height, dstPad);
  samples.fill(rng);
  words.fill(rng);
  if (rng.below(2)) words.fill([&](int, int) { return int16_t(rng.between(-140, 140)); });
  ASSERT_EQ(zelStsNoErr, zel().zeliSub128_JPEG_8u16s_C1R(samples.data(), samples.step(), shifted.data(), shifted.step(),
                                                         samples.size()));
  ASSERT_EQ(zelStsNoErr,
            zel().zeliAdd128_JPEG_16s8u_C1R(words.data(), words.step(), clamped.data(), clamped.step(), words.size()));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      ASSERT_EQ(samples.get(x, y) - 128, shifted.get(x, y)) << width << "x" << height << " at " << x << "," << y;
      ASSERT_EQ(clamp8(words.get(x, y) + 128), clamped.get(x, y)) << width << "x" << height << " at " << x << "," << y;
    }
}

}  // namespace

TEST(LevelShift, EveryWidthAndAlignment) {
  Random rng(1);
  for (int width = 1; width <= 100; ++width)
    for (int pad = 0; pad < 16; ++pad) shiftBothWays(width, 1 + width % 3, pad, (pad * 7) % 16, rng);
}

TEST(LevelShift, ThreadsFromTheFirstElementAbove8192) {
  if (!hooks()) GTEST_SKIP() << "needs the test core";
  Random rng(2);
  for (const int threads : {1, 2, 3, 7})
    for (const auto& [width, height] : {std::pair(128, 64), {8192, 1}, {64, 128}, {8193, 1}, {130, 64}, {3, 5001}}) {
      hooks()->threads = threads;
      hooks()->threadQueries = 0;
      shiftBothWays(width, height, 0, 0, rng);
      EXPECT_EQ(width * height > 8192 ? 2 : 0, hooks()->threadQueries) << width << "x" << height;
    }
  hooks()->reset();
}

// 2^31 elements are negative in 32 bits, hence not above 8192. Rows one byte apart hold them in half a megabyte.
TEST(LevelShift, CountsElementsIn32BitsForThreads) {
  if (!hooks()) GTEST_SKIP() << "needs the test core";
  const ZeliSize size = {4096, 1 << 19};
  const std::vector<uint8_t> src(size_t(size.height + 2 * size.width), 0);
  std::vector<uint8_t> dst(size_t(size.height + size.width), 0);
  hooks()->threadQueries = 0;
  ASSERT_EQ(zelStsNoErr,
            zel().zeliAdd128_JPEG_16s8u_C1R(reinterpret_cast<const int16_t*>(src.data()), 1, dst.data(), 1, size));
  EXPECT_EQ(0, hooks()->threadQueries);
  EXPECT_EQ(128, dst[0]);
  EXPECT_EQ(128, dst[dst.size() - 2]);
  EXPECT_EQ(0, dst.back());
  hooks()->reset();
}

TEST_F(Checks, LevelShift) {
  for (const ZeliSize s : {ZeliSize{0, 1}, ZeliSize{1, 0}, ZeliSize{-1, -1}}) {
    const auto badSize = size<4>(s.width, s.height);
    check(z.zeliSub128_JPEG_8u16s_C1R, null<0>(), step<1>(), null<2>(), step<3>(-4), badSize);
    check(z.zeliAdd128_JPEG_16s8u_C1R, null<0>(), step<1>(-4), null<2>(), step<3>(), badSize);
  }
}
