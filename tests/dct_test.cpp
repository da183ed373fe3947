// The DCT functions: in fixed point step by step in scalar arithmetic, and all of them beside the exact transform.
#include <algorithm>
#include <array>
#include <cmath>

#include "support/checks.h"
#include "support/picture.h"

namespace {

using namespace zeltest;

constexpr int kAlignments = 7;

int saturated(int64_t x) { return int(x < -32768 ? -32768 : x > 32767 ? 32767 : x); }
int32_t wrapped(int64_t x) { return int32_t(uint32_t(uint64_t(x))); }

// A 16-bit number: sums saturate, shifts to the left wrap, and c * x is the high half of the product.
struct Word {
  int v;
  friend Word operator+(Word a, Word b) { return {saturated(a.v + b.v)}; }
  friend Word operator-(Word a, Word b) { return {saturated(a.v - b.v)}; }
  friend Word operator*(int c, Word x) { return {(c * x.v) >> 16}; }
  friend Word operator<<(Word x, int n) { return {int16_t(uint32_t(x.v) << n)}; }
  friend Word operator|(Word x, int bit) { return {x.v | bit}; }
};
using Words = std::array<Word, 8>;
using Block = std::vector<int16_t>;
using Table = std::vector<uint16_t>;

constexpr int kTan1 = 13036, kTan2 = 27146;
Word tan3(Word x) { return -21746 * x + x; }
Word cos4(Word x) { return -19195 * x + x; }
Word halfCos4(Word x) { return 23170 * x; }

// Weight of frequency k in a row, for the n-th mean over group samples.
struct Weights {
  explicit Weights(int group) {
    for (int row = 0; row < 8; ++row)
      for (int k = 0; k < 8; ++k)
        for (int n = 0; n < 8 / group; ++n) {
          double mean = 0;
          for (int x = n * group; x < (n + 1) * group; ++x) mean += std::cos((2 * x + 1) * k * M_PI / 16) / group;
          const int angle = std::array<int, 8>{0, 1, 2, 3, 0, 3, 2, 1}[size_t(row)];
          const double scale = angle == 0 ? 1 : std::sqrt(2.0) * std::cos(angle * M_PI / 16);
          at[row][k][n] = int(std::lround(16384 * scale * (k == 0 ? 1 : std::sqrt(2.0)) * mean));
        }
  }
  int at[8][8][8];
};

Words forwardColumn(const Words& x) {
  const Word t0 = x[0] + x[7], t1 = x[1] + x[6], t2 = x[2] + x[5], t3 = x[3] + x[4];
  const Word t7 = x[0] - x[7], t6 = x[1] - x[6], t5 = x[2] - x[5], t4 = x[3] - x[4];
  const Word tp03 = (t0 + t3) << 3, tm03 = (t0 - t3) << 3;
  const Word tp12 = (t1 << 3) + (t2 << 3), tm12 = (t1 << 3) - (t2 << 3);
  const Word tp65 = halfCos4((t6 << 4) + (t5 << 4)) | 1, tm65 = halfCos4((t6 << 4) - (t5 << 4));
  const Word tp465 = (t4 << 3) + tm65, tm465 = (t4 << 3) - tm65;
  const Word tp765 = (t7 << 3) + tp65, tm765 = (t7 << 3) - tp65;
  return {tp03 + tp12, (kTan1 * tp465 + tp765) | 1, (kTan2 * tm12 + tm03) | 1, tm765 - tan3(tm465),
          tp03 - tp12, tan3(tm765) + tm465,         (kTan2 * tm03 - tm12) | 1, kTan1 * tp765 - tp465};
}

// Transformed and quantised, ties to even.
Block forward(const Block& in, const Table& reciprocals) {
  static const Weights weights(1);
  Words columns[8];
  for (size_t c = 0; c < 8; ++c) {
    Words x;
    for (size_t r = 0; r < 8; ++r) x[r] = {in[8 * r + c]};
    columns[c] = forwardColumn(x);
  }
  Block out(64);
  for (size_t r = 0; r < 8; ++r)
    for (size_t k = 0; k < 8; ++k) {
      int64_t sum = 1 << 19;
      for (size_t j = 0; j < 4; ++j) {
        const Word a = columns[j][r], b = columns[7 - j][r];
        sum += int64_t(weights.at[r][k][j]) * (k % 2 == 0 ? a + b : a - b).v;
      }
      const int64_t product = int64_t(saturated(wrapped(sum) >> 20)) * reciprocals[8 * r + k];
      out[8 * r + k] = int16_t(saturated((product + 16383 + ((product >> 15) & 1)) >> 15));
    }
  return out;
}

std::vector<Word> inverseColumn(const Words& R, int group) {
  const Word a = tan3(R[5]) + R[3], b = R[5] - tan3(R[3]), c = kTan1 * R[1] - R[7], d = kTan1 * R[7] + R[1];
  const Word e = a + d, f = d - a, i = c - b, j = c + b, m = cos4(f + i), p = cos4(f - i);
  const Word g = kTan2 * R[6] + R[2], h = kTan2 * R[2] - R[6], twice = R[0] + R[0];
  if (group == 4) {
    const Word even = twice + twice, odd = (e + j) + (cos4(f) + cos4(f));
    return {even + odd, even - odd};
  }
  if (group == 2) {
    const Word M = m + e, P = p + j, q = h + g + twice, r = twice - (h + g);
    return {M + q, P + r, r - P, q - M};
  }
  const Word n = R[4] + R[0], o = R[0] - R[4], q = n + g, r = n - g, s = o + h, t = o - h;
  return {q + e, s + m, t + p, r + j, r - j, t - p, s - m, q - e};
}

// Dequantised and transformed, to means over groups of 1 (full size), 2 or 4 samples.
Block inverse(const Block& in, const Table& steps, int group) {
  static const Weights kWeights[] = {Weights(1), Weights(2), Weights(4)};
  const int kRounders[][8] = {{65536, 2901, 2260, 1704, 1024, 455, 512, 373},
                              {66560, 5802, 4520, 3408, 0, 910, 1024, 746},
                              {67072, 5802, 0, 3408, 0, 910, 0, 746}};
  const int kind = group / 2;
  const size_t size = size_t(8 / group);
  Block out(size * size);
  for (size_t c = 0; c < size; ++c) {
    Words R;
    for (size_t r = 0; r < 8; ++r) {
      int64_t sum = kRounders[kind][r];
      for (size_t k = 0; k < 8; ++k)
        sum += int64_t(kWeights[kind].at[r][k][c]) * int16_t(uint32_t(in[8 * r + k]) * steps[8 * r + k]);
      R[r] = {saturated(wrapped(sum) >> (group == 1 ? 11 : 12))};
    }
    const std::vector<Word> column = inverseColumn(R, group);
    for (size_t r = 0; r < size; ++r) out[r * size + c] = int16_t(column[r].v >> (group == 4 ? 7 : 6));
  }
  return out;
}

// The exact transform of 64 values.
std::vector<double> exact(const std::vector<double>& in, bool isForward) {
  static const auto basis = [] {
    std::array<double, 64> all;
    for (int i = 0; i < 64; ++i)
      all[size_t(i)] = std::cos((2 * (i / 8) + 1) * (i % 8) * M_PI / 16) * (i % 8 ? 0.5 : std::sqrt(0.125));
    return all;
  }();
  std::vector<double> out(64);
  for (size_t i = 0; i < 64; ++i)
    for (size_t j = 0; j < 64; ++j) {
      const size_t x = isForward ? j : i, u = isForward ? i : j;  // the sample, and the frequency
      out[i] += in[j] * basis[x % 8 * 8 + u % 8] * basis[x / 8 * 8 + u / 8];
    }
  return out;
}

// Samples and coefficients of every magnitude, sparse blocks, extremes; zero outside the corner.
Block randomBlock(Random& rng, int corner = 8) {
  Block b(64);
  const int kind = rng.below(5), limit = kind == 0 ? 32768 : kind == 1 ? 256 : 64;
  const int rows = rng.below(3) ? corner : std::min(corner, 4);  // the transforms pass over a lower half of zeros
  for (int v = 0; v < rows; ++v)
    for (int u = 0; u < corner; ++u)
      if (kind != 4 || rng.below(6) == 0)
        b[size_t(8 * v + u)] = int16_t(kind == 3 ? (rng.below(2) ? 32767 : -32768) : rng.between(-limit, limit - 1));
  return b;
}
Table randomTable(Random& rng, int low, int high) {
  Table t(64);
  const bool any = rng.below(4) == 0;
  if (rng.below(2)) high = low + (high - low) / 16;  // leaves blocks of real pictures, without saturation
  for (uint16_t& q : t) q = uint16_t(any ? rng.below(65536) : rng.between(low, high));
  return t;
}

template <class Sample>
std::vector<uint8_t> bytesOf(const Block& b, Sample sample) {
  std::vector<uint8_t> bytes;
  for (const int16_t x : b) bytes.push_back(uint8_t(sample(x)));
  return bytes;
}

}  // namespace

