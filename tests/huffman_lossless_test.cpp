// Lossless Huffman coding of differences, singly and by rows, and the statistics of baseline blocks and differences.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/data.h"
#include "support/huffman_table.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;
using Table = zeltest::FittedTable;

int category(int d) {
  int size = 0;
  for (int m = d < 0 ? -d : d; m; m >>= 1) ++size;
  return size;
}

// Codes and extra bits one after the other, then ones to the end of the byte and stuffing: the definition.
std::vector<uint8_t> coded(const std::vector<std::vector<int16_t>>& rows, const std::vector<Table>& tables) {
  std::vector<bool> bits;
  const auto put = [&](uint32_t value, int n) {
    while (n--) bits.push_back(value >> n & 1);
  };
  for (size_t i = 0; i < rows[0].size(); ++i)
    for (size_t c = 0; c < rows.size(); ++c) {
      const int d = rows[c][i], s = category(d);
      put(tables[c].enc.codes[s] & 0xFFFF, int(tables[c].enc.codes[s] >> 16));
      if (s < 16) put(uint32_t(d < 0 ? d - 1 : d), s);
    }
  while (bits.size() % 8) bits.push_back(true);
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < bits.size(); i += 8) {
    int byte = 0;
    for (size_t j = 0; j < 8; ++j) byte = byte << 1 | bits[i + j];
    bytes.push_back(uint8_t(byte));
    if (byte == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

}  // namespace

TEST(HuffmanLossless, RowsAtEveryLengthOfDestinationAndSource) {
  const zeltest::Api& z = zel();
  Random rng(1);
  for (int trial = 0; trial < zeltest::rounds(60); ++trial) {
    const int components = 1 + trial % 4, n = 1 + rng.below(60), scale = rng.below(16);
    std::vector<std::vector<int16_t>> rows, back;
    std::vector<Table> tables(4);
    const int16_t* src[5] = {};  // a fifth row is not looked at
    int16_t* dst[5] = {};
    const ZeliEncodeHuffmanSpec* enc[5] = {};
    const ZeliDecodeHuffmanSpec* dec[5] = {};
    for (int c = 0; c < components; ++c) {
      rows.push_back(rng.vector<int16_t>(size_t(n)));
      for (int16_t& d : rows.back()) {
        if (rng.below(9)) d = int16_t(d >> scale);
        ASSERT_EQ(zelStsNoErr, z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1(&d, tables[size_t(c)].counts));
        --tables[size_t(c)].counts[category(d)], tables[size_t(c)].counts[category(d)] += 3;
      }
      tables[size_t(c)].fit();
      back.emplace_back(size_t(n));
    }
    for (int c = 0; c < components; ++c) {
      src[c] = rows[size_t(c)].data(), dst[c] = back[size_t(c)].data();
      enc[c] = &tables[size_t(c)].enc, dec[c] = &tables[size_t(c)].dec;
    }
    const std::vector<uint8_t> want = coded(rows, tables);
    const int total = int(want.size()), given = components == 4 ? 5 : components;
    for (int length = total + 100; length >= 1; length -= length > total ? 25 : 1) {
      ZeliEncodeHuffmanState state = {};
      Guarded<uint8_t> bytes{size_t(length)};
      int pos = 0;
      ZelStatus s = z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(src, n, given, bytes.data(), length, &pos, enc, &state, 0);
      if (s == zelStsNoErr)
        s = z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, bytes.data(), length, &pos, nullptr, &state, 1);
      ASSERT_EQ(length < total ? zelStsJPEGOutOfBufErr : zelStsNoErr, s) << length << " of " << total;
      ASSERT_EQ(std::min(length, total), pos);
      ASSERT_TRUE(std::equal(want.begin(), want.begin() + pos, bytes.data()));
    }
    for (int length = total; length >= 1; --length) {
      ZeliDecodeHuffmanState state = {};
      Guarded<uint8_t> bytes(std::vector<uint8_t>(want.begin(), want.begin() + length));
      int pos = 0, marker = 0;
      const ZelStatus s =
          z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(bytes.data(), length, &pos, dst, n, given, &marker, dec, &state);
      if (length == total) {
        ASSERT_EQ(zelStsNoErr, s);
        ASSERT_EQ(rows, back);
        ZeliDecodeHuffmanState single = {};
        int at = 0;
        for (int i = 0; i < n * components; ++i) {  // one at a time reads the same
          int16_t d;
          ASSERT_EQ(zelStsNoErr, z.zeliDecodeHuffmanOne_JPEG_1u16s_C1(bytes.data(), length, &at, &d, &marker,
                                                                      dec[i % components], &single));
          ASSERT_EQ(rows[size_t(i % components)][size_t(i / components)], d);
        }
      } else {
        ASSERT_TRUE(s == zelStsJPEGOutOfBufErr || (s == zelStsNoErr && rows == back)) << length << " of " << total;
      }
    }
    ZeliEncodeHuffmanState state = {};
    std::vector<uint8_t> bytes(want.size() + 8);
    int pos = 0;
    for (int i = 0; i < n * components; ++i)
      ASSERT_EQ(zelStsNoErr,
                z.zeliEncodeHuffmanOne_JPEG_16s1u_C1(src[i % components] + i / components, bytes.data(),
                                                     int(bytes.size()), &pos, enc[i % components], &state, 0));
    ASSERT_EQ(zelStsNoErr,
              z.zeliEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, bytes.data(), int(bytes.size()), &pos, nullptr, &state, 1));
    bytes.resize(size_t(pos));
    ASSERT_EQ(want, bytes);
  }
}

