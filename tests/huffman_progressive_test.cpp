// Progressive Huffman coding: scans of random blocks, counted, written with tables fitted to the counts, and read back.
#include <gtest/gtest.h>

#include "support/checks.h"
#include "support/huffman_calls.h"

namespace {

using namespace zeltest;
using Blocks = std::vector<Coefficients>;
using Bytes = std::vector<uint8_t>;

// Every coefficient in full after the last scan.
const std::vector<HuffmanScan> kScript = {
    {HuffmanScan::dcFirst, {0, 0, 2}},       {HuffmanScan::acFirst, {1, 5, 3}},
    {HuffmanScan::acFirst, {6, 63, 3}},      {HuffmanScan::acRefinement, {1, 63, 2}},
    {HuffmanScan::dcRefinement, {0, 0, 1}},  {HuffmanScan::acRefinement, {1, 63, 1}},
    {HuffmanScan::dcRefinement, {0, 0, 0}},  {HuffmanScan::acRefinement, {1, 9, 0}},
    {HuffmanScan::acRefinement, {10, 63, 0}}};
const HuffmanScan kFirst = {HuffmanScan::acFirst}, kRefinement = {HuffmanScan::acRefinement};

HuffmanScan with(HuffmanScan scan, const HuffmanTable& table) {
  scan.tables = {&table};
  return scan;
}

// Small values mostly, empty blocks and runs of them, now and then full ones.
Blocks randomBlocks(Random& rng, int n, int density) {
  Blocks blocks(size_t(n), Coefficients(64));
  for (Coefficients& b : blocks) {
    const int kind = rng.below(density);
    b[0] = int16_t(rng.between(-1024, 1023));
    for (size_t k = 1; k < 64; ++k)
      if (kind == 0 || (kind == 1 && rng.below(12) == 0))
        b[k] = int16_t(rng.below(4) ? rng.between(-9, 9) : rng.between(-1023, 1023));
  }
  return blocks;
}

// A table with codes for what a scan needs; any table for scans of bits alone.
HuffmanTable tableFor(const HuffmanScan& scan, const Blocks& blocks) {
  if (scan.coder == HuffmanScan::dcRefinement) return {};
  ZelStatus status;
  const zeltest::SymbolCounts counts = countScan(scan, blocks, &status);
  EXPECT_EQ(zelStsNoErr, status);
  return fittedTable(scan.coder == HuffmanScan::dcFirst ? counts.dc : counts.other);
}

// One with codes for all symbols.
HuffmanTable anyTable() {
  Random r(9);
  return randomHuffmanTable(r);
}

}  // namespace

TEST(HuffmanProgressive, ScansReadBack) {
  Random rng(1);
  for (const int density : {1, 2, 4, 40}) {
    const Blocks blocks = randomBlocks(rng, zeltest::rounds(700), density);
    Blocks back(blocks.size(), Coefficients(64));
    for (const HuffmanScan& s : kScript) {
      const HuffmanTable table = tableFor(s, blocks);
      ZelStatus status;
      decodeScan(with(s, table), encodeScan(with(s, table), blocks, int(blocks.size()) * 500), &back, &status);
      ASSERT_EQ(zelStsNoErr, status);
      ASSERT_FALSE(HasFailure());
    }
    ASSERT_EQ(blocks, back) << "density " << density;
  }
}

TEST(HuffmanProgressive, EveryDestinationLengthAndEveryTruncation) {
  Random rng(2);
  const Blocks blocks = randomBlocks(rng, 12, 2);
  Blocks before(blocks.size(), Coefficients(64));
  for (const HuffmanScan& s : kScript) {
    const HuffmanTable table = tableFor(s, blocks);
    const HuffmanScan scan = with(s, table);
    const Bytes bytes = encodeScan(scan, blocks, 2000);
    const int n = int(bytes.size());
    for (int room = 1; room < n + 40; ++room) encodeScan(scan, blocks, room);
    for (int left = 1; left <= n; ++left) {
      ZelStatus status;
      Blocks cut = before;
      decodeScan(scan, zeltest::truncated(bytes, left), &cut, &status);
      Bytes marked = zeltest::truncated(bytes, left);
      marked.insert(marked.end(), {0xFF, 0xD3});
      Blocks ended = before;
      decodeScan(scan, marked, &ended, &status);
      ASSERT_FALSE(HasFailure()) << left << " bytes of " << n;
    }
    ZelStatus status;
    decodeScan(scan, bytes, &before, &status);
    ASSERT_EQ(zelStsNoErr, status);
  }
}

