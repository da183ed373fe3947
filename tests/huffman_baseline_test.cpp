// Baseline Huffman coding of blocks against the byte-wise definition: every status, byte, position and state.
#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using zeltest::Guarded;
using zeltest::Random;
using Bytes = std::vector<uint8_t>;
using Block = std::vector<int16_t>;

int naturalPosition(int k) {  // the diagonals, walked in alternating directions
  for (int diagonal = 0; diagonal < 15; ++diagonal)
    for (int i = 0; i <= diagonal; ++i) {
      const int row = diagonal % 2 ? i : diagonal - i, column = diagonal - row;
      if (row < 8 && column < 8 && k-- == 0) return 8 * row + column;
    }
  return 63;
}
const std::vector<int> kNatural = [] {
  std::vector<int> v(72);
  for (int k = 0; k < 72; ++k) v[size_t(k)] = naturalPosition(k);
  return v;
}();

struct Tables {
  ZeliDecodeHuffmanSpec dec;
  ZeliEncodeHuffmanSpec enc;
  // Random codes for every symbol (or only those below `symbols`), with code lengths up to 16.
  explicit Tables(Random& r, int symbols = 256) {
    std::vector<int32_t> counts(256);
    const int steepness = r.below(3) * 6 + 3;
    for (int i = 0; i < symbols; ++i) counts[size_t(i)] = 1 + (1 << r.below(steepness)) * (i % 16 < 5 ? 20 : 1);
    Bytes bits(16), values(256);
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), &bits[0], &values[0]));
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(&bits[0], &values[0], &enc));
    EXPECT_EQ(zelStsNoErr, zel().zeliDecodeHuffmanSpecInit_JPEG_8u(&bits[0], &values[0], &dec));
  }
};

Block randomBlock(Random& r) {
  Block b(64);
  const int density = r.below(4) == 0 ? 64 : r.below(12), range = 1 << r.below(r.below(4) ? 5 : 16);
  for (int i = 0; i < density; ++i)
    b[size_t(r.below(64))] = int16_t(std::max(-32767, std::min(32767, r.between(-range, range))));
  b[0] = int16_t(r.between(-1024, 1023));
  if (r.below(8) == 0) b[63] = int16_t(r.between(-3, 3));
  if (r.below(16) == 0) std::fill(b.begin() + 1, b.end(), int16_t(r.below(2) ? -1 : 0));
  return b;
}

struct Writer {  // the numbered steps of the standard's encoder, with a 32-bit buffer
  uint32_t buffer;
  int count, pos, length;
  uint8_t* dst;
  ZelStatus put(uint32_t value, int n) {
    if (n == 0) return zelStsJPEGHuffTableErr;
    uint32_t bits = buffer | (value & ((1u << n) - 1)) << (24 - count - n);
    int left = count + n;
    for (; left >= 8; left -= 8, bits = bits << 8 & 0xFFFFFF) {
      if (pos >= length) return zelStsJPEGOutOfBufErr;
      dst[pos++] = uint8_t(bits >> 16);
      if (bits >> 16 == 0xFF) {
        if (pos >= length) return zelStsJPEGOutOfBufErr;
        dst[pos++] = 0;
      }
    }
    buffer = bits, count = left;
    return zelStsNoErr;
  }
  ZelStatus symbol(uint32_t entry, int value, int size) {
    ZelStatus s = put(entry & 0xFFFF, int(entry >> 16));
    return s || size == 0 ? s : put(uint32_t(value < 0 ? value - 1 : value), size);
  }
  ZelStatus block(const Block& b, int16_t& predictor, const Tables& dc, const Tables& ac) {
    const auto size = [](int v) { return v == 0 ? 0 : 32 - __builtin_clz(unsigned(std::abs(v))); };
    const int difference = b[0] - predictor;
    predictor = b[0];
    ZelStatus s = symbol(dc.enc.codes[size(difference)], difference, size(difference));
    int run = 0;
    for (int k = 1; k < 64 && s == 0; ++k) {
      const int v = b[size_t(kNatural[size_t(k)])];
      if (v == 0 && ++run) continue;
      for (; run > 15 && s == 0; run -= 16) s = symbol(ac.enc.codes[0xF0], 0, 0);
      if (s == 0) s = symbol(ac.enc.codes[(run << 4) + size(v)], v, size(v));
      run = 0;
    }
    return s == 0 && run ? symbol(ac.enc.codes[0], 0, 0) : s;
  }
};

