// Huffman coding of baseline blocks, progressive scans and lossless differences, and its statistics.
#include <gtest/gtest.h>

#include <map>

#include "support/checks.h"
#include "support/huffman_calls.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;
using Calls = std::vector<Coefficients>;

// Scans that give every coefficient in full after the last.
const std::vector<HuffmanScan> kProgression = {
    {kDcFirst, 0, 0, 2},       {kAcFirst, 1, 5, 3},      {kAcFirst, 6, 63, 3},
    {kAcRefinement, 1, 63, 2}, {kDcRefinement, 0, 0, 1}, {kAcRefinement, 1, 63, 1},
    {kDcRefinement, 0, 0, 0},  {kAcRefinement, 1, 9, 0}, {kAcRefinement, 10, 63, 0}};
const std::vector<HuffmanScan> kProcesses[] = {{{kBaseline}}, kProgression, {{kDifference}}, {{kRow}}};

// Blocks and rows that are full, sparse or empty, of values of any size that the statistics take.
Calls randomCalls(Random& r, const HuffmanScan& scan, int n) {
  size_t size = 64;
  if (scan.isLossless()) size = scan.coder == kRow ? scan.components() * size_t(1 + r.below(60)) : 1;
  const int bits = scan.isLossless() ? 15 : scan.coder == kBaseline ? 14 : 10;
  const Coefficients zeros(size);
  Calls calls(size_t(n), zeros);
  const int emptiness = r.below(6);
  for (Coefficients& call : calls) {
    const int gap = scan.isLossless() ? 1 : 1 << 2 * r.below(emptiness + 1), range = 1 << r.below(bits + 1);
    for (int16_t& c : call)
      if (r.below(gap) == 0) c = int16_t(r.between(1 - range, range - 1));
    call[0] = int16_t(scan.isLossless() && r.below(9) == 0 ? -32768 : r.between(-1024, 1023));
  }
  return calls;
}

HuffmanScan with(HuffmanScan scan, const HuffmanTable& first, const HuffmanTable& second) {
  scan.tables.assign(scan.coder == kRow ? scan.components() : 2, first);
  scan.tables.back() = second;
  return scan;
}
HuffmanScan withOnes(const HuffmanScan& scan) { return with(scan, onesHuffmanTable(), onesHuffmanTable()); }
HuffmanScan withRandom(const HuffmanScan& scan, Random& r) {
  const int symbols = scan.isBand() ? 256 : 17;
  return with(scan, randomHuffmanTable(r, symbols), randomHuffmanTable(r, scan.coder == kRow ? 17 : 256));
}
// Tables for the symbols that the statistics count.
HuffmanScan withFitted(const HuffmanScan& scan, const Calls& calls) {
  if (scan.coder == kDcRefinement) return withOnes(scan);  // which has no symbols
  const CodedScan counted = codeScan(scan, calls, 0);
  EXPECT_EQ(zelStsNoErr, counted.status);
  return with(scan, fittedTable(&counted.counts[0]), fittedTable(&counted.counts[256]));
}

Bytes joined(Bytes bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
  return bytes;
}

// 0xFF before some of the stuffed bytes.
Bytes filled(Random& r, const Bytes& stream) {
  Bytes bytes;
  for (size_t i = 0; i < stream.size(); ++i) {
    const bool isStuffed = stream[i] == 0xFF && i + 1 < stream.size() && stream[i + 1] == 0;
    bytes.insert(bytes.end(), size_t(isStuffed ? 1 + r.below(3) : 1), stream[i]);
  }
  return bytes;
}

}  // namespace