// The counts are what the baseline encoder needs, no symbol more or fewer.
TEST(HuffmanLossless, BaselineStatisticsMirrorTheEncoder) {
  Random rng(2);
  for (int trial = 0; trial < zeltest::rounds(2000); ++trial) {
    int16_t block[64] = {}, lastDC = int16_t(rng.between(-900, 900));
    block[0] = int16_t(rng.between(-900, 900));
    for (int i = rng.below(20); i > 0; --i) block[rng.below(64)] = int16_t(rng.between(-1023, 1023) >> rng.below(10));
    int32_t dc[256] = {}, ac[256] = {};
    int16_t predictor = lastDC;
    ASSERT_EQ(zelStsNoErr, zel().zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &predictor));
    ASSERT_EQ(block[0], predictor);
    // With codes for these symbols alone the encoder succeeds, and without any one of them it fails.
    int missing = -1;
    for (int skip = -1; skip < 256; ++skip) {
      if (skip >= 0 && ac[skip] == 0) continue;
      ZeliEncodeHuffmanSpec dcTable = {}, acTable = {};
      for (int i = 0; i < 256; ++i) {
        if (dc[i]) dcTable.codes[i] = 5u << 16;
        if (ac[i] && i != skip) acTable.codes[i] = 9u << 16 | uint32_t(i);
      }
      ZeliEncodeHuffmanState state = {};
      uint8_t bytes[600];
      int pos = 0;
      predictor = lastDC;
      const ZelStatus s =
          zel().zeliEncodeHuffman8x8_JPEG_16s1u_C1(block, bytes, 600, &pos, &predictor, &dcTable, &acTable, &state, 0);
      ASSERT_EQ(skip < 0 ? zelStsNoErr : zelStsJPEGHuffTableErr, s) << skip;
      missing = skip;
    }
    ASSERT_GE(missing, 0);
  }
  int16_t block[64] = {-32768}, lastDC = 32767;
  int32_t dc[256] = {}, ac[256] = {};
  EXPECT_EQ(zelStsJPEGCodeRangeErr, zel().zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &lastDC));
  EXPECT_EQ(-32768, lastDC);
  block[5] = 16384;  // category 15
  EXPECT_EQ(zelStsJPEGCodeRangeErr, zel().zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &lastDC));
  EXPECT_EQ(1, dc[0]);
}
