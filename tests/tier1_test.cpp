// The tier-1 coder against a scalar one that follows the flow charts of ITU-T T.800, Annexes C and D, sample by sample.
#include "support/tier1_reference.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using namespace tier1;
using namespace zeltest;

constexpr int kMagnitude = 0x7FFFFFFF;
constexpr int kNotWritten = -99;  // what a result holds before a call

int liveAllocations() { return hooks() ? int(hooks()->liveAllocations) : 0; }

// A state for the length of a test, which must give back all its memory.
struct EncoderState {
  explicit EncoderState(ZeliSize max) { EXPECT_EQ(zelStsNoErr, zel().zeliEncodeInitAlloc_JPEG2K(&p, max)); }
  ~EncoderState() {
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeFree_JPEG2K(p));
    EXPECT_EQ(before, liveAllocations());
  }
  int before = liveAllocations();
  ZeliEncodeState_JPEG2K* p = nullptr;
};

Encoded encode(const EncoderState& state, const Samples& src, const Style& style, int capacity) {
  const Api& z = zel();
  Encoded e{style.w, style.h, style.subband, 0, {}, {}, {}, {}};
  int passes, segments, more = 1;
  const Guarded<int32_t> rows(src);
  EXPECT_EQ(zelStsNoErr, z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(rows.data(), 4 * e.w, {e.w, e.h}, state.p, e.subband,
                                                                  31 - style.lowest, style.termination, 0, style.flags,
                                                                  &e.planes, &passes, &segments));
  const Guarded<uint8_t> room{size_t(capacity)};
  for (int n = capacity; more && n == capacity;) {
    EXPECT_EQ(zelStsNoErr, z.zeliEncodeStoreBits_JPEG2K_1u(room.data(), &n, state.p, &more));
    if (n < capacity) EXPECT_EQ(0, more) << "room left, and yet more to come";
    e.bytes.insert(e.bytes.end(), room.data(), room.data() + n);
  }
  const auto getAll = [&](auto get, int n, auto* values) {
    values->resize(size_t(n));
    for (int i = 0; i < n; ++i) EXPECT_EQ(zelStsNoErr, get(state.p, i, &(*values)[size_t(i)]));
  };
  getAll(z.zeliEncodeGetRate_JPEG2K, passes, &e.rates);
  getAll(z.zeliEncodeGetDist_JPEG2K, passes, &e.gains);
  getAll(z.zeliEncodeGetTermPassLen_JPEG2K, segments, &e.lengths);
  return e;
}

// A decoder's state in memory of the stated size, at any address, the segments up to a byte before an unreadable page,
// and an output whose rows have a gap between them.
struct DecoderState {
  DecoderState(const Encoded& e, size_t slack)
      : z(zel()), size{e.w, e.h}, memory(stateBytes(size), slack), src(e.bytes, 1), out(size_t((e.w + 3) * e.h - 3)) {}
  static size_t stateBytes(ZeliSize size) {
    int bytes = 0;
    EXPECT_EQ(zelStsNoErr, zel().zeliDecodeGetBufSize_JPEG2K(size, &bytes));
    return size_t(bytes);
  }
  int step() const { return 4 * (size.width + 3); }
  ZeliDecodeCBProgrState_JPEG2K* state() const {
    return reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(memory.data());
  }
  Samples samples() const {
    Samples s;
    for (int y = 0; y < size.height; ++y) {
      const int32_t* row = out.data() + y * (size.width + 3);
      s.insert(s.end(), row, row + size.width);
    }
    return s;
  }
  void attach(const Encoded& e, int flags) const {
    EXPECT_EQ(zelStsNoErr,
              z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(out.data(), step(), size, state(), e.subband, e.planes, flags));
  }
  void allow(int passes) const { EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, state())); }
  template <class Get>
  int valueOf(Get get) const {
    int n = kNotWritten;
    EXPECT_EQ(zelStsNoErr, get(state(), &n));
    return n;
  }

  const Api& z;
  ZeliSize size;
  Guarded<uint8_t> memory, src;
  Guarded<int32_t> out;
};