// All scans of a process: counted, written into destinations of every length, read back, and read up to every byte.
TEST(Huffman, EveryRoomAndEveryTruncation) {
  Random r(1);
  for (int trial = 0; trial < 4 * rounds(14) && !HasFailure(); ++trial) {
    std::vector<HuffmanScan> scans = kProcesses[trial % 4];
    scans[0].rows = 1 + r.below(5);
    const Calls calls = randomCalls(r, scans[0], 1 + r.below(12));
    Calls before(calls.size(), Coefficients(calls[0].size()));
    for (const HuffmanScan& s : scans) {
      const bool fits = trial % 8 < 4 && s.coder != kRow;
      const HuffmanScan scan = fits ? withFitted(s, calls) : withRandom(s, r);
      const Bytes bytes = codeScan(scan, calls, 20000).bytes;
      const int n = int(bytes.size()), least = s.coder == kBaseline ? 0 : 1;  // a baseline decoder may hold a block
      for (int room = 1; room < std::min(n, 500) + 30; ++room) codeScan(scan, calls, room);
      const Bytes ends[] = {{}, {0xFF}, joined({0xFF, 0xD3}, r.vector<uint8_t>(size_t(r.below(200))))};
      for (int left = std::max(least, n - 200); left < n && !HasFailure(); ++left)
        for (const Bytes& end : ends) {
          Calls damaged = before;
          decodeScan(scan, joined(Bytes(bytes.begin(), bytes.begin() + left), end), &damaged);
        }
      Calls again = before;
      EXPECT_EQ(zelStsNoErr, decodeScan(scan, joined(filled(r, bytes), Bytes(200)), &again));
      ASSERT_EQ(zelStsNoErr, decodeScan(scan, bytes, &before));
      EXPECT_EQ(before, again);
    }
    ASSERT_EQ(calls, before);
  }
}

// Symbols without codes, damaged streams, tables and starts of any kind.
TEST(Huffman, Damage) {
  Random r(2);
  std::map<ZelStatus, int> statuses;
  for (int trial = 0; trial < 4 * rounds(500) && !HasFailure(); ++trial) {
    const auto& scans = kProcesses[trial % 4];
    HuffmanScan scan = scans[size_t(r.below(int(scans.size())))];
    scan.rows = 1 + r.below(5);
    Calls calls = randomCalls(r, scan, 9);
    const int symbols = r.below(2) ? 256 : 17;
    scan = with(scan, randomHuffmanTable(r, symbols), randomHuffmanTable(r, r.below(8) ? 256 : 0xF0));
    Bytes bytes = codeScan(scan, calls, 6000).bytes;
    if (bytes.empty() || r.below(3) == 0) bytes = r.vector<uint8_t>(size_t(1 + r.below(200)));
    for (int i = r.below(5); i > 0; --i)
      bytes[size_t(r.below(int(bytes.size())))] = r.below(2) ? 0xFF : uint8_t(r.next());
    ++statuses[decodeScan(scan, bytes, &calls)];
  }
  for (const ZelStatus s : {zelStsErr, zelStsJPEGOutOfBufErr, zelStsJPEGCodeRangeErr})
    if (!brief) EXPECT_GT(statuses[s], 20) << s;
}

// Rows of one table that are long enough for the coders of several differences at once: into too little room, with
// symbols that have no code or the longest, read back, damaged and cut off.
TEST(Huffman, LongRows) {
  Random r(8);
  for (int trial = 0; trial < 4 * rounds(60) && !HasFailure(); ++trial) {
    HuffmanScan scan = {kRow};
    scan.rows = 1 + trial % 4;
    Calls calls(2, Coefficients(size_t(scan.rows * (2000 / scan.rows + r.below(400)))));
    const int usual = 1 + r.below(6), widest = r.below(16);
    for (Coefficients& row : calls)
      for (int16_t& c : row) {
        const int range = 1 << (r.below(30) ? r.below(usual) : widest);
        c = int16_t(r.below(2000) ? r.between(1 - range, range - 1) : -32768);
      }
    for (const HuffmanTable& some : {randomHuffmanTable(r, 1 + r.below(17)), onesHuffmanTable()})
      codeScan(with(scan, some, some), calls, 1 + r.below(9000));
    const HuffmanTable table = randomHuffmanTable(r, 17);
    scan = with(scan, table, table);
    Bytes bytes = codeScan(scan, calls, 40000).bytes;
    Calls back(2, Coefficients(calls[0].size()));
    ASSERT_EQ(zelStsNoErr, decodeScan(scan, bytes, &back));
    EXPECT_EQ(calls, back);
    if (r.below(2)) bytes[size_t(r.below(int(bytes.size())))] = r.below(2) ? 0xFF : uint8_t(r.next());
    if (r.below(2)) bytes.resize(bytes.size() / 2 + size_t(r.below(int(bytes.size() / 2))));
    decodeScan(scan, joined(bytes, Bytes(size_t(r.below(3) * 3000))), &back);
  }
}