struct Reader {  // the numbered steps of the decoder
  const uint8_t* src;
  int length, pos;
  uint32_t buffer;
  int count, marker;
  enum { kNothing, kCode, kValue } missing = kNothing;  // what needed bits that a marker had cut off
  ZelStatus fill(int n) {
    if (marker) return n > count ? zelStsJPEGCodeRangeErr : zelStsNoErr;
    for (; count < 25; count += 8) {
      if (pos >= length) return n > count ? zelStsJPEGOutOfBufErr : zelStsNoErr;
      int b = src[pos++];
      if (b == 0xFF) {
        while (pos < length && src[pos] == 0xFF) ++pos;
        if (pos >= length) return zelStsJPEGOutOfBufErr;
        const int c = src[pos++];
        if (c != 0) return marker = c, zelStsNoErr;
      }
      buffer = buffer << 8 | uint32_t(b);
    }
    return zelStsNoErr;
  }
  ZelStatus bits(int n, int* v, bool ofCode) {
    ZelStatus s = n > count ? fill(n) : zelStsNoErr;
    if (s == 0 && n > count) s = zelStsJPEGCodeRangeErr;
    if (s && marker) missing = ofCode ? kCode : kValue;
    if (s == 0) *v = int(uint64_t(buffer) >> (count - n) & ((1u << n) - 1)), count -= n;
    return s;
  }
  ZelStatus symbol(const ZeliDecodeHuffmanSpec& t, int* symbol) {
    ZelStatus s = count < 8 ? fill(0) : zelStsNoErr;
    if (s) return s;
    const uint32_t entry = count < 8 ? 0 : t.lookup[buffer >> (count - 8) & 0xFF];
    if (entry) return *symbol = int(entry & 0xFFFF), count -= int(entry >> 16), zelStsNoErr;
    int l = count < 8 ? 1 : 9, code, bit;
    if ((s = bits(l, &code, true))) return s;
    for (; t.lastCode[l] == 0xFFFF || code > t.lastCode[l]; ++l, code = 2 * code + bit)
      if (l == 16 || (s = bits(1, &bit, true))) return l == 16 ? zelStsJPEGCodeRangeErr : s;
    *symbol = t.values[t.firstIndex[l] + code - t.firstCode[l]];
    return zelStsNoErr;
  }
  ZelStatus value(int size, int* v) {
    *v = 0;
    const ZelStatus s = size ? bits(size, v, false) : zelStsNoErr;
    if (size && *v < 1 << (size - 1)) *v += 1 - (1 << size);
    return s;
  }
  ZelStatus block(Block& b, int16_t& predictor, const Tables& dc, const Tables& ac, int* last) {
    std::fill(b.begin(), b.end(), int16_t(0));
    int rs, v;
    ZelStatus s = symbol(dc.dec, &rs);
    if (s) return s;
    if ((s = value(rs & 15, &v))) return s;
    b[0] = predictor = int16_t(predictor + v);
    int k = 1;
    while (k < 64) {
      if ((s = symbol(ac.dec, &rs))) return s;
      if (rs % 16 == 0 && rs != 0xF0) break;
      k += rs >> 4;
      if (rs != 0xF0) {
        if ((s = value(rs & 15, &v))) return s;
        if (k >= 72) return zelStsErr;
        b[size_t(kNatural[size_t(k)])] = int16_t(v);
      }
      ++k;
    }
    *last = k - 1;
    return zelStsNoErr;
  }
};