TEST(Dct, Forward) {
  Random rng(1);
  for (int slack = 0; slack < kAlignments; ++slack) {
    Guarded<int16_t> src(64, size_t(2 * slack)), dst(64, size_t(6 * slack));
    Plane<uint8_t> samples(8, 8, slack);
    for (int round = 0; round < zeltest::rounds(2000); ++round) {
      const Table table = randomTable(rng, 128, 32768);
      const Block in = randomBlock(rng), expected = forward(in, table);
      std::memcpy(src.data(), in.data(), 128);
      ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8_JPEG_16s_C1(src.data(), dst.data(), table.data()));
      ASSERT_EQ(expected, dst.copy());
      ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8_JPEG_16s_C1I(src.data(), table.data()));
      ASSERT_EQ(expected, src.copy());

      samples.fill(rng);
      Block shifted;
      for (const uint8_t sample : samples.samples()) shifted.push_back(int16_t(sample - 128));
      ASSERT_EQ(zelStsNoErr,
                zel().zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), samples.step(), dst.data(), table.data()));
      ASSERT_EQ(forward(shifted, table), dst.copy());
    }
  }
}

TEST(Dct, InverseAndClipping) {
  Random rng(3);
  for (int slack = 0; slack < kAlignments; ++slack) {
    Guarded<int16_t> src(64, size_t(2 * slack)), dst(64, size_t(6 * slack));
    Plane<uint8_t> samples(8, 8, slack);
    for (int round = 0; round < zeltest::rounds(2500); ++round) {
      const Table steps = randomTable(rng, 1, 64);
      const Block in = randomBlock(rng), expected = inverse(in, steps, 1);
      std::memcpy(src.data(), in.data(), 128);
      ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8_JPEG_16s_C1(src.data(), dst.data(), steps.data()));
      ASSERT_EQ(expected, dst.copy());
      ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8_JPEG_16s_C1I(src.data(), steps.data()));
      ASSERT_EQ(expected, src.copy());

      // Every combination of bounds, crossed ones too, under levels that the sums wrap with.
      const int lower[] = {0, 16, rng.below(256)}, upper[] = {255, 235, rng.below(256)};
      const int level[] = {128, 0, 32767, -32768, rng.between(-32768, 32767)};
      const int l = lower[round % 3], u = upper[round / 3 % 3], add = level[round / 9 % 5];
      ASSERT_EQ(zelStsNoErr, zel().zeliDCT8x8InvLSClip_16s8u_C1R(in.data(), samples.data(), samples.step(),
                                                                 int16_t(add), uint8_t(l), uint8_t(u)));
      const auto clipped = [&](int x) { return std::min(std::max(int(clamp8(int16_t(x + add))), l), u); };
      ASSERT_EQ(bytesOf(inverse(in, Table(64, 1), 1), clipped), samples.samples()) << l << " " << u << " " << add;
    }
  }
}

