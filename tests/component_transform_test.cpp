// Component transforms against their formulas (T.800, Annex G), one pixel at a time: to the bit in the arithmetic that
// is fixed for each type, and near the matrix in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "support/api.h"
#include "support/checks.h"
#include "support/picture.h"

namespace {

using namespace zeltest;

template <class T>
using Pixel = std::array<T, 3>;

int32_t low32(int64_t x) { return int32_t(uint32_t(uint64_t(x))); }
int16_t sat16(int64_t x) { return int16_t(std::clamp<int64_t>(x, -32768, 32767)); }
int32_t rounded14(int64_t sum) { return low32(sum + 8192) >> 14; }
int64_t weight14(double x) { return std::lround(x * 16384); }

template <class T>  // integers; sums are formed in 32 bits
Pixel<T> rct(Pixel<T> p, bool inverse) {
  const int64_t a = p[0], b = p[1], c = p[2];
  if (!inverse) return {T(low32(a + 2 * b + c) >> 2), T(c - b), T(a - b)};
  const int64_t g = a - (low32(b + c) >> 2);
  return {T(c + g), T(g), T(b + g)};
}

// G.3: rows Y, Cb, Cr of R, G, B, and back.
constexpr double kMatrix[2][3][3] = {{{0.299, 0.587, 0.114}, {-0.16875, -0.33126, 0.5}, {0.5, -0.41869, -0.08131}},
                                     {{1, 0, 1.402}, {1, -0.34413, -0.71414}, {1, 1.772, 0}}};
template <class Real>
Pixel<Real> ict(Pixel<Real> p, bool inverse) {
  Pixel<Real> result{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t k = 0; k < 3; ++k) result[i] += Real(kMatrix[inverse][i][k]) * p[k];
  return result;
}
Pixel<int32_t> ict(Pixel<int32_t> p, bool inverse) {
  Pixel<int32_t> result{};
  for (size_t i = 0; i < 3; ++i) {
    int64_t sum = 0;
    for (size_t k = inverse; k < 3; ++k) sum += weight14(kMatrix[inverse][i][k]) * p[k];
    result[i] = inverse ? low32(p[0] + int64_t(rounded14(sum))) : rounded14(sum);
  }
  return result;
}
Pixel<int16_t> ict(Pixel<int16_t> p, bool inverse) {
  const auto m = [=](int i, int k) { return weight14(kMatrix[inverse][i][k]) * p[size_t(k)]; };
  if (inverse)
    return {sat16(p[0] + rounded14(m(0, 2))), sat16(p[0] - rounded14(-m(1, 1) - m(1, 2))),
            sat16(p[0] + rounded14(m(2, 1)))};
  const int64_t y = m(0, 0) + m(0, 1) + m(0, 2);
  const int16_t dB = int16_t(rounded14(p[2] * 16384 - y)), dR = int16_t(rounded14(p[0] * 16384 - y));
  return {sat16(rounded14(y)), sat16(rounded14(weight14(0.5 / 0.886) * dB)),
          sat16(rounded14(weight14(0.5 / 0.701) * dR))};
}

// Rows of every width, of any values and of values up to `scale`, for which double precision gives the same within
// `near` (0: no such comparison): planes in place, and interleaved where there is such a function (forward from it,
// inverse to it).
template <class T, class Formula, class InPlace, class From, class To>
void transforms(Formula formula, bool inverse, InPlace inPlace, From fromPixels, To toPixels, int scale, double near) {
  Random rng(1);
  for (int width = 1; width <= 67; ++width) {
    SCOPED_TRACE(testing::Message() << (inverse ? "inverse " : "forward ") << sizeof(T) << " width " << width);
    const int height = 3, pad = width % 4 * int(sizeof(T)), slack = width % 5 * int(sizeof(T));
    Picture<T> in(3, width, height, pad), out(3, width, height, pad, slack);
    Plane<T> pixels(3 * width, height, pad, slack);
    const bool moderate = width % 2;
    in.fill(rng);
    if (moderate)
      for (int c = 0; c < 3; ++c) in[c].fill([&](int, int) { return T(rng.between(-scale, scale)); });
    const auto split = [&] {
      for (int c = 0; c < 3; ++c) out[c].fill([&](int x, int y) { return in[c].get(x, y); });
    };
    const auto check = [&](bool planar) {
      for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        const Pixel<T> p = {in[0].get(x, y), in[1].get(x, y), in[2].get(x, y)}, expected = formula(p, inverse);
        const Pixel<double> ideal = ict<double>({double(p[0]), double(p[1]), double(p[2])}, inverse);
        for (int c = 0; c < 3; ++c) {
          const T actual = planar ? out[c].get(x, y) : pixels.get(3 * x + c, y);
          ASSERT_EQ(expected[size_t(c)], actual) << (planar ? "planar " : "pixels ") << x << ", " << y;
          if (moderate && near > 0) ASSERT_NEAR(ideal[size_t(c)], double(actual), near);
        }
      }
    };
    split();
    ASSERT_EQ(zelStsNoErr, inPlace(out.pointers(), out.step(), out.size()));
    check(true);
    if constexpr (!std::is_null_pointer_v<From>) {
      pixels.fill([&](int x, int y) { return in[x % 3].get(x / 3, y); });
      ASSERT_EQ(zelStsNoErr, fromPixels(pixels.data(), pixels.step(), out.pointers(), out.step(), out.size()));
      check(true);
    }
    if constexpr (!std::is_null_pointer_v<To>) {
      split();
      ASSERT_EQ(zelStsNoErr, toPixels(out.constPointers(), out.step(), pixels.data(), pixels.step(), out.size()));
      check(false);
    }
  }
}

}  // namespace