// Codes blocks with our encoder and with the definition, side by side, until the destination is full or a code is
// missing.
Bytes encodeBoth(const std::vector<Block>& blocks, const Tables& dc, const Tables& ac, int room) {
  Guarded<uint8_t> dst{size_t(room)}, wanted{size_t(room)};
  Writer ref{0, 0, 0, room, wanted.data()};
  ZeliEncodeHuffmanState state;
  zel().zeliEncodeHuffmanStateInit_JPEG_8u(&state);
  int pos = 0;
  int16_t predictor = 0, refPredictor = 0;
  for (size_t i = 0; i <= blocks.size(); ++i) {
    const bool flush = i == blocks.size();
    Guarded<int16_t> block(flush ? Block(64) : blocks[i]);
    state.correctionBits[9] = 1;  // only a flush clears it
    const ZelStatus want = flush ? ref.put(0x7F, 7) : ref.block(blocks[i], refPredictor, dc, ac);
    if (flush) ref.buffer = 0, ref.count = 0;
    const ZelStatus got = zel().zeliEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), dst.data(), room, &pos, &predictor,
                                                                   &dc.enc, &ac.enc, &state, flush);
    EXPECT_EQ(want, got) << room;
    EXPECT_EQ(ref.pos, pos) << room;
    EXPECT_EQ(refPredictor, predictor);
    EXPECT_TRUE(state.bits == ref.buffer && state.bitCount == ref.count) << room << " " << i;
    EXPECT_EQ(Bytes(wanted.data(), wanted.data() + pos), Bytes(dst.data(), dst.data() + pos));
    if (want && i == 0 && !flush) {
      EXPECT_EQ(wanted.copy(), dst.copy()) << "nothing beyond the position changes";
    }
    EXPECT_EQ(flush ? 0 : 1, state.correctionBits[9]);
    if (want || testing::Test::HasFailure()) break;
  }
  return Bytes(dst.data(), dst.data() + pos);
}

int dataBytes(const uint8_t* src, int end) {  // in the source up to a position, stuffing and a marker not counted
  int n = 0;
  for (int i = 0; i < end; ++i, ++n)
    if (src[i] == 0xFF) {
      while (src[i] == 0xFF) ++i;
      if (src[i] != 0) break;
    }
  return n;
}

// Decodes with our decoder and the definition, from the same state before each block, until an error.
void decodeBoth(const Bytes& stream, const Tables& dc, const Tables& ac, int* statuses) {
  Guarded<uint8_t> src(stream);
  Guarded<int16_t> dst(64);
  const int length = int(stream.size());
  ZeliDecodeHuffmanState state;
  zel().zeliDecodeHuffmanStateInit_JPEG_8u(&state);
  int pos = 0, marker = 0;
  int16_t predictor = 0;
  for (ZelStatus got = zelStsNoErr; got == zelStsNoErr;) {
    Block want(64);
    Reader ref{src.data(), length, pos, uint32_t(state.bits), state.bitCount, marker};
    int last;
    int16_t refPredictor = predictor;
    const bool mayBeFast = length - pos >= 24 && marker == 0;
    const ZelStatus status = ref.block(want, refPredictor, dc, ac, &last);
    got = zel().zeliDecodeHuffman8x8_JPEG_1u16s_C1(src.data(), length, &pos, dst.data(), &predictor, &marker, &dc.dec,
                                                   &ac.dec, &state);
    ASSERT_EQ(status, got) << pos << " of " << length;
    ASSERT_EQ(want, dst.copy());
    ASSERT_EQ(refPredictor, predictor);
    ++statuses[-got];
    if (got == zelStsNoErr && mayBeFast) {  // the fast path may have read more bytes or fewer, up to the same bit
      ASSERT_EQ(last, state.lastPosition);
      ASSERT_TRUE(state.bitCount >= 0 && state.bitCount <= 32 && state.bits >> state.bitCount == 0);
      ASSERT_EQ(dataBytes(src.data(), ref.pos) * 8 - ref.count, dataBytes(src.data(), pos) * 8 - state.bitCount);
    } else {
      ASSERT_EQ(ref.pos, pos);
      ASSERT_EQ(ref.marker, marker);
      ASSERT_EQ(ref.count, state.bitCount);
      ASSERT_EQ(uint64_t(ref.buffer) & ((uint64_t(1) << ref.count) - 1), state.bits);
    }
  }
}

}  // namespace