// Corner forms give what the full inverse gives, whatever stands outside the corner; 1x1 truncates.
TEST(Dct, CornersAndReducedSizes) {
  Random rng(4);
  const struct {
    decltype(zel().zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R) function;
    int corner, size;
  } cases[] = {
      {zel().zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, 1, 8},  {zel().zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, 2, 8},
      {zel().zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, 4, 8},  {zel().zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, 8, 8},
      {zel().zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R, 8, 4}, {zel().zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, 8, 2}};
  for (const auto& c : cases)
    for (int slack = 0; slack < kAlignments; ++slack) {
      Guarded<int16_t> src(64, size_t(2 * slack));
      Plane<uint8_t> samples(c.size, c.size, slack);
      for (int round = 0; round < zeltest::rounds(1500); ++round) {
        Block in = randomBlock(rng, c.corner);
        const Table steps = randomTable(rng, 1, 64);
        const int dc = (in[0] * steps[0]) >> 3;
        Block expected = c.corner == 1 ? Block(64, int16_t(dc + 128)) : inverse(in, steps, 8 / c.size);
        if (c.corner > 1)
          for (int16_t& x : expected) x = int16_t(x + 128);
        for (int i = 0; i < 64; ++i)
          if (i / 8 >= c.corner || i % 8 >= c.corner) in[size_t(i)] = int16_t(rng.between(-32768, 32767));
        std::memcpy(src.data(), in.data(), 128);
        ASSERT_EQ(zelStsNoErr, c.function(src.data(), samples.data(), samples.step(), steps.data()));
        ASSERT_EQ(bytesOf(expected, clamp8), samples.samples()) << "corner " << c.corner << " size " << c.size;
      }
    }
}