TEST(ComponentTransform, Reversible) {
  const auto& z = zel();
  transforms<int16_t>(rct<int16_t>, false, z.zeliRCTFwd_JPEG2K_16s_P3IR, z.zeliRCTFwd_JPEG2K_16s_C3P3R, nullptr, 1, 0);
  transforms<int16_t>(rct<int16_t>, true, z.zeliRCTInv_JPEG2K_16s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_16s_P3C3R, 1, 0);
  transforms<int32_t>(rct<int32_t>, false, z.zeliRCTFwd_JPEG2K_32s_P3IR, z.zeliRCTFwd_JPEG2K_32s_C3P3R, nullptr, 1, 0);
  transforms<int32_t>(rct<int32_t>, true, z.zeliRCTInv_JPEG2K_32s_P3IR, nullptr, z.zeliRCTInv_JPEG2K_32s_P3C3R, 1, 0);
}
TEST(ComponentTransform, Irreversible) {
  const auto& z = zel();
  const auto formula = [](auto p, bool inverse) { return ict(p, inverse); };
  transforms<float>(formula, false, z.zeliICTFwd_JPEG2K_32f_P3IR, z.zeliICTFwd_JPEG2K_32f_C3P3R, nullptr, 4096, 0.001);
  transforms<float>(formula, true, z.zeliICTInv_JPEG2K_32f_P3IR, nullptr, z.zeliICTInv_JPEG2K_32f_P3C3R, 4096, 0.001);
  transforms<int16_t>(formula, false, z.zeliICTFwd_JPEG2K_16s_P3IR, nullptr, nullptr, 1024, 1);
  transforms<int16_t>(formula, true, z.zeliICTInv_JPEG2K_16s_P3IR, nullptr, nullptr, 1024, 1);
  transforms<int32_t>(formula, false, z.zeliICTFwd_JPEG2K_32s_P3IR, nullptr, nullptr, 1024, 1);
  transforms<int32_t>(formula, true, z.zeliICTInv_JPEG2K_32s_P3IR, nullptr, nullptr, 1024, 1);
}

TEST_F(Checks, ComponentTransforms) {
  const auto checkAll = [&](auto inPlace, auto fromPixels, auto toPixels) {
    for (int missing = 0; missing < 3; ++missing) {
      check(inPlace, null<0>(), lacks<0>(missing), step<1>(), size<2>(missing % 2, 0));
      check(fromPixels, null<0, 2>(), lacks<2>(missing), step<1>(), step<3>(-4), size<4>(missing % 2, 0));
      check(toPixels, null<0>(), lacks<0>(missing), null<2>(), step<1, 3>(), size<4>(0, missing % 2));
    }
  };
  checkAll(z.zeliRCTFwd_JPEG2K_16s_P3IR, z.zeliRCTFwd_JPEG2K_16s_C3P3R, z.zeliRCTInv_JPEG2K_16s_P3C3R);
  checkAll(z.zeliRCTInv_JPEG2K_32s_P3IR, z.zeliRCTFwd_JPEG2K_32s_C3P3R, z.zeliRCTInv_JPEG2K_32s_P3C3R);
  checkAll(z.zeliICTFwd_JPEG2K_32f_P3IR, z.zeliICTFwd_JPEG2K_32f_C3P3R, z.zeliICTInv_JPEG2K_32f_P3C3R);
}
