// The support routines, which are not exported: compiled with each variant's flags.
#include "frame/support.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/picture.h"
#include "support/zigzag.h"

using namespace ZEL_VARIANT;
using namespace zeltest;

TEST(Support, Allocation) {
  const int before = hooks()->liveAllocations;
  uint8_t* p = zelsMalloc_8u(1000);
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0u, uintptr_t(p) % 64);
  zelsFree(p);
  EXPECT_EQ(before, hooks()->liveAllocations);
  hooks()->allocationsUntilFailure = 0;
  EXPECT_EQ(nullptr, zelsMalloc_8u(0));
  EXPECT_EQ(nullptr, zelsMalloc_8u(-5));
  EXPECT_EQ(0, hooks()->allocationsUntilFailure);  // the allocator was not asked
  EXPECT_EQ(nullptr, zelsMalloc_8u(16));
  hooks()->reset();
}

TEST(Support, CopyAndFill) {
  Random rng(1);
  const std::vector<uint8_t> src = rng.vector<uint8_t>(100);
  Guarded<uint8_t> dst(100, 3);
  EXPECT_EQ(zelStsNoErr, zelsCopy_8u(src.data(), dst.data(), 99));
  EXPECT_EQ(zelStsNoErr, zelsSet_8u(0x5C, dst.data(), 50));
  EXPECT_EQ(zelStsNoErr, zelsZero_8u(dst.data(), 2));
  for (size_t i = 0; i < 100; ++i) EXPECT_EQ(i < 2 ? 0 : i < 50 ? 0x5C : i < 99 ? src[i] : dst.kPattern, dst[i]) << i;
  int16_t words[3] = {1, 1, 1};
  EXPECT_EQ(zelStsNoErr, zelsZero_16s(words, 2));
  EXPECT_TRUE(words[0] == 0 && words[1] == 0 && words[2] == 1);
}

TEST(Support, ReverseDivision) {
  Random rng(2);
  for (const int len : {1, 7, 8, 9, 64, 2047, 2048, 2049, 5001})
    for (const int threads : {1, 2, 5})
      for (const int val : {0, 1, 32768, 65535}) {
        std::vector<uint16_t> divisors = rng.vector<uint16_t>(size_t(len)), expected;
        const int odd = rng.below(2);  // and none of them 0
        ZelStatus status = zelStsNoErr;
        for (uint16_t& d : divisors) {
          d = uint16_t(d | odd);
          if (d == 0) status = zelStsDivByZeroWrn;
          const float quotient = val == 0 ? 0 : d == 0 ? 65535 : std::nearbyintf(float(val) / float(d));
          expected.push_back(uint16_t(quotient));
        }
        hooks()->threads = threads;
        Guarded<uint16_t> src(divisors), dst(size_t(len), 2);
        ASSERT_EQ(status, zelsDivCRev_16u(src.data(), uint16_t(val), dst.data(), len));
        ASSERT_EQ(expected, dst.copy()) << val << " over " << len;
        ASSERT_EQ(status, zelsDivCRev_16u_I(uint16_t(val), src.data(), len));
        ASSERT_EQ(expected, src.copy());
      }
  hooks()->reset();
}

// f(source, destination) over regions of every small width gives value(x) for each sample x.
template <class T, class F, class Value>
void expectRegions(F f, Value value) {
  Random rng(3);
  for (int width = 1; width <= 40; ++width) {
    Plane<T> src(width, 1 + width % 4, 12, width % 4), dst(width, 1 + width % 4, 8, width % 5);
    src.fill(rng);
    ASSERT_EQ(zelStsNoErr, f(src, dst));
    for (int y = 0; y < dst.height(); ++y)
      for (int x = 0; x < width; ++x) ASSERT_EQ(value(src.get(x, y)), dst.get(x, y)) << x << " of " << width;
  }
}