// The most bits that a call can take, and a full buffer of correction bits before it, at every room about the limits of
// the fast paths.
TEST(Huffman, TheFullestCallsInEveryRoom) {
  const Coefficients tall(64, 2047), full(64, 32767), fresh(64, 1);
  Calls steps, refined(14, Coefficients(64, 3)), difference = {full, full};
  for (int i = 1; i <= 12; ++i) steps.emplace_back(64, int16_t(2047 * i));  // differences of eleven ones
  refined.insert(refined.end(), {fresh, fresh});
  difference[1][0] = -32768;  // a difference of 16 bits
  const std::tuple<HuffmanScan, Calls, int> cases[] = {
      {{kBaseline}, difference, 1100},        {{kDcFirst, 0, 0, 0}, steps, 100},
      {{kAcFirst}, {tall, tall, tall}, 500},  {{kAcRefinement}, refined, 1100},
      {{kDifference}, Calls(9, {32767}), 60}, {{kRow, 0, 0, 0, 4}, {Coefficients(40, 32767)}, 400}};
  for (const auto& [scan, calls, rooms] : cases)
    for (int room = 1; room < rooms && !HasFailure(); ++room) codeScan(withOnes(scan), calls, room);
}

// The first and the last values of each category, coded and counted; and all that has no code.
TEST(Huffman, WhatCannotBeCoded) {
  Random r(3);
  for (const HuffmanScan& scan : {HuffmanScan{kBaseline}, {kDcFirst, 0, 0, 0}, {kAcFirst}, {kAcRefinement}})
    for (int category = 0; category <= 16; ++category)
      for (const int value : {1 << category >> 1, (1 << category) - 1}) {
        Calls calls(2, Coefficients(64));
        calls[0][0] = calls[1][1] = int16_t(-value);
        codeScan(scan, calls, 0);
        codeScan(withRandom({scan.coder, 1, 63, 0}, r), calls, 2000);
        codeScan(with(scan, {}, {}), calls, 2000);
      }
}

// Half of a marker behind refinement that is cut off: what a block has of a fast path that gives up is taken back.
TEST(Huffman, RefinementUpToHalfAMarker) {
  Random r(4);
  for (int trial = 0; trial < rounds(120) && !HasFailure(); ++trial) {
    int32_t counts[256];
    const int steepness = 3 + 6 * r.below(3);
    for (int i = 0; i < 256; ++i) counts[i] = 1 + (1 << r.below(steepness)) * (i % 16 < 5 ? 20 : 1);
    counts[0x01] = 1;  // a long code for new coefficients: the fast path begins with the block
    const HuffmanScan scan = with({kAcRefinement}, fittedTable(counts), {});
    Coefficients block(64), before(64);
    for (int k = 1; k < 64; ++k) {  // new coefficients, then significant ones
      const size_t at = size_t(naturalPosition(k));
      block[at] = int16_t(k < 30 ? r.below(2) * 2 - 1 : r.between(2, 3));
      before[at] = int16_t(k < 30 ? 0 : 2);
    }
    Bytes bytes = codeScan(scan, {block, block}, 500).bytes;
    while (bytes.size() > 24) {
      bytes.back() = 0xFF;
      Calls decoded(2, before);
      decodeScan(scan, bytes, &decoded);
      bytes.pop_back();
    }
  }
}

