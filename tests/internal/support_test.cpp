// The support routines, which are not exported: compiled with each variant's flags.
#include "frame/support.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/core_hooks.h"
#include "support/data.h"
#include "zelcore.h"

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
  EXPECT_TRUE(std::equal(src.begin(), src.begin() + 99, dst.data()));
  EXPECT_EQ(dst[99], dst.kPattern);
  EXPECT_TRUE(dst.intact());
  EXPECT_EQ(zelStsNoErr, zelsSet_8u(0x5C, dst.data(), 50));
  EXPECT_EQ(dst[49], 0x5C);
  EXPECT_EQ(dst[50], src[50]);
  EXPECT_EQ(zelStsNoErr, zelsZero_8u(dst.data(), 2));
  EXPECT_EQ(dst[0], 0);
  EXPECT_EQ(dst[1], 0);
  EXPECT_EQ(dst[2], 0x5C);
  int16_t words[3] = {1, 1, 1};
  EXPECT_EQ(zelStsNoErr, zelsZero_16s(words, 2));
  EXPECT_EQ(words[0], 0);
  EXPECT_EQ(words[1], 0);
  EXPECT_EQ(words[2], 1);
  const ZelStatus null = zelStsNullPtrErr, size = zelStsSizeErr;
  EXPECT_EQ(zelsCopy_8u(nullptr, dst.data(), 0), null);
  EXPECT_EQ(zelsCopy_8u(src.data(), nullptr, 0), null);
  EXPECT_EQ(zelsSet_8u(0, nullptr, 0), null);
  EXPECT_EQ(zelsZero_8u(nullptr, 0), null);
  EXPECT_EQ(zelsZero_16s(nullptr, 0), null);
  EXPECT_EQ(zelsCopy_8u(src.data(), dst.data(), 0), size);
  EXPECT_EQ(zelsSet_8u(0, dst.data(), -1), size);
  EXPECT_EQ(zelsZero_8u(dst.data(), 0), size);
  EXPECT_EQ(zelsZero_16s(words, 0), size);
}

TEST(Support, ReverseDivision) {
  Random rng(2);
  for (const int len : {1, 7, 8, 9, 64, 2047, 2048, 2049, 5001}) {
    for (const int threads : {1, 2, 5}) {
      for (const int val : {0, 1, 32768, 65535}) {
        std::vector<uint16_t> divisors = rng.vector<uint16_t>(size_t(len));
        if (rng.below(2))
          for (uint16_t& d : divisors) d = uint16_t(d | 1);
        bool anyZero = false;
        std::vector<uint16_t> expected;
        for (const uint16_t d : divisors) {
          anyZero = anyZero || d == 0;
          expected.push_back(val == 0 ? uint16_t(0)
                             : d == 0 ? uint16_t(65535)
                                      : uint16_t(std::nearbyintf(float(val) / float(d))));
        }
        const ZelStatus status = anyZero ? zelStsDivByZeroWrn : zelStsNoErr;
        hooks()->threads = threads;
        Guarded<uint16_t> src(divisors), dst(size_t(len), 2);
        ASSERT_EQ(status, zelsDivCRev_16u(src.data(), uint16_t(val), dst.data(), len));
        ASSERT_EQ(expected, dst.copy()) << val << " over " << len;
        ASSERT_EQ(status, zelsDivCRev_16u_I(uint16_t(val), src.data(), len));
        ASSERT_EQ(expected, src.copy());
      }
    }
  }
  hooks()->reset();
  uint16_t x = 1;
  EXPECT_EQ(zelStsNullPtrErr, zelsDivCRev_16u(nullptr, 1, &x, 0));
  EXPECT_EQ(zelStsNullPtrErr, zelsDivCRev_16u(&x, 1, nullptr, 0));
  EXPECT_EQ(zelStsSizeErr, zelsDivCRev_16u(&x, 1, &x, 0));
  EXPECT_EQ(zelStsNullPtrErr, zelsDivCRev_16u_I(1, nullptr, 0));
  EXPECT_EQ(zelStsSizeErr, zelsDivCRev_16u_I(1, &x, 0));
}

