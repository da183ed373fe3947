// The fixed-point DCT functions against their definition, step by step in scalar arithmetic.
#include <gtest/gtest.h>

#include <cmath>

#include "support/api.h"
#include "support/data.h"

namespace {

using namespace zeltest;

constexpr int kTg1 = 13036, kTg2 = 27146, kTg3 = -21746, kOcos4 = 23170, kCos4 = -19195;

int sat(int64_t x) { return int(x < -32768 ? -32768 : x > 32767 ? 32767 : x); }
int add(int a, int b) { return sat(a + b); }
int sub(int a, int b) { return sat(a - b); }
int shl(int a, int n) { return int16_t(uint32_t(a) << n); }
int mulhi(int a, int c) { return (a * c) >> 16; }
int wrap32(int64_t x) { return int32_t(uint32_t(uint64_t(x))); }
uint8_t clamp8(int x) { return uint8_t(x < 0 ? 0 : x > 255 ? 255 : x); }

double rowScale(int row) {
  const int angle[8] = {0, 1, 2, 3, 0, 3, 2, 1};
  return angle[row] ? std::sqrt(2.0) * std::cos(angle[row] * M_PI / 16) : 1.0;
}
double scaleOf(int row, int k) { return 16384 * rowScale(row) * std::sqrt(2.0) * (k ? 1 : std::sqrt(0.5)); }
int W(int row, int k, int j) { return int(std::lround(scaleOf(row, k) * std::cos((2 * j + 1) * k * M_PI / 16))); }

struct Block {
  int at[64];
};

Block forward(const Block& in) {
  Block mid, out;
  for (int c = 0; c < 8; ++c) {
    const int* x = in.at + c;
    const int t0 = add(x[0], x[56]), t7 = sub(x[0], x[56]), t1 = add(x[8], x[48]), t6 = sub(x[8], x[48]);
    const int t2 = add(x[16], x[40]), t5 = sub(x[16], x[40]), t3 = add(x[24], x[32]), t4 = sub(x[24], x[32]);
    const int tp03 = shl(add(t0, t3), 3), tm03 = shl(sub(t0, t3), 3);
    const int tp12 = add(shl(t1, 3), shl(t2, 3)), tm12 = sub(shl(t1, 3), shl(t2, 3));
    const int tp65 = mulhi(add(shl(t6, 4), shl(t5, 4)), kOcos4) | 1, tm65 = mulhi(sub(shl(t6, 4), shl(t5, 4)), kOcos4);
    const int tp465 = add(shl(t4, 3), tm65), tm465 = sub(shl(t4, 3), tm65);
    const int tp765 = add(shl(t7, 3), tp65), tm765 = sub(shl(t7, 3), tp65);
    const int u = add(mulhi(tm465, kTg3), tm465), w = add(mulhi(tm765, kTg3), tm765);
    const int y[8] = {add(tp03, tp12),
                      add(mulhi(tp465, kTg1), tp765) | 1,
                      add(mulhi(tm12, kTg2), tm03) | 1,
                      sub(tm765, u),
                      sub(tp03, tp12),
                      add(w, tm465),
                      sub(mulhi(tm03, kTg2), tm12) | 1,
                      sub(mulhi(tp765, kTg1), tp465)};
    for (int r = 0; r < 8; ++r) mid.at[8 * r + c] = y[r];
  }
  for (int r = 0; r < 8; ++r)
    for (int k = 0; k < 8; ++k) {
      const int* x = mid.at + 8 * r;
      int64_t sum = 1 << 19;
      for (int j = 0; j < 4; ++j) sum += int64_t(W(r, k, j)) * (k % 2 ? sub(x[j], x[7 - j]) : add(x[j], x[7 - j]));
      out.at[8 * r + k] = sat(wrap32(sum) >> 20);
    }
  return out;
}

int quantise15(int y, int R) {  // ties to even
  const int64_t p = int64_t(R) * y;
  return sat((p + 16383 + ((p >> 15) & 1)) >> 15);
}

struct Odd {
  int e, f, b, c;
};
Odd oddPart(int R1, int R3, int R5, int R7) {
  const int a = add(add(mulhi(R5, kTg3), R5), R3), b = sub(R5, add(mulhi(R3, kTg3), R3));
  const int c = sub(mulhi(R1, kTg1), R7), d = add(mulhi(R7, kTg1), R1);
  return {add(a, d), sub(d, a), b, c};
}
int cos4(int x) { return add(x, mulhi(x, kCos4)); }

Block inverse(const Block& in) {
  const int rounders[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};
  Block mid, out;
  for (int r = 0; r < 8; ++r)
    for (int n = 0; n < 4; ++n) {
      int64_t a = rounders[r], b = 0;
      for (int k = 0; k < 8; ++k) (k % 2 ? b : a) += int64_t(W(r, k, n)) * in.at[8 * r + k];
      mid.at[8 * r + n] = sat(wrap32(a + b) >> 11);
      mid.at[8 * r + 7 - n] = sat(wrap32(a - b) >> 11);
    }
  for (int c = 0; c < 8; ++c) {
    const int* R = mid.at + c;
    const Odd o = oddPart(R[8], R[24], R[40], R[56]);
    const int i = sub(o.c, o.b), j = add(o.c, o.b), m = cos4(add(o.f, i)), p = cos4(sub(o.f, i));
    const int g = add(mulhi(R[48], kTg2), R[16]), h = sub(mulhi(R[16], kTg2), R[48]);
    const int n = add(R[32], R[0]), z = sub(R[0], R[32]);
    const int q = add(n, g), r = sub(n, g), s = add(z, h), t = sub(z, h);
    const int y[8] = {add(q, o.e), add(s, m), add(t, p), add(r, j), sub(r, j), sub(t, p), sub(s, m), sub(q, o.e)};
    for (int v = 0; v < 8; ++v) out.at[8 * v + c] = y[v] >> 6;
  }
  return out;
}

// Means over groups of 2 (size 4) or 4 (size 2) samples, clamped with 128 added.
std::vector<uint8_t> reduced(const Block& in, int size) {
  const int rounders4[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};
  const int rounders2[8] = {67072, 5802, 0, 3408, 0, 910, 0, 746};
  int mid[8][4] = {};
  for (int r = 0; r < 8; ++r)
    for (int n = 0; n < size; ++n) {
      int64_t sum = size == 4 ? rounders4[r] : rounders2[r];
      for (int k = 0; k < 8; ++k) {
        double mean = 0;
        const int group = 8 / size;
        for (int j = 0; j < group; ++j) mean += std::cos((2 * (n * group + j) + 1) * k * M_PI / 16) / group;
        sum += int64_t(std::lround(scaleOf(r, k) * mean)) * in.at[8 * r + k];
      }
      mid[r][n] = sat(wrap32(sum) >> 12);
    }
  std::vector<uint8_t> out(size_t(size * size));
  for (int c = 0; c < size; ++c) {
    const auto R = [&](int r) { return mid[r][c]; };
    const Odd o = oddPart(R(1), R(3), R(5), R(7));
    const int i = sub(o.c, o.b), j = add(o.c, o.b), z = add(R(0), R(0));
    std::vector<int> y;
    if (size == 4) {
      const int hg = add(sub(mulhi(R(2), kTg2), R(6)), add(mulhi(R(6), kTg2), R(2)));
      const int M = add(cos4(add(o.f, i)), o.e), P = add(cos4(sub(o.f, i)), j), q = add(hg, z), r = sub(z, hg);
      y = {add(M, q) >> 6, add(P, r) >> 6, sub(r, P) >> 6, sub(q, M) >> 6};
    } else {
      const int m = cos4(o.f), sum = add(add(o.e, j), add(m, m));
      y = {add(add(z, z), sum) >> 7, sub(add(z, z), sum) >> 7};
    }
    for (int r = 0; r < size; ++r) out[size_t(r * size + c)] = clamp8(add(y[size_t(r)], 128));
  }
  return out;
}

// Samples and coefficients of every magnitude, sparse blocks, extremes.
Block randomBlock(Random& rng, int corner = 8) {
  Block b{};
  const int kind = rng.below(5);
  const int rows = rng.below(3) ? corner : 4;  // the transforms pass over a lower half of zeros
  for (int v = 0; v < rows && v < corner; ++v)
    for (int u = 0; u < corner; ++u) {
      if (kind == 4 && rng.below(6) != 0) continue;
      const int limit = kind == 0 ? 128 : kind == 1 ? 1024 : 32768;
      b.at[8 * v + u] = kind == 3 ? (rng.below(2) ? 32767 : -32768) : rng.between(-limit, limit - 1);
    }
  return b;
}
std::vector<int16_t> narrow(const Block& b) { return std::vector<int16_t>(b.at, b.at + 64); }
std::vector<uint16_t> randomTable(Random& rng, int low, int high) {
  std::vector<uint16_t> t(64);
  const bool any = rng.below(4) == 0;
  for (uint16_t& q : t) q = uint16_t(any ? rng.below(65536) : rng.between(low, high));
  return t;
}
Block dequantised(const Block& b, const std::vector<uint16_t>& q) {
  Block d;
  for (int i = 0; i < 64; ++i) d.at[i] = int16_t(uint32_t(b.at[i]) * q[size_t(i)]);
  return d;
}

}  // namespace