TEST(Huffman, DirectKeepsStateInVariables) {
  Random r(5);
  for (int trial = 0; trial < rounds(400) && !HasFailure(); ++trial) {
    const HuffmanScan scan = withRandom({kBaseline}, r);
    const auto& [dc, ac] = std::tie(scan.tables[0], scan.tables[1]);
    const Calls blocks = randomCalls(r, scan, 1 + r.below(6));
    Bytes stream = codeScan(scan, blocks, 20000).bytes;
    Guarded<uint8_t> dst(stream.size() + 8);
    int bitPos = 0;
    int16_t predictor = 0;
    for (const Coefficients& b : blocks)
      ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(b.data(), dst.data(), &bitPos, &predictor,
                                                                             &dc.enc, &ac.enc));
    Bytes direct(dst.data(), dst.data() + (bitPos + 7) / 8);
    if (bitPos % 8 != 0) {
      const int padding = 0xFF >> bitPos % 8;  // the caller's
      ASSERT_EQ(0, direct.back() & padding);
      direct.back() |= uint8_t(padding);
      if (direct.back() == 0xFF) direct.push_back(0);
    }
    ASSERT_EQ(stream, direct);

    // Decode past the end, and damaged: bytes after the marker are unreadable.
    for (int i = 2 * (trial % 4); i > 0; --i)
      stream[size_t(r.below(int(stream.size())))] = r.below(4) ? uint8_t(r.next()) : 0xFF;
    const Guarded<uint8_t> src(joined(stream, {0xFF, 0xD9}));
    Guarded<int16_t> block(64);
    ReferenceDecoder reference{scan, src.data(), INT32_MAX};
    int marker = 0, count = 0;
    uint32_t bits = 0;
    bitPos = 0;
    predictor = 0;
    for (ZelStatus got = zelStsNoErr; got == zelStsNoErr;) {
      if (r.below(2)) bits |= uint32_t(r.next() << count);  // no data
      Coefficients wanted(64);
      ZelStatus want = reference.decode(&wanted);
      if (reference.missing == reference.kCode) want = zelStsNoErr;
      if (reference.missing == reference.kValue) want = zelStsJPEGOutOfBufErr;
      got = zel().zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src.data(), &bitPos, block.data(), &predictor, &marker,
                                                            &bits, &count, &dc.dec, &ac.dec);
      bits &= uint32_t(ones(count));
      const auto& s = reference.state;
      ASSERT_EQ(std::tuple(want, reference.pos * 8, reference.marker, reference.lastDC, s.bitCount),
                std::tuple(got, bitPos, marker, predictor, count));
      ASSERT_EQ(s.bits & ones(count), bits);
      ASSERT_EQ(wanted, block.copy());
      if (reference.missing != reference.kNothing) break;
    }
  }
}

// The longest run is coded at once. Longer ones, which a caller may set, the statistics split and the encoder refuses.
TEST(Huffman, LongestRuns) {
  Random r(6);
  for (const HuffmanScan& s : {HuffmanScan{kAcFirst}, {kAcRefinement}}) {
    const Calls zeros(32768, Coefficients(64));
    const HuffmanScan scan = withFitted(s, zeros);
    Calls back = zeros;
    EXPECT_EQ(zelStsNoErr, decodeScan(scan, codeScan(scan, zeros, 99).bytes, &back));
    for (const int run : {32767, 32768, 40000, 65534, 65535, 70000}) {
      ZeliEncodeHuffmanState state = {};
      state.eobRun = run;
      for (const int value : {0, 1}) {  // one more block without coefficients, or one with some
        const Calls block = {Coefficients(64, int16_t(value))};
        EXPECT_EQ(run > 65534 - (value == 0) ? zelStsJPEGCodeRangeErr : zelStsNoErr,
                  codeScan(s, block, 0, state).status);
        codeScan(withRandom(s, r), block, 3000, state);
      }
    }
  }
}