TEST(HuffmanBaseline, EncodesIntoEveryLengthOfDestination) {
  Random r(3);
  for (int trial = 0; trial < 40; ++trial) {
    const Tables dc(r, trial % 8 == 0 ? 9 : 17), ac(r, trial % 8 == 1 ? 0xF0 : 256);
    std::vector<Block> blocks(size_t(1 + r.below(8)));
    for (Block& b : blocks) b = randomBlock(r);
    const int whole = int(encodeBoth(blocks, dc, ac, 4096).size());
    for (int room = 1; room <= whole + 26 && !HasFailure(); ++room) encodeBoth(blocks, dc, ac, room);
  }
}

TEST(HuffmanBaseline, DecodesStreamsTruncationsAndGarbage) {
  Random r(4);
  int statuses[65] = {};
  for (int trial = 0; trial < 300 && !HasFatalFailure(); ++trial) {
    const Tables dc(r, 17), ac(r);
    std::vector<Block> blocks(size_t(1 + r.below(20)));
    for (Block& b : blocks) b = randomBlock(r);
    Bytes stream = encodeBoth(blocks, dc, ac, 20000);
    for (int i = r.below(4); i > 0 && trial % 2; --i)  // fill bytes before stuffed zeros
      for (size_t at = 0; at + 1 < stream.size(); ++at)
        if (stream[at] == 0xFF && stream[at + 1] == 0 && r.below(2)) stream.insert(stream.begin() + int(at++), 0xFF);
    const size_t whole = stream.size();
    const Bytes after = r.below(2) ? Bytes{0xFF, 0xFF, 0xD9} : Bytes{};
    stream.insert(stream.end(), after.begin(), after.end());
    stream.resize(stream.size() + size_t(r.below(3) * 20), 0x5A);
    decodeBoth(stream, dc, ac, statuses);
    for (size_t n = 0; n < std::min<size_t>(whole, 120); ++n)
      decodeBoth(Bytes(stream.begin(), stream.end() - int(n)), dc, ac, statuses);
    for (int damage = 0; damage < 60; ++damage) {
      Bytes garbage = damage % 3 ? stream : r.vector<uint8_t>(size_t(1 + r.below(200)));
      for (int i = 0; i < 4; ++i) garbage[size_t(r.below(int(garbage.size())))] = r.below(2) ? 0xFF : uint8_t(r.next());
      decodeBoth(garbage, dc, ac, statuses);
    }
  }
  for (const int s : {zelStsNoErr, zelStsErr, zelStsJPEGOutOfBufErr, zelStsJPEGCodeRangeErr})
    EXPECT_GT(statuses[-s], 50) << s;
}

