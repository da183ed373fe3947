// Baseline Huffman coding of blocks, with a state record and direct, and its statistics.
#include <gtest/gtest.h>

#include "support/checks.h"
#include "support/huffman_calls.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;

Coefficients randomBlock(Random& r) {
  Coefficients b(64);
  const int density = r.below(4) == 0 ? 64 : r.below(12), range = 1 << r.below(r.below(4) ? 5 : 15);
  for (int i = 0; i < density; ++i) b[size_t(r.below(64))] = int16_t(r.between(-range, range - 1));
  b[0] = int16_t(r.below(8) ? r.between(-1024, 1023) : r.between(-16384, 16383));
  if (r.below(8) == 0) b[63] = int16_t(r.between(-3, 3));
  if (r.below(16) == 0) std::fill(b.begin() + 1, b.end(), int16_t(r.below(2) ? -1 : 0));
  return b;
}

std::vector<Coefficients> randomBlocks(Random& r, int n) {
  std::vector<Coefficients> blocks(size_t(n), Coefficients{});
  for (Coefficients& b : blocks) b = randomBlock(r);
  return blocks;
}

HuffmanScan scanWith(const HuffmanTable& dc, const HuffmanTable& ac) { return {HuffmanScan::baseline, {}, {&dc, &ac}}; }

}  // namespace

TEST(HuffmanBaseline, EncodesIntoEveryLengthOfDestination) {
  Random r(3);
  for (int trial = 0; trial < zeltest::rounds(30) && !HasFailure(); ++trial) {
    const HuffmanTable dc = randomHuffmanTable(r, trial % 8 == 0 ? 9 : 17);  // some symbols have no code
    const HuffmanTable ac = randomHuffmanTable(r, trial % 8 == 1 ? 0xF0 : 256);
    const auto blocks = randomBlocks(r, 1 + r.below(8));
    const int whole = int(encodeScan(scanWith(dc, ac), blocks, 8192).size());
    for (int room = 1; room <= whole + 26 && !HasFailure(); ++room) encodeScan(scanWith(dc, ac), blocks, room);
  }
  // Nothing takes more room than ones alone, in a block without zeros.
  const HuffmanTable ones = zeltest::onesHuffmanTable();
  std::vector<Coefficients> fullest(2, Coefficients(64, 32767));
  fullest[1][0] = -32768;  // a difference of 16 bits
  for (int room = 1; room < 1100 && !HasFailure(); ++room) encodeScan(scanWith(ones, ones), fullest, room);
}

TEST(HuffmanBaseline, DecodesStreamsTruncationsAndGarbage) {
  Random r(4);
  int statuses[65] = {};
  const auto decodes = [&](const HuffmanScan& scan, const Bytes& stream, size_t blocks) {
    std::vector<Coefficients> decoded(blocks, Coefficients(64));
    ZelStatus status;
    decodeScan(scan, stream, &decoded, &status);
    ++statuses[-status];
    return decoded;
  };
  for (int trial = 0; trial < zeltest::rounds(120) && !HasFailure(); ++trial) {
    const HuffmanTable dc = randomHuffmanTable(r, 17), ac = randomHuffmanTable(r);
    const HuffmanScan scan = scanWith(dc, ac);
    const auto blocks = randomBlocks(r, 1 + r.below(20));
    Bytes stream = encodeScan(scan, blocks, 20000);
    for (int i = r.below(4); i > 0 && trial % 2; --i)  // fill bytes before stuffed zeros
      for (size_t at = 0; at + 1 < stream.size(); ++at)
        if (stream[at] == 0xFF && stream[at + 1] == 0 && r.below(2)) stream.insert(stream.begin() + int(at++), 0xFF);
    const int whole = int(stream.size());
    const Bytes after = r.below(2) ? Bytes{0xFF, 0xFF, 0xD9} : Bytes{};
    stream.insert(stream.end(), after.begin(), after.end());
    stream.resize(stream.size() + size_t(r.below(3) * 20), 0x5A);
    ASSERT_EQ(blocks, decodes(scan, stream, blocks.size()));
    for (int n = 1; n < std::min(whole, 120); ++n)
      decodes(scan, zeltest::truncated(stream, int(stream.size()) - n), blocks.size() + 3);
    for (int damage = 0; damage < 60; ++damage) {
      Bytes garbage = damage % 3 ? stream : r.vector<uint8_t>(size_t(1 + r.below(200)));
      for (int i = 0; i < 4; ++i) garbage[size_t(r.below(int(garbage.size())))] = r.below(2) ? 0xFF : uint8_t(r.next());
      decodes(scan, garbage, blocks.size() + 3);
    }
  }
  if (zeltest::brief) return;
  for (const int s : {zelStsErr, zelStsJPEGOutOfBufErr, zelStsJPEGCodeRangeErr}) EXPECT_GT(statuses[-s], 50) << s;
}