// The most bits that a block can take, and a full buffer of correction bits before it, at every room about the limits
// of the fast paths.
TEST(HuffmanProgressive, TheFullestBlocksInEveryRoom) {
  const HuffmanTable ones = zeltest::onesHuffmanTable();
  const Coefficients tall(64, 2047), corrections(64, 3), fresh(64, 1);
  for (int room = 1; room < 500 && !HasFailure(); ++room) encodeScan(with(kFirst, ones), {tall, tall, tall}, room);
  Blocks steps;  // differences of eleven ones
  for (int i = 1; i <= 12; ++i) steps.emplace_back(64, int16_t(2047 * i));
  for (int room = 1; room < 100 && !HasFailure(); ++room)
    encodeScan(with({HuffmanScan::dcFirst, {0, 0, 0}}, ones), steps, room);
  Blocks refined(14, corrections);
  refined.push_back(fresh);
  refined.push_back(fresh);
  for (int room = 1; room < 1100 && !HasFailure(); ++room) encodeScan(with(kRefinement, ones), refined, room);
}

TEST(HuffmanProgressive, LongestRuns) {
  for (const int n : {1, 100, 32767, 32768}) {  // the longest run is coded at once
    ZelStatus status;
    const Blocks zeros(size_t(n), Coefficients(64));
    for (const HuffmanScan& s : {kFirst, kRefinement}) {
      const zeltest::SymbolCounts counts = countScan(s, zeros, &status);
      EXPECT_EQ(zelStsNoErr, status);
      EXPECT_EQ(n >= 32767 ? 1 : 0, counts.other[0xE0]);
      EXPECT_EQ(n == 1 || n == 32768 ? 1 : 0, counts.other[0x00]);
      EXPECT_EQ(n == 100 ? 1 : 0, counts.other[0x60]);
      const HuffmanTable table = fittedTable(counts.other);
      Blocks back = zeros;
      decodeScan(with(s, table), encodeScan(with(s, table), zeros, 99), &back, &status);
      EXPECT_EQ(zelStsNoErr, status);
    }
  }
  // Longer runs, as a caller may set them: the statistics split them, the encoder refuses them.
  const HuffmanTable table = anyTable();
  for (const int run : {32767, 32768, 40000, 65534, 65535, 70000}) {
    ZeliEncodeHuffmanState state = {};
    state.eobRun = run;
    for (const bool splits : {true, false}) {
      const Coefficients block(64, int16_t(splits));  // a block with coefficients, or one more without
      ZelStatus status;
      countScan(kFirst, {block}, &status, state);
      EXPECT_EQ(run > 65534 || (run == 65534 && !splits) ? zelStsJPEGCodeRangeErr : zelStsNoErr, status) << run;
      EncoderPair pair(with(kFirst, table), 3000);
      pair.state = state;
      pair.shareState();
      EXPECT_EQ(run > 32767 && splits ? zelStsJPEGCodeRangeErr : zelStsNoErr, pair.call(block)) << run;
      pair.call(block, true);
    }
  }
}

