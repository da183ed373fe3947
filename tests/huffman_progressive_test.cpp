// Progressive Huffman coding: scans of random blocks written with tables fitted by the statistics, read back exactly.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/data.h"
#include "support/huffman_table.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;
using Table = zeltest::FittedTable;
using Blocks = std::vector<int16_t>;  // 64 coefficients each, natural order

struct Scan {
  int ss, se, ah, al;
  bool dc() const { return ss == 0; }
};
const std::vector<Scan> kScript = {{0, 0, 0, 2},  {1, 5, 0, 3}, {6, 63, 0, 3}, {1, 63, 3, 2}, {0, 0, 2, 1},
                                   {1, 63, 2, 1}, {0, 0, 1, 0}, {1, 9, 1, 0},  {10, 63, 1, 0}};

// Small values mostly, empty blocks and runs of them, now and then full ones.
Blocks randomBlocks(Random& rng, int n, int density) {
  Blocks b(size_t(64 * n));
  for (int i = 0; i < n; ++i) {
    const int kind = rng.below(density);
    b[size_t(64 * i)] = int16_t(rng.between(-1024, 1023));
    for (int k = 1; k < 64; ++k)
      if (kind == 0 || (kind == 1 && rng.below(12) == 0))
        b[size_t(64 * i + k)] = int16_t(rng.below(4) ? rng.between(-9, 9) : rng.between(-1023, 1023));
  }
  return b;
}

// One pass over the blocks and the flush: counting (dst null) or coding into length bytes. The first status that is an
// error.
ZelStatus encodeScan(const Blocks& blocks, Scan s, Table* table, uint8_t* dst, int length, int* pos) {
  const zeltest::Api& z = zel();
  static ZeliEncodeHuffmanState state;
  z.zeliEncodeHuffmanStateInit_JPEG_8u(&state);
  int16_t lastDC = 0;
  for (size_t i = 0; i <= blocks.size(); i += 64) {
    const int flush = i == blocks.size();
    const int16_t* b = blocks.data() + (flush ? 0 : i);
    ZelStatus status = zelStsNoErr;
    if (dst) {
      if (s.dc() && s.ah == 0)
        status = z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(b, dst, length, pos, &lastDC, s.al, &table->enc, &state,
                                                              flush);
      if (s.dc() && s.ah > 0)
        status = z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(b, dst, length, pos, s.al, &state, flush);
      if (!s.dc())
        status = (s.ah ? z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1)(
            b, dst, length, pos, s.ss, s.se, s.al, &table->enc, &state, flush);
    } else if (s.dc()) {
      if (s.ah == 0 && !flush)
        status = z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(b, table->counts, &lastDC, s.al);
    } else {
      status =
          (s.ah ? z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                : z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1)(b, table->counts, s.ss, s.se, s.al, &state, flush);
    }
    if (status != zelStsNoErr) return status;
  }
  for (size_t i = 0; i < sizeof state; ++i) EXPECT_EQ(0, reinterpret_cast<uint8_t*>(&state)[i]);
  return zelStsNoErr;
}

ZelStatus decodeScan(Blocks& blocks, Scan s, const Table& table, uint8_t* src, int length, int* marker) {
  const zeltest::Api& z = zel();
  ZeliDecodeHuffmanState state = {};
  int pos = 0;
  int16_t lastDC = 0;
  for (size_t i = 0; i < blocks.size(); i += 64) {
    Guarded<int16_t> block(Blocks(blocks.begin() + int64_t(i), blocks.begin() + int64_t(i) + 64));
    ZelStatus status;
    if (s.dc())
      status =
          s.ah ? z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src, length, &pos, block.data(), marker, s.al, &state)
               : z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src, length, &pos, block.data(), &lastDC, marker, s.al,
                                                              &table.dec, &state);
    else
      status = (s.ah ? z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1)(
          src, length, &pos, block.data(), marker, s.ss, s.se, s.al, &table.dec, &state);
    std::copy(block.data(), block.data() + 64, blocks.begin() + int64_t(i));
    if (status != zelStsNoErr) return status;
  }
  return zelStsNoErr;
}

// Statistics, table, coded bytes of one scan.
std::vector<uint8_t> codedScan(const Blocks& blocks, Scan s, Table* table) {
  EXPECT_EQ(zelStsNoErr, encodeScan(blocks, s, table, nullptr, 0, nullptr));
  table->fit();
  std::vector<uint8_t> bytes(blocks.size() * 8 + 64);
  int pos = 0;
  EXPECT_EQ(zelStsNoErr, encodeScan(blocks, s, table, bytes.data(), int(bytes.size()), &pos));
  bytes.resize(size_t(pos));
  return bytes;
}

}  // namespace

