// Quantisation tables, and quantisation and dequantisation of blocks.
#include <climits>
#include <cmath>
#include <numeric>

#include "support/checks.h"
#include "support/data.h"
#include "support/zigzag.h"

using namespace zeltest;

TEST(Quant, QualityScalesEveryStep) {
  for (const int quality : {1, 2, 10, 49, 50, 51, 75, 99, 100, 101, 1000, INT_MAX}) {
    for (int first = 0; first < 256; first += 64) {
      uint8_t table[64];
      std::iota(table, table + 64, uint8_t(first));
      ASSERT_EQ(zelStsNoErr, zel().zeliQuantFwdRawTableInit_JPEG_8u(table, quality));
      for (int i = 0; i < 64; ++i) {
        const int64_t scale = quality < 50 ? 5000 / quality : 200 - 2 * int64_t(quality);
        const int64_t step = ((first + i) * scale + 50) / 100;
        ASSERT_EQ(step < 1 ? 1 : step > 255 ? 255 : step, table[i]) << quality;
      }
    }
  }
}

TEST(Quant, TablesInNaturalOrder) {
  for (int first = 1; first < 256; first += 63) {
    uint8_t raw[64];  // in zigzag order
    for (int i = 0; i < 64; ++i) raw[i] = uint8_t(std::min(255, first + i));
    Guarded<uint16_t> forward(64, size_t(first % 5 * 2)), inverse(64, size_t(first % 3 * 2));
    ASSERT_EQ(zelStsNoErr, zel().zeliQuantFwdTableInit_JPEG_8u16u(raw, forward.data()));
    ASSERT_EQ(zelStsNoErr, zel().zeliQuantInvTableInit_JPEG_8u16u(raw, inverse.data()));
    for (int k = 0; k < 64; ++k) {
      const int q = raw[k];
      ASSERT_EQ(q, inverse[size_t(naturalPosition(k))]);
      ASSERT_EQ(std::lround(32768.0 / q), forward[size_t(naturalPosition(k))]);  // no quotient is a half
    }
  }
  uint8_t raw[64];
  std::fill(raw, raw + 64, uint8_t(1));
  raw[63] = 0;
  uint16_t forward[64];
  EXPECT_EQ(zelStsDivByZeroWrn, zel().zeliQuantFwdTableInit_JPEG_8u16u(raw, forward));
  EXPECT_EQ(65535, forward[63]);
  EXPECT_EQ(32768, forward[62]);
}

TEST(Quant, EveryCoefficientUnderManySteps) {
  const std::vector<uint16_t> entries = {32768, 16384, 10923, 2048, 819, 129, 128, 1, 0, 65535, 40000};
  Guarded<uint16_t> table(64, 6);
  for (size_t i = 0; i < 64; ++i) table[i] = entries[i % entries.size()];
  for (int base = -32768; base < 32768; base += 29) {
    std::vector<int16_t> block(64);
    for (int i = 0; i < 64; ++i) block[size_t(i)] = int16_t(base + i * (i % 2 ? 1 : 577));
    std::vector<int16_t> quantised = block, dequantised = block;
    ASSERT_EQ(zelStsNoErr, zel().zeliQuantFwd8x8_JPEG_16s_C1I(quantised.data(), table.data()));
    ASSERT_EQ(zelStsNoErr, zel().zeliQuantInv8x8_JPEG_16s_C1I(dequantised.data(), table.data()));
    for (size_t i = 0; i < 64; ++i) {
      const int x = block[i], twice = (int16_t(x * 8) * (table[i] >> 1)) >> 16;
      ASSERT_EQ(int16_t((twice + 1) >> 1), quantised[i]) << x << " by " << table[i];
      if (table[i] == 2048 && std::abs(x) < 4096) ASSERT_EQ(std::floor(x / 16.0 + 0.5), quantised[i]);
      ASSERT_EQ(int16_t(uint32_t(x) * table[i]), dequantised[i]) << x << " by " << table[i];
    }
  }
}

TEST_F(Checks, Quantisation) {
  for (const int quality : {0, INT_MIN}) check(z.zeliQuantFwdRawTableInit_JPEG_8u, null<0>(), bad<1>(quality));
  for (const auto f : {z.zeliQuantFwdTableInit_JPEG_8u16u, z.zeliQuantInvTableInit_JPEG_8u16u}) check(f, null<0, 1>());
  for (const auto f : {z.zeliQuantFwd8x8_JPEG_16s_C1I, z.zeliQuantInv8x8_JPEG_16s_C1I}) check(f, null<0, 1>());
}