// A run ends where its correction bits exceed 937: with one more or less after 14 blocks of 63 and one of 55 or 56.
TEST(HuffmanProgressive, CorrectionBitsAreKeptUpToALimit) {
  const HuffmanTable table = anyTable();
  for (const int last : {54, 55, 56, 57, 63}) {
    Blocks blocks(14, Coefficients(64, 3));
    blocks.emplace_back(64);
    for (int k = 1; k <= last; ++k) blocks.back()[size_t(zeltest::naturalPosition(k))] = -2;
    ASSERT_EQ(14 * 63 + 55, 937);
    ZelStatus status;
    countScan(kRefinement, blocks, &status);
    EncoderPair pair(with(kRefinement, table), 3000);
    for (const Coefficients& b : blocks) EXPECT_EQ(zelStsNoErr, pair.call(b));
    EXPECT_EQ(last > 55 ? 0 : 14 * 63 + last, pair.state.correctionBitCount);
    EXPECT_EQ(last > 55 ? 0 : 15, pair.state.eobRun);
  }
  // A full destination leaves bits without a run. Who goes on all the same gets errors, no overrun, and a flush of
  // them.
  EncoderPair pair(with(kRefinement, table), 20);
  const Coefficients corrections(64, 3);
  for (int i = 0; i < 15; ++i) pair.call(corrections);
  EXPECT_EQ(0, pair.state.eobRun);
  EXPECT_EQ(15 * 63, pair.state.correctionBitCount);
  pair.setRoom(400);
  EXPECT_EQ(zelStsNoErr, pair.call(corrections, true));
  EXPECT_GE(int(pair.bytes().size()), 15 * 63 / 8);
  const zeltest::Api& z = zel();
  ZeliEncodeHuffmanState state[2] = {};
  for (int i = 0; i < 40; ++i) {
    uint8_t byte;
    int pos = 0;
    const ZelStatus s = z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(corrections.data(), &byte, 1, &pos, 1, 63, 0,
                                                                      &table.enc, &state[0], 0);
    EXPECT_EQ(i < 14 ? zelStsNoErr : zelStsJPEGOutOfBufErr, s) << i;
  }
  EXPECT_EQ(0u, state[1].bits);
}

TEST(HuffmanProgressive, WhatCannotBeCoded) {
  const HuffmanTable all = anyTable();
  const auto codes = [](const HuffmanScan& scan, const Coefficients& block) {
    EncoderPair pair(scan, 2000);
    const ZelStatus status = pair.call(block);
    return status == zelStsNoErr ? pair.call(block, true) : status;
  };
  Coefficients block(64);
  ZelStatus status;
  for (const int value : {1023, 1024, 2047, 2048, -2047, -2048, -32768}) {  // 11 bits; the statistics take 10
    block[1] = int16_t(value);
    countScan(kFirst, {block}, &status);
    EXPECT_EQ(std::abs(value) > 1023 ? zelStsJPEGCodeRangeErr : zelStsNoErr, status) << value;
    EXPECT_EQ(std::abs(value) > 2047 ? zelStsJPEGCodeRangeErr : zelStsNoErr, codes(with(kFirst, all), block)) << value;
    const HuffmanScan dc = {HuffmanScan::dcFirst, {0, 0, 0}};
    const Coefficients difference(64, int16_t(value));
    countScan(dc, {difference}, &status);
    EXPECT_EQ(std::abs(value) > 2047 ? zelStsJPEGCodeRangeErr : zelStsNoErr, status) << value;
    EXPECT_EQ(status, codes(with(dc, all), difference)) << value;
  }
  const HuffmanTable none;
  for (const HuffmanScan& s : {kFirst, kRefinement})
    for (const Coefficients& b : {Coefficients(64), Coefficients(64, 1), Coefficients(64, 2)})
      EXPECT_EQ(zelStsJPEGHuffTableErr, codes(with(s, none), b));
}