TEST(Dct, Forward) {
  Random rng(1);
  for (int round = 0; round < zeltest::rounds(20000); ++round) {
    const Block in = randomBlock(rng);
    const std::vector<uint16_t> table = randomTable(rng, 128, 32768);
    Block expected = forward(in);
    for (int i = 0; i < 64; ++i) expected.at[i] = quantise15(expected.at[i], table[size_t(i)]);
    Guarded<int16_t> src(narrow(in), size_t(2 * (round % 5))), dst(64, size_t(round % 9));
    Guarded<uint16_t> q(table);
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8_JPEG_16s_C1(src.data(), dst.data(), q.data()));
    ASSERT_EQ(narrow(expected), dst.copy()) << "round " << round;
    ASSERT_TRUE(dst.intact());
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8_JPEG_16s_C1I(src.data(), q.data()));
    ASSERT_EQ(narrow(expected), src.copy());
  }
}

TEST(Dct, ForwardFromSamplesAndFlatBlocks) {
  Random rng(2);
  for (int round = 0; round < zeltest::rounds(4000); ++round) {
    const int step = 8 + round % 7;
    Guarded<uint8_t> src(size_t(7 * step + 8));
    if (round < 256)
      std::memset(src.data(), round, src.size());
    else
      rng.fill(src.data(), src.size());
    const std::vector<uint16_t> table = round < 256 ? std::vector<uint16_t>(64, 32768) : randomTable(rng, 128, 32768);
    Block in;
    for (int i = 0; i < 64; ++i) in.at[i] = src[size_t(i / 8 * step + i % 8)] - 128;
    Block expected = forward(in);
    for (int i = 0; i < 64; ++i) expected.at[i] = quantise15(expected.at[i], table[size_t(i)]);
    if (round < 256) {  // a flat block is 8 times its distance from 128, and comes back exactly
      Block flat{};
      flat.at[0] = 8 * (round - 128);
      ASSERT_EQ(narrow(flat), narrow(expected));
    }
    Guarded<int16_t> dst(64);
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), step, dst.data(), table.data()));
    ASSERT_EQ(narrow(expected), dst.copy()) << "round " << round;
    if (round < 256) {
      const std::vector<uint16_t> ones(64, 1);
      std::vector<uint8_t> back(64);
      zel().zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(dst.data(), back.data(), 8, ones.data());
      ASSERT_EQ(std::vector<uint8_t>(64, uint8_t(round)), back);
    }
  }
}