TEST(Support, RegionsCopyMaskAndWiden) {
  Random rng(3);
  for (int width = 1; width <= 40; ++width) {
    const int height = 1 + width % 4, step = 4 * width + 12;
    const size_t bytes = size_t(step * (height - 1) + 4 * width);
    Guarded<uint8_t> src(rng.vector<uint8_t>(bytes), size_t(width % 4)), dst(bytes, size_t(width % 5));
    const auto at = [&](Guarded<uint8_t>& g, int x, int y) {
      uint32_t v;
      std::memcpy(&v, g.data() + y * step + 4 * x, 4);
      return v;
    };
    const auto expectRegion = [&](uint32_t mask, int elementBytes) {
      for (int y = 0; y < height; ++y)
        for (int i = 0; i < step && y * step + i < int(bytes); ++i) {
          const uint8_t want = i < elementBytes * width
                                   ? uint8_t(src[size_t(y * step + i)] & uint8_t(mask >> (8 * (i % 4))))
                                   : dst.kPattern;
          ASSERT_EQ(want, dst[size_t(y * step + i)]) << width << " " << i;
        }
      std::memset(dst.data(), dst.kPattern, bytes);
    };
    const ZeliSize size = {width, height};
    const auto words = reinterpret_cast<int32_t*>(src.data());
    ASSERT_EQ(zelStsNoErr, zeliCopy_16s_C1R(reinterpret_cast<int16_t*>(src.data()), step,
                                            reinterpret_cast<int16_t*>(dst.data()), step, size));
    expectRegion(~0u, 2);
    ASSERT_EQ(zelStsNoErr, zeliCopy_32f_C1R(reinterpret_cast<float*>(src.data()), step,
                                            reinterpret_cast<float*>(dst.data()), step, size));
    expectRegion(~0u, 4);
    ASSERT_EQ(zelStsNoErr,
              zeliAndC_32s_C1R(words, step, -(1 << 5), reinterpret_cast<int32_t*>(dst.data()), step, size));
    expectRegion(~31u, 4);
    const uint32_t last = at(src, width - 1, height - 1);
    ASSERT_EQ(zelStsNoErr, zeliAndC_32s_C1IR(0x0F0F0F0F, words, step, size));
    ASSERT_EQ(last & 0x0F0F0F0F, at(src, width - 1, height - 1));
    ASSERT_TRUE(src.intact());
    ASSERT_TRUE(dst.intact());
  }
  int32_t a = 1;
  float f = 1;
  int16_t h = 1;
  EXPECT_EQ(zelStsNullPtrErr, zeliCopy_16s_C1R(nullptr, 2, &h, 2, {0, 0}));
  EXPECT_EQ(zelStsNullPtrErr, zeliCopy_32f_C1R(&f, 4, nullptr, 4, {0, 0}));
  EXPECT_EQ(zelStsSizeErr, zeliCopy_32f_C1R(&f, 0, &f, 0, {0, 1}));
  EXPECT_EQ(zelStsNoErr, zeliCopy_16s_C1R(&h, 0, &h, 0, {1, 1}));  // steps are not checked
  EXPECT_EQ(zelStsNullPtrErr, zeliAndC_32s_C1R(&a, 0, 1, nullptr, 0, {0, 0}));
  EXPECT_EQ(zelStsStepErr, zeliAndC_32s_C1R(&a, 4, 1, &a, 0, {0, 0}));
  EXPECT_EQ(zelStsSizeErr, zeliAndC_32s_C1R(&a, 4, 1, &a, 4, {1, 0}));
  EXPECT_EQ(zelStsNullPtrErr, zeliAndC_32s_C1IR(1, nullptr, 0, {0, 0}));
}

TEST(Support, WideningUnderEveryCacheSize) {
  Random rng(4);
  const struct {
    int width, height, srcPad, dstPad;
  } shapes[] = {{1, 1, 0, 0}, {31, 5, 3, 2}, {600, 300, 0, 0}, {601, 301, 1, 4}, {700, 260, 0, 6}};
  for (const int cacheBytes : {-1, 0, 1000, 1 << 30})
    for (const auto& s : shapes)
      for (const size_t slack : {size_t(0), size_t(2), size_t(5)}) {
        hooks()->cacheBytes = cacheBytes;
        const int srcStep = s.width + s.srcPad, dstStep = 2 * s.width + s.dstPad;
        Guarded<uint8_t> src(rng.vector<uint8_t>(size_t(srcStep * (s.height - 1) + s.width)));
        Guarded<uint8_t> dst(size_t(dstStep * (s.height - 1) + 2 * s.width), slack);
        ASSERT_EQ(zelStsNoErr, zeliConvert_8u16u_C1R(src.data(), srcStep, reinterpret_cast<uint16_t*>(dst.data()),
                                                     dstStep, {s.width, s.height}));
        for (int y = 0; y < s.height; ++y)
          for (int x = 0; x < s.width; ++x) {
            const size_t at = size_t(y * dstStep + 2 * x);
            ASSERT_EQ(dst[at], src[size_t(y * srcStep + x)]) << x << "," << y;
            ASSERT_EQ(dst[at + 1], 0) << x << "," << y;
          }
        ASSERT_TRUE(dst.intact());
      }
  hooks()->reset();
  uint8_t b = 0;
  uint16_t w = 0;
  EXPECT_EQ(zelStsNullPtrErr, zeliConvert_8u16u_C1R(nullptr, 0, &w, 0, {0, 0}));
  EXPECT_EQ(zelStsSizeErr, zeliConvert_8u16u_C1R(&b, 0, &w, 0, {0, 1}));
  EXPECT_EQ(zelStsStepErr, zeliConvert_8u16u_C1R(&b, 1, &w, 0, {1, 1}));
}

TEST(Support, ZigzagAndCategoryTables) {
  int16_t zigzag[64], natural[64];
  for (int i = 0; i < 64; ++i) zigzag[i] = int16_t(i);
  EXPECT_EQ(zelStsNoErr, zeliZigzagInv8x8_16s_C1(zigzag, natural));
  const int16_t firstRows[] = {0, 1, 5, 6, 14, 15, 27, 28, 2, 4, 7, 13, 16, 26, 29, 42};
  EXPECT_TRUE(std::equal(firstRows, firstRows + 16, natural));
  for (int i = 0; i < 72; ++i) EXPECT_EQ(i < 64 ? i : 63, natural[own_pj_izigzag_index.at[i]]);
  EXPECT_EQ(zelStsNullPtrErr, zeliZigzagInv8x8_16s_C1(nullptr, natural));
  EXPECT_EQ(zelStsNullPtrErr, zeliZigzagInv8x8_16s_C1(zigzag, nullptr));
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

TEST(Core, ThreadsFeaturesCache) {
  EXPECT_GE(ownGetNumThreads(), 1);
  EXPECT_EQ(0u, ownGetFeature(0));
  EXPECT_EQ(__builtin_cpu_supports("sse4.1") ? 0x40u : 0u, ownGetFeature(0x40));
  int size = 0;
  if (zelGetMaxCacheSizeB(&size) == 0) EXPECT_GE(size, 16 * 1024);
}