// Refinement whose last bytes are cut off, and a 0xFF without its other half behind them: the standard's steps fail
// there before they use bits that a fast reader has had.
TEST(HuffmanProgressive, RefinementUpToALone0xFF) {
  Random rng(4);
  HuffmanTable table = anyTable();
  table.counts[0x01] = 1;  // a long code for new coefficients: the fast path begins with the block
  table.fit();
  for (int trial = 0; trial < zeltest::rounds(60) && !HasFailure(); ++trial) {
    Coefficients block(64), before(64);
    for (int k = 1; k < 64; ++k) {  // new coefficients, then significant ones
      const size_t at = size_t(zeltest::naturalPosition(k));
      block[at] = int16_t(k < 30 ? rng.below(2) * 2 - 1 : rng.between(2, 3));
      before[at] = int16_t(k < 30 ? 0 : 2);
    }
    const Bytes bytes = encodeScan(with(kRefinement, table), {block, block}, 500);
    for (int left = 24; left < int(bytes.size()); ++left) {
      Bytes cut = zeltest::truncated(bytes, left);
      cut.push_back(0xFF);
      Blocks decoded(2, before);
      ZelStatus status;
      decodeScan(with(kRefinement, table), cut, &decoded, &status);
    }
  }
}

TEST(HuffmanProgressive, Garbage) {
  Random rng(3);
  const HuffmanTable table = anyTable();
  for (int trial = 0; trial < zeltest::rounds(6000) && !HasFailure(); ++trial) {
    const Bytes garbage = rng.vector<uint8_t>(size_t(1 + rng.below(90)));
    Blocks blocks = randomBlocks(rng, 5, 2);
    ZelStatus status;
    decodeScan(with(kScript[size_t(rng.below(int(kScript.size())))], table), garbage, &blocks, &status);
  }
}

TEST_F(Checks, HuffmanProgressive) {
  int* const number = as<int*>();
  auto* const dec = as<ZeliDecodeHuffmanSpec*>();
  auto* const enc = as<ZeliEncodeHuffmanSpec*>();
  auto* const reading = as<ZeliDecodeHuffmanState*>();
  auto* const writing = as<ZeliEncodeHuffmanState*>();
  for (const int al : {-1, 14}) {
    expectChecks(z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1,
                 std::tuple(bytes, 9, number, words, words, number, 0, dec, reading), null<0>(), length<1>(), null<2>(),
                 null<3>(), null<4>(), null<5>(), bad<6>(al), null<7>(), null<8>());
    expectChecks(z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, std::tuple(bytes, 9, number, words, number, 0, reading),
                 null<0>(), length<1>(), null<2>(), null<3>(), null<4>(), bad<5>(al), null<6>());
    expectChecks(z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1,
                 std::tuple(words, bytes, 9, number, words, 0, enc, writing, 0), null<1>(), length<2>(), null<3>(),
                 null<7>(), null<0>(), null<4>(), bad<5>(al), null<6>());
    expectChecks(z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, std::tuple(words, bytes, 9, number, 0, writing, 0),
                 null<1>(), length<2>(), null<3>(), null<5>(), null<0>(), bad<4>(al));
    int32_t* const counts = as<int32_t*>();
    expectChecks(z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, std::tuple(words, counts, words, 0), null<0>(),
                 null<1>(), null<2>(), bad<3>(al));
    for (const int ss : {0, 64})
      for (const int se : {0, 64}) {
        for (const auto f :
             {z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1})
          expectChecks(f, std::tuple(bytes, 9, number, words, number, 1, 63, 0, dec, reading), null<0>(), length<1>(),
                       null<2>(), null<3>(), null<4>(), bad<5>(ss), bad<6>(se), bad<7>(al), null<8>(), null<9>());
        for (const auto f :
             {z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1})
          expectChecks(f, std::tuple(words, bytes, 9, number, 1, 63, 0, enc, writing, 0), null<1>(), length<2>(),
                       null<3>(), null<7>(), null<8>(), null<0>(), bad<4>(ss), bad<5>(se), bad<6>(al));
        for (const auto f :
             {z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1, z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1})
          expectChecks(f, std::tuple(words, counts, 1, 63, 0, writing, 0), null<1>(), null<5>(), null<0>(), bad<2>(ss),
                       bad<3>(se), bad<4>(al));
      }
  }
}