void expectOneCall(const Decoded& want, const Encoded& e, int passes, int flags) {
  SCOPED_TRACE(testing::Message() << "one call, " << passes << " passes, flags " << std::hex << flags);
  const DecoderState d(e, size_t(e.planes * 3 + passes));
  std::vector<int> lengths = e.lengths;
  lengths.push_back(1 << 30);  // not looked at
  int reported = kNotWritten;
  EXPECT_EQ(want.status, d.z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(d.src.data(), d.out.data(), d.step(), d.size,
                                                                  e.subband, e.planes, passes, lengths.data(),
                                                                  int(e.lengths.size()), flags, &reported, d.state()));
  EXPECT_EQ(finished(want, flags), d.samples());
  EXPECT_EQ(want.status == zelStsNoErr ? kNotWritten : want.plane, reported);
}

// Segment by segment. Where each holds one pass, the passes are allowed in two halves.
void expectProgressive(const Decoded& want, const Encoded& e, int passes, int flags) {
  SCOPED_TRACE(testing::Message() << "progressive, " << passes << " passes, flags " << std::hex << flags);
  const DecoderState d(e, size_t(e.planes * 3 + passes));
  const auto step = [&](const uint8_t* from, int n) { return d.z.zeliDecodeCBProgrStep_JPEG2K(from, n, d.state()); };
  const bool single = flags & zeliCodeBlockTerminateAll;
  const int half = single ? passes / 2 : passes;
  const uint8_t* from = d.src.data();
  EXPECT_EQ(zelStsNoErr, d.z.zeliDecodeCBProgrInit_JPEG2K(d.state()));
  EXPECT_EQ(zelStsJPEG2KNotAttachedErr, step(from, 0));
  d.attach(e, flags);
  EXPECT_EQ(zelStsNoErr, step(from, 0)) << "nothing is allowed yet";
  d.allow(half);
  ZelStatus status = zelStsNoErr;
  int left = passes;
  for (int i = 0; i < int(e.lengths.size()) && status == zelStsNoErr; from += e.lengths[size_t(i++)]) {
    if (i == half && half < passes) d.allow(passes - half);
    status = step(from, e.lengths[size_t(i)]);
    left = d.valueOf(d.z.zeliDecodeCBProgrGetPassCounter_JPEG2K) + (i < half ? passes - half : 0);
    if (status != zelStsNoErr || !single || i >= passes) continue;
    ASSERT_EQ(passes - i - 1, left);
    ASSERT_EQ(e.planeOf(i + 1), d.valueOf(d.z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K));
  }
  EXPECT_EQ(want.status, status);
  EXPECT_EQ(want.samples, d.samples());
  EXPECT_EQ(want.passes, left);
  EXPECT_EQ(want.plane, d.valueOf(d.z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K));
  if (status != zelStsNoErr) EXPECT_EQ(status, step(from, 0)) << "damage stays";
}

void expectDecodes(const Encoded& e, int passes, int flags) {
  const Decoded want = referenceDecode(e, passes, flags);
  expectOneCall(want, e, passes, flags);
  if (!testing::Test::HasFailure()) expectProgressive(want, e, passes, flags);
}

Samples block(Random& rng, int n, int planes) {
  Samples s(size_t(n), 0);
  const int quiet = rng.below(4), sparse = 1 << 2 * rng.below(3);
  for (int32_t& v : s) {
    int bits = rng.below(sparse) ? rng.below(2) : planes;
    for (int i = 0; i <= quiet; ++i) bits = std::min(bits, rng.below(planes + 1));
    v = int32_t(uint32_t(rng.next()) & ((1u << bits) - 1));
    if (v != 0 && rng.below(2)) v |= INT32_MIN;
  }
  return s;
}

// What a decoder has of samples that were coded down to a plane: half bits below it.
Samples codedDownTo(Samples samples, int lowest) {
  const int32_t known = int32_t(~0u << lowest);
  for (int32_t& v : samples) v = v & kMagnitude & known ? (v & known) | 1 << lowest >> 1 : 0;
  return samples;
}

// No codeword segment that is one byte shorter decodes to the same, whatever its last byte. For blocks of one segment.
void expectNoneShorter(Encoded e, const Samples& samples, int flags) {
  e.bytes.pop_back();
  --e.lengths[0];
  for (int last = 0; last < 256; ++last) {
    if (!e.bytes.empty()) e.bytes.back() = uint8_t(last);
    const Decoded d = referenceDecode(e, e.passes(), flags);
    ASSERT_FALSE(d.status == zelStsNoErr && d.samples == samples) << "byte " << last;
  }
}