TEST(HuffmanBaseline, AnEmptySourceMayStillHoldABlock) {
  Random r(7);
  const HuffmanTable dc = randomHuffmanTable(r, 17), ac = randomHuffmanTable(r);
  const int dcLength = int(dc.enc.codes[0] >> 16), acLength = int(ac.enc.codes[0] >> 16);
  for (const int missing : {0, 1}) {
    zeltest::DecoderPair pair(scanWith(dc, ac), {});
    pair.state.bits = (uint64_t(dc.enc.codes[0] & 0xFFFF) << acLength | (ac.enc.codes[0] & 0xFFFF)) >> missing;
    pair.state.bitCount = dcLength + acLength - missing;
    Coefficients block(64);
    EXPECT_EQ(missing ? zelStsJPEGOutOfBufErr : zelStsNoErr, pair.call(&block));
  }
}

TEST(HuffmanBaseline, DirectKeepsStateInVariables) {
  const zeltest::Api& z = zel();
  Random r(5);
  for (int trial = 0; trial < zeltest::rounds(400) && !HasFailure(); ++trial) {
    const HuffmanTable dc = randomHuffmanTable(r, 17), ac = randomHuffmanTable(r);
    const auto blocks = randomBlocks(r, 1 + r.below(6));
    Bytes want = encodeScan(scanWith(dc, ac), blocks, 20000);
    Guarded<uint8_t> dst(want.size() + 8);
    int bitPos = 0;
    int16_t predictor = 0;
    for (const Coefficients& b : blocks)
      ASSERT_EQ(zelStsNoErr, z.zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(b.data(), dst.data(), &bitPos, &predictor,
                                                                         &dc.enc, &ac.enc));
    const int whole = (bitPos + 7) / 8, partial = bitPos % 8;
    if (partial) {
      ASSERT_EQ(0, dst[size_t(whole - 1)] & (0xFF >> partial)) << "padding is the caller's";
      dst[size_t(whole - 1)] |= uint8_t(0xFF >> partial);
    }
    const bool stuffedLast = partial && want.back() == 0 && dst[size_t(whole - 1)] == 0xFF;
    ASSERT_EQ(int(want.size()), whole + stuffedLast);
    ASSERT_EQ(zeltest::truncated(want, whole), Bytes(dst.data(), dst.data() + whole));

    // Decode past the end, and damaged: bytes after the marker are unreadable.
    const bool damaged = trial % 4 != 0;
    for (int i = damaged ? 2 * (trial % 4) : 0; i > 0; --i)
      want[size_t(r.below(int(want.size())))] = r.below(4) ? uint8_t(r.next()) : 0xFF;
    want.insert(want.end(), {0xFF, 0xD9});
    Guarded<uint8_t> src(want);
    Guarded<int16_t> block(64);
    int marker = 0, count = 0;
    uint32_t bits = 0;
    predictor = 0;
    bitPos = 0;
    for (size_t i = 0; i < blocks.size() + 2; ++i) {
      zeltest::ReferenceDecoder reference;
      reference.src = src.data();
      reference.length = INT32_MAX;
      reference.pos = bitPos / 8;
      reference.marker = marker;
      reference.state.bits = bits;
      reference.state.bitCount = count;
      if (r.below(2)) bits |= uint32_t(r.next() << count);  // no data
      int16_t referencePredictor = predictor;
      Coefficients wanted(64);
      ZelStatus status = reference.decode(scanWith(dc, ac), &wanted, &referencePredictor);
      if (reference.missing == reference.kCode) status = zelStsNoErr;
      if (reference.missing == reference.kValue) status = zelStsJPEGOutOfBufErr;
      const ZelStatus got = z.zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src.data(), &bitPos, block.data(), &predictor,
                                                                        &marker, &bits, &count, &dc.dec, &ac.dec);
      ASSERT_EQ(status, got);
      ASSERT_EQ(wanted, block.copy());
      ASSERT_EQ(referencePredictor, predictor);
      ASSERT_EQ(reference.pos * 8, bitPos);
      ASSERT_EQ(reference.marker, marker);
      ASSERT_EQ(reference.state.bitCount, count);
      bits &= uint32_t(zeltest::ones(count));
      ASSERT_EQ(reference.state.bits & zeltest::ones(count), bits);
      if (!damaged && i < blocks.size()) ASSERT_EQ(blocks[i], wanted);
      if (got != zelStsNoErr) break;
    }
  }
}