TEST(Support, RegionsCopyAndMask) {
  const auto same = [](auto x) { return x; };
  expectRegions<int16_t>(
      [](auto& s, auto& d) { return zeliCopy_16s_C1R(s.data(), s.step(), d.data(), d.step(), d.size()); }, same);
  expectRegions<float>(
      [](auto& s, auto& d) { return zeliCopy_32f_C1R(s.data(), s.step(), d.data(), d.step(), d.size()); }, same);
  const auto and32 = [](auto& s, auto& d) {
    return zeliAndC_32s_C1R(s.data(), s.step(), -(1 << 5), d.data(), d.step(), d.size());
  };
  const auto andInPlace = [](auto& s, auto& d) {
    d.fill([&](int x, int y) { return s.get(x, y); });
    return zeliAndC_32s_C1IR(0x0F0F0F0F, d.data(), d.step(), d.size());
  };
  expectRegions<int32_t>(and32, [](int32_t x) { return x & ~31; });
  expectRegions<int32_t>(andInPlace, [](int32_t x) { return x & 0x0F0F0F0F; });
}

TEST(Support, WideningUnderEveryCacheSize) {
  Random rng(4);
  const int shapes[][4] = {{1, 1, 0, 0}, {31, 5, 3, 2}, {600, 300, 0, 0}, {601, 301, 1, 4}, {700, 260, 0, 6}};
  for (const int cacheBytes : {-1, 0, 1000, 1 << 30})
    for (const auto& [width, height, srcPad, dstPad] : shapes)
      for (const int slack : {0, 2, 5}) {
        hooks()->cacheBytes = cacheBytes;
        Plane<uint8_t> src(width, height, srcPad);
        Plane<uint16_t> dst(width, height, dstPad, slack);
        src.fill(rng);
        ASSERT_EQ(zelStsNoErr, zeliConvert_8u16u_C1R(src.data(), src.step(), dst.data(), dst.step(), dst.size()));
        for (int y = 0; y < height; ++y)
          for (int x = 0; x < width; ++x) ASSERT_EQ(src.get(x, y), dst.get(x, y)) << x << "," << y;
      }
  hooks()->reset();
}

TEST_F(ArgumentChecks, Support) {
  check(zelsCopy_8u, null<0, 1>(), length<2>());
  check(zelsSet_8u, null<1>(), length<2>(-1));
  check(zelsZero_8u, null<0>(), length<1>());
  check(zelsZero_16s, null<0>(), length<1>());
  check(zelsDivCRev_16u, null<0, 2>(), length<3>());
  check(zelsDivCRev_16u_I, null<1>(), length<2>());
  const auto noSize = size<4>(0, 1);
  check(zeliCopy_16s_C1R, null<0, 2>(), noSize);
  check(zeliCopy_32f_C1R, null<0, 2>(), noSize);
  check(zeliAndC_32s_C1R, null<0, 3>(), step<1, 4>(), size<5>(1, 0));
  check(zeliAndC_32s_C1IR, null<1>(), step<2>(), size<3>(1, 0));
  check(zeliConvert_8u16u_C1R, null<0, 2>(), noSize, step<1, 3>());
  check(zeliZigzagInv8x8_16s_C1, null<0, 1>());
  int16_t sample = 1;  // steps of copies are not checked
  EXPECT_EQ(zelStsNoErr, zeliCopy_16s_C1R(&sample, 0, &sample, 0, {1, 1}));
}

TEST(Support, ZigzagAndCategoryTables) {
  int16_t zigzag[64], natural[64];
  for (int i = 0; i < 64; ++i) zigzag[i] = int16_t(i);
  EXPECT_EQ(zelStsNoErr, zeliZigzagInv8x8_16s_C1(zigzag, natural));
  for (int k = 0; k < 72; ++k) {
    EXPECT_EQ(naturalPosition(k), own_pj_izigzag_index.at[k]);
    EXPECT_EQ(std::min(k, 63), natural[naturalPosition(k)]);
  }
  for (int m = 0; m < 512; ++m) {
    if (m < 256) EXPECT_EQ(m ? int(std::log2(m)) + 1 : 0, own_pj_csize.at[m]);
    EXPECT_EQ(m ? int(std::log2(m)) : 0, own_pj_eobsize.at[m]);
  }
  for (int s = 0; s < 16; ++s) {
    EXPECT_EQ(own_pj_lowest_coef.at[s], 1 - (1 << s));
    EXPECT_EQ(own_pj_extend_offset.at[s], 1 - (1 << s));
    const int half = s ? 1 << (s - 1) : 0;
    EXPECT_EQ(own_pj_extend_test.at[s], half);
    EXPECT_EQ(own_pj_twoexpnminusone.at[s], half);
  }
}
