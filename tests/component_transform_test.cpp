// Component transforms against their formulas, one pixel at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "support/api.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;

template <class T>
using Pixel = std::array<T, 3>;

int32_t low32(int64_t x) { return int32_t(uint32_t(uint64_t(x))); }
int64_t sat16(int64_t x) { return std::clamp<int64_t>(x, -32768, 32767); }
int32_t q14(int64_t sum) { return low32(sum + 8192) >> 14; }

template <class T>  // integers; sums are formed in 32 bits
Pixel<T> rct(Pixel<T> p, bool inverse) {
  const int64_t a = p[0], b = p[1], c = p[2];
  if (!inverse) return {T(low32(a + 2 * b + c) >> 2), T(c - b), T(a - b)};
  const int64_t g = a - (low32(b + c) >> 2);
  return {T(c + g), T(g), T(b + g)};
}
Pixel<float> ict(Pixel<float> p, bool inverse) {
  const float a = p[0], b = p[1], c = p[2];
  if (inverse) return {a + 1.402f * c, a - 0.34413f * b - 0.71414f * c, a + 1.772f * b};
  return {0.299f * a + 0.587f * b + 0.114f * c, -0.16875f * a + -0.33126f * b + 0.5f * c,
          0.5f * a + -0.41869f * b + -0.08131f * c};
}
Pixel<int32_t> ict(Pixel<int32_t> p, bool inverse) {
  const int64_t a = p[0], b = p[1], c = p[2];
  if (inverse) return {low32(a + q14(22970 * c)), low32(a + q14(-5638 * b - 11700 * c)), low32(a + q14(29032 * b))};
  return {q14(4899 * a + 9617 * b + 1868 * c), q14(-2765 * a - 5427 * b + 8192 * c),
          q14(8192 * a - 6860 * b - 1332 * c)};
}
Pixel<int16_t> ict(Pixel<int16_t> p, bool inverse) {
  const int64_t a = p[0], b = p[1], c = p[2], s = 4899 * a + 9617 * b + 1868 * c;
  if (inverse)
    return {int16_t(sat16(a + q14(22970 * c))), int16_t(sat16(a - q14(5638 * b + 11700 * c))),
            int16_t(sat16(a + q14(29032 * b)))};
  const int16_t dB = int16_t(q14(c * 16384 - s)), dR = int16_t(q14(a * 16384 - s));
  return {int16_t(sat16(q14(s))), int16_t(sat16(q14(9246 * dB))), int16_t(sat16(q14(11686 * dR)))};
}

// Two rows of every width: planes in place, and interleaved where there is such a function (forward from it, inverse to
// it), between unreadable pages.
template <class T, class Formula, class InPlace, class From, class To>
void transforms(Formula formula, bool inverse, InPlace inPlace, From fromPixels, To toPixels) {
  Random rng(1);
  for (int width = 1; width <= 67; ++width) {
    const size_t n = 2 * size_t(width);
    const int step = width * int(sizeof(T)), slack = width % 5 * int(sizeof(T));
    Guarded<T> in(rng.vector<T>(3 * n), size_t(slack)), pixels(3 * n), a(n, size_t(slack)), b(n), c(n);
    T* const planes[] = {a.data(), b.data(), c.data()};
    const auto split = [&] {
      for (size_t i = 0; i < 3 * n; ++i) planes[i % 3][i / 3] = in[i];
    };
    const auto check = [&](bool planar, const char* what) {
      for (size_t i = 0; i < n; ++i) {
        const Pixel<T> expected = formula(Pixel<T>{in[3 * i], in[3 * i + 1], in[3 * i + 2]}, inverse);
        for (size_t k = 0; k < 3; ++k)
          ASSERT_EQ(expected[k], planar ? planes[k][i] : pixels[3 * i + k])
              << what << (inverse ? " inverse " : " forward ") << sizeof(T) << " width " << width << " at " << i;
      }
      ASSERT_TRUE(a.intact() && b.intact() && c.intact() && pixels.intact());
    };
    split();
    ASSERT_EQ(zelStsNoErr, inPlace(planes, step, {width, 2}));
    check(true, "in place");
    if constexpr (!std::is_null_pointer_v<From>) {
      ASSERT_EQ(zelStsNoErr, fromPixels(in.data(), 3 * step, planes, step, {width, 2}));
      check(true, "from pixels");
    }
    if constexpr (!std::is_null_pointer_v<To>) {
      split();
      ASSERT_EQ(zelStsNoErr, toPixels(planes, step, pixels.data(), 3 * step, {width, 2}));
      check(false, "to pixels");
    }
  }
}