const int kSizes[][2] = {{1, 1}, {2, 3}, {5, 4}, {1, 9}, {9, 1}, {16, 16}, {13, 11}, {33, 6}, {64, 64}};

}  // namespace

TEST(Tier1, EveryStyleAgainstTheFlowCharts) {
  Random rng(1);
  EncoderState state({100, 70});
  for (int trial = 0; trial < rounds(10) * 192 && !HasFailure(); ++trial) {
    const int flags = trial % 64, termination = trial / 64 % 3;
    const auto [w, h] = kSizes[rng.below(rng.below(4) ? 8 : 9)];
    const int planes = rng.below(8) ? 1 + rng.below(12) : 1 + rng.below(31), low = rng.below(3) ? 0 : rng.below(planes);
    const Samples src = block(rng, w * h, planes);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ": " << w << "x" << h << " flags " << flags);
    const Style style = {w, h, rng.below(4), low, termination, flags};
    const Encoded want = referenceEncode(src, style);
    Encoded got = encode(state, src, style, 1 + rng.below(rng.below(2) ? 20 : 100000));
    const auto coded = [](const Encoded& e) { return std::tuple(e.bytes, e.lengths, e.rates); };
    EXPECT_EQ(want.planes, got.planes);
    EXPECT_EQ(want.gains, got.gains);
    EXPECT_LE(got.bytes.size(), want.bytes.size());
    if (termination != zeliTerminationShortest) EXPECT_EQ(coded(want), coded(got)) << "bytes, lengths, rates";
    for (int room = 1; trial % 5 == 0 && room <= std::min(70, int(got.bytes.size())); ++room)
      ASSERT_EQ(coded(got), coded(encode(state, src, style, room))) << "bytes, lengths, rates; room " << room;
    const int passes = got.passes();
    const int checks = termination == zeliTerminationPredictable ? zeliDecodeCheckTermination : 0;
    const Decoded all = referenceDecode(got, passes, flags | checks);
    ASSERT_EQ(zelStsNoErr, all.status);
    ASSERT_EQ(codedDownTo(src, low), all.samples);
    expectDecodes(got, passes, flags | checks | zeliDecodeKeepHalfBits);
    expectDecodes(got, rng.below(passes + 2), flags | checks | (rng.below(2) ? zeliDecodeKeepHalfBits : 0));
    const bool oneSegment = !(flags & (zeliCodeBlockBypass | zeliCodeBlockTerminateAll));
    if (!oneSegment || got.bytes.empty()) continue;
    if (termination == zeliTerminationShortest && flags & zeliCodeBlockSegmentationSymbols && w * h < 50)
      expectNoneShorter(got, all.samples, flags);
    const int cut = rng.below(passes);  // a rate is where the segment may be cut
    const Decoded whole = referenceDecode(got, cut + 1, flags);
    got.lengths[0] = got.rates[size_t(cut)];
    got.bytes.resize(size_t(got.lengths[0]));
    expectOneCall(whole, got, cut + 1, flags);
  }
}

// A codeword segment that ends in 0xFF 0x7F, of which 0xFF is there before the segment is ended: a decoder takes both
// for granted, so the shortest termination drops them, and to be able to, the encoder has not handed out the 0xFF. A
// search through random blocks of 2 x 2 samples has found these; in larger ones one in some ten million segments is so.
TEST(Tier1, ShortestTerminationDropsOnesAlreadyCoded) {
  const Samples blocks[] = {{0x20, 0x51, 0xE, int32_t(0x8000007A)},
                            {0x4C, 0x31, int32_t(0x8000006A), 0x12},
                            {0xA, 0x2, int32_t(0x8000001B), 0x1},
                            {0x2, int32_t(0x8000005A), int32_t(0x800001BA), int32_t(0x8000011F)},
                            {int32_t(0x800003BB), int32_t(0x8000021E), 0xD, int32_t(0x8000070D)}};
  const int flags = zeliCodeBlockSegmentationSymbols;
  EncoderState state({2, 2});
  for (const Samples& src : blocks) {
    Style style = {2, 2, zeliSubbandLL, 0, zeliTerminationFlush, flags};
    const Encoded flushed = encode(state, src, style, 100);
    style.termination = zeliTerminationShortest;
    const Encoded shortest = encode(state, src, style, 100);
    const size_t n = shortest.bytes.size();
    ASSERT_LE(n + 2, flushed.bytes.size());
    EXPECT_EQ(0xFF, flushed.bytes[n]);
    EXPECT_EQ(0x7F, flushed.bytes[n + 1]);
    EXPECT_EQ(src, referenceDecode(shortest, shortest.passes(), flags).samples);
    expectNoneShorter(shortest, src, flags);
    for (int room = 1; room <= 40; ++room)  // coded one decision at a time, and many at once
      EXPECT_EQ(shortest.bytes, encode(state, src, style, room).bytes) << "room " << room;
  }
}