TEST(Dct, Inverse) {
  Random rng(3);
  for (int round = 0; round < zeltest::rounds(20000); ++round) {
    const Block in = randomBlock(rng);
    const std::vector<uint16_t> table = randomTable(rng, 1, 64);
    const Block expected = inverse(dequantised(in, table));
    Guarded<int16_t> src(narrow(in), size_t(2 * (round % 5))), dst(64, size_t(round % 9));
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8_JPEG_16s_C1(src.data(), dst.data(), table.data()));
    ASSERT_EQ(narrow(expected), dst.copy()) << "round " << round;
    ASSERT_TRUE(dst.intact());

    const int step = 8 + round % 7;
    Guarded<uint8_t> pixels(size_t(7 * step + 8));
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(src.data(), pixels.data(), step, table.data()));
    for (int i = 0; i < int(pixels.size()); ++i)
      ASSERT_EQ(i % step < 8 ? clamp8(int16_t(expected.at[i / step * 8 + i % step] + 128)) : pixels.kPattern,
                pixels[size_t(i)]);

    const int16_t level = int16_t(round % 3 ? 128 : rng.between(-32768, 32767));
    const uint8_t lower = uint8_t(rng.below(256)), upper = uint8_t(rng.below(256));  // crossed bounds too
    const Block plain = dequantised(in, table);
    ASSERT_EQ(zelStsNoErr,
              zel().zeliDCT8x8InvLSClip_16s8u_C1R(narrow(plain).data(), pixels.data(), step, level, lower, upper));
    for (int i = 0; i < 64; ++i) {
      const uint8_t v = clamp8(int16_t(expected.at[i] + level)), raised = v < lower ? lower : v;
      ASSERT_EQ(raised > upper ? upper : raised, pixels[size_t(i / 8 * step + i % 8)]);
    }
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8_JPEG_16s_C1I(src.data(), table.data()));
    ASSERT_EQ(narrow(expected), src.copy());
  }
}