TEST(HuffmanProgressive, ScansReadBack) {
  Random rng(1);
  for (const int density : {1, 2, 4, 40}) {
    const int n = 700;
    const Blocks blocks = randomBlocks(rng, n, density);
    Blocks back(blocks.size());
    for (const Scan& s : kScript) {
      Table table;
      Guarded<uint8_t> src(codedScan(blocks, s, &table));
      int marker = 0;
      ASSERT_EQ(zelStsNoErr, decodeScan(back, s, table, src.data(), int(src.size()), &marker)) << s.ss;
    }
    ASSERT_EQ(blocks, back) << "density " << density;
  }
}

TEST(HuffmanProgressive, EveryDestinationLengthAndEveryTruncation) {
  Random rng(2);
  const Blocks blocks = randomBlocks(rng, 12, 2);
  Blocks before(blocks.size());
  for (const Scan& s : kScript) {
    Table table;
    const std::vector<uint8_t> bytes = codedScan(blocks, s, &table);
    const int n = int(bytes.size());
    for (int length = 1; length <= n; ++length) {
      Guarded<uint8_t> dst{size_t(length)};
      int pos = 0;
      const ZelStatus status = encodeScan(blocks, s, &table, dst.data(), length, &pos);
      ASSERT_EQ(length < n ? zelStsJPEGOutOfBufErr : zelStsNoErr, status) << length << " of " << n;
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + length, dst.data())) << length << " of " << n;
      Guarded<uint8_t> src(std::vector<uint8_t>(bytes.begin(), bytes.begin() + length));
      Blocks cut = before, ended = before;
      int marker = 0;
      const ZelStatus read = decodeScan(cut, s, table, src.data(), length, &marker);
      ASSERT_TRUE(length == n ? read == zelStsNoErr : read == zelStsNoErr || read == zelStsJPEGOutOfBufErr);
      if (bytes[size_t(length - 1)] == 0xFF)
        continue;  // a marker behind a cut byte of 0xFF reads as that byte's stuffing
      std::vector<uint8_t> marked(bytes.begin(), bytes.begin() + length);
      marked.insert(marked.end(), {0xFF, 0xD3});
      const ZelStatus atMarker = decodeScan(ended, s, table, marked.data(), length + 2, &marker);
      ASSERT_EQ(read == zelStsNoErr ? zelStsNoErr : zelStsJPEGCodeRangeErr, atMarker);
      ASSERT_EQ(cut, ended);
    }
    int marker = 0;
    Guarded<uint8_t> src(bytes);
    ASSERT_EQ(zelStsNoErr, decodeScan(before, s, table, src.data(), n, &marker));
  }
}

TEST(HuffmanProgressive, LongRunsLimitsAndGarbage) {
  const Scan first = {1, 63, 0, 0}, refine = {1, 63, 1, 0};
  for (const int n : {1, 100, 32767, 32768}) {  // the longest run is coded at once
    Table table;
    const Blocks zeros(size_t(64 * n));
    const std::vector<uint8_t> bytes = codedScan(zeros, first, &table);
    EXPECT_EQ(n >= 32767 ? 1 : 0, table.counts[0xE0]);
    EXPECT_EQ(n == 1 || n == 32768 ? 1 : 0, table.counts[0x00]);
    EXPECT_EQ(n == 100 ? 1 : 0, table.counts[0x60]);
    EXPECT_LE(bytes.size(), 4u);
  }
  Blocks tall(64);
  tall[1] = 1024;  // category 11: the encoder takes it, the statistics do not; category 12 neither
  Table table, all;
  EXPECT_EQ(zelStsJPEGCodeRangeErr, encodeScan(tall, first, &table, nullptr, 0, nullptr));
  for (int i = 0; i < 255; ++i) all.counts[i] = 1;
  all.fit();
  uint8_t bytes[64];
  int pos = 0;
  EXPECT_EQ(zelStsNoErr, encodeScan(tall, first, &all, bytes, 64, &pos));
  tall[1] = -32768;
  EXPECT_EQ(zelStsJPEGCodeRangeErr, encodeScan(tall, first, &all, bytes, 64, &(pos = 0)));
  Table empty = {};
  empty.counts[7] = 1;
  empty.fit();
  EXPECT_EQ(zelStsJPEGHuffTableErr, encodeScan(Blocks(64), first, &empty, bytes, 64, &(pos = 0)));
  // More than 937 correction bits are not kept: 63 a block make a run end every fifteen blocks.
  Table corrections;
  EXPECT_EQ(zelStsNoErr, encodeScan(Blocks(64 * 45, int16_t(3)), refine, &corrections, nullptr, 0, nullptr));
  EXPECT_EQ(3, corrections.counts[0x30]);  // runs of 8 to 15 blocks

  Random rng(3);
  for (int trial = 0; trial < zeltest::rounds(3000); ++trial) {  // nothing outside the block is touched, no hang
    std::vector<uint8_t> garbage = rng.vector<uint8_t>(size_t(1 + rng.below(60)));
    Guarded<uint8_t> src(garbage);
    Blocks blocks = randomBlocks(rng, 5, 2);
    int marker = 0;
    decodeScan(blocks, kScript[size_t(rng.below(int(kScript.size())))], all, src.data(), int(src.size()), &marker);
  }
}