// Bytes 0x80 to 0x8F after 0xFF, which only damaged data has, carry into bits that stand already. It matters when:
// these segments, found by a search, decode otherwise where such a byte is taken into account before it is due.
TEST(Tier1, CarriesOfDamagedData) {
  const Bytes segments[] = {{0x1D, 0x6A, 0xFF, 0x86, 0x19, 0x69},
                            {0x43, 0xBC, 0xFF, 0x84, 0x94, 0x85, 0xD9, 0xFF, 0x8F},
                            {0x50, 0x82, 0xFF, 0x8E, 0xFF, 0x81, 0xFF, 0x8B, 0x5E},
                            {0x25, 0xEE, 0xFF, 0x8F, 0x8B, 0xFF, 0x86, 0xDE, 0xE0, 0x93}};
  for (const Bytes& bytes : segments)
    expectDecodes({2, 2, zeliSubbandLL, 9, bytes, {}, {int(bytes.size())}, {}}, 25, zeliDecodeKeepHalfBits);
}

// Damaged and truncated data: the samples, status, plane and passes of the flow charts, and nothing outside is touched.
TEST(Tier1, DamagedSegments) {
  Random rng(2);
  EncoderState state({16, 16});
  for (int trial = 0; trial < rounds(6000) && !HasFailure(); ++trial) {
    const auto [w, h] = kSizes[rng.below(7)];
    const Style style = {w, h, rng.below(4), 0, rng.below(3), rng.below(32)};
    Encoded e = encode(state, block(rng, w * h, 1 + rng.below(12)), style, 100000);
    if (e.bytes.empty()) continue;
    for (int i = rng.below(4); i > 0; --i) {  // bytes that stuffing and markers begin with are frequent
      const size_t byte = size_t(rng.below(int(e.bytes.size())));
      e.bytes[byte] = rng.below(3) ? uint8_t(rng.next()) : uint8_t(0xFF - rng.below(2));
      if (rng.below(2) && byte + 1 < e.bytes.size()) e.bytes[byte + 1] = uint8_t(0x7E + rng.below(20));
    }
    int& length = e.lengths[size_t(rng.below(int(e.lengths.size())))];
    if (rng.below(3) == 0) length = rng.below(length + 1);
    int flags = style.flags;
    for (const int control : {zeliDecodeMidpointsAfterDamage, zeliDecodeKeepHalfBits, zeliDecodeCheckTermination})
      if (rng.below(2)) flags |= control;
    const int passes = rng.below(2) ? e.passes() : rng.below(e.passes() + 3);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ": " << w << "x" << h);
    expectDecodes(e, passes, flags);
  }
}