TEST(Dct, InverseOfCorners) {
  Random rng(4);
  for (int round = 0; round < zeltest::rounds(20000); ++round) {
    const int corner = round % 2 ? 4 : 2;
    Block in = randomBlock(rng, corner);
    const std::vector<uint16_t> table = randomTable(rng, 1, 64);
    const Block expected = inverse(dequantised(in, table));
    for (int i = 0; i < 64; ++i)  // what lies outside the corner has no effect
      if (i / 8 >= corner || i % 8 >= corner) in.at[i] = rng.between(-32768, 32767);
    Guarded<int16_t> src(narrow(in));
    Guarded<uint8_t> dst(64, size_t(round % 9));
    const auto function =
        corner == 4 ? zel().zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R : zel().zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R;
    ASSERT_EQ(zelStsNoErr, function(src.data(), dst.data(), 8, table.data()));
    for (int i = 0; i < 64; ++i) ASSERT_EQ(clamp8(expected.at[i] + 128), dst[size_t(i)]) << round << " at " << i;
    ASSERT_TRUE(dst.intact());

    const int16_t value = int16_t(int16_t((in.at[0] * table[0]) >> 3) + 128);  // 1x1: 16 signed bits, then the clamp
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(src.data(), dst.data(), 8, table.data()));
    ASSERT_EQ(std::vector<uint8_t>(64, clamp8(value)), dst.copy());
  }
}

TEST(Dct, ReducedSizes) {
  Random rng(5);
  for (int round = 0; round < zeltest::rounds(20000); ++round) {
    const Block in = randomBlock(rng);
    const std::vector<uint16_t> table = randomTable(rng, 1, 64);
    const int size = round % 2 ? 4 : 2, step = size + round % 5;
    Guarded<int16_t> src(narrow(in));
    Guarded<uint8_t> dst(size_t((size - 1) * step + size));
    const auto function =
        size == 4 ? zel().zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R : zel().zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R;
    ASSERT_EQ(zelStsNoErr, function(src.data(), dst.data(), step, table.data()));
    const std::vector<uint8_t> expected = reduced(dequantised(in, table), size);
    for (int i = 0; i < int(dst.size()); ++i)
      ASSERT_EQ(i % step < size ? expected[size_t(i / step * size + i % step)] : dst.kPattern, dst[size_t(i)])
          << "round " << round << " at " << i;
  }
}

// The definition above could share a misreading with the code: both stay within 1 of the exact transforms.
TEST(Dct, WithinOneOfTheExactTransform) {
  Random rng(6);
  const std::vector<uint16_t> unitForward(64, 32768), unitInverse(64, 1);
  const auto basis = [](int x, int u) { return std::cos((2 * x + 1) * u * M_PI / 16) * (u ? 1 : std::sqrt(0.5)) / 2; };
  for (int round = 0; round < zeltest::rounds(300); ++round) {
    int16_t samples[64], coefficients[64], back[64];
    for (int16_t& s : samples) s = int16_t(rng.between(-128, 127));
    zel().zeliDCTQuantFwd8x8_JPEG_16s_C1(samples, coefficients, unitForward.data());
    zel().zeliDCTQuantInv8x8_JPEG_16s_C1(coefficients, back, unitInverse.data());
    for (int i = 0; i < 64; ++i) {
      double F = 0, f = 0;
      for (int j = 0; j < 64; ++j) {
        F += samples[j] * basis(j % 8, i % 8) * basis(j / 8, i / 8);
        f += coefficients[j] * basis(i % 8, j % 8) * basis(i / 8, j / 8);
      }
      ASSERT_NEAR(F, coefficients[i], 1.0);
      ASSERT_NEAR(f, back[i], 1.0);
    }
  }
}