// The definitions above could share a misreading with the code. Signs of a basis function give the largest results.
TEST(Dct, WithinOneOfTheExactTransform) {
  Random rng(6);
  const Table unitForward(64, 32768), unitInverse(64, 1);
  for (int round = 0; round < zeltest::rounds(300); ++round) {
    std::vector<double> samples(64), unit(64);
    unit[size_t(round % 64)] = round % 2 ? 1 : -1;
    const std::vector<double> signs = exact(unit, false);
    for (size_t i = 0; i < 64; ++i)
      samples[i] = round < 128 ? (signs[i] < 0 ? -256 : 255) : rng.between(round < 200 ? -256 : -128, 127);
    Block coefficients(64), back(64);
    zel().zeliDCTQuantFwd8x8_JPEG_16s_C1(Block(samples.begin(), samples.end()).data(), coefficients.data(),
                                         unitForward.data());
    zel().zeliDCTQuantInv8x8_JPEG_16s_C1(coefficients.data(), back.data(), unitInverse.data());
    const std::vector<double> F = exact(samples, true), f = exact({coefficients.begin(), coefficients.end()}, false);
    for (size_t i = 0; i < 64; ++i) {
      ASSERT_NEAR(F[i], coefficients[i], 1.0) << round;
      ASSERT_NEAR(f[i], back[i], 1.0) << round;
    }
  }
}

// 12 bits: the exact transform but for the rounding of single precision; and the same in every variant, to the bit.
TEST(Dct, TwelveBits) {
  Random rng(7);
  for (int round = 0; round < zeltest::rounds(2000); ++round) {
    const bool isFlat = round < 40;
    const int limit = round % 3 ? 300 : 32768;
    Plane<uint16_t> samples(8, 8, round % 9), back(8, 8, round % 7);
    samples.fill([&](int, int) { return uint16_t(isFlat ? round * 105 : rng.below(round % 3 ? 4096 : 65536)); });
    Block in(64);
    std::vector<float> factors(64, 1.0f), steps(64, 1.0f);
    std::vector<double> centred, dequantised;
    for (size_t i = 0; i < 64; ++i) {
      in[i] = int16_t(isFlat ? (i == 0 ? round * 400 - 8000 : 0) : rng.between(-limit, limit - 1));
      if (!isFlat) steps[i] = float(rng.between(1, 16));
      if (!isFlat) factors[i] = 1.0f / float(rng.between(1, 255));
      centred.push_back(int16_t(samples.get(int(i % 8), int(i / 8))) - 2048.0);
      dequantised.push_back(in[i] * double(steps[i]));
    }
    Guarded<int16_t> src(in, size_t(round % 7 * 2)), dst(64, size_t(round % 5 * 2));
    const auto run = [&](const zeltest::Api& api) {
      EXPECT_EQ(zelStsNoErr,
                api.zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(samples.data(), samples.step(), dst.data(), factors.data()));
      EXPECT_EQ(zelStsNoErr,
                api.zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(src.data(), back.data(), back.step(), steps.data()));
      return std::pair(dst.copy(), back.samples());
    };
    const auto reference = run(zeltest::variants()[0].api);
    ASSERT_EQ(reference, run(zel()));

    const std::vector<double> F = exact(centred, true), f = exact(dequantised, false);
    for (size_t i = 0; i < 64; ++i) {
      const double coefficient = std::clamp(F[i] * double(factors[i]), -32768.0, 32767.0);
      ASSERT_NEAR(coefficient, reference.first[i], isFlat ? 1e-9 : 0.52);
      const double sample = isFlat ? in[0] / 8.0 : f[i], tolerance = isFlat ? 0 : 0.1;
      ASSERT_LE(std::trunc(std::clamp(sample + 2048 - tolerance, 0.0, 4095.0)), reference.second[i]);
      ASSERT_GE(std::trunc(std::clamp(sample + 2048 + tolerance, 0.0, 4095.0)), reference.second[i]);
    }
  }
}

TEST_F(Checks, Dct) {
  for (const auto f : {z.zeliDCTQuantFwd8x8_JPEG_16s_C1I, z.zeliDCTQuantInv8x8_JPEG_16s_C1I}) check(f, null<0, 1>());
  for (const auto f : {z.zeliDCTQuantFwd8x8_JPEG_16s_C1, z.zeliDCTQuantInv8x8_JPEG_16s_C1}) check(f, null<0, 1, 2>());
  check(z.zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R, null<0, 2>(), step<1>(-1), null<3>());
  check(z.zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R, null<0, 2>(), step<1>(), null<3>());
  check(z.zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R, null<0, 1>(), step<2>(-8), null<3>());
  for (const auto f : {z.zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R,
                       z.zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R,
                       z.zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, z.zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R})
    check(f, null<0, 1>(), step<2>(), null<3>());
  check(z.zeliDCT8x8InvLSClip_16s8u_C1R, null<0, 1>(), step<2>());
}