// A second block over a first one, with its output, its significance, both or nothing kept.
TEST(Tier1, KeptOutputAndSignificance) {
  Random rng(3);
  EncoderState state({16, 16});
  for (int trial = 0; trial < 4 * rounds(40); ++trial) {
    const auto [w, h] = kSizes[rng.below(6)];
    const int flags = zeliCodeBlockTerminateAll;
    const int kept = (trial & 1 ? zeliDecodeKeepOutput : 0) | (trial & 2 ? zeliDecodeKeepSignificance : 0);
    const Style style = {w, h, zeliSubbandHH, 0, zeliTerminationFlush, flags};
    const DecoderState d({w, h, 0, 0, {}, {}, {}, {}}, size_t(trial % 32));
    d.z.zeliDecodeCBProgrInit_JPEG2K(d.state());
    const Block fresh{w, h, zeliSubbandHH, flags, true, Samples(size_t(w * h))};
    Block reference = fresh;
    for (const int more : {0, kept}) {
      const Encoded e = encode(state, block(rng, w * h, 6), style, 100000);
      const Block first = std::exchange(reference, fresh);
      if (more & zeliDecodeKeepOutput) reference.v = first.v;
      if (more & zeliDecodeKeepSignificance) {  // and with it the signs, which the state has, not the output
        reference.significant = first.significant;
        reference.visited = first.visited;
        reference.refined = first.refined;
      }
      d.attach(e, flags | more);
      ASSERT_EQ(reference.v, d.samples()) << "attached, " << std::hex << more;
      if (more == zeliDecodeKeepSignificance) continue;  // the reference has signs in the output alone
      d.allow(e.passes());
      const uint8_t* from = e.bytes.data();
      for (const int length : e.lengths) {
        ASSERT_EQ(zelStsNoErr, d.z.zeliDecodeCBProgrStep_JPEG2K(from, length, d.state()));
        from += length;
      }
      ASSERT_EQ(referenceDecode(reference, e, e.passes(), flags).samples, d.samples()) << std::hex << more;
    }
  }
}

constexpr int kMost = 0x7FFFFFFF;

TEST(Tier1, StateSizes) {
  const std::pair<ZeliSize, int> fits[] = {{{64, 63}, (4 * 64 + 32) * (32 + 2) + 472},
                                           {{1, 134217694}, 32 * (134217694 / 2 + 2) + 472}};
  for (const auto& get : {zel().zeliDecodeGetBufSize_JPEG2K, zel().zeliDecodeCBProgrGetStateSize_JPEG2K}) {
    int bytes = kNotWritten;
    // The first of them above the most that fits; an area above 2^31; 2^32 bytes and some.
    for (const ZeliSize size : {ZeliSize{1, 134217695}, {46341, 46341}, {65536, 32768}, {kMost, 1}, {kMost, kMost}})
      EXPECT_EQ(zelStsSizeErr, get(size, &bytes)) << size.width << " x " << size.height;
    EXPECT_EQ(kNotWritten, bytes);
    for (const auto& [size, expected] : fits) {
      EXPECT_EQ(zelStsNoErr, get(size, &bytes));
      EXPECT_EQ(expected, bytes);
    }
  }
}

template <class State>
void expectNoMemory(ZelStatus (*initAlloc)(State**, ZeliSize), ZeliSize size) {
  int dummy;
  State* state = reinterpret_cast<State*>(&dummy);
  EXPECT_EQ(zelStsMemAllocErr, initAlloc(&state, size)) << size.width << " x " << size.height;
  EXPECT_EQ(nullptr, state);
}

// Sizes beyond all memory, and each buffer's allocation refused.
TEST(Tier1, FailedAllocations) {
  const Api& z = zel();
  const int before = liveAllocations();
  for (const ZeliSize size : {ZeliSize{kMost, kMost}, {kMost, 1}, {1, kMost}, {65536, 32768}}) {
    expectNoMemory(z.zeliEncodeInitAlloc_JPEG2K, size);
    expectNoMemory(z.zeliDecodeCBProgrInitAlloc_JPEG2K, size);
  }
  expectNoMemory(z.zeliEncodeInitAlloc_JPEG2K, {1970170, 4});  // which fits a decoder
  for (int i = 0; hooks() && i < 5; ++i) {
    hooks()->allocationsUntilFailure = i;
    expectNoMemory(z.zeliEncodeInitAlloc_JPEG2K, {4, 4});
    hooks()->allocationsUntilFailure = 0;
    expectNoMemory(z.zeliDecodeCBProgrInitAlloc_JPEG2K, {4, 4});
    hooks()->reset();
  }
  EXPECT_EQ(before, liveAllocations());
}