TEST(HuffmanBaseline, DirectKeepsStateInVariables) {
  Random r(5);
  for (int trial = 0; trial < 400; ++trial) {
    const Tables dc(r, 17), ac(r);
    std::vector<Block> blocks(size_t(1 + r.below(6)));
    for (Block& b : blocks) b = randomBlock(r);
    Bytes want = encodeBoth(blocks, dc, ac, 20000);
    Guarded<uint8_t> dst(want.size() + 8);
    int bitPos = 0;
    int16_t predictor = 0;
    for (const Block& b : blocks)
      ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(b.data(), dst.data(), &bitPos, &predictor,
                                                                             &dc.enc, &ac.enc));
    ASSERT_EQ((bitPos + 7) / 8, int(want.size()) - (bitPos % 8 == 0 ? 0 : want.back() == 0 && want.end()[-2] == 0xFF));
    if (bitPos % 8) ASSERT_EQ(0, dst[size_t(bitPos / 8)] & (0xFF >> bitPos % 8)) << "padding is the caller's";
    if (bitPos % 8) dst[size_t(bitPos / 8)] |= uint8_t(0xFF >> bitPos % 8);
    ASSERT_EQ(Bytes(want.begin(), want.begin() + (bitPos + 7) / 8), Bytes(dst.data(), dst.data() + (bitPos + 7) / 8));

    // Decode past the end, and damaged: bytes after the marker are unreadable.
    for (int i = trial % 4 * 2; i > 0; --i)
      want[size_t(r.below(int(want.size())))] = r.below(4) ? uint8_t(r.next()) : 0xFF;
    want.insert(want.end(), {0xFF, 0xD9});
    Guarded<uint8_t> src(want);
    Guarded<int16_t> block(64);
    int marker = 0, count = 0;
    uint32_t bits = 0;
    predictor = 0, bitPos = 0;
    for (size_t i = 0; i < blocks.size() + 2; ++i) {
      Reader ref{src.data(), INT32_MAX, bitPos / 8, bits, count, marker};
      int16_t refPredictor = predictor;
      int last;
      Block wantBlock(64);
      ZelStatus status = ref.block(wantBlock, refPredictor, dc, ac, &last);
      if (ref.missing) status = ref.missing == Reader::kCode ? zelStsNoErr : zelStsJPEGOutOfBufErr;
      const ZelStatus got = zel().zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
          src.data(), &bitPos, block.data(), &predictor, &marker, &bits, &count, &dc.dec, &ac.dec);
      ASSERT_EQ(status, got);
      ASSERT_EQ(wantBlock, block.copy());
      ASSERT_TRUE(refPredictor == predictor && ref.pos * 8 == bitPos && ref.marker == marker && ref.count == count);
      if (trial % 4 == 0 && i < blocks.size()) ASSERT_EQ(blocks[i], wantBlock);
      if (got) break;
    }
  }
}

namespace {

template <class State, class GetBufSize, class Init, class InitAlloc, class Free>
void checkState(int bytes, GetBufSize getBufSize, Init init, InitAlloc initAlloc, Free free) {
  int size = 0;
  State zero, record, *state = nullptr;
  std::memset(&zero, 0, sizeof zero);
  std::memset(&record, 0xEE, sizeof record);
  for (const ZelStatus s : {getBufSize(nullptr), init(nullptr), initAlloc(nullptr), free(nullptr)})
    EXPECT_EQ(zelStsNullPtrErr, s);
  EXPECT_TRUE(getBufSize(&size) == zelStsNoErr && size == bytes);
  EXPECT_TRUE(init(&record) == zelStsNoErr && std::memcmp(&zero, &record, sizeof record) == 0);
  if (zeltest::CoreHooks* hooks = zeltest::hooks()) {
    hooks->allocationsUntilFailure = 0;
    EXPECT_TRUE(initAlloc(&state) == zelStsNullPtrErr && state == nullptr);
    hooks->reset();
  }
  ASSERT_EQ(zelStsNoErr, initAlloc(&state));
  EXPECT_EQ(0, std::memcmp(&zero, state, sizeof record));
  EXPECT_EQ(zelStsNoErr, free(state));
}

}  // namespace

TEST(HuffmanBaseline, States) {
  const zeltest::Api& a = zel();
  checkState<ZeliDecodeHuffmanState>(24, a.zeliDecodeHuffmanStateGetBufSize_JPEG_8u,
                                     a.zeliDecodeHuffmanStateInit_JPEG_8u, a.zeliDecodeHuffmanStateInitAlloc_JPEG_8u,
                                     a.zeliDecodeHuffmanStateFree_JPEG_8u);
  checkState<ZeliEncodeHuffmanState>(1048, a.zeliEncodeHuffmanStateGetBufSize_JPEG_8u,
                                     a.zeliEncodeHuffmanStateInit_JPEG_8u, a.zeliEncodeHuffmanStateInitAlloc_JPEG_8u,
                                     a.zeliEncodeHuffmanStateFree_JPEG_8u);
}