// A run ends where its correction bits exceed 937 = 14 * 63 + 55.
TEST(Huffman, CorrectionBitsAreKeptUpToALimit) {
  Random r(7);
  const HuffmanScan scan = withRandom({kAcRefinement}, r);
  const Coefficients corrections(64, 3);
  for (const int last : {55, 56}) {
    Calls blocks(14, corrections);
    blocks.emplace_back(64);
    for (int k = 1; k <= last; ++k) blocks.back()[size_t(naturalPosition(k))] = -2;
    codeScan(scan, blocks, 0);
    codeScan(scan, blocks, 3000);
  }
  // A full destination leaves bits without a run. Who goes on all the same gets errors, no overrun, and a flush of
  // them.
  EncoderPair pair(scan, 20);
  for (int i = 0; i < 15; ++i) pair.call(corrections);
  EXPECT_EQ(15 * 63, pair.state.correctionBitCount);
  pair.setRoom(400);
  EXPECT_EQ(zelStsNoErr, pair.call(corrections, true));
  ZeliEncodeHuffmanState state[2] = {};
  for (int i = 0; i < 40; ++i) {
    uint8_t byte;
    int pos = 0;
    EXPECT_EQ(i < 14 ? zelStsNoErr : zelStsJPEGOutOfBufErr,
              zel().zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(corrections.data(), &byte, 1, &pos, 1, 63, 0,
                                                                &scan.tables[0].enc, &state[0], 0));
  }
  EXPECT_EQ(0u, state[1].bits);
}

// The argument checks, in their order.
TEST_F(Checks, HuffmanBaseline) {
  int minus = -1;
  check(z.zeliDecodeHuffman8x8_JPEG_1u16s_C1, null<0>(), bad<1>(-1), null<2, 3, 4, 5, 6, 7, 8>());
  checkCoder(z.zeliEncodeHuffman8x8_JPEG_16s1u_C1, null<1>(), length<2>(), null<3, 7, 0, 4, 5, 6>());
  check(z.zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1, null<0, 1>(), bad<1>(&minus), null<2, 3, 4, 5, 6>(),
        bad<6>(&minus), null<7, 8>());
  check(z.zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1, null<0, 1, 2, 3, 4, 5>());
  check(z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1, null<0, 1, 2, 3>());
}

TEST_F(Checks, HuffmanProgressive) {
  for (const auto& [k, al] : {std::pair(0, -1), std::pair(64, 14)}) {  // outside a band, outside the bits
    check(z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, null<0>(), length<1>(), null<2, 3, 4, 5>(), bad<6>(al),
          null<7, 8>());
    check(z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, null<0>(), length<1>(), null<2, 3, 4>(), bad<5>(al),
          null<6>());
    checkCoder(z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, null<1>(), length<2>(), null<3, 7, 0, 4>(), bad<5>(al),
               null<6>());
    checkCoder(z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, null<1>(), length<2>(), null<3, 5, 0>(), bad<4>(al));
    check(z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, null<0, 1, 2>(), bad<3>(al));
    for (const auto f : {z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1})
      check(f, null<0>(), length<1>(), null<2, 3, 4>(), bad<5>(k), bad<6>(k), bad<7>(al), null<8, 9>());
    for (const auto f : {z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1})
      checkCoder(f, null<1>(), length<2>(), null<3, 7, 8, 0>(), bad<4>(k), bad<5>(k), bad<6>(al));
    for (const auto f :
         {z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1, z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1})
      checkCoder(f, null<1, 5, 0>(), bad<2>(k), bad<3>(k), bad<4>(al));
  }
}

TEST_F(Checks, HuffmanLossless) {
  checkCoder(z.zeliEncodeHuffmanOne_JPEG_16s1u_C1, null<1>(), length<2>(), null<3, 5, 0, 4>());
  checkCoder(z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1, null<3>(), length<4>(), null<5, 7, 0>(), length<1, 2>(), null<6>(),
             lacks<0>(2), lacks<6>(3));
  check(z.zeliDecodeHuffmanOne_JPEG_1u16s_C1, null<0>(), length<1>(), null<2, 3, 4, 5, 6>());
  check(z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4, null<0>(), length<1>(), null<2, 3>(), length<4, 5>(), null<6, 7, 8>(),
        lacks<3>(2), lacks<7>(3));
  check(z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1, null<0, 1>());
}