// The argument checks, in their order.
class Tier1Checks : public Checks {
 protected:
  Tier1Checks() {
    EXPECT_EQ(zelStsNoErr, z.zeliEncodeInitAlloc_JPEG2K(&encoder, {1, 1}));
    EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrInitAlloc_JPEG2K(&decoder, {1, 1}));
  }
  ~Tier1Checks() override {
    EXPECT_EQ(zelStsNoErr, z.zeliEncodeFree_JPEG2K(encoder));
    EXPECT_EQ(zelStsNoErr, z.zeliDecodeCBProgrFree_JPEG2K(decoder));
    EXPECT_EQ(before, liveAllocations());
  }
  // A record of something else.
  template <int kIndex>
  auto foreign() {
    return bad<kIndex>(static_cast<void*>(bytes), zelStsContextMatchErr);
  }
  int before = liveAllocations();
  ZeliEncodeState_JPEG2K* encoder = nullptr;
  ZeliDecodeCBProgrState_JPEG2K* decoder = nullptr;
  int32_t* const samples = as<int32_t*>();
  int* const number = as<int*>();
  double* const gain = as<double*>();
};

TEST_F(Tier1Checks, Encoder) {
  int none = 0;
  check(z.zeliEncodeInitAlloc_JPEG2K, null<0>(), size<1>(1, 0));
  check(z.zeliEncodeFree_JPEG2K, null<0>());
  checkWith(z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R,
            {samples, 4, {1, 1}, encoder, 0, 31, 0, 0, 0, number, number, number}, null<3>(), foreign<3>(),
            null<9, 10, 11>(), size<2>(0, 1), null<0>(), step<1>());
  checkWith(z.zeliEncodeStoreBits_JPEG2K_1u, {bytes, number, encoder, number}, null<2>(), foreign<2>(), null<0, 1, 3>(),
            bad<1>(&none, zelStsSizeErr));
  const auto pass = bad<1>(0, zelStsJPEG2KBadPassNumberErr);  // of a state without a block
  checkWith(z.zeliEncodeGetRate_JPEG2K, {encoder, 0, number}, null<0>(), foreign<0>(), null<2>(), pass);
  checkWith(z.zeliEncodeGetDist_JPEG2K, {encoder, 0, gain}, null<0>(), foreign<0>(), null<2>(), pass);
  checkWith(z.zeliEncodeGetTermPassLen_JPEG2K, {encoder, 0, number}, null<0>(), foreign<0>(), null<2>(), pass);
  const int32_t sample = 5;  // three planes, seven passes, one segment
  int planes, passes, segments;
  EXPECT_EQ(zelStsNoErr, z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(&sample, 4, {1, 1}, encoder, 0, 31, 0, 0, 0, &planes,
                                                                  &passes, &segments));
  for (const int index : {-1, 7}) {
    EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetRate_JPEG2K(encoder, index, number));
    EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetDist_JPEG2K(encoder, index, gain));
  }
  EXPECT_EQ(zelStsJPEG2KBadPassNumberErr, z.zeliEncodeGetTermPassLen_JPEG2K(encoder, 1, number));
}

TEST_F(Tier1Checks, Decoders) {
  for (const auto f : {z.zeliDecodeGetBufSize_JPEG2K, z.zeliDecodeCBProgrGetStateSize_JPEG2K})
    check(f, size<0>(1, 0), null<1>());
  check(z.zeliDecodeCBProgrInit_JPEG2K, null<0>());
  check(z.zeliDecodeCBProgrInitAlloc_JPEG2K, null<0>(), size<1>(0, 1));
  check(z.zeliDecodeCBProgrFree_JPEG2K, null<0>(), foreign<0>());
  checkWith(z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R, {samples, 4, {1, 1}, decoder, 0, 4, 0}, null<3>(), foreign<3>(),
            null<0>(), step<1>(), size<2>(1, 0));
  check(z.zeliDecodeCBProgrSetPassCounter_JPEG2K, null<1>(), foreign<1>());
  check(z.zeliDecodeCBProgrGetPassCounter_JPEG2K, null<0, 1>(), foreign<0>());
  checkWith(z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K, {decoder, number}, null<0>(), foreign<0>(), null<1>());
  check(z.zeliDecodeCBProgrStep_JPEG2K, null<0, 2>(), foreign<2>());
  check(z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R, null<0, 11>(), size<3>(1, 0), null<7, 1>(), step<2>());
}
