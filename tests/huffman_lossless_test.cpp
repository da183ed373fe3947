// Lossless Huffman coding of differences, singly and by rows, and their statistics.
#include <gtest/gtest.h>

#include <array>

#include "support/checks.h"
#include "support/huffman_calls.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;

// Differences of one size, with some of any size among them; now and then extremes alone.
Coefficients randomRow(Random& rng, size_t n) {
  Coefficients row = rng.vector<int16_t>(n);
  const int scale = rng.below(16);
  for (int16_t& d : row)
    if (rng.below(9)) d = int16_t(d >> scale);
  return row;
}

std::vector<Coefficients> oneByOne(const Coefficients& row) {
  std::vector<Coefficients> calls;
  for (const int16_t d : row) calls.push_back({d});
  return calls;
}

HuffmanTable tableFor(const Coefficients& row) {
  ZelStatus status;
  return fittedTable(countScan({HuffmanScan::difference}, oneByOne(row), &status).other);
}

}  // namespace

TEST(HuffmanLossless, RowsAtEveryLengthOfDestinationAndSource) {
  Random rng(1);
  for (int trial = 0; trial < zeltest::rounds(40) && !HasFailure(); ++trial) {
    const int rows = 1 + trial % 5, n = 1 + rng.below(60);
    HuffmanScan scan = {HuffmanScan::row, {}, {}, rows};
    std::vector<HuffmanTable> tables;
    std::vector<Coefficients> calls(2);  // rows of the scan
    for (size_t c = 0; c < scan.components(); ++c) {
      const Coefficients both = randomRow(rng, size_t(2 * n));
      tables.push_back(tableFor(both));
      calls[0].insert(calls[0].end(), both.begin(), both.begin() + n);
      calls[1].insert(calls[1].end(), both.begin() + n, both.end());
    }
    for (const HuffmanTable& t : tables) scan.tables.push_back(&t);
    const Bytes bytes = encodeScan(scan, calls, 4000);
    const int total = int(bytes.size());
    for (int room = 1; room < total + 100 && !HasFailure(); ++room) encodeScan(scan, calls, room);
    ZelStatus status;
    std::vector<Coefficients> back = {Coefficients(calls[0].size()), Coefficients(calls[0].size())};
    decodeScan(scan, bytes, &back, &status);
    ASSERT_EQ(calls, back);
    Bytes longer = bytes;
    longer.resize(bytes.size() + 300);
    decodeScan(scan, longer, &back, &status);
    for (int left = 1; left < total && !HasFailure(); ++left) {
      Bytes cut = zeltest::truncated(bytes, left);
      decodeScan(scan, cut, &back, &status);
      cut.insert(cut.end(), {0xFF, 0xD0});
      cut.resize(cut.size() + size_t(rng.below(300)), 0x12);
      decodeScan(scan, cut, &back, &status);
    }
  }
}

TEST(HuffmanLossless, OneAtATime) {
  Random rng(2);
  for (int trial = 0; trial < zeltest::rounds(20) && !HasFailure(); ++trial) {
    const std::vector<Coefficients> calls = oneByOne(randomRow(rng, 50));
    const HuffmanTable table = trial % 4 ? randomHuffmanTable(rng, 17) : tableFor(randomRow(rng, 20));
    const HuffmanScan scan = {HuffmanScan::difference, {}, {&table}};
    const Bytes bytes = encodeScan(scan, calls, 400);
    for (int room = 1; room < int(bytes.size()) + 20; ++room) encodeScan(scan, calls, room);
    for (int left = 1; left <= int(bytes.size()); ++left) {
      std::vector<Coefficients> back(calls.size(), Coefficients(1));
      ZelStatus status;
      decodeScan(scan, zeltest::truncated(bytes, left), &back, &status);
      if (status == zelStsNoErr) ASSERT_EQ(calls, back);
    }
  }
}

// Ones alone take the most room. A damaged stream or table: no code matches, and symbols above 16 read as 16.
TEST(HuffmanLossless, RoomAndDamage) {
  const HuffmanTable ones = zeltest::onesHuffmanTable();
  HuffmanScan scan = {HuffmanScan::row, {}, {&ones, &ones, &ones, &ones}, 4};
  for (int room = 1; room < 400 && !HasFailure(); ++room) encodeScan(scan, {Coefficients(40, 32767)}, room);
  Random rng(3);
  for (int trial = 0; trial < zeltest::rounds(500) && !HasFailure(); ++trial) {
    const HuffmanTable table = randomHuffmanTable(rng, trial % 2 ? 17 : 256);
    const Bytes garbage = rng.vector<uint8_t>(size_t(1 + rng.below(200)));
    scan.rows = 1 + rng.below(5);
    scan.tables.assign(4, &table);
    std::vector<Coefficients> rows(9, Coefficients(scan.components() * size_t(1 + rng.below(20))));
    ZelStatus status;
    decodeScan(scan, garbage, &rows, &status);
    const HuffmanScan one = {HuffmanScan::difference, {}, {&table}};
    std::vector<Coefficients> singles(40, Coefficients(1));
    decodeScan(one, garbage, &singles, &status);
  }
}

TEST_F(Checks, HuffmanLossless) {
  int* const number = as<int*>();
  auto* const dec = as<ZeliDecodeHuffmanSpec*>();
  auto* const enc = as<ZeliEncodeHuffmanSpec*>();
  auto* const reading = as<ZeliDecodeHuffmanState*>();
  auto* const writing = as<ZeliEncodeHuffmanState*>();
  const int16_t* const* const rows = constBlocks.data();
  const std::array<const ZeliEncodeHuffmanSpec*, 4> encTables = {enc, enc, enc, nullptr};
  const std::array<const ZeliDecodeHuffmanSpec*, 4> decTables = {dec, dec, dec, nullptr};
  expectChecks(z.zeliEncodeHuffmanOne_JPEG_16s1u_C1, std::tuple(words, bytes, 9, number, enc, writing, 0), null<1>(),
               length<2>(), null<3>(), null<5>(), null<0>(), null<4>());
  expectChecks(z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1,
               std::tuple(rows, 1, 3, bytes, 9, number, encTables.data(), writing, 0), null<3>(), length<4>(),
               null<5>(), null<7>(), null<0>(), length<1>(), length<2>(), null<6>(),
               bad<0>(constBlocksWithout[2].data(), zelStsNullPtrErr), bad<2>(4, zelStsNullPtrErr));
  expectChecks(z.zeliDecodeHuffmanOne_JPEG_1u16s_C1, std::tuple(bytes, 9, number, words, number, dec, reading),
               null<0>(), length<1>(), null<2>(), null<3>(), null<4>(), null<5>(), null<6>());
  expectChecks(z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4,
               std::tuple(bytes, 9, number, blocks.data(), 1, 3, number, decTables.data(), reading), null<0>(),
               length<1>(), null<2>(), null<3>(), length<4>(), length<5>(), null<6>(), null<7>(), null<8>(),
               bad<3>(blocksWithout[2].data(), zelStsNullPtrErr), bad<5>(4, zelStsNullPtrErr));
  expectChecks(z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1, std::tuple(words, as<int32_t*>()), null<0>(), null<1>());
}