template <class T, class InPlace, class From, class To>
void checks(InPlace inPlace, From fromPixels, To toPixels) {
  T x[3] = {1, 1, 1};
  for (int bad = 0; bad < 9; ++bad) {  // pointers, steps, sizes
    T* const planes[3] = {bad == 0 ? nullptr : x, bad == 1 ? nullptr : x, bad == 2 ? nullptr : x};
    T *const *const array = bad == 3 ? nullptr : planes, *const pixels = bad == 4 ? nullptr : x;
    const ZelStatus expected = bad < 5 ? zelStsNullPtrErr : bad < 7 ? zelStsStepErr : zelStsSizeErr;
    const int first = bad > 5 ? 4 : 0, second = bad == 5 || bad > 6 ? 4 : 0;
    const ZeliSize size = {bad == 7, bad == 8};
    if (bad != 4 && bad != 6) EXPECT_EQ(expected, inPlace(array, first, size)) << bad;
    EXPECT_EQ(expected, fromPixels(pixels, first, array, second, size)) << bad;
    EXPECT_EQ(expected, toPixels(array, first, pixels, second, size)) << bad;
  }
  EXPECT_TRUE(x[0] == 1 && x[1] == 1 && x[2] == 1);
}

}  // namespace

TEST(ComponentTransform, FollowsTheFormulas) {
  const auto& z = zel();
  transforms<int16_t>(rct<int16_t>, false, z.zeliRCTFwd_JPEG2K_16s_P3IR, z.zeliRCTFwd_JPEG2K_16s_C3P3R, nullptr);
  transforms<int16_t>(rct<int16_t>, true, z.zeliRCTInv_JPEG2K_16s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_16s_P3C3R);
  transforms<int32_t>(rct<int32_t>, false, z.zeliRCTFwd_JPEG2K_32s_P3IR, z.zeliRCTFwd_JPEG2K_32s_C3P3R, nullptr);
  transforms<int32_t>(rct<int32_t>, true, z.zeliRCTInv_JPEG2K_32s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_32s_P3C3R);
  const auto formula = [](auto p, bool inverse) { return ict(p, inverse); };
  transforms<float>(formula, false, z.zeliICTFwd_JPEG2K_32f_P3IR, z.zeliICTFwd_JPEG2K_32f_C3P3R, nullptr);
  transforms<float>(formula, true, z.zeliICTInv_JPEG2K_32f_P3IR, nullptr, z.zeliICTInv_JPEG2K_32f_P3C3R);
  transforms<int16_t>(formula, false, z.zeliICTFwd_JPEG2K_16s_P3IR, nullptr, nullptr);
  transforms<int16_t>(formula, true, z.zeliICTInv_JPEG2K_16s_P3IR, nullptr, nullptr);
  transforms<int32_t>(formula, false, z.zeliICTFwd_JPEG2K_32s_P3IR, nullptr, nullptr);
  transforms<int32_t>(formula, true, z.zeliICTInv_JPEG2K_32s_P3IR, nullptr, nullptr);
}

TEST(ComponentTransform, ChecksInOrder) {
  const auto& z = zel();
  checks<int16_t>(z.zeliRCTFwd_JPEG2K_16s_P3IR, z.zeliRCTFwd_JPEG2K_16s_C3P3R, z.zeliRCTInv_JPEG2K_16s_P3C3R);
  checks<int32_t>(z.zeliRCTInv_JPEG2K_32s_P3IR, z.zeliRCTFwd_JPEG2K_32s_C3P3R, z.zeliRCTInv_JPEG2K_32s_P3C3R);
  checks<float>(z.zeliICTFwd_JPEG2K_32f_P3IR, z.zeliICTFwd_JPEG2K_32f_C3P3R, z.zeliICTInv_JPEG2K_32f_P3C3R);
}