TEST(HuffmanBaseline, StatisticsMirrorTheEncoder) {
  Random r(6);
  ZelStatus status;
  for (int trial = 0; trial < zeltest::rounds(500) && !HasFailure(); ++trial) {
    std::vector<Coefficients> blocks = randomBlocks(r, 10);
    for (Coefficients& b : blocks) {
      if (trial % 2) continue;  // differences and coefficients out of range
      for (int16_t& c : b) c = int16_t(c % 16384);
      b[0] /= 2;
    }
    countScan({HuffmanScan::baseline}, blocks, &status);
    EXPECT_TRUE(status == zelStsNoErr || trial % 2) << status;
  }
  countScan({HuffmanScan::baseline}, {Coefficients(64, -32768)}, &status);
  EXPECT_EQ(zelStsJPEGCodeRangeErr, status);
}

TEST_F(Checks, HuffmanBaseline) {
  int* const number = as<int*>();
  int minus = -1, zero = 0;
  auto* const dec = as<ZeliDecodeHuffmanSpec*>();
  auto* const enc = as<ZeliEncodeHuffmanSpec*>();
  expectChecks(z.zeliDecodeHuffman8x8_JPEG_1u16s_C1,
               std::tuple(bytes, 9, number, words, words, number, dec, dec, as<ZeliDecodeHuffmanState*>()), null<0>(),
               bad<1>(-1), null<2>(), null<3>(), null<4>(), null<5>(), null<6>(), null<7>(), null<8>());
  expectChecks(z.zeliEncodeHuffman8x8_JPEG_16s1u_C1,
               std::tuple(words, bytes, 9, number, words, enc, enc, as<ZeliEncodeHuffmanState*>(), 0), null<1>(),
               length<2>(), null<3>(), null<7>(), null<0>(), null<4>(), null<5>(), null<6>());
  expectChecks(z.zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1,
               std::tuple(bytes, &zero, words, words, number, as<uint32_t*>(), &zero, dec, dec), null<0>(), null<1>(),
               bad<1>(&minus), null<2>(), null<3>(), null<4>(), null<5>(), null<6>(), bad<6>(&minus), null<7>(),
               null<8>());
  expectChecks(z.zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1, std::tuple(words, bytes, number, words, enc, enc),
               null<0>(), null<1>(), null<2>(), null<3>(), null<4>(), null<5>());
  int32_t* const counts = as<int32_t*>();
  expectChecks(z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1, std::tuple(words, counts, counts, words), null<0>(),
               null<1>(), null<2>(), null<3>());
}