namespace {

// The exact 12-bit transforms in double precision.
double exact(const std::vector<double>& in, int i, bool isForward) {
  double sum = 0;
  for (int j = 0; j < 64; ++j) {
    const int x = isForward ? j % 8 : i % 8, u = isForward ? i % 8 : j % 8;
    const int y = isForward ? j / 8 : i / 8, v = isForward ? i / 8 : j / 8;
    sum += in[size_t(j)] * std::cos((2 * x + 1) * u * M_PI / 16) * std::cos((2 * y + 1) * v * M_PI / 16) *
           (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) / 4;
  }
  return sum;
}

}  // namespace

TEST(Dct, TwelveBitForward) {
  Random rng(7);
  for (int round = 0; round < zeltest::rounds(2000); ++round) {
    const int step = 16 + round % 9;
    std::vector<uint16_t> samples(64);
    for (uint16_t& s : samples) s = uint16_t(round < 20 ? round * 215 : rng.below(round % 3 ? 4096 : 65536));
    std::vector<float> table(64, 1.0f);
    if (round >= 40)
      for (float& f : table) f = 1.0f / float(rng.between(1, 255));
    Guarded<uint8_t> src(size_t(7 * step + 16));
    for (int r = 0; r < 8; ++r) std::memcpy(src.data() + r * step, &samples[size_t(8 * r)], 16);
    Guarded<int16_t> dst(64, size_t(round % 7));
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(reinterpret_cast<uint16_t*>(src.data()), step,
                                                                      dst.data(), table.data()));
    std::vector<double> shifted(64);
    for (size_t i = 0; i < 64; ++i) shifted[i] = int16_t(samples[i]) - 2048.0;
    for (int i = 0; i < 64; ++i) {
      const double value = exact(shifted, i, true) * double(table[size_t(i)]);
      const double limited = std::min(32767.0, std::max(-32768.0, value));
      ASSERT_NEAR(limited, dst.copy()[size_t(i)], round < 20 ? 1e-9 : 0.5 + 0.02) << i;  // flat blocks are exact
    }
  }
}

TEST(Dct, TwelveBitInverse) {
  Random rng(8);
  for (int round = 0; round < zeltest::rounds(2000); ++round) {
    const int step = 16 + round % 9;
    const int limit = round % 3 ? 300 : 32768;
    std::vector<int16_t> coefficients(64);
    std::vector<float> table(64);
    std::vector<double> dequantised(64);
    for (size_t i = 0; i < 64; ++i) {
      coefficients[i] = int16_t(round < 40 ? (i ? 0 : round * 400 - 8000) : rng.between(-limit, limit - 1));
      table[i] = float(round < 40 ? 1 : rng.between(1, 16));
      dequantised[i] = coefficients[i] * double(table[i]);
    }
    Guarded<int16_t> src(coefficients, size_t(round % 7));
    Guarded<uint8_t> dst(size_t(7 * step + 16));
    ASSERT_EQ(zelStsNoErr, zel().zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(
                               src.data(), reinterpret_cast<uint16_t*>(dst.data()), step, table.data()));
    for (int i = 0; i < 64; ++i) {
      uint16_t got;
      std::memcpy(&got, dst.data() + i / 8 * step + i % 8 * 2, 2);
      const bool flat = round < 40;  // the DC path is exact
      const double value = (flat ? coefficients[0] * 0.125 : exact(dequantised, i, false)) + 2048;
      const double limited = std::min(4095.0, std::max(0.0, value));
      if (flat)
        ASSERT_EQ(std::trunc(limited), got);
      else
        ASSERT_TRUE(got >= std::trunc(limited - 0.1) && got <= std::trunc(limited + 0.1)) << limited << " " << got;
    }
  }
}
