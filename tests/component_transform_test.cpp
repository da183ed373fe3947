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

template <class T>
using C3P3 = ZelStatus (*)(const T*, int, T* const*, int, ZeliSize);
template <class T>
using P3C3 = ZelStatus (*)(const T* const*, int, T*, int, ZeliSize);
template <class T>
using P3I = ZelStatus (*)(T* const*, int, ZeliSize);

// Two rows of every width: planes in place, and interleaved where there is such a function (forward from it, inverse to
// it). Rows lie an odd number of bytes apart; the buffers end at unreadable pages.
template <class T, class Formula>
void transforms(Formula formula, bool inverse, P3I<T> inPlace, C3P3<T> fromPixels, P3C3<T> toPixels) {
  Random rng(1);
  for (int width = 1; width <= 67; ++width) {
    const size_t w = size_t(width), samples = 2 * w;
    const int gap = width % 3, step = int(w * sizeof(T)) + gap, pixelStep = int(3 * w * sizeof(T)) + gap;
    const auto in = rng.vector<T>(3 * samples);
    std::vector<T> expected(3 * samples);
    for (size_t i = 0; i < samples; ++i) {
      const Pixel<T> x = formula(Pixel<T>{in[3 * i], in[3 * i + 1], in[3 * i + 2]}, inverse);
      std::copy(x.begin(), x.end(), &expected[3 * i]);
    }
    Guarded<uint8_t> pixels(size_t(2 * pixelStep)), a(size_t(2 * step)), b(size_t(2 * step)), c(size_t(2 * step));
    uint8_t* const plane[] = {a.data(), b.data(), c.data()};
    T* const planes[] = {reinterpret_cast<T*>(a.data()), reinterpret_cast<T*>(b.data()),
                         reinterpret_cast<T*>(c.data())};
    // Moves all samples between a vector and the buffers.
    const auto each = [&](bool planar, auto move) {
      for (size_t i = 0; i < 3 * samples; ++i) {
        const size_t pixel = i / 3, y = pixel / w, x = pixel % w;
        move(i, planar ? plane[i % 3] + y * size_t(step) + x * sizeof(T)
                       : pixels.data() + y * size_t(pixelStep) + (3 * x + i % 3) * sizeof(T));
      }
    };
    const auto put = [&](bool planar) {
      each(planar, [&](size_t i, uint8_t* p) { std::memcpy(p, &in[i], sizeof(T)); });
    };
    const auto check = [&](bool planar, const char* what) {
      std::vector<T> got(3 * samples);
      each(planar, [&](size_t i, uint8_t* p) { std::memcpy(&got[i], p, sizeof(T)); });
      ASSERT_EQ(expected, got) << what << (inverse ? " inverse " : " forward ") << sizeof(T) << " width " << width;
    };
    put(true);
    ASSERT_EQ(zelStsNoErr, inPlace(planes, step, {width, 2}));
    check(true, "in place");
    if (fromPixels) {
      put(false);
      ASSERT_EQ(zelStsNoErr, fromPixels(reinterpret_cast<T*>(pixels.data()), pixelStep, planes, step, {width, 2}));
      check(true, "from pixels");
    }
    if (toPixels) {
      put(true);
      ASSERT_EQ(zelStsNoErr, toPixels(planes, step, reinterpret_cast<T*>(pixels.data()), pixelStep, {width, 2}));
      check(false, "to pixels");
    }
  }
}

template <class T>
void checks(P3I<T> inPlace, C3P3<T> fromPixels, P3C3<T> toPixels) {
  T x[3] = {1, 1, 1};
  T* const planes[3] = {x, x + 1, x + 2};
  if (inPlace) {
    EXPECT_EQ(zelStsNullPtrErr, inPlace(nullptr, 0, {0, 0}));
    EXPECT_EQ(zelStsStepErr, inPlace(planes, 0, {0, 1}));
    EXPECT_EQ(zelStsSizeErr, inPlace(planes, 4, {0, 1}));
    EXPECT_EQ(zelStsSizeErr, inPlace(planes, 4, {1, 0}));
  }
  for (int missing = 0; missing < 3; ++missing) {
    T* some[3] = {x, x, x};
    some[missing] = nullptr;
    if (inPlace) EXPECT_EQ(zelStsNullPtrErr, inPlace(some, 0, {0, 0}));
    if (fromPixels) EXPECT_EQ(zelStsNullPtrErr, fromPixels(x, 0, some, 0, {0, 0}));
    if (toPixels) EXPECT_EQ(zelStsNullPtrErr, toPixels(some, 0, x, 0, {0, 0}));
  }
  if (!fromPixels) return;
  EXPECT_EQ(zelStsNullPtrErr, fromPixels(nullptr, 0, planes, 0, {0, 0}));
  EXPECT_EQ(zelStsNullPtrErr, fromPixels(x, 0, nullptr, 0, {0, 0}));
  EXPECT_EQ(zelStsNullPtrErr, toPixels(nullptr, 0, x, 0, {0, 0}));
  EXPECT_EQ(zelStsNullPtrErr, toPixels(planes, 0, nullptr, 0, {0, 0}));
  for (const ZelStatus s : {fromPixels(x, 0, planes, 4, {0, 0}), fromPixels(x, 4, planes, 0, {0, 0}),
                            toPixels(planes, 0, x, 4, {0, 0}), toPixels(planes, 4, x, 0, {0, 0})})
    EXPECT_EQ(zelStsStepErr, s);
  EXPECT_EQ(zelStsSizeErr, fromPixels(x, 4, planes, 4, {1, 0}));
  EXPECT_EQ(zelStsSizeErr, toPixels(planes, 4, x, 4, {0, 1}));
  EXPECT_TRUE(x[0] == 1 && x[1] == 1 && x[2] == 1);
}

}  // namespace

TEST(ComponentTransform, FollowsTheFormulas) {
  const auto& z = zel();
  const auto rct16 = rct<int16_t>;
  const auto rct32 = rct<int32_t>;
  transforms<int16_t>(rct16, false, z.zeliRCTFwd_JPEG2K_16s_P3IR, z.zeliRCTFwd_JPEG2K_16s_C3P3R, nullptr);
  transforms<int16_t>(rct16, true, z.zeliRCTInv_JPEG2K_16s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_16s_P3C3R);
  transforms<int32_t>(rct32, false, z.zeliRCTFwd_JPEG2K_32s_P3IR, z.zeliRCTFwd_JPEG2K_32s_C3P3R, nullptr);
  transforms<int32_t>(rct32, true, z.zeliRCTInv_JPEG2K_32s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_32s_P3C3R);
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
  checks<int16_t>(z.zeliICTInv_JPEG2K_16s_P3IR, nullptr, nullptr);
}
